// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace Renderer {

// How a source colour mixes with its backdrop. The first 16 are those of W3C Compositing and Blending Level 1, section
// 10; the formulas of the others stand in docs/rendering.md. Values are part of the stored format.
enum class BlendMode : std::uint32_t {
    Normal = 0,
    Multiply = 1,
    Screen = 2,
    Overlay = 3,
    Darken = 4,
    Lighten = 5,
    ColourDodge = 6,
    ColourBurn = 7,
    HardLight = 8,
    SoftLight = 9,
    Difference = 10,
    Exclusion = 11,
    Hue = 12,
    Saturation = 13,
    Colour = 14,
    Luminosity = 15,
    Add = 16,
    Subtract = 17,
    LinearBurn = 18,
    VividLight = 19,
    LinearLight = 20,
    PinLight = 21,
    HardMix = 22,
    Divide = 23,
    DarkerColour = 24,
    LighterColour = 25,
    // Takes the backdrop away where the source is; the source's colour does not count.
    Erase = 26,
};
inline constexpr unsigned c_blendModeCount = 27;

} // namespace Renderer
