// SPDX-License-Identifier: Apache-2.0
#include "engine/story/broken_lines.h"

#include "engine/story/drop_cap.h"
#include "engine/story/shaping.h"
#include "platform/story/drop_cap.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Story {

namespace {

using ParagraphDouble = ParagraphAtt::Double;
using ParagraphEnum = ParagraphAtt::Enum;

// Ratios that justification may go to before words are split, and then.
constexpr double c_toleranceWhole = 1.5;
constexpr double c_toleranceHyphenated = 3;
constexpr double c_leaderSlack = 1e-6;

bool HasOverlongBox(std::vector<BreakCandidate> const& candidates, double measure) {
    double before = 0;
    for (auto const& candidate : candidates) {
        if (candidate.visibleWidth - before > measure)
            return true;
        if (!candidate.hyphen)
            before = candidate.width;
    }
    return false;
}

std::vector<LineEnd> FindTotalFit(ComposedParagraph const& paragraph, std::uint32_t begin,
                                  std::vector<double> const& first, double measure) {
    auto candidates = FindCandidates(paragraph, begin, {});
    auto ends = BreakTotalFit(candidates, first, measure, c_toleranceWhole);
    if (!ends.empty())
        return ends;
    if (auto const places = FindHyphenPlaces(paragraph); !places.empty()) {
        candidates = FindCandidates(paragraph, begin, places);
        ends = BreakTotalFit(candidates, first, measure, c_toleranceHyphenated);
        if (!ends.empty())
            return ends;
    }
    if (HasOverlongBox(candidates, std::min(*std::min_element(first.begin(), first.end()), measure)))
        return {};
    return BreakTotalFit(candidates, first, measure, std::numeric_limits<double>::infinity());
}

// Appends glyphs for a span of a run, without copying where the paragraph's own can be taken.
void AddRun(LineData& line, ComposedParagraph const& paragraph, std::uint32_t runIndex, std::uint32_t begin,
            std::uint32_t end) {
    auto const& run = paragraph.GetRuns()[runIndex];
    auto const& glyphs = paragraph.GetGlyphs();
    auto const canCut = [&](std::uint32_t at, std::uint32_t glyph) {
        if (at == run.begin || at == run.end)
            return true;
        return glyph != run.glyphEnd && glyphs[glyph].cluster == at && !glyphs[glyph].Has(ShapedGlyph::c_unsafeToBreak);
    };
    std::uint32_t const first = begin == run.begin ? run.glyphBegin : paragraph.FindGlyph(run, begin);
    std::uint32_t const last = end == run.end ? run.glyphEnd : paragraph.FindGlyph(run, end);
    if (canCut(begin, first) && canCut(end, last)) {
        line.runs.push_back({runIndex, first, last, false, 0});
        return;
    }
    auto const again = paragraph.ShapeAgain(run, begin, end);
    auto const ownBegin = static_cast<std::uint32_t>(line.own.size());
    line.own.insert(line.own.end(), again.begin(), again.end());
    line.runs.push_back({runIndex, ownBegin, static_cast<std::uint32_t>(line.own.size()), true, 0});
}

void AddHyphen(LineData& line, ComposedParagraph const& paragraph) {
    if (line.visibleEnd == line.begin)
        return;
    auto const runIndex = static_cast<std::uint32_t>(paragraph.FindRun(line.visibleEnd - 1));
    auto const& run = paragraph.GetRuns()[runIndex];
    char32_t const hyphen = run.face != nullptr && run.face->HasCharacter(0x2010) ? 0x2010 : U'-';
    GlyphBuffer glyphs;
    ShapeText(glyphs, {&hyphen, 1}, 0, 1, run);
    auto const begin = static_cast<std::uint32_t>(line.own.size());
    for (auto& glyph : glyphs) {
        glyph.cluster = line.visibleEnd - 1;
        line.own.push_back(glyph);
    }
    line.runs.push_back({runIndex, begin, static_cast<std::uint32_t>(line.own.size()), true, 0});
}

std::span<ShapedGlyph const> GetGlyphs(LineData const& line, ComposedParagraph const& paragraph, LineRun const& run) {
    auto const& all = run.own ? line.own : paragraph.GetGlyphs();
    return {all.data() + run.glyphBegin, run.glyphEnd - run.glyphBegin};
}

// Rule L2 of Unicode Standard Annex 9, on runs.
void Reorder(std::span<LineRun> runs, ComposedParagraph const& paragraph) {
    auto const levelOf = [&](LineRun const& run) { return paragraph.GetRuns()[run.run].level; };
    std::uint8_t highest = 0, lowestOdd = 255;
    for (auto const& run : runs) {
        highest = std::max(highest, levelOf(run));
        if ((levelOf(run) & 1) != 0)
            lowestOdd = std::min(lowestOdd, levelOf(run));
    }
    for (int level = highest; level >= lowestOdd; --level) {
        for (std::size_t i = 0; i != runs.size();) {
            if (levelOf(runs[i]) < level) {
                ++i;
                continue;
            }
            std::size_t end = i;
            while (end != runs.size() && levelOf(runs[end]) >= level)
                ++end;
            std::reverse(runs.begin() + static_cast<std::ptrdiff_t>(i),
                         runs.begin() + static_cast<std::ptrdiff_t>(end));
            i = end;
        }
    }
}

struct Extent {
    double width = 0;
    double spaces = 0;
    std::uint32_t spaceCount = 0;
};

Extent Measure(LineData const& line, ComposedParagraph const& paragraph, std::span<LineRun const> runs) {
    Extent extent;
    for (auto const& run : runs) {
        for (auto const& glyph : GetGlyphs(line, paragraph, run)) {
            extent.width += glyph.advance;
            if (glyph.Has(ShapedGlyph::c_stretches)) {
                extent.spaces += GetStretch(paragraph.GetText()[glyph.cluster], double{glyph.advance},
                                            paragraph.GetRuns()[run.run].look->size);
                ++extent.spaceCount;
            }
        }
    }
    return extent;
}

void SetPositions(LineData& line, ComposedParagraph const& paragraph) {
    double x = 0;
    for (auto& run : line.runs) {
        run.x = static_cast<float>(x);
        for (auto const& glyph : GetGlyphs(line, paragraph, run))
            x += glyph.advance + (glyph.Has(ShapedGlyph::c_stretches) ? line.spaceExtra : 0);
    }
    line.width = static_cast<float>(x);
}

// Where in a span the decimal point stands; its end where there is none.
double GetDecimalOffset(LineData const& line, ComposedParagraph const& paragraph, std::span<LineRun const> runs) {
    double x = 0;
    for (auto const& run : runs) {
        for (auto const& glyph : GetGlyphs(line, paragraph, run)) {
            char32_t const c = paragraph.GetText()[glyph.cluster];
            if (c == U'.' || c == U',')
                return x;
            x += glyph.advance;
        }
    }
    return x;
}

// The glyphs of a tab from one place to another. Leaders stand at multiples of their width, so that those of lines
// below each other do.
void AddTab(std::vector<ShapedGlyph>& glyphs, ShapedRun const& run, char32_t leader, double from, double to) {
    constexpr std::uint32_t c_maximumLeaders = 2000;
    auto const addRoom = [&](double room) {
        glyphs.push_back({ShapedGlyph::c_noGlyph, run.begin, static_cast<float>(room), 0, 0});
    };
    GlyphBuffer shaped;
    if (leader != 0 && run.face != nullptr && run.face->HasCharacter(leader))
        ShapeText(shaped, {&leader, 1}, 0, 1, run);
    double const width = shaped.GetSize() == 1 ? double{shaped.begin()->advance} : 0.0;
    double const begin = width > 0 ? std::ceil(from / width - c_leaderSlack) * width : to;
    if (!(width > 0) || begin + width > to + c_leaderSlack || (to - begin) / width > c_maximumLeaders) {
        addRoom(to - from);
        return;
    }
    addRoom(begin - from);
    auto const count = static_cast<std::uint32_t>((to - begin) / width + c_leaderSlack);
    shaped.begin()->cluster = run.begin;
    shaped.begin()->idAndFlags &= ~ShapedGlyph::c_stretches;
    glyphs.insert(glyphs.end(), count, *shaped.begin());
    addRoom(to - begin - count * width);
}

// Widens each tab so far that what follows it stands at its stop. Positions count along the paragraph's direction.
void LayTabs(LineData& line, ComposedParagraph const& paragraph, double indent) {
    auto const& flags = paragraph.GetFlags();
    auto const isTab = [&](LineRun const& run) {
        return (flags[paragraph.GetRuns()[run.run].begin] & CharacterFlag::c_tab) != 0;
    };
    double x = indent;
    for (std::size_t i = 0; i != line.runs.size();) {
        if (!isTab(line.runs[i])) {
            x += Measure(line, paragraph, {&line.runs[i], 1}).width;
            ++i;
            continue;
        }
        std::size_t end = i + 1;
        while (end != line.runs.size() && !isTab(line.runs[end]))
            ++end;
        std::span<LineRun const> const behind(line.runs.data() + i + 1, end - i - 1);
        auto const stop = FindTabStop(paragraph, x);
        double const width = Measure(line, paragraph, behind).width;
        double target = stop.position;
        if (stop.kind == TabStop::Kind::Centre)
            target -= width / 2;
        else if (stop.kind == TabStop::Kind::End)
            target -= width;
        else if (stop.kind == TabStop::Kind::Decimal)
            target -= GetDecimalOffset(line, paragraph, behind);
        auto const first = static_cast<std::uint32_t>(line.own.size());
        AddTab(line.own, paragraph.GetRuns()[line.runs[i].run], stop.leader, x, std::max(target, x));
        x = std::max(target, x);
        line.runs[i] = {line.runs[i].run, first, static_cast<std::uint32_t>(line.own.size()), true, 0};
        ++i;
    }
    // Spans between tabs are ordered each by itself, and follow the paragraph's direction.
    for (std::size_t i = 0; i != line.runs.size();) {
        std::size_t end = i;
        while (end != line.runs.size() && !isTab(line.runs[end]))
            ++end;
        Reorder({line.runs.data() + i, end - i}, paragraph);
        if (paragraph.IsRightToLeft())
            std::reverse(line.runs.begin() + static_cast<std::ptrdiff_t>(i),
                         line.runs.begin() + static_cast<std::ptrdiff_t>(end));
        i = std::min(end + 1, line.runs.size());
    }
    if (paragraph.IsRightToLeft())
        std::reverse(line.runs.begin(), line.runs.end());
}

void SetHeights(LineData& line, ComposedParagraph const& paragraph) {
    double size = 0;
    auto const take = [&](ShapedRun const& run) {
        auto const& look = *run.look;
        auto const* const face = run.face != nullptr ? run.face : look.fonts->GetPrimary().get();
        double const em = look.size * (run.isUpright ? look.horizontalScale : look.verticalScale);
        double above = (face == nullptr ? 0.8 : face->GetAscent()) * em;
        double below = (face == nullptr ? 0.2 : face->GetDescent()) * em;
        if (paragraph.IsVertical())
            above = below = (run.isUpright ? em : above + below) / 2;
        double const ascent = above + look.baselineShift;
        double const descent = below - look.baselineShift;
        line.ascent = std::max(line.ascent, static_cast<float>(ascent));
        line.descent = std::max(line.descent, static_cast<float>(descent));
        size = std::max(size, look.size);
    };
    for (auto const& run : line.runs)
        take(paragraph.GetRuns()[run.run]);
    if (line.runs.empty())
        take(paragraph.GetRuns()[paragraph.FindRun(line.begin)]);
    line.leading = GetLeading(paragraph, size);
}

Alignment Settle(int value, bool isRightToLeft) {
    switch (static_cast<Alignment>(value)) {
    case Alignment::Centre:
        return Alignment::Centre;
    case Alignment::Left:
        return Alignment::Left;
    case Alignment::Right:
        return Alignment::Right;
    case Alignment::End:
        return isRightToLeft ? Alignment::Left : Alignment::Right;
    default:
        return isRightToLeft ? Alignment::Right : Alignment::Left;
    }
}

} // namespace

