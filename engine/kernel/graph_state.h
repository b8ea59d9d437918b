// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/graph_registry.h"
#include "platform/kernel/object_graph.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace Kernel {

namespace Detail {

// Ids that one chunk holds. Chunk 0 is the header; chunk 1 begins with id 1.
inline constexpr std::uint32_t c_idsPerChunk = 2048;
inline constexpr std::uint32_t c_maxId = 0xFFFFF000;

constexpr std::uint32_t GetChunk(std::uint32_t id) { return (id - 1) / c_idsPerChunk + 1; }
constexpr std::uint32_t GetFirstId(std::uint32_t chunk) { return (chunk - 1) * c_idsPerChunk + 1; }

// What stands in chunk 0: 1 byte format version, varint next id, varint ids of the last full save, varint count of
// roots, varint ids of the roots, 4 bytes CRC-32C.
struct GraphHeader {
    std::uint32_t nextId = 1;
    std::uint32_t fullSaveIds = 0;
    std::vector<std::uint32_t> roots;
};
inline constexpr std::uint8_t c_graphFormat = 1;

std::vector<std::byte> WriteHeader(GraphHeader const& header);
GraphHeader ReadHeader(std::span<std::byte const> bytes);

} // namespace Detail

struct ObjectGraph::State {
    State() = default;
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State() {
        if (epoch != 0)
            Detail::GraphRegistry::End(epoch);
    }
    // Begins a numbering in place of the last one, whose ids then mean nothing any more.
    void SetEpoch(std::uint32_t next) {
        if (epoch != 0)
            Detail::GraphRegistry::End(epoch);
        epoch = next;
    }
    // Forgets all ids.
    void Reset() {
        SetEpoch(0);
        header = {};
        foreign.clear();
        changes.Take();
        needsFullSave = true;
    }

    // An object that belongs to another graph and has an id here.
    struct Foreign {
        std::uint32_t id;
        Weak<Serialisable const> object;
    };

    Detail::ChangeList changes;
    // The numbering of the ids in the objects; 0 before the first save or load.
    std::uint32_t epoch = 0;
    bool needsFullSave = true;
    Detail::GraphHeader header;
    std::unordered_map<Serialisable const*, Foreign> foreign;
    std::vector<Counted<Serialisable>> unreadable;
    // Objects whose preserved fields are dropped with the graph, because they could hold each other in a cycle.
    std::vector<Weak<Serialisable>> withPreserved;
};

} // namespace Kernel
