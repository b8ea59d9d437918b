// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/outline_builder.h"

#include "engine/geometry/flattening.h"
#include "engine/geometry/tangents.h"
#include "engine/renderer/stroker.h"
#include "platform/geometry/curve_operations.h"
#include "platform/renderer/line_outline.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

// A pattern of a shorter period, in pixels, is drawn solid.
constexpr double c_smallestDashPeriod = 1.0 / 16;
// Points of all dashes of a contour, and pixels that their edges may cross together; with more of either it is drawn
// solid.
constexpr std::size_t c_maximumDashPoints = std::size_t{1} << 22;
constexpr double c_maximumDashPixels = 1 << 24;
// Pieces that a contour under a pressure profile is cut into at least.
constexpr double c_pressurePieces = 128;

class FillSink {
public:
    explicit FillSink(Polygons& out) : m_out(out) {}
    void Begin(PointDbl start, bool) { m_out.Add(start); }
    void Vertex(PointDbl p, bool) { m_out.Add(p); }
    void End() { m_out.EndPolygon(); }

private:
    Polygons& m_out;
};

// The largest factor by which a transform lengthens.
double GetLargestScale(Transform const& transform) {
    auto const& m = transform.GetParams();
    double const sum = m.a * m.a + m.b * m.b + m.c * m.c + m.d * m.d, determinant = transform.GetDeterminant();
    double const discriminant = std::max(0.0, sum * sum - 4 * determinant * determinant);
    return std::sqrt((sum + std::sqrt(discriminant)) / 2);
}

// Lengths of all directions scale alike.
bool IsSimilarity(Transform const& transform) {
    auto const& m = transform.GetParams();
    double const size = std::fabs(m.a) + std::fabs(m.b) + std::fabs(m.c) + std::fabs(m.d);
    auto const same = [size](double x, double y) { return std::fabs(x - y) <= 1e-9 * size; };
    return (same(m.a, m.d) && same(m.b, -m.c)) || (same(m.a, -m.d) && same(m.b, m.c));
}

RectDbl Grown(RectDbl const& r, double by) { return {r.left - by, r.top - by, r.right + by, r.bottom + by}; }

// The factor of the width at a place along a contour, from a pressure curve.
class Pressure final : public Geometry::FlattenSink {
public:
    explicit Pressure(Geometry::CurveDbl const& curve) { Geometry::Flatten(curve, {}, 1e-3, {}, *this); }
    void Begin(PointDbl start, bool) override { m_points.push_back(start); }
    void Vertex(PointDbl p, bool) override {
        // A curve that runs backwards is no function of the place.
        if (p.x >= m_points.back().x)
            m_points.push_back(p);
    }
    void End() override {}

    double At(double place) const {
        if (m_points.empty())
            return 1;
        auto const after = std::ranges::lower_bound(m_points, place, {}, &PointDbl::x);
        if (after == m_points.begin())
            return std::max(0.0, after->y);
        if (after == m_points.end())
            return std::max(0.0, m_points.back().y);
        auto const before = after - 1;
        double const t = (place - before->x) / (after->x - before->x);
        return std::max(0.0, before->y + (after->y - before->y) * t);
    }

private:
    std::vector<PointDbl> m_points;
};

double GetStep(LinePoint const& a, LinePoint const& b) {
    double const x = b.p.x - a.p.x, y = b.p.y - a.p.y;
    return std::sqrt(x * x + y * y);
}

double GetLength(Polyline const& line) {
    double length = 0;
    for (std::size_t i = 1; i < line.points.size(); ++i)
        length += GetStep(line.points[i - 1], line.points[i]);
    if (line.closed && !line.points.empty())
        length += GetStep(line.points.back(), line.points.front());
    return length;
}

// The line walked from its end.
void Reverse(std::vector<LinePoint>& points) {
    std::ranges::reverse(points);
    for (LinePoint& point : points) {
        std::swap(point.arrival, point.departure);
        point.arrival = {-point.arrival.x, -point.arrival.y};
        point.departure = {-point.departure.x, -point.departure.y};
    }
}

