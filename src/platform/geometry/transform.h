// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <cmath>

namespace Geometry {

using PointDbl = Kernel::PointT<double>;
using RectDbl = Kernel::RectT<double>;

// An affine map of the plane, applied to column vectors: (a * b).Apply(p) == a.Apply(b.Apply(p)).
class Transform {
public:
    constexpr Transform() = default;
    constexpr Transform(Raster::AffineTransform::Params const& params) : m_params(params) {}

    static constexpr Transform Identity() { return {}; }
    static constexpr Transform Translation(double x, double y) { return Transform({1, 0, x, 0, 1, y}); }
    static constexpr Transform Scale(double x, double y) { return Transform({x, 0, 0, 0, y, 0}); }
    // Positive angles turn the x axis towards the y axis, which is clockwise on a page whose y grows downwards.
    REDRAFT_ENGINE static Transform Rotation(double angleRadians);

    constexpr Raster::AffineTransform::Params const& GetParams() const { return m_params; }
    constexpr bool IsIdentity() const { return m_params.IsIdentity(); }
    constexpr double GetDeterminant() const { return m_params.GetDeterminant(); }
    // A singular transform gives the inverse that Raster::AffineTransform::Params defines for it.
    constexpr Transform GetInverse() const { return m_params.GetInverse(); }
    // The factor of a uniform scale that changes areas as much: the root of the determinant's absolute value.
    double GetUniformScale() const { return std::sqrt(std::fabs(GetDeterminant())); }
    constexpr PointDbl Apply(PointDbl p) const { return m_params.Apply(p); }
    bool IsFinite() const {
        return std::isfinite(m_params.a) && std::isfinite(m_params.b) && std::isfinite(m_params.c) &&
               std::isfinite(m_params.d) && std::isfinite(m_params.tx) && std::isfinite(m_params.ty);
    }

    friend constexpr Transform operator*(Transform const& m, Transform const& first) {
        return m.m_params * first.m_params;
    }
    friend constexpr bool operator==(Transform const&, Transform const&) = default;

private:
    Raster::AffineTransform::Params m_params;
};

} // namespace Geometry
