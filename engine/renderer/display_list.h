// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/coverage_runs.h"
#include "engine/renderer/outline_builder.h"
#include "engine/renderer/painter.h"
#include "platform/renderer/render_target.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace Renderer::Detail {

using RectInt = Kernel::RectT<int>;

// One outline with its paints, ready to be drawn into any part of the picture.
struct DrawItem {
    Kernel::Counted<Geometry::PolyCurveDbl const> curves;
    Transform toPixels;
    Geometry::WindingOrderMode winding = Geometry::WindingOrderMode::NonZero;
    BlendMode fillMode = BlendMode::Normal;
    BlendMode lineMode = BlendMode::Normal;
    bool antialias = true;
    // Null: no fill, no line, nothing that multiplies alpha.
    std::shared_ptr<FillSource const> fill;
    std::shared_ptr<FillSource const> line;
    std::shared_ptr<FillSource const> second;
    // Null without a line.
    std::shared_ptr<LineStyleDescriptorConst const> lineStyle;
};

// An outline in pixels: polygons, or in their place the coverage that they have.
struct Shape {
    Polygons polygons;
    std::optional<CoverageRuns> runs;

    bool empty() const { return runs ? runs->empty() : polygons.empty(); }
    std::size_t GetMemoryUse() const { return polygons.GetMemoryUse() + (runs ? runs->GetMemoryUse() : 0); }
    void Clear() {
        polygons.Clear();
        runs.reset();
    }
};

// The outlines of an item.
struct ItemOutlines {
    Shape fill;
    // The line, or with an alignment the centred line of the open curves.
    Shape line;
    // The doubled line of the closed curves, of which the part inside or outside the fill counts.
    Shape alignedLine;

    std::size_t GetMemoryUse() const {
        return sizeof *this + fill.GetMemoryUse() + line.GetMemoryUse() + alignedLine.GetMemoryUse();
    }
};

struct ClipItem {
    // Null: nothing shows.
    Kernel::Counted<Geometry::PolyCurveDbl const> curves;
    Transform toPixels;
    Geometry::WindingOrderMode winding = Geometry::WindingOrderMode::NonZero;
    // The clip is exactly its bounds.
    bool isPixelRectangle = false;
};

enum class CommandKind : std::uint8_t { Draw, PushClip, PopClip, BeginMask, EndMask, PushLayer, PopLayer };

// Beyond every list.
inline constexpr std::uint32_t c_openEnd = 0xFFFFFFFFu;

struct Command {
    CommandKind kind = CommandKind::Draw;
    // The index among the entries of its kind. For EndMask its BeginMask's.
    std::uint32_t index = 0;
    // Of PushLayer and BeginMask: the command that ends it, or c_openEnd.
    std::uint32_t match = c_openEnd;
    // Pixels outside are not touched. Of a clip: pixels outside do not show.
    RectInt bounds;
};

struct LayerItem {
    LayerOptions options;
    // Drawing straight into what lies below gives the same pixels.
    bool isTransparent = false;
};

// All that has been drawn, in order.
struct DisplayList {
    RectInt picture;
    double scalar = 1;
    std::vector<Command> commands;
    std::vector<DrawItem> draws;
    std::vector<ClipItem> clips;
    std::vector<LayerItem> layers;
    std::vector<MaskKind> masks;

    RectDbl GetVisible() const {
        return {static_cast<double>(picture.left), static_cast<double>(picture.top), static_cast<double>(picture.right),
                static_cast<double>(picture.bottom)};
    }
};

// Writes the polygons of an item over what the outlines hold; their memory is used again.
void MakeOutlines(DrawItem const& item, DisplayList const& list, ItemOutlines& outlines);

// The pixels that a rectangle touches, `margin` more on all sides, cut to the picture.
RectInt ToPixels(RectDbl const& bounds, double margin, RectInt const& picture);

} // namespace Renderer::Detail
