// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

namespace Formats::Svg {

// A colour of the sRGB space; each component from 0 to 1, not premultiplied.
struct Rgba {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
    friend bool operator==(Rgba const&, Rgba const&) = default;
};

// The colour syntaxes of CSS Color 3, the eight- and four-digit forms and the space-separated forms of CSS Color 4, and
// SVG 1.1's, whose trailing icc-color() is stepped over. Not `currentColor`: its value belongs to the element.
std::optional<Rgba> ParseColour(std::string_view text);

} // namespace Formats::Svg
