// SPDX-License-Identifier: Apache-2.0
#include "platform/geometry/curve_intersection_graph.h"

#include "engine/geometry/planar_map/aside.h"
#include "engine/geometry/planar_map/implementation.h"
#include "engine/geometry/planar_map/outlines.h"

#include <new>
#include <optional>

namespace Geometry {

using namespace Planar;

namespace {

// Up to here a map is worth building; beyond it memory runs out first.
constexpr std::size_t c_mostContourSegments = std::size_t{1} << 26;

CoverageRules MakeRules(SourceCurves const& source, bool keepHiddenTogether) {
    CoverageRules rules;
    rules.keepHiddenTogether = keepHiddenTogether;
    for (InputTraits const& input : source.inputs) {
        rules.hasOrdinary = rules.hasOrdinary || !input.clip;
        rules.clipCount += input.clip ? 1 : 0;
    }
    return rules;
}

bool IsLine(NetContour const& contour, CurveNet const& net) { return !net.source.inputs[contour.input].clip; }

std::vector<std::uint32_t> LabelEnabled(std::vector<bool> const& enabled) {
    std::vector<std::uint32_t> labels(enabled.size(), c_noIndex);
    for (std::size_t f = 0; f != labels.size(); ++f)
        labels[f] = enabled[f] ? 0 : c_noIndex;
    return labels;
}

void AddTo(Kernel::Counted<PolyCurveDbl>& curves, Kernel::Counted<CurveDbl> curve) {
    if (!curves)
        curves = Kernel::MakeCounted<PolyCurveDbl>();
    curves->AddCurve(std::move(curve));
}

// Which filled inputs come back as they are, told from what a divide gives to them.
class DivisionJudge {
public:
    explicit DivisionJudge(std::size_t inputCount)
        : m_regions(inputCount, 0),
          m_rings(inputCount, 0),
          m_contours(inputCount, 0),
          m_touched(inputCount, false),
          m_covering(inputCount, false),
          m_hollow(inputCount, false) {}

