// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/style.h"

#include "formats/svg/keyword.h"

#include <algorithm>

namespace Formats::Svg {

namespace {

template <class Value>
bool Set(std::optional<Value> const& value, Value& target) {
    if (value)
        target = *value;
    return value.has_value();
}

constexpr Keyword<FillRule> c_fillRules[] = {{"nonzero", FillRule::NonZero}, {"evenodd", FillRule::EvenOdd}};
constexpr Keyword<LineCap> c_lineCaps[] = {
    {"butt", LineCap::Butt}, {"round", LineCap::Round}, {"square", LineCap::Square}};
// The joins that SVG 2 added fall back to the mitre, as it allows.
constexpr Keyword<LineJoin> c_lineJoins[] = {{"miter", LineJoin::Miter},
                                             {"round", LineJoin::Round},
                                             {"bevel", LineJoin::Bevel},
                                             {"miter-clip", LineJoin::Miter},
                                             {"arcs", LineJoin::Miter}};
constexpr Keyword<bool> c_visibilities[] = {{"visible", true}, {"hidden", false}, {"collapse", false}};
constexpr Keyword<bool> c_imageRenderings[] = {
    {"auto", true},         {"optimizequality", true}, {"optimizespeed", false}, {"pixelated", false},
    {"crisp-edges", false}, {"smooth", true},          {"high-quality", true}};
constexpr Keyword<bool> c_shapeRenderings[] = {
    {"auto", true}, {"geometricprecision", true}, {"optimizespeed", false}, {"crispedges", false}};
constexpr Keyword<Overflow> c_overflows[] = {{"visible", Overflow::Visible},
                                             {"auto", Overflow::Visible},
                                             {"hidden", Overflow::Hidden},
                                             {"scroll", Overflow::Hidden},
                                             {"clip", Overflow::Hidden}};
constexpr Keyword<MixMode> c_mixModes[] = {{"normal", MixMode::Normal},
                                           {"multiply", MixMode::Multiply},
                                           {"screen", MixMode::Screen},
                                           {"overlay", MixMode::Overlay},
                                           {"darken", MixMode::Darken},
                                           {"lighten", MixMode::Lighten},
                                           {"color-dodge", MixMode::ColorDodge},
                                           {"color-burn", MixMode::ColorBurn},
                                           {"hard-light", MixMode::HardLight},
                                           {"soft-light", MixMode::SoftLight},
                                           {"difference", MixMode::Difference},
                                           {"exclusion", MixMode::Exclusion},
                                           {"hue", MixMode::Hue},
                                           {"saturation", MixMode::Saturation},
                                           {"color", MixMode::Color},
                                           {"luminosity", MixMode::Luminosity}};
constexpr Keyword<bool> c_isolations[] = {{"auto", false}, {"isolate", true}};
constexpr Keyword<bool> c_vectorEffects[] = {{"none", false}, {"non-scaling-stroke", true}};
// `auto` leaves the choice to the viewer.
constexpr Keyword<bool> c_interpolations[] = {{"srgb", false}, {"linearrgb", true}, {"auto", false}};
constexpr Keyword<bool> c_filterInterpolations[] = {{"srgb", false}, {"linearrgb", true}, {"auto", true}};
constexpr Keyword<bool> c_maskTypes[] = {{"luminance", false}, {"alpha", true}};

// A colour or a keyword that stands for one.
bool SetPlainPaint(std::string_view text, PaintKind& kind, Rgba& colour) {
    static constexpr Keyword<PaintKind> c_paintKinds[] = {{"none", PaintKind::None},
                                                          {"currentcolor", PaintKind::CurrentColour},
                                                          {"context-fill", PaintKind::ContextFill},
                                                          {"context-stroke", PaintKind::ContextStroke}};
    if (SetKeyword(c_paintKinds, text, kind))
        return true;
    auto const parsed = ParseColour(text);
    if (!parsed)
        return false;
    kind = PaintKind::Colour;
    colour = *parsed;
    return true;
}

std::optional<Paint> ParsePaint(std::string_view text) {
    Paint paint;
    if (!EqualsIgnoringCase(text.substr(0, 4), "url("))
        return SetPlainPaint(text, paint.kind, paint.colour) ? std::optional(paint) : std::nullopt;
    auto const close = text.find(')');
    if (close == std::string_view::npos)
        return std::nullopt;
    paint.kind = PaintKind::Server;
    // A reference to another file stays a server, of no element: only the fallback is painted.
    paint.server = ParseLocalUrl(text.substr(0, close + 1)).value_or(std::string_view());
    std::string_view const rest = Trimmed(text.substr(close + 1));
    if (!rest.empty() && !SetPlainPaint(rest, paint.fallback, paint.colour))
        return std::nullopt;
    return paint;
}

bool SetReference(std::string_view text, std::string_view& target) {
    if (EqualsIgnoringCase(text, "none")) {
        target = {};
        return true;
    }
    return Set(ParseLocalUrl(text), target);
}

} // namespace

std::optional<MixMode> ParseMixMode(std::string_view text) {
    MixMode mode{};
    return SetKeyword(c_mixModes, text, mode) ? std::optional(mode) : std::nullopt;
}

std::optional<std::string_view> ParseLocalUrl(std::string_view text, bool* isExternal) {
    text = Trimmed(text);
    if (text.size() < 5 || !EqualsIgnoringCase(text.substr(0, 4), "url(") || text.back() != ')')
        return std::nullopt;
    text = Trimmed(text.substr(4, text.size() - 5));
    if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.front() == text.back())
        text = Trimmed(text.substr(1, text.size() - 2));
    if (!text.starts_with('#') || text.size() < 2) {
        if (isExternal != nullptr)
            *isExternal = !text.starts_with('#');
        return std::nullopt;
    }
    return text.substr(1);
}

