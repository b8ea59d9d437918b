// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace Raster {

// Memory for the samples of tiles: blocks of 64, 128 or 256 KiB, on 64-byte boundaries, all threads' together.
//
// An effect writes all its tiles anew, and memory that is new to the process costs several times as much as writing to
// it, a page at a time. So blocks are cut from slabs of 2 MiB, which the system may back with single large pages, and
// slabs that fall empty are kept for the next effect, up to c_keptBytes. What is kept is the system's to take when it
// runs short.
class TileMemory {
public:
    static constexpr std::size_t c_slabBytes = std::size_t(2) << 20;
    static constexpr std::size_t c_keptBytes = std::size_t(256) << 20;

    // Not filled. Null when there is no memory.
    static void* Allocate(std::size_t bytes) noexcept;
    // Memory that Allocate gave for as many bytes.
    static void Free(void* block, std::size_t bytes) noexcept;
};

} // namespace Raster
