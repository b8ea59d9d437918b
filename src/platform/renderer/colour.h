// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/prop_type.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Renderer {

// Which components a colour has. Values are part of the stored format.
enum class ColourFormat : std::uint32_t { RGB = 0, Grey = 1, CMYK = 2, Lab = 3 };

// A colour with its alpha, all components from 0 to 1.
//
// RGB is sRGB with its transfer function applied. Grey is such a value for all three. CMYK counts ink. Lab is CIE
// L*a*b* relative to D50, stored as L / 100, (a + 128) / 255, (b + 128) / 255. Colour is not multiplied by alpha.
//
// Converted turns one into another by the plain rules of Raster::PixelConverter: RGB to Grey by luma, CMYK as device
// colours with full black generation, Lab of sRGB colours adapted to D50. Documents with profiles convert through them
// instead, before colours get here.
class REDRAFT_ENGINE Colour {
public:
    // Opaque black.
    constexpr Colour() = default;
    // Components out of 0..1 are brought to the nearer end, NaN to 0; unused components are 0.
    Colour(ColourFormat format, std::array<float, 4> const& components, float alpha);
    static Colour FromRGB(float red, float green, float blue, float alpha = 1) {
        return {ColourFormat::RGB, {red, green, blue, 0}, alpha};
    }
    static Colour FromGrey(float grey, float alpha = 1) { return {ColourFormat::Grey, {grey, 0, 0, 0}, alpha}; }
    static Colour FromCMYK(float cyan, float magenta, float yellow, float black, float alpha = 1) {
        return {ColourFormat::CMYK, {cyan, magenta, yellow, black}, alpha};
    }
    // lightness 0..100, a and b -128..127.
    static Colour FromLab(float lightness, float a, float b, float alpha = 1) {
        return {ColourFormat::Lab, {lightness / 100, (a + 128) / 255, (b + 128) / 255, 0}, alpha};
    }

    ColourFormat GetFormat() const { return m_format; }
    std::array<float, 4> const& GetComponents() const { return m_components; }
    float GetAlpha() const { return m_alpha; }
    Colour WithAlpha(float alpha) const { return {m_format, m_components, alpha}; }
    // The same colour in another format; itself where the format is the same already.
    Colour Converted(ColourFormat format) const;
    // A colour that was read from outside, brought into range; an unknown format becomes opaque black.
    Colour Sanitised() const;

    // The transfer function of sRGB (IEC 61966-2-1) and its inverse, the same on every machine. 0..1 to 0..1.
    static double ToLinear(double encoded);
    static double FromLinear(double linear);

    std::size_t GetHash() const;
    friend bool operator==(Colour const&, Colour const&) = default;

private:
    ColourFormat m_format = ColourFormat::RGB;
    std::array<float, 4> m_components{};
    float m_alpha = 1;
};

} // namespace Renderer

template <>
struct Kernel::PropTraits<Renderer::Colour> {
    static constexpr PropType c_type = static_cast<PropType>(80);
};
