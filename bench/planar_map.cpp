// SPDX-License-Identifier: Apache-2.0
// What does a planar map of curves cost, beside other ways to lay shapes over each other? Ours starts from Béziers and
// ends with sub-Béziers of every face. The peers get the input flattened to 0.01 units and end with polygons:
// Boost.Polygon's segment sweep, which finds the crossings and no faces, its overlay of sets, and Clipper, which cuts
// the pieces so far by one shape after the other. Processor time of one thread, in seconds.
//
//   bench-planar-map          all of it
//   bench-planar-map quick    without the slow peers
//   bench-planar-map PART     only one part: compare, growth, near, threads, abort or insert
//
// REDRAFT_BENCH_DRAWING may name an SVG file: the map of all its paths' data, taken as filled and in one space, is
// measured, too.
#include "bench/curve_drawings.h"
#include "platform/document/nodes.h"
#include "platform/document/structure_command_helper.h"
#include "platform/geometry/curve_intersection_graph.h"
#include "platform/geometry/curve_operations.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <boost/polygon/polygon.hpp>
#include <boost/polygon/segment_utils.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <map>
#include <polyclipping/clipper.hpp>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using Geometry::CurveIntersectionGraph;
using Geometry::PointDbl;

constexpr double c_flattening = 0.01;
// Of a drawing of 1000 units, in 30 bits.
constexpr double c_integersPerUnit = 524288;

double GetThreadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Measure(int runs, std::function<void()> const& work) {
    double best = 1e9;
    for (int i = 0; i != runs; ++i) {
        double const start = GetThreadSeconds();
        work();
        best = std::min(best, GetThreadSeconds() - start);
    }
    return best;
}

struct Sizes {
    std::size_t faces = 0, segments = 0;
    double area = 0;
};

Sizes Divide(Inputs const& inputs) {
    auto const graph = CurveIntersectionGraph::Create(inputs, CurveIntersectionGraph::BoolOpMethod::Divide, false,
                                                      false, nullptr, nullptr, true)
                           .first;
    std::map<unsigned, CurveIntersectionGraph::DividedResult> results;
    graph->Divide(results, true);
    Sizes sizes;
    for (auto const& [input, result] : results) {
        for (auto const& area : result.areas) {
            ++sizes.faces;
            sizes.segments += area->GetSegmentCount();
            sizes.area += area->GetArea();
        }
    }
    return sizes;
}

// Peak memory of one divide in a process of its own, less what the process has before.
long MeasureMegabytes(Inputs const& inputs) {
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    pid_t const child = fork();
    if (child == 0) {
        auto const peak = [] {
            rusage usage{};
            getrusage(RUSAGE_SELF, &usage);
            return usage.ru_maxrss;
        };
        long const before = peak();
        Divide(inputs);
        long const used = (peak() - before) / 1024;
        ssize_t const written = write(ends[1], &used, sizeof used);
        _exit(written == sizeof used ? 0 : 1);
    }
    close(ends[1]);
    long used = -1;
    ssize_t const size = read(ends[0], &used, sizeof used);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return size == sizeof used ? used : -1;
}

std::vector<Geometry::PolygonType<double>> FlattenInput(CurveIntersectionGraph::Input const& input) {
    std::vector<Geometry::PolygonType<double>> polygons;
    for (auto const& [curves, transform] : input.curves) {
        for (auto& polygon : Geometry::ToPolygons(*curves, c_flattening).polygons)
            polygons.push_back(std::move(polygon));
    }
    return polygons;
}

int ToInteger(double coordinate) { return static_cast<int>(std::lround((coordinate + 100) * c_integersPerUnit)); }

std::size_t CutByBoost(Inputs const& inputs) {
    namespace bp = boost::polygon;
    std::vector<bp::segment_data<int>> segments;
    for (auto const& input : inputs) {
        for (auto const& polygon : FlattenInput(input)) {
            for (std::size_t i = 0; i != polygon.size(); ++i) {
                PointDbl const a = polygon[i], b = polygon[(i + 1) % polygon.size()];
                segments.emplace_back(bp::point_data<int>(ToInteger(a.x), ToInteger(a.y)),
                                      bp::point_data<int>(ToInteger(b.x), ToInteger(b.y)));
            }
        }
    }
    std::vector<std::pair<std::size_t, bp::segment_data<int>>> result;
    bp::intersect_segments(result, segments.begin(), segments.end());
    return result.size();
}

