// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "platform/geometry/path_data.h"
#include "platform/kernel/cast.h"
#include "platform/renderer/colour_profiles.h"
#include "platform/renderer/line_outline.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>
#include <optional>

namespace Formats::Svg {

namespace {

// The radius of a gradient whose ellipse is a circle with upright axes: one that added to the centre gives both ends
// again. Empty where there is none.
std::optional<double> FindRadius(Renderer::EllipticalGradientFill const& fill) {
    auto const centre = fill.GetCentre(), end1 = fill.GetEnd1(), end2 = fill.GetEnd2();
    if (end1.y != centre.y || end2.x != centre.x || !(end1.x > centre.x))
        return std::nullopt;
    auto const fits = [&](double radius) { return centre.x + radius == end1.x && centre.y + radius == end2.y; };
    // The sums have been rounded: of the radii that give the one end, few give the other, and a short one is likely.
    for (double const difference : {end1.x - centre.x, end2.y - centre.y}) {
        for (int digits = 1; digits <= 17; ++digits) {
            char text[40];
            auto const [end, error] =
                std::to_chars(text, std::end(text), difference, std::chars_format::general, digits);
            double radius = 0;
            std::from_chars(text, end, radius);
            if (error == std::errc() && fits(radius))
                return radius;
        }
    }
    return std::nullopt;
}

void WriteSpread(XmlWriter& out, Renderer::GradientSpread spread) {
    if (spread == Renderer::GradientSpread::Reflect)
        out.Attribute("spreadMethod", "reflect");
    else if (spread == Renderer::GradientSpread::Repeat)
        out.Attribute("spreadMethod", "repeat");
}

std::string_view CapName(Renderer::LineCap cap) {
    return cap == Renderer::LineCap::Round ? "round" : cap == Renderer::LineCap::Square ? "square" : "butt";
}

std::string_view JoinName(Renderer::LineJoin join) {
    return join == Renderer::LineJoin::Round ? "round" : join == Renderer::LineJoin::Bevel ? "bevel" : "miter";
}

} // namespace

double Exporter::FindMultiple(double factor, double weight) {
    double const product = factor * weight;
    for (double const near : {product, std::nextafter(product, HUGE_VAL), std::nextafter(product, -HUGE_VAL)})
        if (near / weight == factor)
            return near;
    return product;
}

void Exporter::WritePaints(CurvesNode const& node) {
    auto const fill = node.GetBrushFillDescriptor(true);
    WritePaint("fill",
               fill ? static_cast<Renderer::FillDescriptorConst const&>(*fill) : Renderer::FillDescriptorConst(), node);
    WriteLine(node, node);
}

void Exporter::WritePaint(std::string_view property, Renderer::FillDescriptorConst const& paint, Node const& node) {
    if (paint.GetBlendMode() != Renderer::BlendMode::Normal)
        m_report.Add("blend mode of a fill", Describe(node));
    if (paint.IsFillNone())
        return m_out.Attribute(property, "none");
    switch (paint.GetFill()->GetType()) {
    case Renderer::FillType::Solid:
        return WriteColour(m_out, property, static_cast<Renderer::SolidFill const&>(*paint.GetFill()).GetColour(),
                           node);
    case Renderer::FillType::LinearGradient:
    case Renderer::FillType::EllipticalGradient:
        return m_out.Attribute(property, "url(#" + DefineGradient(paint, node) + ")");
    case Renderer::FillType::Bitmap:
    case Renderer::FillType::Pattern: {
        std::string const id = FindPattern(paint, node);
        m_out.Attribute(property, id.empty() ? "none" : "url(#" + id + ")");
        if (id.empty() || paint.GetFill()->GetType() == Renderer::FillType::Bitmap)
            return;
        double const opacity = static_cast<Renderer::PatternFill const&>(*paint.GetFill()).GetOpacity();
        if (opacity != 1)
            m_out.Attribute(std::string(property) + "-opacity", opacity);
        return;
    }
    case Renderer::FillType::None:
        return;
    }
}

std::string Exporter::FindPattern(Renderer::FillDescriptorConst const& paint, Node const& node) {
    PatternKey const key{paint.GetFill().get(), std::bit_cast<std::array<std::uint64_t, 6>>(paint.GetTransform()),
                         m_patternDepth};
    if (auto const found = m_patterns.find(key); found != m_patterns.end())
        return found->second.id;
    std::string id = paint.GetFill()->GetType() == Renderer::FillType::Bitmap
                         ? DefinePattern(paint, node)
                         : DefineDrawnPattern(static_cast<Renderer::PatternFill const&>(*paint.GetFill()),
                                              paint.GetTransform(), node);
    if (!id.empty())
        m_patterns[key] = {paint.GetFill(), id};
    return id;
}

void Exporter::WriteColour(XmlWriter& out, std::string_view property, Renderer::Colour const& colour,
                           Node const& node) {
    if (colour.GetFormat() != Renderer::ColourFormat::RGB)
        m_report.Add("colour outside RGB", Describe(node));
    Renderer::Colour const rgb = Renderer::ConvertColour(colour, m_profiles, Renderer::ColourFormat::RGB, {});
    std::string bytes = "#", percentages;
    bool isBytes = true;
    for (std::size_t i = 0; i < 3; ++i) {
        float const component = rgb.GetComponents()[i];
        auto const byte = static_cast<int>(std::lround(component * 255));
        isBytes = isBytes && static_cast<float>(byte / 255.0) == component;
        constexpr std::string_view c_digits = "0123456789abcdef";
        bytes += c_digits[static_cast<std::size_t>(byte >> 4)];
        bytes += c_digits[static_cast<std::size_t>(byte & 15)];
        percentages += (i == 0 ? "" : ",") + FormatNumber(static_cast<double>(component) * 100) + '%';
    }
    out.Attribute(property, isBytes ? bytes : "rgb(" + percentages + ")");
    if (rgb.GetAlpha() != 1)
        out.Attribute(std::string(property.substr(0, property.find("-color"))) + "-opacity",
                      FormatNumber(rgb.GetAlpha()));
}

std::string Exporter::DefineGradient(Renderer::FillDescriptorConst const& paint, Node const& node) {
    auto const& gradient = static_cast<Renderer::GradientFill const&>(*paint.GetFill());
    bool const isLinear = gradient.GetType() == Renderer::FillType::LinearGradient;
    std::string_view const element = isLinear ? "linearGradient" : "radialGradient";
    Matrix matrix = paint.GetTransform();
    XmlWriter out;
    out.Attribute("gradientUnits", "userSpaceOnUse");
    if (isLinear) {
        auto const& linear = static_cast<Renderer::LinearGradientFill const&>(gradient);
        out.Attribute("x1", linear.GetStart().x);
        out.Attribute("y1", linear.GetStart().y);
        out.Attribute("x2", linear.GetEnd().x);
        out.Attribute("y2", linear.GetEnd().y);
    } else {
        auto const& radial = static_cast<Renderer::EllipticalGradientFill const&>(gradient);
        Geometry::PointDbl centre = radial.GetCentre(), focus = radial.GetFocus();
        auto const plainRadius = FindRadius(radial);
        double const radius = plainRadius.value_or(1);
        if (!plainRadius) {
            matrix = matrix * radial.GetCircleTransform().GetParams();
            focus = radial.GetCircleTransform().GetInverse().Apply(focus);
            centre = {0, 0};
        }
        out.Attribute("cx", centre.x);
        out.Attribute("cy", centre.y);
        out.Attribute("r", radius);
        if (!(focus == centre)) {
            out.Attribute("fx", focus.x);
            out.Attribute("fy", focus.y);
        }
        if (radial.GetFocalRadius() != 0)
            out.Attribute("fr", radial.GetFocalRadius() * radius);
    }
    if (!matrix.IsIdentity())
        out.Attribute("gradientTransform", matrix);
    WriteSpread(out, gradient.GetSpread());
    out.EndStart();
    for (Renderer::GradientStop const& stop : gradient.GetStops()) {
        out.Open("stop");
        out.Attribute("offset", stop.offset);
        WriteColour(out, "stop-color",
                    stop.opacity == 1
                        ? stop.colour
                        : stop.colour.WithAlpha(static_cast<float>(stop.opacity * stop.colour.GetAlpha())),
                    node);
        out.EndEmpty();
    }
    out.Close(element);
    return Define(element, "gradient", out.GetText());
}

void Exporter::WriteLine(LineStyleInterface const& line, Node const& node) {
    auto const descriptor = line.GetLineStyleDescriptor();
    auto const pen = line.GetPenFillDescriptor();
    if (!descriptor || !pen || descriptor->IsLineStyleNone() || pen->IsFillNone())
        return;
    Renderer::LineStyle const& style = *descriptor->GetLineStyle();
    double const weight = style.GetWeightOrZero();
    if (!(weight > 0) || !std::isfinite(weight))
        return;
    WritePaint("stroke", *pen, node);
    if (weight != 1)
        m_out.Attribute("stroke-width", weight);
    if (style.GetCap() != Renderer::LineCap::Butt)
        m_out.Attribute("stroke-linecap", CapName(style.GetCap()));
    if (style.GetJoin() != Renderer::LineJoin::Mitre)
        m_out.Attribute("stroke-linejoin", JoinName(style.GetJoin()));
    if (style.GetMitreLimit() != 4)
        m_out.Attribute("stroke-miterlimit", std::max(1.0, style.GetMitreLimit()));
    if (style.GetType() == Renderer::LineType::Dashed && !style.GetDashPattern().empty()) {
        std::string dashes;
        for (double const dash : style.GetDashPattern())
            dashes += (dashes.empty() ? "" : " ") + FormatNumber(FindMultiple(dash, weight));
        m_out.Attribute("stroke-dasharray", dashes);
        if (style.GetDashPhase() != 0)
            m_out.Attribute("stroke-dashoffset", FindMultiple(style.GetDashPhase(), weight));
    }
    auto const* const order = Kernel::CastPointer<DrawOrderInterface const>(static_cast<AttributeOwner const*>(&line));
    if (order != nullptr ? order->IsLineBehindFill() : descriptor->GetDrawBehindFill())
        m_out.Attribute("paint-order", "stroke");
    if (!descriptor->GetScaleWithObject())
        m_out.Attribute("vector-effect", "non-scaling-stroke");
    if (descriptor->GetStrokeAlignment() != Renderer::StrokeAlignment::Centre)
        m_report.Add("line alignment", Describe(node));
    if (descriptor->GetPressure())
        m_report.Add("line pressure", Describe(node));
    if (descriptor->GetFrontArrowHead() || descriptor->GetBackArrowHead())
        m_report.Add("arrow head", Describe(node));
    if (style.GetBrush().IsBroad())
        m_report.Add("line brush", Describe(node));
}

Kernel::Counted<Geometry::PolyCurveDbl> Exporter::FindLineOutline(CurvesNode const& node) {
    auto const line = node.GetLineStyleDescriptor();
    auto const pen = node.GetPenFillDescriptor();
    auto const curves = node.GetOutline();
    if (!line || !pen || !curves || !line->IsLineStyleVisible(*pen))
        return {};
    bool const hasHeads =
        (line->GetFrontArrowHead() || line->GetBackArrowHead()) &&
        std::ranges::any_of(curves->GetCurves(), [](auto const& curve) { return !curve->IsClosed(); });
    if (!hasHeads && !line->GetPressure() && !line->GetLineStyle()->GetBrush().IsBroad())
        return {};
    // No farther off than pictures of twice the size show.
    constexpr double c_tolerance = 1.0 / 64;
    return Renderer::MakeLineOutline(*curves, *line, node.GetBaseToSpreadTransform(), c_tolerance);
}

void Exporter::WriteShapeWithOutline(CurvesNode const& node, Geometry::PolyCurveDbl const& outline, Step const& step) {
    m_out.Open("g");
    WriteCommon(node, step);
    m_out.EndStart();
    WriteTitle(m_out, node, FindId(node, step));
    auto const writeFill = [&] {
        if (node.IsBrushFillNone())
            return;
        std::string_view const element = ChooseElement(node);
        m_out.Open(element);
        WritePaint("fill", *node.GetBrushFillDescriptor(true), node);
        WriteGeometry(m_out, node, element, "fill-rule");
        m_out.EndEmpty();
    };
    auto const writeLine = [&] {
        m_out.Open("path");
        WritePaint("fill", *node.GetPenFillDescriptor(), node);
        m_out.Attribute("d", Geometry::WritePathData(outline));
        m_out.EndEmpty();
    };
    if (node.IsLineBehindFill()) {
        writeLine();
        writeFill();
    } else {
        writeFill();
        writeLine();
    }
    m_out.Close("g");
    m_report.Add("line drawn as an outline", Describe(node));
}

} // namespace Formats::Svg
