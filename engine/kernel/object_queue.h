// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/out_context.h"
#include "platform/kernel/counted.h"
#include "platform/kernel/serialisable.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel::Detail {

// Numbers objects from 1 in the order in which they are met, without a mark in the objects, and keeps them.
class ObjectQueue final : public ReferenceSink {
public:
    std::uint32_t GetReferenceId(Serialisable const& object) override;
    std::size_t GetSize() const { return m_objects.size(); }
    // `index` is one below the number.
    Serialisable const& Get(std::size_t index) const { return *m_objects[index]; }

private:
    void Grow();
    std::size_t FindSlot(Serialisable const* object) const;

    std::vector<Counted<Serialisable const>> m_objects;
    // Open addressing; numbers, 0 for an empty slot.
    std::vector<std::uint32_t> m_slots;
};

} // namespace Kernel::Detail
