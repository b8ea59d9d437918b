// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/set_scale_override_flags_command.h"

#include "frame/contract/notifications.h"

namespace Commands {

void SetScaleOverrideFlagsCommand::Apply(int flags, bool enabled) {
    if (m_isToggle)
        m_documentController->SetScaleOverrideEnabled(enabled);
    else
        m_documentController->SetScaleOverrideFlags(flags);
}

void SetScaleOverrideFlagsCommand::Do() {
    SetDirection(Direction::Do);
    if (m_isToggle)
        m_oldEnabled = m_documentController->GetScaleOverrideEnabled();
    else
        m_oldFlags = m_documentController->GetScaleOverrideFlags(true);
    Apply(m_newFlags, m_newEnabled);
}

void SetScaleOverrideFlagsCommand::Undo() {
    SetDirection(Direction::Undo);
    Apply(m_oldFlags, m_oldEnabled);
}

void SetScaleOverrideFlagsCommand::Redo() {
    SetDirection(Direction::Redo);
    Apply(m_newFlags, m_newEnabled);
}

void SetScaleOverrideFlagsCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    notifications.push_back(Kernel::MakeCounted<ScaleOverrideSettingsChangedNotification>(GetDocumentController()));
}

Kernel::Counted<DocumentCommand> SetScaleOverrideFlagsCommand::Clone() const {
    return m_isToggle ? Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(m_newEnabled)
                      : Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(m_newFlags);
}

} // namespace Commands
