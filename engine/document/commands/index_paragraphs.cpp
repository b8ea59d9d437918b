// SPDX-License-Identifier: Apache-2.0
#include "engine/document/commands/index_paragraphs.h"

#include "platform/document/index_preview.h"
#include "platform/document/update_index_command.h"

using Story::IndexAtt;

std::vector<FoundIndex> FindIndices(Story::Story const& story) {
    std::vector<FoundIndex> found;
    std::uint32_t begin = 0;
    bool goesOn = false;
    for (std::size_t i = 0; i != story.GetParagraphCount(); ++i) {
        auto const& paragraph = *story.GetParagraph(i);
        auto const end = begin + paragraph.GetLength();
        auto const att = IndexAtt::Of(*paragraph.GetAtts());
        if (!att)
            goesOn = false;
        else if (goesOn && found.back().att->GetId() == att->GetId())
            found.back().range.end = end;
        else
            found.push_back({att, {begin, end}});
        goesOn = static_cast<bool>(att);
        begin = end;
    }
    return found;
}

Story::IndexedPages GetIndexedPages(IndexPreview const& preview) {
    Story::IndexedPages pages;
    auto const marks = preview.GetMarks();
    for (std::size_t i = 0; i != marks.size(); ++i) {
        auto const& mark = *marks[i];
        if (mark.GetTopic() && !mark.GetPageLabel().empty())
            pages[mark.GetTopic().get()].push_back({mark.GetPageNumber(), mark.GetPageLabel(), mark.GetStyleName(), i});
    }
    return pages;
}

Story::IndexSeparators GetIndexSeparators(Story::Index const& index) {
    Story::IndexSeparators separators;
    auto const take = [&](std::string_view key, Story::GlyphString& text) {
        if (auto const* const own = index.FindString(Kernel::String(key)))
            text = *own;
    };
    take(UpdateIndexCommand::AfterTopicTag, separators.afterTopic);
    take(UpdateIndexCommand::BetweenListItemsTag, separators.betweenListItems);
    take(UpdateIndexCommand::BetweenRangesTag, separators.betweenRanges);
    take(UpdateIndexCommand::BeforeCrossReferencesTag, separators.beforeCrossReferences);
    take(UpdateIndexCommand::SeeTag, separators.see);
    take(UpdateIndexCommand::SeeAlsoTag, separators.seeAlso);
    take(UpdateIndexCommand::AfterCrossReferencesTag, separators.afterCrossReferences);
    return separators;
}
