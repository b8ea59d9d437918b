// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/interleave.h"

#include <cstring>

namespace Raster {

namespace {

// Pixels of 2, 4 or 8 bytes are put together as one integer, which compilers turn into operations on whole registers.
template <std::size_t Bytes>
struct PackedPixel {
    using Type = void;
};
template <>
struct PackedPixel<2> {
    using Type = std::uint16_t;
};
template <>
struct PackedPixel<4> {
    using Type = std::uint32_t;
};
template <>
struct PackedPixel<8> {
    using Type = std::uint64_t;
};

constexpr std::size_t c_packedRun = 32;

template <class Sample, int ChannelCount>
void InterleaveSome(Sample const* const* in, std::size_t count, Sample* out) {
    for (std::size_t i = 0; i != count; ++i) {
        for (int c = 0; c != ChannelCount; ++c)
            out[i * ChannelCount + static_cast<std::size_t>(c)] = in[c][i];
    }
}

template <class Sample, int ChannelCount>
void DeinterleaveSome(Sample const* in, std::size_t count, Sample* const* out) {
    for (int c = 0; c != ChannelCount; ++c) {
        for (std::size_t i = 0; i != count; ++i)
            out[c][i] = in[i * ChannelCount + static_cast<std::size_t>(c)];
    }
}

template <class Sample, int ChannelCount>
void Interleave(void const* const* planes, std::size_t count, void* pixels) {
    using Packed = typename PackedPixel<sizeof(Sample) * ChannelCount>::Type;
    auto* out = static_cast<Sample*>(pixels);
    Sample const* in[ChannelCount];
    for (int c = 0; c != ChannelCount; ++c)
        in[c] = static_cast<Sample const*>(planes[c]);
    if constexpr (!std::is_void_v<Packed>) {
        for (; count >= c_packedRun; count -= c_packedRun) {
            Packed packed[c_packedRun] = {};
            for (int c = 0; c != ChannelCount; ++c) {
                for (std::size_t i = 0; i != c_packedRun; ++i)
                    packed[i] |= static_cast<Packed>(static_cast<Packed>(in[c][i])
                                                     << (static_cast<std::size_t>(c) * 8 * sizeof(Sample)));
                in[c] += c_packedRun;
            }
            std::memcpy(out, packed, sizeof packed);
            out += ChannelCount * c_packedRun;
        }
    }
    InterleaveSome<Sample, ChannelCount>(in, count, out);
}

template <class Sample, int ChannelCount>
void Deinterleave(void const* pixels, std::size_t count, void* const* planes) {
    using Packed = typename PackedPixel<sizeof(Sample) * ChannelCount>::Type;
    auto const* in = static_cast<Sample const*>(pixels);
    Sample* out[ChannelCount];
    for (int c = 0; c != ChannelCount; ++c)
        out[c] = static_cast<Sample*>(planes[c]);
    if constexpr (!std::is_void_v<Packed>) {
        for (; count >= c_packedRun; count -= c_packedRun) {
            Packed packed[c_packedRun];
            std::memcpy(packed, in, sizeof packed);
            for (int c = 0; c != ChannelCount; ++c) {
                Sample row[c_packedRun];
                for (std::size_t i = 0; i != c_packedRun; ++i)
                    row[i] = static_cast<Sample>(packed[i] >> (static_cast<std::size_t>(c) * 8 * sizeof(Sample)));
                std::memcpy(out[c], row, sizeof row);
                out[c] += c_packedRun;
            }
            in += ChannelCount * c_packedRun;
        }
    }
    DeinterleaveSome<Sample, ChannelCount>(in, count, out);
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
