// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/colour.h"

#include "engine/raster/exact_math.h"
#include "engine/raster/working_pixel.h"
#include "engine/renderer/value_hash.h"

#include <algorithm>

namespace Renderer {

namespace {

// Not a number becomes 0.
float Clamp(float v) { return v > 0 ? (v < 1 ? v : 1.0f) : 0.0f; }

std::array<float, 4> ToRGB(ColourFormat format, std::array<float, 4> const& c) {
    switch (format) {
    case ColourFormat::Grey:
        return {c[0], c[0], c[0], 0};
    case ColourFormat::CMYK:
        return {(1 - c[0]) * (1 - c[3]), (1 - c[1]) * (1 - c[3]), (1 - c[2]) * (1 - c[3]), 0};
    case ColourFormat::Lab: {
        float lab[3][Raster::c_spanLength]{};
        Raster::WorkingSpan rgb{};
        for (std::size_t i = 0; i != 3; ++i)
            lab[i][0] = c[i];
        Raster::LabToWorking(lab, rgb);
        return {rgb.r[0], rgb.g[0], rgb.b[0], 0};
    }
    case ColourFormat::RGB:
        break;
    }
    return c;
}

std::array<float, 4> ToFormat(ColourFormat format, std::array<float, 4> const& c) {
    switch (format) {
    case ColourFormat::Grey:
        return {c[0] * 0.299f + c[1] * 0.587f + c[2] * 0.114f, 0, 0, 0};
    case ColourFormat::CMYK: {
        float const black = 1 - std::max({c[0], c[1], c[2]});
        if (black >= 1)
            return {0, 0, 0, 1};
        return {(1 - c[0] - black) / (1 - black), (1 - c[1] - black) / (1 - black), (1 - c[2] - black) / (1 - black),
                black};
    }
    case ColourFormat::Lab: {
        float lab[3][Raster::c_spanLength]{};
        Raster::WorkingSpan rgb{};
        rgb.r[0] = c[0];
        rgb.g[0] = c[1];
        rgb.b[0] = c[2];
        Raster::WorkingToLab(rgb, lab);
        return {lab[0][0], lab[1][0], lab[2][0], 0};
    }
    case ColourFormat::RGB:
        break;
    }
    return c;
}

std::size_t GetComponentCount(ColourFormat format) {
    return format == ColourFormat::Grey ? 1 : format == ColourFormat::CMYK ? 4 : 3;
}

} // namespace

Colour::Colour(ColourFormat format, std::array<float, 4> const& components, float alpha)
    : m_format(format), m_alpha(Clamp(alpha)) {
    for (std::size_t i = 0; i != GetComponentCount(format); ++i)
        m_components[i] = Clamp(components[i]);
}

Colour Colour::Converted(ColourFormat format) const {
    if (format == m_format)
        return *this;
    // A colour outside the gamut of sRGB is clipped before it goes on.
    Colour const rgb(ColourFormat::RGB, ToRGB(m_format, m_components), m_alpha);
    return {format, ToFormat(format, rgb.m_components), m_alpha};
}

Colour Colour::Sanitised() const {
    if (static_cast<std::uint32_t>(m_format) > static_cast<std::uint32_t>(ColourFormat::Lab))
        return {};
    return {m_format, m_components, m_alpha};
}

double Colour::ToLinear(double encoded) { return Raster::DecodeSrgb(encoded); }
double Colour::FromLinear(double linear) { return Raster::EncodeSrgb(linear); }

std::size_t Colour::GetHash() const {
    Detail::ValueHash hash;
    hash.Add(std::uint64_t{static_cast<std::uint32_t>(m_format)}).Add(double{m_alpha});
    for (float const component : m_components)
        hash.Add(double{component});
    return hash.Get();
}

} // namespace Renderer