std::size_t OverlayByBoost(Inputs const& inputs) {
    namespace bp = boost::polygon;
    bp::property_merge<int, int> merge;
    for (std::size_t i = 0; i != inputs.size(); ++i) {
        for (auto const& polygon : FlattenInput(inputs[i])) {
            std::vector<bp::point_data<int>> points;
            for (PointDbl const p : polygon)
                points.emplace_back(ToInteger(p.x), ToInteger(p.y));
            merge.insert(bp::polygon_data<int>(points.begin(), points.end()), static_cast<int>(i));
        }
    }
    std::map<std::set<int>, bp::polygon_set_data<int>> sets;
    merge.merge(sets);
    std::size_t faces = 0;
    for (auto const& [owners, set] : sets) {
        std::vector<bp::polygon_with_holes_data<int>> polygons;
        set.get(polygons);
        faces += polygons.size();
    }
    return faces;
}

std::size_t CutByClipper(Inputs const& inputs) {
    using namespace ClipperLib;
    struct Piece {
        Paths paths;
        IntRect box;
    };
    auto const boxOf = [](Paths const& paths) {
        IntRect box{paths[0][0].X, paths[0][0].Y, paths[0][0].X, paths[0][0].Y};
        for (Path const& path : paths) {
            for (IntPoint const& p : path)
                box = {std::min(box.left, p.X), std::min(box.top, p.Y), std::max(box.right, p.X),
                       std::max(box.bottom, p.Y)};
        }
        return box;
    };
    std::vector<Piece> pieces;
    auto const addParts = [&](PolyTree const& tree, std::vector<Piece>& to) {
        for (PolyNode const* node = tree.GetFirst(); node != nullptr; node = node->GetNext()) {
            if (node->IsHole())
                continue;
            Piece piece{{node->Contour}, {}};
            for (PolyNode const* hole : node->Childs)
                piece.paths.push_back(hole->Contour);
            piece.box = boxOf(piece.paths);
            to.push_back(std::move(piece));
        }
    };
    for (auto const& input : inputs) {
        Paths shape;
        for (auto const& polygon : FlattenInput(input)) {
            shape.emplace_back();
            for (PointDbl const p : polygon)
                shape.back().emplace_back(ToInteger(p.x), ToInteger(p.y));
        }
        IntRect const box = boxOf(shape);
        std::vector<Piece> next;
        Paths rest = shape, cut;
        for (Piece& piece : pieces) {
            if (piece.box.right < box.left || piece.box.left > box.right || piece.box.bottom < box.top ||
                piece.box.top > box.bottom) {
                next.push_back(std::move(piece));
                continue;
            }
            for (ClipType const type : {ctIntersection, ctDifference}) {
                Clipper clipper;
                clipper.AddPaths(piece.paths, ptSubject, true);
                clipper.AddPaths(shape, ptClip, true);
                PolyTree tree;
                clipper.Execute(type, tree, pftEvenOdd, pftEvenOdd);
                addParts(tree, next);
            }
            cut.insert(cut.end(), piece.paths.begin(), piece.paths.end());
        }
        Clipper clipper;
        clipper.AddPaths(shape, ptSubject, true);
        clipper.AddPaths(cut, ptClip, true);
        PolyTree tree;
        clipper.Execute(ctDifference, tree, pftEvenOdd, pftEvenOdd);
        addParts(tree, next);
        pieces = std::move(next);
    }
    return pieces.size();
}

void Compare(char const* name, Inputs const& inputs, bool slowPeers) {
    Sizes sizes;
    double const ours = Measure(3, [&] { sizes = Divide(inputs); });
    std::printf("%s: %zu faces, %zu sub-Béziers, %ld MB\n", name, sizes.faces, sizes.segments,
                MeasureMegabytes(inputs));
    std::printf("  %-44s %9.3f s\n", "planar map, Béziers to sub-Béziers", ours);
    auto const tell = [&](char const* peer, std::function<std::size_t()> const& work) {
        std::size_t count = 0;
        double const seconds = Measure(1, [&] { count = work(); });
        std::printf("  %-44s %9.3f s  %7.2f x ours  (%zu)\n", peer, seconds, seconds / ours, count);
    };
    tell("Boost.Polygon, crossings only (pieces)", [&] { return CutByBoost(inputs); });
    if (slowPeers) {
        tell("Boost.Polygon, overlay (faces)", [&] { return OverlayByBoost(inputs); });
        tell("Clipper, shape by shape (faces)", [&] { return CutByClipper(inputs); });
    }
}

