// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"
#include "formats/svg/text_layout.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/text_renderer.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace Formats::Svg {

namespace {

using GlyphAttsRef = Kernel::Counted<Story::GlyphAtts const>;

// Spans of one text element that are placed by themselves.
constexpr std::size_t c_maximumPieces = 100'000;

// The metrics of a font that place lines, in user units.
struct FontHeights {
    double ascent = 0, descent = 0, xHeight = 0;
};

FontHeights MeasureFont(GlyphAttsRef const& atts) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText({0, 0}, Story::GlyphString(U"x"), atts);
    auto const frame = Kernel::MakeCounted<ArtTextNode>(story, Kernel::PointT<double>{})->MakeComposedText();
    auto const line = frame->GetColumn(0).begin();
    auto const bounds = Story::GetTextOutline(*frame)->GetBounds();
    return {line->GetAscent(), line->GetDescent(), bounds ? -bounds->top : line->GetAscent() / 2};
}

double GetBaselineShift(InheritedStyle const& style, GlyphAttsRef const& atts) {
    if (style.dominantBaseline == DominantBaseline::Alphabetic && style.baselineShiftOfHeight == 0)
        return style.baselineShift;
    auto const heights = MeasureFont(atts);
    double const em = style.fontSize > 0 ? style.fontSize : 1;
    double shift = style.baselineShift + style.baselineShiftOfHeight * (heights.ascent + heights.descent) / em;
    switch (style.dominantBaseline) {
    case DominantBaseline::Middle:
        return shift - heights.xHeight / 2;
    case DominantBaseline::Central:
        return shift - (heights.ascent - heights.descent) / 2;
    case DominantBaseline::Hanging:
        return shift - heights.ascent * 0.8;
    case DominantBaseline::Mathematical:
        return shift - heights.ascent / 2;
    case DominantBaseline::Top:
        return shift - heights.ascent;
    case DominantBaseline::Bottom:
        return shift + heights.descent;
    default:
        return shift;
    }
}

// The attributes for composition; paints come later, for some of them depend on the place of the text.
Kernel::Counted<Story::GlyphAtts> MakeFontAtts(InheritedStyle const& style, std::string_view language) {
    auto atts = Kernel::MakeCounted<Story::GlyphAtts>();
    using Story::GlyphAtt;
    atts->Set(GlyphAtt::Double::Size, style.fontSize);
    atts->Set(GlyphAtt::Double::Weight, style.fontWeight);
    if (style.fontStretch != 100)
        atts->Set(GlyphAtt::Double::Width, style.fontStretch);
    if (!style.fontFamily.empty())
        atts->Set(GlyphAtt::String::FontFamily, Kernel::String(style.fontFamily));
    if (!language.empty())
        atts->Set(GlyphAtt::String::Language, Kernel::String(language));
    if (!style.fontFeatures.empty())
        atts->Set(GlyphAtt::String::FontFeatures, Kernel::String(style.fontFeatures));
    auto const setFlag = [&](GlyphAtt::Enum att, bool isOn, int value) {
        if (isOn)
            atts->Set(att, value);
    };
    setFlag(GlyphAtt::Enum::Italic, style.isItalic, 1);
    setFlag(GlyphAtt::Enum::SmallCaps, style.hasSmallCaps, 1);
    setFlag(GlyphAtt::Enum::Kerning, !style.hasKerning, 0);
    setFlag(GlyphAtt::Enum::Underline, style.isUnderlined, 1);
    setFlag(GlyphAtt::Enum::Overline, style.isOverlined, 1);
    setFlag(GlyphAtt::Enum::Strikethrough, style.isStruckThrough, 1);
    if (double const shift = GetBaselineShift(style, atts); shift != 0)
        atts->Set(GlyphAtt::Double::BaselineShift, shift);
    return atts;
}

// Fills and lines of text stand in the space of their node: `toText` takes that to the space of the text element.
Kernel::Counted<Story::GlyphAtts> MakePaintedAtts(GlyphAttsRef const& font, bool isVisible, CurvesNode const& paints,
                                                  Matrix const& toText) {
    using Story::GlyphAtt;
    auto const atts = font->Clone();
    auto const placed = [&](Kernel::Counted<Renderer::FillDescriptor const> fill) {
        bool const isPlain = !fill || fill->IsFillNone() || fill->GetFill()->GetType() == Renderer::FillType::Solid;
        if (!isPlain && !(toText == Matrix{}))
            fill = fill->CloneWithNewTransform(WithoutNegativeZeros(toText.GetInverse() * fill->GetTransform()));
        return fill;
    };
    auto const fill = isVisible ? placed(paints.GetBrushFillDescriptor(true)) : nullptr;
    // Text without a fill is not black: it has a clear one.
    atts->Set(GlyphAtt::Object::Fill,
              fill ? fill : Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour().WithAlpha(0)));
    auto line = paints.GetLineStyleDescriptor();
    if (!isVisible || !line || !paints.GetPenFillDescriptor())
        return atts;
    if (paints.IsLineBehindFill()) {
        auto const behind = line->Clone();
        behind->SetDrawBehindFill(true);
        line = behind;
    }
    atts->Set(GlyphAtt::Object::LineStyle, line);
    atts->Set(GlyphAtt::Object::LineFill, placed(paints.GetPenFillDescriptor()));
    return atts;
}