// Builds the line of one contour after another.
class LineSink {
public:
    LineSink(LineRequest const& request, Polygons& out) : m_request(request), m_out(out) {
        m_line.points = TakeReusedVector<LinePoint>();
        auto const& style = *request.style.GetLineStyle();
        double weight = style.GetWeightOrZero();
        m_space = request.toPixels;
        double pixelsPerUnit = 1;
        if (!request.style.GetScaleWithObject()) {
            weight *= request.scalar;
        } else if (IsSimilarity(request.toPixels)) {
            weight *= request.toPixels.GetUniformScale();
        } else {
            // The pen is turned and stretched with the object: the line is made in the object's space.
            pixelsPerUnit = GetLargestScale(request.toPixels);
            m_toPixels = request.toPixels;
            m_space = Transform();
        }
        weight *= request.widthFactor;
        m_shape.halfWidth = weight / 2;
        m_shape.cap = style.GetDrawnCap();
        m_shape.join = style.GetDrawnJoin();
        if (style.GetBrush().IsBroad())
            m_nib = GetNib(style.GetBrush());
        m_shape.mitreLimit = std::isfinite(style.GetMitreLimit()) ? std::max(1.0, style.GetMitreLimit()) : 1;
        m_shape.tolerance = c_flatteningTolerance / pixelsPerUnit;
        // The doubled line of an alignment has the dashes of the single one.
        m_dashes = MakeDashPattern(style, weight / request.widthFactor, c_smallestDashPeriod / pixelsPerUnit);
        RectDbl const seen =
            m_toPixels.IsIdentity() ? request.visible : m_toPixels.GetInverse().GetParams().Apply(request.visible);
        m_visible = Grown(seen, m_shape.GetReach() * std::max(1.0, GetLargestPressure()) + 2 / pixelsPerUnit);
    }

    ~LineSink() { GiveBack(std::move(m_line.points)); }
    LineSink(LineSink const&) = delete;
    LineSink& operator=(LineSink const&) = delete;

    bool IsUsable() const {
        return m_shape.halfWidth > 0 && std::isfinite(m_shape.halfWidth) && m_shape.tolerance > 0 &&
               std::isfinite(m_shape.tolerance);
    }
    Transform const& GetSpace() const { return m_space; }
    double GetTolerance() const { return m_shape.tolerance; }
    RectDbl const& GetVisible() const { return m_visible; }

    void Begin(PointDbl start, bool closed) {
        m_line.points.clear();
        m_line.points.push_back({start});
        m_line.closed = closed;
    }
    void EnterCubic(Geometry::Segment const& cubic) {
        m_line.points.back().departure = Geometry::Detail::GetStartTangent(cubic);
        m_arrival = Geometry::Detail::GetEndTangent(cubic);
    }
    void Vertex(PointDbl p, bool smooth) {
        m_line.points.push_back({p, 1, smooth});
        if (!smooth)
            m_line.points.back().arrival = std::exchange(m_arrival, {});
    }
    void End() {
        bool const wanted =
            m_request.parts == LineParts::All || m_line.closed == (m_request.parts == LineParts::Closed);
        // An open start alone is no line.
        if (!wanted || (m_line.points.size() == 1 && !m_line.closed))
            return;
        AddThrough(m_toPixels, m_out, [&](Polygons& out) { AddContour(out); });
    }

private:
    // Adds what add(polygons) adds, transformed. Most lines are made in pixels with a round pen, and need no copy.
    template <class Add>
    static void AddThrough(Transform const& transform, Polygons& out, Add const& add) {
        if (transform.IsIdentity()) {
            add(out);
            return;
        }
        Polygons piece;
        add(piece);
        piece.ApplyTransform(transform);
        out.Append(piece);
    }

    double GetLargestPressure() const {
        if (!m_request.style.GetPressure())
            return 1;
        auto const bounds = m_request.style.GetPressure()->GetBounds();
        return bounds ? bounds->bottom : 1;
    }

    void AddContour(Polygons& out) {
        if (!m_line.closed)
            AddHeads(out);
        if (m_request.style.GetPressure())
            ApplyPressure();
        if (!m_line.points.empty())
            AddThrough(m_nib, out, [&](Polygons& stroke) { AddStroke(stroke); });
    }

