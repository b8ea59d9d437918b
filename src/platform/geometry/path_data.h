// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/poly_curve.h"

#include <optional>
#include <string>
#include <string_view>

namespace Geometry {

struct PathDataError {
    // Byte at which reading stopped.
    std::size_t offset = 0;
    std::string message;
};

struct PathData {
    // Never null; holds everything before the error, as SVG asks for.
    Kernel::Counted<PolyCurveDbl> curves;
    std::optional<PathDataError> error;
};

// Reads SVG path data: the grammar of SVG 2, 9.3, and what SVG 1.1 allows beyond it ("5." is a number). Quadratics are
// raised to cubics, arcs turned into cubics by the notes of SVG 1.1, F.6. Numbers are read alike in every locale; one
// that overflows a double, or arithmetic that does, is an error.
REDRAFT_ENGINE PathData ReadPathData(std::string_view text);

// Absolute commands M, L, H, V, C and Z with the fewest separators. `digits` below 0 writes each number in the
// shortest form that reads back the same; otherwise numbers are rounded to so many decimals, at most 17. Throws
// Kernel::Exception for a coordinate that is not finite, which path data cannot hold.
REDRAFT_ENGINE std::string WritePathData(PolyCurveDbl const& curves, int digits = -1);

} // namespace Geometry
