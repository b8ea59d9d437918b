// SPDX-License-Identifier: Apache-2.0
#include "formats/pictures/own_pixels.h"

#include "platform/document/generated_image_node.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <cmath>

namespace Formats {

namespace {

using Params = Raster::AffineTransform::Params;

// Of a pixel: what lies so near to another edge lies on it.
constexpr double c_edgeTolerance = 0.01;
constexpr double c_relativeTolerance = 1e-6;

struct PlacedBitmap {
    SceneNode const* node;
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    Params toSpread;

    // Pixels a unit, along the finer side.
    double GetScale() const {
        return 1 / std::min(std::hypot(toSpread.a, toSpread.c), std::hypot(toSpread.b, toSpread.d));
    }
    Kernel::RectT<double> GetBounds() const {
        double const width = bitmap->GetWidth(), height = bitmap->GetHeight();
        double const left = toSpread.tx + std::min(0.0, toSpread.a * width) + std::min(0.0, toSpread.b * height);
        double const top = toSpread.ty + std::min(0.0, toSpread.c * width) + std::min(0.0, toSpread.d * height);
        return {left, top, left + std::abs(toSpread.a) * width + std::abs(toSpread.b) * height,
                top + std::abs(toSpread.c) * width + std::abs(toSpread.d) * height};
    }
};

// The bitmaps below some nodes, and whether anything else is drawn there.
struct Contents {
    std::vector<PlacedBitmap> bitmaps;
    bool hasOthers = false;
    // Opacity, blending or a clip comes into it.
    bool isChanged = false;
};

bool HasClip(Node const& node) {
    for (Node const* clip = node.GetFirstChild(NodeChildListType::Clipping); clip != nullptr;
         clip = clip->GetNextSibling()) {
        if (clip->IsContent())
            return true;
    }
    return false;
}

void AddContent(Node const& node, Contents& contents) {
    auto const* const raster = Kernel::CastPointer<RasterNode const>(&node);
    auto const* const image = Kernel::CastPointer<ImageNode const>(&node);
    auto const* const generated = Kernel::CastPointer<GeneratedImageNode const>(&node);
    auto const bitmap = raster != nullptr      ? raster->GetBitmap()
                        : image != nullptr     ? image->GetImage()
                        : generated != nullptr ? generated->GetShownBitmap()
                                               : nullptr;
    auto const toNode = generated != nullptr ? generated->GetShownTransform() : Params();
    if (bitmap && !bitmap->IsEmpty())
        contents.bitmaps.push_back(
            {Kernel::CastPointer<SceneNode const>(&node), bitmap, node.GetBaseToSpreadTransform() * toNode});
    // A placed image has an outline that may be drawn with a line.
    bool const isGroup = Kernel::CastPointer<GroupNode const>(&node) != nullptr;
    bool const isScene = Kernel::CastPointer<SceneNode const>(&node) != nullptr;
    contents.hasOthers = contents.hasOthers || (isScene && raster == nullptr && generated == nullptr && !isGroup);
}

Contents GatherContents(std::vector<Kernel::Counted<Node const>> const& nodes) {
    Contents contents;
    std::vector<Node const*> pending;
    pending.reserve(nodes.size());
    for (auto const& node : nodes)
        pending.push_back(node.get());
    while (!pending.empty()) {
        Node const& node = *pending.back();
        pending.pop_back();
        if (auto const* scene = Kernel::CastPointer<SceneNode const>(&node)) {
            if (!scene->IsVisible() || scene->GetOpacity() == 0)
                continue;
            contents.isChanged =
                contents.isChanged || scene->GetOpacity() != 1 || scene->GetBlendMode() != Renderer::BlendMode::Normal;
        }
        contents.isChanged = contents.isChanged || HasClip(node);
        AddContent(node, contents);
        if (!node.DrawsChildren())
            continue;
        for (Node const* child = node.GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            pending.push_back(child);
    }
    return contents;
}

// Empty for a bitmap that is turned by anything but a multiple of a quarter, or skewed.
std::optional<Raster::Orientation> FindOrientation(Params const& m) {
    using enum Raster::Orientation;
    double const small = c_relativeTolerance * std::max({std::abs(m.a), std::abs(m.b), std::abs(m.c), std::abs(m.d)});
    if (std::abs(m.b) <= small && std::abs(m.c) <= small)
        return m.a > 0 ? (m.d > 0 ? TopLeft : BottomLeft) : (m.d > 0 ? TopRight : BottomRight);
    if (std::abs(m.a) <= small && std::abs(m.d) <= small)
        return m.b > 0 ? (m.c > 0 ? LeftTop : LeftBottom) : (m.c > 0 ? RightTop : RightBottom);
    return std::nullopt;
}

bool Covers(PlacedBitmap const& placed, Kernel::RectT<double> const& area) {
    auto const bounds = placed.GetBounds();
    double const tolerance = c_edgeTolerance / placed.GetScale();
    return bounds.left <= area.left + tolerance && bounds.top <= area.top + tolerance &&
           bounds.right >= area.right - tolerance && bounds.bottom >= area.bottom - tolerance;
}

bool Fills(PlacedBitmap const& placed, Kernel::RectT<double> const& area) {
    auto const bounds = placed.GetBounds();
    double const tolerance = c_edgeTolerance / placed.GetScale();
    return Covers(placed, area) && bounds.left >= area.left - tolerance && bounds.top >= area.top - tolerance &&
           bounds.right <= area.right + tolerance && bounds.bottom <= area.bottom + tolerance;
}

std::optional<OwnPicture> FindPicture(Contents const& contents, Kernel::RectT<double> const& area) {
    if (contents.bitmaps.size() != 1 || contents.hasOthers || contents.isChanged)
        return std::nullopt;
    auto const& placed = contents.bitmaps.front();
    auto const orientation = FindOrientation(placed.toSpread);
    if (!orientation || !Fills(placed, area))
        return std::nullopt;
    auto const& m = placed.toSpread;
    bool const isTurned = *orientation >= Raster::Orientation::LeftTop;
    return OwnPicture{placed.bitmap, *orientation, c_unitsPerInch / std::abs(isTurned ? m.b : m.a),
                      c_unitsPerInch / std::abs(isTurned ? m.c : m.d)};
}

std::optional<double> FindScale(Contents const& contents, Kernel::RectT<double> const& area) {
    std::optional<double> finest;
    bool areEqual = true;
    for (auto const& placed : contents.bitmaps) {
        double const scale = placed.GetScale();
        double const first = contents.bitmaps.front().GetScale();
        areEqual = areEqual && std::abs(scale - first) <= c_relativeTolerance * first;
        if (Covers(placed, area) && (!finest || scale > *finest))
            finest = scale;
    }
    if (!contents.bitmaps.empty() && areEqual && !contents.hasOthers)
        return contents.bitmaps.front().GetScale();
    return finest;
}

} // namespace

OwnPixels FindOwnPixels(std::vector<Kernel::Counted<Node const>> const& nodes, Kernel::RectT<double> const& area) {
    auto const contents = GatherContents(nodes);
    OwnPixels own;
    own.picture = FindPicture(contents, area);
    own.scale = FindScale(contents, area);
    if (own.scale && !(std::isfinite(*own.scale) && *own.scale > 0))
        own.scale.reset();
    return own;
}

} // namespace Formats
