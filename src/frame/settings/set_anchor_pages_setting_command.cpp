// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_anchor_pages_setting_command.h"

#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString SetAnchorPagesSettingCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Anchor To Spine", "Command description");
}

void SetAnchorPagesSettingCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->GetPageManagementOptions()->SetShouldAnchorToSpine(m_anchorToSpine);
}

} // namespace Commands
