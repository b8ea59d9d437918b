// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/adversarial_shapes.h"

#include <array>

namespace MapTests {

using Geometry::Segment;
using Geometry::SegmentKind;
using Geometry::Transform;

namespace {

PointDbl Mix(PointDbl a, PointDbl b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }
PointDbl Plus(PointDbl a, PointDbl b) { return {a.x + b.x, a.y + b.y}; }
PointDbl OnCircle(PointDbl centre, double radius, double angle) {
    return {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)};
}

std::vector<Segment> SegmentsOf(Graph::Input const& input) {
    std::vector<Segment> segments;
    for (auto const& segment : input.curves[0].curves->GetCurves()[0]->GetSegments())
        segments.push_back(segment.Transformed(input.transform));
    return segments;
}

std::vector<Segment> PolygonOf(std::vector<PointDbl> const& corners) {
    std::vector<Segment> segments;
    for (std::size_t i = 0; i != corners.size(); ++i)
        segments.push_back(Segment::Line(corners[i], corners[(i + 1) % corners.size()]));
    return segments;
}

} // namespace

void AdversarialShapes::AddShape(Segments const& segments, bool closed) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(segments.front().start);
    for (Segment const& s : segments) {
        if (s.kind == SegmentKind::Line)
            curve->LineTo(s.end);
        else
            curve->CubicTo(s.control1, s.control2, s.end);
    }
    if (closed)
        curve->Close();
    Add(MakeInput(curve));
    m_inputs.back().windingOrderMode = static_cast<Geometry::WindingOrderMode>(Below(2));
}

void AdversarialShapes::TangentArcs() {
    PointDbl const centre = AnyPoint();
    double const radius = Number(5, 40);
    Add(Circle(centre.x, centre.y, radius));
    for (std::uint32_t i = 1 + Below(5); i-- != 0;) {
        double const angle = Coin() ? Below(16) * std::numbers::pi / 8 : Number(0, 7);
        double const other = Coin() ? radius / (1 + Below(4)) : Number(0.01, 30);
        double const gap = Below(3) == 0 ? (Coin() ? 1 : -1) * Tiny(3, 15) * radius : 0;
        PointDbl const p = OnCircle(centre, Coin() ? radius + other + gap : radius - other + gap, angle);
        Add(Circle(p.x, p.y, other));
        if (Below(3) == 0) {
            // A half plane that the circle touches.
            PointDbl const touch = OnCircle(centre, radius + gap, angle), along{-std::sin(angle), std::cos(angle)};
            PointDbl const out{40 * std::cos(angle), 40 * std::sin(angle)};
            PointDbl const a = Plus(touch, {30 * along.x, 30 * along.y}),
                           b = Plus(touch, {-50 * along.x, -50 * along.y});
            AddShape(PolygonOf({a, b, Plus(b, out), Plus(a, out)}));
        }
    }
}

void AdversarialShapes::NearlyCoincidentCubics() {
    Segment const first = AnyCubic();
    for (std::uint32_t i = 2 + Below(3); i-- != 0;) {
        double const size = Below(4) == 0 ? 0 : Tiny(1, 15);
        auto const moved = [&](PointDbl p) { return Plus(p, {Number(-size, size), Number(-size, size)}); };
        bool const sameEnds = Coin();
        Segment next = Segment::Cubic(sameEnds ? first.start : moved(first.start), moved(first.control1),
                                      moved(first.control2), sameEnds ? first.end : moved(first.end));
        if (Coin())
            next = Geometry::Reversed(next);
        Segments shape = {next};
        if (Coin()) {
            PointDbl const p = AnyPoint();
            shape.push_back(Segment::Line(next.end, p));
        }
        AddShape(shape);
    }
}

