// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

namespace Commands {

// Functions without branches or tables, for loops that become vector code. They give the same bits on every machine,
// which the standard library's do not. Coefficients: S. L. Moshier, Methods and Programs for Mathematical Functions,
// 1989 (Cephes, sin.c and atan.c); errors are below 2 units in the last place.

// The largest angle, either way, that keeps that precision.
inline constexpr double c_largestAngle = 1e5;

// Sine and cosine of an angle in radians.
[[gnu::always_inline]] inline void SineAndCosine(double angle, double& sine, double& cosine) {
    constexpr double c_twoOverPi = 0.63661977236758134308;
    // Adding and taking away 1.5 * 2^52 rounds to the nearest whole number.
    constexpr double c_rounder = 6755399441055744.0;
    double const quadrant = (angle * c_twoOverPi + c_rounder) - c_rounder;
    // Half of pi in three parts, the first two short enough for exact products.
    double const r = ((angle - quadrant * 1.57079625129699707031) - quadrant * 7.54978941586159635336e-8) -
                     quadrant * 5.39030285815811905290e-15;
    double const z = r * r;
    double const sineOfRest =
        r + r * z *
                (((((1.58962301576546568060e-10 * z - 2.50507477628578072866e-8) * z + 2.75573136213857245213e-6) * z -
                   1.98412698295895385996e-4) *
                      z +
                  8.33333333332211858878e-3) *
                     z -
                 1.66666666666666307295e-1);
    double const cosineOfRest =
        1.0 - 0.5 * z +
        z * z *
            (((((-1.13585365213876817300e-11 * z + 2.08757008419747316778e-9) * z - 2.75573141792967388112e-7) * z +
               2.48015872888517045348e-5) *
                  z -
              1.38888888888730564116e-3) *
                 z +
             4.16666666666665929218e-2);
    // The quadrant modulo 4 as -2, -1, 0, 1 or 2, in doubles: integers of their width are slow in vectors.
    double const turn = quadrant - 4.0 * ((quadrant * 0.25 + c_rounder) - c_rounder);
    bool const isOdd = (turn == 1.0) | (turn == -1.0);
    double const s = isOdd ? cosineOfRest : sineOfRest;
    double const c = isOdd ? sineOfRest : cosineOfRest;
    bool const isHalf = (turn == 2.0) | (turn == -2.0);
    sine = (isHalf | (turn == -1.0)) ? -s : s;
    cosine = (isHalf | (turn == 1.0)) ? -c : c;
}

// The angle of the vector (x, y) from the x axis, -pi to pi; 0 for (0, 0). Finite numbers.
[[gnu::always_inline]] inline double ArcTangent(double y, double x) {
    constexpr double c_pi = 3.14159265358979323846, c_halfPi = 1.57079632679489661923, c_quarterPi = c_halfPi / 2;
    double const ax = x < 0 ? -x : x, ay = y < 0 ? -y : y;
    double const larger = ax > ay ? ax : ay, smaller = ax > ay ? ay : ax;
    bool const isSteep = smaller > larger * 0.66;
    // The tangent of an angle up to an eighth of pi, or of one that is a quarter of pi away from it.
    double const above = isSteep ? smaller - larger : smaller;
    double const below = isSteep ? smaller + larger : larger;
    double const t = above / (below > 0 ? below : 1.0);
    double const z = t * t;
    double const p =
        (((-8.750608600031904122785e-1 * z - 1.615753718733365076637e1) * z - 7.500855792314704667340e1) * z -
         1.228866684490136173410e2) *
            z -
        6.485021904942025371773e1;
    double const q =
        ((((z + 2.485846490142306297962e1) * z + 1.650270098316988542046e2) * z + 4.328810604912902668951e2) * z +
         4.853903996359136964868e2) *
            z +
        1.945506571482613964425e2;
    double angle = t + t * (z * p / q);
    angle = isSteep ? c_quarterPi + (angle + 3.061616997868382943065e-17) : angle;
    angle = ay > ax ? c_halfPi - angle : angle;
    angle = x < 0 ? c_pi - angle : angle;
    return y < 0 ? -angle : angle;
}

} // namespace Commands
