// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/surface.h"

#include <algorithm>
#include <array>

namespace Renderer::Detail {

namespace {

// Blocks that are worth keeping, in samples.
constexpr std::size_t c_smallestKept = std::size_t{1} << 14, c_largestKept = std::size_t{1} << 20;

struct Block {
    std::unique_ptr<float[]> samples;
    std::size_t count = 0;
};

std::array<Block, 4>& GetKeptBlocks() {
    static thread_local std::array<Block, 4> s_blocks;
    return s_blocks;
}

} // namespace

SampleMemory::Pointer SampleMemory::Get(std::size_t count) {
    if (count >= c_smallestKept && count <= c_largestKept) {
        for (Block& block : GetKeptBlocks()) {
            if (block.count >= count && block.count / 2 <= count)
                return Pointer(block.samples.release(), Release{std::exchange(block.count, 0)});
        }
    }
    return Pointer(std::make_unique_for_overwrite<float[]>(count).release(), Release{count});
}

SampleMemory::Pointer SampleMemory::GetZeros(std::size_t count) {
    auto samples = Get(count);
    std::fill_n(samples.get(), count, 0.0f);
    return samples;
}

void SampleMemory::Release::operator()(float* samples) const noexcept {
    std::unique_ptr<float[]> owner(samples);
    if (count < c_smallestKept || count > c_largestKept)
        return;
    auto& blocks = GetKeptBlocks();
    auto& smallest = *std::min_element(blocks.begin(), blocks.end(),
                                       [](Block const& a, Block const& b) { return a.count < b.count; });
    if (smallest.count < count)
        smallest = {std::move(owner), count};
}

} // namespace Renderer::Detail
