// SPDX-License-Identifier: Apache-2.0
// Positions, ranges and selections of a story, and what is found and read in them.
#include "platform/story/story_selection.h"

#include "engine/story/format_text.h"
#include "platform/story/story_visitor.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace Story {

namespace {

// The answers of a predicate for characters, each asked for once.
class CharacterAnswers {
public:
    explicit CharacterAnswers(GlyphPredicate const& predicate) : m_predicate(predicate) {}
    bool Takes(char32_t c) {
        if (c >= m_near.size()) {
            auto const [known, isNew] = m_far.try_emplace(c, false);
            if (isNew)
                known->second = Ask(c);
            return known->second;
        }
        auto& answer = m_near[c];
        if (answer == c_unknown)
            answer = Ask(c) ? 1 : 0;
        return answer == 1;
    }

private:
    static constexpr std::uint8_t c_unknown = 2;
    bool Ask(char32_t c) const { return m_predicate(*Kernel::MakeCounted<CharacterGlyph>(c)); }

    GlyphPredicate const& m_predicate;
    std::array<std::uint8_t, 1024> m_near = [] {
        std::array<std::uint8_t, 1024> unknown{};
        unknown.fill(c_unknown);
        return unknown;
    }();
    std::unordered_map<char32_t, bool> m_far;
};

// Tells the places of the glyphs that the predicate takes, as long as `visit` answers true. False when it did not.
template <class Visit>
bool VisitIf(Story const& story, StoryRange range, GlyphPredicate const& predicate, Visit const& visit) {
    range.end = std::min(range.end, story.GetLength());
    if (range.empty())
        return true;
    bool goesOn = true;
    if (!predicate.TakesCharacters()) {
        story.VisitObjects(range, [&](std::uint32_t index, Kernel::Counted<Glyph const> const& glyph) {
            goesOn = !predicate(*glyph) || visit(index);
            return goesOn;
        });
        return goesOn;
    }
    CharacterAnswers answers(predicate);
    for (auto i = story.Find(range.begin).paragraph; i != story.GetParagraphCount(); ++i) {
        std::uint32_t const begin = story.GetParagraphBegin(i);
        if (begin >= range.end)
            break;
        auto const& paragraph = *story.GetParagraph(i);
        auto const text = paragraph.GetText();
        auto object = paragraph.GetObjects().begin();
        auto const objectEnd = paragraph.GetObjects().end();
        std::uint32_t const from = std::max(range.begin, begin) - begin;
        std::uint32_t const to = std::min(range.end - begin, paragraph.GetLength());
        for (std::uint32_t at = from; at < to; ++at) {
            while (object != objectEnd && object->index < at)
                ++object;
            bool const isObject = object != objectEnd && object->index == at;
            bool const isTaken = isObject ? predicate(*object->glyph) : answers.Takes(text[at]);
            if (isTaken && !visit(begin + at))
                return false;
        }
    }
    return true;
}

StoryPos FindFirst(StoryRef const& story, StoryRange range, GlyphPredicate const& predicate) {
    StoryPos found;
    VisitIf(*story, range, predicate, [&](std::uint32_t index) {
        found = StoryPos(story, index);
        return false;
    });
    return found;
}

// Shows nothing wherever it stands: controls, soft hyphens, joiners, marks of direction, invisible operators.
bool ShowsNothing(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xAD || (c >= 0x200B && c <= 0x200F) ||
           (c >= 0x202A && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) || c == 0xFEFF;
}

} // namespace

Kernel::String FormatStoryText(std::u32string text, IoFormat::Type format) {
    std::size_t kept = 0;
    for (char32_t c : text) {
        if (c == c_objectCharacter)
            continue;
        if (IsHardBreakCharacter(c))
            c = U'\n';
        if ((format & IoFormat::c_oneLine) != 0 && (c == U'\n' || c == U'\t'))
            c = U' ';
        if ((format & IoFormat::c_plain) != 0 && c != U'\n' && c != U'\t' && ShowsNothing(c))
            continue;
        text[kept++] = c;
    }
    text.resize(kept);
    return EncodeUtf8(text);
}

// StoryPos

void StoryPos::BaseCollectIf(std::vector<StoryPos>& found, StoryPos const& end, GlyphPredicate const& predicate) const {
    if (!IsSet())
        return;
    VisitIf(*m_story, {m_index, end.m_index}, predicate, [&](std::uint32_t index) {
        found.emplace_back(m_story, index);
        return true;
    });
}
StoryPos StoryPos::BaseFindIf(StoryPos const& end, GlyphPredicate const& predicate) const {
    return IsSet() ? FindFirst(m_story, {m_index, end.m_index}, predicate) : StoryPos();
}

// RangeInStory

RangeInStory Story::Bind(StoryRange range) const { return {StoryRef(this), range}; }

RangeInStory::RangeInStory(StoryRef story, StoryRange range) : StoryRange(range), m_story(std::move(story)) {
    begin = m_story ? std::min(begin, m_story->GetLength()) : 0;
    end = m_story ? std::clamp(end, begin, m_story->GetLength()) : 0;
}

