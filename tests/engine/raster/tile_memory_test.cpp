// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/tile_memory.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

namespace {

using Raster::TileMemory;

struct Block {
    unsigned char* samples;
    std::size_t bytes;
    unsigned char mark;
};

Block TakeMarked(std::mt19937& random) {
    Block block{};
    block.bytes = std::size_t(1) << (16 + random() % 3);
    block.samples = static_cast<unsigned char*>(TileMemory::Allocate(block.bytes));
    block.mark = static_cast<unsigned char>(random());
    std::memset(block.samples, block.mark, block.bytes);
    return block;
}

bool IsAsMarked(Block const& block) {
    return block.samples[0] == block.mark && std::memcmp(block.samples, block.samples + 1, block.bytes - 1) == 0;
}

// Enough blocks to fill slabs of every size, given back in another order than they were taken.
std::size_t CountSpoiltBlocks(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Block> blocks;
    std::size_t spoilt = 0;
    for (int round = 0; round != 600; ++round) {
        if (blocks.size() < 100 && (blocks.empty() || random() % 3 != 0)) {
            blocks.push_back(TakeMarked(random));
            continue;
        }
        std::swap(blocks[random() % blocks.size()], blocks.back());
        spoilt += !IsAsMarked(blocks.back());
        TileMemory::Free(blocks.back().samples, blocks.back().bytes);
        blocks.pop_back();
    }
    for (Block const& block : blocks) {
        spoilt += !IsAsMarked(block);
        TileMemory::Free(block.samples, block.bytes);
    }
    return spoilt;
}

TEST(TileMemory, GivesBlocksThatLieApartOnCacheLines) {
    std::mt19937 random(1);
    for (int i = 0; i != 50; ++i) {
        Block const block = TakeMarked(random);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block.samples) % 64);
        TileMemory::Free(block.samples, block.bytes);
    }
    EXPECT_EQ(0u, CountSpoiltBlocks(2));
}

TEST(TileMemory, ServesSeveralThreads) {
    std::size_t spoilt[4] = {};
    {
        std::vector<std::jthread> threads;
        for (unsigned i = 0; i != 4; ++i)
            threads.emplace_back([i, &spoilt] { spoilt[i] = CountSpoiltBlocks(i); });
    }
    for (auto const count : spoilt)
        EXPECT_EQ(0u, count);
}

} // namespace
