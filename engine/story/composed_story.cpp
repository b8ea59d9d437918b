// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composer.h"
#include "engine/story/paragraph_numbers.h"

#include "platform/kernel/exception.h"
#include "platform/story/note.h"
#include "platform/story/toc.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace Story {

// LinePart

LinePart::LinePart(BrokenLinesRef lines, std::uint32_t line, Kernel::PointT<double> origin,
                   std::uint32_t paragraphBegin, bool isStoryEnd)
    : m_lines(std::move(lines)),
      m_origin(origin),
      m_line(line),
      m_paragraphBegin(paragraphBegin),
      m_isStoryEnd(isStoryEnd) {}
LinePart::LinePart(LinePart const&) = default;
LinePart::LinePart(LinePart&&) noexcept = default;
LinePart& LinePart::operator=(LinePart const&) = default;
LinePart::~LinePart() = default;

LineData const& LinePart::GetData() const { return m_lines->lines[m_line]; }
ComposedParagraph const& LinePart::GetParagraph() const { return *m_lines->paragraph; }

// A synthesised hyphen stands behind the last visible glyph.
std::uint32_t LinePart::GetSize() const {
    auto const& line = GetData();
    return line.end - line.begin + (line.hyphen ? 1 : 0);
}

namespace {

// The index in composed text of a line's glyph; false for the synthesised hyphen.
bool ToComposedIndex(LineData const& line, std::uint32_t index, std::uint32_t& composed) {
    composed = line.begin + index;
    if (!line.hyphen || composed < line.visibleEnd)
        return true;
    if (composed == line.visibleEnd) {
        composed = line.visibleEnd - 1;
        return false;
    }
    --composed;
    return true;
}

} // namespace

unsigned LinePart::GetCompositionFlags(std::uint32_t index) const {
    using namespace CompositionFlag;
    auto const& line = GetData();
    auto const& paragraph = GetParagraph();
    std::uint32_t at = 0;
    if (!ToComposedIndex(line, index, at))
        return c_made | c_madeText;
    unsigned flags = 0;
    if (m_isOfNote || at < paragraph.GetNumberLength())
        flags |= c_made | c_madeText;
    if (auto const* expansion = paragraph.FindExpansion(at))
        flags |= c_made | (expansion->isFiller ? c_fillerText : c_madeText);
    char32_t const c = paragraph.GetText()[at];
    bool const isEnd = at + 1 == paragraph.GetText().size();
    if (isEnd && m_isStoryEnd)
        flags |= c_storyEnd;
    bool const isControl = (paragraph.GetFlags()[at] & CharacterFlag::c_control) != 0;
    if (isControl && !isEnd && c != c_lineSeparator)
        flags |= c_hidden;
    else if (!isControl && at >= line.visibleEnd)
        flags |= c_hanging;
    return flags;
}

char32_t LinePart::GetCharacter(std::uint32_t index) const {
    std::uint32_t at = 0;
    if (!ToComposedIndex(GetData(), index, at))
        return 0x2010;
    return GetParagraph().GetText()[at];
}

Kernel::Counted<Glyph const> LinePart::GetGlyph(std::uint32_t index) const {
    if (!IsSource(index))
        return Kernel::MakeCounted<CharacterGlyph>(GetCharacter(index));
    std::uint32_t at = 0;
    ToComposedIndex(GetData(), index, at);
    return GetParagraph().GetSource()->GetGlyph(GetParagraph().ToSource(at));
}

GlyphAttsRef LinePart::GetGlyphAtts(std::uint32_t index) const {
    std::uint32_t at = 0;
    ToComposedIndex(GetData(), index, at);
    auto const& paragraph = GetParagraph();
    auto own = paragraph.GetSource()->GetGlyphAtts(paragraph.ToSource(at));
    if (at < paragraph.GetDropCapEnd())
        own = WithDropCapStyle(own, *paragraph.GetAtts());
    auto const* const expansion = paragraph.FindExpansion(at);
    if (expansion == nullptr || !expansion->isNoteMark)
        return own;
    // The number keeps its raised look where it becomes text, as in art text.
    auto raised = own->Clone();
    auto const& shown = *paragraph.GetRuns()[paragraph.FindRun(at)].look->atts;
    for (auto const att : {GlyphAtt::Double::Size, GlyphAtt::Double::BaselineShift})
        raised->Set(att, shown.Get(att));
    return Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(std::move(raised))).ToCounted();
}

ParagraphAttsRef LinePart::GetParagraphAtts() const { return GetParagraph().GetSource()->GetAtts(); }