StyleBuilder::StyleBuilder(std::shared_ptr<InheritedStyle const> parent, double rootFontSize, bool hidesOverflow)
    : m_parent(std::move(parent)), m_rootFontSize(rootFontSize), m_hidesOverflow(hidesOverflow) {}

std::shared_ptr<InheritedStyle const> StyleBuilder::TakeInherited() {
    Overflow const preset = m_hidesOverflow ? Overflow::Hidden : Overflow::Visible;
    Overflow const overflow = m_own.overflow == Overflow::Unset ? preset : m_own.overflow;
    if (overflow != Current().overflow)
        Edit().overflow = overflow;
    if (m_edited)
        return std::move(m_edited);
    return m_parent;
}

InheritedStyle& StyleBuilder::Edit() {
    if (!m_edited)
        m_edited = std::make_shared<InheritedStyle>(*m_parent);
    return *m_edited;
}

bool StyleBuilder::Apply(Name property, std::string_view value) {
    value = Trimmed(value);
    if (IsGeometryProperty(property)) {
        m_own.geometry[static_cast<std::size_t>(property) - static_cast<std::size_t>(c_firstGeometryProperty)] = value;
        return true;
    }
    bool const isInherited = property < Name::Display;
    bool const takesParent =
        EqualsIgnoringCase(value, "inherit") || (isInherited && EqualsIgnoringCase(value, "unset"));
    bool const takesInitial =
        EqualsIgnoringCase(value, "initial") || (!isInherited && EqualsIgnoringCase(value, "unset"));
    if (isInherited && (takesParent || takesInitial)) {
        static InheritedStyle const s_initial;
        CopyFrom(property, takesParent ? *m_parent : s_initial);
        return true;
    }
    switch (property) {
    case Name::Fill:
    case Name::Stroke:
        return ApplyPaint(property, value);
    case Name::StrokeOpacity:
    case Name::StrokeWidth:
    case Name::StrokeLinecap:
    case Name::StrokeLinejoin:
    case Name::StrokeMiterlimit:
    case Name::StrokeDasharray:
    case Name::StrokeDashoffset:
        return ApplyStroke(property, value);
    default:
        return isInherited ? ApplyInherited(property, value) : ApplyOwn(property, value);
    }
}

