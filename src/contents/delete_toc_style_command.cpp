// SPDX-License-Identifier: Apache-2.0
#include "contents/delete_toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

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
    auto const tables = TakeTables(selections, m_tocStyleName);
    // As documents have it, whatever the user's language.
    auto const defaultName = Story::TocAtt::GetDefaultTocStyleName().GetText();
    if (m_tocStyleName == defaultName) {
        auto const style = AlterTocCommand::MakeTocStyle(controller->GetDocument()->GetTextStyleSheet(), defaultName);
        InnerLists::Run(
            *this, m_textStyleCommands,
            TextStyleCommand::MakeSetStyle(
                style->GetName(), Kernel::Consolidated<Story::Style>(Kernel::Counted<Story::Style const>(style))));
    }
    Apply(tables, defaultName);
}

bool DeleteTocStyleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) && IsComplete();
}

} // namespace Commands
