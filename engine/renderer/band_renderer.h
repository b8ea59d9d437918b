// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/canvas.h"
#include "engine/renderer/coverage_maker.h"
#include "engine/renderer/span_painter.h"

#include <memory>
#include <span>
#include <vector>

namespace Renderer::Detail {

// Draws a display list into one rectangle of the picture. One thread each.
class BandRenderer {
public:
    // `outlines` has one entry for each draw; where it is null the outlines are made here.
    BandRenderer(DisplayList const& list, WorkingSpace const& space,
                 std::vector<std::unique_ptr<ItemOutlines const>> const& outlines)
        : m_list(list), m_space(space), m_outlines(outlines) {}

    // Draws over what the canvas shows; its planes are the working space's colours and alpha. `commands` are the
    // indexes of those that have an effect there, in their order. Throws Kernel::AbortException when *abort, which may
    // be null, becomes true.
    void Draw(Canvas& canvas, std::span<std::uint32_t const> commands, bool const* abort);

private:
    // Where drawing goes to: the band itself or a layer.
    struct Target {
        Canvas* surface = nullptr;
        std::unique_ptr<Canvas> owned;
        LayerOptions options;
        // The backdrop when a layer that is not isolated began; empty for others.
        std::unique_ptr<Surface> backdrop;
        // How many clips there were when it began; those of its own end with it.
        std::size_t clipDepth = 0;
        bool isMask = false;
    };
    struct Clip {
        RectInt bounds;
        // One plane over the bounds; null: all of them show.
        std::shared_ptr<Surface const> mask;
    };

    void DrawOne(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect);
    void DrawLine(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect);
    void DrawAlignedLine(DrawItem const& item, ItemOutlines const& outlines, RectInt const& rect);
    template <class F>
    void Sweep(Shape const& shape, RectInt const& rect, Geometry::WindingOrderMode winding, bool antialias, F&& emit);
    void Paint(Shape const& shape, RectInt const& rect, Geometry::WindingOrderMode winding, bool antialias,
               SpanPainter::Paint const& paint);
    std::unique_ptr<Surface> MakeMask(Shape const& shape, RectInt const& rect, Geometry::WindingOrderMode winding,
                                      bool antialias);

    void PushClip(Command const& command);
    // Returns false when nothing of the layer can be seen here.
    bool PushLayer(Command const& command);
    void PopLayer();
    void CompositeLayer(Target const& layer, int y, int left, int right, Surface const* mask);
    bool BeginMask(Command const& command);
    void EndMask(Command const& command);
    void MultiplyByClip(Surface& mask) const;
    RectInt GetLimit() const { return m_clips.back().bounds.Intersected(m_targets.back().surface->GetBounds()); }

    DisplayList const& m_list;
    WorkingSpace const& m_space;
    std::vector<std::unique_ptr<ItemOutlines const>> const& m_outlines;
    CellRasteriser m_rasteriser;
    ItemOutlines m_made;
    SpanPainter::Scratch m_scratch;
    std::vector<Target> m_targets;
    std::vector<Clip> m_clips;
};

} // namespace Renderer::Detail