void StyleBuilder::CopyFrom(Name property, InheritedStyle const& source) {
    auto copy = [&](auto member) { Edit().*member = source.*member; };
    switch (property) {
    case Name::Color:
        return copy(&InheritedStyle::colour);
    case Name::Fill:
        return copy(&InheritedStyle::fill);
    case Name::FillOpacity:
        return copy(&InheritedStyle::fillOpacity);
    case Name::FillRule:
        return copy(&InheritedStyle::fillRule);
    case Name::ClipRule:
        return copy(&InheritedStyle::clipRule);
    case Name::Stroke:
        return copy(&InheritedStyle::stroke);
    case Name::StrokeOpacity:
        return copy(&InheritedStyle::strokeOpacity);
    case Name::StrokeWidth:
        return copy(&InheritedStyle::strokeWidth);
    case Name::StrokeLinecap:
        return copy(&InheritedStyle::lineCap);
    case Name::StrokeLinejoin:
        return copy(&InheritedStyle::lineJoin);
    case Name::StrokeMiterlimit:
        return copy(&InheritedStyle::mitreLimit);
    case Name::StrokeDasharray:
        return copy(&InheritedStyle::dashes);
    case Name::StrokeDashoffset:
        return copy(&InheritedStyle::dashOffset);
    case Name::Visibility:
        return copy(&InheritedStyle::visible);
    case Name::ImageRendering:
        return copy(&InheritedStyle::smoothImages);
    case Name::ShapeRendering:
        return copy(&InheritedStyle::antialiased);
    case Name::ColorInterpolation:
        return copy(&InheritedStyle::isLinear);
    case Name::ColorInterpolationFilters:
        return copy(&InheritedStyle::areFiltersLinear);
    case Name::PaintOrder:
        return copy(&InheritedStyle::paintOrder);
    case Name::Marker:
        copy(&InheritedStyle::markerStart);
        copy(&InheritedStyle::markerMid);
        return copy(&InheritedStyle::markerEnd);
    case Name::MarkerStart:
        return copy(&InheritedStyle::markerStart);
    case Name::MarkerMid:
        return copy(&InheritedStyle::markerMid);
    case Name::MarkerEnd:
        return copy(&InheritedStyle::markerEnd);
    default:
        return CopyTextFrom(property, source);
    }
}

bool StyleBuilder::ApplyPaint(Name property, std::string_view value) {
    auto const paint = ParsePaint(value);
    if (paint)
        (property == Name::Fill ? Edit().fill : Edit().stroke) = *paint;
    return paint.has_value();
}

bool StyleBuilder::ApplyStroke(Name property, std::string_view value) {
    switch (property) {
    case Name::StrokeOpacity:
        return Set(ParseUnitInterval(value), Edit().strokeOpacity);
    case Name::StrokeLinecap:
        return SetKeyword(c_lineCaps, value, Edit().lineCap);
    case Name::StrokeLinejoin:
        return SetKeyword(c_lineJoins, value, Edit().lineJoin);
    case Name::StrokeDasharray:
        return ApplyDashes(value);
    case Name::StrokeDashoffset:
        return Set(ParseLength(value, GetFontSizes()), Edit().dashOffset);
    case Name::StrokeWidth: {
        auto const width = ParseLength(value, GetFontSizes());
        return width && width->value >= 0 && Set(width, Edit().strokeWidth);
    }
    default: {
        auto const limit = ParseNumber(value);
        return limit && *limit >= 1 && Set(limit, Edit().mitreLimit);
    }
    }
}

bool StyleBuilder::ApplyInherited(Name property, std::string_view value) {
    switch (property) {
    case Name::Color:
        return EqualsIgnoringCase(value, "currentcolor") || Set(ParseColour(value), Edit().colour);
    case Name::FillOpacity:
        return Set(ParseUnitInterval(value), Edit().fillOpacity);
    case Name::FillRule:
        return SetKeyword(c_fillRules, value, Edit().fillRule);
    case Name::ClipRule:
        return SetKeyword(c_fillRules, value, Edit().clipRule);
    case Name::Visibility:
        return SetKeyword(c_visibilities, value, Edit().visible);
    case Name::ImageRendering:
        return SetKeyword(c_imageRenderings, value, Edit().smoothImages);
    case Name::ShapeRendering:
        return SetKeyword(c_shapeRenderings, value, Edit().antialiased);
    case Name::ColorInterpolation:
        return SetKeyword(c_interpolations, value, Edit().isLinear);
    case Name::ColorInterpolationFilters:
        return SetKeyword(c_filterInterpolations, value, Edit().areFiltersLinear);
    case Name::PaintOrder:
        return ApplyPaintOrder(value);
    case Name::Marker:
    case Name::MarkerStart:
    case Name::MarkerMid:
    case Name::MarkerEnd:
        return ApplyMarker(property, value);
    default:
        return ApplyText(property, value);
    }
}

