// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/interleave.h"

namespace Raster {

namespace {

// The number of channels as a constant lets the compiler shuffle whole registers.
template <class Sample, int ChannelCount>
void Interleave(void const* const* planes, std::size_t count, void* pixels) {
    auto* out = static_cast<Sample*>(pixels);
    Sample const* in[ChannelCount];
    for (int c = 0; c != ChannelCount; ++c)
        in[c] = static_cast<Sample const*>(planes[c]);
    for (std::size_t i = 0; i != count; ++i) {
        for (int c = 0; c != ChannelCount; ++c)
            out[i * ChannelCount + static_cast<std::size_t>(c)] = in[c][i];
    }
}

template <class Sample, int ChannelCount>
void Deinterleave(void const* pixels, std::size_t count, void* const* planes) {
    auto const* in = static_cast<Sample const*>(pixels);
    for (int c = 0; c != ChannelCount; ++c) {
        auto* const out = static_cast<Sample*>(planes[c]);
        for (std::size_t i = 0; i != count; ++i)
            out[i] = in[i * ChannelCount + static_cast<std::size_t>(c)];
    }
}

template <class F>
void WithSample(int sampleBytes, F const& call) {
    switch (sampleBytes) {
    case 1:
        return call(std::uint8_t());
    case 2:
        return call(std::uint16_t());
    default:
        return call(std::uint32_t());
    }
}

template <class F>
void WithChannelCount(int channelCount, F const& call) {
    switch (channelCount) {
    case 1:
        return call(std::integral_constant<int, 1>());
    case 2:
        return call(std::integral_constant<int, 2>());
    case 4:
        return call(std::integral_constant<int, 4>());
    default:
        return call(std::integral_constant<int, 5>());
    }
}

} // namespace

void InterleaveRow(void const* const* planes, int channelCount, int sampleBytes, std::size_t count, void* pixels) {
    WithSample(sampleBytes, [&](auto sample) {
        WithChannelCount(channelCount, [&](auto channels) {
            Interleave<decltype(sample), decltype(channels)::value>(planes, count, pixels);
        });
    });
}

void DeinterleaveRow(void const* pixels, int channelCount, int sampleBytes, std::size_t count, void* const* planes) {
    WithSample(sampleBytes, [&](auto sample) {
        WithChannelCount(channelCount, [&](auto channels) {
            Deinterleave<decltype(sample), decltype(channels)::value>(pixels, count, planes);
        });
    });
}

PlanarScratch::PlanarScratch(FormatInfo const& info, Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes)
    : m_info(info), m_rect(rect), m_pixels(static_cast<std::byte*>(pixels)), m_pixelRowBytes(rowBytes) {
    m_rowBytes = static_cast<std::size_t>(std::min(c_width, rect.GetWidth()) * info.sampleBytes);
    m_planeBytes = m_rowBytes * static_cast<std::size_t>(std::min(c_height, rect.GetHeight()));
    m_planes.resize(m_planeBytes * static_cast<std::size_t>(info.channelCount));
}

std::byte* PlanarScratch::GetPixels(Kernel::RectT<int> const& block, int y) const {
    return m_pixels + static_cast<std::size_t>(y - m_rect.top) * m_pixelRowBytes +
           static_cast<std::size_t>((block.left - m_rect.left) * m_info.channelCount * m_info.sampleBytes);
}

void PlanarScratch::Interleave(Kernel::RectT<int> const& block) {
    for (int y = block.top; y != block.bottom; ++y) {
        void const* rows[5];
        for (int c = 0; c != m_info.channelCount; ++c)
            rows[c] = GetPlane(c) + static_cast<std::size_t>(y - block.top) * m_rowBytes;
        InterleaveRow(rows, m_info.channelCount, m_info.sampleBytes, static_cast<std::size_t>(block.GetWidth()),
                      GetPixels(block, y));
    }
}

void PlanarScratch::Deinterleave(Kernel::RectT<int> const& block) {
    for (int y = block.top; y != block.bottom; ++y) {
        void* rows[5];
        for (int c = 0; c != m_info.channelCount; ++c)
            rows[c] = GetPlane(c) + static_cast<std::size_t>(y - block.top) * m_rowBytes;
        DeinterleaveRow(GetPixels(block, y), m_info.channelCount, m_info.sampleBytes,
                        static_cast<std::size_t>(block.GetWidth()), rows);
    }
}

} // namespace Raster