void AdversarialShapes::CuspsLoopsAndCollapsedCubics() {
    for (std::uint32_t i = 1 + Below(3); i-- != 0;) {
        PointDbl const a = AnyPoint(), b = AnyPoint(), c = AnyPoint();
        double const e = Below(3) == 0 ? Tiny(2, 15) : 0;
        switch (Below(9)) {
        case 0: // A cusp at the middle: both controls mirrored across it.
            AddShape({Segment::Cubic(a, {b.x + e, b.y}, {a.x, b.y}, {b.x, a.y})});
            break;
        case 1: // A loop.
            AddShape({Segment::Cubic(a, Plus(b, {120, 0}), Plus(a, {-120, e}), b)});
            break;
        case 2: // From a point back to it.
            AddShape({Segment::Cubic(a, b, c, {a.x + e, a.y})});
            break;
        case 3: // Both controls on the ends.
            AddShape({Segment::Cubic(a, a, b, b), Segment::Cubic(b, b, c, c), Segment::Cubic(c, c, a, a)});
            break;
        case 4: // Both controls in one point.
            AddShape({Segment::Cubic(a, c, c, b), Segment::Line(b, AnyPoint())});
            break;
        case 5: // Turns back on its own line.
            AddShape({Segment::Cubic(a, Mix(a, b, Number(-2, 3)), Plus(Mix(a, b, Number(-2, 3)), {e, 0}), b),
                      Segment::Line(b, c)});
            break;
        case 6: // A point.
            AddShape(
                {Segment::Cubic(a, a, a, a), Segment::Line(a, b), Segment::Cubic(b, b, b, b), Segment::Line(b, c)});
            break;
        case 7: // Controls swapped: the curve crosses itself.
            AddShape({Segment::Cubic(a, {b.x, a.y + 70}, {a.x, b.y + 70}, {b.x, a.y + e})});
            break;
        default: // Nearly a cusp.
            AddShape({Segment::Cubic({0, 0}, {100, 100 + e}, {0, 100}, {100, 0}), Segment::Line({100, 0}, c)});
        }
    }
    Add(Rectangle(20, 20, 60, 70));
}

void AdversarialShapes::LinesRaisedToCubics() {
    auto const raised = [&](PointDbl a, PointDbl b) {
        switch (Below(4)) {
        case 0:
            return Segment::Line(a, b);
        case 1:
            return Segment::Cubic(a, Mix(a, b, 1.0 / 3), Mix(a, b, 2.0 / 3), b);
        case 2:
            return Segment::Cubic(a, a, b, b);
        default:
            return Segment::Cubic(a, Mix(a, b, Number(0, 0.7)), Mix(a, b, Number(0.3, 1)), b);
        }
    };
    // All on few lines, so that edges overlap.
    for (std::uint32_t shape = 2 + Below(4); shape-- != 0;) {
        Segments segments;
        std::vector<PointDbl> corners;
        for (std::uint32_t i = 3 + Below(4); i-- != 0;) {
            PointDbl const p = RasterPoint(5);
            // A skewed raster, whose lines have no exact points.
            corners.push_back({p.x * 17.3 + p.y * 3.1, p.y * 13.7 - p.x * 1.9});
        }
        for (std::size_t i = 0; i != corners.size(); ++i)
            segments.push_back(raised(corners[i], corners[(i + 1) % corners.size()]));
        AddShape(segments);
    }
}

void AdversarialShapes::RepeatedShapes() {
    Segments shape = Coin() ? SegmentsOf(m_random.RandomEllipse()) : SegmentsOf(m_random.RandomScribble(3));
    for (std::uint32_t i = 2 + Below(6); i-- != 0;) {
        Segments next = shape;
        if (Coin())
            std::rotate(next.begin(), next.begin() + 1, next.end());
        if (Coin()) {
            std::reverse(next.begin(), next.end());
            for (Segment& s : next)
                s = Geometry::Reversed(s);
        }
        if (Coin()) {
            auto const [before, after] = Geometry::Split(next[0], Number(0.01, 0.99));
            next[0] = before;
            next.insert(next.begin() + 1, after);
        }
        if (Below(3) == 0)
            next.insert(next.end(), shape.begin(), shape.end());
        AddShape(next);
    }
    if (Coin())
        Add(m_random.RandomCircle());
}

void AdversarialShapes::CirclesThroughOnePoint() {
    PointDbl const p = AnyPoint();
    for (std::uint32_t i = 3 + Below(10); i-- != 0;) {
        double const radius = Number(1, 50), angle = Coin() ? Below(12) * std::numbers::pi / 6 : Number(0, 7);
        PointDbl const centre = OnCircle(p, radius, angle);
        Add(Circle(centre.x, centre.y, radius));
        if (Coin())
            m_inputs.back().transform = Transform::Translation(centre.x, centre.y) * Transform::Rotation(Number(0, 7)) *
                                        Transform::Translation(-centre.x, -centre.y);
    }
}

void AdversarialShapes::Star() {
    PointDbl const centre = AnyPoint();
    std::uint32_t const count = 3 + Below(60);
    double const e = Coin() ? 0 : Tiny(4, 15);
    for (std::uint32_t i = 0; i != count; ++i) {
        double const angle = Coin() ? 2 * std::numbers::pi * i / count : Number(0, 7), length = Number(10, 60);
        PointDbl const middle = Plus(centre, {Number(-e, e), Number(-e, e)});
        AddShape(PolygonOf({OnCircle(middle, length, angle), OnCircle(middle, length, angle + Number(0.01, 0.2)),
                            OnCircle(middle, length, angle + std::numbers::pi),
                            OnCircle(middle, length, angle + std::numbers::pi + 0.05)}));
        if (Below(4) == 0)
            AddShape({Segment::Cubic(centre, OnCircle(centre, 50, angle), OnCircle(centre, 50, angle + 1), centre)});
    }
}

