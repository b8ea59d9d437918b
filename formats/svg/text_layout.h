// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/text_reader.h"
#include "platform/story/composition.h"

namespace Formats::Svg {

// The glyphs that shaping made of a few characters, and their place.
struct PlacedCell {
    // Among the reader's characters.
    std::size_t begin = 0, end = 0;
    // The left end of its baseline, in the space of the text element.
    Kernel::PointT<double> place;
    double advance = 0;
    // Turns about its place.
    double rotationRadians = 0;
    // Of its width.
    double stretch = 1;
    // Where composition put it on the line.
    double naturalX = 0;
    bool isRightToLeft = false;
    // An absolute position, or a path, begins here.
    bool beginsChunk = false;
    std::size_t path = 0;
    // Beyond the ends of its path.
    bool isHidden = false;
};

// Characters of cursive scripts.
inline bool JoinsNeighbours(char32_t c) {
    return (c >= 0x620 && c < 0x900 && !(c >= 0x660 && c < 0x66E)) || (c >= 0x1800 && c < 0x18B0) ||
           (c >= 0x1E900 && c < 0x1E944);
}

// Lays out a text element as SVG 2, 11.5.1 tells, in the turned space where lines run from top to bottom: the text is
// composed as one line, and then its characters are moved. The places are those of characters, in the order of the
// text.
class TextLayout {
public:
    // Glyph attributes without paints, by style; they are given the spacing of letters and words.
    using StyleAtts = std::vector<Kernel::Counted<Story::GlyphAtts const>>;
    // Outlines in the space of the text element, by path number less one; null where there is none.
    using Paths = std::vector<Kernel::Counted<Geometry::PolyCurveDbl const>>;
    TextLayout(TextReader const& text, StyleAtts atts, Paths paths, bool isRightToLeft, Story::WritingMode mode);

    std::vector<PlacedCell> const& GetCells() const { return m_cells; }
    bool HasRightToLeftText() const { return m_hasRightToLeftText; }
    double GetAscent() const { return m_ascent; }
    double GetDescent() const { return m_descent; }
    // The addition to each advance, in em, by character.
    double GetTracking(std::size_t character) const;

private:
    void Compose();
    void FitLengths();
    void FitLength(TextLength const& length, std::vector<double> const& before);
    void AddOffsets();
    void StretchGlyphs();
    void PlaceChunks();
    void PlaceOnPaths();
    void PlaceOnPath(std::size_t begin, std::size_t end);
    // The first and last edge of cells.
    std::pair<double, double> GetExtent(std::size_t begin, std::size_t end) const;
    double GetAnchorShift(std::size_t begin, std::size_t end) const;

    TextReader const& m_text;
    StyleAtts m_atts;
    Paths m_paths;
    bool m_isRightToLeft;
    Story::WritingMode m_mode;
    bool m_hasRightToLeftText = false;
    double m_ascent = 0, m_descent = 0;
    // Lengths that `textLength` puts behind characters.
    std::vector<double> m_extra;
    std::vector<PlacedCell> m_cells;
};

} // namespace Formats::Svg
