// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/renderer/raster_render_target.h"

// Draws nodes of a document into a render target: pictures, exports and thumbnails all go through here.
class REDRAFT_ENGINE DocumentRenderer {
public:
    explicit DocumentRenderer(Kernel::Counted<Renderer::RenderTarget> target) : m_target(std::move(target)) {}

    // Everything on a spread, in spread space.
    void DrawSpread(SpreadNode const& spread);
    // One node with all below it, where it stands on its spread. Hidden nodes draw nothing.
    void DrawNode(Node const& node);
    // These count as hidden.
    void LeaveOut(std::vector<Kernel::Counted<Node const>> nodes) { m_leftOut = std::move(nodes); }

private:
    Kernel::Counted<Renderer::RenderTarget> m_target;
    std::vector<Kernel::Counted<Node const>> m_leftOut;
};

struct SpreadPictureOptions {
    // The visible area, in spread space; empty: the spread's box.
    Kernel::RectT<double> area;
    // Pixels a document unit.
    double scale = 1;
    Raster::Format format = Raster::FormatRGBA8;
    Renderer::Colour background = Renderer::Colour::FromRGB(1, 1, 1);
    // Polled while pixels are made when it is not null.
    bool const* abort = nullptr;
    // Only these are drawn, each with what is below it; empty: everything on the spread.
    std::vector<Kernel::Counted<Node const>> nodes;
    // Nodes that count as hidden.
    std::vector<Kernel::Counted<Node const>> leftOut;
};

// The picture's size in pixels: the area's, scaled, rounded up. Throws Kernel::Exception when it is nothing or too
// large to be a picture.
REDRAFT_ENGINE Kernel::SizeT<int> GetSpreadPictureSize(SpreadNode const& spread, SpreadPictureOptions const& options);

// A target with the spread, or the nodes, drawn into it, whose pixels are made when they are asked for.
REDRAFT_ENGINE Kernel::Counted<Renderer::RasterRenderTarget> MakeSpreadPicture(SpreadNode const& spread,
                                                                               SpreadPictureOptions const& options);