void AdversarialShapes::TinyRotations() {
    Graph::Input const shape = Below(3) == 0   ? m_random.RandomRoundedRectangle()
                               : Below(2) == 0 ? m_random.RandomEllipse()
                                               : m_random.RandomScribble(4);
    PointDbl const centre = Coin() ? PointDbl{50, 50} : AnyPoint();
    for (std::uint32_t i = 2 + Below(4); i-- != 0;) {
        Graph::Input next = shape;
        next.transform = Transform::Translation(centre.x, centre.y) *
                         Transform::Rotation((Coin() ? 1 : -1) * Tiny(1, 16)) *
                         Transform::Translation(-centre.x, -centre.y) * shape.transform;
        Add(next);
    }
}

void AdversarialShapes::DirtyPolygons() {
    for (std::uint32_t shape = 1 + Below(3); shape-- != 0;) {
        std::vector<PointDbl> corners;
        for (std::uint32_t i = 3 + Below(5); i-- != 0;)
            corners.push_back(Coin() ? AnyPoint() : RasterPoint(100));
        for (std::uint32_t i = 1 + Below(8); i-- != 0;) {
            std::size_t const at = Below(static_cast<std::uint32_t>(corners.size()));
            PointDbl const p = corners[at], next = corners[(at + 1) % corners.size()];
            auto const place = corners.begin() + static_cast<std::ptrdiff_t>(at) + 1;
            switch (Below(5)) {
            case 0: // The same corner again.
                corners.insert(place, p);
                break;
            case 1: { // A spike.
                PointDbl const tip = AnyPoint();
                corners.insert(place, {tip, p});
                break;
            }
            case 2: // Forth, back and forth along the next edge.
                corners.insert(place, {Mix(p, next, Number(0.3, 1.2)), Mix(p, next, Number(-0.2, 0.7))});
                break;
            case 3: // A corner next to nothing away.
                corners.insert(place, Plus(p, {Tiny(3, 17), -Tiny(3, 17)}));
                break;
            default: // A corner in the middle of an edge.
                corners.insert(place, Mix(p, next, 0.5));
            }
        }
        AddShape(PolygonOf(corners));
    }
}

void AdversarialShapes::SmallRasterPolygons() {
    std::uint32_t const raster = 3 + Below(8);
    for (std::uint32_t shape = 1 + Below(4); shape-- != 0;) {
        std::vector<PointDbl> corners;
        for (std::uint32_t i = 3 + Below(12); i-- != 0;)
            corners.push_back(RasterPoint(raster));
        AddShape(PolygonOf(corners));
    }
}

void AdversarialShapes::SmallRasterCubics() {
    std::uint32_t const raster = 2 + Below(6);
    for (std::uint32_t shape = 1 + Below(4); shape-- != 0;) {
        Segments segments;
        PointDbl at = RasterPoint(raster);
        for (std::uint32_t i = 1 + Below(4); i-- != 0;) {
            PointDbl const a = RasterPoint(raster), b = RasterPoint(raster), c = RasterPoint(raster);
            segments.push_back(Below(4) == 0 ? Segment::Line(at, c) : Segment::Cubic(at, a, b, c));
            at = c;
        }
        AddShape(segments);
    }
}

void AdversarialShapes::SharedCurvedEdges() {
    // A curve that several neighbours have in common, each cut at places of its own.
    Segment const common = AnyCubic();
    for (std::uint32_t shape = 2 + Below(3); shape-- != 0;) {
        Segments pieces = {common};
        for (std::uint32_t i = Below(4); i-- != 0;) {
            auto const [before, after] = Geometry::Split(pieces.back(), Number(0.05, 0.95));
            pieces.back() = before;
            pieces.push_back(after);
        }
        double const gap = Below(3) == 0 ? Tiny(5, 15) : 0;
        for (Segment& s : pieces)
            s = s.Transformed(Transform::Translation(gap, -gap));
        PointDbl const p = AnyPoint(), q = AnyPoint();
        pieces.push_back(Coin() ? Segment::Line(pieces.back().end, p) : Segment::Cubic(pieces.back().end, q, p, p));
        AddShape(pieces);
    }
}

