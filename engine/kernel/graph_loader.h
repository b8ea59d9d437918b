// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/graph_state.h"
#include "engine/kernel/in_context.h"
#include "engine/kernel/record.h"

#include <array>

namespace Kernel::Detail {

// One load of a graph. Objects are made when the first reference to them is met, and loaded in that order; what cannot
// be reached from the roots is never made.
class GraphLoader final : private InContext {
public:
    GraphLoader(ChunkStorage const& storage, FileStore& files);

    // Throws after all references among the objects made so far have been taken back.
    ObjectGraph::LoadedRoots Load(std::function<void(ObjectGraph::LoadedRoots const&)> const& accept);
    // Gives the loaded objects their ids in the graph.
    void Commit(ObjectGraph::State& state);

private:
    struct Slot {
        std::byte const* fields;
        std::uint32_t size;
        std::uint32_t classTag;
        std::uint16_t version;
        bool isUnknown;
        Counted<Serialisable> object;
    };
    void ReadChunks();
    void ReadSlots(std::span<std::byte const> bytes);
    Slot& FindSlot(std::uint32_t id);
    void Make(std::uint32_t id, Slot& slot);
    Resolved Resolve(std::uint32_t id) override;
    void LoadObject(Slot& slot);
    void Keep(Slot const& slot, bool whole, std::vector<PreservedField>&& fields);
    ObjectGraph::LoadedRoots LoadAll();
    void Clear() noexcept;

    ChunkStorage const& m_storage;
    FileStore& m_files;
    GraphHeader m_header;
    std::vector<std::vector<std::byte>> m_chunks;
    // By id less one.
    std::vector<Slot> m_slots;
    // The ids of the objects that have been made, in that order.
    std::vector<std::uint32_t> m_made;
    std::vector<Counted<Serialisable>> m_unreadable;
    std::vector<Weak<Serialisable>> m_withPreserved;
};

} // namespace Kernel::Detail
