// SPDX-License-Identifier: Apache-2.0
#include "platform/document/alter_toc_command.h"

#include "engine/document/commands/toc_text.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

#include <algorithm>

AlterTocCommand::AlterTocCommand(Kind kind, Story::TocAttRef toc, Kernel::String styleName,
                                 Kernel::Counted<Selection const> selection)
    : StoredClass(std::move(selection)),
      m_kind(kind),
      // Its own: whether it is one object with an attribute of a text would depend on what else is open.
      m_toc(toc ? Story::TocAttRef(toc->Clone()) : Story::TocAttRef()),
      m_styleName(std::move(styleName)) {}

Kernel::Counted<AlterTocCommand>
AlterTocCommand::MakeApplyTocStyle(Story::TocAttRef const& toc, Kernel::String styleName,
                                   Kernel::Counted<DocumentController const> const& controller) {
    if (!toc)
        return {};
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller->GetDocument().get()), {});
    bool const isThere = std::any_of(visitor.GetTables().begin(), visitor.GetTables().end(),
                                     [&](TocVisitor::Table const& table) { return *table.toc == *toc; });
    if (!isThere)
        return {};
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::Apply, toc, std::move(styleName), Kernel::MakeCounted<Selection const>()));
}

Kernel::Counted<AlterTocCommand> AlterTocCommand::MakeInsertToc(Story::TocAttRef const& toc,
                                                                Kernel::Counted<Selection const> selection) {
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::Insert, toc, toc->GetTocStyleName(), std::move(selection)));
}

Kernel::Counted<AlterTocCommand> AlterTocCommand::MakeUpdateTocs() {
    return Kernel::Counted<AlterTocCommand>(
        new AlterTocCommand(Kind::UpdateAll, {}, {}, Kernel::MakeCounted<Selection const>()));
}

Kernel::Counted<Story::Style> AlterTocCommand::MakeTocStyle(Kernel::Counted<Story::StyleSheet const> const&,
                                                            Kernel::String const& name) {
    auto const toc = Kernel::MakeCounted<Story::TocAtt>(name, 0);
    toc->SetTitle(Kernel::LocalisedString("Contents", "Title of a table of contents").ToString());
    toc->SetTitleStyleName("Contents Title");
    return Kernel::MakeCounted<Story::TocStyle>(name, Kernel::MakeCounted<Story::TocStyleDelta>(toc));
}

std::uint32_t AlterTocCommand::MakeTocId(DocumentController const& controller) {
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller.GetDocument().get()), {});
    std::vector<std::uint32_t> ids;
    for (auto const& table : visitor.GetTables())
        ids.push_back(table.toc->GetId());
    std::uint32_t id = 1;
    while (std::find(ids.begin(), ids.end(), id) != ids.end())
        ++id;
    return id;
}

Kernel::LocalisedString AlterTocCommand::GetDescription() const {
    return m_kind == Kind::Insert ? Kernel::LocalisedString("Insert table of contents", "Command description")
                                  : Kernel::LocalisedString("Update table of contents", "Command description");
}

void AlterTocCommand::UpdateTexts(BeforeChange const& beforeChange) {
    TocText tables(*m_documentController->GetDocument(), beforeChange);
    Story::TocAttRef toc = m_toc ? Story::TocAttRef(m_toc->Clone()) : m_toc;
    if (m_kind == Kind::Insert && toc) {
        auto const [text, place] = FindPlace();
        if (text)
            tables.Insert(*text, place, toc);
    } else if (m_kind == Kind::Apply && toc && toc->GetTocStyleName() != m_styleName) {
        auto const styled = toc->Clone();
        styled->SetTocStyleName(m_styleName);
        toc = styled;
        tables.Replace(*m_toc, toc);
    }
    if (!toc && m_kind != Kind::UpdateAll)
        return;
    tables.MakeLines(
        [&](Story::TocAtt const& table) {
            if (m_kind == Kind::UpdateAll)
                return true;
            return m_isNotLast ? table == *toc : table.GetTocStyleName() == m_styleName;
        },
        !m_isNotLast);
}

Kernel::Counted<DocumentCommand> AlterTocCommand::Clone() const {
    Kernel::Counted<AlterTocCommand> clone(new AlterTocCommand(m_kind, m_toc, m_styleName, GetGivenSelection()));
    clone->m_isNotLast = m_isNotLast;
    return clone;
}
