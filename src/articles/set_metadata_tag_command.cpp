// SPDX-License-Identifier: Apache-2.0
#include "articles/set_metadata_tag_command.h"

#include "articles/old_values.h"
#include "frame/contract/notifications.h"
#include "platform/kernel/cast.h"

namespace Commands {

void SetMetadataTagCommand::Do() {
    m_captionHelper.PreProcess();
    SelectionCommand::Do();
    m_captionHelper.PostProcess();
}

void SetMetadataTagCommand::Undo() {
    m_captionHelper.PreProcess();
    SelectionCommand::Undo();
    m_captionHelper.PostProcess();
}

void SetMetadataTagCommand::Redo() {
    m_captionHelper.PreProcess();
    SelectionCommand::Redo();
    m_captionHelper.PostProcess();
}

void SetMetadataTagCommand::ReceiveNode(Kernel::NonCounted<Node> node) {
    m_captionHelper.NoteCaptionParentNode(*node);
    switch (m_direction) {
    case Direction::Do:
        if (auto const values = node->GetMetadataValuesForKey(m_key); !values.empty())
            m_oldValues.Set(node, *values.front());
        Put(*node);
        break;
    case Direction::Undo:
        node->RemoveMetadataValuesForKey(m_key);
        if (auto const* const old = m_oldValues.Find(*node))
            node->AddMetadataValueForKey(m_key, *old);
        break;
    case Direction::Redo:
        Put(*node);
        break;
    case Direction::Teardown:
        break;
    }
    m_captionHelper.HandleCaptionParentNode(node);
}

void SetMetadataTagCommand::Put(Node& node) {
    node.RemoveMetadataValuesForKey(m_key);
    if (m_allowEmptyValue || !m_value.empty())
        node.AddMetadataValueForKey(m_key, m_value);
}

void SetMetadataTagCommand::Notify(Kernel::NotificationList& notifications) {
    auto const selection = GetSelection();
    notifications.push_back(
        Kernel::MakeCounted<MetadataChangedNotification>(GetDocumentController(), selection, m_preview));
    notifications.push_back(
        Kernel::MakeCounted<DescriptionChangedNotification>(selection, GetDocumentController(), m_preview));
    Kernel::Counted<DocumentController> const controller = m_documentController;
    if (controller)
        m_captionHelper.CaptionNotify(Kernel::NonCounted<DocumentController>(controller), notifications, m_preview);
}

bool SetMetadataTagCommand::Merge(Kernel::Counted<Command const> newer) {
    auto const other = Kernel::Cast<SetMetadataTagCommand const>(newer);
    if (!other || !IsSelectionEqualTo(other->m_selection) || other->m_key != m_key)
        return false;
    m_value = other->m_value;
    MarkChanged();
    return true;
}

void SetMetadataTagCommand::Save(Kernel::OutSerialiser& out) const {
    SaveOldValues(out, m_oldValues);
    Persisted::Save(out);
}

bool SetMetadataTagCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    LoadOldValues(in, m_oldValues);
    return Persisted::Load(in, files, version);
}

Kernel::Counted<DocumentCommand> SetMetadataTagCommand::Clone() const {
    return Kernel::MakeCounted<SetMetadataTagCommand>(m_key, m_value, GetGivenSelection());
}

} // namespace Commands