bool LinePart::IsHardBreak(bool orParagraphEnd) const {
    auto const& line = GetData();
    if (line.endsParagraph)
        return orParagraphEnd;
    return line.end > line.begin && GetParagraph().GetText()[line.end - 1] == c_lineSeparator;
}

StoryRange LinePart::GetRange() const {
    auto const& line = GetData();
    auto const& paragraph = GetParagraph();
    if (m_isOfNote)
        return {m_paragraphBegin, m_paragraphBegin};
    std::uint32_t const end = line.endsParagraph ? paragraph.GetSource()->GetLength() : paragraph.ToSource(line.end);
    return {m_paragraphBegin + paragraph.ToSource(line.begin), m_paragraphBegin + end};
}

double LinePart::GetWidth() const { return GetData().width; }
double LinePart::GetAscent() const { return GetData().ascent; }
double LinePart::GetDescent() const { return GetData().descent; }
double LinePart::GetScale() const { return GetData().scale; }
double LinePart::GetSpaceExtra() const { return GetData().spaceExtra; }
bool LinePart::IsRightToLeft() const { return GetParagraph().IsRightToLeft(); }
Alignment LinePart::GetAlignment() const { return GetData().alignment; }

std::vector<LineCell> LinePart::GetCells() const {
    auto const& line = GetData();
    auto const& paragraph = GetParagraph();
    // The synthesised hyphen belongs to the letter before it.
    auto const toIndex = [&](std::uint32_t composed) {
        return composed - line.begin + (line.hyphen && composed >= line.visibleEnd ? 1 : 0);
    };
    std::vector<LineCell> cells;
    for (auto const& run : line.runs) {
        auto const& shaped = paragraph.GetRuns()[run.run];
        auto const& all = run.own ? line.own : paragraph.GetGlyphs();
        std::size_t const first = cells.size();
        double pen = 0;
        std::uint32_t previous = 0;
        for (std::uint32_t i = run.glyphBegin; i != run.glyphEnd; ++i) {
            auto const& glyph = all[i];
            double const advance =
                glyph.advance + (glyph.Has(ShapedGlyph::c_stretches) ? double{line.spaceExtra} : 0.0);
            if (cells.size() == first || glyph.cluster != previous) {
                if (cells.size() != first)
                    cells.back().end = toIndex(glyph.cluster);
                cells.push_back({toIndex(glyph.cluster), toIndex(std::min(shaped.end, line.visibleEnd)), pen, 0,
                                 shaped.IsRightToLeft()});
                previous = glyph.cluster;
            }
            cells.back().advance += advance;
            pen += advance;
        }
        for (std::size_t i = first; i != cells.size(); ++i)
            cells[i].x = run.x + (shaped.IsRightToLeft() ? pen - cells[i].x - cells[i].advance : cells[i].x);
        if (shaped.IsRightToLeft())
            std::reverse(cells.begin() + static_cast<std::ptrdiff_t>(first), cells.end());
        bool const isHyphen = first != 0 && cells.size() == first + 1 && cells[first].begin == cells[first - 1].begin;
        if (isHyphen) {
            cells[first - 1].advance += cells[first].advance;
            cells.pop_back();
        }
    }
    return cells;
}

Kernel::PointT<double> ComposedColumn::GetArtOrigin() const {
    if (m_lines.empty())
        return {m_rect.left, m_rect.top};
    // A drop cap stands lower than the line that begins beside it.
    bool const beginsWithCap = m_lines.front().GetLines().capHeight != 0 && m_lines.front().GetLineIndex() == 0;
    auto const& first = m_lines[beginsWithCap ? 1 : 0];
    auto alignment = first.GetAlignment();
    if (alignment == Alignment::Justify)
        alignment = first.IsRightToLeft() ? Alignment::Right : Alignment::Left;
    double const x = alignment == Alignment::Left     ? m_rect.left
                     : alignment == Alignment::Centre ? (m_rect.left + m_rect.right) / 2
                                                      : m_rect.right;
    return {x, first.GetOrigin().y};
}

Kernel::RectT<double> ComposedFrame::GetTextBounds() const {
    Kernel::RectT<double> bounds;
    for (auto const& column : m_columns) {
        for (auto const& line : *column) {
            auto const origin = line.GetOrigin();
            bounds = bounds.United(
                {origin.x, origin.y - line.GetAscent(), origin.x + line.GetWidth(), origin.y + line.GetDescent()});
        }
    }
    return bounds;
}

bool ComposedFrame::HasLines() const {
    return std::any_of(m_columns.begin(), m_columns.end(), [](auto const& column) { return !column->empty(); });
}

