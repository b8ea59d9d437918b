// SPDX-License-Identifier: Apache-2.0
#include "contents/rename_toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

Kernel::LocalisedString RenameTocStyleCommand::GetDescription() const {
    return Kernel::LocalisedString("Rename TOC style", "Command description");
}

void RenameTocStyleCommand::Do() {
    SetDirection(Direction::Do);
    m_textStyleCommands.clear();
    m_alterCommands.clear();
    Kernel::Counted<DocumentController> const controller = m_documentController;
    auto const style = controller->GetDocument()->GetTextStyleSheet()->GetStyle(m_oldName);
    if (!style || style->GetType() != Story::StyleType::Toc)
        return;
    auto const clone = style->Clone();
    clone->Rename(m_oldName, m_newName);
    if (auto const delta =
            Story::GetTocStyleDeltaFromDelta(Kernel::NonCounted<Story::Delta const>(clone->GetDelta().get()))) {
        auto const toc = delta->GetTocAtt()->Clone();
        toc->SetTocStyleName(clone->GetName());
        clone->SetDelta(Kernel::MakeCounted<Story::TocStyleDelta>(toc));
    }
    InnerLists::Run(*this, m_textStyleCommands,
                    TextStyleCommand::MakeSetStyle(
                        m_oldName, Kernel::Consolidated<Story::Style>(Kernel::Counted<Story::Style const>(clone))));
    std::vector<Story::TocAttRef> tables;
    for (auto const& selection : TocVisitor::FindTocs(controller)) {
        auto toc = TocVisitor::GetToc(selection);
        if (toc && toc->GetTocStyleName() == m_oldName)
            tables.push_back(std::move(toc));
    }
    for (auto const& toc : tables) {
        if (auto alter = AlterTocCommand::MakeApplyTocStyle(toc, m_newName, controller))
            InnerLists::Run(*this, m_alterCommands, std::move(alter));
    }
}

void RenameTocStyleCommand::Rename(Kernel::Consolidated<Story::TocEntryStyle> const& style,
                                   Kernel::String const& name) {
    auto const clone = Kernel::MakeCounted<Story::TocEntryStyle>(*style);
    clone->ChangeTocStyleName(name);
    InnerLists::Run(*this, m_textStyleCommands,
                    TextStyleCommand::MakeSetStyle(style->GetName(), Kernel::Consolidated<Story::Style>(
                                                                         Kernel::Counted<Story::Style const>(clone))));
}

void RenameTocStyleCommand::Undo() {
    SetDirection(Direction::Undo);
    InnerLists::Undo(m_alterCommands);
    InnerLists::Undo(m_textStyleCommands);
}

void RenameTocStyleCommand::Redo() {
    SetDirection(Direction::Redo);
    InnerLists::Redo(m_textStyleCommands);
    InnerLists::Redo(m_alterCommands);
}

void RenameTocStyleCommand::Notify(Kernel::NotificationList& notifications) {
    InnerLists::Notify(*this, m_textStyleCommands, notifications);
    InnerLists::Notify(*this, m_alterCommands, notifications);
}

bool RenameTocStyleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) && InnerLists::IsComplete(m_textStyleCommands) &&
           InnerLists::IsComplete(m_alterCommands);
}

void RenameTocStyleCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    InnerLists::PostLoad(m_textStyleCommands, controller);
    InnerLists::PostLoad(m_alterCommands, controller);
}

void RenameTocStyleCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    InnerLists::PostDequeue(m_textStyleCommands, controller);
    InnerLists::PostDequeue(m_alterCommands, controller);
}

void RenameTocStyleCommand::AppendInnerCommands(InnerCommands::List& found) const {
    found.insert(found.end(), m_textStyleCommands.begin(), m_textStyleCommands.end());
    found.insert(found.end(), m_alterCommands.begin(), m_alterCommands.end());
}

Kernel::Counted<DocumentCommand> RenameTocStyleCommand::Clone() const {
    return Kernel::MakeCounted<RenameTocStyleCommand>(m_oldName, m_newName);
}

} // namespace Commands
