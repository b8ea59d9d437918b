// SPDX-License-Identifier: Apache-2.0
#include "engine/story/colour_glyphs.h"

#include "engine/story/font.h"
#include "platform/raster/bitmap_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <hb-ot.h>
#include <set>
#include <span>

namespace Story {

namespace {

// Beyond these counts a font is not believed.
constexpr unsigned c_maximumLayers = 1024;
constexpr std::size_t c_maximumLayerSegments = 100'000;
constexpr std::size_t c_maximumStrikes = 32;
constexpr std::uint32_t c_maximumPictureSide = 2048;
// Of pictures that are kept, for each face; the most entries, those of glyphs without colours included.
constexpr std::size_t c_maximumKeptBytes = std::size_t{64} << 20;
constexpr std::size_t c_maximumKept = 100'000;

struct DestroyTable {
    void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
};
using Table = std::unique_ptr<hb_blob_t, DestroyTable>;

std::span<std::byte const> GetBytes(Table const& table) {
    unsigned length = 0;
    auto const* const begin = hb_blob_get_data(table.get(), &length);
    return begin == nullptr ? std::span<std::byte const>() : std::as_bytes(std::span(begin, length));
}

// A number of font files, the greater byte first; 0 beyond the end.
std::uint32_t ReadNumber(std::span<std::byte const> bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = at; i != at + size; ++i)
        value = value << 8 | (i < bytes.size() ? std::to_integer<std::uint32_t>(bytes[i]) : 0);
    return value;
}

// The tables of a face but for those of outlines.
hb_blob_t* ReferencePictureTable(hb_face_t*, hb_tag_t tag, void* face) {
    constexpr hb_tag_t c_outlines[] = {HB_TAG('g', 'l', 'y', 'f'), HB_TAG('C', 'F', 'F', ' '),
                                       HB_TAG('C', 'F', 'F', '2')};
    if (std::find(std::begin(c_outlines), std::end(c_outlines), tag) != std::end(c_outlines))
        return nullptr;
    return hb_face_reference_table(static_cast<hb_face_t*>(face), tag);
}

Renderer::Colour ToColour(hb_color_t colour) {
    auto const part = [](unsigned value) { return static_cast<float>(value) / 255; };
    return Renderer::Colour::FromRGB(part(hb_color_get_red(colour)), part(hb_color_get_green(colour)),
                                     part(hb_color_get_blue(colour)), part(hb_color_get_alpha(colour)));
}

std::vector<hb_color_t> ReadFirstPalette(hb_face_t* face) {
    unsigned count = hb_ot_color_palette_get_colors(face, 0, 0, nullptr, nullptr);
    std::vector<hb_color_t> colours(count);
    hb_ot_color_palette_get_colors(face, 0, 0, &count, colours.data());
    colours.resize(count);
    return colours;
}

// Null for what is no PNG file or larger than pictures of letters are.
Kernel::Counted<Raster::DynamicBitmap const> DecodePicture(std::span<std::byte const> file) {
    constexpr std::array<unsigned char, 8> c_signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (file.size() < c_signature.size() || std::memcmp(file.data(), c_signature.data(), c_signature.size()) != 0)
        return {};
    try {
        auto const info = Raster::ReadImageInfo(file);
        if (std::max(info.width, info.height) > c_maximumPictureSide)
            return {};
        auto bitmap = Raster::MakeBitmapFromImage(Raster::DecodeImage(file), Raster::MipmapMode::OnDemand);
        // Colours of a picture without a profile are sRGB's, whatever the document's own are.
        if (!bitmap->GetProfile())
            bitmap->SetProfile(
                Raster::ICCManager::GetInstance().GetDefaultProfile(bitmap->GetBase()->GetInfo().colourModel));
        return bitmap;
    } catch (Kernel::Exception const&) {
        return {};
    }
}

} // namespace

Kernel::Counted<Geometry::PolyCurveDbl const> ColourGlyph::MakeOutline() const {
    auto outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& layer : layers)
        outline->AddPolyCurve(*layer.outline);
    if (picture) {
        outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(
            Geometry::RectDbl{0, 0, double(picture->GetWidth()), double(picture->GetHeight())});
        outline->ApplyTransform(pixelsToEm);
    }
    return outline;
}

ColourGlyphs::ColourGlyphs(hb_face_t* face)
    : m_face(hb_face_reference(face)),
      m_pictures(hb_face_create_for_tables(ReferencePictureTable, hb_face_reference(face),
                                           [](void* original) { hb_face_destroy(static_cast<hb_face_t*>(original)); })),
      m_hasLayers(hb_ot_color_has_layers(face) != 0) {
    hb_face_set_upem(m_pictures.get(), hb_face_get_upem(face));
    hb_face_set_glyph_count(m_pictures.get(), hb_face_get_glyph_count(face));
    hb_face_make_immutable(m_pictures.get());
    if (hb_ot_color_has_png(face) != 0)
        ReadStrikes();
}

ColourGlyphs::~ColourGlyphs() = default;