LineIndents GetIndents(ComposedParagraph const& paragraph, bool isFirst) {
    double start = paragraph.GetLength(ParagraphDouble::LeftIndent);
    double const end = paragraph.GetLength(ParagraphDouble::RightIndent);
    if (isFirst)
        start += paragraph.GetLength(ParagraphDouble::FirstIndent);
    return paragraph.IsRightToLeft() ? LineIndents{end, start, start} : LineIndents{start, end, start};
}

double GetBaselineOffset(ComposedParagraph const& paragraph, ShapedRun const& run, double scale) {
    auto const* const face = run.face != nullptr ? run.face : run.look->fonts->GetPrimary().get();
    if (!paragraph.IsVertical() || face == nullptr)
        return 0;
    return (face->GetAscent() - face->GetDescent()) / 2 * run.look->size * run.look->verticalScale * scale;
}

LineIndents GetIndentsBesideCap(ComposedParagraph const& paragraph, double capEnd) {
    auto indents = GetIndents(paragraph, false);
    indents.start = std::max(indents.start, capEnd);
    (paragraph.IsRightToLeft() ? indents.right : indents.left) = indents.start;
    return indents;
}

float GetLeading(ComposedParagraph const& paragraph, double size) {
    auto const& atts = *paragraph.GetAtts();
    double const leading = std::max(atts.Get(ParagraphDouble::Leading), 0.0);
    double const exact = leading * paragraph.GetLengthScale();
    switch (static_cast<LeadingMode>(atts.Get(ParagraphEnum::LeadingMode))) {
    case LeadingMode::Exact:
        return static_cast<float>(exact);
    case LeadingMode::AtLeast:
        return static_cast<float>(std::max(exact, 1.2 * size));
    default:
        return static_cast<float>((leading == 0 ? 1.2 : leading) * size);
    }
}

