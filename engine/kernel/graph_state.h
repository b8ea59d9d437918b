// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/graph_chunks.h"
#include "engine/kernel/graph_registry.h"
#include "platform/kernel/object_graph.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace Kernel {

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
