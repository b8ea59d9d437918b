// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/working_space.h"

#include "engine/raster/exact_math.h"
#include "engine/raster/tile_block.h"
#include "engine/renderer/wide_loop.h"
#include "platform/renderer/colour_profiles.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Renderer::Detail {

namespace {

using Raster::ColourModel;

// The format of each colour model that holds the most of a colour.
Raster::Format GetFinestFormat(ColourModel model) {
    switch (model) {
    case ColourModel::RGB:
        return Raster::FormatRGBAF;
    case ColourModel::Grey:
        return Raster::FormatIA16;
    case ColourModel::CMYK:
        return Raster::FormatCMYKA8;
    case ColourModel::Lab:
        return Raster::FormatLABA16;
    case ColourModel::AlphaOnly:
        break;
    }
    return Raster::FormatAF;
}

ColourModel GetModel(ColourFormat format) {
    switch (format) {
    case ColourFormat::Grey:
        return ColourModel::Grey;
    case ColourFormat::CMYK:
        return ColourModel::CMYK;
    case ColourFormat::Lab:
        return ColourModel::Lab;
    case ColourFormat::RGB:
        break;
    }
    return ColourModel::RGB;
}

ColourFormat GetColourFormat(ColourModel model) {
    switch (model) {
    case ColourModel::Grey:
        return ColourFormat::Grey;
    case ColourModel::CMYK:
        return ColourFormat::CMYK;
    case ColourModel::Lab:
        return ColourFormat::Lab;
    default:
        return ColourFormat::RGB;
    }
}

int GetColourCountOf(ColourModel model) {
    switch (model) {
    case ColourModel::Grey:
        return 1;
    case ColourModel::CMYK:
        return 4;
    case ColourModel::AlphaOnly:
        return 0;
    default:
        return 3;
    }
}

// Not a number becomes 0.
float Clamp(float v) { return v > 0 ? (v < 1 ? v : 1.0f) : 0.0f; }

template <class Sample>
void LoadPlane(void const* row, int x, int count, float* out) {
    auto const* const in = static_cast<Sample const*>(row) + x;
    constexpr float c_scale = std::is_floating_point_v<Sample> ? 1.0f : float(std::numeric_limits<Sample>::max());
    for (int i = 0; i != count; ++i)
        out[i] = static_cast<float>(in[i]) / c_scale;
}

REDRAFT_WIDE_LOOP void StoreBytes(float const* in, int count, std::uint8_t* out) {
    for (int i = 0; i != count; ++i)
        out[i] = static_cast<std::uint8_t>(static_cast<int>(Clamp(in[i]) * 255.0f + 0.5f));
}

REDRAFT_WIDE_LOOP void StoreWords(float const* in, int count, std::uint16_t* out) {
    for (int i = 0; i != count; ++i)
        out[i] = static_cast<std::uint16_t>(static_cast<int>(Clamp(in[i]) * 65535.0f + 0.5f));
}

REDRAFT_WIDE_LOOP bool AreAllOne(float const* values, int count) {
    int others = 0;
    for (int i = 0; i != count; ++i)
        others += values[i] != 1 ? 1 : 0;
    return others == 0;
}

// 1 / alpha, and 0 for clear pixels. Where alpha is 1 this is 1, and nothing is lost.
REDRAFT_WIDE_LOOP void Invert(float const* alpha, int count, float* out) {
    for (int i = 0; i != count; ++i)
        out[i] = alpha[i] > 0 ? 1 / alpha[i] : 0;
}

REDRAFT_WIDE_LOOP void Multiply(float const* values, float const* factors, int count, float* out) {
    for (int i = 0; i != count; ++i)
        out[i] = values[i] * factors[i];
}

void LoadPlane(Raster::FormatInfo const& info, void const* row, int x, int count, float* out) {
    if (info.isFloat)
        LoadPlane<float>(row, x, count, out);
    else if (info.sampleBytes == 1)
        LoadPlane<std::uint8_t>(row, x, count, out);
    else
        LoadPlane<std::uint16_t>(row, x, count, out);
}

void StorePlane(Raster::FormatInfo const& info, float const* in, int count, void* row) {
    if (info.isFloat)
        std::copy_n(in, count, static_cast<float*>(row));
    else if (info.sampleBytes == 1)
        StoreBytes(in, count, static_cast<std::uint8_t*>(row));
    else
        StoreWords(in, count, static_cast<std::uint16_t*>(row));
}

std::array<float, 4> ConvertComponents(Colour const& colour, Raster::PixelConverter const& converter) {
    auto const in = Raster::BufferBase::Create(1, 1, converter.GetFrom());
    auto const out = Raster::BufferBase::Create(1, 1, converter.GetTo());
    int const alpha = in->GetInfo().channelCount - 1;
    for (int c = 0; c != alpha; ++c)
        StorePlane(in->GetInfo(), &colour.GetComponents()[static_cast<std::size_t>(c)], 1, in->GetRow(c, 0));
    float const opaque = 1;
    StorePlane(in->GetInfo(), &opaque, 1, in->GetRow(alpha, 0));
    Raster::ConvertPixels(*in, *out, converter);
    std::array<float, 4> components{};
    for (int c = 0; c != out->GetInfo().channelCount - 1; ++c)
        LoadPlane(out->GetInfo(), std::as_const(*out).GetRow(c, 0), 0, 1, &components[static_cast<std::size_t>(c)]);
    return components;
}

} // namespace

