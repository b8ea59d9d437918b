// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Kernel {

// Numbered runs of bytes that an object graph is kept in. Chunk numbers start at 0 and have few gaps.
class REDRAFT_ENGINE ChunkStorage {
public:
    virtual ~ChunkStorage();
    // The numbers of all chunks, ascending.
    virtual std::vector<std::uint32_t> ListChunks() const = 0;
    // Throws DamagedDataException when there is no such chunk or it cannot be read whole.
    virtual std::vector<std::byte> ReadChunk(std::uint32_t id) const = 0;
    // Writes the chunk, or replaces it.
    virtual void WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) = 0;
    virtual void RemoveChunk(std::uint32_t id) = 0;
};

} // namespace Kernel
