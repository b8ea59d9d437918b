// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/poly_curve.h"

#include "platform/geometry/shapes.h"

#include <algorithm>

namespace Geometry {

PolyCurveDbl::PolyCurveDbl(Kernel::Counted<CurveDbl>& curve) { AddCurve(curve); }

PolyCurveDbl::PolyCurveDbl(RectDbl const& rectangle) {
    auto const curve = Kernel::MakeCounted<CurveDbl>();
    curve->MoveTo({rectangle.left, rectangle.top});
    curve->Reserve(4, 3);
    curve->LineTo({rectangle.right, rectangle.top});
    curve->LineTo({rectangle.right, rectangle.bottom});
    curve->LineTo({rectangle.left, rectangle.bottom});
    curve->Close();
    AddCurve(curve);
}

PolyCurveDbl::~PolyCurveDbl() = default;

bool PolyCurveDbl::empty() const {
    return std::ranges::all_of(m_curves, [](auto const& curve) { return curve->empty(); });
}

Kernel::Counted<PolyCurveDbl> PolyCurveDbl::Clone() const { return Kernel::MakeCounted<PolyCurveDbl>(*this); }

void PolyCurveDbl::ApplyTransform(Transform const& transform) {
    if (transform.IsIdentity())
        return;
    MarkChanged();
    for (auto& curve : m_curves) {
        curve = curve->Clone();
        curve->ApplyTransform(transform);
    }
}

void PolyCurveDbl::AddCurve(Kernel::Counted<CurveDbl> curve) {
    if (!curve)
        return;
    MarkChanged();
    m_curves.push_back(std::move(curve));
}

void PolyCurveDbl::AddPolyPolygon(PolyPolygonType<double> const& polygons) {
    for (auto const& polygon : polygons.polygons) {
        if (polygon.empty())
            continue;
        auto const curve = Kernel::MakeCounted<CurveDbl>();
        curve->MoveTo(polygon.front());
        curve->Reserve(polygon.size(), polygon.size() - 1);
        for (std::size_t i = 1; i < polygon.size(); ++i)
            curve->LineTo(polygon[i]);
        curve->Close();
        AddCurve(curve);
    }
}

void PolyCurveDbl::AddPolyCurve(PolyCurveDbl const& other) {
    MarkChanged();
    auto const added = other.m_curves;
    m_curves.insert(m_curves.end(), added.begin(), added.end());
}

void PolyCurveDbl::Clear() {
    MarkChanged();
    m_curves.clear();
}

std::size_t PolyCurveDbl::GetSegmentCount() const {
    std::size_t count = 0;
    for (auto const& curve : m_curves)
        count += curve->GetSegmentCount();
    return count;
}

bool PolyCurveDbl::HasClosedCurve() const {
    return std::ranges::any_of(m_curves, [](auto const& curve) { return curve->IsClosed(); });
}

std::optional<RectDbl> PolyCurveDbl::GetBounds(Transform const& transform) const {
    std::optional<RectDbl> all;
    for (auto const& curve : m_curves) {
        auto const one = curve->GetBounds(transform);
        if (!one && !curve->empty())
            return {};
        if (one)
            all = !all ? *one
                       : RectDbl{std::min(all->left, one->left), std::min(all->top, one->top),
                                 std::max(all->right, one->right), std::max(all->bottom, one->bottom)};
    }
    return all;
}

double PolyCurveDbl::GetArea() const {
    double area = 0;
    for (auto const& curve : m_curves)
        area += curve->GetArea();
    return area;
}

double PolyCurveDbl::GetLength() const {
    double length = 0;
    for (auto const& curve : m_curves)
        length += curve->GetLength();
    return length;
}

bool operator==(PolyCurveDbl const& a, PolyCurveDbl const& b) {
    return std::ranges::equal(a.m_curves, b.m_curves,
                              [](auto const& x, auto const& y) { return x.get() == y.get() || *x == *y; });
}

std::size_t PolyCurveDbl::GetHash() const {
    std::uint64_t hash = m_curves.size();
    for (auto const& curve : m_curves)
        hash = (hash ^ curve->GetHash()) * 0x9e3779b97f4a7c15u + (hash >> 32);
    return hash;
}

} // namespace Geometry
