// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/interface_map.h"

#include <vector>

namespace Commands {

// Values that commands keep of nodes, stored as two lists of one order: the nodes, by their ids, and their values.
template <class V>
void SaveOldValues(Kernel::OutSerialiser& out, InterfaceMap<Node, V> const& values) {
    using Entry = typename InterfaceMap<Node, V>::Entry;
    std::vector<Entry const*> ordered;
    for (auto const& entry : values)
        ordered.push_back(&entry);
    std::ranges::stable_sort(ordered, {}, [](Entry const* entry) { return entry->object->GetId(); });
    std::vector<Kernel::Counted<Node>> nodes;
    std::vector<V> kept;
    for (auto const* const entry : ordered) {
        nodes.push_back(entry->object);
        kept.push_back(entry->value);
    }
    Kernel::SaveValue(out, "OldN", nodes);
    Kernel::SaveValue(out, "OldC", kept);
}

// Nodes without a value, and values without a node, are left out.
template <class V>
void LoadOldValues(Kernel::InSerialiser const& in, InterfaceMap<Node, V>& values) {
    std::vector<Kernel::Counted<Node>> nodes;
    std::vector<V> kept;
    Kernel::LoadValue(in, "OldN", nodes);
    Kernel::LoadValue(in, "OldC", kept);
    values.Clear();
    for (std::size_t i = 0; i != std::min(nodes.size(), kept.size()); ++i) {
        if (nodes[i])
            values.Set(Kernel::NonCounted<Node>(nodes[i]), kept[i]);
    }
}

} // namespace Commands