LineData BuildLine(ComposedParagraph const& paragraph, std::uint32_t begin, LineEnd const& end,
                   LineMeasure const& measure, LineIndents const& indents) {
    auto const& flags = paragraph.GetFlags();
    LineData line;
    line.begin = begin;
    line.end = end.position;
    line.endsParagraph = end.position == paragraph.GetText().size();
    line.visibleEnd = end.position;
    while (line.visibleEnd > begin && (flags[line.visibleEnd - 1] & CharacterFlag::c_space) != 0)
        --line.visibleEnd;
    line.hyphen = end.hyphen && line.visibleEnd > begin;
    auto const& runs = paragraph.GetRuns();
    for (std::size_t r = paragraph.FindRun(begin); r != runs.size() && runs[r].begin < line.visibleEnd; ++r)
        AddRun(line, paragraph, static_cast<std::uint32_t>(r), std::max(begin, runs[r].begin),
               std::min(line.visibleEnd, runs[r].end));
    if (line.hyphen)
        AddHyphen(line, paragraph);
    bool hasTabs = false;
    for (std::uint32_t i = begin; paragraph.HasTabs() && i != line.visibleEnd; ++i)
        hasTabs |= (flags[i] & CharacterFlag::c_tab) != 0;
    if (hasTabs)
        LayTabs(line, paragraph, indents.start);
    else if (paragraph.HasRightToLeftRuns())
        Reorder(line.runs, paragraph);
    SetHeights(line, paragraph);

    auto const& atts = *paragraph.GetAtts();
    int wanted = atts.Get(ParagraphEnum::Alignment);
    bool const isLast = (flags[end.position] & CharacterFlag::c_mustBreakBefore) != 0;
    auto const extent = Measure(line, paragraph, line.runs);
    double const room = measure.width - indents.left - indents.right;
    // A last line keeps its spaces, unless it was taken for one that shrinks.
    bool const isJustified =
        wanted == static_cast<int>(Alignment::Justify) && !measure.endless && (!isLast || extent.width > room);
    if (wanted == static_cast<int>(Alignment::Justify) && isLast && !isJustified)
        wanted = atts.Get(ParagraphAtt::Enum::LastAlignment);
    line.alignment = Settle(wanted, paragraph.IsRightToLeft());
    // A space that would split the last letter from the line's end is no room.
    std::uint32_t const places =
        extent.spaceCount - (extent.spaceCount != 0 && !line.hyphen && line.visibleEnd > begin &&
                                     PartsLetters(paragraph.GetText()[line.visibleEnd - 1])
                                 ? 1
                                 : 0);
    if (isJustified && places != 0 && !hasTabs) {
        // Spaces that are too narrow run words together: a line that does not fit hangs over instead.
        double const extra = std::max((room - extent.width) / places, -extent.spaces / places / 3 - 1e-3);
        line.spaceExtra = static_cast<float>(extra);
    }
    // One run without extra room was measured already.
    if (line.runs.size() == 1 && line.spaceExtra == 0)
        line.width = static_cast<float>(extent.width);
    else
        SetPositions(line, paragraph);
    line.width -= static_cast<float>(extent.spaceCount - places) * line.spaceExtra;
    if (isJustified)
        line.alignment = Alignment::Justify;
    double const slack = room - line.width;
    auto const side =
        isJustified ? Settle(static_cast<int>(Alignment::Start), paragraph.IsRightToLeft()) : line.alignment;
    line.left = static_cast<float>(indents.left + (side == Alignment::Left     ? 0
                                                   : side == Alignment::Centre ? slack / 2
                                                                               : slack));
    line.runs.shrink_to_fit();
    line.own.shrink_to_fit();
    return line;
}

