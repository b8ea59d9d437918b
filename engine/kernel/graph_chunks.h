// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/object_graph.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Kernel::Detail {

// A chunk takes no further object when it holds this many, or would become longer than this many bytes.
inline constexpr std::uint32_t c_maxChunkIds = 2048;
inline constexpr std::size_t c_maxChunkSize = std::size_t{4} << 20;
inline constexpr std::uint32_t c_maxId = 0xFFFFF000;

// A chunk of the table: it holds the records of all ids from this one up to the next chunk's first.
struct ChunkEntry {
    std::uint32_t firstId;
    std::uint32_t number;
    friend bool operator==(ChunkEntry const&, ChunkEntry const&) = default;
};

// The content of chunk 0: 1 byte format version, varint next id, varint ids of the last full save, varint count of
// roots, varint ids of the roots, varint count of chunks, for each in the order of their ids varint first id and varint
// number, 4 bytes CRC-32C. All ids below the next one have a record; chunk numbers run from 1 without gaps.
struct GraphHeader {
    std::uint32_t nextId = 1;
    std::uint32_t fullSaveIds = 0;
    std::vector<std::uint32_t> roots;
    std::vector<ChunkEntry> chunks;
    friend bool operator==(GraphHeader const&, GraphHeader const&) = default;
};
inline constexpr std::uint8_t c_graphFormat = 1;

std::vector<std::byte> WriteHeader(GraphHeader const& header);
// Throws DamagedDataException, and FutureVersionException for another format version.
GraphHeader ReadHeader(std::span<std::byte const> bytes);

// Cuts a run of records with ascending ids into chunks and writes them.
class ChunkCutter {
public:
    // The first chunk gets the number `first`; further ones get the numbers from `next` on. A first chunk that equals
    // `old` is not written.
    ChunkCutter(ChunkStorage& storage, std::uint32_t first, std::uint32_t next, std::span<std::byte const> old)
        : m_storage(storage), m_number(first), m_next(next), m_old(old) {}

    void Add(std::uint32_t id, std::span<std::byte const> record);
    // Writes the last chunk.
    void Finish();
    std::vector<ChunkEntry> const& GetChunks() const { return m_chunks; }
    std::size_t GetWrittenCount() const { return m_written; }

private:
    ChunkStorage& m_storage;
    std::uint32_t m_number;
    std::uint32_t m_next;
    std::span<std::byte const> m_old;
    std::vector<std::byte> m_bytes;
    std::uint32_t m_count = 0;
    std::vector<ChunkEntry> m_chunks;
    std::size_t m_written = 0;
};

} // namespace Kernel::Detail
