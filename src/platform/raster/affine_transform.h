// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"

#include <cmath>

namespace Raster {

struct REDRAFT_ENGINE AffineTransform {
    // A 2D affine transform in row order: x' = a x + b y + tx, y' = c x + d y + ty.
    struct Params {
        double a = 1, b = 0, tx = 0;
        double c = 0, d = 1, ty = 0;

        constexpr bool IsIdentity() const { return *this == Params{}; }
        constexpr double GetDeterminant() const { return a * d - b * c; }
        constexpr Kernel::PointT<double> Apply(Kernel::PointT<double> p) const {
            return {a * p.x + b * p.y + tx, c * p.x + d * p.y + ty};
        }
        // The bounds of a transformed rectangle.
        Kernel::RectT<double> Apply(Kernel::RectT<double> const& r) const;

        // This transform after `first`: (*this * first).Apply(p) == Apply(first.Apply(p)).
        friend constexpr Params operator*(Params const& m, Params const& first) {
            return {m.a * first.a + m.b * first.c,          m.a * first.b + m.b * first.d,
                    m.a * first.tx + m.b * first.ty + m.tx, m.c * first.a + m.d * first.c,
                    m.c * first.b + m.d * first.d,          m.c * first.tx + m.d * first.ty + m.ty};
        }
        // Singular, that is with a determinant whose absolute value is not above 1e-128: a zero linear part and the
        // negated translation.
        constexpr Params GetInverse() const {
            double const determinant = GetDeterminant();
            if (!(determinant > 1e-128 || determinant < -1e-128))
                return {0, 0, -tx, 0, 0, -ty};
            double const ia = d / determinant, ib = -b / determinant;
            double const ic = -c / determinant, id = a / determinant;
            return {ia, ib, -(ia * tx + ib * ty), ic, id, -(ic * tx + id * ty)};
        }
        friend constexpr bool operator==(Params const&, Params const&) = default;
    };
};

} // namespace Raster
