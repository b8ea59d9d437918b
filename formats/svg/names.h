// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

namespace Formats::Svg {

// The elements that have a meaning here. Foreign is anything of another namespace, Unknown anything else of SVG's.
enum class ElementKind : std::uint8_t {
    Unknown,
    Foreign,
    A,
    Circle,
    ClipPath,
    Defs,
    Desc,
    Ellipse,
    Filter,
    ForeignObject,
    G,
    Image,
    Line,
    LinearGradient,
    Marker,
    Mask,
    Metadata,
    Path,
    Pattern,
    Polygon,
    Polyline,
    RadialGradient,
    Rect,
    Script,
    Stop,
    Style,
    Svg,
    Switch,
    Symbol,
    Text,
    TextPath,
    Title,
    TSpan,
    Use,
    View,
};

// Properties, that is what style sheets may set, and attributes that they may not.
enum class Name : std::uint8_t {
    // Properties that an element has from its parent.
    Color,
    Fill,
    FillOpacity,
    FillRule,
    ClipRule,
    Stroke,
    StrokeOpacity,
    StrokeWidth,
    StrokeLinecap,
    StrokeLinejoin,
    StrokeMiterlimit,
    StrokeDasharray,
    StrokeDashoffset,
    Visibility,
    Font,
    FontSize,
    FontFamily,
    FontWeight,
    FontStyle,
    FontVariant,
    FontVariantCaps,
    FontStretch,
    FontKerning,
    FontFeatureSettings,
    TextAnchor,
    LetterSpacing,
    WordSpacing,
    TextDecoration,
    TextDecorationLine,
    BaselineShift,
    DominantBaseline,
    AlignmentBaseline,
    Direction,
    UnicodeBidi,
    WritingMode,
    WhiteSpace,
    PaintOrder,
    Marker,
    MarkerStart,
    MarkerMid,
    MarkerEnd,
    ShapeRendering,
    ImageRendering,
    ColorInterpolation,
    ColorInterpolationFilters,
    // Properties of the element alone.
    Display,
    Opacity,
    ClipPath,
    Mask,
    Filter,
    MixBlendMode,
    Isolation,
    Overflow,
    StopColor,
    StopOpacity,
    FloodColor,
    FloodOpacity,
    Transform,
    TransformOrigin,
    VectorEffect,
    MaskType,
    // Geometry, which SVG 2 made properties.
    X,
    Y,
    Width,
    Height,
    Cx,
    Cy,
    R,
    Rx,
    Ry,
    // Attributes.
    Id,
    Class,
    Style,
    Href,
    D,
    Points,
    ViewBox,
    PreserveAspectRatio,
    X1,
    Y1,
    X2,
    Y2,
    Fx,
    Fy,
    Fr,
    Offset,
    GradientUnits,
    GradientTransform,
    SpreadMethod,
    PatternUnits,
    PatternContentUnits,
    PatternTransform,
    ClipPathUnits,
    MaskUnits,
    MaskContentUnits,
    FilterUnits,
    PrimitiveUnits,
    MarkerUnits,
    MarkerWidth,
    MarkerHeight,
    RefX,
    RefY,
    Orient,
    SystemLanguage,
    RequiredExtensions,
    Type,
    Media,
    Label,
    XmlLang,
    XmlSpace,
    Other,
};

inline constexpr Name c_lastProperty = Name::Ry;
inline constexpr Name c_firstGeometryProperty = Name::X;
inline constexpr int c_geometryPropertyCount = static_cast<int>(c_lastProperty) - static_cast<int>(Name::X) + 1;

inline bool IsProperty(Name name) { return name <= c_lastProperty; }
// Properties that an attribute may set (SVG 2, 6.6); compositing ones are of style sheets only.
inline bool IsPresentationAttribute(Name name) {
    return IsProperty(name) && name != Name::MixBlendMode && name != Name::Isolation;
}
// Those that `font` sets, and itself.
inline bool IsFontProperty(Name name) { return name >= Name::Font && name <= Name::FontFeatureSettings; }
inline bool IsGeometryProperty(Name name) { return name >= c_firstGeometryProperty && name <= c_lastProperty; }

// By local name, case-sensitive as XML is.
ElementKind FindElementKind(std::string_view localName);
std::string_view GetElementName(ElementKind kind);
// An attribute or property without a namespace.
Name FindName(std::string_view localName);
std::string_view GetNameText(Name name);

} // namespace Formats::Svg
