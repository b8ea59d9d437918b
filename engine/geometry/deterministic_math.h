// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Geometry::Detail {

// Trigonometry from the four operations only. The C library picks its code by processor, and the last bit of its
// results with it; what is stored in documents must not depend on that. Errors stay below 1 ulp of the larger of the
// result and 1e-16, for arguments below 1e5; larger ones are reduced by fmod first.
inline constexpr double c_pi = 3.14159265358979323846;

struct SineCosine {
    double sine;
    double cosine;
};

SineCosine GetSineCosine(double radians);
// As std::atan2, in -pi..pi.
double ArcTangent(double y, double x);

} // namespace Geometry::Detail