bool StyleBuilder::ApplyOwn(Name property, std::string_view value) {
    if (property == Name::Overflow && EqualsIgnoringCase(value, "inherit")) {
        m_own.overflow = m_parent->overflow;
        return true;
    }
    if (property == Name::Overflow && (EqualsIgnoringCase(value, "initial") || EqualsIgnoringCase(value, "unset"))) {
        m_own.overflow = Overflow::Visible;
        return true;
    }
    // `inherit` on another property that is not inherited is so rare that it is taken as the initial value.
    if (EqualsIgnoringCase(value, "inherit") || EqualsIgnoringCase(value, "initial") ||
        EqualsIgnoringCase(value, "unset"))
        return true;
    switch (property) {
    case Name::Display:
        m_own.displayed = !EqualsIgnoringCase(value, "none");
        return true;
    case Name::Opacity:
        return Set(ParseUnitInterval(value), m_own.opacity);
    case Name::StopOpacity:
        return Set(ParseUnitInterval(value), m_own.stopOpacity);
    case Name::StopColor:
        return ApplyOwnColour(value, m_own.stopColour, m_own.stopIsCurrentColour);
    case Name::FloodColor:
        return ApplyOwnColour(value, m_own.floodColour, m_own.floodIsCurrentColour);
    case Name::FloodOpacity:
        return Set(ParseUnitInterval(value), m_own.floodOpacity);
    case Name::ClipPath:
        return SetReference(value, m_own.clipPath);
    case Name::Mask:
        return SetReference(value, m_own.mask);
    case Name::Filter:
        m_own.filter = EqualsIgnoringCase(value, "none") ? std::string_view() : value;
        return true;
    case Name::MixBlendMode:
        return SetKeyword(c_mixModes, value, m_own.mixMode);
    case Name::Isolation:
        return SetKeyword(c_isolations, value, m_own.isolated);
    case Name::Overflow:
        return SetKeyword(c_overflows, value, m_own.overflow);
    case Name::VectorEffect:
        return SetKeyword(c_vectorEffects, value, m_own.nonScalingStroke);
    case Name::MaskType:
        return SetKeyword(c_maskTypes, value, m_own.maskByAlpha);
    case Name::Transform:
        m_own.transform = value;
        return true;
    case Name::TransformOrigin:
        m_own.transformOrigin = value;
        return true;
    default:
        return true;
    }
}

bool StyleBuilder::ApplyMarker(Name property, std::string_view value) {
    std::string_view id;
    if (!SetReference(value, id))
        return false;
    InheritedStyle& style = Edit();
    if (property == Name::Marker || property == Name::MarkerStart)
        style.markerStart = id;
    if (property == Name::Marker || property == Name::MarkerMid)
        style.markerMid = id;
    if (property == Name::Marker || property == Name::MarkerEnd)
        style.markerEnd = id;
    return true;
}

bool StyleBuilder::ApplyDashes(std::string_view value) {
    std::vector<Length> dashes;
    if (!EqualsIgnoringCase(value, "none")) {
        Scanner scanner(value);
        double sum = 0;
        while (!scanner.IsAtEnd()) {
            auto const length = TakeLength(scanner, GetFontSizes());
            if (!length || length->value < 0)
                return false;
            sum += length->value;
            dashes.push_back(*length);
            scanner.SkipCommaSpace();
        }
        if (dashes.empty())
            return false;
        if (sum == 0)
            dashes.clear();
        // An odd list is repeated to make it even (SVG 1.1, section 11.4).
        if (dashes.size() % 2 == 1) {
            auto const once = dashes;
            dashes.insert(dashes.end(), once.begin(), once.end());
        }
    }
    Edit().dashes = std::move(dashes);
    return true;
}

bool StyleBuilder::ApplyPaintOrder(std::string_view value) {
    static constexpr Keyword<PaintLayer> c_layers[] = {
        {"fill", PaintLayer::Fill}, {"stroke", PaintLayer::Stroke}, {"markers", PaintLayer::Markers}};
    std::vector<PaintLayer> order;
    if (!EqualsIgnoringCase(value, "normal")) {
        Scanner scanner(value);
        for (; !scanner.IsAtEnd(); scanner.SkipSpace()) {
            PaintLayer layer{};
            if (!SetKeyword(c_layers, scanner.TakeIdentifier(), layer) ||
                std::find(order.begin(), order.end(), layer) != order.end())
                return false;
            order.push_back(layer);
        }
    }
    for (PaintLayer const layer : {PaintLayer::Fill, PaintLayer::Stroke, PaintLayer::Markers})
        if (std::find(order.begin(), order.end(), layer) == order.end())
            order.push_back(layer);
    std::copy(order.begin(), order.end(), Edit().paintOrder.begin());
    return true;
}

bool StyleBuilder::ApplyOwnColour(std::string_view value, Rgba& colour, bool& isCurrentColour) {
    isCurrentColour = EqualsIgnoringCase(value, "currentcolor");
    return isCurrentColour || Set(ParseColour(value), colour);
}

} // namespace Formats::Svg
