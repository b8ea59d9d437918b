// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/scanner.h"
#include "platform/raster/affine_transform.h"

#include <optional>
#include <string_view>

namespace Formats::Svg {

using Matrix = Raster::AffineTransform::Params;

// The nearest viewport, in user units: what percentages refer to.
struct Viewport {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    // The length that a percentage of neither direction refers to (SVG 1.1, section 7.10).
    double GetDiagonal() const;
    friend bool operator==(Viewport const&, Viewport const&) = default;
};

// A transform list: SVG 1.1's grammar and, beside it, the two-dimensional functions of CSS Transforms 1 with their
// units. `none` and the empty list are the identity. Empty on an error and when the product is not finite.
std::optional<Matrix> ParseTransform(std::string_view text, Viewport const& viewport, FontSizes const& sizes);

// The `transform-origin` of CSS Transforms 1, section 5, with the viewport as reference box.
std::optional<Kernel::PointT<double>> ParseTransformOrigin(std::string_view text, Viewport const& viewport,
                                                           FontSizes const& sizes);

bool IsFinite(Matrix const& matrix);
bool IsFinite(Kernel::RectT<double> const& rect);
// Numbers are written without the sign of zero: documents hold none, so that they come back equal.
inline Matrix WithoutNegativeZeros(Matrix const& m) {
    return {m.a + 0.0, m.b + 0.0, m.tx + 0.0, m.c + 0.0, m.d + 0.0, m.ty + 0.0};
}
inline Matrix Translation(double x, double y) { return {1, 0, x, 0, 1, y}; }
inline Matrix Scale(double x, double y) { return {x, 0, 0, 0, y, 0}; }

// `viewBox`: a rectangle in user units; empty on an error. Zero sizes are given back: they hide the element.
std::optional<Viewport> ParseViewBox(std::string_view text);

// `preserveAspectRatio` (SVG 1.1, section 7.8).
struct AspectRatio {
    // Where the content lies in spare room: 0 left or top, 0.5 in the middle, 1 right or bottom.
    double alignX = 0.5;
    double alignY = 0.5;
    bool stretch = false;
    bool slice = false;
    friend bool operator==(AspectRatio const&, AspectRatio const&) = default;
};
std::optional<AspectRatio> ParseAspectRatio(std::string_view text);

// Maps `from` into `to`. Both must have an area.
Matrix FitTransform(Viewport const& from, Viewport const& to, AspectRatio const& aspect);

} // namespace Formats::Svg
