// SPDX-License-Identifier: Apache-2.0
#include "publishing/set_document_accessibility_metadata_command.h"

#include "platform/document/document_controller.h"

namespace Commands {

Kernel::LocalisedString SetDocumentAccessibilityMetadataCommand::GetDescription() const {
    return Kernel::LocalisedString("Set Accessibility Metadata", "Command description");
}

void SetDocumentAccessibilityMetadataCommand::Do() {
    SetDirection(Direction::Do);
    m_oldMetadata = m_documentController->GetAccessibilityMetadata();
    m_documentController->SetAccessibilityMetadata(m_metadata);
}

void SetDocumentAccessibilityMetadataCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->SetAccessibilityMetadata(m_oldMetadata);
}

void SetDocumentAccessibilityMetadataCommand::Redo() {
    SetDirection(Direction::Redo);
    m_documentController->SetAccessibilityMetadata(m_metadata);
}

Kernel::Counted<DocumentCommand> SetDocumentAccessibilityMetadataCommand::Clone() const {
    return Kernel::MakeCounted<SetDocumentAccessibilityMetadataCommand>(m_metadata);
}

} // namespace Commands
