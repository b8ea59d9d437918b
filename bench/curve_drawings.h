// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_intersection_graph.h"
#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// Filled shapes for a planar map.
using Inputs = std::vector<Geometry::CurveIntersectionGraph::Input>;

class Drawing {
public:
    explicit Drawing(std::uint32_t seed) : m_random(seed) {}

    // Equally dense whatever their number; 1000 on 1000 by 1000 units.
    Inputs Circles(int count) {
        Inputs inputs;
        double const side = 1000 * std::sqrt(count / 1000.0);
        for (int i = 0; i != count; ++i) {
            double const x = Number(0, side), y = Number(0, side), radius = Number(15, 62);
            Add(inputs, Geometry::MakeEllipse({x - radius, y - radius, x + radius, y + radius}));
        }
        return inputs;
    }
    // A closed random walk of lines or cubics in steps of some 60 units.
    Inputs Scribbles(int count, int segments, bool curved) {
        Inputs inputs;
        for (int i = 0; i != count; ++i) {
            auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
            Geometry::PointDbl at{Number(0, 1000), Number(0, 1000)};
            auto const step = [&] {
                return Geometry::PointDbl{std::clamp(at.x + Number(-60, 60), 0.0, 1000.0),
                                          std::clamp(at.y + Number(-60, 60), 0.0, 1000.0)};
            };
            curve->MoveTo(at);
            curve->Reserve(static_cast<std::size_t>(3 * segments + 1), static_cast<std::size_t>(segments));
            for (int k = 0; k != segments; ++k) {
                Geometry::PointDbl const a = step(), b = step(), c = step();
                if (curved)
                    curve->CubicTo(a, b, c);
                else
                    curve->LineTo(c);
                at = c;
            }
            curve->Close();
            Add(inputs, curve);
            inputs.back().windingOrderMode = Geometry::WindingOrderMode::Alternating;
        }
        return inputs;
    }

    // Tiles that share their straight edges with their neighbours, as in a keyboard or a mosaic.
    static Inputs Tiles(int columns, int rows) {
        Inputs inputs;
        for (int row = 0; row != rows; ++row) {
            for (int column = 0; column != columns; ++column) {
                double const left = 30.0 * column, top = 30.0 * row;
                Add(inputs,
                    Geometry::MakeRoundedRectangle({left, top, left + 30, top + 30}, {{5, 5}, {5, 5}, {5, 5}, {5, 5}}));
            }
        }
        return inputs;
    }

    // Rings about one centre, each `step` larger than the one below.
    static Inputs Rings(int count, double step) {
        Inputs inputs;
        for (int i = 0; i != count; ++i) {
            double const radius = 100 + step * i;
            Add(inputs, Geometry::MakeEllipse({-radius, -radius, radius, radius}));
        }
        return inputs;
    }
    static Inputs TwoCircles(double apart) {
        Inputs inputs;
        for (double const x : {0.0, apart})
            Add(inputs, Geometry::MakeEllipse({x - 100, -100, x + 100, 100}));
        return inputs;
    }
    // The inputs, and over them copies whose coordinates are rounded to so many decimals; 17: exact ones.
    static Inputs UnderCopies(Inputs const& inputs, int decimals) {
        double const unit = std::pow(10.0, decimals);
        auto const rounded = [&](Geometry::PointDbl p) {
            return decimals >= 17
                       ? p
                       : Geometry::PointDbl{std::nearbyint(p.x * unit) / unit, std::nearbyint(p.y * unit) / unit};
        };
        Inputs both = inputs;
        for (auto const& input : inputs) {
            auto copy = input;
            auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
            for (auto const& curve : input.curves.front().curves->GetCurves()) {
                auto own = Kernel::MakeCounted<Geometry::CurveDbl>();
                own->MoveTo(rounded(curve->GetStart()));
                for (auto const& segment : curve->GetSegments()) {
                    if (segment.kind == Geometry::SegmentKind::Line)
                        own->LineTo(rounded(segment.end));
                    else
                        own->CubicTo(rounded(segment.control1), rounded(segment.control2), rounded(segment.end));
                }
                if (curve->IsClosed())
                    own->Close();
                curves->AddCurve(own);
            }
            copy.curves.front().curves = curves;
            both.push_back(std::move(copy));
        }
        return both;
    }

    // Turned, so that coordinates have all digits of a double.
    static Inputs Turned(Inputs const& inputs) {
        Inputs turned = inputs;
        for (auto& input : turned) {
            auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
            for (auto const& curve : input.curves.front().curves->GetCurves()) {
                auto const own = curve->Clone();
                own->ApplyTransform(Geometry::Transform::Rotation(0.3));
                curves->AddCurve(own);
            }
            input.curves.front().curves = curves;
        }
        return turned;
    }

    static Inputs ReadPaths(char const* path) {
        std::ifstream file(path, std::ios::binary);
        std::string const text{std::istreambuf_iterator<char>(file), {}};
        Inputs inputs;
        for (std::size_t at = text.find(" d=\""); at != std::string::npos; at = text.find(" d=\"", at)) {
            at += 4;
            std::size_t const end = text.find('"', at);
            Geometry::CurveIntersectionGraph::Input input;
            input.curves.push_back({Geometry::ReadPathData(std::string_view(text).substr(at, end - at)).curves, {}});
            input.filled = true;
            inputs.push_back(std::move(input));
        }
        return inputs;
    }

private:
    double Number(double low, double high) {
        return low + (high - low) * (static_cast<double>(m_random()) / 4294967296.0);
    }
    static void Add(Inputs& inputs, Kernel::Counted<Geometry::CurveDbl> curve) {
        Geometry::CurveIntersectionGraph::Input input;
        input.curves.push_back({Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve), {}});
        input.filled = true;
        inputs.push_back(std::move(input));
    }
    std::mt19937 m_random;
};