Matrix GetTurn(Story::WritingMode mode) {
    return mode == Story::WritingMode::Vertical ? Story::c_verticalTurn : Matrix{};
}

// Cells that one node holds.
struct TextPiece {
    std::size_t begin = 0, end = 0;
};

Matrix GetPlace(PlacedCell const& cell) {
    double const cosine = std::cos(cell.rotationRadians), sine = std::sin(cell.rotationRadians);
    return {cosine * cell.stretch, -sine, cell.place.x, sine * cell.stretch, cosine, cell.place.y};
}

// Whether a cell stands where the one before it leads to, so that one node holds both.
bool Follows(PlacedCell const& before, PlacedCell const& cell) {
    if (cell.beginsChunk || cell.isHidden || before.isHidden || cell.path != before.path ||
        std::fabs(cell.rotationRadians - before.rotationRadians) > 1e-9 || cell.stretch != before.stretch)
        return false;
    auto const expected = GetPlace(before).Apply(Kernel::PointT<double>{cell.naturalX - before.naturalX, 0});
    double const slack = 1e-3 + std::fabs(cell.advance) * 1e-3;
    return std::fabs(expected.x - cell.place.x) <= slack && std::fabs(expected.y - cell.place.y) <= slack;
}

std::vector<TextPiece> FindPieces(std::vector<PlacedCell> const& cells, bool partsDirections) {
    std::vector<TextPiece> pieces;
    for (std::size_t i = 0; i != cells.size(); ++i) {
        bool const joins = i != 0 && Follows(cells[i - 1], cells[i]) &&
                           !(partsDirections && cells[i].isRightToLeft != cells[i - 1].isRightToLeft);
        if (!joins && pieces.size() == c_maximumPieces)
            break;
        if (joins)
            pieces.back().end = i + 1;
        else
            pieces.push_back({i, i + 1});
    }
    return pieces;
}

// Makes the nodes of one text element.
class PieceMaker {
public:
    PieceMaker(TextReader const& text, TextLayout const& layout, TextLayout::StyleAtts fonts,
               std::vector<Kernel::Counted<PolyCurveNode>> paints, bool isRightToLeft, Story::WritingMode mode)
        : m_text(text),
          m_layout(layout),
          m_fonts(std::move(fonts)),
          m_paints(std::move(paints)),
          m_isRightToLeft(isRightToLeft),
          m_mode(mode),
          m_turn(GetTurn(mode)) {}

