// SPDX-License-Identifier: Apache-2.0
#include "contents/rename_toc_style_command.h"

#include "contents/inner_lists.h"
#include "platform/document/document_controller.h"
#include "platform/document/toc_visitor.h"

namespace Commands {

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
    Apply(TakeTables(TocVisitor::FindTocs(controller), m_oldName), m_newName);
}

void RenameTocStyleCommand::Rename(Kernel::Consolidated<Story::TocEntryStyle> const& style,
                                   Kernel::String const& name) {
    auto const clone = Kernel::MakeCounted<Story::TocEntryStyle>(*style);
    clone->ChangeTocStyleName(name);
    InnerLists::Run(*this, m_textStyleCommands,
                    TextStyleCommand::MakeSetStyle(style->GetName(), Kernel::Consolidated<Story::Style>(
                                                                         Kernel::Counted<Story::Style const>(clone))));
}

bool RenameTocStyleCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Persisted::Load(in, files, version) && IsComplete();
}

} // namespace Commands
