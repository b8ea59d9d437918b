// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/names.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace Formats::Svg {

namespace {

struct KindEntry {
    std::string_view text;
    ElementKind kind;
};

struct NameEntry {
    std::string_view text;
    Name name;
};

// Both tables are sorted by text. The names with a prefix are found by their namespace, never by the table.
constexpr KindEntry c_kinds[] = {
    {"a", ElementKind::A},
    {"circle", ElementKind::Circle},
    {"clipPath", ElementKind::ClipPath},
    {"defs", ElementKind::Defs},
    {"desc", ElementKind::Desc},
    {"ellipse", ElementKind::Ellipse},
    {"filter", ElementKind::Filter},
    {"foreignObject", ElementKind::ForeignObject},
    {"g", ElementKind::G},
    {"image", ElementKind::Image},
    {"line", ElementKind::Line},
    {"linearGradient", ElementKind::LinearGradient},
    {"marker", ElementKind::Marker},
    {"mask", ElementKind::Mask},
    {"metadata", ElementKind::Metadata},
    {"path", ElementKind::Path},
    {"pattern", ElementKind::Pattern},
    {"polygon", ElementKind::Polygon},
    {"polyline", ElementKind::Polyline},
    {"radialGradient", ElementKind::RadialGradient},
    {"rect", ElementKind::Rect},
    {"script", ElementKind::Script},
    {"stop", ElementKind::Stop},
    {"style", ElementKind::Style},
    {"svg", ElementKind::Svg},
    {"switch", ElementKind::Switch},
    {"symbol", ElementKind::Symbol},
    {"text", ElementKind::Text},
    {"textPath", ElementKind::TextPath},
    {"title", ElementKind::Title},
    {"tspan", ElementKind::TSpan},
    {"use", ElementKind::Use},
    {"view", ElementKind::View},
};

constexpr NameEntry c_names[] = {
    {"alignment-baseline", Name::AlignmentBaseline},
    {"baseline-shift", Name::BaselineShift},
    {"class", Name::Class},
    {"clip-path", Name::ClipPath},
    {"clip-rule", Name::ClipRule},
    {"clipPathUnits", Name::ClipPathUnits},
    {"color", Name::Color},
    {"color-interpolation", Name::ColorInterpolation},
    {"color-interpolation-filters", Name::ColorInterpolationFilters},
    {"cx", Name::Cx},
    {"cy", Name::Cy},
    {"d", Name::D},
    {"direction", Name::Direction},
    {"display", Name::Display},
    {"dominant-baseline", Name::DominantBaseline},
    {"fill", Name::Fill},
    {"fill-opacity", Name::FillOpacity},
    {"fill-rule", Name::FillRule},
    {"filter", Name::Filter},
    {"filterUnits", Name::FilterUnits},
    {"flood-color", Name::FloodColor},
    {"flood-opacity", Name::FloodOpacity},
    {"font", Name::Font},
    {"font-family", Name::FontFamily},
    {"font-feature-settings", Name::FontFeatureSettings},
    {"font-kerning", Name::FontKerning},
    {"font-size", Name::FontSize},
    {"font-stretch", Name::FontStretch},
    {"font-style", Name::FontStyle},
    {"font-variant", Name::FontVariant},
    {"font-variant-caps", Name::FontVariantCaps},
    {"font-weight", Name::FontWeight},
    {"fr", Name::Fr},
    {"fx", Name::Fx},
    {"fy", Name::Fy},
    {"gradientTransform", Name::GradientTransform},
    {"gradientUnits", Name::GradientUnits},
    {"height", Name::Height},
    {"href", Name::Href},
    {"id", Name::Id},
    {"image-rendering", Name::ImageRendering},
    {"inkscape:label", Name::Label},
    {"isolation", Name::Isolation},
    {"letter-spacing", Name::LetterSpacing},
    {"marker", Name::Marker},
    {"marker-end", Name::MarkerEnd},
    {"marker-mid", Name::MarkerMid},
    {"marker-start", Name::MarkerStart},
    {"markerHeight", Name::MarkerHeight},
    {"markerUnits", Name::MarkerUnits},
    {"markerWidth", Name::MarkerWidth},
    {"mask", Name::Mask},
    {"mask-type", Name::MaskType},
    {"maskContentUnits", Name::MaskContentUnits},
    {"maskUnits", Name::MaskUnits},
    {"media", Name::Media},
    {"mix-blend-mode", Name::MixBlendMode},
    {"offset", Name::Offset},
    {"opacity", Name::Opacity},
    {"orient", Name::Orient},
    {"overflow", Name::Overflow},
    {"paint-order", Name::PaintOrder},
    {"patternContentUnits", Name::PatternContentUnits},
    {"patternTransform", Name::PatternTransform},
    {"patternUnits", Name::PatternUnits},
    {"points", Name::Points},
    {"preserveAspectRatio", Name::PreserveAspectRatio},
    {"primitiveUnits", Name::PrimitiveUnits},
    {"r", Name::R},
    {"refX", Name::RefX},
    {"refY", Name::RefY},
    {"requiredExtensions", Name::RequiredExtensions},
    {"rx", Name::Rx},
    {"ry", Name::Ry},
    {"shape-rendering", Name::ShapeRendering},
    {"spreadMethod", Name::SpreadMethod},
    {"stop-color", Name::StopColor},
    {"stop-opacity", Name::StopOpacity},
    {"stroke", Name::Stroke},
    {"stroke-dasharray", Name::StrokeDasharray},
    {"stroke-dashoffset", Name::StrokeDashoffset},
    {"stroke-linecap", Name::StrokeLinecap},
    {"stroke-linejoin", Name::StrokeLinejoin},
    {"stroke-miterlimit", Name::StrokeMiterlimit},
    {"stroke-opacity", Name::StrokeOpacity},
    {"stroke-width", Name::StrokeWidth},
    {"style", Name::Style},
    {"systemLanguage", Name::SystemLanguage},
    {"text-anchor", Name::TextAnchor},
    {"text-decoration", Name::TextDecoration},
    {"text-decoration-line", Name::TextDecorationLine},
    {"transform", Name::Transform},
    {"transform-origin", Name::TransformOrigin},
    {"type", Name::Type},
    {"unicode-bidi", Name::UnicodeBidi},
    {"vector-effect", Name::VectorEffect},
    {"viewBox", Name::ViewBox},
    {"visibility", Name::Visibility},
    {"white-space", Name::WhiteSpace},
    {"width", Name::Width},
    {"word-spacing", Name::WordSpacing},
    {"writing-mode", Name::WritingMode},
    {"x", Name::X},
    {"x1", Name::X1},
    {"x2", Name::X2},
    {"xml:lang", Name::XmlLang},
    {"xml:space", Name::XmlSpace},
    {"y", Name::Y},
    {"y1", Name::Y1},
    {"y2", Name::Y2},
};

constexpr auto c_byText = [](auto const& a, auto const& b) { return a.text < b.text; };
static_assert(std::is_sorted(std::begin(c_kinds), std::end(c_kinds), c_byText));
static_assert(std::is_sorted(std::begin(c_names), std::end(c_names), c_byText));

// Where the entries are whose text begins with each character.
template <std::size_t N>
class Index {
public:
    template <class Entry>
    constexpr explicit Index(Entry const (&entries)[N]) {
        for (std::size_t i = N; i-- != 0;) {
            auto const first = static_cast<unsigned char>(entries[i].text.front());
            m_begin[first] = static_cast<std::uint8_t>(i);
            ++m_count[first];
        }
    }
    template <class Entry>
    Entry const* Find(Entry const (&entries)[N], std::string_view text) const {
        if (text.empty() || static_cast<unsigned char>(text.front()) >= c_characters)
            return nullptr;
        auto const first = static_cast<unsigned char>(text.front());
        Entry const* const begin = entries + m_begin[first];
        Entry const* const end = begin + m_count[first];
        auto const* const found = std::find_if(begin, end, [text](Entry const& entry) { return entry.text == text; });
        return found != end ? found : nullptr;
    }

private:
    static_assert(N < 256);
    static constexpr std::size_t c_characters = 128;
    std::uint8_t m_begin[c_characters]{};
    std::uint8_t m_count[c_characters]{};
};

constexpr Index c_kindIndex(c_kinds);
constexpr Index c_nameIndex(c_names);

} // namespace

ElementKind FindElementKind(std::string_view localName) {
    auto const* const found = c_kindIndex.Find(c_kinds, localName);
    return found == nullptr ? ElementKind::Unknown : found->kind;
}

std::string_view GetElementName(ElementKind kind) {
    for (KindEntry const& entry : c_kinds)
        if (entry.kind == kind)
            return entry.text;
    return {};
}

Name FindName(std::string_view localName) {
    auto const* const found = c_nameIndex.Find(c_names, localName);
    return found == nullptr || found->text.find(':') != std::string_view::npos ? Name::Other : found->name;
}

std::string_view GetNameText(Name name) {
    for (NameEntry const& entry : c_names)
        if (entry.name == name)
            return entry.text;
    return {};
}

} // namespace Formats::Svg