BrokenLines::~BrokenLines() = default;

namespace {

// Line after line from a place on. `first`: the indents of the first lines; the others have those of the paragraph.
std::vector<LineData> BreakLines(ComposedParagraph const& paragraph, std::uint32_t begin, LineMeasure const& measure,
                                 std::vector<LineIndents> const& first) {
    auto const& atts = *paragraph.GetAtts();
    auto const others = GetIndents(paragraph, false);
    auto const indentsOf = [&](std::size_t line) -> LineIndents const& {
        return line < first.size() ? first[line] : others;
    };
    auto const roomOf = [&](LineIndents const& indents) {
        return measure.endless ? std::numeric_limits<double>::infinity() : measure.width - indents.left - indents.right;
    };
    bool const isTotalFit = atts.Get(ParagraphEnum::Alignment) == static_cast<int>(Alignment::Justify) &&
                            atts.Get(ParagraphEnum::Breaking) == static_cast<int>(LineBreaking::TotalFit) &&
                            !measure.endless && !paragraph.HasTabs();
    std::vector<LineEnd> ends;
    if (isTotalFit) {
        std::vector<double> rooms;
        for (auto const& indents : first)
            rooms.push_back(roomOf(indents));
        ends = FindTotalFit(paragraph, begin, rooms, roomOf(others));
    }
    if (ends.empty()) {
        GreedyBreaker breaker(paragraph, begin);
        while (!breaker.IsAtEnd()) {
            auto const& indents = indentsOf(ends.size());
            ends.push_back(breaker.Next(roomOf(indents), indents.start));
        }
    }
    std::vector<LineData> lines;
    lines.reserve(ends.size());
    std::uint32_t at = begin;
    for (auto const& end : ends) {
        lines.push_back(BuildLine(paragraph, at, end, measure, indentsOf(lines.size())));
        at = end.position;
    }
    return lines;
}

} // namespace

