// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/importer.h"
#include "platform/geometry/path_data.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

using Geometry::PointDbl;

Kernel::Counted<ShapeNode> MakeShapeNode(Kernel::Counted<ShapeDefinition const> definition) {
    return Kernel::MakeCounted<ShapeNode>(std::move(definition));
}

Kernel::Counted<Geometry::PolyCurveDbl> MakePolygon(std::vector<PointDbl> const& points, bool isClosed) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(points.front());
    for (std::size_t i = 1; i < points.size(); ++i)
        curve->LineTo(points[i]);
    if (isClosed)
        curve->Close();
    return Kernel::MakeCounted<Geometry::PolyCurveDbl>(curve);
}

bool IsFinitePoint(PointDbl p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// A point of an outline with the directions of the segments that meet there, in radians.
struct Vertex {
    PointDbl place;
    std::optional<double> in, out;
};

std::optional<double> Direction(PointDbl from, PointDbl to) {
    if (from == to || !IsFinitePoint(from) || !IsFinitePoint(to))
        return std::nullopt;
    return std::atan2(to.y - from.y, to.x - from.x);
}

std::optional<double> StartDirection(Geometry::Segment const& s) {
    for (PointDbl const to : {s.control1, s.control2, s.end})
        if (auto const direction = Direction(s.start, to))
            return direction;
    return std::nullopt;
}

std::optional<double> EndDirection(Geometry::Segment const& s) {
    for (PointDbl const from : {s.control2, s.control1, s.start})
        if (auto const direction = Direction(from, s.end))
            return direction;
    return std::nullopt;
}

// SVG 1.1, section 11.6.2, with the directions of segments without length as its appendix F.5 gives them.
std::vector<Vertex> FindVertices(Geometry::PolyCurveDbl const& outline) {
    std::vector<Vertex> vertices;
    for (auto const& curve : outline.GetCurves()) {
        if (curve->empty())
            continue;
        std::size_t const first = vertices.size();
        vertices.push_back({curve->GetStart(), std::nullopt, std::nullopt});
        for (Geometry::Segment const segment : curve->GetSegments()) {
            // The vertex after a segment without a direction takes the one before.
            auto const start = StartDirection(segment), end = EndDirection(segment);
            vertices.back().out = start ? start : vertices.back().in;
            vertices.push_back({segment.end, end ? end : vertices.back().out, std::nullopt});
        }
        if (curve->IsClosed()) {
            vertices[first].in = vertices.back().in;
            vertices.back().out = vertices[first].out;
        }
    }
    return vertices;
}

double MeanDirection(Vertex const& vertex) {
    if (!vertex.in || !vertex.out)
        return vertex.in.value_or(vertex.out.value_or(0));
    // The sum of the unit vectors; opposite ones have none, and the way in turned by a quarter is taken.
    double const x = std::cos(*vertex.in) + std::cos(*vertex.out), y = std::sin(*vertex.in) + std::sin(*vertex.out);
    return std::hypot(x, y) < 1e-9 ? *vertex.in + std::acos(0.0) : std::atan2(y, x);
}

} // namespace

Kernel::Counted<CurvesNode> Importer::BuildShape(Element const& element) {
    auto curves = Kernel::Counted<Geometry::PolyCurveDbl>();
    switch (element.GetKind()) {
    case ElementKind::Rect: {
        auto const rect = element.GetRect();
        if (!rect)
            return {};
        auto shape = Kernel::MakeCounted<RectangleShape>();
        shape->box = {rect->x, rect->y, rect->x + rect->width, rect->y + rect->height};
        if (rect->rx > 0 && rect->ry > 0)
            // Sides of the box are rounded: halves of those are what a written drawing says.
            shape->cornerRadius = {std::min(rect->rx, shape->box.GetWidth() / 2),
                                   std::min(rect->ry, shape->box.GetHeight() / 2)};
        return MakeShapeNode(shape);
    }
    case ElementKind::Circle:
    case ElementKind::Ellipse: {
        auto const ellipse = element.GetEllipse();
        if (!ellipse)
            return {};
        auto shape = Kernel::MakeCounted<EllipseShape>();
        shape->box = {ellipse->cx - ellipse->rx, ellipse->cy - ellipse->ry, ellipse->cx + ellipse->rx,
                      ellipse->cy + ellipse->ry};
        return MakeShapeNode(shape);
    }
    case ElementKind::Line: {
        auto const line = element.GetLine();
        curves = MakePolygon({line.start, line.end}, false);
        break;
    }
    case ElementKind::Polyline:
    case ElementKind::Polygon: {
        auto const points = element.GetPoints();
        if (points.size() < 2)
            return {};
        curves = MakePolygon(points, element.GetKind() == ElementKind::Polygon);
        break;
    }
    case ElementKind::Path: {
        auto const data = Geometry::ReadPathData(element.GetPathData());
        if (data.error)
            m_drawing.GetReport().Add("invalid value of d", element.Describe());
        curves = data.curves;
        break;
    }
    default:
        return {};
    }
    if (curves->empty())
        return {};
    auto node = Kernel::MakeCounted<PolyCurveNode>();
    bool const isAlternating = element.GetStyle().fillRule == FillRule::EvenOdd;
    node->EditState<CurvesState>([&](CurvesState& state) {
        state.curves = std::move(curves);
        if (isAlternating)
            state.windingOrderMode = Geometry::WindingOrderMode::Alternating;
    });
    return node;
}

