// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/geometry_values.h"
#include "platform/raster/format.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

namespace Raster {

inline std::uint32_t ToSampleBits(double sample, FormatInfo const& info) noexcept {
    return info.isFloat ? std::bit_cast<std::uint32_t>(static_cast<float>(sample)) : static_cast<std::uint32_t>(sample);
}

inline double FromSampleBits(std::uint32_t bits, FormatInfo const& info) noexcept {
    return info.isFloat ? static_cast<double>(std::bit_cast<float>(bits)) : static_cast<double>(bits);
}

// Between planes and pixels whose samples lie side by side. Both of `count` pixels, samples of 1, 2 or 4 bytes.
void InterleaveRow(void const* const* planes, int channelCount, int sampleBytes, std::size_t count, void* pixels);
void DeinterleaveRow(void const* pixels, int channelCount, int sampleBytes, std::size_t count, void* const* planes);

// Planes of a small block on its way from or to pixels side by side.
class PlanarScratch {
public:
    static constexpr int c_width = 2048;
    static constexpr int c_height = 16;

    // `pixels` is the top left pixel of `rect`, rows rowBytes apart.
    PlanarScratch(FormatInfo const& info, Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes);

    std::byte* GetPlane(int channel) { return m_planes.data() + static_cast<std::size_t>(channel) * m_planeBytes; }
    std::size_t GetRowBytes() const { return m_rowBytes; }
    void Interleave(Kernel::RectT<int> const& block);
    void Deinterleave(Kernel::RectT<int> const& block);

private:
    std::byte* GetPixels(Kernel::RectT<int> const& block, int y) const;

    FormatInfo m_info;
    Kernel::RectT<int> m_rect;
    std::byte* m_pixels;
    std::size_t m_pixelRowBytes;
    std::size_t m_rowBytes;
    std::size_t m_planeBytes;
    std::vector<std::byte> m_planes;
};

// Calls work(block, scratch) for blocks that make up the rectangle.
template <class F>
void ForEachBlock(Kernel::RectT<int> const& rect, FormatInfo const& info, void* pixels, std::size_t rowBytes,
                  F const& work) {
    if (rect.IsEmpty())
        return;
    PlanarScratch scratch(info, rect, pixels, rowBytes);
    for (int top = rect.top; top < rect.bottom; top += PlanarScratch::c_height) {
        for (int left = rect.left; left < rect.right; left += PlanarScratch::c_width)
            work(Kernel::RectT<int>{left, top, std::min(left + PlanarScratch::c_width, rect.right),
                                    std::min(top + PlanarScratch::c_height, rect.bottom)},
                 scratch);
    }
}

} // namespace Raster