    // In the space that the line is made in: it turns with an object that the line scales with.
    Transform GetNib(LineBrush const& brush) const {
        Transform const shape = brush.GetShape();
        if (!m_request.style.GetScaleWithObject() || m_space.IsIdentity())
            return shape;
        auto turn = m_space.GetParams();
        turn.tx = turn.ty = 0;
        return Transform(turn) * shape * Transform(turn).GetInverse();
    }

    // One dash, or the whole contour. Under a nib lines are made where it is a circle.
    void Stroke(Stroker& stroker, Polyline const& line) const {
        if (m_nib.IsIdentity()) {
            stroker.Stroke(line);
            return;
        }
        Transform const toCircle = m_nib.GetInverse();
        PointDbl const origin = toCircle.Apply({0, 0});
        auto const turn = [&](PointDbl direction) {
            PointDbl const p = toCircle.Apply(direction);
            return Geometry::Detail::ToUnit({p.x - origin.x, p.y - origin.y});
        };
        Polyline turned = line;
        for (LinePoint& point : turned.points) {
            point.p = toCircle.Apply(point.p);
            point.arrival = turn(point.arrival);
            point.departure = turn(point.departure);
        }
        stroker.Stroke(turned);
    }

    void AddStroke(Polygons& out) {
        Stroker stroker(m_shape, out);
        if (!m_dashes.lengths.empty()) {
            Polygons::Mark const before = out.GetMark();
            double const seenSide = std::max(m_request.visible.GetWidth(), m_request.visible.GetHeight());
            double const pixelsEach =
                std::min(c_flatteningTolerance / m_shape.tolerance * 2 * m_shape.halfWidth, seenSide);
            double pixels = 0;
            if (ForEachDash(m_line, m_dashes, m_visible, [&](Polyline const& dash) {
                    if (IsSeen(dash)) {
                        Stroke(stroker, dash);
                        pixels += pixelsEach;
                    }
                    return out.GetPoints().size() - before.points <= c_maximumDashPoints &&
                           pixels <= c_maximumDashPixels;
                }))
                return;
            out.GoBackTo(before);
        }
        Stroke(stroker, m_line);
    }

    bool IsSeen(Polyline const& line) const {
        auto const isInside = [this](LinePoint const& point) {
            return point.p.x >= m_visible.left && point.p.x <= m_visible.right && point.p.y >= m_visible.top &&
                   point.p.y <= m_visible.bottom;
        };
        // Most are seen as a whole.
        if (isInside(line.points.front()))
            return true;
        auto const [left, right] = std::ranges::minmax(line.points, {}, [](LinePoint const& v) { return v.p.x; });
        auto const [top, bottom] = std::ranges::minmax(line.points, {}, [](LinePoint const& v) { return v.p.y; });
        return right.p.x >= m_visible.left && left.p.x <= m_visible.right && bottom.p.y >= m_visible.top &&
               top.p.y <= m_visible.bottom;
    }

    // Cuts long steps, so that widths follow the profile, and sets the width of each point.
    void ApplyPressure() {
        Pressure const pressure(*m_request.style.GetPressure());
        double const total = GetLength(m_line);
        if (!(total > 0) || !std::isfinite(total))
            return;
        double const longest = total / c_pressurePieces;
        std::vector<LinePoint> points;
        double done = 0;
        auto const add = [&](LinePoint at) {
            at.width = pressure.At(done / total);
            points.push_back(at);
        };
        add(m_line.points.front());
        auto const go = [&](LinePoint const& a, LinePoint const& b, bool addEnd) {
            double const length = GetStep(a, b), start = done;
            int const pieces = std::max(1, static_cast<int>(std::ceil(length / longest)));
            for (int i = 1; i < pieces; ++i) {
                double const t = static_cast<double>(i) / pieces;
                done = start + length * t;
                add({{a.p.x + (b.p.x - a.p.x) * t, a.p.y + (b.p.y - a.p.y) * t}, 1, true});
            }
            done = start + length;
            if (addEnd)
                add(b);
        };
        for (std::size_t i = 1; i < m_line.points.size(); ++i)
            go(m_line.points[i - 1], m_line.points[i], true);
        if (m_line.closed)
            go(m_line.points.back(), m_line.points.front(), false);
        m_line.points = std::move(points);
    }

