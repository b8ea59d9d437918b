// SPDX-License-Identifier: Apache-2.0
#include "index/index_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"
#include "platform/document/nodes.h"

namespace Commands {

Story::Index* FindIndex(DocumentCommand const& command) {
    auto const controller = command.GetDocumentController();
    if (!controller || !controller->GetDocument())
        return nullptr;
    return &controller->GetDocument()->GetIndex();
}

void NotifyOfTopics(DocumentCommand& command, Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<IndexTopicsChangedNotification>(command.GetDocumentController()));
}

} // namespace Commands
