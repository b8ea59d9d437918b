// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/map_checks.h"

#include "platform/kernel/exception.h"
#include "tests/engine/planar_map/property/random_shapes.h"
#include "tests/engine/planar_map/property/scanline_areas.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace MapTests {

namespace {

constexpr double c_relative = 1e-7;

std::string Format(char const* format, auto... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

struct Measures {
    double area = 0;
    // The most that rounding to the map's grid, 2^-38 of the extent, may add to an area and take from it.
    double rounding = 0;
};

Measures MeasureBounds(std::vector<Graph::Input> const& inputs) {
    Geometry::RectDbl bounds{};
    bool first = true;
    double length = 0;
    for (auto const& input : inputs) {
        auto const outline = InPlace(input);
        length += outline->GetLength();
        if (auto const own = outline->GetBounds()) {
            bounds = first ? *own : bounds.United(*own);
            first = false;
        }
    }
    double const extent = std::max(bounds.GetWidth(), bounds.GetHeight());
    return {bounds.GetWidth() * bounds.GetHeight(), length * extent * 1e-10};
}

Kernel::Counted<Geometry::CurveDbl> BegunElsewhere(Geometry::CurveDbl const& curve) {
    if (!curve.IsClosed() || curve.GetSegmentCount() < 2)
        return curve.Clone();
    std::vector<Geometry::Segment> segments;
    for (auto const& segment : curve.GetSegments())
        segments.push_back(segment);
    auto result = Kernel::MakeCounted<Geometry::CurveDbl>();
    std::size_t const first = segments.size() / 2;
    result->MoveTo(segments[first].start);
    for (std::size_t i = 0; i != segments.size(); ++i) {
        auto const& s = segments[(first + i) % segments.size()];
        if (s.kind == Geometry::SegmentKind::Line)
            result->LineTo(s.end);
        else
            result->CubicTo(s.control1, s.control2, s.end);
    }
    result->Close();
    return result;
}

std::vector<Graph::Input> Shuffled(std::vector<Graph::Input> inputs) {
    for (auto& input : inputs) {
        for (auto& [curves, transform] : input.curves) {
            auto shuffled = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
            for (std::size_t i = curves->GetCurves().size(); i-- != 0;)
                shuffled->AddCurve(BegunElsewhere(*curves->GetCurves()[i]));
            curves = shuffled;
        }
        std::reverse(input.curves.begin(), input.curves.end());
    }
    return inputs;
}

// Whether some of the areas, each taken once, sum to one.
bool HasSum(std::vector<double> const& areas, double sum, double tolerance, std::size_t from = 0) {
    if (std::fabs(sum) <= tolerance)
        return true;
    for (std::size_t i = from; i != areas.size() && sum > 0; ++i) {
        if (areas[i] <= sum + tolerance && HasSum(areas, sum - areas[i], tolerance, i + 1))
            return true;
    }
    return false;
}

// The largest area of one list that has no counterpart in the other; 0 when there is none. Areas within the tolerance
// come and go with rounding, and so does what holds two pieces together that meet in less than the grid can tell: one
// may be the sum of some of the other list.
double GetUnmatched(std::vector<double> a, std::vector<double> b, double tolerance) {
    for (auto* list : {&a, &b}) {
        std::erase_if(*list, [&](double area) { return area <= tolerance; });
        std::sort(list->begin(), list->end(), std::greater<>());
    }
    std::vector<double> onlyA, onlyB;
    std::size_t i = 0, k = 0;
    while (i != a.size() || k != b.size()) {
        if (i != a.size() && k != b.size() && std::fabs(a[i] - b[k]) <= tolerance) {
            ++i;
            ++k;
        } else if (k == b.size() || (i != a.size() && a[i] > b[k])) {
            onlyA.push_back(a[i++]);
        } else {
            onlyB.push_back(b[k++]);
        }
    }
    constexpr std::size_t c_mostSummed = 16;
    double unmatched = 0;
    auto const compare = [&](std::vector<double> const& these, std::vector<double> const& those) {
        double const slack = tolerance * static_cast<double>(a.size() + b.size());
        for (double const area : these) {
            bool const isSum = those.size() <= c_mostSummed && HasSum(those, area, slack);
            bool const isPart = std::ranges::any_of(those, [&](double whole) {
                return whole > area && these.size() <= c_mostSummed && HasSum(these, whole, slack);
            });
            if (!isSum && !isPart)
                unmatched = std::max(unmatched, area);
        }
    };
    compare(onlyA, onlyB);
    compare(onlyB, onlyA);
    return unmatched;
}

std::vector<double> AreasOf(Division const& division, unsigned input) {
    std::vector<double> areas;
    if (auto const found = division.pieces.find(input); found != division.pieces.end()) {
        for (auto const& area : found->second.areas)
            areas.push_back(area->GetArea());
    }
    return areas;
}

class Checker {
public:
    Checker(std::vector<Graph::Input> const& inputs, MapChecks const& checks)
        : m_inputs(inputs), m_checks(checks), m_measures(MeasureBounds(inputs)) {}

    std::string Run() {
        auto const [graph, result] =
            Graph::Create(m_inputs, Graph::BoolOpMethod::Divide, false, false, nullptr, nullptr, true);
        if (!graph) {
            if (result == Graph::Result::NoCurves && m_measures.rounding == 0)
                return {};
            return Format("no graph, result %u", static_cast<unsigned>(result));
        }
        m_division = MapTests::Divide(*graph);
        m_tolerance = 0.2 * c_relative * m_division.TotalArea() + m_measures.rounding;
        if (std::string fault = CompareWithScanlines(); !fault.empty())
            return fault;
        if (std::string fault = CompareOutline(*graph); !fault.empty())
            return fault;
        if (std::string fault = FindOverlap(); m_checks.overlaps && !fault.empty())
            return fault;
        if (std::string fault = CompareAgain(); m_checks.again && !fault.empty())
            return fault;
        return m_checks.moved ? CompareMoved() : std::string();
    }

private:
    std::string CompareWithScanlines() const {
        // Lines along a flat lens can miss it; others, across it, do not.
        std::string fault;
        for (double const angle : {0.0, 0.7, 1.9}) {
            fault = CompareWithScanlines(Transformed(m_inputs, Geometry::Transform::Rotation(angle)));
            if (fault.empty())
                break;
        }
        return fault;
    }

    std::string CompareWithScanlines(std::vector<Graph::Input> const& turned) const {
        OwnedAreas const expected = GetAreasByScanlines(turned, m_tolerance / 4);
        double const tolerance = m_tolerance + expected.uncertainty;
        for (unsigned i = 0; i != m_inputs.size(); ++i) {
            double const area = m_division.AreaOf(i);
            if (!(std::fabs(area - expected.byOwner[i]) <= tolerance))
                return Format("input %u owns %.12g, should own %.12g (bound %.2g)", i, area, expected.byOwner[i],
                              tolerance);
        }
        double const total = m_division.TotalArea();
        if (!(std::fabs(total - expected.total) <= tolerance))
            return Format("areas sum to %.12g, the union has %.12g", total, expected.total);
        return {};
    }

    std::string CompareOutline(Graph const& graph) const {
        auto const outline = graph.GetEnabledOutline(true, true, true, false);
        double const area = outline ? outline->GetArea() : 0;
        if (std::fabs(area - m_division.TotalArea()) > m_tolerance)
            return Format("the outline has %.12g, the pieces %.12g", area, m_division.TotalArea());
        return {};
    }

    std::string FindOverlap() const {
        if (!m_checks.overlaps)
            return {};
        Graph::Input all;
        all.filled = true;
        for (auto const& [input, result] : m_division.pieces) {
            for (auto const& area : result.areas) {
                if (!(area->GetArea() > -m_tolerance))
                    return Format("a piece has the area %.3g", area->GetArea());
                all.curves.push_back({area, {}});
            }
        }
        // A check that costs the square of the number of pieces is left out where slivers come by the thousand.
        if (all.curves.empty() || all.curves.size() > 400)
            return {};
        OwnedAreas united;
        for (double const angle : {0.0, 0.7}) {
            united = GetAreasByScanlines(Transformed({all}, Geometry::Transform::Rotation(angle)), m_tolerance / 4);
            if (std::fabs(united.total - m_division.TotalArea()) <= m_tolerance + united.uncertainty)
                return {};
        }
        return Format("pieces overlap: together %.12g, united %.12g", m_division.TotalArea(), united.total);
    }

    std::string CompareAgain() const {
        if (!m_checks.again)
            return {};
        auto const pieces = PiecesAsInputs(m_division);
        if (pieces.empty())
            return {};
        auto const again = MapTests::Divide(pieces);
        for (unsigned i = 0; i != pieces.size(); ++i) {
            double const area = pieces[i].curves[0].curves->GetArea();
            if (std::fabs(again.AreaOf(i) - area) > m_tolerance)
                return Format("divided again piece %u has %.12g instead of %.12g", i, again.AreaOf(i), area);
        }
        return {};
    }

    std::string CompareMoved() const {
        using Geometry::Transform;
        auto const bounds = InPlace(m_inputs[0])->GetBounds();
        double const step = bounds ? std::max(bounds->GetWidth(), bounds->GetHeight()) : 1;
        for (auto const& [name, inputs] :
             {std::pair("shuffled", Shuffled(m_inputs)),
              std::pair("turned", Transformed(m_inputs, Transform({0, -1, 0, 1, 0, 0}))),
              std::pair("moved", Transformed(m_inputs, Transform::Translation(0.37 * step, -1.71 * step)))}) {
            auto const graph = Build(inputs);
            if (!graph)
                return Format("no graph when %s", name);
            auto const other = MapTests::Divide(*graph);
            for (unsigned i = 0; i != m_inputs.size(); ++i) {
                if (std::fabs(other.AreaOf(i) - m_division.AreaOf(i)) > 2 * m_tolerance)
                    return Format("%s, input %u owns %.12g instead of %.12g", name, i, other.AreaOf(i),
                                  m_division.AreaOf(i));
                double const unmatched = GetUnmatched(AreasOf(m_division, i), AreasOf(other, i), 2 * m_tolerance);
                if (unmatched > 0)
                    return Format("%s, input %u has %zu pieces and not %zu; one of %.6g", name, i, other.PieceCount(i),
                                  m_division.PieceCount(i), unmatched);
            }
        }
        return {};
    }

    std::vector<Graph::Input> const& m_inputs;
    MapChecks m_checks;
    Measures m_measures;
    Division m_division;
    double m_tolerance = 0;
};

} // namespace

std::string FindFault(std::vector<Graph::Input> const& inputs, MapChecks const& checks) {
    try {
        return Checker(inputs, checks).Run();
    } catch (std::exception const& e) {
        return std::string("exception: ") + e.what();
    }
}

std::string Describe(std::vector<Graph::Input> const& inputs) {
    std::string text;
    for (auto const& input : inputs) {
        text += input.windingOrderMode == Geometry::WindingOrderMode::Alternating ? "alternating" : "nonzero";
        text += input.filled ? " filled" : "";
        text += input.strokedFront ? " front" : "";
        text += input.strokedBehind ? " behind" : "";
        text += input.role == Graph::c_clipRole ? " clip " : " ";
        text += Geometry::WritePathData(*InPlace(input)) + "\n";
    }
    return text;
}

} // namespace MapTests