    Kernel::Counted<ArtTextNode> Make(TextPiece const& piece, bool isWholeText) {
        auto const& cells = m_layout.GetCells();
        auto const leftmost =
            *std::min_element(cells.begin() + static_cast<std::ptrdiff_t>(piece.begin),
                              cells.begin() + static_cast<std::ptrdiff_t>(piece.end),
                              [](PlacedCell const& a, PlacedCell const& b) { return a.naturalX < b.naturalX; });
        double width = 0;
        for (auto i = piece.begin; i != piece.end; ++i)
            width = std::max(width, cells[i].naturalX + cells[i].advance - leftmost.naturalX);
        bool const isTurned = leftmost.rotationRadians != 0 || leftmost.stretch != 1;
        bool const isWholeChunk =
            cells[piece.begin].beginsChunk && (piece.end == cells.size() || cells[piece.end].beginsChunk) && !isTurned;
        auto const alignment = isWholeChunk ? GetAlignment(piece) : Story::Alignment::Left;
        auto const place = isTurned ? m_turn * GetPlace(leftmost) * m_turn.GetInverse() : Matrix{};
        auto const story = MakeStory(piece, alignment, isWholeText, place);
        double const left = isTurned ? 0 : leftmost.place.x;
        Kernel::PointT<double> origin{left, isTurned ? 0 : leftmost.place.y};
        if (alignment != Story::Alignment::Left)
            origin.x += alignment == Story::Alignment::Right ? width : width / 2;
        if (isWholeChunk)
            origin = Snapped(origin, m_text.GetCharacters()[cells[piece.begin].begin]);
        auto node = Kernel::MakeCounted<ArtTextNode>(story, m_turn.Apply(origin));
        if (alignment != Story::Alignment::Left || m_layout.HasRightToLeftText()) {
            // Spaces at a line's end hang, and a chunk may end in them.
            double const actual = node->MakeComposedText()->GetColumn(0).begin()->GetOrigin().x;
            double const hung = m_hangsAtLeft ? m_hungWidth : 0;
            if (double const off = left + hung - actual; std::fabs(off) > 1e-3)
                node = Kernel::MakeCounted<ArtTextNode>(story,
                                                        m_turn.Apply(Kernel::PointT<double>{origin.x + off, origin.y}));
        }
        if (isTurned)
            node->SetTransform(WithoutNegativeZeros(place), false);
        return node;
    }

private:
    // The place that the source says where the computed one is equal to it but for rounding.
    static Kernel::PointT<double> Snapped(Kernel::PointT<double> place, TextCharacter const& first) {
        auto const isNear = [](double a, double b) { return std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(b)); };
        double const x = first.x.value_or(0) + first.dx, y = first.y.value_or(0) + first.dy;
        return {isNear(place.x, x) ? x : place.x, isNear(place.y, y) ? y : place.y};
    }

    Story::Alignment GetAlignment(TextPiece const& piece) const {
        auto const& first = m_text.GetCharacters()[m_layout.GetCells()[piece.begin].begin];
        auto const& style = m_text.GetStyles()[first.style].GetStyle();
        if (style.textAnchor == TextAnchor::Middle)
            return Story::Alignment::Centre;
        return (style.textAnchor == TextAnchor::End) != style.isRightToLeft ? Story::Alignment::Right
                                                                            : Story::Alignment::Left;
    }

    Kernel::Counted<Story::Story> MakeStory(TextPiece const& piece, Story::Alignment alignment, bool isWholeText,
                                            Matrix const& place) {
        auto const& cells = m_layout.GetCells();
        auto const& characters = m_text.GetCharacters();
        auto story = Kernel::MakeCounted<Story::Story>();
        Story::GlyphSink sink(story);
        auto paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
        using Story::ParagraphAtt;
        paragraph->Set(ParagraphAtt::Enum::Alignment, static_cast<int>(alignment));
        bool const isRightToLeft = isWholeText ? m_isRightToLeft : cells[piece.begin].isRightToLeft;
        if (m_layout.HasRightToLeftText() || m_isRightToLeft)
            paragraph->Set(ParagraphAtt::Enum::Direction,
                           static_cast<int>(isRightToLeft ? Story::ParagraphDirection::RightToLeft
                                                          : Story::ParagraphDirection::LeftToRight));
        sink.SetParagraphAtts(paragraph);
        // Characters that set the direction stand between cells: only the whole text has them all.
        std::size_t const begin = isWholeText ? 0 : cells[piece.begin].begin;
        std::size_t const end = isWholeText ? characters.size() : cells[piece.end - 1].end;
        auto const joins = [&](std::size_t at) {
            return at != 0 && at != characters.size() && JoinsNeighbours(characters[at - 1].character) &&
                   JoinsNeighbours(characters[at].character);
        };
        constexpr char32_t c_zeroWidthJoiner = 0x200D;
        m_hungWidth = 0;
        for (std::size_t i = begin; i != end; ++i) {
            sink.SetGlyphAtts(GetAtts(characters[i].style, m_layout.GetTracking(i), place));
            if (i == begin && joins(i))
                sink.Add(c_zeroWidthJoiner);
            sink.Add(characters[i].character);
            if (i + 1 == end && joins(end))
                sink.Add(c_zeroWidthJoiner);
        }
        for (auto i = piece.end; i != piece.begin && characters[cells[i - 1].begin].character == U' '; --i)
            m_hungWidth += cells[i - 1].advance;
        m_hangsAtLeft = isRightToLeft;
        sink.Flush();
        story->SetWritingMode(m_mode);
        return story;
    }

    GlyphAttsRef GetAtts(std::size_t style, double tracking, Matrix const& place) {
        if (!(place == m_place)) {
            m_made.clear();
            m_place = place;
        }
        auto& made = m_made[{style, tracking}];
        if (!made) {
            auto const painted =
                MakePaintedAtts(m_fonts[style], m_text.GetStyles()[style].GetStyle().visible, *m_paints[style], place);
            if (tracking != 0)
                painted->Set(Story::GlyphAtt::Double::Tracking, tracking);
            made = painted;
        }
        return made;
    }

    TextReader const& m_text;
    TextLayout const& m_layout;
    TextLayout::StyleAtts m_fonts;
    std::vector<Kernel::Counted<PolyCurveNode>> m_paints;
    bool m_isRightToLeft;
    Story::WritingMode m_mode;
    // From the space of the layout to that of the text element.
    Matrix m_turn;
    Matrix m_place;
    std::map<std::pair<std::size_t, double>, GlyphAttsRef> m_made;
    double m_hungWidth = 0;
    bool m_hangsAtLeft = false;
};

