// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_renderer.h"
#include "platform/raster/dynamic_buffer.h"
#include "platform/raster/resampler_type.h"

#include <memory>

namespace Renderer {
class PictureParts;
}

struct Node::NodeRenderOptions {
    // These count as hidden.
    std::vector<Kernel::Counted<Node const>> leftOut;
};

// Pixels of a node with all below it, as a source for runs over bitmaps. The picture of a spread begins at the corner
// of its box, that of any other node at the origin of its parent's space.
//
// The document is read while a run begins; who makes one sees to it that nothing edits the node meanwhile.
class REDRAFT_ENGINE DynamicNodeRenderingEngine {
public:
    DynamicNodeRenderingEngine();
    ~DynamicNodeRenderingEngine();

    // `filter` may be null: everything is drawn. `transform` maps that space, from the picture's corner on, to
    // pixels; `level` halves it so many times. `linear`: RGB is mixed as linear light. `down` and `up` are for bitmaps
    // that are drawn smaller than they are, and for others. The flags say what is drawn: `fills`, `lines`, `bitmaps`,
    // `texts`, nodes that are `hidden`; whether `clips` hold; whether white lies below everything (`opaque`); and
    // whether tiles are made by the calling thread alone (`serial`).
    //
    // Exception for a size that no picture has; formats without pixels have no tiles, and nothing is checked for them.
    void Create(Kernel::Counted<Node const> node, Node::NodeRenderOptions const& options,
                Kernel::Counted<Renderer::RenderingFilter> filter, int width, int height,
                Raster::AffineTransform::Params transform, Raster::ResamplerType down, Raster::ResamplerType up,
                bool linear, int level, Raster::Format format, Raster::ICCManager::ICCProfileSet profiles, bool fills,
                bool lines, bool bitmaps, bool texts, bool hidden, bool clips, bool opaque, bool serial,
                Renderer::RenderTarget::BlockTextMode blockTextMode);

    // One run: the drawing is recorded when it begins and serves all its tiles, as do the outlines that are made of it.
    class REDRAFT_ENGINE Run {
    public:
        // Tiles lie in `region`, which lies in the picture. `abort` may be null.
        Run(DynamicNodeRenderingEngine const& engine, Kernel::RectT<int> const& region, bool const* abort);
        ~Run();
        // The pixels of a tile; fastest from top to bottom. The buffer serves the next tile of its size, unless the
        // caller has kept it. Work that one thread does may go to devices that the program has named; what a device
        // that failed has made is made again without. Throws Kernel::AbortException when *abort becomes true,
        // Kernel::DamagedDataException when pixels of a bitmap cannot be read.
        Kernel::Counted<Raster::DynamicBuffer> RenderTile(Kernel::RectT<int> const& tile);

    private:
        Raster::Format m_format;
        bool m_isSerial = false;
        Kernel::Counted<Raster::DynamicBuffer> m_pixels;
        std::unique_ptr<Renderer::PictureParts> m_parts;
    };

private:
    struct Settings;
    std::unique_ptr<Settings> m_settings;
};
