// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/filter_graph.h"
#include "engine/renderer/surface.h"
#include "engine/renderer/working_space.h"

#include <functional>
#include <memory>

namespace Renderer::Detail {

// Pixels of a result: planes of the working space over a rectangle, clear outside.
struct FilterImage {
    // Null: clear everywhere.
    std::shared_ptr<Surface const> pixels;
    // Colours are light, as linear primitives mix them; else they are as the working space holds them, or encoded.
    bool isLinear = false;
    // Every colour plane is 0.
    bool isAlphaOnly = false;
};

// Computes what a filter makes of a drawing, for any part of a grid. Pixels do not depend on the part.
//
// Colours are mixed in the working space. RGB and grey become light for primitives that ask for it; CMYK and Lab are
// mixed as they are. Colour matrices and transfers, which speak of red, green and blue, convert by the plain rules of
// Colour. One serves all threads.
class FilterEvaluator {
public:
    // Draws the source graphic's pixels in a rectangle.
    using DrawSource = std::function<std::shared_ptr<Surface const>(RectInt const&)>;

    FilterEvaluator(Kernel::Counted<Filter const> filter, Transform const& toGrid, WorkingSpace const& space,
                    Raster::ICCProfileSet const& documentProfiles);

    FilterGraph const& GetGraph() const { return m_graph; }
    // Where the result paints, for a source graphic that paints inside `content`.
    RectDbl GetBounds(RectDbl const& content) const;
    // The pixels in a rectangle, in the working space; null where they are clear. Throws Kernel::AbortException when
    // *abort, which may be null, becomes true.
    std::shared_ptr<Surface const> Evaluate(RectInt const& rect, RectDbl const& content, DrawSource const& draw,
                                            bool const* abort) const;

private:
    class Run;

    Kernel::Counted<Filter const> m_filter;
    FilterGraph m_graph;
    WorkingSpace const& m_space;
    Raster::ICCProfileSet m_profiles;
};

} // namespace Renderer::Detail
