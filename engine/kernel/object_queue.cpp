// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/object_queue.h"

#include "platform/kernel/exception.h"

namespace Kernel::Detail {

std::size_t ObjectQueue::FindSlot(Serialisable const* object) const {
    auto const mask = m_slots.size() - 1;
    auto slot = (reinterpret_cast<std::uintptr_t>(object) * 0x9E3779B97F4A7C15u >> 32) & mask;
    while (m_slots[slot] != 0 && m_objects[m_slots[slot] - 1].get() != object)
        slot = (slot + 1) & mask;
    return slot;
}

void ObjectQueue::Grow() {
    m_slots.assign(m_slots.empty() ? 16 : m_slots.size() * 2, 0);
    std::uint32_t number = 0;
    for (auto const& object : m_objects)
        m_slots[FindSlot(object.get())] = ++number;
}

std::uint32_t ObjectQueue::GetReferenceId(Serialisable const& object) {
    if (m_objects.size() * 2 >= m_slots.size())
        Grow();
    auto& number = m_slots[FindSlot(&object)];
    if (number == 0) {
        if (m_objects.size() == 0xFFFFFFFE)
            throw Exception("more objects than a document can hold");
        m_objects.emplace_back(&object);
        number = static_cast<std::uint32_t>(m_objects.size());
    }
    return number;
}

} // namespace Kernel::Detail
