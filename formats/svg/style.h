// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/colour.h"
#include "formats/svg/names.h"
#include "formats/svg/scanner.h"

#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace Formats::Svg {

enum class PaintKind : std::uint8_t { None, Colour, CurrentColour, Server, ContextFill, ContextStroke };

// The value of `fill` or `stroke`. A server whose element is missing or unusable gives way to the fallback.
struct Paint {
    PaintKind kind = PaintKind::None;
    PaintKind fallback = PaintKind::None;
    // Of kind Colour, or of a fallback of that kind.
    Rgba colour;
    // The id that a server's reference names.
    std::string_view server;
    friend bool operator==(Paint const&, Paint const&) = default;
};

enum class FillRule : std::uint8_t { NonZero, EvenOdd };
enum class LineCap : std::uint8_t { Butt, Round, Square };
enum class LineJoin : std::uint8_t { Miter, Round, Bevel };
enum class PaintLayer : std::uint8_t { Fill, Stroke, Markers };
enum class Overflow : std::uint8_t { Unset, Visible, Hidden };
enum class TextAnchor : std::uint8_t { Start, Middle, End };
// The line of the font that lies on the baseline (SVG 2, 11.10.2).
enum class DominantBaseline : std::uint8_t { Alphabetic, Middle, Central, Hanging, Mathematical, Top, Bottom };
// CSS Writing Modes 3, 2.2.
enum class UnicodeBidi : std::uint8_t { Normal, Embed, Override, Isolate, IsolateOverride, PlainText };
enum class WhiteSpace : std::uint8_t { Unset, Collapse, Preserve };
// Compositing 1, section 5, in its order.
enum class MixMode : std::uint8_t {
    Normal,
    Multiply,
    Screen,
    Overlay,
    Darken,
    Lighten,
    ColorDodge,
    ColorBurn,
    HardLight,
    SoftLight,
    Difference,
    Exclusion,
    Hue,
    Saturation,
    Color,
    Luminosity,
};

// The computed values of the properties that children take over. Lengths are in user units of the element; only
// percentages wait for the viewport.
struct InheritedStyle {
    Rgba colour;
    Paint fill{PaintKind::Colour, PaintKind::None, {}, {}};
    Paint stroke;
    double fillOpacity = 1;
    double strokeOpacity = 1;
    FillRule fillRule = FillRule::NonZero;
    FillRule clipRule = FillRule::NonZero;
    Length strokeWidth{1, false};
    LineCap lineCap = LineCap::Butt;
    LineJoin lineJoin = LineJoin::Miter;
    double mitreLimit = 4;
    // Empty for a solid line.
    std::vector<Length> dashes;
    Length dashOffset;
    bool visible = true;
    bool smoothImages = true;
    bool antialiased = true;
    // Colours are mixed as light: of masks, and of filters.
    bool isLinear = false;
    bool areFiltersLinear = true;
    std::array<PaintLayer, 3> paintOrder{PaintLayer::Fill, PaintLayer::Stroke, PaintLayer::Markers};
    // Ids of marker elements, empty for none.
    std::string_view markerStart, markerMid, markerEnd;
    double fontSize = 16;
    std::string_view fontFamily;
    double fontWeight = 400;
    double fontStretch = 100;
    bool isItalic = false;
    bool hasSmallCaps = false;
    bool hasKerning = true;
    // As font-feature-settings lists them.
    std::string_view fontFeatures;
    double letterSpacing = 0, wordSpacing = 0;
    // Of the element and of those that it stands in.
    bool isUnderlined = false, isOverlined = false, isStruckThrough = false;
    // Upwards: a length, and one that is multiplied by how many ems the font's ascent and descent take together; of the
    // element and of those that it stands in.
    double baselineShift = 0, baselineShiftOfHeight = 0;
    DominantBaseline dominantBaseline = DominantBaseline::Alphabetic;
    bool isRightToLeft = false;
    bool isVertical = false;
    WhiteSpace whiteSpace = WhiteSpace::Unset;
    TextAnchor textAnchor = TextAnchor::Start;
    // The element's own: not inherited, but children may ask for it by `inherit`.
    Overflow overflow = Overflow::Visible;
    friend bool operator==(InheritedStyle const&, InheritedStyle const&) = default;
};

