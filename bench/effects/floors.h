// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The least work that makes the same, and plain loops that do it, with the standard library's functions.
namespace Bench {

// Bytes on pages of 4 KiB, as memory comes, or of 2 MiB.
class PlainMemory {
public:
    PlainMemory(std::size_t bytes, bool onLargePages);
    PlainMemory(PlainMemory const&) = delete;
    PlainMemory& operator=(PlainMemory const&) = delete;
    ~PlainMemory();
    std::byte* Get() const { return m_bytes; }

private:
    std::byte* m_bytes;
};

// Pixels side by side, RGBA, in place of an effect's: the mean of 25 samples a pixel, remapped.
template <bool ToPolar>
void RemapPlainly(std::vector<std::uint8_t> const& from, std::vector<std::uint8_t>& to, int side);

// Error diffusion with a search through the whole palette for every pixel; RGB side by side on the scale of 16 bits.
void DitherPlainly(std::vector<float>& pixels, int side);

} // namespace Bench
