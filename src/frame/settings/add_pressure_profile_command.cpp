// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/add_pressure_profile_command.h"

#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

namespace Commands {

Kernel::LocalisedString AddPressureProfileCommand::GetDescription() const {
    return Kernel::LocalisedString("Pressure Profile Added", "Command description");
}

void AddPressureProfileCommand::Do() {
    SetDirection(Direction::Do);
    m_documentController->AddPressureProfile(m_profile);
}

void AddPressureProfileCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->RemovePressureProfile(m_profile);
}

void AddPressureProfileCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->AddPressureProfile(m_profile);
}

bool AddPressureProfileCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!m_preview)
        return false;
    auto const other = Kernel::Cast<AddPressureProfileCommand const>(newer);
    if (!other)
        return false;
    m_profile = other->m_profile;
    return true;
}

Kernel::Counted<DocumentCommand> AddPressureProfileCommand::Clone() const {
    return Kernel::MakeCounted<AddPressureProfileCommand>(m_profile);
}

} // namespace Commands
