// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/io_format.h"
#include "platform/story/story.h"

#include <utility>
#include <vector>

namespace Story {

// A range together with the version of the story in which it counts, and which it keeps alive. Where the story is known
// anyway, the plain range, which this one is too, costs nothing.
class REDRAFT_ENGINE RangeInStory : public StoryRange {
public:
    RangeInStory() = default;
    // Clamped to the story.
    RangeInStory(StoryRef story, StoryRange range);
    bool IsSet() const { return static_cast<bool>(m_story); }
    StoryRef const& GetStory() const { return m_story; }
    StoryPos GetBegin() const { return {m_story, begin}; }
    StoryPos GetEnd() const { return {m_story, end}; }
    // The characters, objects left out: of the first `maximum` glyphs, or of all where that is negative.
    Kernel::String GetString(IoFormat::Type format, int maximum) const;
    friend bool operator==(RangeInStory const&, RangeInStory const&) = default;

private:
    StoryRef m_story;
};

// Spans of one version of a story, in ascending order, none touching another; a caret is an empty span.
class REDRAFT_ENGINE Selection {
public:
    // Not set.
    Selection() = default;
    // Spans are clamped to the story. None at all is a selection of nothing.
    Selection(StoryRef story, StoryRanges const& ranges);
    Selection(StoryRef story, std::vector<SelectionRange> const& ranges);
    explicit Selection(RangeInStory const& range) : Selection(range.GetStory(), StoryRanges({range})) {}

    bool IsSet() const { return static_cast<bool>(m_story); }
    explicit operator bool() const { return IsSet(); }
    StoryRef const& GetStory() const { return m_story; }
    std::size_t GetRangeCount() const { return m_ranges.size(); }
    // `withCarets`: the empty spans too.
    StoryRanges GetRanges(bool withCarets) const;
    // From the first begin to the last end.
    RangeInStory GetMaxRange() const { return {m_story, m_ranges.GetMaxRange()}; }
    StoryPos GetMaxBegin() const { return {m_story, m_ranges.GetMaxRange().begin}; }
    // The place that the selection goes out from. Spans have no direction here: it is the first one's begin.
    StoryPos GetAnchor() const { return GetMaxBegin(); }
    // Of all spans together, in glyphs.
    std::uint32_t GetSize() const;
    // The first glyph of a span that the predicate takes; not set when there is none.
    StoryPos BaseFindIf(GlyphPredicate const& predicate) const;
    // Positions of all of them.
    std::vector<StoryPos> BaseCollectIf(GlyphPredicate const& predicate) const;
    friend bool operator==(Selection const&, Selection const&) = default;

private:
    StoryRef m_story;
    StoryRanges m_ranges;
};

} // namespace Story