// ComposedStory

struct ComposedStory::State {
    std::mutex mutex;
    std::shared_ptr<ParagraphCache> cache;
    std::optional<ParagraphSource> paragraphs;
    std::optional<ParagraphNumbers> numbers;
    // Made when it is first asked for.
    std::optional<std::unordered_map<Glyph const*, int>> noteNumbers;
    std::vector<ComposedFramePtr> frames;
    // Before each frame that is composed, and behind the last of them.
    std::vector<Cursor> cursors;
    std::size_t reused = 0;
};

ComposedStory::ComposedStory(StoryRef story, Kernel::Counted<StyleSheet const> styleSheet,
                             std::vector<FrameGeometry> frames, FieldDataSourceRef fields,
                             Kernel::Counted<ComposedStory> earlier)
    : m_story(std::move(story)),
      m_styleSheet(styleSheet ? std::move(styleSheet) : StyleSheet::GetEmpty()),
      m_geometries(std::move(frames)),
      m_fields(std::move(fields)),
      m_state(std::make_unique<State>()) {
    m_state->cursors.emplace_back();
    m_state->numbers.emplace(*m_story, *m_styleSheet);
    bool const runsAlike = earlier && earlier->m_story->GetWritingMode() == m_story->GetWritingMode();
    if (runsAlike && LookAlike(*earlier->m_styleSheet, *m_styleSheet))
        TakeOver(*earlier);
    else
        m_state->cache = std::make_shared<ParagraphCache>();
    m_state->paragraphs.emplace(*m_story, *m_styleSheet, m_fields.get(), *m_state->cache, *m_state->numbers);
}

namespace {

bool AreSame(FieldDataSourceRef const& a, FieldDataSourceRef const& b) {
    return a == b || (a && b && a->IsEqualTo(*b));
}

// Whether objects of a paragraph show other text with other fields: those that the document's values reach, or those
// that the frame does too.
bool ShowsOther(Paragraph const& paragraph, ExpansionReach reach, ExpansionContext const& before,
                ExpansionContext const& now) {
    return std::any_of(paragraph.GetObjects().begin(), paragraph.GetObjects().end(), [&](ObjectAt const& object) {
        return object.glyph->GetExpansionReach() == reach &&
               ExpandGlyph(*object.glyph, before) != ExpandGlyph(*object.glyph, now);
    });
}

} // namespace

// Frames that the difference cannot reach. A frame depends on the paragraphs up to the one that the next frame begins
// with.
void ComposedStory::TakeOver(ComposedStory& earlier) {
    std::lock_guard const lock(earlier.m_state->mutex);
    auto const& before = *earlier.m_state;
    m_state->cache = before.cache;
    m_state->cache->DropUnused(*m_story);
    bool const isSameStory = earlier.m_story == m_story;
    // Notes count as paragraphs behind the story.
    std::size_t common =
        isSameStory ? std::numeric_limits<std::size_t>::max() : m_story->CountCommonPrefix(*earlier.m_story);
    m_state->numbers->TakeOver(*before.numbers, std::min(common, m_story->GetParagraphCount()));
    bool const hasOtherFields = !AreSame(earlier.m_fields, m_fields);
    auto const showsOther = [&](std::size_t paragraph, ExpansionReach reach, std::size_t frame) {
        return ShowsOther(*m_story->GetParagraph(paragraph), reach, {earlier.m_fields.get(), frame},
                          {m_fields.get(), frame});
    };
    if (hasOtherFields) {
        auto const end = std::min({common, before.cursors.back().paragraph + 1, m_story->GetParagraphCount()});
        auto i = m_story->FindParagraphWithObjects(0);
        while (i < end && !showsOther(i, ExpansionReach::Document, 0))
            i = m_story->FindParagraphWithObjects(i + 1);
        if (i < end)
            common = i;
    }
    for (std::size_t i = 0; i != std::min(before.frames.size(), m_geometries.size()); ++i) {
        // The last paragraph's separator belongs to the story; where paragraphs follow now, it is one among others.
        bool const isReached = before.cursors[i + 1].paragraph >= common;
        if (isReached || !(earlier.m_geometries[i] == m_geometries[i]))
            break;
        bool const reachesNotes = before.cursors[i + 1].paragraph > m_story->GetParagraphCount();
        if (hasOtherFields && reachesNotes)
            break;
        if (hasOtherFields) {
            auto const end = std::min(before.cursors[i + 1].paragraph + 1, m_story->GetParagraphCount());
            auto paragraph = m_story->FindParagraphWithObjects(before.cursors[i].paragraph);
            while (paragraph < end && !showsOther(paragraph, ExpansionReach::Frame, i))
                paragraph = m_story->FindParagraphWithObjects(paragraph + 1);
            if (paragraph < end)
                break;
        }
        m_state->frames.push_back(before.frames[i]);
        m_state->cursors.push_back(before.cursors[i + 1]);
    }
    m_state->reused = m_state->frames.size();
}

