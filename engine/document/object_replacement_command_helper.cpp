// SPDX-License-Identifier: Apache-2.0
#include "platform/document/object_replacement_command_helper.h"

#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>

namespace {

void Exchange(Kernel::Counted<Node> const& out, Kernel::Counted<Node> const& in) {
    Node* const parent = out->GetParent();
    if (parent == nullptr)
        return;
    in->RemoveFromParent();
    parent->InsertChild(out->GetChildListType(), in, out.get());
    out->RemoveFromParent();
}

} // namespace

std::vector<Kernel::Counted<Node>> ObjectReplacementCommandHelper::GetNewNodes() const { return m_newNodes; }

void ObjectReplacementCommandHelper::Replace(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement) {
    Exchange(old, replacement);
    m_oldNodes.push_back(std::move(old));
    m_newNodes.push_back(std::move(replacement));
}

void ObjectReplacementCommandHelper::UndoReplacements() {
    for (std::size_t i = m_oldNodes.size(); i-- != 0;)
        Exchange(m_newNodes[i], m_oldNodes[i]);
}

void ObjectReplacementCommandHelper::RedoReplacements() {
    for (std::size_t i = 0; i != m_oldNodes.size(); ++i)
        Exchange(m_oldNodes[i], m_newNodes[i]);
}

Kernel::Counted<Selection const>
ObjectReplacementCommandHelper::MapSelection(Kernel::NonCounted<Selection const> selection) const {
    MutableSelection mapped;
    for (auto const& item : *selection) {
        auto const* const node = Kernel::CastPointer<Node>(item->GetSelectable().get());
        auto const found =
            std::find_if(m_oldNodes.begin(), m_oldNodes.end(), [&](auto const& old) { return old.get() == node; });
        if (node == nullptr || found == m_oldNodes.end())
            mapped.AddItem(item, false);
        else
            mapped.AddSelectable(m_newNodes[static_cast<std::size_t>(found - m_oldNodes.begin())], false);
    }
    return mapped.CloneImmutable();
}

void ObjectReplacementCommandHelper::NotifyDoRedo(Kernel::NonCounted<DocumentController> controller, bool preview,
                                                  Kernel::NotificationList& notifications) const {
    if (!m_newNodes.empty())
        notifications.push_back(
            Kernel::MakeCounted<DocumentStructureChangedNotification>(controller.ToCounted(), preview));
}

void ObjectReplacementCommandHelper::SaveReplacements(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "RpOl", m_oldNodes);
    Kernel::SaveValue(out, "RpNw", m_newNodes);
}

void ObjectReplacementCommandHelper::LoadReplacements(Kernel::InSerialiser const& in) {
    std::vector<Kernel::Counted<Node>> oldNodes, newNodes;
    if (!Kernel::LoadValue(in, "RpOl", oldNodes) || !Kernel::LoadValue(in, "RpNw", newNodes) ||
        oldNodes.size() != newNodes.size())
        return;
    for (std::size_t i = 0; i != oldNodes.size(); ++i) {
        if (!oldNodes[i] || !newNodes[i])
            continue;
        m_oldNodes.push_back(oldNodes[i]);
        m_newNodes.push_back(newNodes[i]);
    }
}
