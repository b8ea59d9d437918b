// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "shell/svg/importer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Shell::Svg {

namespace {

// Characters of one text element that are looked at.
constexpr std::size_t c_maximumCharacters = 1'000'000;
// Stretches of one text element that are placed by themselves.
constexpr std::size_t c_maximumPieces = 100'000;

// The values of one position attribute of one element: one for each character from `begin` on.
struct PositionList {
    std::size_t begin = 0;
    std::vector<double> x, y, dx, dy;
    static double const* At(std::vector<double> const& values, std::size_t index) {
        return index < values.size() ? &values[index] : nullptr;
    }
};

struct PlacedCharacter {
    char32_t character = 0;
    std::size_t style = 0;
    std::optional<double> x, y;
    double dx = 0, dy = 0;
    bool IsPlaced() const { return x || y; }
    bool BeginsPiece() const { return IsPlaced() || dx != 0 || dy != 0; }
};

bool IsSpace(char32_t c) { return c == U' ' || c == U'\t' || c == U'\n' || c == U'\r'; }

double GetWeight(std::string_view weight) {
    if (weight == "bold" || weight == "bolder")
        return 700;
    if (weight == "lighter")
        return 300;
    double value = 400;
    std::from_chars(weight.data(), weight.data() + weight.size(), value);
    return value >= 1 && value <= 1000 ? value : 400;
}

// Reads the characters of a text element in order, each with the element that it stands in and where it is put.
class TextReader {
public:
    TextReader(Drawing& drawing, Element const& text) : m_drawing(drawing) { Read(text); }

    std::vector<PlacedCharacter> const& GetCharacters() const { return m_characters; }
    Element const& GetStyle(std::size_t index) const { return m_styles[index]; }
    std::size_t GetStyleCount() const { return m_styles.size(); }

private:
    struct Open {
        std::size_t style = 0;
        std::vector<SourceTree::Content> content;
        std::size_t next = 0;
        std::vector<Element> children;
        bool preservesSpace = false;
    };

    void Enter(Element const& element, bool preservesSpace) {
        auto const& tree = m_drawing.GetTree();
        Open open;
        open.style = m_styles.size();
        open.content = tree.GetContent(element.GetNode());
        if (auto const space = tree.FindByText(element.GetNode(), "xml:space"))
            preservesSpace = *space == "preserve";
        open.preservesSpace = preservesSpace;
        for (auto child = element.GetFirstChild(); child; child = child->GetNextSibling())
            open.children.push_back(*child);
        PositionList positions;
        positions.begin = m_characters.size();
        positions.x = ReadList(element, "x", element.GetViewport().width);
        positions.y = ReadList(element, "y", element.GetViewport().height);
        positions.dx = ReadList(element, "dx", element.GetViewport().width);
        positions.dy = ReadList(element, "dy", element.GetViewport().height);
        if (tree.FindByText(element.GetNode(), "rotate"))
            m_drawing.GetReport().Add("rotation of letters", element.Describe());
        m_styles.push_back(element);
        m_positions.push_back(std::move(positions));
        m_open.push_back(std::move(open));
    }

    std::vector<double> ReadList(Element const& element, std::string_view name, double whole) const {
        std::vector<double> values;
        auto const text = m_drawing.GetTree().FindByText(element.GetNode(), name);
        if (!text)
            return values;
        for (std::string_view rest = *text; !rest.empty() && values.size() < c_maximumCharacters;) {
            auto const begin = rest.find_first_not_of(" \t\r\n,");
            if (begin == rest.npos)
                break;
            rest.remove_prefix(begin);
            auto const end = std::min(rest.find_first_of(" \t\r\n,"), rest.size());
            auto const length = ParseLength(rest.substr(0, end), element.GetFontSizes());
            if (!length)
                break;
            values.push_back(length->Resolve(whole));
            rest.remove_prefix(end);
        }
        return values;
    }