// By the clock on the wall.
void TellThreads(char const* name, Inputs const& inputs) {
    // By turns, so that what else the machine does meets both.
    double one = std::numeric_limits<double>::infinity(), two = one;
    for (int i = 0; i != 11; ++i) {
        for (auto const& [threads, best] : {std::pair(1u, &one), std::pair(2u, &two)}) {
            Kernel::Dispatch::SetThreadCount(threads);
            auto const started = std::chrono::steady_clock::now();
            Divide(inputs);
            *best = std::min(*best, std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
        }
    }
    Kernel::Dispatch::SetThreadCount(1);
    std::printf("threads, %s: one %.3f s, two %.3f s, %.2f times as fast\n", name, one, two, one / two);
}

// Curves that nearly coincide, beside the same drawing with curves that plainly do or do not. The relative difference
// of the two areas.
double TellNear(char const* name, Inputs const& near, Inputs const& plain) {
    Sizes nearSizes, plainSizes;
    double nearBest = std::numeric_limits<double>::infinity(), plainBest = nearBest;
    // By turns, so that other work on the machine meets both.
    for (int i = 0; i != 5; ++i) {
        nearBest = std::min(nearBest, Measure(1, [&] { nearSizes = Divide(near); }));
        plainBest = std::min(plainBest, Measure(1, [&] { plainSizes = Divide(plain); }));
    }
    std::printf("  %-56s %8zu %10.4f %8.2f %8.2f", name, nearSizes.faces, nearBest,
                static_cast<double>(nearSizes.faces) / static_cast<double>(plainSizes.faces), nearBest / plainBest);
    return std::fabs(nearSizes.area / plainSizes.area - 1);
}

void TellAllNear() {
    std::printf("near, beside the plain drawing\n  %-56s %8s %10s %8s %8s %10s\n", "drawing", "pieces", "seconds",
                "pieces", "time", "area off");
    // Where the plain drawing has other shapes, the areas say nothing.
    auto const tell = [](char const* name, Inputs const& near, Inputs const& plain) {
        TellNear(name, near, plain);
        std::printf("\n");
    };
    auto const tellCopies = [](std::string const& name, Inputs const& near, Inputs const& plain) {
        std::printf(" %10.1e\n", TellNear(name.c_str(), near, plain));
    };
    tell("two circles 1e-7 apart (60)", Drawing::TwoCircles(1e-7), Drawing::TwoCircles(60));
    tell("50 rings in steps of 1e-4 (1)", Drawing::Rings(50, 1e-4), Drawing::Rings(50, 1));
    auto const circles = Drawing(1).Circles(50);
    for (int const decimals : {7, 5}) {
        tellCopies("50 circles under copies at " + std::to_string(decimals) + " decimals (all)",
                   Drawing::UnderCopies(circles, decimals), Drawing::UnderCopies(circles, 17));
    }
    if (char const* const path = std::getenv("REDRAFT_BENCH_DRAWING")) {
        auto const turned = Drawing::Turned(Drawing::ReadPaths(path));
        for (int const decimals : {7, 5})
            tellCopies("the drawing, turned, under a copy at " + std::to_string(decimals) + " decimals (alone)",
                       Drawing::UnderCopies(turned, decimals), turned);
    }
}

void TellGrowth() {
    std::printf("growth, circles of one density\n  %8s %10s %10s %16s\n", "circles", "faces", "seconds", "us a face");
    for (int const count : {10, 50, 200, 1000, 5000}) {
        auto const inputs = Drawing(3).Circles(count);
        Sizes sizes;
        double const seconds = Measure(count > 1000 ? 1 : 3, [&] { sizes = Divide(inputs); });
        std::printf("  %8d %10zu %10.4f %16.2f\n", count, sizes.faces, seconds,
                    1e6 * seconds / static_cast<double>(sizes.faces));
    }
}

// The processor time that the working thread takes from the setting of the flag to the exception, for aborts all over
// the work. Each the better of two, since other work on the machine makes any piece of work longer.
void TellAbort(char const* name, Inputs const& inputs) {
    clockid_t worker{};
    pthread_getcpuclockid(pthread_self(), &worker);
    auto const workerSeconds = [worker] {
        timespec now{};
        clock_gettime(worker, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
    };
    double const before = workerSeconds();
    Divide(inputs);
    double const whole = workerSeconds() - before;
    constexpr int c_aborts = 60;
    std::vector<double> latencies;
    for (int i = 0; i != c_aborts; ++i) {
        double best = std::numeric_limits<double>::infinity();
        for (int again = 0; again != 2; ++again) {
            bool abort = false;
            double set = 0;
            double const start = workerSeconds(), due = start + whole * (i + 0.5) / c_aborts;
            std::thread other([&] {
                while (workerSeconds() < due)
                    std::this_thread::sleep_for(std::chrono::microseconds(20));
                set = workerSeconds();
                std::atomic_ref<bool>(abort).store(true);
            });
            double seen = 0;
            // The caller's own objects go after the clock has stopped.
            Kernel::Counted<CurveIntersectionGraph> graph;
            std::map<unsigned, CurveIntersectionGraph::DividedResult> results;
            try {
                graph = CurveIntersectionGraph::Create(inputs, CurveIntersectionGraph::BoolOpMethod::Divide, false,
                                                       false, &abort, nullptr, true)
                            .first;
                graph->Divide(results, true);
                // It may be done before the time has come.
                while (workerSeconds() < due)
                    ;
            } catch (Kernel::AbortException const&) {
                seen = workerSeconds();
            }
            other.join();
            if (seen != 0)
                best = std::min(best, seen - set);
        }
        if (best < std::numeric_limits<double>::infinity())
            latencies.push_back(best);
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("  %-28s %8zu %12.3f %12.3f %12.3f\n", name, latencies.size(), 1e3 * latencies[latencies.size() / 2],
                1e3 * latencies[latencies.size() * 95 / 100], 1e3 * latencies.back());
}

class Inserter final : public StructureCommandHelper {
public:
    using StructureCommandHelper::InsertChildAfter;
    using StructureCommandHelper::UndoStructureChanges;
};

// So many pieces put into the document by a command, each behind the shape that it came from, and taken out again.
void TellInsert() {
    std::printf("insert of pieces into a document\n  %8s %10s %16s %10s\n", "pieces", "seconds", "ns a piece", "undo");
    for (int const count : {120'000, 240'000, 480'000}) {
        std::vector<Kernel::Counted<Node>> pieces;
        for (int i = 0; i != count; ++i)
            pieces.push_back(Kernel::MakeCounted<PolyCurveNode>());
        Kernel::Counted<Node> const parent = Kernel::MakeCounted<GroupNode>();
        Kernel::Counted<Node> const shape = Kernel::MakeCounted<PolyCurveNode>();
        parent->InsertChild(NodeChildListType::Plain, shape, nullptr);
        Inserter inserter;
        double const seconds = Measure(1, [&] {
            for (auto const& piece : pieces)
                inserter.InsertChildAfter(parent, piece, shape, false, false);
        });
        double const undo = Measure(1, [&] {
            for (auto const& piece : pieces)
                inserter.UndoStructureChanges(piece);
        });
        std::printf("  %8d %10.3f %16.1f %10.3f\n", count, seconds, 1e9 * seconds / count, undo);
    }
}

} // namespace

int main(int count, char** arguments) {
    Kernel::Dispatch::SetThreadCount(1);
    std::string const chosen = count < 2 ? "all" : arguments[1];
    bool const slowPeers = chosen != "quick";
    auto const isWanted = [&](char const* part) { return chosen == "all" || chosen == "quick" || chosen == part; };
    auto const circles = Drawing(1).Circles(1000), tiles = Drawing::Tiles(30, 30),
               lines = Drawing(2).Scribbles(2, 2000, false), cubics = Drawing(2).Scribbles(2, 2000, true);
    if (isWanted("compare")) {
        Compare("1000 circles", circles, slowPeers);
        Compare("900 tiles that share edges", tiles, true);
        Compare("two scribbles of 2000 lines", lines, false);
        Compare("two scribbles of 2000 cubics", cubics, false);
        if (char const* const path = std::getenv("REDRAFT_BENCH_DRAWING"))
            Compare(path, Drawing::ReadPaths(path), false);
    }
    if (isWanted("growth"))
        TellGrowth();
    if (isWanted("near"))
        TellAllNear();
    if (isWanted("threads")) {
        TellThreads("1000 circles", circles);
        TellThreads("scribbles of cubics", cubics);
    }
    if (isWanted("abort")) {
        std::printf("abort, ms until it is seen\n  %-28s %8s %12s %12s %12s\n", "drawing", "aborts", "median", "95 %",
                    "longest");
        TellAbort("1000 circles", circles);
        TellAbort("900 tiles that share edges", tiles);
        TellAbort("scribbles of cubics", cubics);
    }
    if (isWanted("insert"))
        TellInsert();
}
