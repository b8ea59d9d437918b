// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/working_space.h"
#include "platform/renderer/blend_mode.h"

#include <cstddef>

namespace Renderer::Detail {

// Pixels in a row, as one pointer for each plane: colours multiplied by alpha, then alpha.
struct BlendTarget {
    float* planes[c_maximumColours + 1];
    // Alpha of what a layer that is not isolated has painted itself; null for other targets.
    float* groupAlpha = nullptr;
};

struct BlendSource {
    float const* planes[c_maximumColours + 1];
};

// B(cb, cs) of a separable mode, for values from 0 to 1: the rule that the loops are tested against. 0 for modes that
// are not separable.
float BlendComponent(BlendMode mode, float backdrop, float source);
// The same for modes that take the components of a pixel together; other modes leave `result` alone.
void BlendPixel(BlendMode mode, Raster::ColourModel model, float const* backdrop, float const* source, float* result);

// Composites `count` pixels over the target (W3C Compositing and Blending Level 1, section 5.1, source over):
//   co = cs as (1 - ab) + B(cb, cs) as ab + cb ab (1 - as),   ao = as + ab - as ab
// with the source's alpha, and colours, multiplied by the coverage: one for each pixel.
void Composite(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, BlendSource const& source,
               float const* coverage, std::size_t count);
// The same with one colour, given as a pixel multiplied by its alpha.
void CompositeColour(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, float const* pixel,
                     float const* coverage, std::size_t count);
// The same with one coverage.
void CompositeColour(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, float const* pixel,
                     float coverage, std::size_t count);

} // namespace Renderer::Detail