ComposedStory::~ComposedStory() = default;

ComposedFramePtr ComposedStory::GetFrame(std::size_t index) {
    if (index >= m_geometries.size())
        throw Kernel::Exception("the text has no such frame");
    std::lock_guard const lock(m_state->mutex);
    while (m_state->frames.size() <= index) {
        Cursor cursor = m_state->cursors.back();
        auto const number = m_state->frames.size();
        FrameComposer composer(*m_state->paragraphs, *m_story, m_geometries[number], number);
        auto frame = composer.Compose(cursor);
        frame->m_story = m_story;
        frame->m_styleSheet = m_styleSheet;
        frame->m_fields = m_fields;
        m_state->frames.push_back(std::move(frame));
        m_state->cursors.push_back(std::move(cursor));
    }
    return m_state->frames[index];
}

void ComposedStory::Compose(CompositionEndConditions const& conditions) {
    for (std::size_t i = 0; i != m_geometries.size(); ++i) {
        auto const frame = GetFrame(i);
        if (conditions.GetEnd() && frame->GetRange().end >= *conditions.GetEnd())
            return;
    }
}

std::uint32_t ComposedStory::GetOverflowBegin() {
    if (m_geometries.empty())
        return 0;
    return GetFrame(m_geometries.size() - 1)->GetRange().end;
}

std::pair<std::size_t, std::uint32_t> ComposedStory::GetComposedEnd() {
    if (!m_geometries.empty())
        GetFrame(m_geometries.size() - 1);
    std::lock_guard const lock(m_state->mutex);
    auto const& cursor = m_state->cursors.back();
    return {cursor.paragraph, cursor.begin};
}

bool ComposedStory::HasOverflow() {
    if (GetOverflowBegin() < m_story->GetLength() - 1)
        return true;
    auto const end = GetComposedEnd();
    std::lock_guard const lock(m_state->mutex);
    auto& paragraphs = *m_state->paragraphs;
    return m_story->CountNotes(m_story->GetAll()) != 0 && paragraphs.HasParagraph(end.first);
}

std::size_t ComposedStory::FindFrame(std::uint32_t index) {
    std::size_t const count = m_geometries.size();
    if (count == 0)
        return 0;
    auto const getComposed = [&] {
        std::lock_guard const lock(m_state->mutex);
        return m_state->frames.size();
    };
    std::size_t composed = getComposed();
    while (composed != count && (composed == 0 || GetFrame(composed - 1)->GetRange().end <= index))
        GetFrame(composed++);
    // Ranges ascend; the first frame that ends behind the glyph has it.
    std::size_t low = 0, high = composed;
    while (low != high) {
        std::size_t const middle = low + (high - low) / 2;
        if (GetFrame(middle)->GetRange().end <= index)
            low = middle + 1;
        else
            high = middle;
    }
    return low == composed ? count : low;
}

int ComposedStory::GetNoteNumber(NoteGlyph const& note) {
    std::lock_guard const lock(m_state->mutex);
    auto& numbers = m_state->noteNumbers;
    if (!numbers) {
        numbers.emplace();
        int last = 0;
        m_story->VisitObjects(m_story->GetAll(), [&](std::uint32_t, Kernel::Counted<Glyph const> const& glyph) {
            if (IsNoteGlyph(*glyph))
                numbers->emplace(glyph.get(), ++last);
            return true;
        });
    }
    auto const found = numbers->find(&note);
    return found == numbers->end() ? 0 : found->second;
}

Kernel::Counted<Numberer> ComposedStory::MakeNumberer(StoryPos const& position) {
    std::lock_guard const lock(m_state->mutex);
    return m_state->numbers->MakeNumberer(m_story->Find(position.GetIndex()).paragraph);
}

std::size_t ComposedStory::GetComposedFrameCount() const {
    std::lock_guard const lock(m_state->mutex);
    return m_state->frames.size();
}

std::size_t ComposedStory::GetReusedFrameCount() const { return m_state->reused; }
std::size_t ComposedStory::GetMemoryUse() const { return m_state->cache->GetMemoryUse(); }

} // namespace Story