// Of the cells, by the heights of the line.
Kernel::RectT<double> GetBox(TextLayout const& layout) {
    Kernel::RectT<double> box;
    for (auto const& cell : layout.GetCells()) {
        if (cell.isHidden)
            continue;
        double const width = cell.stretch != 0 ? cell.advance / cell.stretch : 0;
        box =
            box.United(GetPlace(cell).Apply(Kernel::RectT<double>{0, -layout.GetAscent(), width, layout.GetDescent()}));
    }
    return box;
}

} // namespace

// The outline that a text path refers to, in the space of the text. Null, and counted in the report, where there is
// none.
Kernel::Counted<Geometry::PolyCurveDbl const> Importer::FindTextPath(Element const& textPath) {
    auto const reference = Trimmed(textPath.Find(Name::Href).value_or(""));
    auto const target =
        reference.starts_with('#')
            ? textPath.Follow(reference.substr(1),
                              {ElementKind::Path, ElementKind::Rect, ElementKind::Circle, ElementKind::Ellipse,
                               ElementKind::Line, ElementKind::Polyline, ElementKind::Polygon},
                              "href")
            : std::nullopt;
    auto const shape = target && target->GetTransform() ? BuildShape(*target) : nullptr;
    auto const outline = shape ? shape->GetOutline() : nullptr;
    if (!outline) {
        m_drawing.GetReport().Add("text on a missing path", textPath.Describe());
        return {};
    }
    auto const placed = outline->Clone();
    placed->ApplyTransform(Geometry::Transform(*target->GetTransform()));
    return placed;
}

// Gradients and patterns over text are laid over the box of all of its glyphs.
Importer::SceneNodePointer Importer::BuildText(Element const& element, bool isClip) {
    TextReader text(m_drawing, element);
    auto const& styles = text.GetStyles();
    TextLayout::StyleAtts fonts;
    for (std::size_t i = 0; i != styles.size(); ++i)
        fonts.push_back(MakeFontAtts(styles[i].GetStyle(), text.GetLanguage(i)));
    TextLayout::Paths paths;
    for (auto const style : text.GetPaths())
        paths.push_back(FindTextPath(styles[style]));
    bool const isVertical = element.GetStyle().isVertical && paths.empty();
    if (element.GetStyle().isVertical && !isVertical)
        m_drawing.GetReport().Add("vertical text on a path", element.Describe());
    if (isVertical)
        text.TurnPlaces();
    auto const mode = isVertical ? Story::WritingMode::Vertical : Story::WritingMode::Horizontal;
    bool const isRightToLeft = element.GetStyle().isRightToLeft;
    TextLayout const layout(text, fonts, std::move(paths), isRightToLeft, mode);
    auto const& cells = layout.GetCells();
    if (cells.empty())
        return {};
    auto const box = GetTurn(mode).Apply(GetBox(layout));
    std::vector<Kernel::Counted<PolyCurveNode>> paints;
    for (auto const& style : styles) {
        paints.push_back(Kernel::MakeCounted<PolyCurveNode>());
        paints.back()->SetCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(box));
        if (isClip)
            paints.back()->SetBrushFillDescriptor(m_paints.GetClipFill());
        else
            m_paints.Apply(style, *paints.back(), m_contextPaints);
    }
    auto pieces = FindPieces(cells, false);
    bool const isWholeText = pieces.size() == 1;
    if (!isWholeText && layout.HasRightToLeftText())
        pieces = FindPieces(cells, true);
    if (pieces.back().end != cells.size())
        m_drawing.GetReport().Add("characters after the first " + std::to_string(c_maximumPieces) + " pieces of a text",
                                  element.Describe());
    PieceMaker maker(text, layout, std::move(fonts), std::move(paints), isRightToLeft, mode);
    auto const group = Kernel::MakeCounted<GroupNode>();
    for (auto const& piece : pieces) {
        if (!cells[piece.begin].isHidden)
            group->InsertChild(NodeChildListType::Plain, maker.Make(piece, isWholeText), nullptr);
    }
    if (!group->HasChildren(NodeChildListType::Plain))
        return {};
    if (group->CountChildren(NodeChildListType::Plain) != 1)
        return group;
    auto const only = group->GetFirstChild(NodeChildListType::Plain)->RemoveFromParent();
    return Kernel::Cast<SceneNode>(only);
}

} // namespace Formats::Svg