// OpenType 1.9: a record of "CBLC" has 48 bytes, with the pixels per em as two bytes from the 44th on; "sbix" has the
// places of its strikes, which begin with theirs.
void ColourGlyphs::ReadStrikes() {
    std::set<unsigned> sizes;
    Table const places(hb_face_reference_table(m_face.get(), HB_TAG('C', 'B', 'L', 'C')));
    auto const cblc = GetBytes(places);
    for (std::size_t i = 0; i != std::min<std::size_t>(ReadNumber(cblc, 4, 4), c_maximumStrikes); ++i)
        sizes.insert(std::max(ReadNumber(cblc, 8 + i * 48 + 44, 1), ReadNumber(cblc, 8 + i * 48 + 45, 1)));
    Table const strikes(hb_face_reference_table(m_face.get(), HB_TAG('s', 'b', 'i', 'x')));
    auto const sbix = GetBytes(strikes);
    for (std::size_t i = 0; i != std::min<std::size_t>(ReadNumber(sbix, 4, 4), c_maximumStrikes); ++i)
        sizes.insert(ReadNumber(sbix, ReadNumber(sbix, 8 + i * 4, 4), 2));
    sizes.erase(0);
    m_strikes.assign(sizes.begin(), sizes.end());
}

ColourGlyphRef ColourGlyphs::MakeLayers(FontFace const& outlines, unsigned glyph) const {
    unsigned count = hb_ot_color_glyph_get_layers(m_face.get(), glyph, 0, nullptr, nullptr);
    if (count == 0 || count > c_maximumLayers)
        return {};
    std::vector<hb_ot_color_layer_t> layers(count);
    hb_ot_color_glyph_get_layers(m_face.get(), glyph, 0, &count, layers.data());
    layers.resize(count);
    auto const palette = ReadFirstPalette(m_face.get());
    auto made = Kernel::MakeCounted<ColourGlyph>();
    std::size_t segments = 0;
    for (auto const& layer : layers) {
        auto outline = outlines.GetOutline(layer.glyph);
        if (!outline)
            continue;
        segments += outline->GetSegmentCount();
        if (segments > c_maximumLayerSegments)
            return {};
        std::optional<Renderer::Colour> colour;
        // 0xFFFF stands for the text's own fill, which takes the place of colours that the palette lacks, too.
        if (layer.color_index < palette.size())
            colour = ToColour(palette[layer.color_index]);
        made->layers.push_back({std::move(outline), colour});
    }
    return made->layers.empty() ? ColourGlyphRef() : ColourGlyphRef(made);
}

ColourGlyphRef ColourGlyphs::MakePicture(unsigned glyph, unsigned pixelsPerEm) const {
    std::unique_ptr<hb_font_t, Destroy<hb_font_destroy>> const font(hb_font_create(m_pictures.get()));
    auto const scale = static_cast<int>(std::clamp(hb_face_get_upem(m_pictures.get()), 16u, 16384u));
    hb_font_set_scale(font.get(), scale, scale);
    hb_font_set_ppem(font.get(), pixelsPerEm, pixelsPerEm);
    Table const file(hb_ot_color_glyph_reference_png(font.get(), glyph));
    if (GetBytes(file).empty())
        return {};
    hb_glyph_extents_t box{};
    if (hb_font_get_glyph_extents(font.get(), glyph, &box) == 0 || box.width <= 0 || box.height >= 0)
        return {};
    auto const toEm = [&](int units) { return static_cast<double>(units) / scale; };
    // Nothing sensible is a hundred ems away.
    auto const isSane = [&](int units) { return std::fabs(toEm(units)) < 100; };
    if (!isSane(box.width) || !isSane(box.height) || !isSane(box.x_bearing) || !isSane(box.y_bearing))
        return {};
    auto picture = DecodePicture(GetBytes(file));
    if (!picture)
        return {};
    auto made = Kernel::MakeCounted<ColourGlyph>();
    made->pixelsToEm = Geometry::Transform({toEm(box.width) / picture->GetWidth(), 0, toEm(box.x_bearing), 0,
                                            toEm(-box.height) / picture->GetHeight(), toEm(-box.y_bearing)});
    made->picture = std::move(picture);
    return made;
}

template <class Make>
ColourGlyphRef ColourGlyphs::Keep(unsigned glyph, unsigned pixelsPerEm, Make const& make) const {
    std::pair const key(glyph, pixelsPerEm);
    {
        std::lock_guard const lock(m_mutex);
        if (auto const found = m_kept.find(key); found != m_kept.end())
            return found->second;
    }
    ColourGlyphRef made = make();
    std::size_t const bytes = made && made->picture
                                  ? std::size_t(made->picture->GetWidth()) * std::size_t(made->picture->GetHeight()) * 4
                                  : 0;
    std::lock_guard const lock(m_mutex);
    if (m_keptBytes + bytes > c_maximumKeptBytes || m_kept.size() >= c_maximumKept) {
        m_kept.clear();
        m_keptBytes = 0;
    }
    m_keptBytes += bytes;
    return m_kept.emplace(key, std::move(made)).first->second;
}

ColourGlyphRef ColourGlyphs::FindPicture(unsigned glyph, double pixelsPerEm) const {
    auto const find = [&](unsigned strike) { return Keep(glyph, strike, [&] { return MakePicture(glyph, strike); }); };
    auto const first =
        std::find_if(m_strikes.begin(), m_strikes.end(), [&](unsigned strike) { return !(strike < pixelsPerEm); });
    for (auto larger = first; larger != m_strikes.end(); ++larger) {
        if (auto found = find(*larger))
            return found;
    }
    for (auto smaller = first; smaller != m_strikes.begin();) {
        if (auto found = find(*--smaller))
            return found;
    }
    return {};
}

ColourGlyphRef ColourGlyphs::Find(FontFace const& outlines, unsigned glyph, double pixelsPerEm) const {
    if (m_hasLayers) {
        if (auto layers = Keep(glyph, 0, [&] { return MakeLayers(outlines, glyph); }))
            return layers;
    }
    return m_strikes.empty() ? ColourGlyphRef() : FindPicture(glyph, pixelsPerEm);
}

} // namespace Story
