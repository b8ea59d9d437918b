// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/line_bounds.h"

#include "engine/geometry/tangents.h"
#include "platform/geometry/curve_operations.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>

namespace {

using Geometry::PointDbl;
using Geometry::Segment;
using Geometry::Transform;
using Params = Raster::AffineTransform::Params;
using Rect = Kernel::RectT<double>;

// The direction in which a segment leaves its start; zero where it has none. Bounds are stored in histories: their last
// digits stay.
PointDbl GetStartDirection(Segment const& s) {
    PointDbl const handle = Geometry::Detail::GetStartHandle(s);
    double const length = std::hypot(handle.x, handle.y);
    return length > 0 && std::isfinite(length) ? PointDbl{handle.x / length, handle.y / length} : PointDbl{0, 0};
}

PointDbl GetEndDirection(Segment const& s) {
    PointDbl const back = GetStartDirection(Geometry::Detail::FromItsEnd(s));
    return {-back.x, -back.y};
}

// A round pen of radius 1 on a line that scales with its object is an ellipse in the spread's space, this far from its
// middle to its sides and to its top.
PointDbl GetPenExtent(Params const& toSpread) {
    return {std::hypot(toSpread.a, toSpread.b), std::hypot(toSpread.c, toSpread.d)};
}

class LineExtent {
public:
    LineExtent(Renderer::LineStyle const& style, double halfWidth, Params const& toSpread)
        : m_style(style), m_half(halfWidth), m_toSpread(toSpread), m_penExtent(GetPenExtent(toSpread)) {}

    void Add(Geometry::CurveDbl const& curve, Transform const& toLine) {
        std::optional<PointDbl> first, last;
        PointDbl firstPoint{}, lastPoint{};
        for (Segment const& local : curve.GetSegments()) {
            Segment const s = local.Transformed(toLine);
            PointDbl const from = GetStartDirection(s), to = GetEndDirection(s);
            if (from == PointDbl{0, 0})
                continue;
            AddSegment(s, from);
            if (last)
                AddJoin(s.start, *last, from);
            else
                first = from;
            if (first && !last)
                firstPoint = s.start;
            last = to;
            lastPoint = s.end;
        }
        if (!first) {
            AddDot(toLine.Apply(curve.GetStart()));
        } else if (curve.IsClosed()) {
            AddJoin(firstPoint, *last, *first);
        } else {
            AddCap(firstPoint, {-first->x, -first->y});
            AddCap(lastPoint, *last);
        }
    }

    Rect Get() const { return m_bounds.value_or(Rect{}); }

private:
    void AddPoint(PointDbl p) {
        PointDbl const q = Transform(m_toSpread).Apply(p);
        if (std::isfinite(q.x) && std::isfinite(q.y))
            Unite({q.x, q.y, q.x, q.y});
    }

    void Unite(Rect const& r) {
        m_bounds = m_bounds ? Rect{std::min(m_bounds->left, r.left), std::min(m_bounds->top, r.top),
                                   std::max(m_bounds->right, r.right), std::max(m_bounds->bottom, r.bottom)}
                            : r;
    }

    void AddGrown(Rect const& r) {
        double const x = m_half * m_penExtent.x, y = m_half * m_penExtent.y;
        Unite({r.left - x, r.top - y, r.right + x, r.bottom + y});
    }

    void AddPen(PointDbl p) {
        PointDbl const q = Transform(m_toSpread).Apply(p);
        if (std::isfinite(q.x) && std::isfinite(q.y))
            AddGrown({q.x, q.y, q.x, q.y});
    }

    void AddAcross(PointDbl p, PointDbl direction) {
        AddPoint({p.x + direction.y * m_half, p.y - direction.x * m_half});
        AddPoint({p.x - direction.y * m_half, p.y + direction.x * m_half});
    }

    void AddSegment(Segment const& s, PointDbl direction) {
        if (s.kind == Geometry::SegmentKind::Line) {
            AddAcross(s.start, direction);
            AddAcross(s.end, direction);
            return;
        }
        std::optional<Rect> bounds;
        if (Geometry::ExtendBounds(s.Transformed(Transform(m_toSpread)), bounds))
            AddGrown(*bounds);
    }

    void AddJoin(PointDbl p, PointDbl from, PointDbl to) {
        if (m_style.GetDrawnJoin() == Renderer::LineJoin::Round)
            return AddPen(p);
        double const cosine = from.x * to.x + from.y * to.y;
        double const limit = std::max(1.0, m_style.GetMitreLimit());
        // The square of the mitre's length over the width is 2 / (1 + cosine). At the very limit rounding may let the
        // line have the mitre or not.
        constexpr double c_rounding = 1 + 1e-6;
        if (m_style.GetDrawnJoin() != Renderer::LineJoin::Mitre || !(2 <= limit * limit * (1 + cosine) * c_rounding))
            return;
        double const cross = from.x * to.y - from.y * to.x;
        double const reach = (cross < 0 ? -m_half : m_half) / (1 + cosine);
        AddPoint({p.x + (from.y + to.y) * reach, p.y - (from.x + to.x) * reach});
    }

    void AddCap(PointDbl p, PointDbl direction) {
        if (m_style.GetDrawnCap() == Renderer::LineCap::Round)
            AddPen(p);
        else if (m_style.GetDrawnCap() == Renderer::LineCap::Square)
            AddAcross({p.x + direction.x * m_half, p.y + direction.y * m_half}, direction);
    }

