// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/object_graph.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// Stored objects taken apart, and put together again after they were changed. A second reading of the stored form,
// written from its description.
namespace Support {

// The forms that are told apart here; see the description of the file format.
inline constexpr std::uint8_t c_boolForm = 1, c_doubleForm = 6, c_int32Form = 7, c_objectForm = 8, c_classForm = 9,
                              c_rectForm = 38, c_affineForm = 40, c_arrayBit = 0x80;

struct StoredField;
using StoredFields = std::vector<StoredField>;

// One field. Which members have a meaning depends on its form.
struct StoredField {
    std::string tag;
    std::uint8_t form = 0;
    // All forms but those below.
    std::vector<std::byte> value;
    // The ids of a reference, or of an array of them; 0 for none.
    std::vector<std::uint32_t> objects;
    // A value class, or an array of them; an element that is not there is empty.
    std::string classTag;
    unsigned classVersion = 0;
    std::vector<std::optional<StoredFields>> elements;

    bool IsReference() const { return (form & ~c_arrayBit) == c_objectForm; }
    bool IsValueClass() const { return (form & ~c_arrayBit) == c_classForm; }
    bool IsArray() const { return (form & c_arrayBit) != 0; }
    // As in "bool", "object" or "array of AfnT".
    std::string DescribeForm() const;
};

struct StoredObject {
    std::uint32_t id = 0;
    std::string classTag;
    unsigned version = 0;
    StoredFields fields;
};

struct StoredGraph {
    std::vector<std::uint32_t> roots;
    // The object with id n stands at n - 1.
    std::vector<StoredObject> objects;
};

StoredGraph ReadGraph(Kernel::ChunkStorage const& storage);
// Takes the place of all that the storage holds.
void WriteGraph(StoredGraph const& graph, Kernel::ChunkStorage& storage);

// Calls visit(fields of the object or value class, position of the field) for each field of the object and of the value
// classes in it; of an array of them for those of the first and the last element only.
void ForEachStoredField(StoredFields& fields, std::function<void(StoredFields&, std::size_t)> const& visit);

} // namespace Support
