// SPDX-License-Identifier: Apache-2.0
#include "text/caption_counter_type_command.h"

#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString CaptionCounterTypeCommand::GetDescription() const {
    return m_add ? Kernel::LocalisedString("Add Caption Counter Type", "Command description")
                 : Kernel::LocalisedString("Remove Caption Counter Type", "Command description");
}

void CaptionCounterTypeCommand::Change(bool add) const {
    auto const document = m_documentController->GetDocument();
    if (add)
        document->AddCustomCaptionCounterType(m_counterType);
    else
        document->RemoveCustomCaptionCounterType(m_counterType);
}

void CaptionCounterTypeCommand::Do() {
    SetDirection(Direction::Do);
    Change(m_add);
}

void CaptionCounterTypeCommand::Undo() {
    SetDirection(Direction::Undo);
    Change(!m_add);
}

void CaptionCounterTypeCommand::Redo() {
    SetDirection(Direction::Redo);
    Change(m_add);
}

Kernel::Counted<DocumentCommand> CaptionCounterTypeCommand::Clone() const {
    return Kernel::MakeCounted<CaptionCounterTypeCommand>(m_counterType, m_add);
}

} // namespace Commands
