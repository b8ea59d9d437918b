// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/drawing.h"

#include <optional>
#include <vector>

namespace Formats::Svg {

// One character of a text element, white space collapsed, with where its attributes put it.
struct TextCharacter {
    char32_t character = 0;
    // Index among the styles.
    std::size_t style = 0;
    std::optional<double> x, y;
    double dx = 0, dy = 0;
    // Degrees.
    double rotation = 0;
    // Number of the text path that the character stands on, from 1.
    std::size_t path = 0;
    // False for what was put in to set the direction: no attribute counts it.
    bool isAddressable = true;
};

// A `textLength` of the characters from `begin` to `end`, in user units.
struct TextLength {
    std::size_t begin = 0, end = 0;
    double length = 0;
    // Letters are widened, too, and not only what is between them.
    bool stretchesGlyphs = false;
};

// Reads the characters of a text element in order (SVG 1.1, chapter 10; SVG 2, 11.5).
class TextReader {
public:
    TextReader(Drawing& drawing, Element const& text);

    // Lets places count in the space of lines that run from top to bottom, in which x grows along them.
    void TurnPlaces();
    std::vector<TextCharacter> const& GetCharacters() const { return m_characters; }
    // The elements that characters stand in.
    std::vector<Element> const& GetStyles() const { return m_styles; }
    // Of GetStyles, those that are text paths, by their number less one.
    std::vector<std::size_t> const& GetPaths() const { return m_paths; }
    // Inner ones first.
    std::vector<TextLength> const& GetLengths() const { return m_lengths; }
    // BCP 47; empty where the drawing does not say.
    std::string_view GetLanguage(std::size_t style) const { return m_languages[style]; }

private:
    // The values of the position attributes of one element: one for each character from `begin` on.
    struct PositionList {
        std::size_t begin = 0;
        std::vector<double> x, y, dx, dy, rotations;
    };
    struct Open {
        std::size_t style = 0;
        std::vector<SourceTree::Content> content;
        std::size_t next = 0;
        std::vector<Element> children;
        std::size_t nextChild = 0;
        bool preservesSpace = false;
        std::size_t begin = 0;
        std::size_t path = 0;
        // Closes what the element's direction opened.
        std::u32string closing;
    };

    void Read(Element const& text);
    void Enter(Element const& element, bool preservesSpace, std::size_t path, std::string_view language);
    void OpenDirection(Element const& element, Open& open);
    void Leave();
    void AddText(std::string const& bytes, Open const& open);
    void AddControl(char32_t control, std::size_t style, std::size_t path);
    void FindPosition(TextCharacter& character) const;
    std::vector<double> ReadList(Element const& element, std::string_view name, double whole) const;
    std::vector<double> ReadRotations(Element const& element) const;

    Drawing& m_drawing;
    std::vector<TextCharacter> m_characters;
    std::vector<Element> m_styles;
    std::vector<std::string_view> m_languages;
    std::vector<std::size_t> m_paths;
    std::vector<TextLength> m_lengths;
    std::vector<PositionList> m_positions;
    std::vector<Open> m_open;
    std::size_t m_addressableCount = 0;
    bool m_endIsCollapsible = true;
};

} // namespace Formats::Svg
