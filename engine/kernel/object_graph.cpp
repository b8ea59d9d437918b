// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/object_graph.h"

#include "engine/kernel/graph_loader.h"
#include "engine/kernel/graph_saver.h"
#include "engine/kernel/graph_state.h"
#include "engine/kernel/object_queue.h"
#include "platform/kernel/exception.h"

#include <unordered_set>

namespace Kernel {

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
