// SPDX-License-Identifier: Apache-2.0
#include "engine/story/font.h"

#include "engine/story/colour_glyphs.h"
#include "engine/story/separable_spaces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <hb-ot.h>

namespace Story {

namespace {

// Points of one outline beyond this count are taken for a lie.
constexpr std::size_t c_maximumSegments = 100'000;

struct OutlineBuilder {
    double scale = 0.001;
    Kernel::Counted<Geometry::PolyCurveDbl> outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    Kernel::Counted<Geometry::CurveDbl> curve;
    std::size_t segments = 0;

    Geometry::PointDbl At(float x, float y) const { return {x * scale, -y * scale}; }
    bool Takes() { return curve && ++segments < c_maximumSegments; }
    static OutlineBuilder& From(void* data) { return *static_cast<OutlineBuilder*>(data); }
    void Close() {
        if (curve && curve->GetSegmentCount() > 0) {
            curve->Close();
            outline->AddCurve(std::move(curve));
        }
        curve.reset();
    }
};

void OnMoveTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
    auto& builder = OutlineBuilder::From(data);
    builder.Close();
    builder.curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    builder.curve->MoveTo(builder.At(x, y));
}
void OnLineTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
    auto& builder = OutlineBuilder::From(data);
    if (builder.Takes())
        builder.curve->LineTo(builder.At(x, y));
}
void OnQuadraticTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float cx, float cy, float x, float y, void*) {
    auto& builder = OutlineBuilder::From(data);
    if (builder.Takes())
        builder.curve->QuadraticTo(builder.At(cx, cy), builder.At(x, y));
}
void OnCubicTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float ax, float ay, float bx, float by, float x, float y,
               void*) {
    auto& builder = OutlineBuilder::From(data);
    if (builder.Takes())
        builder.curve->CubicTo(builder.At(ax, ay), builder.At(bx, by), builder.At(x, y));
}
void OnClose(hb_draw_funcs_t*, void* data, hb_draw_state_t*, void*) { OutlineBuilder::From(data).Close(); }

hb_draw_funcs_t* GetDrawFunctions() {
    static hb_draw_funcs_t* const s_functions = [] {
        auto* const functions = hb_draw_funcs_create();
        hb_draw_funcs_set_move_to_func(functions, OnMoveTo, nullptr, nullptr);
        hb_draw_funcs_set_line_to_func(functions, OnLineTo, nullptr, nullptr);
        hb_draw_funcs_set_quadratic_to_func(functions, OnQuadraticTo, nullptr, nullptr);
        hb_draw_funcs_set_cubic_to_func(functions, OnCubicTo, nullptr, nullptr);
        hb_draw_funcs_set_close_path_func(functions, OnClose, nullptr, nullptr);
        hb_draw_funcs_make_immutable(functions);
        return functions;
    }();
    return s_functions;
}

// OpenType 1.9, 5.5: tables of bitmaps and of colours.
bool HasPictureTable(hb_face_t* face) {
    constexpr hb_tag_t c_tags[] = {HB_TAG('C', 'B', 'D', 'T'), HB_TAG('s', 'b', 'i', 'x'), HB_TAG('C', 'O', 'L', 'R'),
                                   HB_TAG('S', 'V', 'G', ' '), HB_TAG('E', 'B', 'D', 'T')};
    return std::any_of(std::begin(c_tags), std::end(c_tags), [&](hb_tag_t tag) {
        std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> const table(hb_face_reference_table(face, tag),
                                                                     hb_blob_destroy);
        return hb_blob_get_length(table.get()) != 0;
    });
}

bool HasFeature(hb_face_t* face, hb_tag_t wanted) {
    std::array<hb_tag_t, 32> tags{};
    for (unsigned from = 0;; from += static_cast<unsigned>(tags.size())) {
        auto count = static_cast<unsigned>(tags.size());
        unsigned const total = hb_ot_layout_table_get_feature_tags(face, HB_OT_TAG_GSUB, from, &count, tags.data());
        if (std::find(tags.begin(), tags.begin() + count, wanted) != tags.begin() + count)
            return true;
        if (from + count >= total || count == 0)
            return false;
    }
}

} // namespace

