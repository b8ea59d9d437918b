// SPDX-License-Identifier: Apache-2.0
#include "text/locate_text_resource_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

LocateTextResourceCommand::LocateTextResourceCommand(Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection), false, false, false, CurrentSpreadEnsureVisible::Yes) {}

Kernel::LocalisedString LocateTextResourceCommand::GetDescription() const {
    return Kernel::LocalisedString("Locate resource", "Locate resource command name");
}

void LocateTextResourceCommand::Notify(Kernel::NotificationList& notifications) {
    SetCurrentSelectionCommand::Notify(notifications);
    if (m_oldSelection != m_newSelection)
        notifications.push_back(Kernel::MakeCounted<EnsureSelectionVisibleNotification>());
}

} // namespace Commands