// The computed values of the properties that concern one element only.
struct OwnStyle {
    bool displayed = true;
    bool isolated = false;
    bool nonScalingStroke = false;
    bool maskByAlpha = false;
    Overflow overflow = Overflow::Unset;
    MixMode mixMode = MixMode::Normal;
    double opacity = 1;
    double stopOpacity = 1;
    UnicodeBidi unicodeBidi = UnicodeBidi::Normal;
    Rgba stopColour;
    bool stopIsCurrentColour = false;
    double floodOpacity = 1;
    Rgba floodColour;
    bool floodIsCurrentColour = false;
    // Ids of the elements that are referred to, empty for none.
    std::string_view clipPath, mask;
    // The whole value, for it may be a list of functions; empty for none.
    std::string_view filter;
    std::string_view transform, transformOrigin;
    // The unparsed value by property; a null view where it is not set.
    std::array<std::string_view, static_cast<std::size_t>(c_geometryPropertyCount)> geometry;

    std::string_view GetGeometry(Name name) const {
        return geometry[static_cast<std::size_t>(name) - static_cast<std::size_t>(c_firstGeometryProperty)];
    }
};

// A name of `mix-blend-mode`, in any case.
std::optional<MixMode> ParseMixMode(std::string_view text);

// The fragment of `url(#fragment)`; empty where it is not one. A reference to another file is none: `isExternal`, if
// given, tells the difference.
std::optional<std::string_view> ParseLocalUrl(std::string_view text, bool* isExternal = nullptr);

// Computes the style of one element: its declarations are applied in ascending precedence, and an invalid one leaves
// what stands, as CSS asks. `color` and `font-size` go first, for others refer to them.
class StyleBuilder {
public:
    // `hidesOverflow` is what holds where nothing says otherwise.
    StyleBuilder(std::shared_ptr<InheritedStyle const> parent, double rootFontSize, bool hidesOverflow = false);

    // False when the value is invalid.
    bool Apply(Name property, std::string_view value);

    // Both are taken once, at the end. The inherited part is the parent's own object where nothing was set.
    std::shared_ptr<InheritedStyle const> TakeInherited();
    OwnStyle TakeOwn() { return m_own; }

private:
    InheritedStyle& Edit();
    InheritedStyle const& Current() const { return m_edited ? *m_edited : *m_parent; }
    FontSizes GetFontSizes() const { return {Current().fontSize, m_rootFontSize}; }
    void CopyFrom(Name property, InheritedStyle const& source);
    bool ApplyPaint(Name property, std::string_view value);
    bool ApplyStroke(Name property, std::string_view value);
    bool ApplyInherited(Name property, std::string_view value);
    bool ApplyOwn(Name property, std::string_view value);
    bool ApplyFontSize(std::string_view value);
    // style_text.cpp
    bool ApplyText(Name property, std::string_view value);
    void CopyTextFrom(Name property, InheritedStyle const& source);
    bool ApplyFont(std::string_view value);
    bool ApplyFontWeight(std::string_view value);
    bool ApplySpacing(std::string_view value, double InheritedStyle::*target);
    bool ApplyDecoration(std::string_view value);
    bool ApplyBaselineShift(std::string_view value);
    bool ApplyMarker(Name property, std::string_view value);
    bool ApplyDashes(std::string_view value);
    bool ApplyPaintOrder(std::string_view value);
    static bool ApplyOwnColour(std::string_view value, Rgba& colour, bool& isCurrentColour);

    std::shared_ptr<InheritedStyle const> m_parent;
    std::shared_ptr<InheritedStyle> m_edited;
    double m_rootFontSize;
    bool m_hidesOverflow;
    OwnStyle m_own;
};

} // namespace Formats::Svg
