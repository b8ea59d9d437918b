// SPDX-License-Identifier: Apache-2.0
#include "text/delete_custom_field_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/custom_field_source.h"
#include "platform/document/document_controller.h"
#include "text/custom_field_locator.h"

#include <algorithm>

namespace Commands {

// The glyphs become text while the field is still there, and has its value.
void DeleteCustomFieldCommand::Do() {
    SetDirection(Direction::Do);
    m_expandCommands.clear();
    auto const document = m_documentController->GetDocument();
    CustomFieldLocator locator(m_guid);
    locator.Visit(document, nullptr);
    for (auto const& selection : locator.GetSelections()) {
        auto const expand = Kernel::MakeCounted<ExpandFieldGlyphCommand>(selection);
        InnerCommands::DoOne(*this, *expand);
        m_expandCommands.push_back(expand);
    }
    auto& source = document->GetCustomFieldSource();
    m_name = source.GetFieldName(m_guid);
    m_value = source.GetFieldValue(m_guid);
    source.DeleteField(m_guid);
}

void DeleteCustomFieldCommand::Undo() {
    SetDirection(Direction::Undo);
    m_documentController->GetDocument()->GetCustomFieldSource().AddField(m_guid, m_name, m_value);
    for (auto expand = m_expandCommands.rbegin(); expand != m_expandCommands.rend(); ++expand)
        InnerCommands::UndoOne(**expand);
}

void DeleteCustomFieldCommand::Redo() {
    SetDirection(Direction::Redo);
    for (auto const& expand : m_expandCommands)
        InnerCommands::RedoOne(*expand);
    m_documentController->GetDocument()->GetCustomFieldSource().DeleteField(m_guid);
}

void DeleteCustomFieldCommand::Notify(Kernel::NotificationList& notifications) {
    notifications.push_back(Kernel::MakeCounted<AvailableFieldsChangedNotification>(GetDocumentController(), false));
    for (auto const& expand : m_expandCommands) {
        // A preview may have become a step since the command ran.
        expand->SetPreview(IsPreview());
        expand->Notify(notifications);
    }
}

bool DeleteCustomFieldCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) &&
           std::ranges::all_of(m_expandCommands, [](auto const& expand) { return static_cast<bool>(expand); });
}

// Required: the base's is not called, and the inner commands get this command's own controller, which history binds
// before.
void DeleteCustomFieldCommand::PostLoad(Kernel::NonCounted<DocumentController>) {
    for (auto const& expand : m_expandCommands)
        expand->PostLoad(m_documentController);
}

void DeleteCustomFieldCommand::AppendInnerCommands(InnerCommands::List& found) const {
    found.insert(found.end(), m_expandCommands.begin(), m_expandCommands.end());
}

} // namespace Commands