namespace {

// Control points that all lie on one line, to the last bit, enclose nothing.
bool HasInterior(Geometry::PolyCurveDbl const& outline) {
    return std::any_of(outline.GetCurves().begin(), outline.GetCurves().end(), [](auto const& curve) {
        auto const points = curve->GetPoints();
        if (points.size() < 3)
            return false;
        PointDbl const start = points[0];
        auto const other =
            std::find_if(points.begin(), points.end(), [&](PointDbl p) { return p.x != start.x || p.y != start.y; });
        return std::any_of(other, points.end(), [&](PointDbl p) {
            return (other->x - start.x) * (p.y - start.y) != (other->y - start.y) * (p.x - start.x);
        });
    });
}

// Fill is black unless said otherwise, also that of lines, where there is nothing to be filled. Commands that work on
// areas would take such a line for an area.
void DropFillOfLine(CurvesNode& shape) {
    auto const outline = shape.GetOutline();
    if (outline && !outline->empty() && !HasInterior(*outline))
        shape.SetBrushFillDescriptor({});
}

void DropLine(CurvesNode& shape) {
    shape.EditState<LineStyleState>([](LineStyleState& state) { state = {}; });
}

// Adds a shape to the group of its markers. Where they come between fill and stroke the shape becomes two.
void InsertInPaintOrder(std::array<PaintLayer, 3> const& order, Kernel::Counted<CurvesNode> const& shape,
                        GroupNode& group) {
    Kernel::Counted<Node> const firstMarker(group.GetFirstChild(NodeChildListType::Plain));
    auto isShown = [&](PaintLayer layer) {
        return layer == PaintLayer::Fill ? shape->IsBrushFillVisible(0) : shape->IsLineStyleVisible();
    };
    auto const markers = std::find(order.begin(), order.end(), PaintLayer::Markers);
    bool const hasBelow = std::any_of(order.begin(), markers, isShown);
    bool const hasAbove = markers != order.end() && std::any_of(std::next(markers), order.end(), isShown);
    if (!hasBelow || !hasAbove) {
        group.InsertChild(NodeChildListType::Plain, shape, hasAbove ? nullptr : firstMarker.get());
        return;
    }
    CloneContext context(CloneType::Copy);
    auto const above = Kernel::Cast<CurvesNode>(shape->Clone(context));
    bool const fillIsBelow = order.front() == PaintLayer::Fill;
    CurvesNode &withFill = fillIsBelow ? *shape : *above, &withLine = fillIsBelow ? *above : *shape;
    DropLine(withFill);
    withLine.SetBrushFillDescriptor({});
    withLine.SetLineBehindFill(false);
    withFill.SetLineBehindFill(false);
    group.InsertChild(NodeChildListType::Plain, shape, firstMarker.get());
    group.InsertChild(NodeChildListType::Plain, above, nullptr);
}

} // namespace

Importer::SceneNodePointer Importer::BuildPaintedShape(Element const& element) {
    auto const shape = BuildShape(element);
    if (!shape)
        return {};
    m_paints.Apply(element, *shape, m_contextPaints);
    InheritedStyle const& style = element.GetStyle();
    bool const hasMarkers = !(style.markerStart.empty() && style.markerMid.empty() && style.markerEnd.empty());
    auto const kind = element.GetKind();
    bool const takesMarkers = kind == ElementKind::Path || kind == ElementKind::Line || kind == ElementKind::Polyline ||
                              kind == ElementKind::Polygon;
    // An outline stored without fill and line shows nothing, but may be given some by the user: it stays.
    if (!hasMarkers || !takesMarkers || !style.visible) {
        DropFillOfLine(*shape);
        return shape;
    }
    auto const group = Kernel::MakeCounted<GroupNode>();
    AddMarkers(element, *shape, *group);
    DropFillOfLine(*shape);
    if (!group->HasChildren(NodeChildListType::Plain))
        return shape;
    InsertInPaintOrder(style.paintOrder, shape, *group);
    return group;
}