    void AddDot(PointDbl p) {
        AddPoint(p);
        if (m_style.GetDrawnCap() == Renderer::LineCap::Round)
            AddPen(p);
        else if (m_style.GetDrawnCap() == Renderer::LineCap::Square)
            for (PointDbl const& direction : {PointDbl{1, 0}, PointDbl{-1, 0}})
                AddAcross({p.x + direction.x * m_half, p.y}, direction);
    }

    Renderer::LineStyle const& m_style;
    double m_half;
    Params m_toSpread;
    PointDbl m_penExtent;
    std::optional<Rect> m_bounds;
};

// Surely enough, whatever the line does, in the space that it is drawn in.
double GetFarthestReach(Renderer::LineStyleDescriptorConst const& line, double half) {
    auto const& style = *line.GetLineStyle();
    double const corner = style.GetDrawnJoin() == Renderer::LineJoin::Mitre ? std::max(style.GetMitreLimit(), 1.0) : 1;
    double reach = half * std::max(corner, std::numbers::sqrt2);
    if (auto const& pressure = line.GetPressure()) {
        auto const bounds = pressure->GetBounds();
        reach *= bounds ? std::max(1.0, bounds->bottom) : 1;
    }
    double heads = 0;
    for (auto const* head : {line.GetFrontArrowHead().get(), line.GetBackArrowHead().get()}) {
        if (head == nullptr || !head->GetShape())
            continue;
        double const weight = style.GetWeightOrZero();
        auto const box =
            head->GetShape()->GetBounds(Transform::Scale(head->GetScaleX() * weight, head->GetScaleY() * weight));
        if (box)
            heads = std::max(
                {heads, std::fabs(box->left), std::fabs(box->right), std::fabs(box->top), std::fabs(box->bottom)});
    }
    return reach + 2 * heads;
}

// Half the weight; the whole of it where the line lies beside the outline.
double GetHalfWidth(Renderer::LineStyleDescriptorConst const& line) {
    bool const isCentred = line.GetStrokeAlignment() == Renderer::StrokeAlignment::Centre;
    return line.GetLineStyle()->GetWeightOrZero() * (isCentred ? 0.5 : 1);
}

// False for a line that reaches nowhere beyond its outline.
bool ReachesOut(Renderer::LineStyleDescriptorConst const& line, double half) {
    return line.GetStrokeAlignment() != Renderer::StrokeAlignment::Inside && half > 0 && std::isfinite(half);
}

Rect GrownByReach(Rect const& bounds, Renderer::LineStyleDescriptorConst const& line, double half,
                  Params const& toSpread) {
    double const reach = GetFarthestReach(line, half);
    PointDbl const extent = line.GetScaleWithObject() ? GetPenExtent(toSpread) : PointDbl{1, 1};
    return {bounds.left - reach * extent.x, bounds.top - reach * extent.y, bounds.right + reach * extent.x,
            bounds.bottom + reach * extent.y};
}

} // namespace

Rect GetLineBounds(Geometry::PolyCurveDbl const& outline, Renderer::LineStyleDescriptorConst const& line,
                   Params const& toSpread) {
    auto const bounds = outline.GetBounds(Transform(toSpread));
    if (!bounds)
        return {};
    bool const scales = line.GetScaleWithObject();
    double const half = GetHalfWidth(line);
    if (!ReachesOut(line, half))
        return *bounds;
    if (line.GetPressure() || line.GetFrontArrowHead() || line.GetBackArrowHead())
        return GrownByReach(*bounds, line, half, toSpread);
    auto const& style = *line.GetLineStyle();
    Transform toLine = scales ? Transform() : Transform(toSpread);
    Transform fromLine = scales ? Transform(toSpread) : Transform();
    if (style.GetBrush().IsBroad()) {
        // The line is made where its nib is a circle.
        Transform const nib = style.GetBrush().GetShape();
        toLine = nib.GetInverse() * toLine;
        fromLine = fromLine * nib;
    }
    LineExtent extent(style, half, fromLine.GetParams());
    for (auto const& curve : outline.GetCurves()) {
        if (!curve->empty())
            extent.Add(*curve, toLine);
    }
    // The fill may reach farther than a bevelled line of it.
    Rect const covered = extent.Get();
    return {std::min(bounds->left, covered.left), std::min(bounds->top, covered.top),
            std::max(bounds->right, covered.right), std::max(bounds->bottom, covered.bottom)};
}

std::optional<Rect> FindRoomOfLine(Geometry::PolyCurveDbl const& outline,
                                   Renderer::LineStyleDescriptorConst const* line, Params const& toSpread) {
    // Far more than what transforming corners in place of points can make of rounding.
    constexpr double c_rounding = 1e-9;
    constexpr double c_infinite = std::numeric_limits<double>::infinity();
    Rect box{c_infinite, c_infinite, -c_infinite, -c_infinite};
    for (auto const& curve : outline.GetCurves()) {
        for (PointDbl const& p : curve->GetPoints())
            box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x),
                   std::max(box.bottom, p.y)};
    }
    if (!(box.left <= box.right))
        return {};
    box = toSpread.Apply(box);
    if (line != nullptr) {
        double const half = GetHalfWidth(*line);
        if (ReachesOut(*line, half))
            box = GrownByReach(box, *line, half, toSpread);
    }
    double const slack = c_rounding * (std::fabs(box.left) + std::fabs(box.top) + std::fabs(box.right) +
                                       std::fabs(box.bottom) + std::fabs(toSpread.tx) + std::fabs(toSpread.ty));
    box = {box.left - slack, box.top - slack, box.right + slack, box.bottom + slack};
    bool const isFinite =
        std::isfinite(box.left) && std::isfinite(box.top) && std::isfinite(box.right) && std::isfinite(box.bottom);
    return isFinite ? std::optional(box) : std::nullopt;
}
