// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/text_reader.h"

#include "platform/story/paragraph.h"

#include <algorithm>
#include <utility>

namespace Formats::Svg {

namespace {

// Characters of one text element that are looked at.
constexpr std::size_t c_maximumCharacters = 500'000;

double const* At(std::vector<double> const& values, std::size_t index) {
    return index < values.size() ? &values[index] : nullptr;
}

bool IsLineSpace(char32_t c) {
    return c == U' ' || c == U'\t' || c == U'\n' || c == U'\r' || c == Story::c_lineSeparator ||
           c == Story::c_paragraphSeparator;
}

bool PreservesSpace(SourceTree const& tree, Element const& element, bool inherited) {
    if (element.GetStyle().whiteSpace != WhiteSpace::Unset)
        return element.GetStyle().whiteSpace == WhiteSpace::Preserve;
    auto const space = tree.FindByText(element.GetNode(), "xml:space");
    return space ? *space == "preserve" : inherited;
}

std::optional<std::string_view> FindLanguage(SourceTree const& tree, NodeIndex node) {
    auto const language = tree.Find(node, Name::XmlLang);
    return language ? language : tree.FindByText(node, "lang");
}

} // namespace

TextReader::TextReader(Drawing& drawing, Element const& text) : m_drawing(drawing) { Read(text); }

void TextReader::Read(Element const& text) {
    auto const& tree = m_drawing.GetTree();
    // White space and language are said anywhere above.
    bool preservesSpace = false, isSpaceKnown = false;
    std::optional<std::string_view> language;
    for (auto node = tree.GetParent(text.GetNode()); node != c_noNode; node = tree.GetParent(node)) {
        if (auto const space = tree.FindByText(node, "xml:space"); space && !isSpaceKnown) {
            preservesSpace = *space == "preserve";
            isSpaceKnown = true;
        }
        if (!language)
            language = FindLanguage(tree, node);
    }
    Enter(text, preservesSpace, 0, language.value_or(std::string_view()));
    while (!m_open.empty()) {
        Open& open = m_open.back();
        if (open.next == open.content.size()) {
            Leave();
            continue;
        }
        auto const piece = open.content[open.next++];
        if (piece.child == c_noNode) {
            AddText(piece.text, open);
            continue;
        }
        // Both follow the order of the document.
        while (open.nextChild != open.children.size() && open.children[open.nextChild].GetNode() < piece.child)
            ++open.nextChild;
        auto const child = open.children.begin() + static_cast<std::ptrdiff_t>(open.nextChild);
        if (child == open.children.end() || child->GetNode() != piece.child || !child->IsDisplayed())
            continue;
        auto const kind = child->GetKind();
        bool const isPath = kind == ElementKind::TextPath && open.path == 0;
        if (isPath || kind == ElementKind::TSpan || kind == ElementKind::A)
            Enter(Element(*child), open.preservesSpace, isPath ? m_paths.size() + 1 : open.path,
                  m_languages[open.style]);
    }
    auto last = m_characters.size();
    while (last != 0 && !m_characters[last - 1].isAddressable)
        --last;
    if (last != 0 && m_endIsCollapsible && m_characters[last - 1].character == U' ')
        m_characters.erase(m_characters.begin() + static_cast<std::ptrdiff_t>(last - 1));
    for (auto& length : m_lengths)
        length.end = std::min(length.end, m_characters.size());
}

void TextReader::Enter(Element const& element, bool preservesSpace, std::size_t path, std::string_view language) {
    auto const& tree = m_drawing.GetTree();
    Open open;
    open.style = m_styles.size();
    open.content = tree.GetContent(element.GetNode());
    open.preservesSpace = PreservesSpace(tree, element, preservesSpace);
    open.begin = m_characters.size();
    open.path = path;
    for (auto child = element.GetFirstChild(); child; child = child->GetNextSibling())
        open.children.push_back(*child);
    PositionList positions;
    positions.begin = m_addressableCount;
    positions.x = ReadList(element, "x", element.GetViewport().width);
    positions.y = ReadList(element, "y", element.GetViewport().height);
    positions.dx = ReadList(element, "dx", element.GetViewport().width);
    positions.dy = ReadList(element, "dy", element.GetViewport().height);
    positions.rotations = ReadRotations(element);
    if (path > m_paths.size())
        m_paths.push_back(m_styles.size());
    m_styles.push_back(element);
    m_languages.push_back(FindLanguage(tree, element.GetNode()).value_or(language));
    m_positions.push_back(std::move(positions));
    OpenDirection(element, open);
    m_open.push_back(std::move(open));
}

// Unicode Standard Annex 9, 2, as CSS Writing Modes 3, 2.4.1, translates the properties.
void TextReader::OpenDirection(Element const& element, Open& open) {
    bool const isRightToLeft = element.GetStyle().isRightToLeft;
    auto const begin = [&](char32_t opening, char32_t closing) {
        AddControl(opening, open.style, open.path);
        open.closing.insert(open.closing.begin(), closing);
    };
    auto const kind = element.GetOwnStyle().unicodeBidi;
    if (kind == UnicodeBidi::Embed && !m_open.empty())
        begin(isRightToLeft ? 0x202B : 0x202A, 0x202C);
    if ((kind == UnicodeBidi::Isolate || kind == UnicodeBidi::IsolateOverride) && !m_open.empty())
        begin(isRightToLeft ? 0x2067 : 0x2066, 0x2069);
    if (kind == UnicodeBidi::PlainText)
        begin(0x2068, 0x2069);
    if (kind == UnicodeBidi::Override || kind == UnicodeBidi::IsolateOverride)
        begin(isRightToLeft ? 0x202E : 0x202D, 0x202C);
}

void TextReader::Leave() {
    Open const& open = m_open.back();
    auto const& element = m_styles[open.style];
    for (char32_t const c : open.closing)
        AddControl(c, open.style, open.path);
    if (auto const text = m_drawing.GetTree().FindByText(element.GetNode(), "textLength")) {
        auto const length = ParseLength(*text, element.GetFontSizes());
        auto const adjust = m_drawing.GetTree().FindByText(element.GetNode(), "lengthAdjust");
        bool const stretchesGlyphs = adjust && *adjust == "spacingAndGlyphs";
        // Glyphs of no width are none, but they may stand in one place.
        if (length && (length->value > 0 || (length->value == 0 && !stretchesGlyphs)))
            m_lengths.push_back(
                {open.begin, m_characters.size(), length->Resolve(element.GetViewport().width), stretchesGlyphs});
    }
    m_open.pop_back();
    m_positions.pop_back();
}

std::vector<double> TextReader::ReadList(Element const& element, std::string_view name, double whole) const {
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

std::vector<double> TextReader::ReadRotations(Element const& element) const {
    std::vector<double> values;
    auto const text = m_drawing.GetTree().FindByText(element.GetNode(), "rotate");
    if (!text)
        return values;
    Scanner scanner(*text);
    for (scanner.SkipCommaSpace(); !scanner.IsAtEnd() && values.size() < c_maximumCharacters;
         scanner.SkipCommaSpace()) {
        auto const value = scanner.TakeNumber();
        // A list that cannot be read is none.
        if (!value)
            return {};
        values.push_back(*value);
    }
    return values;
}

// White space as XML's default asks (SVG 1.1, 10.15): one blank for a run, none at the ends.
void TextReader::AddText(std::string const& bytes, Open const& open) {
    for (char32_t const c : Story::DecodeUtf8(bytes).text) {
        if (m_characters.size() >= c_maximumCharacters)
            return;
        bool const isSpace = IsLineSpace(c);
        auto last = m_characters.size();
        while (last != 0 && !m_characters[last - 1].isAddressable)
            --last;
        bool const follows = last == 0 || m_characters[last - 1].character == U' ';
        if (isSpace && !open.preservesSpace && follows)
            continue;
        m_endIsCollapsible = !open.preservesSpace;
        TextCharacter placed;
        placed.character = isSpace ? U' ' : c == Story::c_objectCharacter ? Story::c_replacementCharacter : c;
        placed.style = open.style;
        placed.path = open.path;
        FindPosition(placed);
        m_characters.push_back(placed);
        ++m_addressableCount;
    }
}

void TextReader::AddControl(char32_t control, std::size_t style, std::size_t path) {
    TextCharacter character;
    character.character = control;
    character.style = style;
    character.path = path;
    character.isAddressable = false;
    m_characters.push_back(character);
}

// The innermost element that says something of the character's place counts. The last rotation of a list holds for all
// characters behind it.
void TextReader::FindPosition(TextCharacter& placed) const {
    bool hasDx = false, hasDy = false, hasRotation = false;
    for (auto list = m_positions.rbegin(); list != m_positions.rend(); ++list) {
        std::size_t const index = m_addressableCount - list->begin;
        auto const take = [&](std::optional<double>& value, std::vector<double> const& values) {
            if (auto const* found = At(values, index); found != nullptr && !value)
                value = *found;
        };
        take(placed.x, list->x);
        take(placed.y, list->y);
        if (auto const* dx = At(list->dx, index); dx != nullptr && !hasDx) {
            placed.dx = *dx;
            hasDx = true;
        }
        if (auto const* dy = At(list->dy, index); dy != nullptr && !hasDy) {
            placed.dy = *dy;
            hasDy = true;
        }
        if (!hasRotation && !list->rotations.empty()) {
            placed.rotation = list->rotations[std::min(index, list->rotations.size() - 1)];
            hasRotation = true;
        }
    }
}

void TextReader::TurnPlaces() {
    for (auto& character : m_characters) {
        auto const x = character.x;
        character.x = character.y;
        character.y = x ? std::optional(-*x) : std::nullopt;
        character.dy = -std::exchange(character.dx, character.dy);
    }
}

} // namespace Formats::Svg
