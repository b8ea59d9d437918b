// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/filter_graph.h"
#include "engine/renderer/surface.h"

namespace Renderer::Detail {

// Blurs one plane of `in`, outside of which all samples are 0, into the same plane of `out`. Deviations are in pixels;
// one of 0 leaves its axis alone.
//
// A deviation below 2 is a Gaussian, a larger one three boxes (W3C Filter Effects 1, 9.14). The sums of the boxes are
// exact, so that a pixel does not depend on where its row was begun.
void BlurPlane(Surface const& in, int plane, double deviationX, double deviationY, Surface& out);

} // namespace Renderer::Detail
