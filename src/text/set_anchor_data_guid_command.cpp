// SPDX-License-Identifier: Apache-2.0
#include "text/set_anchor_data_guid_command.h"

#include "platform/document/document_controller.h"
#include "platform/kernel/exception.h"

namespace Commands {

Kernel::LocalisedString SetAnchorDataGUIDCommand::GetDescription() const {
    return Kernel::LocalisedString("Change anchor binding", "Command description");
}

void SetAnchorDataGUIDCommand::Do() {
    SetDirection(Direction::Do);
    if (!m_anchorData)
        throw Kernel::Exception("there is no anchor to bind");
    if (!m_documentController->GetDocument())
        return;
    m_oldGuid = m_anchorData->GetUid();
    m_anchorData->SetUid(m_guid);
}

void SetAnchorDataGUIDCommand::Undo() {
    SetDirection(Direction::Undo);
    if (m_anchorData)
        m_anchorData->SetUid(m_oldGuid);
}

void SetAnchorDataGUIDCommand::Redo() {
    SetDirection(Direction::Redo);
    if (m_anchorData)
        m_anchorData->SetUid(m_guid);
}

// Nothing of it is worth anything without its base.
bool SetAnchorDataGUIDCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!DocumentCommand::Load(in, files, version))
        return false;
    Kernel::LoadFields(*this, in);
    return true;
}

Kernel::Counted<DocumentCommand> SetAnchorDataGUIDCommand::Clone() const {
    return Kernel::MakeCounted<SetAnchorDataGUIDCommand>(m_anchorData, m_guid);
}

} // namespace Commands
