// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/engine/planar_map/property/random_shapes.h"

#include <string>
#include <vector>

namespace MapTests {

// Small drawings made to go wrong: each family does one thing to excess. The same drawing for the same family and seed
// on every machine.
class AdversarialShapes {
public:
    AdversarialShapes(std::uint32_t family, std::uint32_t seed)
        : m_random(family * 1000003u + seed), m_family(family) {}

    static std::uint32_t GetFamilyCount();
    static char const* GetFamilyName(std::uint32_t family);

    std::vector<Graph::Input> Draw();

private:
    using Segments = std::vector<Geometry::Segment>;

    void TangentArcs();
    void NearlyCoincidentCubics();
    void CuspsLoopsAndCollapsedCubics();
    void LinesRaisedToCubics();
    void RepeatedShapes();
    void CirclesThroughOnePoint();
    void Star();
    void TinyRotations();
    void DirtyPolygons();
    void SmallRasterPolygons();
    void SmallRasterCubics();
    void SharedCurvedEdges();
    void PartsOfOneCurve();
    void HighOrderContacts();
    void NearlyParallelSlivers();
    void ScaledAndFarAway();
    void Mixture();
    void NestedRings();
    void TouchingVertices();
    void HairpinsAndSpikes();

    double Number(double low, double high) { return m_random.Number(low, high); }
    std::uint32_t Below(std::uint32_t count) { return m_random.Below(count); }
    bool Coin() { return Below(2) != 0; }
    // 10 to the minus something between the two.
    double Tiny(double least, double most) { return std::pow(10.0, -Number(least, most)); }
    PointDbl AnyPoint() { return {Number(0, 100), Number(0, 100)}; }
    PointDbl RasterPoint(std::uint32_t raster) {
        double const x = Below(raster + 1);
        return {x, static_cast<double>(Below(raster + 1))};
    }
    Geometry::Segment AnyCubic() {
        PointDbl const a = AnyPoint(), b = AnyPoint(), c = AnyPoint();
        return Geometry::Segment::Cubic(a, b, c, AnyPoint());
    }
    void AddShape(Segments const& segments, bool closed = true);
    void Add(Graph::Input input) { m_inputs.push_back(std::move(input)); }
    void AddFamily(std::uint32_t family);

    RandomShapes m_random;
    std::uint32_t m_family;
    std::vector<Graph::Input> m_inputs;
};

} // namespace MapTests
