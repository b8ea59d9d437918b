// SPDX-License-Identifier: Apache-2.0
#include "engine/story/shaping.h"

#include "engine/story/word_cache.h"

#include <algorithm>
#include <memory>
#include <unicode/uchar.h>

namespace Story {

namespace {

// Advances beyond so many ems are taken for a lie.
constexpr double c_maximumAdvance = 100;

} // namespace

void GlyphBuffer::Grow(std::size_t count) {
    std::size_t const capacity = std::max({std::size_t{16}, m_size + count, m_capacity * 2});
    auto larger = std::make_unique<ShapedGlyph[]>(capacity);
    std::copy(begin(), end(), larger.get());
    m_glyphs = std::move(larger);
    m_capacity = capacity;
}

void GlyphBuffer::Trim() {
    constexpr std::size_t c_usual = 1 << 16;
    if (m_capacity > c_usual)
        *this = GlyphBuffer();
}

GlyphScaler::GlyphScaler(ShapedRun const& run) {
    auto const& look = *run.look;
    double const unit = look.size / run.face->GetUnitsPerEm();
    m_unitX = unit * (run.isUpright ? look.verticalScale : look.horizontalScale);
    m_unitY = unit * (run.isUpright ? look.horizontalScale : look.verticalScale);
    m_limit = c_maximumAdvance * look.size * look.horizontalScale;
    m_tracking = static_cast<float>(look.tracking);
}

void ShapeWithHarfBuzz(std::vector<RawGlyph>& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
                       ShapedRun const& run) {
    struct Destroy {
        void operator()(hb_buffer_t* buffer) const { hb_buffer_destroy(buffer); }
    };
    thread_local std::unique_ptr<hb_buffer_t, Destroy> const s_buffer(hb_buffer_create());
    auto* const buffer = s_buffer.get();
    auto const& look = *run.look;
    hb_buffer_clear_contents(buffer);
    if (look.isMadeSmallCaps) {
        for (std::uint32_t i = begin; i != end; ++i)
            hb_buffer_add(buffer, static_cast<hb_codepoint_t>(u_toupper(static_cast<UChar32>(text[i]))), i);
        hb_buffer_set_content_type(buffer, HB_BUFFER_CONTENT_TYPE_UNICODE);
    } else {
        hb_buffer_add_utf32(buffer, reinterpret_cast<std::uint32_t const*>(text.data()), static_cast<int>(text.size()),
                            begin, static_cast<int>(end - begin));
    }
    bool const isReversed = run.IsRightToLeft() && !run.isUpright;
    hb_buffer_set_direction(buffer, run.isUpright ? HB_DIRECTION_TTB
                                    : isReversed  ? HB_DIRECTION_RTL
                                                  : HB_DIRECTION_LTR);
    hb_buffer_set_script(buffer, run.script);
    hb_buffer_set_language(buffer, look.language);
    hb_shape(run.face->GetFont(), buffer, look.features.data(), static_cast<unsigned>(look.features.size()));
    unsigned count = 0;
    auto const* const infos = hb_buffer_get_glyph_infos(buffer, &count);
    auto const* const positions = hb_buffer_get_glyph_positions(buffer, &count);
    glyphs.resize(count);
    for (unsigned i = 0; i != count; ++i) {
        // Kept in logical order: shaping gives runs from right to left in visual order.
        unsigned const from = isReversed ? count - 1 - i : i;
        auto const& position = positions[from];
        bool const isUnsafe = (hb_glyph_info_get_glyph_flags(infos + from) & HB_GLYPH_FLAG_UNSAFE_TO_BREAK) != 0;
        bool const endsCluster =
            i + 1 == count || infos[isReversed ? from - 1 : from + 1].cluster != infos[from].cluster;
        // Upright letters count downwards, as their line runs: along it and across it they are turned.
        glyphs[i] = {infos[from].codepoint & 0xFFFFFF,
                     infos[from].cluster,
                     run.isUpright ? -position.y_advance : position.x_advance,
                     run.isUpright ? -position.y_offset : position.x_offset,
                     run.isUpright ? position.x_offset : position.y_offset,
                     isUnsafe,
                     endsCluster};
    }
}

void ShapeText(GlyphBuffer& glyphs, std::u32string_view text, std::uint32_t begin, std::uint32_t end,
               ShapedRun const& run) {
    if (run.face == nullptr || (begin != end && text[begin] == U'\t')) {
        auto* glyph = glyphs.Append(end - begin);
        for (std::uint32_t i = begin; i != end; ++i)
            *glyph++ = {ShapedGlyph::c_noGlyph, i, 0, 0, 0};
        return;
    }
    if (WordCache::Shape(glyphs, text, begin, end, run))
        return;
    thread_local std::vector<RawGlyph> s_raw;
    ShapeWithHarfBuzz(s_raw, text, begin, end, run);
    GlyphScaler const scaler(run);
    auto* glyph = glyphs.Append(s_raw.size());
    for (auto const& raw : s_raw) {
        *glyph = scaler.Scale(raw);
        if (raw.endsCluster && IsStretchable(text[raw.cluster]))
            glyph->idAndFlags |= ShapedGlyph::c_stretches;
        ++glyph;
    }
}

} // namespace Story
