// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/object_graph.h"

#include "engine/kernel/byte_buffer.h"
#include "engine/kernel/crc32c.h"
#include "engine/kernel/graph_loader.h"
#include "engine/kernel/graph_saver.h"
#include "engine/kernel/graph_state.h"
#include "engine/kernel/object_queue.h"
#include "engine/kernel/record.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <unordered_set>

namespace Kernel {

namespace Detail {

std::vector<std::byte> WriteHeader(GraphHeader const& header) {
    ByteBuffer buffer;
    buffer.AppendByte(c_graphFormat);
    buffer.AppendVarint(header.nextId);
    buffer.AppendVarint(header.fullSaveIds);
    buffer.AppendVarint(header.roots.size());
    for (std::uint32_t const id : header.roots)
        buffer.AppendVarint(id);
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
    return header;
}

} // namespace Detail

ChunkStorage::~ChunkStorage() = default;

std::vector<std::uint32_t> MemoryChunkStorage::ListChunks() const {
    std::vector<std::uint32_t> numbers;
    for (auto const& [number, bytes] : m_chunks)
        numbers.push_back(number);
    return numbers;
}

std::vector<std::byte> MemoryChunkStorage::ReadChunk(std::uint32_t id) const {
    auto const found = m_chunks.find(id);
    if (found == m_chunks.end())
        throw DamagedDataException("a chunk of objects is missing");
    return found->second;
}

void MemoryChunkStorage::WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) {
    m_chunks[id].assign(bytes.begin(), bytes.end());
}

void MemoryChunkStorage::RemoveChunk(std::uint32_t id) { m_chunks.erase(id); }

ObjectGraph::ObjectGraph() : m_state(std::make_unique<State>()) {}

ObjectGraph::~ObjectGraph() {
    for (auto const& weak : m_state->withPreserved) {
        if (auto const object = weak.Lock())
            Detail::DropPreservedFields(*object);
    }
}

ObjectGraph::SaveResult ObjectGraph::Save(Roots roots, ChunkStorage& storage, BlobSink* blobs, String const& filePath) {
    bool const full = IsNextSaveFull();
    m_state->needsFullSave = true;
    Detail::GraphSaver saver(*m_state, storage, blobs, filePath);
    auto const result = full ? saver.SaveFull(roots) : saver.SaveChanges(roots);
    m_state->needsFullSave = false;
    return result;
}

void ObjectGraph::RequireFullSave() { m_state->needsFullSave = true; }

bool ObjectGraph::IsNextSaveFull() const {
    auto const& header = m_state->header;
    // Ids of objects that are gone are only given again by a full save, which costs as much as the ids it looks after.
    return m_state->needsFullSave || header.nextId - 1 - header.fullSaveIds > header.fullSaveIds;
}

bool ObjectGraph::HasChanges() const { return m_state->needsFullSave || !m_state->changes.IsEmpty(); }

ObjectGraph::SaveResult ObjectGraph::SaveCopy(Roots roots, ChunkStorage& storage, BlobSink* blobs,
                                              String const& filePath) {
    return Detail::SaveUnmarked(roots, storage, blobs, filePath);
}

ObjectGraph::LoadedRoots ObjectGraph::Load(ChunkStorage const& storage, FileStore& files,
                                           std::function<void(LoadedRoots const&)> const& accept) {
    Detail::GraphLoader loader(storage, files);
    auto roots = loader.Load(accept);
    loader.Commit(*m_state);
    return roots;
}

std::vector<Counted<Serialisable>> const& ObjectGraph::GetUnreadable() const { return m_state->unreadable; }

std::vector<String> GatherFilePaths(ObjectGraph::Roots roots) {
    Detail::ObjectQueue queue;
    Detail::OutContext context(queue, Detail::Purpose::PathsOnly);
    for (auto const& root : roots) {
        if (root)
            queue.GetReferenceId(*root);
    }
    for (std::size_t i = 0; i != queue.GetSize(); ++i)
        context.GatherPaths(queue.Get(i));
    std::vector<String> paths;
    std::unordered_set<String> seen;
    for (auto const& path : context.paths) {
        if (seen.insert(path).second)
            paths.push_back(path);
    }
    return paths;
}

} // namespace Kernel