    void Read(Element const& text) {
        Enter(text, false);
        while (!m_open.empty()) {
            Open& open = m_open.back();
            if (open.next == open.content.size()) {
                m_open.pop_back();
                m_positions.pop_back();
                continue;
            }
            auto const piece = open.content[open.next++];
            if (piece.child == c_noNode) {
                AddText(piece.text, open);
                continue;
            }
            auto const child = std::find_if(open.children.begin(), open.children.end(),
                                            [&](Element const& each) { return each.GetNode() == piece.child; });
            if (child == open.children.end() || !child->IsDisplayed())
                continue;
            if (child->GetKind() == ElementKind::TextPath)
                m_drawing.GetReport().Add("text on a path", child->Describe());
            else if (child->GetKind() == ElementKind::TSpan || child->GetKind() == ElementKind::A)
                Enter(Element(*child), open.preservesSpace);
        }
        while (!m_characters.empty() && m_endIsCollapsible && m_characters.back().character == U' ')
            m_characters.pop_back();
    }

    // White space as XML's default asks (SVG 1.1, 10.15): one blank for a run, none at the ends.
    void AddText(std::string const& bytes, Open const& open) {
        for (char32_t const c : Story::DecodeUtf8(bytes).text) {
            if (m_characters.size() >= c_maximumCharacters)
                return;
            bool const isSpace = IsSpace(c);
            bool const follows = m_characters.empty() || m_characters.back().character == U' ';
            if (isSpace && !open.preservesSpace && follows)
                continue;
            m_endIsCollapsible = !open.preservesSpace;
            PlacedCharacter placed;
            placed.character = isSpace ? U' ' : c;
            placed.style = open.style;
            FindPosition(placed);
            m_characters.push_back(placed);
        }
    }

    // The innermost element that says something of the character's place counts.
    void FindPosition(PlacedCharacter& placed) const {
        bool hasDx = false, hasDy = false;
        for (auto list = m_positions.rbegin(); list != m_positions.rend(); ++list) {
            std::size_t const index = m_characters.size() - list->begin;
            auto const take = [&](std::optional<double>& value, std::vector<double> const& values) {
                if (auto const* found = PositionList::At(values, index); found != nullptr && !value)
                    value = *found;
            };
            take(placed.x, list->x);
            take(placed.y, list->y);
            if (auto const* dx = PositionList::At(list->dx, index); dx != nullptr && !hasDx) {
                placed.dx = *dx;
                hasDx = true;
            }
            if (auto const* dy = PositionList::At(list->dy, index); dy != nullptr && !hasDy) {
                placed.dy = *dy;
                hasDy = true;
            }
        }
    }

    Drawing& m_drawing;
    std::vector<PlacedCharacter> m_characters;
    std::vector<Element> m_styles;
    std::vector<PositionList> m_positions;
    std::vector<Open> m_open;
    bool m_endIsCollapsible = true;
};

// A stretch of text that is placed by itself.
struct TextPiece {
    std::size_t begin = 0, end = 0;
    Kernel::PointT<double> origin;
    double advance = 0;
};

Kernel::Counted<Story::GlyphAtts> MakeGlyphAtts(InheritedStyle const& style, CurvesNode const& paints) {
    auto atts = Kernel::MakeCounted<Story::GlyphAtts>();
    using Story::GlyphAtt;
    atts->Set(GlyphAtt::Double::Size, style.fontSize);
    atts->Set(GlyphAtt::Double::Weight, GetWeight(style.fontWeight));
    if (style.fontStyle == "italic" || style.fontStyle.starts_with("oblique"))
        atts->Set(GlyphAtt::Enum::Italic, 1);
    if (!style.fontFamily.empty())
        atts->Set(GlyphAtt::String::FontFamily, Kernel::String(style.fontFamily));
    auto const fill = paints.GetBrushFillDescriptor(true);
    // Text without a fill is not black: it has a clear one.
    atts->Set(GlyphAtt::Object::Fill,
              fill ? fill : Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour().WithAlpha(0)));
    if (paints.GetLineStyleDescriptor() && paints.GetPenFillDescriptor()) {
        atts->Set(GlyphAtt::Object::LineStyle, paints.GetLineStyleDescriptor());
        atts->Set(GlyphAtt::Object::LineFill, paints.GetPenFillDescriptor());
    }
    return atts;
}

Kernel::Counted<ArtTextNode> MakePieceNode(TextReader const& text, TextPiece const& piece,
                                           std::vector<Story::GlyphAttsRef> const& atts, Story::Alignment alignment) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    auto paragraph = Kernel::MakeCounted<Story::ParagraphAtts>();
    paragraph->Set(Story::ParagraphAtt::Enum::Alignment, static_cast<int>(alignment));
    sink.SetParagraphAtts(paragraph);
    for (std::size_t i = piece.begin; i != piece.end; ++i) {
        auto const& character = text.GetCharacters()[i];
        sink.SetGlyphAtts(atts[character.style]);
        sink.Add(character.character);
    }
    sink.Flush();
    return Kernel::MakeCounted<ArtTextNode>(story, piece.origin);
}