Kernel::String RangeInStory::GetString(IoFormat::Type format, int maximum) const {
    if (!m_story)
        return {};
    StoryRange range = *this;
    if (maximum >= 0)
        range.end = begin + std::min(GetSize(), static_cast<std::uint32_t>(maximum));
    return FormatStoryText(m_story->GetText(range), format);
}

// Selection

namespace {

StoryRanges ClampRanges(StoryRef const& story, std::vector<StoryRange> ranges) {
    std::uint32_t const length = story ? story->GetLength() : 0;
    for (auto& range : ranges) {
        range.begin = std::min(range.begin, length);
        range.end = std::clamp(range.end, range.begin, length);
    }
    return StoryRanges(std::move(ranges));
}

std::vector<StoryRange> ToStoryRanges(std::vector<SelectionRange> const& ranges) {
    std::vector<StoryRange> result;
    for (auto const& range : ranges) {
        auto const [low, high] = std::minmax(range.anchor, range.end);
        result.push_back({static_cast<std::uint32_t>(std::max(low, 0)), static_cast<std::uint32_t>(std::max(high, 0))});
    }
    return result;
}

} // namespace

Selection::Selection(StoryRef story, StoryRanges const& ranges)
    : m_story(std::move(story)), m_ranges(ClampRanges(m_story, {ranges.begin(), ranges.end()})) {}
Selection::Selection(StoryRef story, std::vector<SelectionRange> const& ranges)
    : m_story(std::move(story)), m_ranges(ClampRanges(m_story, ToStoryRanges(ranges))) {}

StoryRanges Selection::GetRanges(bool withCarets) const {
    if (withCarets)
        return m_ranges;
    std::vector<StoryRange> spans(m_ranges.begin(), m_ranges.end());
    std::erase_if(spans, [](StoryRange const& range) { return range.empty(); });
    return StoryRanges(std::move(spans));
}

std::uint32_t Selection::GetSize() const {
    std::uint32_t size = 0;
    for (auto const& range : m_ranges)
        size += range.GetSize();
    return size;
}

StoryPos Selection::BaseFindIf(GlyphPredicate const& predicate) const {
    for (auto const& range : m_ranges) {
        if (auto const found = FindFirst(m_story, range, predicate); found.IsSet())
            return found;
    }
    return {};
}

std::vector<StoryPos> Selection::BaseCollectIf(GlyphPredicate const& predicate) const {
    std::vector<StoryPos> found;
    for (auto const& range : m_ranges)
        StoryPos(m_story, range.begin).BaseCollectIf(found, StoryPos(m_story, range.end), predicate);
    return found;
}

StoryChange::StoryChange(StoryChangeType type, Selection const& selection)
    : m_type(type), m_ranges(selection.GetRanges(true)) {}

// StoryVisitor

StoryVisitor::~StoryVisitor() = default;
void StoryVisitor::BeginParagraph(StoryPos const&, Paragraph const&, bool) {}
void StoryVisitor::ReceiveText(StoryPos const&, std::u32string_view, GlyphAttsRef const&) {}
void StoryVisitor::ReceiveObject(StoryPos const&, Kernel::Counted<Glyph const> const&, GlyphAttsRef const&) {}
void StoryVisitor::EndParagraph(StoryPos const&, Paragraph const&, bool) {}

void StoryVisitor::Visit(Selection const& selection) {
    for (auto const& range : selection.GetRanges(false))
        Visit(RangeInStory(selection.GetStory(), range));
}

void StoryVisitor::Visit(RangeInStory const& range) {
    if (!range.IsSet() || range.empty())
        return;
    auto const& story = range.GetStory();
    for (auto i = story->Find(range.begin).paragraph; i != story->GetParagraphCount() && !IsDone(); ++i) {
        std::uint32_t const begin = story->GetParagraphBegin(i);
        if (begin >= range.end)
            return;
        // Held here: the visitor may let go of everything else.
        auto const paragraph = story->GetParagraph(i);
        std::uint32_t const length = paragraph->GetLength();
        std::uint32_t const from = std::max(range.begin, begin) - begin;
        std::uint32_t const to = std::min(range.end - begin, length);
        std::uint32_t const textEnd = std::min(to, length - 1);
        BeginParagraph({story, begin + from}, *paragraph, from == 0 && to == length);
        auto object = paragraph->GetObjects().begin();
        auto const objectEnd = paragraph->GetObjects().end();
        std::uint32_t at = from;
        for (auto const& run : paragraph->GetRuns()) {
            std::uint32_t const runEnd = std::min(run.end, textEnd);
            while (at < runEnd) {
                while (object != objectEnd && object->index < at)
                    ++object;
                std::uint32_t const next = object == objectEnd ? runEnd : std::min(object->index, runEnd);
                if (at < next)
                    ReceiveText({story, begin + at}, paragraph->GetText().substr(at, next - at), run.atts);
                at = next;
                if (at == runEnd)
                    break;
                ReceiveObject({story, begin + at}, object->glyph, run.atts);
                ++at;
            }
        }
        EndParagraph({story, begin + to}, *paragraph, to == length);
    }
}

} // namespace Story
