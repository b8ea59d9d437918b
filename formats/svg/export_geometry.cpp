// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"

#include <cmath>

namespace Formats::Svg {

namespace {

// A few numbers around one, the nearest first.
std::array<double, 7> Near(double value) {
    double const up = std::nextafter(value, HUGE_VAL), down = std::nextafter(value, -HUGE_VAL);
    double const up2 = std::nextafter(up, HUGE_VAL), down2 = std::nextafter(down, -HUGE_VAL);
    return {value, up, down, up2, down2, std::nextafter(up2, HUGE_VAL), std::nextafter(down2, -HUGE_VAL)};
}

// A size whose sum with the start is exactly the end where there is one: so that reading gives back the same box.
double FindSize(double start, double end) {
    for (double const size : Near(end - start))
        if (start + size == end)
            return size;
    return end - start;
}

struct Radius {
    double centre;
    double radius;
};

Radius FindRadius(double start, double end) {
    double const half = (end - start) / 2;
    for (double const centre : Near(start + half))
        for (double const radius : Near(half))
            if (centre - radius == start && centre + radius == end)
                return {centre, radius};
    return {start + half, half};
}

RectangleShape const* FindRectangle(CurvesNode const& node) {
    auto const* const shape = Kernel::CastPointer<ShapeNode const>(&node);
    return shape == nullptr ? nullptr : dynamic_cast<RectangleShape const*>(shape->GetShapeDefinition().get());
}

EllipseShape const* FindEllipse(CurvesNode const& node) {
    auto const* const shape = Kernel::CastPointer<ShapeNode const>(&node);
    return shape == nullptr ? nullptr : dynamic_cast<EllipseShape const*>(shape->GetShapeDefinition().get());
}

// A turned box and one without area have an outline, but no element.
bool IsUpright(Kernel::RectT<double> const& box) {
    return box.GetWidth() > 0 && box.GetHeight() > 0 && std::isfinite(box.left) && std::isfinite(box.top) &&
           std::isfinite(box.right) && std::isfinite(box.bottom);
}

} // namespace

std::string_view Exporter::ChooseElement(CurvesNode const& node) {
    if (node.FindState(InterfaceId::GeometryModifier) != nullptr)
        return "path";
    if (auto const* const rectangle = FindRectangle(node); rectangle != nullptr && IsUpright(rectangle->box))
        return "rect";
    if (auto const* const ellipse = FindEllipse(node); ellipse != nullptr && IsUpright(ellipse->box))
        return "ellipse";
    return "path";
}

void Exporter::WriteGeometry(XmlWriter& out, CurvesNode const& node, std::string_view element,
                             std::string_view ruleName) {
    if (element == "rect") {
        RectangleShape const& shape = *FindRectangle(node);
        out.Attribute("x", shape.box.left);
        out.Attribute("y", shape.box.top);
        out.Attribute("width", FindSize(shape.box.left, shape.box.right));
        out.Attribute("height", FindSize(shape.box.top, shape.box.bottom));
        if (shape.cornerRadius.x > 0 && shape.cornerRadius.y > 0 && std::isfinite(shape.cornerRadius.x) &&
            std::isfinite(shape.cornerRadius.y)) {
            out.Attribute("rx", shape.cornerRadius.x);
            out.Attribute("ry", shape.cornerRadius.y);
        }
        return;
    }
    if (element == "ellipse") {
        EllipseShape const& shape = *FindEllipse(node);
        Radius const horizontal = FindRadius(shape.box.left, shape.box.right);
        Radius const vertical = FindRadius(shape.box.top, shape.box.bottom);
        out.Attribute("cx", horizontal.centre);
        out.Attribute("cy", vertical.centre);
        out.Attribute("rx", horizontal.radius);
        out.Attribute("ry", vertical.radius);
        return;
    }
    if (node.GetWindingOrderMode() == Geometry::WindingOrderMode::Alternating)
        out.Attribute(ruleName, "evenodd");
    auto const outline = node.GetOutline();
    auto const bounds = outline ? outline->GetBounds() : std::nullopt;
    // Without bounds there is no point, or one that path data has no form for.
    out.Attribute("d", bounds ? Geometry::WritePathData(*outline) : std::string());
}

} // namespace Formats::Svg
