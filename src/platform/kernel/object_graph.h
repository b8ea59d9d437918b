// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <vector>

namespace Kernel {

// Numbered runs of bytes that an object graph is kept in. Chunk numbers start at 0 and have no gaps.
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

// Chunks in memory, for copies of objects that go through what they save.
class REDRAFT_ENGINE MemoryChunkStorage final : public ChunkStorage {
public:
    std::vector<std::uint32_t> ListChunks() const override;
    std::vector<std::byte> ReadChunk(std::uint32_t id) const override;
    void WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) override;
    void RemoveChunk(std::uint32_t id) override;

    friend bool operator==(MemoryChunkStorage const& a, MemoryChunkStorage const& b) {
        return a.m_chunks == b.m_chunks;
    }

private:
    std::map<std::uint32_t, std::vector<std::byte>> m_chunks;
};

// Keeps a graph of objects in chunk storage: gives the objects ids, knows which have changed since the last save, and
// writes those.
//
// An object is written once, whoever refers to it. A full save numbers all objects that can be reached from the roots,
// breadth first, and writes them in that order; the same state gives the same bytes. A later save into the same storage
// writes the objects that were marked changed and those newly reached, and copies the others' records unread, touching
// only chunks that differ. Once more ids have been handed out since the last full save than it wrote objects, the next
// save is full again and drops what is no longer referred to.
//
// One thread at a time. Objects may be shared by several graphs; one that another living graph has numbered is taken
// as changed in every save.
class REDRAFT_ENGINE ObjectGraph {
public:
    using Roots = std::span<Counted<Serialisable const> const>;
    using LoadedRoots = std::vector<Counted<Serialisable>>;

    struct SaveResult {
        bool full = false;
        std::size_t objectsWritten = 0;
        std::size_t chunksWritten = 0;
    };

    ObjectGraph();
    ObjectGraph(ObjectGraph const&) = delete;
    ObjectGraph& operator=(ObjectGraph const&) = delete;
    ~ObjectGraph();

    // Roots may be empty pointers. Large values go to `blobs`, which may be null where no object has any; the path is
    // named by errors. After an exception the next save is full. A save that the caller throws away afterwards needs
    // RequireFullSave.
    SaveResult Save(Roots roots, ChunkStorage& storage, BlobSink* blobs = nullptr, String const& filePath = {});
    // To be called when the next save goes to another storage than the last save or load.
    void RequireFullSave();
    bool IsNextSaveFull() const;
    // True when an object with an id was marked changed since the last save. Roots that changed don't count.
    bool HasChanges() const;

    // Writes the graph in full without giving the objects ids, as a copy that this graph knows nothing of.
    static SaveResult SaveCopy(Roots roots, ChunkStorage& storage, BlobSink* blobs = nullptr,
                               String const& filePath = {});

    // The roots as they were given to Save. Fields that no Load asks for, and objects of classes that are not
    // registered, are kept with their objects and saved again as they were.
    //
    // Throws DamagedDataException for damaged or forged bytes, FutureVersionException when an object of a newer version
    // is reached, and whatever a Load throws. `accept` may look at the roots and throw too. In each case all references
    // among the objects are taken back first, so that none stays alive through a cycle.
    LoadedRoots Load(ChunkStorage const& storage, FileStore& files,
                     std::function<void(LoadedRoots const&)> const& accept = {});
    // Objects of the last load whose Load answered false. What was stored of them is saved again as it was.
    std::vector<Counted<Serialisable>> const& GetUnreadable() const;

    struct State;

private:
    std::unique_ptr<State> m_state;
};

// The paths of the files that the objects reachable from the roots refer to, in the order in which they were met, each
// once.
REDRAFT_ENGINE std::vector<String> GatherFilePaths(ObjectGraph::Roots roots);

} // namespace Kernel
