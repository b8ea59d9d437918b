// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/graph_state.h"
#include "engine/kernel/out_context.h"

namespace Kernel::Detail {

// One save of a graph: numbers objects in their graph words.
class GraphSaver final : public ReferenceSink {
public:
    GraphSaver(ObjectGraph::State& state, ChunkStorage& storage, BlobSink* blobs, String const& filePath);

    ObjectGraph::SaveResult SaveFull(ObjectGraph::Roots roots);
    ObjectGraph::SaveResult SaveChanges(ObjectGraph::Roots roots);

    std::uint32_t GetReferenceId(Serialisable const& object) override;

private:
    struct Record {
        std::uint32_t id;
        std::size_t begin;
        std::size_t end;
    };
    std::uint32_t Take(Serialisable const& object);
    bool BelongsToOther(std::uint32_t epoch);
    void NumberRoots(ObjectGraph::Roots roots);
    void WriteHeaderChunk();
    std::vector<Counted<Serialisable const>> TakeChanges();
    void AddRecord(std::uint32_t id, Serialisable const& object);
    void SpliceAll();
    void Splice(std::span<std::byte const> old, std::uint32_t firstId, std::span<Record const> records,
                ChunkCutter& cutter);
    void AddChunks(ChunkCutter const& cutter, std::uint32_t& nextNumber);

    ObjectGraph::State& m_state;
    ChunkStorage& m_storage;
    OutContext m_context;
    // The numbering that is being given, and the one that it replaces in a full save.
    std::uint32_t m_epoch = 0;
    std::uint32_t m_oldEpoch = 0;
    // The last numbering that was looked up, and what came out.
    std::uint32_t m_lookedUp = 0;
    bool m_lookedUpAlive = false;
    GraphHeader m_header;
    // Objects that got an id in this save and are still to be written, in the order of their ids.
    std::vector<Counted<Serialisable const>> m_new;
    std::vector<Record> m_records;
    ObjectGraph::SaveResult m_result;
};

// Writes everything reachable from the roots without a mark in the objects.
ObjectGraph::SaveResult SaveUnmarked(ObjectGraph::Roots roots, ChunkStorage& storage, BlobSink* blobs,
                                     String const& filePath);

} // namespace Kernel::Detail
