// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/drawing.h"

namespace Formats::Svg {

enum class Units : std::uint8_t { ObjectBoundingBox, UserSpaceOnUse };
enum class SpreadMethod : std::uint8_t { Pad, Reflect, Repeat };

struct GradientStop {
    // From 0 to 1, never below the one before.
    double offset = 0;
    Rgba colour;
};

// A gradient with what it takes over through its references.
struct Gradient {
    bool isRadial = false;
    Units units = Units::ObjectBoundingBox;
    SpreadMethod spread = SpreadMethod::Pad;
    Matrix transform;
    std::vector<GradientStop> stops;
    // Linear: from (x1, y1) to (x2, y2).
    Length x1, y1, x2, y2;
    // Radial: the end circle and the focal one.
    Length cx, cy, r, fx, fy, fr;

    // Along x or y, or for a radius: in fractions of the box, or in the user units of the referring element.
    double Resolve(Length length, double reference) const {
        return length.Resolve(units == Units::ObjectBoundingBox ? 1 : reference);
    }
};

// A pattern with what it takes over through its references.
struct Pattern {
    explicit Pattern(Element const& withContent) : content(withContent) {}

    Units units = Units::ObjectBoundingBox;
    Units contentUnits = Units::UserSpaceOnUse;
    Matrix transform;
    Length x, y, width, height;
    std::optional<Viewport> viewBox;
    AspectRatio aspect;
    // Whose children are the tile's content; style and references are those of its own place.
    Element content;
};

// The gradient that `fill` or `stroke` names, or empty where the id names none. Not counted as missing: the caller may
// look for a pattern next. A gradient without stops is given back without any; it paints nothing.
std::optional<Gradient> FindGradient(Drawing& drawing, std::string_view id);

// The pattern that the element's `fill` or `stroke` names. Empty where the id names none, or it has no content or no
// area, or where following it would have no end.
std::optional<Pattern> FindPattern(Element const& user, std::string_view id);

// Of clipPathUnits, maskUnits and the like.
Units ParseUnits(std::optional<std::string_view> text, Units missing);

} // namespace Formats::Svg