WorkingSpace::WorkingSpace(Raster::Format format, Raster::ICCProfileSet const& profiles, BlendSpace blendSpace)
    : m_format(format),
      m_model(Raster::GetFormatInfo(format).colourModel),
      m_colourCount(GetColourCountOf(m_model)),
      m_linear(blendSpace == BlendSpace::Linear && m_model == ColourModel::RGB),
      m_profiles(profiles) {
    m_exchangeFormat = GetFinestFormat(m_model);
}

std::array<float, c_maximumColours> WorkingSpace::ToWorking(Colour const& colour,
                                                            Raster::ICCProfileSet const& documentProfiles) const {
    if (m_model == ColourModel::AlphaOnly)
        return {};
    auto components = ConvertColour(colour, documentProfiles, GetColourFormat(m_model), m_profiles).GetComponents();
    for (int c = 0; c != m_colourCount; ++c) {
        float& v = components[static_cast<std::size_t>(c)];
        if (m_model == ColourModel::CMYK)
            v = 1 - v;
        else if (m_linear)
            v = static_cast<float>(Raster::DecodeSrgb(v));
    }
    return components;
}

void WorkingSpace::LoadRow(Raster::BufferBase const& buffer, int y, int x, int count, float* const* planes) const {
    auto const& info = buffer.GetInfo();
    float* const alpha = planes[m_colourCount];
    LoadPlane(info, buffer.GetRow(info.channelCount - 1, y), x, count, alpha);
    for (int i = 0; i != count; ++i)
        alpha[i] = Clamp(alpha[i]);
    for (int c = 0; c != m_colourCount; ++c) {
        float* const plane = planes[c];
        LoadPlane(info, buffer.GetRow(c, y), x, count, plane);
        for (int i = 0; i != count; ++i)
            plane[i] = std::fabs(plane[i]) <= std::numeric_limits<float>::max() ? plane[i] : 0.0f;
        if (m_model == ColourModel::CMYK) {
            for (int i = 0; i != count; ++i)
                plane[i] = 1 - plane[i];
        } else if (m_linear) {
            for (int i = 0; i != count; ++i)
                plane[i] = static_cast<float>(Raster::DecodeSrgb(plane[i]));
        }
        for (int i = 0; i != count; ++i)
            plane[i] *= alpha[i];
    }
}

