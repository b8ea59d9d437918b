// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/graph_chunks.h"

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/crc32c.h"
#include "engine/kernel/record.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <cstring>

namespace Kernel::Detail {

namespace {

// Each number from 1 to the count of chunks stands once, and the first ids ascend from 1.
void CheckChunks(GraphHeader const& header) {
    std::vector<bool> seen(header.chunks.size() + 1);
    std::uint32_t lastId = 0;
    for (auto const& chunk : header.chunks) {
        if (chunk.number == 0 || chunk.number >= seen.size() || seen[chunk.number])
            ThrowDamaged("the table of chunks makes no sense");
        seen[chunk.number] = true;
        if (chunk.firstId <= lastId || (lastId == 0 && chunk.firstId != 1) || chunk.firstId >= header.nextId)
            ThrowDamaged("the table of chunks makes no sense");
        lastId = chunk.firstId;
    }
    if (header.chunks.empty() != (header.nextId == 1))
        ThrowDamaged("the table of chunks makes no sense");
}

} // namespace

std::vector<std::byte> WriteHeader(GraphHeader const& header) {
    ByteBuffer buffer;
    buffer.AppendByte(c_graphFormat);
    buffer.AppendVarint(header.nextId);
    buffer.AppendVarint(header.fullSaveIds);
    buffer.AppendVarint(header.roots.size());
    for (std::uint32_t const id : header.roots)
        buffer.AppendVarint(id);
    buffer.AppendVarint(header.chunks.size());
    for (auto const& chunk : header.chunks) {
        buffer.AppendVarint(chunk.firstId);
        buffer.AppendVarint(chunk.number);
    }
    std::uint32_t const checksum = ComputeCrc32c(buffer.data(), buffer.size());
    buffer.Append(&checksum, sizeof checksum);
    return {buffer.data(), buffer.data() + buffer.size()};
}

GraphHeader ReadHeader(std::span<std::byte const> bytes) {
    if (bytes.size() < 1 + c_checksumSize)
        ThrowDamaged("the header of the objects is broken off");
    std::byte const* at = bytes.data();
    std::byte const* const end = at + bytes.size() - c_checksumSize;
    std::uint32_t stored;
    std::memcpy(&stored, end, sizeof stored);
    if (ComputeCrc32c(at, bytes.size() - c_checksumSize) != stored)
        ThrowDamaged("the checksum of the objects' header is wrong");
    if (*at++ != std::byte{c_graphFormat})
        throw FutureVersionException("the objects are stored in a newer form", false);
    GraphHeader header;
    header.nextId = ReadVarint32(at, end);
    header.fullSaveIds = ReadVarint32(at, end);
    if (header.nextId == 0 || header.nextId > c_maxId + 1 || header.fullSaveIds >= header.nextId)
        ThrowDamaged("the header of the objects makes no sense");
    std::size_t const rootCount = ReadLength(at, end);
    for (std::size_t i = 0; i != rootCount; ++i)
        header.roots.push_back(ReadVarint32(at, end));
    std::size_t const chunkCount = ReadLength(at, end);
    for (std::size_t i = 0; i != chunkCount; ++i) {
        std::uint32_t const firstId = ReadVarint32(at, end);
        header.chunks.push_back({firstId, ReadVarint32(at, end)});
    }
    if (at != end)
        ThrowDamaged("the header of the objects is too long");
    CheckChunks(header);
    return header;
}

void ChunkCutter::Add(std::uint32_t id, std::span<std::byte const> record) {
    if (m_count == c_maxChunkIds || (m_count != 0 && m_bytes.size() + record.size() > c_maxChunkSize)) {
        Finish();
        m_number = m_next++;
    }
    if (m_count++ == 0)
        m_chunks.push_back({id, m_number});
    m_bytes.insert(m_bytes.end(), record.begin(), record.end());
}

void ChunkCutter::Finish() {
    if (m_count == 0)
        return;
    bool const isOld = m_chunks.size() == 1 && std::ranges::equal(m_bytes, m_old);
    if (!isOld) {
        m_storage.WriteChunk(m_number, m_bytes);
        ++m_written;
    }
    m_bytes.clear();
    m_count = 0;
}

} // namespace Kernel::Detail
