// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/shapes.h"

#include "engine/geometry/deterministic_math.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace Geometry {

namespace {

// 4/3 tan(pi / 8): the controls of a quarter circle of radius 1.
constexpr double c_quarterControl = 0.55228474983079339840;

void CheckFinite(std::initializer_list<double> values) {
    for (double const value : values) {
        if (!std::isfinite(value))
            throw Kernel::Exception("a shape needs finite measures");
    }
}

// A quarter of an ellipse from `from` to `to`, both on the axes through the corner's centre; `corner` is where the end
// tangents meet.
void AppendQuarter(CurveDbl& curve, PointDbl from, PointDbl corner, PointDbl to) {
    curve.CubicTo({from.x + (corner.x - from.x) * c_quarterControl, from.y + (corner.y - from.y) * c_quarterControl},
                  {to.x + (corner.x - to.x) * c_quarterControl, to.y + (corner.y - to.y) * c_quarterControl}, to);
}

Kernel::Counted<CurveDbl> MakeRadialPolygon(PointDbl centre, double const (&radii)[2], unsigned corners,
                                            double rotationRadians) {
    CheckFinite({centre.x, centre.y, radii[0], radii[1], rotationRadians});
    auto const curve = Kernel::MakeCounted<CurveDbl>();
    for (unsigned i = 0; i != corners; ++i) {
        auto const [sine, cosine] = Detail::GetSineCosine(rotationRadians + 2 * Detail::c_pi * i / corners);
        PointDbl const p{centre.x + radii[i % 2] * sine, centre.y - radii[i % 2] * cosine};
        if (i == 0) {
            curve->MoveTo(p);
            curve->Reserve(corners, corners - 1);
        } else {
            curve->LineTo(p);
        }
    }
    curve->Close();
    return curve;
}

} // namespace

Kernel::Counted<CurveDbl> MakeEllipse(RectDbl const& r) {
    CheckFinite({r.left, r.top, r.right, r.bottom});
    PointDbl const centre{(r.left + r.right) / 2, (r.top + r.bottom) / 2};
    auto const curve = Kernel::MakeCounted<CurveDbl>();
    PointDbl const right{r.right, centre.y}, bottom{centre.x, r.bottom}, left{r.left, centre.y}, top{centre.x, r.top};
    curve->MoveTo(right);
    curve->Reserve(13, 4);
    AppendQuarter(*curve, right, {r.right, r.bottom}, bottom);
    AppendQuarter(*curve, bottom, {r.left, r.bottom}, left);
    AppendQuarter(*curve, left, {r.left, r.top}, top);
    AppendQuarter(*curve, top, {r.right, r.top}, right);
    curve->Close();
    return curve;
}

void AppendArc(CurveDbl& curve, Transform const& unitCircle, double startRadians, double sweepRadians) {
    // A little more than a quarter turn that comes from rounding makes no second piece.
    double const quarters = std::fabs(sweepRadians) / (Detail::c_pi / 2);
    int const pieces = std::clamp(static_cast<int>(std::ceil(quarters - 1e-9)), 1, 4);
    double const step = sweepRadians / pieces;
    auto const half = Detail::GetSineCosine(step / 4);
    double const control = 4.0 / 3.0 * half.sine / half.cosine;
    auto from = Detail::GetSineCosine(startRadians);
    for (int i = 1; i <= pieces; ++i) {
        auto const to = Detail::GetSineCosine(startRadians + step * i);
        curve.CubicTo(unitCircle.Apply({from.cosine - control * from.sine, from.sine + control * from.cosine}),
                      unitCircle.Apply({to.cosine + control * to.sine, to.sine - control * to.cosine}),
                      unitCircle.Apply({to.cosine, to.sine}));
        from = to;
    }
}

