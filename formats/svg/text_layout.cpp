// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/text_layout.h"

#include "platform/document/text_nodes.h"
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Formats::Svg {

namespace {

// A walk along an outline by length.
class PathWalk final : public Geometry::FlattenSink {
public:
    explicit PathWalk(Geometry::PolyCurveDbl const& outline) {
        auto const bounds = outline.GetBounds();
        double const size = bounds ? std::hypot(bounds->GetWidth(), bounds->GetHeight()) : 0;
        Geometry::Flatten(outline, {}, std::max(size * 1e-5, 1e-6), std::nullopt, *this);
    }
    double GetLength() const { return m_length; }

    // The point at a length, and the direction there.
    std::pair<Kernel::PointT<double>, double> At(double length) const {
        auto after = std::upper_bound(m_pieces.begin(), m_pieces.end(), length,
                                      [](double value, Piece const& piece) { return value < piece.begin; });
        if (after != m_pieces.begin())
            --after;
        auto const& piece = *after;
        double const t = (length - piece.begin) / piece.length;
        return {{piece.from.x + (piece.to.x - piece.from.x) * t, piece.from.y + (piece.to.y - piece.from.y) * t},
                std::atan2(piece.to.y - piece.from.y, piece.to.x - piece.from.x)};
    }
    Kernel::PointT<double> GetEnd() const { return m_pieces.back().to; }

private:
    struct Piece {
        Geometry::PointDbl from, to;
        double begin, length;
    };
    void Begin(Geometry::PointDbl start, bool closed) override {
        m_start = m_at = start;
        m_isClosed = closed;
    }
    void Vertex(Geometry::PointDbl p, bool) override { Add(p); }
    void End() override {
        if (m_isClosed)
            Add(m_start);
    }
    void Add(Geometry::PointDbl p) {
        double const length = std::hypot(p.x - m_at.x, p.y - m_at.y);
        if (length > 0) {
            m_pieces.push_back({m_at, p, m_length, length});
            m_length += length;
        }
        m_at = p;
    }

    std::vector<Piece> m_pieces;
    Geometry::PointDbl m_start, m_at;
    double m_length = 0;
    bool m_isClosed = false;
};

} // namespace

TextLayout::TextLayout(TextReader const& text, StyleAtts atts, Paths paths, bool isRightToLeft, Story::WritingMode mode)
    : m_text(text),
      m_atts(std::move(atts)),
      m_paths(std::move(paths)),
      m_isRightToLeft(isRightToLeft),
      m_mode(mode),
      m_extra(text.GetCharacters().size()) {
    Compose();
    FitLengths();
    AddOffsets();
    StretchGlyphs();
    PlaceChunks();
    PlaceOnPaths();
}

double TextLayout::GetTracking(std::size_t index) const {
    auto const& character = m_text.GetCharacters()[index];
    if (!character.isAddressable)
        return 0;
    auto const& style = m_text.GetStyles()[character.style].GetStyle();
    bool const isSpace = character.character == U' ' || character.character == 0xA0;
    // No spacing between characters that join (CSS Text 3, 8.2).
    double const between = JoinsNeighbours(character.character) ? 0 : style.letterSpacing;
    double const length = between + (isSpace ? style.wordSpacing : 0) + m_extra[index];
    return style.fontSize > 0 ? length / style.fontSize : 0;
}

// One endless line. A character without a width at its end keeps spaces there from hanging.
void TextLayout::Compose() {
    constexpr char32_t c_wordJoiner = 0x2060;
    auto const& characters = m_text.GetCharacters();
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    auto paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
    paragraph->Set(Story::ParagraphAtt::Enum::Direction,
                   static_cast<int>(m_isRightToLeft ? Story::ParagraphDirection::RightToLeft
                                                    : Story::ParagraphDirection::LeftToRight));
    paragraph->Set(Story::ParagraphAtt::Enum::Alignment, static_cast<int>(Story::Alignment::Left));
    sink.SetParagraphAtts(paragraph);
    Kernel::Counted<Story::GlyphAtts const> last;
    std::pair<std::size_t, double> lastLook;
    for (std::size_t i = 0; i != characters.size(); ++i) {
        std::pair const look(characters[i].style, GetTracking(i));
        if (!last || look != lastLook) {
            last = m_atts[look.first];
            if (look.second != 0) {
                auto const spaced = last->Clone();
                spaced->Set(Story::GlyphAtt::Double::Tracking, look.second);
                last = spaced;
            }
            lastLook = look;
            sink.SetGlyphAtts(last);
        }
        sink.Add(characters[i].character);
    }
    sink.Add(c_wordJoiner);
    sink.Flush();
    story->SetWritingMode(m_mode);
    m_cells.clear();
    m_hasRightToLeftText = false;
    auto const frame = Kernel::MakeCounted<ArtTextNode>(story, Kernel::PointT<double>{})->MakeComposedText();
    for (auto const& line : frame->GetColumn(0)) {
        m_ascent = line.GetAscent();
        m_descent = line.GetDescent();
        for (auto const& cell : line.GetCells()) {
            m_hasRightToLeftText |= cell.isRightToLeft;
            if (cell.begin >= characters.size() || !characters[cell.begin].isAddressable)
                continue;
            PlacedCell placed;
            placed.begin = cell.begin;
            placed.end = std::min<std::size_t>(cell.end, characters.size());
            placed.naturalX = cell.x;
            placed.place.x = cell.x;
            placed.advance = cell.advance;
            placed.isRightToLeft = cell.isRightToLeft;
            placed.path = characters[cell.begin].path;
            m_cells.push_back(placed);
        }
        break;
    }
    std::stable_sort(m_cells.begin(), m_cells.end(),
                     [](PlacedCell const& a, PlacedCell const& b) { return a.begin < b.begin; });
}

std::pair<double, double> TextLayout::GetExtent(std::size_t begin, std::size_t end) const {
    double left = std::numeric_limits<double>::infinity(), right = -left;
    for (auto i = begin; i != end; ++i) {
        left = std::min(left, m_cells[i].place.x);
        right = std::max(right, m_cells[i].place.x + m_cells[i].advance);
    }
    return begin == end ? std::pair(0.0, 0.0) : std::pair(left, right);
}

// Room between characters goes into the text as tracking, so that it stays one text. Ligatures and kerning are lost by
// that, so that the letters' own widths are known only after a try or two.
void TextLayout::FitLengths() {
    constexpr int c_tries = 3;
    for (auto const& length : m_text.GetLengths()) {
        auto const before = m_extra;
        for (int i = 0; i != c_tries && !length.stretchesGlyphs; ++i)
            FitLength(length, before);
    }
    for (auto& cell : m_cells)
        cell.advance -= m_extra[cell.end - 1];
}

// `before` holds the extra lengths of inner elements.
void TextLayout::FitLength(TextLength const& length, std::vector<double> const& before) {
    auto const isBefore = [](PlacedCell const& cell, std::size_t at) { return cell.begin < at; };
    auto const first = std::lower_bound(m_cells.begin(), m_cells.end(), length.begin, isBefore);
    auto const last = std::lower_bound(m_cells.begin(), m_cells.end(), length.end, isBefore);
    if (last - first < 2)
        return;
    auto const [left, right] =
        GetExtent(static_cast<std::size_t>(first - m_cells.begin()), static_cast<std::size_t>(last - m_cells.begin()));
    double own = right - left - m_extra[(last - 1)->end - 1];
    for (auto cell = first; cell + 1 != last; ++cell)
        own -= m_extra[cell->end - 1] - before[cell->end - 1];
    double const extra = (length.length - own) / static_cast<double>(last - first - 1);
    for (auto i = length.begin; i != length.end; ++i)
        m_extra[i] = before[i] + extra;
    Compose();
}

// Offsets add up in the order of the text.
void TextLayout::AddOffsets() {
    auto const& characters = m_text.GetCharacters();
    double dx = 0, dy = 0;
    for (auto& cell : m_cells) {
        for (auto i = cell.begin; i != cell.end; ++i) {
            dx += characters[i].dx;
            dy += characters[i].dy;
        }
        cell.place.x += dx;
        cell.place.y += dy;
        cell.rotationRadians = characters[cell.begin].rotation * std::numbers::pi / 180;
    }
}

void TextLayout::StretchGlyphs() {
    for (auto const& length : m_text.GetLengths()) {
        if (!length.stretchesGlyphs)
            continue;
        std::size_t first = 0;
        while (first != m_cells.size() && m_cells[first].begin < length.begin)
            ++first;
        std::size_t last = first;
        while (last != m_cells.size() && m_cells[last].begin < length.end)
            ++last;
        auto const [left, right] = GetExtent(first, last);
        if (!(right > left))
            continue;
        double const factor = length.length / (right - left);
        for (auto i = first; i != last; ++i) {
            m_cells[i].place.x = left + (m_cells[i].place.x - left) * factor;
            m_cells[i].advance *= factor;
            m_cells[i].stretch *= factor;
        }
        for (auto i = last; i != m_cells.size(); ++i)
            m_cells[i].place.x += length.length - (right - left);
    }
}

double TextLayout::GetAnchorShift(std::size_t begin, std::size_t end) const {
    auto const [left, right] = GetExtent(begin, end);
    auto const& style = m_text.GetStyles()[m_text.GetCharacters()[m_cells[begin].begin].style].GetStyle();
    double const at = m_cells[begin].place.x;
    if (style.textAnchor == TextAnchor::Middle)
        return at - (left + right) / 2;
    return (style.textAnchor == TextAnchor::Start) == style.isRightToLeft ? at - right : at - left;
}

// A chunk goes on to the next absolute position; its anchor moves all of it. The beginning of the text, and that of
// each path, counts as one.
void TextLayout::PlaceChunks() {
    auto const& characters = m_text.GetCharacters();
    double shiftX = 0, shiftY = 0;
    std::size_t path = 0;
    for (std::size_t i = 0; i != m_cells.size(); ++i) {
        auto& cell = m_cells[i];
        auto const& character = characters[cell.begin];
        bool const beginsPath = cell.path != 0 && cell.path != path;
        bool const endsPath = cell.path == 0 && path != 0;
        path = cell.path;
        if (character.x || i == 0 || beginsPath || endsPath)
            shiftX = character.x.value_or(0) + character.dx - cell.place.x;
        // A place across a path does not count there.
        if (cell.path != 0) {
            if (beginsPath)
                shiftY = character.dy - cell.place.y;
        } else if (character.y || i == 0) {
            shiftY = character.y.value_or(0) + character.dy - cell.place.y;
        }
        cell.beginsChunk = i == 0 || character.x || (character.y && cell.path == 0) || beginsPath || endsPath;
        cell.place.x += shiftX;
        cell.place.y += shiftY;
    }
    for (std::size_t begin = 0; begin != m_cells.size();) {
        std::size_t end = begin + 1;
        while (end != m_cells.size() && !m_cells[end].beginsChunk)
            ++end;
        double const shift = GetAnchorShift(begin, end);
        for (auto i = begin; i != end; ++i)
            m_cells[i].place.x += shift;
        begin = end;
    }
}

void TextLayout::PlaceOnPaths() {
    for (std::size_t begin = 0; begin != m_cells.size();) {
        std::size_t end = begin + 1;
        while (end != m_cells.size() && m_cells[end].path == m_cells[begin].path)
            ++end;
        if (m_cells[begin].path != 0)
            PlaceOnPath(begin, end);
        begin = end;
    }
}

// Each character has the middle of its advance on the path and turns with it. Text behind a path goes on at its
// end.
void TextLayout::PlaceOnPath(std::size_t begin, std::size_t end) {
    std::size_t const number = m_cells[begin].path - 1;
    auto const& element = m_text.GetStyles()[m_text.GetPaths()[number]];
    auto const& outline = m_paths[number];
    PathWalk const walk(outline ? *outline : Geometry::PolyCurveDbl());
    double offset = 0;
    auto const& tree = element.GetDrawing().GetTree();
    if (auto const text = tree.FindByText(element.GetNode(), "startOffset")) {
        if (auto const length = ParseLength(*text, element.GetFontSizes())) {
            offset = length->Resolve(walk.GetLength());
            auto const target = element.Find(Name::Href).value_or("");
            auto const said =
                tree.FindByText(tree.FindId(target.substr(std::min<std::size_t>(target.size(), 1))), "pathLength");
            auto const own = said ? ParseNumber(*said) : std::nullopt;
            if (!length->percent && own && *own > 0)
                offset *= walk.GetLength() / *own;
        }
    }
    for (auto i = begin; i != end; ++i) {
        auto& cell = m_cells[i];
        double const middle = offset + cell.place.x + cell.advance / 2;
        cell.isHidden = !(walk.GetLength() > 0) || !(middle >= 0 && middle <= walk.GetLength());
        if (cell.isHidden)
            continue;
        auto const [point, angle] = walk.At(middle);
        double const across = cell.place.y, along = -cell.advance / 2;
        cell.place = {point.x + std::cos(angle) * along - std::sin(angle) * across,
                      point.y + std::sin(angle) * along + std::cos(angle) * across};
        cell.rotationRadians += angle;
    }
    if (!(walk.GetLength() > 0) || end == m_cells.size() || m_cells[end].path != 0)
        return;
    auto const& next = m_text.GetCharacters()[m_cells[end].begin];
    auto const last = walk.GetEnd();
    double const shiftX = next.x ? 0 : last.x, shiftY = next.y ? 0 : last.y - m_cells[end].place.y + next.dy;
    for (auto i = end; i != m_cells.size() && m_cells[i].path == 0; ++i) {
        if (i != end && m_cells[i].beginsChunk)
            break;
        m_cells[i].place.x += shiftX;
        m_cells[i].place.y += shiftY;
    }
}

} // namespace Formats::Svg
