// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/renderer/raster_render_target.h"
#include "platform/renderer/rendering_filter.h"

#include <optional>

// The kinds of content that are drawn, and how.
struct DrawnContent {
    bool fills = true;
    bool lines = true;
    bool bitmaps = true;
    bool texts = true;
    // Hidden nodes, as if they were not.
    bool hidden = false;
    // Whether clipping content clips.
    bool clips = true;
    // Of bitmaps that are drawn smaller than they are, and of all others.
    Renderer::Resampling reducing = Renderer::Resampling::Bilinear;
    Renderer::Resampling enlarging = Renderer::Resampling::Bilinear;
};

// Draws nodes of a document into a render target: pictures, exports and thumbnails all go through here. Colours are
// meant in the profiles of the document that the nodes stand in.
class REDRAFT_ENGINE DocumentRenderer {
public:
    explicit DocumentRenderer(Kernel::Counted<Renderer::RenderTarget> target) : m_target(std::move(target)) {}

    // Everything on a spread, in spread space.
    void DrawSpread(SpreadNode const& spread) { DrawTree(spread); }
    // A node with all below it, in the space of its parent, or in its own where it has no place.
    void DrawTree(Node const& node);
    // One node with all below it, where it stands on its spread. Hidden nodes draw nothing.
    void DrawNode(Node const& node);
    // These count as hidden.
    void LeaveOut(std::vector<Kernel::Counted<Node const>> nodes) { m_leftOut = std::move(nodes); }
    void SetContent(DrawnContent const& content) { m_content = content; }
    // Decides which objects are drawn; null: all are.
    void SetFilter(Kernel::Counted<Renderer::RenderingFilter> filter) { m_filter = std::move(filter); }

private:
    Kernel::Counted<Renderer::RenderTarget> m_target;
    DrawnContent m_content;
    Kernel::Counted<Renderer::RenderingFilter> m_filter;
    std::vector<Kernel::Counted<Node const>> m_leftOut;
};

struct SpreadPictureOptions {
    // The visible area, in spread space; empty: the spread's box.
    Kernel::RectT<double> area;
    // Pixels a document unit.
    double scale = 1;
    Raster::Format format = Raster::FormatRGBA8;
    // The colour space of the pixels; empty: the document's profiles.
    std::optional<Raster::ICCProfileSet> profiles;
    Renderer::Colour background = Renderer::Colour::FromRGB(1, 1, 1);
    // Polled while pixels are made when it is not null.
    bool const* abort = nullptr;
    // Only these are drawn, each with what is below it; empty: everything on the spread.
    std::vector<Kernel::Counted<Node const>> nodes;
    // Nodes that count as hidden.
    std::vector<Kernel::Counted<Node const>> leftOut;
};

// The profiles of the document that a node stands in; the defaults outside of documents.
REDRAFT_ENGINE Raster::ICCProfileSet GetDocumentProfiles(Node const& node);

// Throws Kernel::Exception when a picture of so many pixels would be nothing or too large to be one.
REDRAFT_ENGINE void CheckPictureSize(double width, double height);

// The picture's size in pixels: the area's, scaled, rounded up. Throws Kernel::Exception when it is nothing or too
// large to be a picture.
REDRAFT_ENGINE Kernel::SizeT<int> GetSpreadPictureSize(SpreadNode const& spread, SpreadPictureOptions const& options);

// A target with the spread, or the nodes, drawn into it, whose pixels are made when they are asked for.
REDRAFT_ENGINE Kernel::Counted<Renderer::RasterRenderTarget> MakeSpreadPicture(SpreadNode const& spread,
                                                                               SpreadPictureOptions const& options);
