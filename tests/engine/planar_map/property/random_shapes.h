// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/engine/planar_map/shapes_for_maps.h"

#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace MapTests {

// Random drawings, the same for the same seed everywhere.
class RandomShapes {
public:
    explicit RandomShapes(std::uint32_t seed) : m_random(seed) {}

    double Number(double low, double high) {
        return low + (high - low) * (static_cast<double>(m_random()) / 4294967296.0);
    }
    std::uint32_t Below(std::uint32_t count) { return m_random() % count; }

    Graph::Input RandomCircle() { return Circle(Number(0, 100), Number(0, 100), Number(5, 30)); }
    Graph::Input RandomEllipse() {
        auto input = Circle(0, 0, 1);
        input.transform = Geometry::Transform::Translation(Number(0, 100), Number(0, 100)) *
                          Geometry::Transform::Rotation(Number(0, 6)) *
                          Geometry::Transform::Scale(Number(3, 40), Number(3, 40));
        return input;
    }
    // On a coarse raster, so that edges are shared.
    Graph::Input RandomRoundedRectangle() {
        double const left = 10 * Below(8), top = 10 * Below(8);
        Geometry::RectDbl const box{left, top, left + 10 * (1 + Below(4)), top + 10 * (1 + Below(4))};
        PointDbl const radius{2.5 * Below(3), 2.5 * Below(3)};
        return MakeInput(Geometry::MakeRoundedRectangle(box, {radius, radius, radius, radius}));
    }
    // A closed curve of cubics that runs wildly across itself.
    Graph::Input RandomScribble(int segments = 8) {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        auto const point = [&] { return PointDbl{Number(0, 100), Number(0, 100)}; };
        curve->MoveTo(point());
        for (int i = 0; i != segments; ++i)
            curve->CubicTo(point(), point(), point());
        curve->Close();
        auto input = MakeInput(curve);
        input.windingOrderMode = static_cast<Geometry::WindingOrderMode>(Below(2));
        return input;
    }
    Graph::Input RandomPolygon() {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo({10.0 * Below(11), 10.0 * Below(11)});
        for (std::uint32_t i = 2 + Below(6); i-- != 0;)
            curve->LineTo({10.0 * Below(11), 10.0 * Below(11)});
        curve->Close();
        auto input = MakeInput(curve);
        input.windingOrderMode = static_cast<Geometry::WindingOrderMode>(Below(2));
        return input;
    }
    // Circles that touch each other, inside and outside, somewhere along their quarters.
    void AddTangentCircles(std::vector<Graph::Input>& inputs) {
        double const x = Number(40, 60), y = Number(40, 60), radius = Number(10, 25);
        inputs.push_back(Circle(x, y, radius));
        for (int i = 0; i != 3; ++i) {
            double const other = Number(2, 9), angle = Number(0, 7);
            double const distance = Below(2) != 0 ? radius + other : radius - other;
            inputs.push_back(Circle(x + distance * std::cos(angle), y + distance * std::sin(angle), other));
        }
    }
    // The same shape again: as it is, walked the other way, cut at other places, or turned by next to nothing.
    void AddNearlyEqual(std::vector<Graph::Input>& inputs) {
        Graph::Input const original = Below(2) != 0 ? RandomEllipse() : RandomRoundedRectangle();
        inputs.push_back(original);
        Graph::Input again = original;
        auto const& curve = *original.curves[0].curves->GetCurves()[0];
        switch (Below(4)) {
        case 0: {
            auto reversed = curve.Clone();
            reversed->Reverse();
            again.curves[0].curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>(reversed);
            break;
        }
        case 1: {
            auto cut = Kernel::MakeCounted<Geometry::CurveDbl>();
            cut->MoveTo(curve.GetStart());
            for (auto const& segment : curve.GetSegments()) {
                auto const [before, after] = Geometry::Split(segment, Number(0.1, 0.9));
                for (auto const& part : {before, after}) {
                    if (part.kind == Geometry::SegmentKind::Line)
                        cut->LineTo(part.end);
                    else
                        cut->CubicTo(part.control1, part.control2, part.end);
                }
            }
            cut->Close();
            again.curves[0].curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>(cut);
            break;
        }
        case 2:
            again.transform = again.transform * Geometry::Transform::Rotation(std::pow(10.0, -Number(3, 15)));
            break;
        default:
            again.transform = Geometry::Transform::Translation(std::pow(10.0, -Number(3, 15)), 0) * again.transform;
        }
        inputs.push_back(again);
    }

    // `tangents`: also shapes of which flattening decides whether they touch.
    std::vector<Graph::Input> Drawing(bool tangents = true) {
        std::vector<Graph::Input> inputs;
        for (std::uint32_t i = 2 + Below(4); i-- != 0;) {
            switch (Below(7)) {
            case 0:
                inputs.push_back(RandomCircle());
                break;
            case 1:
                inputs.push_back(RandomEllipse());
                break;
            case 2:
                inputs.push_back(RandomRoundedRectangle());
                break;
            case 3:
                inputs.push_back(RandomScribble());
                break;
            case 4:
                inputs.push_back(RandomPolygon());
                break;
            case 5:
                if (tangents)
                    AddTangentCircles(inputs);
                else
                    inputs.push_back(RandomCircle());
                break;
            default:
                AddNearlyEqual(inputs);
            }
        }
        return inputs;
    }

private:
    std::mt19937 m_random;
};

// The drawing as a whole moved, turned or scaled.
inline std::vector<Graph::Input> Transformed(std::vector<Graph::Input> inputs, Geometry::Transform const& transform) {
    for (auto& input : inputs)
        input.transform = transform * input.transform;
    return inputs;
}

// An input's outline in the common space.
inline Kernel::Counted<Geometry::PolyCurveDbl> InPlace(Graph::Input const& input) {
    auto result = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& [curves, transform] : input.curves) {
        auto copy = curves->Clone();
        copy->ApplyTransform(input.transform * transform);
        result->AddPolyCurve(*copy);
    }
    return result;
}

// An input of one piece of a divide.
inline Graph::Input PieceAsInput(Kernel::Counted<Geometry::PolyCurveDbl> const& piece) { return MakeInput(piece); }

inline std::vector<Graph::Input> PiecesAsInputs(Division const& division) {
    std::vector<Graph::Input> inputs;
    for (auto const& [input, result] : division.pieces) {
        for (auto const& area : result.areas)
            inputs.push_back(MakeInput(area));
    }
    return inputs;
}

} // namespace MapTests
