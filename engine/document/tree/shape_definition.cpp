// SPDX-License-Identifier: Apache-2.0
#include "platform/document/shape_definition.h"

#include "platform/geometry/shapes.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int c_minimumStarPoints = 3;
constexpr int c_maximumStarPoints = 1000;

Kernel::Counted<Geometry::PolyCurveDbl const> AsPolyCurve(Kernel::Counted<Geometry::CurveDbl> curve) {
    return Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve);
}

bool IsFinite(Kernel::RectT<double> const& box) {
    return std::isfinite(box.left) && std::isfinite(box.top) && std::isfinite(box.right) && std::isfinite(box.bottom);
}

} // namespace

Kernel::Counted<Geometry::PolyCurveDbl const> RectangleShape::ComputeCurves() const {
    if (!IsFinite(box))
        return {};
    if (!(cornerRadius.x > 0) || !(cornerRadius.y > 0) || !std::isfinite(cornerRadius.x + cornerRadius.y))
        return AsPolyCurve(Geometry::MakeRectangle(box));
    Kernel::PointT<double> const radius{std::min(cornerRadius.x, std::fabs(box.GetWidth()) / 2),
                                        std::min(cornerRadius.y, std::fabs(box.GetHeight()) / 2)};
    return AsPolyCurve(Geometry::MakeRoundedRectangle(box, {radius, radius, radius, radius}));
}

Kernel::Counted<Geometry::PolyCurveDbl const> EllipseShape::ComputeCurves() const {
    if (!IsFinite(box))
        return {};
    return AsPolyCurve(Geometry::MakeEllipse(box));
}

Kernel::Counted<Geometry::PolyCurveDbl const> StarShape::ComputeCurves() const {
    if (!IsFinite(box) || std::isnan(innerRadiusRatio))
        return {};
    auto const points = std::clamp(pointCount, c_minimumStarPoints, c_maximumStarPoints);
    auto const star =
        Geometry::MakeStar({0, 0}, 1, std::clamp(innerRadiusRatio, 0.0, 1.0), static_cast<unsigned>(points), 0);
    star->ApplyTransform(Geometry::Transform(
        {box.GetWidth() / 2, 0, (box.left + box.right) / 2, 0, box.GetHeight() / 2, (box.top + box.bottom) / 2}));
    return AsPolyCurve(star);
}