Kernel::Counted<CurveDbl> MakeArc(PointDbl centre, double radiusX, double radiusY, double startRadians,
                                  double sweepRadians, ArcClosing closing) {
    CheckFinite({centre.x, centre.y, radiusX, radiusY, startRadians, sweepRadians});
    double const sweep = std::clamp(sweepRadians, -2 * Detail::c_pi, 2 * Detail::c_pi);
    Transform const circle = Transform::Translation(centre.x, centre.y) * Transform::Scale(radiusX, radiusY);
    auto const [sine, cosine] = Detail::GetSineCosine(startRadians);
    auto const curve = Kernel::MakeCounted<CurveDbl>();
    curve->MoveTo(circle.Apply({cosine, sine}));
    AppendArc(*curve, circle, startRadians, sweep);
    if (closing == ArcClosing::Pie)
        curve->LineTo(centre);
    if (closing != ArcClosing::Open)
        curve->Close();
    curve->ShrinkToFit();
    return curve;
}

Kernel::Counted<CurveDbl> MakeRectangle(RectDbl const& rectangle) {
    CheckFinite({rectangle.left, rectangle.top, rectangle.right, rectangle.bottom});
    return PolyCurveDbl(rectangle).GetCurves().front();
}

Kernel::Counted<CurveDbl> MakeRoundedRectangle(RectDbl const& r, CornerRadii radii) {
    CheckFinite({r.left, r.top, r.right, r.bottom});
    for (PointDbl* const corner : {&radii.topLeft, &radii.topRight, &radii.bottomRight, &radii.bottomLeft}) {
        CheckFinite({corner->x, corner->y});
        if (corner->x < 0 || corner->y < 0)
            throw Kernel::Exception("a corner cannot have a negative radius");
        if (corner->x == 0 || corner->y == 0)
            *corner = {0, 0};
    }
    double const width = r.right - r.left, height = r.bottom - r.top;
    if (width < 0 || height < 0)
        throw Kernel::Exception("a rounded rectangle needs left before right and top before bottom");
    double factor = 1;
    auto const fit = [&factor](double sum, double side) {
        if (sum > side)
            factor = std::min(factor, side / sum);
    };
    fit(radii.topLeft.x + radii.topRight.x, width);
    fit(radii.bottomLeft.x + radii.bottomRight.x, width);
    fit(radii.topLeft.y + radii.bottomLeft.y, height);
    fit(radii.topRight.y + radii.bottomRight.y, height);
    for (PointDbl* const corner : {&radii.topLeft, &radii.topRight, &radii.bottomRight, &radii.bottomLeft})
        *corner = {corner->x * factor, corner->y * factor};

    auto const curve = Kernel::MakeCounted<CurveDbl>();
    curve->MoveTo({r.left + radii.topLeft.x, r.top});
    PointDbl at = curve->GetStart();
    auto const side = [&](PointDbl to) {
        if (to != at)
            curve->LineTo(to);
    };
    auto const corner = [&](PointDbl from, PointDbl tip, PointDbl to) {
        side(from);
        if (from != to)
            AppendQuarter(*curve, from, tip, to);
        at = to;
    };
    corner({r.right - radii.topRight.x, r.top}, {r.right, r.top}, {r.right, r.top + radii.topRight.y});
    corner({r.right, r.bottom - radii.bottomRight.y}, {r.right, r.bottom}, {r.right - radii.bottomRight.x, r.bottom});
    corner({r.left + radii.bottomLeft.x, r.bottom}, {r.left, r.bottom}, {r.left, r.bottom - radii.bottomLeft.y});
    corner({r.left, r.top + radii.topLeft.y}, {r.left, r.top}, {r.left + radii.topLeft.x, r.top});
    curve->Close();
    curve->ShrinkToFit();
    return curve;
}

Kernel::Counted<CurveDbl> MakeRegularPolygon(PointDbl centre, double radius, unsigned corners, double rotationRadians) {
    if (corners < 3 || corners > 1'000'000)
        throw Kernel::Exception("a regular polygon has 3 to 1000000 corners");
    return MakeRadialPolygon(centre, {radius, radius}, corners, rotationRadians);
}

Kernel::Counted<CurveDbl> MakeStar(PointDbl centre, double outerRadius, double innerRadius, unsigned points,
                                   double rotationRadians) {
    if (points < 2 || points > 1'000'000)
        throw Kernel::Exception("a star has 2 to 1000000 points");
    return MakeRadialPolygon(centre, {outerRadius, innerRadius}, 2 * points, rotationRadians);
}

} // namespace Geometry