// How far the pen moves, the spaces at the end included.
double GetAdvance(TextReader const& text, TextPiece const& piece, std::vector<Story::GlyphAttsRef> const& atts) {
    auto const& characters = text.GetCharacters();
    auto const node = MakePieceNode(text, piece, atts, Story::Alignment::Left);
    double width = 0;
    for (auto const& line : node->MakeComposedText()->GetColumn(0))
        width += line.GetWidth();
    if (characters[piece.end - 1].character != U' ')
        return width;
    // A space at a line's end hangs and does not count; before a letter it does.
    auto const widthOf = [&](std::u32string_view sample) {
        auto const story = Kernel::MakeCounted<Story::Story>();
        story->ReplaceText({0, 0}, Story::GlyphString(sample), atts[characters[piece.end - 1].style]);
        return ArtTextNode(story, {}).MakeComposedText()->GetColumn(0).begin()->GetWidth();
    };
    return width + widthOf(U"x x") - widthOf(U"xx");
}

} // namespace

// Gradients over text refer to the element's letters before they are placed, for all of them alike.
Importer::SceneNodePointer Importer::BuildText(Element const& element) {
    TextReader const text(m_drawing, element);
    auto const& characters = text.GetCharacters();
    if (characters.empty())
        return {};
    std::vector<Story::GlyphAttsRef> atts;
    for (std::size_t i = 0; i != text.GetStyleCount(); ++i) {
        auto const& style = text.GetStyle(i).GetStyle();
        auto const paints = Kernel::MakeCounted<PolyCurveNode>();
        double const em = style.fontSize;
        double const width = em * 0.5 * static_cast<double>(characters.size());
        double const x = characters[0].x.value_or(0), y = characters[0].y.value_or(0);
        paints->SetCurves(
            Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{x, y - em, x + width, y + em * 0.25}));
        m_paints.Apply(text.GetStyle(i), *paints, m_contextPaints);
        atts.push_back(MakeGlyphAtts(style, *paints));
    }
    auto const group = Kernel::MakeCounted<GroupNode>();
    Kernel::PointT<double> pen;
    std::size_t pieceCount = 0;
    for (std::size_t begin = 0; begin != characters.size();) {
        // A chunk goes on to the next absolute position (SVG 1.1, 10.5); its anchor moves all of it.
        std::vector<TextPiece> pieces;
        std::size_t at = begin;
        pen = {characters[begin].x.value_or(pen.x), characters[begin].y.value_or(pen.y)};
        double const start = pen.x;
        while (at != characters.size() && (at == begin || !characters[at].IsPlaced()) &&
               pieceCount != c_maximumPieces) {
            TextPiece piece{at, at + 1, {pen.x + characters[at].dx, pen.y + characters[at].dy}, 0};
            while (piece.end != characters.size() && !characters[piece.end].BeginsPiece())
                ++piece.end;
            piece.advance = GetAdvance(text, piece, atts);
            pen = {piece.origin.x + piece.advance, piece.origin.y};
            at = piece.end;
            pieces.push_back(piece);
            ++pieceCount;
        }
        if (pieces.empty())
            break;
        auto const anchor = text.GetStyle(characters[begin].style).GetStyle().textAnchor;
        double const part = anchor == TextAnchor::Middle ? 0.5 : anchor == TextAnchor::End ? 1 : 0;
        double const shift = (pen.x - start) * part;
        auto const alignment = anchor == TextAnchor::Middle ? Story::Alignment::Centre
                               : anchor == TextAnchor::End  ? Story::Alignment::Right
                                                            : Story::Alignment::Left;
        for (auto& piece : pieces) {
            piece.origin.x += piece.advance * part - shift;
            group->InsertChild(NodeChildListType::Plain, MakePieceNode(text, piece, atts, alignment), nullptr);
        }
        pen.x -= shift;
        begin = at;
    }
    if (group->CountChildren(NodeChildListType::Plain) != 1)
        return group;
    auto const only = group->GetFirstChild(NodeChildListType::Plain)->RemoveFromParent();
    return Kernel::Cast<SceneNode>(only);
}

} // namespace Shell::Svg