FontFace::~FontFace() = default;

FontFaceRef FontFace::Load(std::string const& path, unsigned index) {
    std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> const blob(hb_blob_create_from_file_or_fail(path.c_str()),
                                                                hb_blob_destroy);
    if (!blob)
        return {};
    std::unique_ptr<hb_face_t, void (*)(hb_face_t*)> const face(hb_face_create(blob.get(), index & 0xFFFF),
                                                                hb_face_destroy);
    if (hb_face_get_glyph_count(face.get()) == 0)
        return {};
    Kernel::Counted<FontFace> result(new FontFace);
    result->ReadCoverage(face.get());
    if (result->m_bits.empty())
        return {};
    hb_face_make_immutable(face.get());
    result->m_unitsPerEm = std::clamp(hb_face_get_upem(face.get()), 16u, 16384u);
    result->m_font.reset(hb_font_create(face.get()));
    auto const scale = static_cast<int>(result->m_unitsPerEm);
    hb_font_set_scale(result->m_font.get(), scale, scale);
    if ((index >> 16) != 0)
        hb_font_set_var_named_instance(result->m_font.get(), (index >> 16) - 1);
    result->m_parts = std::make_unique<GlyphParts>(face.get());
    result->m_colours = std::make_unique<ColourGlyphs>(face.get());
    result->m_hasColours = !result->m_colours->IsEmpty();
    result->ReadMetrics();
    result->m_hasPictures = HasPictureTable(face.get());
    result->m_hasSmallCaps = HasFeature(face.get(), HB_TAG('s', 'm', 'c', 'p'));
    hb_font_make_immutable(result->m_font.get());
    return result;
}

void FontFace::ReadCoverage(hb_face_t* face) {
    std::unique_ptr<hb_set_t, void (*)(hb_set_t*)> const characters(hb_set_create(), hb_set_destroy);
    hb_face_collect_unicodes(face, characters.get());
    hb_codepoint_t c = HB_SET_VALUE_INVALID;
    m_pages.assign(0x1100, 0);
    while (hb_set_next(characters.get(), &c)) {
        if (c > 0x10FFFF)
            break;
        auto& page = m_pages[c >> 8];
        if (page == 0) {
            m_bits.resize(m_bits.size() + 4);
            page = static_cast<std::uint16_t>(m_bits.size() / 4);
        }
        m_bits[(page - 1u) * 4 + (c >> 6 & 3)] |= std::uint64_t{1} << (c & 63);
    }
}

void FontFace::ReadMetrics() {
    double const em = m_unitsPerEm;
    // A font's description of itself is believed within reason.
    auto const sane = [&](double value, double least, double most, double otherwise) {
        return value / em >= least && value / em <= most ? value / em : otherwise;
    };
    hb_font_extents_t extents{};
    if (hb_font_get_h_extents(m_font.get(), &extents) != 0) {
        m_ascent = sane(extents.ascender, 0.1, 5, m_ascent);
        m_descent = sane(-extents.descender, 0, 5, m_descent);
    }
    hb_position_t value = 0;
    if (hb_ot_metrics_get_position(m_font.get(), HB_OT_METRICS_TAG_CAP_HEIGHT, &value) != 0)
        m_capHeight = sane(value, 0.2, 2, m_capHeight);
    else if (hb_glyph_extents_t box{}; hb_font_get_glyph_extents(m_font.get(), GetGlyphOfCharacter(U'H'), &box) != 0)
        m_capHeight = sane(box.y_bearing, 0.2, 2, m_capHeight);
    if (hb_ot_metrics_get_position(m_font.get(), HB_OT_METRICS_TAG_UNDERLINE_OFFSET, &value) != 0)
        m_underlineOffset = sane(-value, -1, 1, m_underlineOffset);
    if (hb_ot_metrics_get_position(m_font.get(), HB_OT_METRICS_TAG_UNDERLINE_SIZE, &value) != 0)
        m_underlineThickness = sane(value, 0.005, 0.5, m_underlineThickness);
    if (hb_ot_metrics_get_position(m_font.get(), HB_OT_METRICS_TAG_STRIKEOUT_OFFSET, &value) != 0)
        m_strikethroughOffset = sane(-value, -1, 1, m_strikethroughOffset);
}

