// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_tiff_support.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <tiff.h>

namespace Raster::Codec {

namespace {

template <class T>
T Load(std::span<std::byte const> bytes, std::size_t index) {
    T value;
    std::memcpy(&value, bytes.data() + index * sizeof value, sizeof value);
    return value;
}

// IEEE 754 binary16.
float FromHalf(std::uint16_t half) {
    int const exponent = half >> 10 & 31;
    float const fraction = static_cast<float>(half & 1023);
    float const sign = (half & 0x8000) != 0 ? -1.0F : 1.0F;
    if (exponent == 0)
        return sign * std::ldexp(fraction, -24);
    if (exponent == 31)
        return fraction == 0 ? sign * std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    return sign * std::ldexp(1024 + fraction, exponent - 25);
}

// 24 bits: sign, 7 of exponent (bias 63), 16 of fraction; as Adobe's technical note on floating point TIFF has it.
float FromFloat24(std::uint32_t bits) {
    int const exponent = static_cast<int>(bits >> 16 & 127);
    float const fraction = static_cast<float>(bits & 0xFFFF);
    float const sign = (bits & 0x800000) != 0 ? -1.0F : 1.0F;
    if (exponent == 0)
        return sign * std::ldexp(fraction, -78);
    if (exponent == 127)
        return fraction == 0 ? sign * std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    return sign * std::ldexp(65536 + fraction, exponent - 79);
}

// To the nearest sample of full scale `to`, from one of full scale `from`.
std::uint32_t Rescale(std::uint32_t value, std::uint32_t from, std::uint32_t to) {
    return static_cast<std::uint32_t>((std::uint64_t{value} * to + from / 2) / from);
}

} // namespace

std::uint32_t LoadTiffInteger(std::span<std::byte const> source, std::size_t index, unsigned bits) {
    switch (bits) {
    case 8:
        return std::to_integer<std::uint32_t>(source[index]);
    case 16:
        return Load<std::uint16_t>(source, index);
    case 24: {
        auto const* const b = source.data() + index * 3;
        bool const isLittle = std::endian::native == std::endian::little;
        auto const low = std::to_integer<std::uint32_t>(b[isLittle ? 0 : 2]);
        auto const high = std::to_integer<std::uint32_t>(b[isLittle ? 2 : 0]);
        return high << 16 | std::to_integer<std::uint32_t>(b[1]) << 8 | low;
    }
    case 32:
        return Load<std::uint32_t>(source, index);
    default:
        break;
    }
    // Most significant bit first (TIFF 6.0, "FillOrder"); libtiff has reversed the bytes where the file says so.
    std::uint32_t value = 0;
    std::size_t bit = index * bits;
    for (unsigned left = bits; left != 0;) {
        unsigned const offset = bit % 8;
        unsigned const count = std::min(left, 8 - offset);
        auto const byte = std::to_integer<std::uint32_t>(source[bit / 8]);
        value = value << count | (byte >> (8 - offset - count) & ((1U << count) - 1));
        bit += count;
        left -= count;
    }
    return value;
}

TiffRowConverter::TiffRowConverter(TiffLayout const& layout, ImageInfo const& info) : m_layout(layout), m_info(info) {
    m_info.iccProfile.clear();
}

void TiffRowConverter::Convert(std::span<std::byte const> source, std::span<std::byte> target) const {
    switch (m_info.sampleFormat) {
    case SampleFormat::Integer8:
        ConvertIntegers(source, reinterpret_cast<std::uint8_t*>(target.data()));
        break;
    case SampleFormat::Integer16:
        ConvertIntegers(source, reinterpret_cast<std::uint16_t*>(target.data()));
        break;
    case SampleFormat::Float32:
        if (m_layout.sampleFormat == SAMPLEFORMAT_IEEEFP)
            ConvertFloats(source, reinterpret_cast<float*>(target.data()));
        else
            ConvertWideIntegers(source, reinterpret_cast<float*>(target.data()));
        break;
    }
}

std::uint32_t TiffRowConverter::GetInteger(std::span<std::byte const> source, std::size_t index) const {
    return LoadTiffInteger(source, index, m_layout.containerBits);
}

float TiffRowConverter::GetFloat(std::span<std::byte const> source, std::size_t index) const {
    switch (m_layout.bitsPerSample) {
    case 16:
        return FromHalf(Load<std::uint16_t>(source, index));
    case 24:
        return FromFloat24(LoadTiffInteger(source, index, 24));
    case 64:
        return static_cast<float>(Load<double>(source, index));
    default:
        return Load<float>(source, index);
    }
}

template <class Sample>
void TiffRowConverter::ConvertIntegers(std::span<std::byte const> source, Sample* target) const {
    constexpr std::uint32_t c_full = std::numeric_limits<Sample>::max();
    unsigned const bits = m_layout.bitsPerSample;
    auto const from = static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1);
    std::uint32_t const signBit = std::uint32_t{1} << (bits - 1);
    bool const isSigned = m_layout.sampleFormat == SAMPLEFORMAT_INT;
    bool const isInverted = m_layout.photometric == PHOTOMETRIC_MINISWHITE;
    bool const isCieLab = m_layout.photometric == PHOTOMETRIC_CIELAB;
    bool const isOldLab = m_layout.photometric == PHOTOMETRIC_ICCLAB && bits == 16;
    std::size_t const step = m_layout.samplesPerPixel;
    std::size_t const channels = m_info.GetChannelCount();
    std::size_t const colours = channels - (m_info.hasAlpha ? 1 : 0);

