// SPDX-License-Identifier: Apache-2.0
#include "text/locate_text_resource_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/text_nodes.h"

namespace Commands {

LocateTextResourceCommand::LocateTextResourceCommand(Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection), false, false, false, CurrentSpreadEnsureVisible::Yes) {}

void LocateTextResourceCommand::Notify(Kernel::NotificationList& notifications) {
    SetCurrentSelectionCommand::Notify(notifications);
    if (!NameTheSame(m_oldSelection.get(), m_newSelection.get()))
        notifications.push_back(Kernel::MakeCounted<EnsureSelectionVisibleNotification>());
}

} // namespace Commands
