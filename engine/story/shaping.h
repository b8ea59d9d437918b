// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/composed_paragraph.h"

#include <string_view>
#include <vector>

namespace Story {

// What HarfBuzz says of one glyph, in units of the font's em.
struct RawGlyph {
    std::uint32_t id = 0;
    std::uint32_t cluster = 0; // index into the text
    std::int32_t advance = 0, offsetX = 0, offsetY = 0;
    bool isUnsafeToBreak = false;
    bool endsCluster = false;
};

// Shapes a stretch of text in one go, in logical order. `glyphs` is replaced.
void ShapeWithHarfBuzz(std::vector<RawGlyph>& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
                       ShapedRun const& run);

// Turns units of the em into lengths of the text. Advances far beyond the em are taken for a lie.
class GlyphScaler {
public:
    explicit GlyphScaler(ShapedRun const& run);
    ShapedGlyph Scale(RawGlyph const& raw) const;

private:
    float ToLength(std::int32_t units, double unit) const;
    double m_unitX, m_unitY, m_limit;
    float m_tracking;
};

// Appends the glyphs of a stretch of text, in logical order.
void ShapeText(std::vector<ShapedGlyph>& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
               ShapedRun const& run);

} // namespace Story
