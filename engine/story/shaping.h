// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/story/composed_paragraph.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace Story {

// Glyphs that are being made. Keeps its memory for the next ones.
class GlyphBuffer {
public:
    void Clear() { m_size = 0; }
    std::size_t GetSize() const { return m_size; }
    void CutTo(std::size_t size) { m_size = size; }
    // Makes room at the end; what stands there is for the caller to write.
    ShapedGlyph* Append(std::size_t count) {
        if (m_capacity - m_size < count)
            Grow(count);
        m_size += count;
        return m_glyphs.get() + m_size - count;
    }
    ShapedGlyph* begin() { return m_glyphs.get(); }
    ShapedGlyph* end() { return m_glyphs.get() + m_size; }
    // Gives memory back that only an unusually long text needs.
    void Trim();

private:
    void Grow(std::size_t count);
    std::unique_ptr<ShapedGlyph[]> m_glyphs;
    std::size_t m_size = 0, m_capacity = 0;
};

// HarfBuzz's result for one glyph, in units of the font's em.
struct RawGlyph {
    std::uint32_t id = 0;
    std::uint32_t cluster = 0; // index into the text
    std::int32_t advance = 0, offsetX = 0, offsetY = 0;
    bool isUnsafeToBreak = false;
    bool endsCluster = false;
};

// Shapes a span of text in one go, in logical order. `glyphs` is replaced.
void ShapeWithHarfBuzz(std::vector<RawGlyph>& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
                       ShapedRun const& run);

// Turns units of the em into lengths of the text. Advances far beyond the em are taken for a lie.
class GlyphScaler {
public:
    explicit GlyphScaler(ShapedRun const& run);
    float GetAdvance(std::int32_t units, bool endsCluster) const {
        float const advance = ToLength(units, m_unitX);
        return endsCluster ? advance + m_tracking : advance;
    }
    float GetOffsetX(std::int32_t units) const { return ToLength(units, m_unitX); }
    float GetOffsetY(std::int32_t units) const { return ToLength(units, m_unitY); }
    ShapedGlyph Scale(RawGlyph const& raw) const {
        return {raw.id | (raw.isUnsafeToBreak ? ShapedGlyph::c_unsafeToBreak : 0), raw.cluster,
                GetAdvance(raw.advance, raw.endsCluster), GetOffsetX(raw.offsetX), GetOffsetY(raw.offsetY)};
    }

private:
    float ToLength(std::int32_t units, double unit) const {
        return static_cast<float>(std::clamp(units * unit, -m_limit, m_limit));
    }
    double m_unitX, m_unitY, m_limit;
    float m_tracking;
};

// Appends the glyphs of a span of text, in logical order.
void ShapeText(GlyphBuffer& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
               ShapedRun const& run);

} // namespace Story