void AdversarialShapes::PartsOfOneCurve() {
    Segment const whole = AnyCubic();
    for (std::uint32_t i = 2 + Below(4); i-- != 0;) {
        double const a = Below(3) == 0 ? 0 : Number(0, 0.9), b = Below(3) == 0 ? 1 : Number(a + 0.05, 1);
        Segment part = Geometry::GetPiece(whole, a, std::min(b, 1.0));
        if (Coin())
            part = Geometry::Reversed(part);
        Segments shape = {part};
        if (Coin())
            shape.push_back(Segment::Line(part.end, AnyPoint()));
        AddShape(shape);
    }
}

void AdversarialShapes::HighOrderContacts() {
    // Curves through one point with equal tangents, and some with equal second derivatives there.
    PointDbl const p = AnyPoint();
    double const angle = Coin() ? Below(8) * std::numbers::pi / 4 : Number(0, 7);
    PointDbl const d{20 * std::cos(angle), 20 * std::sin(angle)};
    double const bend = Number(-30, 30);
    for (std::uint32_t i = 2 + Below(4); i-- != 0;) {
        double const speed = Coin() ? 1 : Number(0.3, 2), own = Coin() ? bend : Number(-30, 30);
        PointDbl const e = Below(4) == 0 ? PointDbl{Tiny(3, 15), Tiny(3, 15)} : PointDbl{0, 0};
        // In front of and behind the point: a cubic each, joined smoothly.
        PointDbl const start = Plus(p, e), normal{-d.y / 20, d.x / 20};
        auto const half = [&](double sign) {
            PointDbl const c1 = Plus(start, {sign * d.x * speed, sign * d.y * speed});
            PointDbl const c2 = Plus(start, {sign * 2 * d.x * speed + own * speed * speed * normal.x,
                                             sign * 2 * d.y * speed + own * speed * speed * normal.y});
            double const further = Number(-20, 20);
            return Segment::Cubic(
                start, c1, c2,
                Plus(c2, {sign * d.x * speed + further * normal.x, sign * d.y * speed + further * normal.y}));
        };
        Segments shape = {Geometry::Reversed(half(-1)), half(1)};
        if (Coin())
            shape.push_back(Segment::Line(shape.back().end, AnyPoint()));
        AddShape(shape);
    }
}

void AdversarialShapes::NearlyParallelSlivers() {
    PointDbl const a = AnyPoint(), b = AnyPoint();
    for (std::uint32_t i = 2 + Below(6); i-- != 0;) {
        double const e = Tiny(1, 14);
        auto const near = [&] { return Plus(Mix(a, b, Number(-0.3, 1.3)), {Number(-e, e), Number(-e, e)}); };
        PointDbl const p = near(), q = near(), r = Coin() ? near() : AnyPoint();
        AddShape(PolygonOf({p, q, r}));
    }
}

void AdversarialShapes::ScaledAndFarAway() {
    AddFamily(Below(15));
    double const scale = std::pow(10.0, static_cast<double>(Below(13)) - 6),
                 far = Coin() ? 0 : scale * 1e5 * Number(-1, 1);
    Transform const whole = Transform::Translation(far, -0.7 * far) * Transform::Scale(scale, scale);
    // Into the coordinates, which are then the drawing.
    for (Graph::Input& input : m_inputs) {
        auto const placed = InPlace(input);
        placed->ApplyTransform(whole);
        input.curves = {{placed, {}}};
        input.transform = {};
    }
}

void AdversarialShapes::Mixture() {
    AddFamily(Below(15));
    AddFamily(Below(15));
    if (m_inputs.size() > 10)
        m_inputs.resize(10);
    for (Graph::Input& input : m_inputs) {
        input.filled = Below(6) != 0;
        input.strokedFront = Coin();
        input.strokedBehind = Coin();
        if (Below(12) == 0)
            input = AsClip(input);
    }
}

void AdversarialShapes::NestedRings() {
    Graph::Input ring = Rectangle(0, 0, 100, 100);
    double inset = 0;
    for (std::uint32_t i = 2 + Below(8); i-- != 0;) {
        inset += Coin() ? Number(0.5, 6) : (Coin() ? 0 : Tiny(3, 14));
        PointDbl const shift = Coin() ? PointDbl{0, 0} : PointDbl{inset / 2, -inset / 3};
        auto const inner = Coin() ? Rectangle(inset + shift.x, inset + shift.y, 100 - inset + shift.x, 100 - inset)
                                  : Circle(50 + shift.x, 50 + shift.y, 50 - inset);
        ring.curves.push_back(inner.curves[0]);
        if (Below(3) == 0)
            Add(inner);
    }
    ring.windingOrderMode = static_cast<Geometry::WindingOrderMode>(Below(2));
    Add(ring);
}

