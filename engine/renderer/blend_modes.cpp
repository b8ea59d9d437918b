// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/blend.h"

#include <algorithm>
#include <cmath>

namespace Renderer::Detail {

namespace {

float ColourDodge(float b, float s) { return b <= 0 ? 0 : s >= 1 ? 1 : std::min(1.0f, b / (1 - s)); }
float ColourBurn(float b, float s) { return b >= 1 ? 1 : s <= 0 ? 0 : 1 - std::min(1.0f, (1 - b) / s); }
float HardLight(float b, float s) { return s <= 0.5f ? b * 2 * s : b + (2 * s - 1) - b * (2 * s - 1); }

float SoftLight(float b, float s) {
    if (s <= 0.5f)
        return b - (1 - 2 * s) * b * (1 - b);
    float const d = b <= 0.25f ? ((16 * b - 12) * b + 4) * b : std::sqrt(b);
    return b + (2 * s - 1) * (d - b);
}

struct Rgb {
    float r, g, b;
};

float Lum(Rgb const& c) { return 0.3f * c.r + 0.59f * c.g + 0.11f * c.b; }

Rgb ClipColour(Rgb c) {
    float const l = Lum(c), n = std::min({c.r, c.g, c.b}), x = std::max({c.r, c.g, c.b});
    if (n < 0) {
        float const f = l / (l - n);
        c = {l + (c.r - l) * f, l + (c.g - l) * f, l + (c.b - l) * f};
    }
    if (x > 1) {
        float const f = (1 - l) / (x - l);
        c = {l + (c.r - l) * f, l + (c.g - l) * f, l + (c.b - l) * f};
    }
    return c;
}

Rgb SetLum(Rgb const& c, float l) {
    float const d = l - Lum(c);
    return ClipColour({c.r + d, c.g + d, c.b + d});
}

float Sat(Rgb const& c) { return std::max({c.r, c.g, c.b}) - std::min({c.r, c.g, c.b}); }

Rgb SetSat(Rgb const& c, float s) {
    float const low = std::min({c.r, c.g, c.b}), range = Sat(c);
    if (!(range > 0))
        return {0, 0, 0};
    return {(c.r - low) * s / range, (c.g - low) * s / range, (c.b - low) * s / range};
}

Rgb BlendRgb(BlendMode mode, Rgb const& b, Rgb const& s) {
    switch (mode) {
    case BlendMode::Hue:
        return SetLum(SetSat(s, Sat(b)), Lum(b));
    case BlendMode::Saturation:
        return SetLum(SetSat(b, Sat(s)), Lum(b));
    case BlendMode::Colour:
        return SetLum(s, Lum(b));
    case BlendMode::Luminosity:
        return SetLum(b, Lum(s));
    case BlendMode::DarkerColour:
        return Lum(s) < Lum(b) ? s : b;
    case BlendMode::LighterColour:
        return Lum(s) > Lum(b) ? s : b;
    default:
        return s;
    }
}

// Lightness, chroma and hue stand apart already: each mode takes each from one side.
void BlendLab(BlendMode mode, float const* b, float const* s, float* result) {
    constexpr float c_zero = 128.0f / 255;
    float const ba = b[1] - c_zero, bb = b[2] - c_zero, sa = s[1] - c_zero, sb = s[2] - c_zero;
    float const chromaB = std::sqrt(ba * ba + bb * bb), chromaS = std::sqrt(sa * sa + sb * sb);
    auto const with = [&](float lightness, float a, float opponent, float chroma, float wanted) {
        float const f = chroma > 0 ? wanted / chroma : 0;
        result[0] = lightness;
        result[1] = c_zero + a * f;
        result[2] = c_zero + opponent * f;
    };
    switch (mode) {
    case BlendMode::Hue:
        return with(b[0], sa, sb, chromaS, chromaB);
    case BlendMode::Saturation:
        return with(b[0], ba, bb, chromaB, chromaS);
    case BlendMode::Colour:
        return with(b[0], sa, sb, 1, 1);
    case BlendMode::Luminosity:
        return with(s[0], ba, bb, 1, 1);
    case BlendMode::DarkerColour:
        std::copy_n(s[0] < b[0] ? s : b, 3, result);
        return;
    case BlendMode::LighterColour:
        std::copy_n(s[0] > b[0] ? s : b, 3, result);
        return;
    default:
        return;
    }
}

} // namespace

float BlendComponent(BlendMode mode, float b, float s) {
    switch (mode) {
    case BlendMode::Multiply:
        return b * s;
    case BlendMode::Screen:
        return b + s - b * s;
    case BlendMode::Overlay:
        return HardLight(s, b);
    case BlendMode::Darken:
        return std::min(b, s);
    case BlendMode::Lighten:
        return std::max(b, s);
    case BlendMode::ColourDodge:
        return ColourDodge(b, s);
    case BlendMode::ColourBurn:
        return ColourBurn(b, s);
    case BlendMode::HardLight:
        return HardLight(b, s);
    case BlendMode::SoftLight:
        return SoftLight(b, s);
    case BlendMode::Difference:
        return std::fabs(b - s);
    case BlendMode::Exclusion:
        return b + s - 2 * b * s;
    case BlendMode::Add:
        return std::min(1.0f, b + s);
    case BlendMode::Subtract:
        return std::max(0.0f, b - s);
    case BlendMode::LinearBurn:
        return std::max(0.0f, b + s - 1);
    case BlendMode::VividLight:
        return s <= 0.5f ? ColourBurn(b, 2 * s) : ColourDodge(b, 2 * s - 1);
    case BlendMode::LinearLight:
        return std::clamp(b + 2 * s - 1, 0.0f, 1.0f);
    case BlendMode::PinLight:
        return s <= 0.5f ? std::min(b, 2 * s) : std::max(b, 2 * s - 1);
    case BlendMode::HardMix:
        return b + s >= 1 ? 1.0f : 0.0f;
    case BlendMode::Divide:
        return b <= 0 ? 0 : s <= b ? 1 : b / s;
    case BlendMode::Normal:
        return s;
    default:
        return 0;
    }
}

void BlendPixel(BlendMode mode, Raster::ColourModel model, float const* b, float const* s, float* result) {
    switch (model) {
    case Raster::ColourModel::RGB:
    case Raster::ColourModel::CMYK: {
        auto const rgb = BlendRgb(mode, {b[0], b[1], b[2]}, {s[0], s[1], s[2]});
        result[0] = rgb.r;
        result[1] = rgb.g;
        result[2] = rgb.b;
        // Black stays the backdrop's unless the mode takes its darkness from the source (ISO 32000-1, 11.3.5.3).
        if (model == Raster::ColourModel::CMYK) {
            result[3] = mode == BlendMode::Luminosity      ? s[3]
                        : mode == BlendMode::DarkerColour  ? std::min(s[3], b[3])
                        : mode == BlendMode::LighterColour ? std::max(s[3], b[3])
                                                           : b[3];
        }
        return;
    }
    case Raster::ColourModel::Lab:
        return BlendLab(mode, b, s, result);
    case Raster::ColourModel::Grey:
        // Grey has a luminosity only.
        result[0] = mode == BlendMode::Luminosity      ? s[0]
                    : mode == BlendMode::DarkerColour  ? std::min(b[0], s[0])
                    : mode == BlendMode::LighterColour ? std::max(b[0], s[0])
                                                       : b[0];
        return;
    case Raster::ColourModel::AlphaOnly:
        return;
    }
}

} // namespace Renderer::Detail
