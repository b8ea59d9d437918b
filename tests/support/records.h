// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/object_graph.h"

#include <string>
#include <vector>

// Saved objects as bytes, for tests of what becomes of them when fields are missing.
namespace Support {

// One saved field: the class tag of its object and its own, as in "UGNC" and "RACs".
struct SavedField {
    std::string classTag;
    std::string tag;
    friend bool operator==(SavedField const&, SavedField const&) = default;
};

using Roots = std::vector<Kernel::Counted<Kernel::Serialisable const>>;

Kernel::MemoryChunkStorage SaveToMemory(Roots const& roots);
// The fields of all objects, those of nested value classes not, in the order in which they are stored.
std::vector<SavedField> ListFields(Kernel::MemoryChunkStorage const& storage);
// Takes a field out of every object that has it: gives it a tag that nobody asks for, and the record its checksum.
void HideField(Kernel::MemoryChunkStorage& storage, SavedField const& field);
Kernel::ObjectGraph::LoadedRoots LoadFromMemory(Kernel::MemoryChunkStorage const& storage);

} // namespace Support
