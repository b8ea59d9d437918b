// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composer.h"

#include <algorithm>

namespace Story {

// All lines beside a cap are in its column, those too that the paragraph would need to be as high as the cap.
bool FrameComposer::HasRoomForDropCap(BrokenLines const& lines, double space) const {
    if (lines.capHeight == 0 || CountFitting(lines, 1, space) < lines.besideCap)
        return false;
    auto const& paragraph = *lines.paragraph;
    double baseline = GetBaseline(lines.lines[1], paragraph, space);
    for (std::uint32_t i = 1; i != lines.capHeight; ++i) {
        auto const leading = i < lines.besideCap ? lines.lines[i + 1].leading : GetDropCapLeading(paragraph);
        baseline = SnapToGrid(baseline + leading, paragraph);
    }
    return Fits(lines.lines[lines.besideCap], baseline);
}

double FrameComposer::GetBottomOfDropCap(BrokenLines const& lines, std::size_t firstBeside) const {
    auto const& placed = m_column->m_lines;
    double bottom = placed[std::min(firstBeside + lines.besideCap, placed.size()) - 1].GetOrigin().y;
    for (auto i = lines.besideCap; i < lines.capHeight; ++i)
        bottom = SnapToGrid(bottom + GetDropCapLeading(*lines.paragraph), *lines.paragraph);
    return bottom;
}

void FrameComposer::PlaceDropCap(BrokenLinesRef const& lines, std::size_t firstBeside, double left, double bottom,
                                 std::size_t paragraph) {
    auto& placed = m_column->m_lines;
    double const lowest = std::max(m_baseline, bottom);
    Place(lines, 0, left, bottom + lines->capDrop, paragraph);
    m_baseline = lowest;
    placed.back().m_isWholeLineBack = false;
    std::rotate(placed.begin() + static_cast<std::ptrdiff_t>(firstBeside), std::prev(placed.end()), placed.end());
}

// Art text has no column, and the origin is where its first line is aligned to. Lines that are aligned to another side,
// as those of a paragraph in the other direction, stand in the column that the widest line would need.
void FrameComposer::AlignArtLines(ComposedColumn& column) const {
    if (column.m_lines.empty())
        return;
    auto const first = column.m_lines.front().GetAlignment();
    bool const areAlike = std::all_of(column.m_lines.begin(), column.m_lines.end(),
                                      [&](LinePart const& line) { return line.GetAlignment() == first; });
    if (areAlike)
        return;
    double width = 0;
    for (auto const& line : column.m_lines) {
        auto const indents = GetIndents(line.GetParagraph(), line.GetData().begin == 0);
        width = std::max(width, line.GetWidth() + indents.left + indents.right);
    }
    auto const getSide = [&](Alignment alignment) {
        return alignment == Alignment::Right ? width : alignment == Alignment::Centre ? width / 2 : 0;
    };
    for (auto& line : column.m_lines) {
        auto const origin = line.GetOrigin();
        line.SetOrigin({origin.x + getSide(line.GetAlignment()) - getSide(first), origin.y});
    }
}

// Pieces of one line stay on it, and the lines beside a drop cap stay where the cap wants them.
void FrameComposer::AlignVertically(ComposedColumn& column, bool isStoryEnd) const {
    if (column.m_lines.empty() || m_geometry.artOrigin || m_geometry.verticalAlignment == VerticalAlignment::Top)
        return;
    auto const hasGapBefore = [&](std::size_t i) {
        auto const& line = column.m_lines[i];
        bool const isBesideCap = line.GetLineIndex() != 0 && line.GetLineIndex() <= line.GetLines().besideCap;
        return i != 0 && column.m_lines[i - 1].m_isWholeLineBack && !isBesideCap;
    };
    double bottom = column.m_rect.top;
    std::size_t gaps = 0;
    for (std::size_t i = 0; i != column.m_lines.size(); ++i) {
        bottom = std::max(bottom, column.m_lines[i].GetOrigin().y + column.m_lines[i].GetDescent());
        gaps += hasGapBefore(i) ? 1 : 0;
    }
    double const room = column.m_rect.bottom - bottom;
    if (!(room > 0))
        return;
    double shift = m_geometry.verticalAlignment == VerticalAlignment::Centre   ? room / 2
                   : m_geometry.verticalAlignment == VerticalAlignment::Bottom ? room
                                                                               : 0;
    // Only a column that is full is spread out.
    bool const spreads = m_geometry.verticalAlignment == VerticalAlignment::Justify && !isStoryEnd;
    double const step = spreads && gaps != 0 ? room / static_cast<double>(gaps) : 0;
    for (std::size_t i = 0; i != column.m_lines.size(); ++i) {
        auto& line = column.m_lines[i];
        shift += hasGapBefore(i) ? step : 0;
        line.SetOrigin({line.GetOrigin().x, line.GetOrigin().y + shift});
    }
}

} // namespace Story
