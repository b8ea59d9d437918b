// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/format.h"

#include <array>

namespace Raster {

// How many pixels the pixel operations handle at a time.
inline constexpr int c_spanLength = 32;

// One pixel of a format, samples in the order of the format's channels.
template <class C1, class C2, class C3, class C4, class C5>
struct Pixel {
    using Model = PixelModel<C1, C2, C3, C4, C5>;
    using Sample = typename Model::Sample;

    std::array<Sample, Model::c_channelCount> samples{};

    template <class Channel>
    constexpr Sample& Get() {
        return samples[Model::template c_indexOf<Channel>];
    }
    template <class Channel>
    constexpr Sample Get() const {
        return samples[Model::template c_indexOf<Channel>];
    }
    constexpr Sample& Alpha() { return samples[Model::c_alphaIndex]; }
    constexpr Sample Alpha() const { return samples[Model::c_alphaIndex]; }
    friend constexpr bool operator==(Pixel const&, Pixel const&) = default;
};

// 32 pixels of a row as planes.
template <class C1, class C2, class C3, class C4, class C5>
struct alignas(64) PlanarSpan {
    using Model = PixelModel<C1, C2, C3, C4, C5>;
    using Sample = typename Model::Sample;

    Sample planes[Model::c_channelCount][c_spanLength];
};

// A pixel that knows its format. Samples are held as doubles in the format's own scale, which is exact for all.
class REDRAFT_ENGINE DynamicPixel {
public:
    // All samples zero: transparent.
    explicit DynamicPixel(Format format = FormatRGBA8) : m_format(format) {}
    template <class C1, class C2, class C3, class C4, class C5>
    DynamicPixel(Pixel<C1, C2, C3, C4, C5> const& pixel) : m_format(c_formatOf<C1, C2, C3, C4, C5>) {
        for (std::size_t i = 0; i != pixel.samples.size(); ++i)
            m_samples[i] = pixel.samples[i];
    }

    Format GetFormat() const { return m_format; }
    double GetSample(int channel) const { return m_samples[static_cast<std::size_t>(channel)]; }
    // Integer formats take the nearest whole sample; what is out of range is brought to its end, a NaN to 0.
    void SetSample(int channel, double sample);
    // The same colour in another format, by the rules of ConvertPixel. Exception for a format that has no pixels.
    DynamicPixel Converted(Format format) const;

    // The pixel as its own type; the formats must agree.
    template <class PixelType>
    PixelType As() const {
        PixelType pixel;
        for (std::size_t i = 0; i != pixel.samples.size(); ++i)
            pixel.samples[i] = static_cast<typename PixelType::Sample>(m_samples[i]);
        return pixel;
    }
    friend bool operator==(DynamicPixel const&, DynamicPixel const&) = default;

private:
    Format m_format;
    std::array<double, 5> m_samples{};
};

} // namespace Raster