BrokenLines::BrokenLines(ComposedParagraphRef composed, std::uint32_t from, LineMeasure const& columnMeasure)
    : paragraph(std::move(composed)), begin(from), measure(columnMeasure) {
    bool const beginsWithCap = begin == 0 && paragraph->GetDropCapEnd() != 0 && !measure.endless;
    if (!beginsWithCap || !BreakBesideDropCap())
        lines = BreakLines(*paragraph, begin, measure, {GetIndents(*paragraph, begin == 0)});
}

// The cap is as large as the distance of the lines beside it wants it, which depends on the letters that stand in them,
// which depend on the room that the cap leaves: the distance of plain lines is tried first. False where there is no
// room for a cap.
bool BrokenLines::BreakBesideDropCap() {
    constexpr int c_maximumTries = 4;
    constexpr double c_slack = 1e-3;
    auto const height = DropCapAtt::Of(*paragraph->GetAtts())->GetValues().lines;
    bool const isOnGrid = measure.gridSpacing > 0 && paragraph->GetAtts()->Get(ParagraphEnum::BaselineGrid) != 0;
    auto const toGrid = [&](double leading) {
        return isOnGrid ? std::ceil(leading / measure.gridSpacing - 1e-6) * measure.gridSpacing : leading;
    };
    double const plain = GetDropCapLeading(*paragraph);
    double depth = (height - 1) * toGrid(plain);
    for (int tries = 0; tries != c_maximumTries; ++tries) {
        auto cap = BuildDropCap(*paragraph, depth, measure);
        if (!cap)
            return false;
        std::vector<LineIndents> const beside(height, GetIndentsBesideCap(*paragraph, cap->end));
        lines = BreakLines(*paragraph, paragraph->GetDropCapEnd(), measure, beside);
        double actual = 0;
        for (std::size_t i = 1; i != height; ++i)
            actual += toGrid(i < lines.size() ? double{lines[i].leading} : plain);
        // The cap's box is that of the lines beside it.
        cap->line.ascent = static_cast<float>(depth + cap->drop) + lines.front().ascent;
        cap->line.descent = std::max(lines.front().descent - static_cast<float>(cap->drop), 0.0f);
        besideCap = std::min(height, static_cast<std::uint32_t>(lines.size()));
        capDrop = cap->drop;
        lines.insert(lines.begin(), std::move(cap->line));
        if (std::fabs(actual - depth) <= c_slack)
            break;
        depth = actual;
    }
    capHeight = height;
    return true;
}

std::size_t BrokenLines::GetMemoryUse() const {
    std::size_t use = sizeof *this + lines.capacity() * sizeof(LineData);
    for (auto const& line : lines)
        use += line.runs.capacity() * sizeof(LineRun) + line.own.capacity() * sizeof(ShapedGlyph);
    return use;
}

} // namespace Story
