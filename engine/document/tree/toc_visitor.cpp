// SPDX-License-Identifier: Apache-2.0
#include "platform/document/toc_visitor.h"

#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

void TocVisitor::ReceiveStory(Kernel::NonCounted<Story::Story const> story) {
    // Paragraphs that look alike have one set of attributes.
    Story::ParagraphAtts const* known = nullptr;
    Story::TocAttRef toc;
    std::uint32_t begin = 0;
    bool goesOn = false;
    for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
        auto const& paragraph = *story->GetParagraph(i);
        if (paragraph.GetAtts().get() != known) {
            known = paragraph.GetAtts().get();
            toc = Story::TocAtt::Of(*known);
        }
        auto const end = begin + paragraph.GetLength();
        if (!toc)
            goesOn = false;
        else if (goesOn && *m_tables.back().toc == *toc)
            m_tables.back().range.end = end;
        else {
            m_tables.push_back({GetTextNode(), toc, {begin, end}});
            goesOn = true;
        }
        begin = end;
    }
}

std::vector<Kernel::Counted<Selection const>>
TocVisitor::FindTocs(Kernel::Counted<DocumentController const> const& controller) {
    TocVisitor visitor;
    visitor.Visit(Kernel::JailCounted<Node>(controller->GetDocument().get()), {});
    std::vector<Kernel::Counted<Selection const>> selections;
    for (auto const& table : visitor.GetTables())
        selections.push_back(
            Kernel::MakeCounted<Selection const>(Selection::Items{Kernel::MakeCounted<SubSelectionItem>(
                                                     table.text, Kernel::MakeCounted<TextSelection>(table.range))},
                                                 false));
    return selections;
}

Story::TocAttRef TocVisitor::GetToc(Kernel::Counted<Selection const> const& selection) {
    if (!selection)
        return {};
    for (auto const& item : *selection) {
        auto const* const part = Kernel::CastPointer<SubSelectionItem const>(item.get());
        auto const* const text = part == nullptr ? nullptr : Kernel::CastPointer<TextNode>(part->GetSelectable().get());
        auto const ranges =
            part == nullptr ? nullptr : Kernel::CastPointer<TextSelection const>(part->GetSubSelection().get());
        if (text == nullptr || ranges == nullptr || ranges->GetRanges().empty())
            continue;
        auto const& first = ranges->GetRanges().front();
        auto const place = std::max(std::min(first.anchor, first.end), 0);
        return Story::TocAtt::Of(*text->GetStory()->GetParagraphAtts(static_cast<std::uint32_t>(place)));
    }
    return {};
}