void WorkingSpace::StoreRow(float const* const* planes, int count, Raster::BufferBase& buffer, int y, int x) const {
    constexpr int c_run = 256;
    auto const& info = buffer.GetInfo();
    float const* const alpha = planes[m_colourCount];
    std::size_t const bytes = static_cast<std::size_t>(info.sampleBytes);
    float inverse[c_run], colour[c_run];
    for (int start = 0; start < count; start += c_run) {
        int const run = std::min(c_run, count - start);
        auto const target = [&](int channel) {
            return static_cast<char*>(buffer.GetRow(channel, y)) + static_cast<std::size_t>(x + start) * bytes;
        };
        bool const isOpaque = AreAllOne(alpha + start, run);
        if (!isOpaque)
            Invert(alpha + start, run, inverse);
        for (int c = 0; c != m_colourCount; ++c) {
            float const* const plane = planes[c] + start;
            if (isOpaque && m_model != ColourModel::CMYK && !m_linear) {
                StorePlane(info, plane, run, target(c));
                continue;
            }
            if (isOpaque)
                std::copy_n(plane, run, colour);
            else
                Multiply(plane, inverse, run, colour);
            if (m_model == ColourModel::CMYK) {
                for (int i = 0; i != run; ++i)
                    colour[i] = alpha[start + i] > 0 ? 1 - colour[i] : 0;
            } else if (m_linear) {
                for (int i = 0; i != run; ++i)
                    colour[i] = static_cast<float>(Raster::EncodeSrgb(colour[i]));
            }
            StorePlane(info, colour, run, target(c));
        }
        StorePlane(info, alpha + start, run, target(info.channelCount - 1));
    }
}

void WorkingSpace::StorePixels(float const* pixel, int count, Raster::BufferBase& buffer, int y, int x) const {
    float const* planes[c_maximumColours + 1];
    for (int plane = 0; plane <= m_colourCount; ++plane)
        planes[plane] = pixel + plane;
    StoreRow(planes, 1, buffer, y, x);
    auto const& info = buffer.GetInfo();
    auto const bytes = static_cast<std::size_t>(info.sampleBytes);
    for (int channel = 0; channel != info.channelCount; ++channel) {
        auto* const first = static_cast<std::byte*>(buffer.GetRow(channel, y)) + static_cast<std::size_t>(x) * bytes;
        std::uint32_t bits = 0;
        std::memcpy(&bits, first, bytes);
        Raster::FillSamples(first, info.sampleBytes, static_cast<std::size_t>(count), bits);
    }
}

float WorkingSpace::GetLuminance(float const* colour) const {
    switch (m_model) {
    case ColourModel::RGB:
        return 0.2126f * colour[0] + 0.7152f * colour[1] + 0.0722f * colour[2];
    case ColourModel::CMYK:
        return (0.2126f * colour[0] + 0.7152f * colour[1] + 0.0722f * colour[2]) * colour[3];
    case ColourModel::AlphaOnly:
        return 1;
    default:
        return colour[0];
    }
}

float WorkingSpace::GetLinearLuminance(float const* colour) const {
    auto const decode = [](float v) { return static_cast<float>(Raster::DecodeSrgb(Clamp(v))); };
    if (m_model == ColourModel::AlphaOnly || m_linear)
        return GetLuminance(colour);
    if (m_model != ColourModel::RGB)
        return decode(GetLuminance(colour));
    return 0.2126f * decode(colour[0]) + 0.7152f * decode(colour[1]) + 0.0722f * decode(colour[2]);
}

} // namespace Renderer::Detail

namespace Renderer {

Colour ConvertColour(Colour const& colour, Raster::ICCProfileSet const& from, ColourFormat format,
                     Raster::ICCProfileSet const& to) {
    auto const fromModel = Detail::GetModel(colour.GetFormat()), toModel = Detail::GetModel(format);
    if (fromModel == toModel && from.Get(fromModel) == to.Get(toModel))
        return colour;
    Raster::ICCProfileSet const defaults;
    if (from == defaults && to == defaults)
        return colour.Converted(format);
    auto const converter = Raster::ICCManager::GetInstance().MakeConverterForSets(
        Detail::GetFinestFormat(fromModel), from, Detail::GetFinestFormat(toModel), to);
    return {format, Detail::ConvertComponents(colour, *converter), colour.GetAlpha()};
}

} // namespace Renderer
