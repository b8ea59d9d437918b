// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_intersection_graph.h"
#include "platform/geometry/curve_operations.h"
#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"

#include <initializer_list>
#include <map>
#include <string_view>
#include <vector>

// Shapes as inputs, and what tests ask of the results.
namespace MapTests {

using Graph = Geometry::CurveIntersectionGraph;
using Geometry::PointDbl;

inline Graph::Input MakeInput(Kernel::Counted<Geometry::PolyCurveDbl> curves, bool filled = true) {
    Graph::Input input;
    input.curves.push_back({std::move(curves), {}});
    input.filled = filled;
    return input;
}

inline Graph::Input MakeInput(Kernel::Counted<Geometry::CurveDbl> curve, bool filled = true) {
    return MakeInput(Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve), filled);
}

inline Graph::Input Rectangle(double left, double top, double right, double bottom, bool filled = true) {
    return MakeInput(Geometry::MakeRectangle({left, top, right, bottom}), filled);
}

inline Graph::Input Circle(double x, double y, double radius, bool filled = true) {
    return MakeInput(Geometry::MakeEllipse({x - radius, y - radius, x + radius, y + radius}), filled);
}

inline Graph::Input Polyline(std::initializer_list<PointDbl> points, bool closed, bool filled) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    bool first = true;
    for (PointDbl const p : points) {
        first ? curve->MoveTo(p) : curve->LineTo(p);
        first = false;
    }
    if (closed)
        curve->Close();
    return MakeInput(curve, filled);
}

inline Graph::Input AsClip(Graph::Input input) {
    input.role = Graph::c_clipRole;
    return input;
}

inline Kernel::Counted<Graph> Build(std::vector<Graph::Input> const& inputs,
                                    Graph::BoolOpMethod method = Graph::BoolOpMethod::Divide) {
    return Graph::Create(inputs, method, false, false, nullptr, nullptr, true).first;
}

struct Division {
    std::map<unsigned, Graph::DividedResult> pieces;
    bool divided = false;

    double AreaOf(unsigned input) const {
        double sum = 0;
        if (auto const found = pieces.find(input); found != pieces.end()) {
            for (auto const& area : found->second.areas)
                sum += area->GetArea();
        }
        return sum;
    }
    std::size_t PieceCount(unsigned input) const {
        auto const found = pieces.find(input);
        return found == pieces.end() ? 0 : found->second.areas.size();
    }
    std::size_t LineCount(unsigned input) const {
        auto const found = pieces.find(input);
        return found == pieces.end() ? 0 : found->second.lines.size();
    }
    double LineLength(unsigned input) const {
        double sum = 0;
        if (auto const found = pieces.find(input); found != pieces.end()) {
            for (auto const& line : found->second.lines)
                sum += line->GetLength();
        }
        return sum;
    }
    double TotalArea() const {
        double sum = 0;
        for (auto const& [input, result] : pieces)
            sum += AreaOf(input);
        return sum;
    }
    std::size_t TotalPieces() const {
        std::size_t count = 0;
        for (auto const& [input, result] : pieces)
            count += result.areas.size();
        return count;
    }
};

inline Division Divide(Graph const& graph, bool includeLines = true) {
    Division division;
    division.divided = graph.Divide(division.pieces, includeLines);
    return division;
}

inline Division Divide(std::vector<Graph::Input> const& inputs) {
    auto const graph = Build(inputs);
    return graph ? Divide(*graph) : Division{};
}

inline Kernel::Counted<Geometry::PolyCurveDbl> Outline(std::vector<Graph::Input> const& inputs) {
    auto const graph = Build(inputs, Graph::BoolOpMethod::Outline);
    return graph ? graph->GetEnabledOutline(true, true, true, false) : nullptr;
}

} // namespace MapTests