    for (std::size_t x = 0; x != m_info.width; ++x, target += channels) {
        auto const first = x * step;
        if (m_layout.photometric == PHOTOMETRIC_PALETTE) {
            auto const entry = GetInteger(source, first);
            for (std::size_t i = 0; i != 3; ++i)
                target[i] = static_cast<Sample>(Rescale(m_layout.palette[i][entry], 0xFFFF, c_full));
        } else {
            for (std::size_t i = 0; i != colours; ++i) {
                auto value = GetInteger(source, first + i);
                if (isSigned)
                    value ^= signBit;
                if (isInverted)
                    value = from - value;
                if (isCieLab && i != 0)
                    value ^= signBit;
                if (isOldLab)
                    // Full lightness is 0xFF00 there, and zero 0x8000 (ICC.1:2010, 6.3.4.2, the legacy encoding).
                    target[i] = static_cast<Sample>(std::min(c_full, Rescale(value, 0xFF00, 0xFFFF)));
                else if (isCieLab && i != 0 && bits == 16)
                    // Eight bits behind the point, and 128 in front of it: from 256 to 257 a unit.
                    target[i] = static_cast<Sample>(std::min<std::uint32_t>(c_full, Rescale(value, 256, 257)));
                else
                    target[i] = static_cast<Sample>(from == c_full ? value : Rescale(value, from, c_full));
            }
        }
        if (!m_info.hasAlpha)
            continue;
        auto alpha = GetInteger(source, first + m_layout.colourCount);
        if (isSigned)
            alpha ^= signBit;
        target[colours] = static_cast<Sample>(from == c_full ? alpha : Rescale(alpha, from, c_full));
        if (!m_layout.isPremultiplied || target[colours] == c_full)
            continue;
        for (std::size_t i = 0; i != colours; ++i) {
            std::uint32_t const full = target[colours];
            target[i] = full == 0 ? Sample(0) : static_cast<Sample>(std::min(c_full, Rescale(target[i], full, c_full)));
        }
    }
}

// Up to 24 bits lose nothing, as full scale is divided by in double precision.
void TiffRowConverter::ConvertWideIntegers(std::span<std::byte const> source, float* target) const {
    unsigned const bits = m_layout.bitsPerSample;
    auto const full = static_cast<double>((std::uint64_t{1} << bits) - 1);
    std::uint32_t const signBit = m_layout.sampleFormat == SAMPLEFORMAT_INT ? std::uint32_t{1} << (bits - 1) : 0;
    bool const isInverted = m_layout.photometric == PHOTOMETRIC_MINISWHITE;
    std::size_t const channels = m_info.GetChannelCount();
    std::size_t const colours = channels - (m_info.hasAlpha ? 1 : 0);
    for (std::size_t x = 0; x != m_info.width; ++x, target += channels) {
        auto const first = x * m_layout.samplesPerPixel;
        double const alpha = m_info.hasAlpha ? (GetInteger(source, first + m_layout.colourCount) ^ signBit) / full : 1;
        for (std::size_t i = 0; i != colours; ++i) {
            double value = (GetInteger(source, first + i) ^ signBit) / full;
            if (isInverted)
                value = 1 - value;
            if (m_layout.isPremultiplied)
                value = alpha == 0 ? 0 : std::min(1.0, value / alpha);
            target[i] = static_cast<float>(value);
        }
        if (m_info.hasAlpha)
            target[colours] = static_cast<float>(alpha);
    }
}

void TiffRowConverter::ConvertFloats(std::span<std::byte const> source, float* target) const {
    bool const isInverted = m_layout.photometric == PHOTOMETRIC_MINISWHITE;
    bool const isLab = m_info.colourModel == ColourModel::Lab;
    std::size_t const channels = m_info.GetChannelCount();
    std::size_t const colours = channels - (m_info.hasAlpha ? 1 : 0);
    for (std::size_t x = 0; x != m_info.width; ++x, target += channels) {
        auto const first = x * m_layout.samplesPerPixel;
        for (std::size_t i = 0; i != colours; ++i) {
            auto value = GetFloat(source, first + i);
            if (isInverted)
                value = 1 - value;
            if (isLab)
                value = i == 0 ? value / 100 : (value + 128) / 255;
            target[i] = value;
        }
        if (!m_info.hasAlpha)
            continue;
        float const alpha = GetFloat(source, first + m_layout.colourCount);
        target[colours] = alpha;
        if (m_layout.isPremultiplied)
            for (std::size_t i = 0; i != colours; ++i)
                target[i] = alpha == 0 ? 0 : target[i] / alpha;
    }
}

} // namespace Raster::Codec
