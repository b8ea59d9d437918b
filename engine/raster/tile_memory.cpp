// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/tile_memory.h"

#include "engine/kernel/sanitizers.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <unordered_map>
#include <vector>

namespace Raster {

namespace {

// Sanitizers are to see every block by itself.
#if defined(REDRAFT_ADDRESS_SANITIZER) || defined(REDRAFT_THREAD_SANITIZER)
constexpr bool c_usesSlabs = false;
#else
constexpr bool c_usesSlabs = true;
#endif

constexpr std::size_t c_slabBytes = TileMemory::c_slabBytes;
// A document with a few small pictures should not take large pages for them.
constexpr std::size_t c_slabsOfSmallPages = 4;

// 2 MiB that begin at a multiple of 2 MiB.
void* MapSlab(bool onLargePages) noexcept {
    void* const mapped = mmap(nullptr, 2 * c_slabBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        return nullptr;
    auto const begin = reinterpret_cast<std::uintptr_t>(mapped);
    auto const slab = (begin + c_slabBytes - 1) & ~std::uintptr_t(c_slabBytes - 1);
    if (slab != begin)
        munmap(mapped, slab - begin);
    munmap(reinterpret_cast<void*>(slab + c_slabBytes), begin + c_slabBytes - slab);
    if (onLargePages)
        madvise(reinterpret_cast<void*>(slab), c_slabBytes, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(slab);
}

struct Slab {
    std::byte* memory = nullptr;
    // One bit for each block that is free.
    std::uint32_t freeBlocks = 0;
    // Where it stands in the list of slabs that have free blocks.
    std::size_t place = 0;
};

// The slabs of one size of blocks that are in use, and those of any size that are empty.
class Pool {
public:
    void* Allocate(std::size_t bytes) {
        std::lock_guard const lock(m_mutex);
        auto& open = m_open[GetIndex(bytes)];
        if (open.empty()) {
            // Both lists have room for all slabs there are, so that freeing needs no memory.
            if (auto const count = m_slabs.size() + 1; count > std::min(open.capacity(), m_empty.capacity())) {
                m_empty.reserve(2 * count);
                open.reserve(2 * count);
            }
            auto slab = std::make_unique<Slab>();
            slab->freeBlocks = GetAllBlocks(bytes);
            slab->place = open.size();
            auto& entry = TakeMemory(*slab);
            open.push_back(slab.get());
            entry = std::move(slab);
        }
        Slab& slab = *open.back();
        auto const index = static_cast<std::size_t>(std::countr_zero(slab.freeBlocks));
        slab.freeBlocks &= slab.freeBlocks - 1;
        if (slab.freeBlocks == 0)
            open.pop_back();
        return slab.memory + index * bytes;
    }

    void Free(void* block, std::size_t bytes) noexcept {
        std::lock_guard const lock(m_mutex);
        auto const address = reinterpret_cast<std::uintptr_t>(block);
        auto const found = m_slabs.find(address & ~std::uintptr_t(c_slabBytes - 1));
        Slab& slab = *found->second;
        auto& open = m_open[GetIndex(bytes)];
        if (slab.freeBlocks == 0) {
            slab.place = open.size();
            open.push_back(&slab);
        }
        slab.freeBlocks |= std::uint32_t(1) << ((address & (c_slabBytes - 1)) / bytes);
        if (slab.freeBlocks != GetAllBlocks(bytes))
            return;
        open[slab.place] = open.back();
        open[slab.place]->place = slab.place;
        open.pop_back();
        GiveBack(slab.memory);
        m_slabs.erase(found);
    }

private:
    static std::size_t GetIndex(std::size_t bytes) noexcept {
        return static_cast<std::size_t>(std::countr_zero(bytes >> 16));
    }
    static std::uint32_t GetAllBlocks(std::size_t bytes) noexcept {
        auto const count = c_slabBytes / bytes;
        return count == 32 ? ~std::uint32_t(0) : (std::uint32_t(1) << count) - 1;
    }

    std::unique_ptr<Slab>& TakeMemory(Slab& slab) {
        void* memory = nullptr;
        if (!m_empty.empty()) {
            memory = m_empty.back();
        } else {
            memory = MapSlab(m_slabs.size() >= c_slabsOfSmallPages);
            if (memory == nullptr)
                throw std::bad_alloc();
        }
        slab.memory = static_cast<std::byte*>(memory);
        std::unique_ptr<Slab>* entry = nullptr;
        try {
            entry = &m_slabs[reinterpret_cast<std::uintptr_t>(memory)];
        } catch (...) {
            if (m_empty.empty())
                munmap(memory, c_slabBytes);
            throw;
        }
        if (!m_empty.empty())
            m_empty.pop_back();
        return *entry;
    }

    void GiveBack(void* memory) noexcept {
        if (m_empty.size() < TileMemory::c_keptBytes / c_slabBytes && m_empty.size() < m_empty.capacity()) {
            madvise(memory, c_slabBytes, MADV_FREE);
            m_empty.push_back(memory);
        } else {
            munmap(memory, c_slabBytes);
        }
    }

    std::mutex m_mutex;
    // By the address of their memory.
    std::unordered_map<std::uintptr_t, std::unique_ptr<Slab>> m_slabs;
    std::vector<Slab*> m_open[3];
    std::vector<void*> m_empty;
};

// Never destroyed: tiles of static objects may outlive it.
Pool& GetPool() {
    static auto& s_pool = *new Pool;
    return s_pool;
}

} // namespace

void* TileMemory::Allocate(std::size_t bytes) noexcept {
    if (!c_usesSlabs)
        return std::aligned_alloc(64, bytes);
    try {
        return GetPool().Allocate(bytes);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}

void TileMemory::Free(void* block, std::size_t bytes) noexcept {
    if (c_usesSlabs)
        GetPool().Free(block, bytes);
    else
        std::free(block);
}

} // namespace Raster
