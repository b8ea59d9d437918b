// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"
#include "platform/document/document_renderer.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Formats::Svg {

namespace {

// Patterns within patterns, as deep as they are drawn.
constexpr std::size_t c_maximumPatternDepth = 8;

// Of the drawings of all patterns, counted once for each place of a tile in its content's space.
constexpr std::size_t c_maximumSteps = std::size_t{1} << 20;

bool HasFiniteSides(Viewport const& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.width) && std::isfinite(v.height);
}

// Equal but for rounding.
bool IsNear(Matrix const& a, Matrix const& b) {
    auto const near = [](double x, double y) { return std::abs(x - y) <= 1e-9 * std::max(std::abs(x), std::abs(y)); };
    return near(a.a, b.a) && near(a.b, b.b) && near(a.tx, b.tx) && near(a.c, b.c) && near(a.d, b.d) && near(a.ty, b.ty);
}

} // namespace

// The content's space begins at the tile's corner where no viewBox places it (SVG 2, 14.3.1).
std::optional<Importer::PatternTile> Importer::FindTile(Element const& user, Pattern const& pattern,
                                                        Kernel::RectT<double> const& box) {
    bool const isOfBox = pattern.units == Units::ObjectBoundingBox;
    Viewport const& viewport = user.GetViewport();
    double const width = isOfBox ? box.GetWidth() : viewport.width,
                 height = isOfBox ? box.GetHeight() : viewport.height;
    auto resolve = [&](Length length, double extent) {
        return isOfBox ? length.Resolve(1) * extent : length.Resolve(extent);
    };
    Viewport area{resolve(pattern.x, width), resolve(pattern.y, height), resolve(pattern.width, width),
                  resolve(pattern.height, height)};
    if (isOfBox) {
        area.x += box.left;
        area.y += box.top;
    }
    PatternTile tile;
    if (pattern.viewBox) {
        if (!(pattern.viewBox->width > 0 && pattern.viewBox->height > 0))
            return std::nullopt;
        tile.fromContent = FitTransform(*pattern.viewBox, area, pattern.aspect);
    } else {
        bool const isScaled = pattern.contentUnits == Units::ObjectBoundingBox;
        tile.fromContent = Translation(area.x, area.y);
        if (isScaled)
            tile.fromContent = tile.fromContent * Scale(box.GetWidth(), box.GetHeight());
    }
    auto const& m = tile.fromContent;
    tile.area = {(area.x - m.tx) / m.a, (area.y - m.ty) / m.d, area.width / m.a, area.height / m.d};
    bool const isUsable = IsFinite(m) && HasFiniteSides(area) && HasFiniteSides(tile.area) && tile.area.width > 0 &&
                          tile.area.height > 0 && std::abs(m.GetDeterminant()) > 1e-128;
    return isUsable ? std::optional(tile) : std::nullopt;
}

// A pattern that is one bitmap laid over its tile is that bitmap; of another one the fill holds what it draws.
PaintImporter::FillPointer Importer::MakePatternFill(Element const& user, Pattern const& pattern, double opacity,
                                                     Kernel::RectT<double> const& box) {
    auto const tile = FindTile(user, pattern, box);
    Matrix const toUser = pattern.transform;
    if (!tile || !IsFinite(toUser) || !(std::abs(toUser.GetDeterminant()) > 1e-128))
        return {};
    if (m_patternDepth >= c_maximumPatternDepth) {
        m_drawing.GetReport().Add("patterns within patterns beyond 8 deep", user.Describe());
        return {};
    }
    Kernel::PointT<double> const origin{tile->area.x, tile->area.y};
    auto& known = m_patternDrawings[{pattern.content.GetNode(), origin.x, origin.y}];
    if (!known) {
        auto const content = Kernel::MakeCounted<GroupNode>();
        BuildPatternContent(pattern, *content);
        if (auto fill = MakeBitmapFill(pattern, *content, *tile, opacity))
            return fill;
        known = RecordPattern(*content, origin);
        m_patternSteps += known->GetSteps().size();
    }
    if (m_patternSteps > c_maximumSteps)
        return {};
    if (known->GetSteps().empty())
        return Kernel::MakeCounted<Renderer::FillDescriptor>();
    Matrix const toFill = toUser * tile->fromContent * Translation(origin.x, origin.y);
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::MakeConsolidated<Renderer::PatternFill>(
            known, Kernel::SizeT<double>{tile->area.width, tile->area.height}, opacity),
        true, WithoutNegativeZeros(toFill), Renderer::BlendMode::Normal, false);
}

// Paints of a context are not those of whoever uses the pattern.
void Importer::BuildPatternContent(Pattern const& pattern, GroupNode& content) {
    ContextPaints const outer = std::exchange(m_contextPaints, {});
    ++m_patternDepth;
    BuildChildren(pattern.content, content);
    --m_patternDepth;
    m_contextPaints = outer;
}

// Null where the content is not one bitmap that covers the tile exactly.
PaintImporter::FillPointer Importer::MakeBitmapFill(Pattern const& pattern, GroupNode const& content,
                                                    PatternTile const& tile, double opacity) {
    auto const* const only = content.GetFirstChild(NodeChildListType::Plain);
    auto const* const raster = only == nullptr ? nullptr : Kernel::CastPointer<RasterNode const>(only);
    if (raster == nullptr || only->GetNextSibling() != nullptr || !raster->IsVisible() ||
        raster->GetBlendMode() != Renderer::BlendMode::Normal || raster->HasChildren(NodeChildListType::Clipping))
        return {};
    auto const bitmap = raster->GetBitmap();
    Matrix const fromPixels = Translation(tile.area.x, tile.area.y) *
                              Scale(tile.area.width / bitmap->GetWidth(), tile.area.height / bitmap->GetHeight());
    if (!IsNear(raster->GetMatrix(), fromPixels))
        return {};
    bool const isSmooth = pattern.content.GetFirstChild()->GetStyle().smoothImages;
    return Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::MakeConsolidated<Renderer::BitmapFill>(
            bitmap, Renderer::TileMode::Repeat, Renderer::TileMode::Repeat,
            isSmooth ? Renderer::Resampling::Bilinear : Renderer::Resampling::Nearest, opacity * raster->GetOpacity()),
        true, WithoutNegativeZeros(pattern.transform * tile.fromContent * fromPixels), Renderer::BlendMode::Normal,
        false);
}

// A recording of the content, in a space that begins at the tile's corner.
Kernel::Counted<Renderer::RecordedDrawing const> Importer::RecordPattern(GroupNode const& content,
                                                                         Kernel::PointT<double> const& origin) {
    auto const recorder =
        Kernel::MakeCounted<Renderer::DrawingRecorder>(Geometry::Transform::Translation(-origin.x, -origin.y));
    DocumentRenderer(recorder).DrawNode(content);
    return recorder->GetDrawing();
}

} // namespace Formats::Svg