void Importer::AddMarkers(Element const& element, CurvesNode const& line, GroupNode& group) {
    auto const outline = line.GetOutline();
    auto const vertices = outline ? FindVertices(*outline) : std::vector<Vertex>();
    if (vertices.empty())
        return;
    InheritedStyle const& style = element.GetStyle();
    ContextPaints const outer = m_contextPaints;
    m_contextPaints = {line.GetBrushFillDescriptor(true), line.GetPenFillDescriptor(), true};
    auto find = [&](std::string_view id, std::string_view property) {
        return id.empty() ? std::nullopt : element.Follow(id, {ElementKind::Marker}, property);
    };
    auto const start = find(style.markerStart, "marker-start"), middle = find(style.markerMid, "marker-mid"),
               end = find(style.markerEnd, "marker-end");
    auto add = [&](std::optional<Element> const& marker, std::size_t index, bool isStart) {
        if (!marker)
            return;
        Vertex const& vertex = vertices[index];
        double const angle = MeanDirection(vertex);
        AddMarker(*marker, element,
                  {std::cos(angle), -std::sin(angle), vertex.place.x, std::sin(angle), std::cos(angle), vertex.place.y},
                  isStart, group);
    };
    add(start, 0, true);
    for (std::size_t i = 1; i + 1 < vertices.size(); ++i)
        add(middle, i, false);
    add(end, vertices.size() - 1, false);
    m_contextPaints = outer;
}

// `place` moves to the vertex and turns along the line. SVG 1.1, section 11.6.3.
void Importer::AddMarker(Element const& marker, Element const& line, Matrix const& place, bool isStart,
                         GroupNode& group) {
    if (!marker.IsDisplayed())
        return;
    auto const orient = Trimmed(marker.Find(Name::Orient).value_or("0"));
    Matrix matrix = place;
    if (isStart && orient == "auto-start-reverse")
        matrix = matrix * Scale(-1, -1);
    if (orient != "auto" && orient != "auto-start-reverse") {
        Scanner scanner(orient);
        double const angle = TakeAngleRadians(scanner).value_or(0);
        matrix = {std::cos(angle), -std::sin(angle), place.tx, std::sin(angle), std::cos(angle), place.ty};
    }
    if (Trimmed(marker.Find(Name::MarkerUnits).value_or("strokeWidth")) == "strokeWidth") {
        double const weight = line.GetStyle().strokeWidth.Resolve(line.GetViewport().GetDiagonal());
        matrix = matrix * Scale(weight, weight);
    }
    double const width = marker.GetX(Name::MarkerWidth, {3, false}),
                 height = marker.GetY(Name::MarkerHeight, {3, false});
    if (!(width > 0 && height > 0))
        return;
    Viewport frame{0, 0, width, height};
    auto const viewBoxText = marker.Find(Name::ViewBox);
    auto const viewBox = viewBoxText ? ParseViewBox(*viewBoxText) : std::nullopt;
    Matrix fit;
    if (viewBox) {
        if (!(viewBox->width > 0 && viewBox->height > 0))
            return;
        auto const aspect = ParseAspectRatio(marker.Find(Name::PreserveAspectRatio).value_or("xMidYMid"));
        fit = FitTransform(*viewBox, frame, aspect.value_or(AspectRatio{}));
        frame = *viewBox;
    }
    PointDbl const reference = fit.Apply(PointDbl{marker.GetLength(Name::RefX).Resolve(frame.width),
                                                  marker.GetLength(Name::RefY).Resolve(frame.height)});
    matrix = matrix * Translation(-reference.x, -reference.y) * fit;
    if (!IsFinite(matrix) || !(std::abs(matrix.GetDeterminant()) > 1e-128))
        return;
    auto const content = Kernel::MakeCounted<GroupNode>();
    BuildChildren(marker, *content);
    if (!content->HasChildren(NodeChildListType::Plain))
        return;
    if (marker.GetOwnStyle().overflow != Overflow::Visible) {
        Kernel::RectT<double> const clip = viewBox ? fit.GetInverse().Apply(Kernel::RectT<double>{0, 0, width, height})
                                                   : Kernel::RectT<double>{0, 0, width, height};
        ClipToRectangle(clip, *content);
    }
    content->SetTransform(WithoutNegativeZeros(matrix), false);
    if (marker.GetOwnStyle().opacity != 1) {
        content->SetOpacity(marker.GetOwnStyle().opacity);
        content->SetIsolated(true);
    }
    group.InsertChild(NodeChildListType::Plain, content, nullptr);
}

} // namespace Formats::Svg