    void Add(CurveIntersectionGraph::Implementation::Map const& map) {
        for (std::uint32_t const input : map.coverage.touchedInputs)
            m_touched[input] = true;
        for (std::uint32_t const input : map.coverage.coveringInputs)
            m_covering[input] = true;
        for (std::uint32_t const input : map.coverage.hollowInputs)
            m_hollow[input] = true;
        for (NetContour const& contour : map.net.contours)
            ++m_contours[contour.input];
    }
    void AddRegion(std::uint32_t input, std::size_t rings) {
        ++m_regions[input];
        m_rings[input] += rings;
    }
    bool DividedAnything() const {
        for (std::size_t i = 0; i != m_covering.size(); ++i) {
            if (m_covering[i] && (m_touched[i] || m_regions[i] != 1 || m_rings[i] != 1 || m_contours[i] != 1))
                return true;
            // An area that its winding mode leaves out altogether must not come back painted.
            if (m_hollow[i] && !m_covering[i])
                return true;
        }
        return false;
    }

private:
    std::vector<std::size_t> m_regions, m_rings, m_contours;
    std::vector<bool> m_touched, m_covering, m_hollow;
};

// The rings of each label, outer ones before holes, in the order in which the labels were met first.
std::vector<std::vector<OutlineTracer::Ring>> GroupByLabel(std::vector<OutlineTracer::Ring> rings, std::size_t labels) {
    std::vector<std::uint32_t> groupOf(labels, c_noIndex);
    std::vector<std::vector<OutlineTracer::Ring>> groups;
    for (OutlineTracer::Ring& ring : rings) {
        if (groupOf[ring.label] == c_noIndex) {
            groupOf[ring.label] = static_cast<std::uint32_t>(groups.size());
            groups.emplace_back();
        }
        groups[groupOf[ring.label]].push_back(std::move(ring));
    }
    for (auto& group : groups)
        std::stable_partition(group.begin(), group.end(), [](auto const& ring) { return ring.area > 0; });
    return groups;
}

} // namespace

// Pieces on their way to a result.
struct CurveIntersectionGraph::Implementation::Division {
    std::optional<OutlineTracer> tracer;
    std::vector<std::vector<OutlineTracer::Ring>> groups;
};

CurveIntersectionGraph::ProgressReporter::~ProgressReporter() = default;

CurveIntersectionGraph::CurveIntersectionGraph(std::unique_ptr<Implementation> implementation)
    : m_implementation(std::move(implementation)) {}

CurveIntersectionGraph::~CurveIntersectionGraph() = default;

// A map as far as it has come.
struct CurveIntersectionGraph::Implementation::Work {
    std::optional<CurveNet> net;
    std::optional<FlattenedNet> flattened;
    std::optional<FaceMap> faces;
    std::optional<Coverage> coverage;
};

CurveIntersectionGraph::Result
CurveIntersectionGraph::Implementation::AddMap(std::vector<std::uint32_t> const& contours, CoverageRules const& rules,
                                               bool refineCrossings, Monitor& monitor) {
    auto work = std::make_unique<Work>();
    try {
        return AddMap(*work, contours, rules, refineCrossings, monitor);
    } catch (Kernel::AbortException const&) {
        ReleaseAside(std::move(work));
        throw;
    }
}

CurveIntersectionGraph::Result
CurveIntersectionGraph::Implementation::AddMap(Work& work, std::vector<std::uint32_t> const& contours,
                                               CoverageRules const& rules, bool refineCrossings, Monitor& monitor) {
    monitor.SetStep(0, 0.15f);
    CurveNet& net = work.net.emplace(source, contours, monitor);
    if (net.contours.empty())
        return Result::Success;
    Noding noding;
    std::size_t unresolvedPairs = 0;
    {
        monitor.SetStep(0.15f, 0.45f);
        auto& flattened = work.flattened;
        if (!LooksCrossed(net, monitor))
            flattened.emplace(net, monitor, FlattenedNet::Sketch());
        if (!flattened || flattened->MayCross())
            flattened.emplace(net, monitor);
        if (flattened->IsTooComplex())
            return Result::TooComplex;
        unresolvedPairs = flattened->GetSpentPairs();
        monitor.SetStep(0.45f, 0.6f);
        noding = Node(*flattened, monitor);
        flattened.reset();
    }
    monitor.SetStep(0.6f, 0.8f);
    FaceMap& faces = work.faces.emplace(std::move(noding), monitor);
    monitor.SetStep(0.8f, 0.9f);
    Coverage& coverage = work.coverage.emplace(faces, net, rules, monitor);
    if (!coverage.consistent)
        return Result::Inconsistent;
    monitor.SetStep(0.9f, 1);
    NodePositions positions = PlaceNodes(faces, net, refineCrossings, monitor);
    maps.push_back(std::make_unique<Map>(
        Map{std::move(net), std::move(faces), std::move(coverage), std::move(positions), unresolvedPairs, {}}));
    return Result::Success;
}

std::pair<Kernel::Counted<CurveIntersectionGraph>, CurveIntersectionGraph::Result>
CurveIntersectionGraph::Create(std::vector<Input> const& inputs, BoolOpMethod method, bool keepHiddenTogether,
                               bool closeOpenCurves, bool const* abort, Kernel::Counted<ProgressReporter> reporter,
                               bool refineCrossings) {
    Monitor monitor(abort, std::move(reporter));
    monitor.SetStage(0, 0.05f);
    auto implementation = std::make_unique<Implementation>();
    implementation->abort = abort;
    implementation->method = method;
    try {
        SourceCurves& source = implementation->source;
        source = ReadInputs(inputs, method, closeOpenCurves, monitor);
        if (source.contours.empty())
            return {nullptr, source.leftSomeOut ? Result::NotRepresentable : Result::NoCurves};
        if (source.segments.size() > c_mostContourSegments)
            return {nullptr, Result::TooComplex};
        CoverageRules const rules = MakeRules(source, keepHiddenTogether);
        auto const groups = SeparateContours(source, monitor);
        std::size_t done = 0;
        for (auto const& group : groups) {
            float const share = 0.95f / static_cast<float>(source.contours.size());
            float const from = 0.05f + share * static_cast<float>(done);
            done += group.size();
            monitor.SetStage(from, 0.05f + share * static_cast<float>(done));
            Result const result = implementation->AddMap(group, rules, refineCrossings, monitor);
            if (result != Result::Success)
                return {nullptr, result};
        }
        if (implementation->maps.empty())
            return {nullptr, Result::NoCurves};
    } catch (std::bad_alloc const&) {
        return {nullptr, Result::TooComplex};
    } catch (Kernel::AbortException const&) {
        ReleaseAside(std::move(implementation));
        throw;
    }
    auto graph = Kernel::MakeCounted<CurveIntersectionGraph>(std::move(implementation));
    graph->PrepareShapeBuilder();
    monitor.SetStage(1, 1);
    monitor.Report(1);
    return {std::move(graph), Result::Success};
}

bool CurveIntersectionGraph::Divide(std::map<unsigned int, DividedResult>& results, bool includeLines) const {
    Implementation const& graph = *m_implementation;
    if (graph.method == BoolOpMethod::Outline)
        return false;
    auto division = std::make_unique<Implementation::Division>();
    try {
        return graph.Divide(*division, results, includeLines);
    } catch (Kernel::AbortException const&) {
        ReleaseAside(std::move(division));
        throw;
    }
}

bool CurveIntersectionGraph::Implementation::Divide(Division& division, std::map<unsigned int, DividedResult>& results,
                                                    bool includeLines) const {
    Implementation const& graph = *this;
    Monitor monitor = graph.MakeMonitor();
    DivisionJudge judge(graph.source.inputs.size());
    for (auto const& map : graph.maps) {
        judge.Add(*map);
        Coverage const& coverage = map->coverage;
        std::vector<std::uint32_t> labels(coverage.regions.size(), c_noIndex);
        for (std::size_t f = 0; f != labels.size(); ++f) {
            if (coverage.owners[coverage.regions[f]] != c_noIndex)
                labels[f] = coverage.regions[f];
        }
        CurveAssembler const assembler(map->faces, map->net, map->positions);
        auto& tracer = division.tracer.emplace(map->faces, assembler, labels, true, false, true, monitor);
        division.groups = GroupByLabel(tracer.Trace(), labels.size());
        for (auto& rings : division.groups) {
            std::uint32_t const owner = coverage.owners[rings.front().label];
            judge.AddRegion(owner, rings.size());
            auto area = Kernel::MakeCounted<PolyCurveDbl>();
            for (auto& ring : rings)
                area->AddCurve(std::move(ring.curve));
            results[owner].areas.push_back(std::move(area));
            monitor.Tick();
        }
        if (!includeLines)
            continue;
        // Lines end where anything else that can be seen meets them.
        std::vector<std::uint32_t> degrees(map->faces.nodes.size(), 0);
        for (std::uint32_t h = 0; h != map->faces.face.size(); ++h) {
            degrees[map->faces.Origin(h)] += coverage.cuts[h / 2] ? 1 : 0;
            monitor.Tick();
        }
        LineTracer lines(map->faces, map->net, assembler, monitor);
        for (NetContour const& contour : map->net.contours) {
            lines.Trace(
                contour, [&](std::uint32_t edge) { return coverage.lineOwners[edge] == contour.input; },
                [&](std::uint32_t node) { return degrees[node] != 2; }, true, false,
                [&](Kernel::Counted<CurveDbl> line, std::uint32_t from, std::uint32_t to) {
                    // Between crossings that lie in one place but for rounding there is no line.
                    bool const isRounding = degrees[from] > 2 && degrees[to] > 2 && !line->IsClosed() &&
                                            line->GetLength() * map->net.frame.unitsPerLength <= c_coincidence;
                    if (!isRounding)
                        results[contour.input].lines.push_back(std::move(line));
                });
        }
    }
    return judge.DividedAnything();
}

Kernel::Counted<PolyCurveDbl> CurveIntersectionGraph::GetEnabledOutline(bool joinRuns, bool separateRings, bool holes,
                                                                        bool includeLines) const {
    Monitor monitor = m_implementation->MakeMonitor();
    Kernel::Counted<PolyCurveDbl> outline, lines;
    for (auto const& map : m_implementation->maps) {
        std::vector<std::uint32_t> const labels = LabelEnabled(map->enabled);
        CurveAssembler const assembler(map->faces, map->net, map->positions);
        OutlineTracer tracer(map->faces, assembler, labels, joinRuns, joinRuns, separateRings, monitor);
        for (OutlineTracer::Ring& ring : tracer.Trace()) {
            if (holes || ring.area > 0)
                AddTo(outline, std::move(ring.curve));
        }
        if (!includeLines)
            continue;
        LineTracer tracerOfLines(map->faces, map->net, assembler, monitor);
        for (NetContour const& contour : map->net.contours) {
            tracerOfLines.Trace(
                contour,
                [&](std::uint32_t e) {
                    return map->coverage.lineOwners[e] == contour.input && !map->enabled[map->faces.LeftFace(e)] &&
                           !map->enabled[map->faces.RightFace(e)];
                },
                [](std::uint32_t) { return false; }, joinRuns, joinRuns,
                [&](Kernel::Counted<CurveDbl> line, std::uint32_t, std::uint32_t) { AddTo(lines, std::move(line)); });
        }
    }
    if (outline && lines)
        outline->AddPolyCurve(*lines);
    return outline;
}

Kernel::Counted<PolyCurveDbl> CurveIntersectionGraph::DivideClippedEdges(unsigned int subject, unsigned int clip,
                                                                         bool includeBorder) const {
    Implementation const& graph = *m_implementation;
    Kernel::Counted<PolyCurveDbl> result;
    if (subject >= graph.source.inputs.size() || clip >= graph.source.inputs.size() ||
        !graph.source.inputs[clip].filled)
        return result;
    Monitor monitor = graph.MakeMonitor();
    WindingOrderMode const mode = graph.source.inputs[clip].mode;
    for (auto const& map : graph.maps) {
        std::vector<std::int32_t> const windings = GetWindings(clip, map->faces, map->net, monitor);
        auto const inside = [&](std::uint32_t face) {
            return IsInside(mode, windings[map->coverage.absorbedBy[face]]);
        };
        CurveAssembler const assembler(map->faces, map->net, map->positions);
        LineTracer tracer(map->faces, map->net, assembler, monitor);
        for (NetContour const& contour : map->net.contours) {
            if (contour.input != subject)
                continue;
            tracer.Trace(
                contour,
                [&](std::uint32_t e) {
                    bool const left = inside(map->faces.LeftFace(e)), right = inside(map->faces.RightFace(e));
                    return (left && right) || (includeBorder && (left || right));
                },
                [](std::uint32_t) { return false; }, true, false,
                [&](Kernel::Counted<CurveDbl> line, std::uint32_t, std::uint32_t) { AddTo(result, std::move(line)); });
        }
    }
    return result;
}

void CurveIntersectionGraph::PrepareShapeBuilder() {
    for (auto const& map : m_implementation->maps) {
        map->enabled.assign(map->faces.GetFaceCount(), false);
        for (std::uint32_t f = 0; f != map->faces.GetFaceCount(); ++f)
            map->enabled[f] = map->coverage.owners[f] != c_noIndex;
    }
}

void CurveIntersectionGraph::EnableAllAreas() {
    for (auto const& map : m_implementation->maps) {
        for (std::uint32_t f = 0; f != map->faces.GetFaceCount(); ++f)
            map->enabled[f] = map->coverage.absorbedBy[f] != 0;
    }
}

Kernel::Counted<PolyCurveDbl> CurveIntersectionGraph::GetExternalTails(bool joinRuns, bool keepDirection,
                                                                       bool includeDetached) const {
    Monitor monitor = m_implementation->MakeMonitor();
    Kernel::Counted<PolyCurveDbl> tails;
    for (auto const& map : m_implementation->maps) {
        std::vector<bool> bordersEnabled(map->faces.nodes.size(), false);
        auto const isEnabled = [&](std::uint32_t face) -> bool { return map->enabled[face]; };
        for (std::uint32_t h = 0; h != map->faces.face.size(); ++h) {
            if (isEnabled(map->faces.face[h]) || isEnabled(map->faces.face[h ^ 1]))
                bordersEnabled[map->faces.Origin(h)] = true;
            monitor.Tick();
        }
        CurveAssembler const assembler(map->faces, map->net, map->positions);
        LineTracer tracer(map->faces, map->net, assembler, monitor);
        for (NetContour const& contour : map->net.contours) {
            if (!IsLine(contour, map->net))
                continue;
            tracer.Trace(
                contour,
                [&](std::uint32_t e) {
                    return !isEnabled(map->faces.LeftFace(e)) && !isEnabled(map->faces.RightFace(e));
                },
                [&](std::uint32_t node) -> bool { return bordersEnabled[node]; }, joinRuns, joinRuns,
                [&](Kernel::Counted<CurveDbl> tail, std::uint32_t from, std::uint32_t to) {
                    if (!includeDetached && !bordersEnabled[from] && !bordersEnabled[to])
                        return;
                    if (!keepDirection && !bordersEnabled[from] && bordersEnabled[to])
                        tail->Reverse();
                    AddTo(tails, std::move(tail));
                });
        }
    }
    return tails;
}

std::size_t CurveIntersectionGraph::GetUnresolvedPairCount() const {
    std::size_t count = 0;
    for (auto const& map : m_implementation->maps)
        count += map->unresolvedPairs;
    return count;
}

std::size_t CurveIntersectionGraph::GetTopNodeCount() const {
    std::size_t count = 0;
    for (auto const& map : m_implementation->maps)
        count += map->faces.topComponentCount;
    return count;
}

} // namespace Geometry
