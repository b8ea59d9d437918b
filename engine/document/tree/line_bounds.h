// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"
#include "platform/raster/affine_transform.h"
#include "platform/renderer/line_style.h"

#include <optional>

// The area of a line along the outline, in the space that `toSpread` leads to. Exact for straight segments and their
// joins and caps; along cubics it may reach half a width too far at their ends. Lines with arrow heads or a pressure
// profile get a box that they surely stay in. Empty where the outline has no finite bounds.
Kernel::RectT<double> GetLineBounds(Geometry::PolyCurveDbl const& outline,
                                    Renderer::LineStyleDescriptorConst const& line,
                                    Raster::AffineTransform::Params const& toSpread);

// A box in the space that `toSpread` leads to that surely holds both the outline's bounds and those of its line, which
// may be null. Much larger than they are where the line has mitres, but found without walking the segments. Nothing
// where the outline has no points or some number is not finite.
std::optional<Kernel::RectT<double>> FindRoomOfLine(Geometry::PolyCurveDbl const& outline,
                                                    Renderer::LineStyleDescriptorConst const* line,
                                                    Raster::AffineTransform::Params const& toSpread);
