// SPDX-License-Identifier: Apache-2.0
#include "tests/support/records.h"

#include "tests/support/stored_graph.h"

namespace Support {

Kernel::MemoryChunkStorage SaveToMemory(Roots const& roots) {
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph::SaveCopy(roots, storage);
    return storage;
}

std::vector<SavedField> ListFields(Kernel::MemoryChunkStorage const& storage) {
    std::vector<SavedField> fields;
    for (auto const& object : ReadGraph(storage).objects) {
        for (auto const& field : object.fields)
            fields.push_back({object.classTag, field.tag});
    }
    return fields;
}

void HideField(Kernel::MemoryChunkStorage& storage, SavedField const& field) {
    auto graph = ReadGraph(storage);
    for (auto& object : graph.objects) {
        for (auto& candidate : object.fields) {
            if (object.classTag == field.classTag && candidate.tag == field.tag)
                candidate.tag.replace(0, 2, "__");
        }
    }
    WriteGraph(graph, storage);
}

Kernel::ObjectGraph::LoadedRoots LoadFromMemory(Kernel::MemoryChunkStorage const& storage) {
    Kernel::FileStore files;
    Kernel::ObjectGraph graph;
    return graph.Load(storage, files);
}

} // namespace Support
