// SPDX-License-Identifier: Apache-2.0
#include "contents/toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

void TocStyleCommand::Undo() {
    SetDirection(Direction::Undo);
    InnerLists::Undo(m_alterCommands);
    InnerLists::Undo(m_textStyleCommands);
}

void TocStyleCommand::Redo() {
    SetDirection(Direction::Redo);
    InnerLists::Redo(m_textStyleCommands);
    InnerLists::Redo(m_alterCommands);
}

void TocStyleCommand::Notify(Kernel::NotificationList& notifications) {
    InnerLists::Notify(*this, m_textStyleCommands, notifications);
    InnerLists::Notify(*this, m_alterCommands, notifications);
}

void TocStyleCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    InnerLists::PostLoad(m_textStyleCommands, controller);
    InnerLists::PostLoad(m_alterCommands, controller);
}

void TocStyleCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    InnerLists::PostDequeue(m_textStyleCommands, controller);
    InnerLists::PostDequeue(m_alterCommands, controller);
}

void TocStyleCommand::AppendInnerCommands(InnerCommands::List& found) const {
    found.insert(found.end(), m_textStyleCommands.begin(), m_textStyleCommands.end());
    found.insert(found.end(), m_alterCommands.begin(), m_alterCommands.end());
}

std::vector<Story::TocAttRef>
TocStyleCommand::TakeTables(std::vector<Kernel::Counted<Selection const>> const& selections,
                            Kernel::String const& tocStyleName) {
    std::vector<Story::TocAttRef> tables;
    for (auto const& selection : selections) {
        auto toc = TocVisitor::GetToc(selection);
        if (toc && toc->GetTocStyleName() == tocStyleName)
            tables.push_back(std::move(toc));
    }
    return tables;
}

void TocStyleCommand::Apply(std::vector<Story::TocAttRef> const& tables, Kernel::String const& tocStyleName) {
    for (auto const& toc : tables) {
        if (auto alter = AlterTocCommand::MakeApplyTocStyle(toc, tocStyleName, m_documentController))
            InnerLists::Run(*this, m_alterCommands, std::move(alter));
    }
}

bool TocStyleCommand::IsComplete() const {
    return InnerLists::IsComplete(m_textStyleCommands) && InnerLists::IsComplete(m_alterCommands);
}

} // namespace Commands
