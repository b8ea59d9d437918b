// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/pixel.h"

#include "engine/raster/interleave.h"
#include "platform/kernel/exception.h"
#include "platform/raster/conversion.h"

#include <cmath>

namespace Raster {

char const* GetFormatName(Format format) noexcept {
    switch (format) {
    case FormatRGBA8:
        return "RGBA8";
    case FormatRGBA16:
        return "RGBA16";
    case FormatIA8:
        return "IA8";
    case FormatIA16:
        return "IA16";
    case FormatCMYKA8:
        return "CMYKA8";
    case FormatLABA16:
        return "LABA16";
    case FormatA8:
        return "A8";
    case FormatA16:
        return "A16";
    case FormatRGBAF:
        return "RGBAF";
    case FormatAF:
        return "AF";
    case FormatNone:
        break;
    }
    return "none";
}

void DynamicPixel::SetSample(int channel, double sample) {
    FormatInfo const info = GetFormatInfo(m_format);
    if (channel < 0 || channel >= info.channelCount)
        throw Kernel::Exception("this pixel format has no such channel");
    if (info.isFloat) {
        sample = static_cast<double>(static_cast<float>(sample));
    } else {
        double const maximum = info.sampleBytes == 1 ? 255 : 65535;
        sample = sample > 0 ? std::floor(std::min(sample, maximum) + 0.5) : 0;
    }
    m_samples[static_cast<std::size_t>(channel)] = sample;
}

DynamicPixel DynamicPixel::Converted(Format format) const {
    if (format == m_format && IsHandledFormat(format))
        return *this;
    auto const converter = PixelConverter::MakePlain(m_format, format);
    std::uint32_t in[5] = {}, out[5] = {};
    void const* from[5];
    void* to[5];
    for (std::size_t c = 0; c != 5; ++c) {
        in[c] = ToSampleBits(m_samples[c], GetFormatInfo(m_format));
        from[c] = &in[c];
        to[c] = &out[c];
    }
    converter->Convert(from, to, 1);
    DynamicPixel result(format);
    FormatInfo const info = GetFormatInfo(format);
    for (int c = 0; c != info.channelCount; ++c)
        result.SetSample(c, FromSampleBits(out[c], info));
    return result;
}

} // namespace Raster