    // Places the heads and takes away as much of the line as they cover.
    void AddHeads(Polygons& out) {
        auto const& style = m_request.style;
        if (auto const& head = style.GetBackArrowHead(); head && head->GetShape())
            AddHead(*head, out);
        if (auto const& head = style.GetFrontArrowHead(); head && head->GetShape()) {
            Reverse(m_line.points);
            AddHead(*head, out);
            Reverse(m_line.points);
        }
    }

    void AddHead(LineStyleArrowHead const& head, Polygons& out) {
        double const weight = 2 * m_shape.halfWidth;
        Transform const scale = Transform::Scale(head.GetScaleX() * weight, head.GetScaleY() * weight);
        auto const bounds = head.GetShape()->GetBounds(scale);
        if (!bounds || m_line.points.size() < 2)
            return;
        double const offset = GetHeadOffset(*bounds);
        PointDbl const tip = m_line.points.back().p;
        Trim(offset);
        PointDbl const from = m_line.points.empty() ? tip : FindOther(tip);
        double const x = tip.x - from.x, y = tip.y - from.y, length = std::sqrt(x * x + y * y);
        if (!(length > 0) || !std::isfinite(length))
            return;
        Transform const turn({x / length, -y / length, tip.x, y / length, x / length, tip.y});
        Polygons shape;
        FillSink sink(shape);
        Geometry::Detail::FlattenInto(*head.GetShape(), turn * Transform::Translation(-offset, 0) * scale,
                                      m_shape.tolerance, {}, sink);
        AddAlike(shape, out);
    }

    // Lines run from x to y; a head that runs the other way would cancel where it lies over its line.
    static void AddAlike(Polygons const& shape, Polygons& out) {
        double area = 0;
        for (std::size_t i = 0; i != shape.GetCount(); ++i) {
            auto const polygon = shape.GetPolygon(i);
            PointDbl const o = polygon.front();
            for (std::size_t k = 1; k + 1 < polygon.size(); ++k)
                area +=
                    (polygon[k].x - o.x) * (polygon[k + 1].y - o.y) - (polygon[k].y - o.y) * (polygon[k + 1].x - o.x);
        }
        for (std::size_t i = 0; i != shape.GetCount(); ++i) {
            auto const polygon = shape.GetPolygon(i);
            for (std::size_t k = 0; k != polygon.size(); ++k)
                out.Add(area < 0 ? polygon[polygon.size() - 1 - k] : polygon[k]);
            out.EndPolygon();
        }
    }

    // How far the head's shape has to be moved back.
    double GetHeadOffset(RectDbl const& bounds) const {
        return m_request.style.GetArrowHeadsBeyondEnds() ? 0.0 : std::max(0.0, bounds.right);
    }

    // The last point of the line that is not the tip.
    PointDbl FindOther(PointDbl tip) const {
        for (std::size_t i = m_line.points.size(); i-- != 0;) {
            if (m_line.points[i].p != tip)
                return m_line.points[i].p;
        }
        return tip;
    }

    // Shortens the line at its end; at least its first step's direction is left.
    void Trim(double length) {
        while (length > 0 && m_line.points.size() > 1) {
            LinePoint& last = m_line.points.back();
            LinePoint const& before = m_line.points[m_line.points.size() - 2];
            double const step = GetStep(before, last);
            if (step > length || m_line.points.size() == 2) {
                double const t = step > 0 ? std::min(length / step, 1 - 1e-6) : 0;
                last.p = {last.p.x + (before.p.x - last.p.x) * t, last.p.y + (before.p.y - last.p.y) * t};
                last.smooth = false;
                last.arrival = {};
                return;
            }
            length -= step;
            m_line.points.pop_back();
        }
    }

    LineRequest const& m_request;
    Polygons& m_out;
    // From the curves' space to the one the line is made in, and on to pixels.
    Transform m_space;
    Transform m_toPixels;
    // From a circle to the nib; the identity for a plain line.
    Transform m_nib;
    StrokeShape m_shape;
    DashPattern m_dashes;
    RectDbl m_visible;
    Polyline m_line;
    // The direction in which the cubic that was entered last arrives.
    PointDbl m_arrival{};
};

} // namespace

void AddFillOutline(Geometry::PolyCurveDbl const& curves, Transform const& toPixels, RectDbl const& visible,
                    Polygons& out) {
    FillSink sink(out);
    Geometry::Detail::FlattenInto(curves, toPixels, c_flatteningTolerance, Grown(visible, 2), sink);
}

