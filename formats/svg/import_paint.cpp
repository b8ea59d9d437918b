// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/import_paint.h"

#include "platform/renderer/colour_profiles.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

Renderer::Colour ToColour(Rgba const& colour, Raster::ICCProfileSet const& profiles) {
    auto const srgb = Renderer::Colour::FromRGB(static_cast<float>(colour.red), static_cast<float>(colour.green),
                                                static_cast<float>(colour.blue), static_cast<float>(colour.alpha));
    return Renderer::ConvertColour(srgb, {}, Renderer::ColourFormat::RGB, profiles);
}

namespace {

std::vector<Renderer::GradientStop> ToStops(Gradient const& gradient, double opacity,
                                            Raster::ICCProfileSet const& profiles) {
    std::vector<Renderer::GradientStop> stops;
    stops.reserve(gradient.stops.size());
    // Written drawings tell one opacity a stop.
    for (GradientStop const& stop : gradient.stops) {
        Rgba colour = stop.colour;
        colour.alpha *= opacity;
        stops.push_back({stop.offset, 1, ToColour(colour, profiles)});
    }
    return stops;
}

Renderer::GradientSpread ToSpread(SpreadMethod method) {
    switch (method) {
    case SpreadMethod::Reflect:
        return Renderer::GradientSpread::Reflect;
    case SpreadMethod::Repeat:
        return Renderer::GradientSpread::Repeat;
    case SpreadMethod::Pad:
        break;
    }
    return Renderer::GradientSpread::Pad;
}

Renderer::LineCap ToCap(LineCap cap) {
    switch (cap) {
    case LineCap::Round:
        return Renderer::LineCap::Round;
    case LineCap::Square:
        return Renderer::LineCap::Square;
    case LineCap::Butt:
        break;
    }
    return Renderer::LineCap::Butt;
}

Renderer::LineJoin ToJoin(LineJoin join) {
    switch (join) {
    case LineJoin::Round:
        return Renderer::LineJoin::Round;
    case LineJoin::Bevel:
        return Renderer::LineJoin::Bevel;
    case LineJoin::Miter:
        break;
    }
    return Renderer::LineJoin::Mitre;
}

Kernel::Counted<Renderer::FillDescriptor const> Describe(Kernel::Consolidated<Renderer::Fill> const& fill,
                                                         Matrix const& transform) {
    return Kernel::MakeCounted<Renderer::FillDescriptor>(fill, true, WithoutNegativeZeros(transform),
                                                         Renderer::BlendMode::Normal, false);
}

} // namespace

// The bounds of a node's outline in its own space, without its line, computed when a paint first asks.
class PaintImporter::Box {
public:
    explicit Box(CurvesNode const& node) : m_node(node) {}
    // Empty where the outline has no area to map a unit square to.
    std::optional<Kernel::RectT<double>> Get() {
        if (!m_isKnown) {
            m_isKnown = true;
            auto const outline = m_node.GetOutline();
            auto const bounds = outline ? outline->GetBounds() : std::nullopt;
            if (bounds && IsFinite(*bounds) && bounds->GetWidth() > 0 && bounds->GetHeight() > 0)
                m_box = bounds;
        }
        return m_box;
    }

private:
    CurvesNode const& m_node;
    bool m_isKnown = false;
    std::optional<Kernel::RectT<double>> m_box;
};

void PaintImporter::Apply(Element const& element, CurvesNode& node, ContextPaints const& context) {
    InheritedStyle const& style = element.GetStyle();
    Box box(node);
    if (auto fill = MakeFill(element, style.fill, style.fillOpacity, box, context))
        node.SetBrushFillDescriptor(std::move(fill));
    if (style.stroke.kind == PaintKind::None)
        return;
    auto penFill = MakeFill(element, style.stroke, style.strokeOpacity, box, context);
    auto line = penFill ? MakeLine(element) : nullptr;
    if (!line)
        return;
    node.EditState<LineStyleState>([&](LineStyleState& state) {
        state.line = std::move(line);
        state.penFill = std::move(penFill);
    });
    auto const& order = style.paintOrder;
    auto const at = [&](PaintLayer layer) { return std::find(order.begin(), order.end(), layer); };
    if (at(PaintLayer::Stroke) < at(PaintLayer::Fill))
        node.SetLineBehindFill(true);
}

