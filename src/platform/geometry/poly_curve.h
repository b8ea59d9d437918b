// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve.h"
#include "platform/geometry/polygon.h"

#include <vector>

namespace Geometry {

// An outline of any number of contours.
//
// A copy shares its curves until one of the two is transformed; AddCurve takes the caller's curve itself, which must
// not be changed afterwards.
class REDRAFT_ENGINE PolyCurveDbl final : public Kernel::Serialisable {
public:
    PolyCurveDbl() = default;
    explicit PolyCurveDbl(Kernel::Counted<CurveDbl>& curve);
    // The closed outline of a rectangle, from its top left corner along its top.
    explicit PolyCurveDbl(RectDbl const& rectangle);
    ~PolyCurveDbl() override;

    // True without curves, or when all of them are.
    bool empty() const;
    Kernel::Counted<PolyCurveDbl> Clone() const;
    void ApplyTransform(Transform const& transform);

    // Ignores null.
    void AddCurve(Kernel::Counted<CurveDbl> curve);
    // Each polygon becomes one closed curve; polygons without a corner are left out.
    void AddPolyPolygon(PolyPolygonType<double> const& polygons);
    // All curves of the other, shared with it.
    void AddPolyCurve(PolyCurveDbl const& other);
    void Clear();

    std::vector<Kernel::Counted<CurveDbl>> const& GetCurves() const { return m_curves; }
    std::size_t GetSegmentCount() const;
    // True when at least one curve is closed.
    bool HasClosedCurve() const;

    // See CurveDbl for the three.
    std::optional<RectDbl> GetBounds(Transform const& transform = {}) const;
    double GetArea() const;
    double GetLength() const;

    friend REDRAFT_ENGINE bool operator==(PolyCurveDbl const& a, PolyCurveDbl const& b);
    std::size_t GetHash() const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    std::vector<Kernel::Counted<CurveDbl>> m_curves;
};

} // namespace Geometry
