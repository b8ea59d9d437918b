// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/deterministic_math.h"

#include <cmath>
#include <initializer_list>

namespace Geometry::Detail {

namespace {

// pi / 2 in three parts; the first two have so few bits that products with a small whole number are exact (W. J. Cody
// and W. Waite, "Software Manual for the Elementary Functions", 1980).
constexpr double c_halfPi1 = 0x1.921fb544p+0;
constexpr double c_halfPi2 = 0x1.0b4611a6p-34;
constexpr double c_halfPi3 = 0x1.3198a2e037073p-69;

// Taylor series; at pi / 4 the first term left out is below 1e-19.
double SineSeries(double r) {
    double const z = r * r;
    double sum = 1.0 / 355687428096000.0;
    for (double const divisor : {-1307674368000.0, 6227020800.0, -39916800.0, 362880.0, -5040.0, 120.0, -6.0})
        sum = sum * z + 1.0 / divisor;
    return r + r * z * sum;
}

double CosineSeries(double r) {
    double const z = r * r;
    double sum = -1.0 / 6402373705728000.0;
    for (double const divisor :
         {20922789888000.0, -87178291200.0, 479001600.0, -3628800.0, 40320.0, -720.0, 24.0, -2.0})
        sum = sum * z + 1.0 / divisor;
    return 1.0 + z * sum;
}

// Arc tangent of 0..1: the series around the nearest quarter.
double ArcTangentOfUnit(double z) {
    static constexpr double c_centres[] = {0.0, 0.24497866312686415417, 0.46364760900080611621, 0.64350110879328438680,
                                           0.78539816339744830962};
    int const nearest = static_cast<int>(z * 4.0 + 0.5);
    double const centre = nearest * 0.25;
    double const w = (z - centre) / (1.0 + z * centre);
    double const w2 = w * w;
    double sum = 0;
    for (int k = 17; k >= 3; k -= 2)
        sum = sum * w2 + ((k / 2) % 2 == 0 ? 1.0 : -1.0) / k;
    return c_centres[nearest] + (w + w * w2 * sum);
}

} // namespace

SineCosine GetSineCosine(double radians) {
    if (std::fabs(radians) > 1e5)
        radians = std::fmod(radians, 2 * c_pi);
    double const turns = std::floor(radians * (2 / c_pi) + 0.5);
    double const r = ((radians - turns * c_halfPi1) - turns * c_halfPi2) - turns * c_halfPi3;
    double const sine = SineSeries(r), cosine = CosineSeries(r);
    switch (static_cast<long long>(std::isfinite(turns) ? turns : 0) & 3) {
    case 0:
        return {sine, cosine};
    case 1:
        return {cosine, -sine};
    case 2:
        return {-sine, -cosine};
    default:
        return {-cosine, sine};
    }
}

double ArcTangent(double y, double x) {
    double const ax = std::fabs(x), ay = std::fabs(y);
    if (ax == 0 && ay == 0)
        return 0;
    double angle = ay <= ax ? ArcTangentOfUnit(ay / ax) : c_pi / 2 - ArcTangentOfUnit(ax / ay);
    if (x < 0)
        angle = c_pi - angle;
    return y < 0 ? -angle : angle;
}

} // namespace Geometry::Detail
