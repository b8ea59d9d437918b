// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/curve_part.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace Geometry::Planar {

// Two curves that run side by side in about one direction. Chords tell which of them lies to the left only where they
// are nearer to their curves than these are to each other; here the difference of the curves themselves tells it, so
// that chords may be as long as the curves' bend allows, however narrow the gap.

// How far one section lies to the left of another (where y grows upwards), seen along a direction.
struct Offsets {
    // Between these at every place along both.
    double low = 0, high = 0;
    // At both ends.
    double atLeft = 0, atRight = 0;
    // Grows or falls all the way and passes zero, as far as can be told.
    bool crossesOnce = false;
};

// A section of a cubic or line in coordinates in which x grows all along it.
class Strand {
public:
    // `origin` and the unit vector `along` make the coordinates. Empty where the section turns back in them.
    static std::optional<Strand> Make(Segment const& curve, double t0, double t1, PointDbl origin, PointDbl along);

    double left = 0, right = 0;
    // Parameters at the left and at the right end; the first is the greater one where the curve runs to the left.
    double tLeft = 0, tRight = 1;

    // The parameter at x, which lies between the ends.
    double FindParameter(double x) const;
    double HeightAt(double x) const;
    // The section between two parameters, the one of lower x first, as a cubic that runs to the right.
    Segment Cut(double from, double to) const;

private:
    // The whole curve.
    Segment m_curve;
};

// Of `b` from `a`, both as Strand::Cut gives them and between the same two x; empty where they turn too far.
std::optional<Offsets> GetOffsets(Segment const& a, Segment const& b);

// The relation of two curves whose chords are too coarse for their distance to decide it, and the cuts that decide it.
struct Alongside {
    enum class Outcome {
        // The curves do not run in about one direction, or bend too far.
        Neither,
        Apart,
        Cross,
        // One or both are to be cut.
        Cut,
    };
    Outcome outcome = Outcome::Neither;
    std::optional<double> cutFirst, cutSecond;
    // Where the curves cross: the cuts are to be there.
    std::optional<GridPoint> meeting;
    // The curves count as one here and the chords are as good as the curves: only rounding is between them.
    bool isRounding = false;
};

// Whether two parts lie to each other as their chords do, to within the coincidence distance, and where to cut them if
// they do not. Where they cross they are cut, so that the crossing is an end of chords and need not be found from them:
// at so small angles chords cross far from where the curves do.
Alongside RelateAlongside(Segment const& curve, GridSegment const& s, CurvePart const& part, Segment const& otherCurve,
                          GridSegment const& q, CurvePart const& otherPart);

} // namespace Geometry::Planar
