// SPDX-License-Identifier: Apache-2.0
#include "contents/delete_toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

Kernel::LocalisedString DeleteTocStyleCommand::GetDescription() const {
    return Kernel::LocalisedString("Delete TOC style", "Command description");
}

// Entry styles go before the style that they belong to.
void DeleteTocStyleCommand::Do() {
    SetDirection(Direction::Do);
    m_alterCommands.clear();
    m_textStyleCommands.clear();
    Kernel::Counted<DocumentController> const controller = m_documentController;
    std::vector<Kernel::String> entryNames;
    auto const sheet = controller->GetDocument()->GetTextStyleSheet();
    for (auto const& style : *sheet) {
        if (style && style->GetTocStyleName() == m_tocStyleName)
            entryNames.push_back(style->GetName());
    }
    for (auto const& name : entryNames)
        InnerLists::Run(*this, m_textStyleCommands, TextStyleCommand::MakeDeleteStyle(name, false));
    InnerLists::Run(*this, m_textStyleCommands, TextStyleCommand::MakeDeleteStyle(m_tocStyleName, false));
    auto const selections = TocVisitor::FindTocs(controller);
    if (selections.empty())
        return;
    std::vector<Story::TocAttRef> tables;
    for (auto const& selection : selections) {
        auto toc = TocVisitor::GetToc(selection);
        if (toc && toc->GetTocStyleName() == m_tocStyleName)
            tables.push_back(std::move(toc));
    }
    auto const defaultName = Story::TocAtt::GetDefaultTocStyleName().ToString();
    if (m_tocStyleName == defaultName) {
        auto const style = AlterTocCommand::MakeTocStyle(controller->GetDocument()->GetTextStyleSheet(), defaultName);
        InnerLists::Run(
            *this, m_textStyleCommands,
            TextStyleCommand::MakeSetStyle(
                style->GetName(), Kernel::Consolidated<Story::Style>(Kernel::Counted<Story::Style const>(style))));
    }
    for (auto const& toc : tables) {
        if (auto alter = AlterTocCommand::MakeApplyTocStyle(toc, defaultName, controller))
            InnerLists::Run(*this, m_alterCommands, std::move(alter));
    }
}

void DeleteTocStyleCommand::Undo() {
    SetDirection(Direction::Undo);
    InnerLists::Undo(m_alterCommands);
    InnerLists::Undo(m_textStyleCommands);
}

void DeleteTocStyleCommand::Redo() {
    SetDirection(Direction::Redo);
    InnerLists::Redo(m_textStyleCommands);
    InnerLists::Redo(m_alterCommands);
}

void DeleteTocStyleCommand::Notify(Kernel::NotificationList& notifications) {
    InnerLists::Notify(*this, m_textStyleCommands, notifications);
    InnerLists::Notify(*this, m_alterCommands, notifications);
}

bool DeleteTocStyleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) && InnerLists::IsComplete(m_textStyleCommands) &&
           InnerLists::IsComplete(m_alterCommands);
}

void DeleteTocStyleCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    InnerLists::PostLoad(m_textStyleCommands, controller);
    InnerLists::PostLoad(m_alterCommands, controller);
}

void DeleteTocStyleCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    InnerLists::PostDequeue(m_textStyleCommands, controller);
    InnerLists::PostDequeue(m_alterCommands, controller);
}

void DeleteTocStyleCommand::AppendInnerCommands(InnerCommands::List& found) const {
    found.insert(found.end(), m_textStyleCommands.begin(), m_textStyleCommands.end());
    found.insert(found.end(), m_alterCommands.begin(), m_alterCommands.end());
}

Kernel::Counted<DocumentCommand> DeleteTocStyleCommand::Clone() const {
    return Kernel::MakeCounted<DeleteTocStyleCommand>(m_tocStyleName);
}

} // namespace Commands
