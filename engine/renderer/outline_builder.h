// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/polygons.h"
#include "platform/renderer/line_style.h"

#include <optional>

namespace Renderer::Detail {

// How far flattened curves, round joins and round caps may lie from the true ones, in pixels.
inline constexpr double c_flatteningTolerance = 1.0 / 32;

// Adds the outlines of the curves in pixels, open ones closed by a line. Detail outside `visible` may be left out.
void AddFillOutline(Geometry::PolyCurveDbl const& curves, Transform const& toPixels, RectDbl const& visible,
                    Polygons& out);

enum class LineParts { All, Closed, Open };

struct LineRequest {
    LineStyleDescriptorConst const& style;
    Transform toPixels;
    // Scale of lines that do not scale with their object.
    double scalar = 1;
    RectDbl visible;
    LineParts parts = LineParts::All;
    // Factor of the weight.
    double widthFactor = 1;
};

// Bounds of the curves' points and controls in pixels, of those curves that are finite; empty when none is.
std::optional<RectDbl> GetHullBounds(Geometry::PolyCurveDbl const& curves, Transform const& toPixels);
// How far the line reaches from the curves, in pixels.
double GetLineReach(LineRequest const& request);

// Adds the outline of the line along the curves, in pixels, with its dashes and arrow heads; to be filled with the
// non-zero rule.
void AddLineOutline(Geometry::PolyCurveDbl const& curves, LineRequest const& request, Polygons& out);

} // namespace Renderer::Detail
