// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "formats/svg/image_source.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/bitmap_image.h"

#include <algorithm>
#include <optional>

namespace Formats::Svg {

void Exporter::WriteImage(XmlWriter& out, Raster::DynamicBitmap const& bitmap, std::string const& png) {
    out.Attribute("width", static_cast<double>(bitmap.GetWidth()));
    out.Attribute("height", static_cast<double>(bitmap.GetHeight()));
    out.Attribute("preserveAspectRatio", "none");
    out.Attribute("xlink:href", "data:image/png;base64," + EncodeBase64(png));
}

std::string Exporter::EncodeOrCount(Raster::DynamicBitmap const* bitmap, Node const& node) {
    if (bitmap == nullptr || bitmap->IsEmpty())
        return {};
    try {
        std::string png;
        auto const tagged = Raster::WithProfileOf(Kernel::Counted<Raster::DynamicBitmap const>(bitmap), m_profiles);
        Raster::EncodeBitmap(*tagged, {}, [&](std::span<std::byte const> bytes) {
            png.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        });
        auto const format = bitmap->GetFormat();
        if (format != Raster::FormatRGBA8 && format != Raster::FormatRGBA16 && format != Raster::FormatIA8 &&
            format != Raster::FormatIA16)
            m_report.Add("bitmap converted for PNG", Describe(node));
        return png;
    } catch (Kernel::Exception const& failed) {
        m_report.Add("bitmap (" + std::string(failed.what()) + ")", Describe(node));
        return {};
    }
}

void Exporter::WriteBitmap(SceneNode const& node, Raster::DynamicBitmap const* bitmap, Step const& step) {
    std::string const png = EncodeOrCount(bitmap, node);
    std::string_view const element = png.empty() ? "g" : "image";
    m_out.Open(element);
    WriteCommon(node, step);
    if (!png.empty())
        WriteImage(m_out, *bitmap, png);
    EndLeaf(node, step, element);
}

namespace {

Kernel::RectT<double> GetPixels(Renderer::BitmapFill const& fill) {
    return {0, 0, static_cast<double>(fill.GetBitmap()->GetWidth()),
            static_cast<double>(fill.GetBitmap()->GetHeight())};
}

// Of a bitmap that shows once: a tile, in pixels, so large that the shape meets no second one.
std::optional<Kernel::RectT<double>> FindRoomOfOne(Renderer::FillDescriptorConst const& paint,
                                                   Renderer::BitmapFill const& fill, Node const& node) {
    auto const* const curves = Kernel::CastPointer<CurvesNode const>(&node);
    auto const outline = curves == nullptr ? nullptr : curves->GetOutline();
    auto const bounds = outline ? outline->GetBounds() : std::nullopt;
    if (fill.GetTileModeX() != Renderer::TileMode::Clear || fill.GetTileModeY() != Renderer::TileMode::Clear || !bounds)
        return {};
    auto const shape = paint.GetTransform().GetInverse().Apply(*bounds);
    auto const pixels = GetPixels(fill);
    constexpr double c_margin = 1;
    return Kernel::RectT<double>{
        std::min(pixels.left, shape.left) - c_margin, std::min(pixels.top, shape.top) - c_margin,
        std::max(pixels.right, shape.right) + c_margin, std::max(pixels.bottom, shape.bottom) + c_margin};
}

} // namespace

std::string Exporter::DefinePattern(Renderer::FillDescriptorConst const& paint, Node const& node) {
    auto const& fill = static_cast<Renderer::BitmapFill const&>(*paint.GetFill());
    std::string const png = EncodeOrCount(fill.GetBitmap().get(), node);
    if (png.empty())
        return {};
    auto const room = FindRoomOfOne(paint, fill, node);
    bool const isRepeated =
        fill.GetTileModeX() == Renderer::TileMode::Repeat && fill.GetTileModeY() == Renderer::TileMode::Repeat;
    if (!isRepeated && !room)
        m_report.Add("bitmap fill that is not repeated", Describe(node));
    auto const tile = room.value_or(GetPixels(fill));
    XmlWriter out;
    out.Attribute("patternUnits", "userSpaceOnUse");
    if (tile.left != 0)
        out.Attribute("x", tile.left);
    if (tile.top != 0)
        out.Attribute("y", tile.top);
    out.Attribute("width", tile.GetWidth());
    out.Attribute("height", tile.GetHeight());
    if (!paint.GetTransform().IsIdentity())
        out.Attribute("patternTransform", paint.GetTransform());
    out.EndStart();
    out.Open("image");
    WriteImage(out, *fill.GetBitmap(), png);
    if (fill.GetOpacity() != 1)
        out.Attribute("opacity", fill.GetOpacity());
    if (fill.GetResampling() == Renderer::Resampling::Nearest)
        out.Attribute("image-rendering", "optimizeSpeed");
    out.EndEmpty();
    out.Close("pattern");
    return Define("pattern", "pattern", out.GetText());
}

} // namespace Formats::Svg
