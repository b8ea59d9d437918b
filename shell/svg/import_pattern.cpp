// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_renderer.h"
#include "platform/kernel/cast.h"
#include "platform/raster/conversion.h"
#include "shell/svg/importer.h"

#include <algorithm>
#include <cmath>

namespace Shell::Svg {

namespace {

// A tile is drawn with this many pixels for one of the page, so that the document can be enlarged somewhat.
constexpr double c_oversampling = 2;
constexpr double c_minimumSide = 8;
constexpr double c_maximumSide = 2048;
// Of all tiles of a drawing.
constexpr std::uint64_t c_maximumTilePixels = std::uint64_t{1} << 26;

// Drawn tiles of one size that a further one is compared with.
constexpr int c_mostComparisons = 64;

// What a tile is in the space that `patternTransform` leads from.
struct Tile {
    Viewport area;
    // From the content's space.
    Matrix fromContent;
};

std::optional<Tile> FindTile(Element const& user, Pattern const& pattern, Kernel::RectT<double> const& box) {
    bool const isOfBox = pattern.units == Units::ObjectBoundingBox;
    Viewport const& viewport = user.GetViewport();
    double const width = isOfBox ? box.GetWidth() : viewport.width,
                 height = isOfBox ? box.GetHeight() : viewport.height;
    auto resolve = [&](Length length, double extent) {
        return isOfBox ? length.Resolve(1) * extent : length.Resolve(extent);
    };
    Tile tile;
    tile.area = {resolve(pattern.x, width), resolve(pattern.y, height), resolve(pattern.width, width),
                 resolve(pattern.height, height)};
    if (isOfBox) {
        tile.area.x += box.left;
        tile.area.y += box.top;
    }
    if (pattern.viewBox) {
        if (!(pattern.viewBox->width > 0 && pattern.viewBox->height > 0))
            return std::nullopt;
        tile.fromContent = FitTransform(*pattern.viewBox, tile.area, pattern.aspect);
    } else if (pattern.contentUnits == Units::ObjectBoundingBox) {
        tile.fromContent = Translation(box.left, box.top) * Scale(box.GetWidth(), box.GetHeight());
    }
    bool const isFinite = IsFinite(tile.fromContent) && std::isfinite(tile.area.x) && std::isfinite(tile.area.y) &&
                          std::isfinite(tile.area.width) && std::isfinite(tile.area.height);
    return isFinite && tile.area.width > 0 && tile.area.height > 0 ? std::optional(tile) : std::nullopt;
}

Kernel::Counted<Raster::DynamicBitmap> Draw(GroupNode const& content, Tile const& tile, Kernel::SizeT<int> size) {
    Renderer::RasterOptions options;
    options.width = size.width;
    options.height = size.height;
    options.documentToPixels = Scale(size.width / tile.area.width, size.height / tile.area.height) *
                               Translation(-tile.area.x, -tile.area.y) * tile.fromContent;
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    DocumentRenderer(target).DrawNode(content);
    auto const pixels = target->Render({0, 0, size.width, size.height});
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(size.width, size.height, options.format);
    auto const copy = Raster::PixelConverter::MakePlain(options.format, options.format);
    Raster::ConvertPixels(*pixels, bitmap->GetMutableBase(), {0, 0}, *copy);
    return bitmap;
}

} // namespace

// A pattern that is one bitmap laid over its tile is that bitmap; another one is drawn.
PaintImporter::FillPointer Importer::MakePatternFill(Element const& user, Pattern const& pattern, double opacity,
                                                     Kernel::RectT<double> const& box) {
    auto const tile = FindTile(user, pattern, box);
    Matrix const toUser = pattern.transform;
    if (!tile || !IsFinite(toUser) || !(std::abs(toUser.GetDeterminant()) > 1e-128))
        return {};
    auto const content = Kernel::MakeCounted<GroupNode>();
    BuildChildren(pattern.content, *content);
    auto const* const only = content->GetFirstChild(NodeChildListType::Plain);
    if (only == nullptr)
        return Kernel::MakeCounted<Renderer::FillDescriptor>();
    auto describe = [&](Kernel::Counted<Raster::DynamicBitmap const> const& bitmap, Renderer::Resampling resampling,
                        double alpha) -> PaintImporter::FillPointer {
        Matrix const fromPixels = Translation(tile->area.x, tile->area.y) *
                                  Scale(tile->area.width / bitmap->GetWidth(), tile->area.height / bitmap->GetHeight());
        return Kernel::MakeCounted<Renderer::FillDescriptor>(
            Kernel::MakeConsolidated<Renderer::BitmapFill>(bitmap, Renderer::TileMode::Repeat,
                                                           Renderer::TileMode::Repeat, resampling, alpha),
            true, WithoutNegativeZeros(toUser * fromPixels), Renderer::BlendMode::Normal, false);
    };
    if (auto const* raster = Kernel::CastPointer<RasterNode const>(only);
        raster != nullptr && only->GetNextSibling() == nullptr && raster->IsVisible() &&
        raster->GetBlendMode() == Renderer::BlendMode::Normal) {
        auto const bitmap = raster->GetBitmap();
        Matrix const fromPixels = Translation(tile->area.x, tile->area.y) *
                                  Scale(tile->area.width / bitmap->GetWidth(), tile->area.height / bitmap->GetHeight());
        if (tile->fromContent * raster->GetMatrix() == fromPixels) {
            bool const isSmooth = pattern.content.GetFirstChild()->GetStyle().smoothImages;
            return describe(bitmap, isSmooth ? Renderer::Resampling::Bilinear : Renderer::Resampling::Nearest,
                            opacity * raster->GetOpacity());
        }
    }
    Matrix const toPage = m_toPage * toUser;
    auto side = [&](double length, double x, double y) {
        double const pixels = std::hypot(x, y) * length * c_oversampling;
        return static_cast<int>(
            std::ceil(std::clamp(std::isfinite(pixels) ? pixels : 0, c_minimumSide, c_maximumSide)));
    };
    Kernel::SizeT<int> const size{side(tile->area.width, toPage.a, toPage.c),
                                  side(tile->area.height, toPage.b, toPage.d)};
    m_tilePixels += static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height);
    if (m_tilePixels > c_maximumTilePixels)
        return {};
    m_drawing.GetReport().Add("pattern drawn as a bitmap", user.Describe());
    return describe(FindEqualTile(Draw(*content, *tile, size)), Renderer::Resampling::Bilinear, opacity);
}

Kernel::Counted<Raster::DynamicBitmap const>
Importer::FindEqualTile(Kernel::Counted<Raster::DynamicBitmap> const& tile) {
    auto const size =
        static_cast<std::uint64_t>(tile->GetWidth()) << 32 | static_cast<std::uint32_t>(tile->GetHeight());
    auto const [first, last] = m_tiles.equal_range(size);
    int left = c_mostComparisons;
    for (auto other = first; other != last && left != 0; ++other, --left) {
        if (other->second->GetBase()->HasEqualPixels(*tile->GetBase()))
            return other->second;
    }
    return m_tiles.emplace(size, tile)->second;
}

} // namespace Shell::Svg
