// SPDX-License-Identifier: Apache-2.0
#include "frame/view/suspend_preview_command.h"

namespace Commands {

SuspendPreviewCommand::SuspendPreviewCommand(std::function<void()> function) : m_function(std::move(function)) {}

SuspendPreviewCommand::~SuspendPreviewCommand() = default;

Kernel::LocalisedString SuspendPreviewCommand::GetDescription() const {
    return Kernel::LocalisedString("Suspend preview", "Command description");
}

void SuspendPreviewCommand::Do() { m_function(); }

} // namespace Commands
