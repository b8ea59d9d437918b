// SPDX-License-Identifier: Apache-2.0
#include "articles/set_mark_as_decoration_command.h"

#include "articles/old_values.h"
#include "frame/contract/notifications.h"

namespace Commands {

void SetMarkAsDecorationCommand::ReceiveNode(Kernel::NonCounted<Node> node) {
    switch (m_direction) {
    case Direction::Do:
        m_oldValues.Set(node, node->GetMarkAsDecoration());
        node->SetMarkAsDecoration(m_value);
        break;
    case Direction::Undo:
        if (auto const* const old = m_oldValues.Find(*node))
            node->SetMarkAsDecoration(*old);
        break;
    case Direction::Redo:
        node->SetMarkAsDecoration(m_value);
        break;
    case Direction::Teardown:
        break;
    }
}

void SetMarkAsDecorationCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(
        Kernel::MakeCounted<MetadataChangedNotification>(GetDocumentController(), GetSelection(), false));
}

void SetMarkAsDecorationCommand::Save(Kernel::OutSerialiser& out) const {
    SaveOldValues(out, m_oldValues);
    Persisted::Save(out);
}

bool SetMarkAsDecorationCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files,
                                      unsigned short version) {
    LoadOldValues(in, m_oldValues);
    return Persisted::Load(in, files, version);
}

} // namespace Commands
