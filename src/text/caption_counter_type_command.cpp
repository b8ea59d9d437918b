// SPDX-License-Identifier: Apache-2.0
#include "text/caption_counter_type_command.h"

namespace Commands {

Kernel::LocalisedString CaptionCounterTypeCommand::GetDescription() const {
    return m_add ? Kernel::LocalisedString("Add Caption Counter Type", "Command description")
                 : Kernel::LocalisedString("Remove Caption Counter Type", "Command description");
}

void CaptionCounterTypeCommand::Run(Direction direction) {
    auto const document = m_documentController->GetDocument();
    if (m_add == (direction != Direction::Undo))
        document->AddCustomCaptionCounterType(m_counterType);
    else
        document->RemoveCustomCaptionCounterType(m_counterType);
}

} // namespace Commands