void AdversarialShapes::TouchingVertices() {
    // Corners that lie on the others' edges, but for the rounding of their coordinates.
    std::vector<std::pair<PointDbl, PointDbl>> edges = {{AnyPoint(), AnyPoint()}};
    for (std::uint32_t shape = 2 + Below(4); shape-- != 0;) {
        std::vector<PointDbl> corners;
        for (std::uint32_t i = 3 + Below(3); i-- != 0;) {
            auto const& [a, b] = edges[Below(static_cast<std::uint32_t>(edges.size()))];
            PointDbl p = Coin() ? Mix(a, b, Coin() ? 0.5 : Number(0, 1)) : AnyPoint();
            if (Below(4) == 0)
                p = Plus(p, {Tiny(6, 15), -Tiny(6, 15)});
            corners.push_back(p);
        }
        for (std::size_t i = 0; i != corners.size(); ++i)
            edges.emplace_back(corners[i], corners[(i + 1) % corners.size()]);
        AddShape(PolygonOf(corners));
    }
}

void AdversarialShapes::HairpinsAndSpikes() {
    for (std::uint32_t i = 1 + Below(4); i-- != 0;) {
        Segment const s = AnyCubic();
        double const e = Coin() ? 0 : Tiny(2, 15);
        // Forth along a curve and back along it, or nearly so, on the way round a shape.
        Segment back = Geometry::Reversed(s);
        back.control1.x += e;
        back.control2.y -= e;
        PointDbl const p = AnyPoint(), q = AnyPoint();
        AddShape({Segment::Line(p, s.start), s, back, Segment::Line(back.end, q)});
    }
    if (Coin())
        Add(m_random.RandomRoundedRectangle());
}

namespace {

constexpr std::uint32_t c_familyCount = 20;
constexpr std::array<char const*, c_familyCount> c_names = {"tangent arcs",
                                                            "nearly coincident cubics",
                                                            "cusps, loops and collapsed cubics",
                                                            "lines raised to cubics",
                                                            "repeated shapes",
                                                            "circles through one point",
                                                            "star",
                                                            "tiny rotations",
                                                            "dirty polygons",
                                                            "small raster polygons",
                                                            "small raster cubics",
                                                            "shared curved edges",
                                                            "parts of one curve",
                                                            "high-order contacts",
                                                            "nearly parallel slivers",
                                                            "scaled and far away",
                                                            "mixture",
                                                            "nested rings",
                                                            "touching vertices",
                                                            "hairpins and spikes"};

} // namespace

std::uint32_t AdversarialShapes::GetFamilyCount() { return c_familyCount; }
char const* AdversarialShapes::GetFamilyName(std::uint32_t family) { return c_names[family]; }

void AdversarialShapes::AddFamily(std::uint32_t family) {
    using Family = void (AdversarialShapes::*)();
    constexpr std::array<Family, c_familyCount> c_families = {&AdversarialShapes::TangentArcs,
                                                              &AdversarialShapes::NearlyCoincidentCubics,
                                                              &AdversarialShapes::CuspsLoopsAndCollapsedCubics,
                                                              &AdversarialShapes::LinesRaisedToCubics,
                                                              &AdversarialShapes::RepeatedShapes,
                                                              &AdversarialShapes::CirclesThroughOnePoint,
                                                              &AdversarialShapes::Star,
                                                              &AdversarialShapes::TinyRotations,
                                                              &AdversarialShapes::DirtyPolygons,
                                                              &AdversarialShapes::SmallRasterPolygons,
                                                              &AdversarialShapes::SmallRasterCubics,
                                                              &AdversarialShapes::SharedCurvedEdges,
                                                              &AdversarialShapes::PartsOfOneCurve,
                                                              &AdversarialShapes::HighOrderContacts,
                                                              &AdversarialShapes::NearlyParallelSlivers,
                                                              &AdversarialShapes::ScaledAndFarAway,
                                                              &AdversarialShapes::Mixture,
                                                              &AdversarialShapes::NestedRings,
                                                              &AdversarialShapes::TouchingVertices,
                                                              &AdversarialShapes::HairpinsAndSpikes};
    (this->*c_families[family])();
}

std::vector<Graph::Input> AdversarialShapes::Draw() {
    m_inputs.clear();
    AddFamily(m_family);
    return std::move(m_inputs);
}

} // namespace MapTests
