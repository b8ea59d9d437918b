// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/renderer/filter.h"

#include <vector>

namespace Renderer::Detail {

using Geometry::RectDbl;
using Geometry::Transform;
using RectInt = Kernel::RectT<int>;

// An input that is no primitive's result; results are numbered from 0.
inline constexpr int c_sourceGraphic = -1;
inline constexpr int c_sourceAlpha = -2;

// One primitive with its lengths in the pixels of a grid.
struct FilterStep {
    FilterPrimitive const* primitive = nullptr;
    std::vector<int> inputs;
    // Nothing is painted outside.
    RectDbl subregion;
    double deviationX = 0, deviationY = 0;
    double offsetX = 0, offsetY = 0;
};

// Of a primitive; a merge has as many as it is given.
std::size_t CountInputs(FilterPrimitive const& primitive);

// How far the result of a blur reaches beyond its input, in pixels.
int GetBlurReach(double deviation);

// The primitives of a filter that needs no box, laid over a grid of pixels whose axes are those of the filter's space,
// turned by quarters and mirrored as may be.
class FilterGraph {
public:
    FilterGraph(Filter const& filter, Transform const& toGrid);

    std::vector<FilterStep> const& GetSteps() const { return m_steps; }
    // Where the filter and everything in it may paint.
    RectDbl const& GetRegion() const { return m_region; }

    // For each step, and behind them for the source graphic, where it may paint when the source graphic paints inside
    // `content`. `atAnyScale`: also on finer and coarser grids than this one.
    std::vector<RectDbl> FindBounds(RectDbl const& content, bool atAnyScale = false) const;
    // For each step, and behind them for the source graphic, the pixels of it that `wanted` pixels of the result are
    // made of, as far as each paints.
    std::vector<RectInt> FindNeeds(RectInt const& wanted, std::vector<RectDbl> const& bounds) const;
    // How many pixels around one of the source graphic the result may change in, at most: by the larger axis.
    double GetReach() const;

private:
    std::vector<FilterStep> m_steps;
    RectDbl m_region;
};

// All pixels that the rectangle touches, but for rounding; those beyond 2^28 are left out.
RectInt TouchedPixels(RectDbl const& rect);

} // namespace Renderer::Detail
