// SPDX-License-Identifier: Apache-2.0
#include "contents/update_toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

void UpdateTocStyleCommand::Do() {
    SetDirection(Direction::Do);
    m_alterCommands.clear();
    m_setStyleCommand.reset();
    Kernel::Counted<DocumentController> const controller = m_documentController;
    auto const current = TocVisitor::GetToc(controller->GetCurrentSelection());
    auto const style = controller->GetDocument()->GetTextStyleSheet()->GetStyle(m_tocStyleName);
    if (!style)
        return;
    auto const clone = style->Clone();
    // An object of the style's own, which may be shared with an equal style.
    clone->SetDelta(m_delta
                        ? Kernel::MakeCounted<Story::TocStyleDelta>(Story::TocAttRef(
                              Story::GetTocStyleDeltaFromDelta(Kernel::NonCounted<Story::Delta const>(m_delta.get()))
                                  ->GetTocAtt()
                                  ->Clone()))
                        : Kernel::Counted<Story::TocStyleDelta>());
    auto const set = TextStyleCommand::MakeSetStyle(
        m_tocStyleName, Kernel::Consolidated<Story::Style>(Kernel::Counted<Story::Style const>(clone)));
    InnerCommands::DoOne(*this, *set);
    m_setStyleCommand = set;
    std::vector<Story::TocAttRef> tables;
    bool isCurrentMet = false;
    for (auto const& selection : TocVisitor::FindTocs(controller)) {
        auto toc = TocVisitor::GetToc(selection);
        if (!toc || toc->GetTocStyleName() != m_tocStyleName)
            continue;
        if (current && *toc == *current)
            isCurrentMet = true;
        else
            tables.push_back(std::move(toc));
    }
    if (isCurrentMet)
        tables.push_back(current);
    for (std::size_t i = 0; i != tables.size(); ++i) {
        auto alter = AlterTocCommand::MakeApplyTocStyle(tables[i], m_tocStyleName, controller);
        if (!alter)
            continue;
        alter->m_isNotLast = i + 1 < tables.size();
        InnerLists::Run(*this, m_alterCommands, std::move(alter));
    }
}

void UpdateTocStyleCommand::Undo() {
    SetDirection(Direction::Undo);
    InnerLists::Undo(m_alterCommands);
    if (m_setStyleCommand)
        InnerCommands::UndoOne(*m_setStyleCommand);
}

void UpdateTocStyleCommand::Redo() {
    SetDirection(Direction::Redo);
    if (m_setStyleCommand)
        InnerCommands::RedoOne(*m_setStyleCommand);
    InnerLists::Redo(m_alterCommands);
}

void UpdateTocStyleCommand::Notify(Kernel::NotificationList& notifications) {
    if (m_setStyleCommand) {
        m_setStyleCommand->SetPreview(IsPreview());
        m_setStyleCommand->Notify(notifications);
    }
    InnerLists::Notify(*this, m_alterCommands, notifications);
}

bool UpdateTocStyleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) && InnerLists::IsComplete(m_alterCommands);
}

void UpdateTocStyleCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostLoad(controller);
    if (m_setStyleCommand)
        m_setStyleCommand->PostLoad(controller);
    InnerLists::PostLoad(m_alterCommands, controller);
}

void UpdateTocStyleCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
    if (m_setStyleCommand)
        m_setStyleCommand->PostDequeueWithMutableController(controller);
    InnerLists::PostDequeue(m_alterCommands, controller);
}

void UpdateTocStyleCommand::AppendInnerCommands(InnerCommands::List& found) const {
    if (m_setStyleCommand)
        found.emplace_back(m_setStyleCommand);
    found.insert(found.end(), m_alterCommands.begin(), m_alterCommands.end());
}

} // namespace Commands