unsigned FontFace::GetGlyphOfCharacter(char32_t c) const {
    hb_codepoint_t glyph = 0;
    hb_font_get_nominal_glyph(m_font.get(), c, &glyph);
    return glyph;
}

bool FontFace::HasSeparableSpaces() const {
    std::call_once(m_spacesAreKnown, [this] {
        auto const space = GetGlyphOfCharacter(U' ');
        m_hasSeparableSpaces = space != 0 && AreSpacesSeparable(hb_font_get_face(m_font.get()), space);
    });
    return m_hasSeparableSpaces;
}

ColourGlyphRef FontFace::FindColourGlyph(unsigned glyph, double pixelsPerEm) const {
    return m_hasColours ? m_colours->Find(*this, glyph, pixelsPerEm) : ColourGlyphRef();
}

bool FontFace::HasVerticalForm(char32_t c, hb_script_t script) const {
    auto const key = static_cast<std::uint64_t>(script) << 32 | c;
    std::lock_guard const lock(m_mutex);
    auto const [known, isNew] = m_verticalForms.try_emplace(key, false);
    if (!isNew)
        return known->second;
    std::unique_ptr<hb_buffer_t, void (*)(hb_buffer_t*)> const buffer(hb_buffer_create(), hb_buffer_destroy);
    hb_buffer_add(buffer.get(), c, 0);
    hb_buffer_set_content_type(buffer.get(), HB_BUFFER_CONTENT_TYPE_UNICODE);
    hb_buffer_set_direction(buffer.get(), HB_DIRECTION_TTB);
    hb_buffer_set_script(buffer.get(), script);
    hb_shape(m_font.get(), buffer.get(), nullptr, 0);
    unsigned count = 0;
    auto const* const glyphs = hb_buffer_get_glyph_infos(buffer.get(), &count);
    return known->second = count != 1 || glyphs[0].codepoint != GetGlyphOfCharacter(c);
}

Kernel::Counted<Geometry::PolyCurveDbl const> FontFace::GetOutline(unsigned glyph) const {
    {
        std::lock_guard const lock(m_mutex);
        if (auto const found = m_outlines.find(glyph); found != m_outlines.end())
            return found->second;
    }
    OutlineBuilder builder;
    builder.scale = 1 / m_unitsPerEm;
    bool isDrawable = false;
    {
        std::lock_guard const lock(m_mutex);
        isDrawable = m_parts->IsSane(glyph);
    }
    if (isDrawable)
        hb_font_get_glyph_shape(m_font.get(), glyph, GetDrawFunctions(), &builder);
    builder.Close();
    Kernel::Counted<Geometry::PolyCurveDbl const> outline;
    auto const bounds = builder.outline->GetBounds();
    // A malformed font may put points anywhere; nothing sensible is a hundred ems away.
    bool const isSane = bounds && std::fabs(bounds->left) < 100 && std::fabs(bounds->right) < 100 &&
                        std::fabs(bounds->top) < 100 && std::fabs(bounds->bottom) < 100;
    if (isSane && builder.segments < c_maximumSegments)
        outline = builder.outline;
    std::lock_guard const lock(m_mutex);
    return m_outlines.emplace(glyph, std::move(outline)).first->second;
}

} // namespace Story