std::optional<RectDbl> GetHullBounds(Geometry::PolyCurveDbl const& curves, Transform const& toPixels) {
    std::optional<RectDbl> all;
    for (auto const& curve : curves.GetCurves()) {
        if (curve->empty())
            continue;
        PointDbl const start = toPixels.Apply(curve->GetStart());
        RectDbl one{start.x, start.y, start.x, start.y};
        bool finite = true;
        for (PointDbl const& local : curve->GetPoints()) {
            PointDbl const p = toPixels.Apply(local);
            finite = finite && std::isfinite(p.x) && std::isfinite(p.y);
            one = {std::min(one.left, p.x), std::min(one.top, p.y), std::max(one.right, p.x),
                   std::max(one.bottom, p.y)};
        }
        if (finite)
            all = !all ? one
                       : RectDbl{std::min(all->left, one.left), std::min(all->top, one.top),
                                 std::max(all->right, one.right), std::max(all->bottom, one.bottom)};
    }
    return all;
}

double GetLineReach(LineRequest const& request) {
    auto const& line = request.style;
    if (line.IsLineStyleNone())
        return 0;
    auto const& style = *line.GetLineStyle();
    double const pixelsPerUnit = line.GetScaleWithObject() ? GetLargestScale(request.toPixels) : request.scalar;
    double const weight = style.GetWeightOrZero() * request.widthFactor * pixelsPerUnit;
    StrokeShape shape;
    shape.halfWidth = weight / 2;
    shape.cap = style.GetDrawnCap();
    shape.join = style.GetDrawnJoin();
    shape.mitreLimit = style.GetMitreLimit();
    double reach = shape.GetReach();
    if (auto const& pressure = line.GetPressure()) {
        auto const bounds = pressure->GetBounds();
        reach *= bounds ? std::max(1.0, bounds->bottom) : 1;
    }
    for (auto const* head : {line.GetFrontArrowHead().get(), line.GetBackArrowHead().get()}) {
        if (head == nullptr || !head->GetShape())
            continue;
        auto const size =
            head->GetShape()->GetBounds(Transform::Scale(head->GetScaleX() * weight, head->GetScaleY() * weight));
        if (size)
            reach = std::max({reach, 2 * std::max(std::fabs(size->left), std::fabs(size->right)) + reach,
                              std::fabs(size->top) + reach, std::fabs(size->bottom) + reach});
    }
    return reach;
}

void AddLineOutline(Geometry::PolyCurveDbl const& curves, LineRequest const& request, Polygons& out) {
    double const determinant = std::fabs(request.toPixels.GetDeterminant());
    if (request.style.IsLineStyleNone() || !(determinant > 1e-128) || !std::isfinite(determinant))
        return;
    LineSink sink(request, out);
    if (sink.IsUsable())
        Geometry::Detail::FlattenInto(curves, sink.GetSpace(), sink.GetTolerance(), sink.GetVisible(), sink);
}

} // namespace Renderer::Detail

namespace Renderer {

Kernel::Counted<Geometry::PolyCurveDbl> MakeLineOutline(Geometry::PolyCurveDbl const& curves,
                                                        LineStyleDescriptorConst const& line,
                                                        Geometry::Transform const& toTarget, double tolerance) {
    // A pixel is as large as its tolerance says.
    double const scale = Detail::c_flatteningTolerance / tolerance;
    Geometry::Transform const toPixels = Geometry::Transform::Scale(scale, scale) * toTarget;
    auto const visible = Detail::GetHullBounds(curves, toPixels);
    if (!visible)
        return {};
    Detail::Polygons polygons;
    Detail::AddLineOutline(curves, {line, toPixels, scale, *visible}, polygons);
    if (polygons.empty())
        return {};
    polygons.ApplyTransform(toPixels.GetInverse());
    auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (std::size_t i = 0; i != polygons.GetCount(); ++i) {
        auto const polygon = polygons.GetPolygon(i);
        auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo(polygon.front());
        for (auto const& p : polygon.subspan(1))
            curve->LineTo(p);
        curve->Close();
        outline->AddCurve(curve);
    }
    return outline;
}

} // namespace Renderer