// SVG 2, 13.2.
ContextPaints PaintImporter::MakeContext(Element const& use, ContextPaints const& outer) {
    auto const make = [&](Paint const& paint) -> FillPointer {
        switch (paint.kind) {
        case PaintKind::Colour:
            return MakeSolid(paint.colour);
        case PaintKind::CurrentColour:
            return MakeSolid(use.GetStyle().colour);
        case PaintKind::ContextFill:
            return outer.fill;
        case PaintKind::ContextStroke:
            return outer.stroke;
        default:
            return {};
        }
    };
    return {make(use.GetStyle().fill), make(use.GetStyle().stroke), true};
}

PaintImporter::FillPointer PaintImporter::MakeFill(Element const& element, Paint const& paint, double opacity, Box& box,
                                                   ContextPaints const& context) {
    auto plain = [&](PaintKind kind) -> FillPointer {
        switch (kind) {
        case PaintKind::Colour:
            return MakeSolid({paint.colour.red, paint.colour.green, paint.colour.blue, paint.colour.alpha * opacity});
        case PaintKind::CurrentColour: {
            Rgba const& colour = element.GetStyle().colour;
            return MakeSolid({colour.red, colour.green, colour.blue, colour.alpha * opacity});
        }
        case PaintKind::ContextFill:
        case PaintKind::ContextStroke:
            if (!context.isKnown)
                m_drawing.GetReport().Add("paint without a context", element.Describe());
            return kind == PaintKind::ContextFill ? context.fill : context.stroke;
        default:
            return {};
        }
    };
    if (paint.kind != PaintKind::Server)
        return plain(paint.kind);
    bool isUnusable = false;
    auto fill = MakeServerFill(element, paint, opacity, box, isUnusable);
    return isUnusable ? plain(paint.fallback) : fill;
}

PaintImporter::FillPointer PaintImporter::MakeServerFill(Element const& element, Paint const& paint, double opacity,
                                                         Box& box, bool& isUnusable) {
    Report& report = m_drawing.GetReport();
    if (Gradient const* const gradient = FindCachedGradient(paint.server))
        return MakeGradientFill(element, *gradient, opacity, box, isUnusable);
    NodeIndex const target = m_drawing.GetTree().FindId(paint.server);
    if (target == c_noNode || m_drawing.GetTree().GetKind(target) != ElementKind::Pattern) {
        report.Add("missing target of fill or stroke", element.Describe());
        isUnusable = true;
        return {};
    }
    auto const pattern = FindPattern(element, paint.server);
    if (!pattern)
        return {};
    // A pattern in units of the box needs one that has an area; the maker finds none in an empty one.
    auto const area = box.Get().value_or(Kernel::RectT<double>{});
    auto fill = m_patternMaker ? m_patternMaker(element, *pattern, opacity, area) : FillPointer();
    if (!fill) {
        report.Add("pattern", element.Describe());
        isUnusable = true;
    }
    // A pattern of nothing paints nothing, as `none` does.
    return fill && fill->IsFillNone() ? nullptr : fill;
}

Gradient const* PaintImporter::FindCachedGradient(std::string_view id) {
    auto found = m_gradients.find(id);
    if (found == m_gradients.end())
        found = m_gradients.emplace(id, FindGradient(m_drawing, id)).first;
    return found->second ? &*found->second : nullptr;
}

