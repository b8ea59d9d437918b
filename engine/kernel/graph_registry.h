// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/serialisable.h"

#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

namespace Kernel::Detail {

// The objects that were marked changed in one graph.
class ChangeList {
public:
    void Add(Counted<Serialisable const> object) {
        std::lock_guard const lock(m_mutex);
        m_objects.push_back(std::move(object));
    }
    std::vector<Counted<Serialisable const>> Take() {
        std::lock_guard const lock(m_mutex);
        return std::exchange(m_objects, {});
    }
    bool IsEmpty() const {
        std::lock_guard const lock(m_mutex);
        return m_objects.empty();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Counted<Serialisable const>> m_objects;
};

// The numberings that ids in objects belong to. Each full save or load of a graph begins one; an id of a numbering that
// has ended means nothing.
class GraphRegistry {
public:
    // Returns the new numbering's number, above 0. The list must outlive it.
    static std::uint32_t Begin(ChangeList& changes);
    static void End(std::uint32_t epoch) noexcept;
    static bool IsAlive(std::uint32_t epoch) noexcept;
    // Puts the object on the list of the numbering that its id belongs to.
    static void MarkChanged(Serialisable const& object);
};

} // namespace Kernel::Detail
