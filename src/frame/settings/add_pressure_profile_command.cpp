// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/add_pressure_profile_command.h"

namespace Commands {

void AddPressureProfileCommand::Run(Direction direction) {
    if (direction == Direction::Undo)
        m_documentController->RemovePressureProfile(m_profile);
    else
        m_documentController->AddPressureProfile(m_profile);
}

bool AddPressureProfileCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<AddPressureProfileCommand const>(newer);
    if (!m_preview || !other)
        return false;
    m_profile = other->m_profile;
    return true;
}

} // namespace Commands
