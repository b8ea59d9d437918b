// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/object_queue.h"
#include "platform/kernel/hash_accumulator.h"

#include <array>
#include <memory>
#include <unordered_map>

namespace Kernel::Detail {

// Numbers objects in the order in which they are met, and values by what they hold: equal ones have one number, that of
// the first of them. Equal means the same XXH3-128 of what is saved.
class ContentQueue final : public ReferenceSink {
public:
    std::uint32_t GetReferenceId(Serialisable const& object) override;
    std::size_t GetSize() const { return m_objects.GetSize(); }
    // `index` is one below the number.
    Serialisable const& Get(std::size_t index) const { return m_objects.Get(index); }

private:
    bool IsValue(Serialisable const& object);
    std::uint32_t GetValueId(Serialisable const& value);
    // Meets the values that this one refers to first.
    Hash128 ComputeDigest(Serialisable const& value);

    struct Number {
        // Keeps the address from being given to another object.
        Counted<Serialisable const> value;
        // 0 while the value is being read.
        std::uint32_t id = 0;
    };
    struct DigestHash {
        std::size_t operator()(Hash128 const& digest) const noexcept { return digest.low; }
    };
    struct KnownClass {
        ClassProperties const* properties = nullptr;
        bool isValue = false;
    };

    ObjectQueue m_objects;
    std::unordered_map<Serialisable const*, Number> m_values;
    std::unordered_map<Hash128, std::uint32_t, DigestHash> m_byContent;
    // One for each level of values within values.
    std::vector<std::unique_ptr<OutContext>> m_contexts;
    std::size_t m_depth = 0;
    // By address, the newest at each place.
    std::array<KnownClass, 64> m_classes;
};

} // namespace Kernel::Detail
