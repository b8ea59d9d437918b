// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/blend.h"
#include "engine/renderer/canvas.h"
#include "engine/renderer/cell_rasteriser.h"
#include "engine/renderer/painter.h"

#include <vector>

namespace Renderer::Detail {

// Composites a fill where coverage comes in, run by run.
class SpanPainter {
public:
    // Memory that one painter after another uses.
    struct Scratch {
        std::vector<float> coverage;
        std::vector<float> pixels;
    };
    struct Paint {
        FillSource const* fill = nullptr;
        // Its alpha multiplies the coverage; null: 1.
        FillSource const* second = nullptr;
        // One plane that multiplies the coverage, over at least the pixels that come in; null: 1.
        Surface const* mask = nullptr;
        BlendMode mode = BlendMode::Normal;
    };

    // `rect` holds all pixels that will come in. A target with one plane more than the working space's has the alpha
    // of its layer in it.
    SpanPainter(WorkingSpace const& space, Canvas& target, Paint const& paint, Kernel::RectT<int> const& rect,
                Scratch& scratch);

    // Runs come in rows from the top and from left to right. Finish ends the last one.
    void Add(int y, int left, int right, std::uint32_t coverage);
    void Finish() { Flush(); }
    // A row of coverages from 0 to 1.
    void AddRow(int y, int left, float const* coverage, int count);

private:
    void Flush();
    // Paints a run that nothing multiplies.
    void PaintRun(int y, int left, int right, float coverage);
    void Composite(int y, int left, float* coverage, int count);
    BlendTarget OpenTarget(int y, int left, int right) const;
    BlendTarget GetTarget(int x, int y) const;

    WorkingSpace const& m_space;
    Canvas& m_target;
    Paint m_paint;
    Scratch& m_scratch;
    // Normal mode on a target without a layer's alpha: full coverage by opaque paint replaces what is there.
    bool m_replaces;
    std::unique_ptr<Painter> m_painter;
    std::unique_ptr<Painter> m_secondPainter;
    // Coverages that have come in one after another and are not painted yet.
    int m_y = 0;
    int m_left = 0;
    int m_count = 0;
};

} // namespace Renderer::Detail