PaintImporter::FillPointer PaintImporter::MakeGradientFill(Element const& element, Gradient const& gradient,
                                                           double opacity, Box& box, bool& isUnusable) {
    if (gradient.stops.empty())
        return {};
    auto const last = [&] {
        Rgba colour = gradient.stops.back().colour;
        colour.alpha *= opacity;
        return MakeSolid(colour);
    };
    if (gradient.stops.size() == 1)
        return last();
    Matrix toUser = gradient.transform;
    if (gradient.units == Units::ObjectBoundingBox) {
        auto const area = box.Get();
        // Without an area the paint cannot be laid over the object, and its fallback holds (SVG 1.1, section 7.11).
        if (!area) {
            isUnusable = true;
            return {};
        }
        toUser = Translation(area->left, area->top) * Scale(area->GetWidth(), area->GetHeight()) * toUser;
    }
    if (!IsFinite(toUser) || !(std::abs(toUser.GetDeterminant()) > 1e-128))
        return {};
    Viewport const& viewport = element.GetViewport();
    double const width = viewport.width, height = viewport.height, diagonal = viewport.GetDiagonal();
    if (!gradient.isRadial) {
        Kernel::PointT<double> const start{gradient.Resolve(gradient.x1, width), gradient.Resolve(gradient.y1, height)};
        Kernel::PointT<double> const end{gradient.Resolve(gradient.x2, width), gradient.Resolve(gradient.y2, height)};
        if (start == end)
            return last();
        return Describe(
            Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
                start, end, ToStops(gradient, opacity, m_drawing.GetOptions().profiles), ToSpread(gradient.spread)),
            toUser);
    }
    Kernel::PointT<double> const centre{gradient.Resolve(gradient.cx, width), gradient.Resolve(gradient.cy, height)};
    double const radius = gradient.Resolve(gradient.r, diagonal);
    if (!(radius > 0))
        return last();
    // A focus outside the circle makes a cone, as SVG 2, 14.2.3 says; SVG 1.1 moved it onto the edge.
    Kernel::PointT<double> const focus{gradient.Resolve(gradient.fx, width), gradient.Resolve(gradient.fy, height)};
    double const focalRadius = std::clamp(gradient.Resolve(gradient.fr, diagonal) / radius, 0.0, 1.0);
    return Describe(Kernel::MakeConsolidated<Renderer::EllipticalGradientFill>(
                        centre, Kernel::PointT<double>{centre.x + radius, centre.y},
                        Kernel::PointT<double>{centre.x, centre.y + radius}, focus, focalRadius,
                        ToStops(gradient, opacity, m_drawing.GetOptions().profiles), ToSpread(gradient.spread)),
                    toUser);
}

PaintImporter::FillPointer PaintImporter::MakeSolid(Rgba const& colour) {
    Renderer::Colour const value = ToColour(colour, m_drawing.GetOptions().profiles);
    auto const& c = value.GetComponents();
    FillPointer& solid = m_solids[{c[0], c[1], c[2], value.GetAlpha()}];
    if (!solid)
        solid = Kernel::MakeCounted<Renderer::FillDescriptor>(Kernel::MakeConsolidated<Renderer::SolidFill>(value),
                                                              true, Matrix{}, Renderer::BlendMode::Normal, false);
    return solid;
}

Kernel::Counted<Renderer::LineStyleDescriptor const> PaintImporter::MakeLine(Element const& element) {
    InheritedStyle const& style = element.GetStyle();
    double const diagonal = element.GetViewport().GetDiagonal();
    double const weight = style.strokeWidth.Resolve(diagonal);
    if (!(weight > 0) || !std::isfinite(weight))
        return {};
    auto line = Kernel::MakeCounted<Renderer::LineStyle>(weight);
    line->SetCap(ToCap(style.lineCap));
    line->SetJoin(ToJoin(style.lineJoin));
    line->SetMitreLimit(style.mitreLimit);
    if (!style.dashes.empty()) {
        std::vector<double> pattern;
        for (Length const& dash : style.dashes)
            pattern.push_back(dash.Resolve(diagonal) / weight);
        double const phase = style.dashOffset.Resolve(diagonal) / weight;
        bool const isFinite = std::isfinite(phase) && std::all_of(pattern.begin(), pattern.end(),
                                                                  [](double dash) { return std::isfinite(dash); });
        if (isFinite) {
            line->SetType(Renderer::LineType::Dashed);
            line->SetDashPattern(std::move(pattern));
            line->SetDashPhase(phase);
        }
    }
    Kernel::Consolidated<Renderer::LineStyle> const consolidated(
        (Kernel::Counted<Renderer::LineStyle const>(std::move(line))));
    if (element.GetOwnStyle().nonScalingStroke) {
        auto descriptor = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(consolidated);
        descriptor->SetScaleWithObject(false);
        return descriptor;
    }
    auto& shared = m_lines[consolidated];
    if (!shared)
        shared = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(consolidated);
    return shared;
}

} // namespace Formats::Svg
