// SPDX-License-Identifier: Apache-2.0
#include "text/set_anchor_data_guid_command.h"

#include "platform/kernel/exception.h"

namespace Commands {

void SetAnchorDataGUIDCommand::Run(Direction direction) {
    bool const isDo = direction == Direction::Do;
    if (isDo && !m_anchorData)
        throw Kernel::Exception("there is no anchor to bind");
    if (!m_anchorData || (isDo && !m_documentController->GetDocument()))
        return;
    if (isDo)
        m_oldGuid = m_anchorData->GetUid();
    m_anchorData->SetUid(direction == Direction::Undo ? m_oldGuid : m_guid);
}

// Nothing of it is worth anything without its base.
bool SetAnchorDataGUIDCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!DocumentCommand::Load(in, files, version))
        return false;
    Kernel::LoadFields(*this, in);
    return true;
}

} // namespace Commands
