// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"
#include "tests/examples/scenes/example_documents.h"

#include <string>

// Small helpers that tests of commands share.
namespace Support {

inline Kernel::Counted<DocumentController> NewDocument() {
    return DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
}

// Binds a command as the queue does, so that a test may call its operations one by one.
inline void Bind(DocumentController& controller, DocumentCommand& command) {
    command.PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController>(&controller));
    command.PostDequeueWithMutableController(Kernel::NonCounted<DocumentController>(&controller));
}

inline Kernel::NotificationList NotificationsOf(DocumentCommand& command) {
    Kernel::NotificationList list;
    command.Notify(list);
    return list;
}

template <class N>
Kernel::Counted<N> As(Kernel::Counted<Kernel::Notification> const& notification) {
    return Kernel::Counted<N>(dynamic_cast<N*>(notification.get()));
}

// The user's names of the plain children of a node, in order, separated by blanks.
inline std::string ChildNames(Node const& node) {
    std::string names;
    for (Node const* child = node.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        names += (names.empty() ? "" : " ") + child->GetDescription(true).ToStdString();
    return names;
}

inline Kernel::Counted<ShapeNode> Named(char const* name) {
    auto node = ExampleDocuments::MakeRectangle({0, 0, 10, 10}, 0.5, 0.5, 0.5);
    node->SetUserDescription(name);
    return node;
}

template <class G = GroupNode>
Kernel::Counted<G> NamedGroup(char const* name) {
    auto group = Kernel::MakeCounted<G>();
    group->SetUserDescription(name);
    return group;
}

} // namespace Support
