// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composer.h"

#include "platform/story/drop_cap.h"

#include <algorithm>
#include <cmath>

namespace Story {

namespace {

constexpr double c_rowSlack = 1e-6;
// How often a row is tried again with the heights of letters that were not known before it was filled.
constexpr int c_maximumTries = 4;
// Heights that one row is tried at: more than a column has steps.
constexpr int c_maximumRowSteps = 20'000;

void TakeHeights(LineData& tallest, LineData const& line) {
    tallest.ascent = std::max(tallest.ascent, line.ascent);
    tallest.descent = std::max(tallest.descent, line.descent);
    tallest.leading = std::max(tallest.leading, line.leading);
}

bool EndsHard(ComposedParagraph const& paragraph, LineData const& line) {
    return line.endsParagraph || (line.end > line.begin && paragraph.GetText()[line.end - 1] == c_lineSeparator);
}

} // namespace

// The room of a line that no shape reaches into, and where it would stand then: beside the cap, as long as one is
// there.
Row FrameComposer::GetRow(ComposedParagraph const& paragraph, bool isFirst, double baseline) const {
    auto const& rect = m_column->m_rect;
    Row row{{}, GetIndents(paragraph, isFirst)};
    bool const isBesideCap = m_capPlace && baseline < m_capPlace->clear - c_rowSlack;
    if (isBesideCap)
        row.indents = GetIndentsBesideCap(paragraph, paragraph.IsRightToLeft() ? rect.right - m_capPlace->box.begin
                                                                               : m_capPlace->box.end - rect.left);
    row.whole = {rect.left + row.indents.left, rect.right - row.indents.right};
    return row;
}

// One line in each room, in the order of reading. A room that is too narrow for the next word stays empty, unless it is
// the whole column or words may be split. Empty where no room takes anything.
std::vector<RowLine> FrameComposer::BreakRow(ComposedParagraph const& paragraph, GreedyBreaker& breaker,
                                             std::vector<Interval> const& rooms, Row const& whole,
                                             bool partsWords) const {
    auto const& indents = whole.indents;
    double const leastWidth = paragraph.GetRuns().front().look->size;
    std::vector<RowLine> row;
    for (std::size_t i = 0; i != rooms.size(); ++i) {
        auto const& room = rooms[paragraph.IsRightToLeft() ? rooms.size() - 1 - i : i];
        bool const isWhole = room.GetWidth() >= whole.whole.GetWidth() - c_rowSlack;
        bool const isTooNarrow =
            room.GetWidth() < leastWidth || (!partsWords && breaker.GetLeastWidth() > room.GetWidth() + c_rowSlack);
        if (!isWhole && isTooNarrow)
            continue;
        auto const begin = breaker.GetPosition();
        auto const end = breaker.Next(room.GetWidth(), indents.start);
        row.push_back(
            {BuildLine(paragraph, begin, end, {room.GetWidth() + indents.left + indents.right, false}, indents),
             room.begin - indents.left});
        if (breaker.IsAtEnd() || EndsHard(paragraph, row.back().line))
            break;
    }
    return row;
}

// False, with the breaker where it was, when no height that is left in the column has room for a row.
bool FrameComposer::PlaceRow(Kernel::Counted<BrokenLines> const& lines, GreedyBreaker& breaker, std::size_t paragraph,
                             double space, bool partsWords) {
    auto const& composed = *lines->paragraph;
    auto const& rect = m_column->m_rect;
    auto const place = breaker.GetPlace();
    bool const isFirst = place.position == 0;
    // Heights come from the text, which comes from the rooms, which come from the heights: the first letter's are tried
    // first.
    std::uint32_t const first = std::min<std::uint32_t>(place.position + 1, composed.GetText().size());
    LineData tallest = BuildLine(composed, place.position, {first, false}, {}, GetIndents(composed, isFirst));
    double const step =
        std::max(composed.GetRuns().front().look->size * 0.25, std::fabs(rect.GetHeight()) * 1e-4 + 1e-9);
    int tries = 0, steps = 0;
    double baseline = GetBaseline(tallest, composed, space);
    if (m_capPlace)
        baseline = std::max(baseline, m_capPlace->first);
    for (;;) {
        if (!Fits(tallest, baseline))
            return false;
        auto const straight = GetRow(composed, isFirst, baseline);
        auto const& whole = straight.whole;
        auto rooms = FindRooms(m_geometry.wrapShapes, whole, baseline - tallest.ascent, baseline + tallest.descent);
        if (!(whole.end > whole.begin))
            rooms = {whole};
        auto row = BreakRow(composed, breaker, rooms, straight, partsWords);
        if (row.empty()) {
            double const lower = std::max(SnapToGrid(baseline + step, composed), baseline + step);
            if (!(lower > baseline) || ++steps > c_maximumRowSteps)
                return false;
            baseline = lower;
            continue;
        }
        auto const before = tallest;
        for (auto const& each : row)
            TakeHeights(tallest, each.line);
        bool const hasGrown =
            tallest.ascent > before.ascent + c_rowSlack || tallest.descent > before.descent + c_rowSlack;
        if (hasGrown && ++tries < c_maximumTries) {
            breaker.SetPlace(place);
            baseline = std::max(baseline, GetBaseline(tallest, composed, space));
            continue;
        }
        for (auto& each : row) {
            if (&each != &row.front())
                m_column->m_lines.back().m_isWholeLineBack = false;
            lines->lines.push_back(std::move(each.line));
            lines->besideCap += m_capPlace && baseline < m_capPlace->clear - c_rowSlack ? 1 : 0;
            Place(lines, static_cast<std::uint32_t>(lines->lines.size()) - 1, each.left, baseline, paragraph);
        }
        return true;
    }
}

bool FrameComposer::FindPlaceForDropCap(ComposedParagraph const& paragraph, double space, std::optional<DropCap>& cap) {
    auto const& rect = m_column->m_rect;
    double const size = paragraph.GetRuns()[paragraph.FindRun(paragraph.GetDropCapEnd())].look->size;
    auto const begin = paragraph.GetDropCapEnd();
    auto const line = BuildLine(paragraph, begin, {begin + 1, false}, {}, {});
    // Lines beside it stand as far apart as plain ones do.
    auto const height = DropCapAtt::Of(*paragraph.GetAtts())->GetValues().lines;
    double const leading = GetDropCapLeading(paragraph);
    double const top = GetBaseline(line, paragraph, space);
    auto const getBaselineOf = [&](double first, std::uint32_t number) {
        for (std::uint32_t i = 0; i != number; ++i)
            first = SnapToGrid(first + leading, paragraph);
        return first;
    };
    cap = BuildDropCap(paragraph, getBaselineOf(top, height - 1) - top, {rect.GetWidth(), false});
    if (!cap)
        return false;
    auto const indents = GetIndents(paragraph, true);
    double const width = cap->end - indents.start, step = std::max(size * 0.25, rect.GetHeight() * 1e-4 + 1e-9);
    int steps = 0;
    for (double first = top; steps != c_maximumRowSteps; ++steps) {
        double const last = getBaselineOf(first, height - 1);
        if (!Fits(line, last))
            return false;
        auto const rooms = FindRooms(m_geometry.wrapShapes, {rect.left + indents.left, rect.right - indents.right},
                                     first - line.ascent, last + line.descent);
        for (std::size_t i = 0; i != rooms.size(); ++i) {
            auto const& room = rooms[paragraph.IsRightToLeft() ? rooms.size() - 1 - i : i];
            if (room.GetWidth() < width + size)
                continue;
            auto const box = paragraph.IsRightToLeft() ? Interval{room.end - width, room.end}
                                                       : Interval{room.begin, room.begin + width};
            m_capPlace = CapPlace{box, first, last, getBaselineOf(last, 1)};
            return true;
        }
        double const lower = std::max(SnapToGrid(first + step, paragraph), first + step);
        if (!(lower > first))
            return false;
        first = lower;
    }
    return false;
}

// How many rows of a paragraph that does not end in the column stay in it; see KeepLinesTogether. Rows to come are
// counted as if nothing stood in their way.
std::size_t FrameComposer::KeepRowsTogether(BrokenLines const& lines, GreedyBreaker& breaker, std::size_t rowCount,
                                            bool hasBegin) const {
    auto const& paragraph = *lines.paragraph;
    auto const least = [&](ParagraphAtt::Enum att) {
        return static_cast<std::size_t>(std::clamp(paragraph.GetAtts()->Get(att), 1, 100));
    };
    std::size_t const widows = least(ParagraphAtt::Enum::Widows);
    auto const indents = GetIndents(paragraph, false);
    std::size_t left = 0;
    for (; left < widows && !breaker.IsAtEnd(); ++left)
        breaker.Next(m_column->m_rect.GetWidth() - indents.left - indents.right, indents.start);
    std::size_t const kept = rowCount - std::min(rowCount, widows - left);
    std::size_t const orphans = std::max<std::size_t>(lines.capHeight, least(ParagraphAtt::Enum::Orphans));
    return hasBegin && kept < orphans ? 0 : kept;
}

bool FrameComposer::FillAroundShapes(Cursor& cursor) {
    m_capPlace.reset();
    cursor.lines = {};
    auto composed = GetComposed(cursor);
    auto const linesBefore = m_column->m_lines.size();
    bool const hasBegin = cursor.begin == 0;
    double const space = hasBegin ? m_spaceAfter + composed->GetLength(ParagraphAtt::Double::SpaceBefore) : 0;
    std::optional<DropCap> cap;
    if (hasBegin && composed->GetDropCapEnd() != 0 && !FindPlaceForDropCap(*composed, space, cap)) {
        if (cap && linesBefore != 0)
            return false;
        composed = m_paragraphs.WithoutDropCap(*composed, m_frame);
    }
    auto const lines = Kernel::MakeCounted<BrokenLines>(composed);
    lines->begin = cursor.begin;
    lines->measure = {-1, false};
    if (m_capPlace) {
        lines->capHeight = DropCapAtt::Of(*composed->GetAtts())->GetValues().lines;
        lines->capDrop = cap->drop;
        lines->lines.push_back(std::move(cap->line));
        cursor.begin = composed->GetDropCapEnd();
    }
    bool const isDone = FillRows(cursor, lines, space, hasBegin);
    auto const hasTakenNothing = m_column->m_lines.size() == linesBefore;
    if (m_capPlace && !hasTakenNothing)
        PlaceDropCap(lines, linesBefore, m_capPlace->box.begin - lines->lines.front().left, m_capPlace->last,
                     cursor.paragraph);
    if (hasBegin && (isDone || hasTakenNothing))
        cursor.begin = 0;
    cursor.composed = !isDone && cursor.begin != 0 ? composed : ComposedParagraphRef();
    return isDone;
}

bool FrameComposer::FillRows(Cursor& cursor, Kernel::Counted<BrokenLines> const& lines, double space, bool hasBegin) {
    GreedyBreaker breaker(*lines->paragraph, cursor.begin);
    struct RowBegin {
        std::uint32_t text;
        std::size_t line;
    };
    std::vector<RowBegin> rows;
    auto const linesBefore = m_column->m_lines.size();
    bool partsWords = false;
    while (!breaker.IsAtEnd()) {
        RowBegin const begin{breaker.GetPosition(), m_column->m_lines.size()};
        if (PlaceRow(lines, breaker, cursor.paragraph, space, partsWords)) {
            rows.push_back(begin);
            space = 0;
            continue;
        }
        // A column must take something: where the first word fits nowhere, it is split.
        if (m_column->m_lines.empty() && !partsWords) {
            partsWords = true;
            continue;
        }
        cursor.begin = begin.text;
        auto const kept = KeepRowsTogether(*lines, breaker, rows.size(), hasBegin);
        if (kept != rows.size() && (kept != 0 || linesBefore != 0)) {
            cursor.begin = rows[kept].text;
            m_column->m_lines.erase(m_column->m_lines.begin() + static_cast<std::ptrdiff_t>(rows[kept].line),
                                    m_column->m_lines.end());
        }
        return false;
    }
    return true;
}

} // namespace Story
