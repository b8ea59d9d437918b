// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/graph_registry.h"

#include "engine/kernel/graph_access.h"
#include "platform/kernel/exception.h"

#include <shared_mutex>
#include <unordered_map>

namespace Kernel::Detail {

namespace {

// Never destroyed: objects may be changed by destructors at exit.
struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<std::uint32_t, ChangeList*> lists;
    std::uint32_t next = 1;
};

Registry& GetRegistry() {
    static Registry* const s_registry = new Registry;
    return *s_registry;
}

} // namespace

std::uint32_t GraphRegistry::Begin(ChangeList& changes) {
    auto& registry = GetRegistry();
    std::unique_lock const lock(registry.mutex);
    if (registry.next > GraphAccess::c_maxEpoch)
        throw Exception("this process has saved and loaded too many documents");
    registry.lists.emplace(registry.next, &changes);
    return registry.next++;
}

void GraphRegistry::End(std::uint32_t epoch) noexcept {
    auto& registry = GetRegistry();
    std::unique_lock const lock(registry.mutex);
    registry.lists.erase(epoch);
}

bool GraphRegistry::IsAlive(std::uint32_t epoch) noexcept {
    auto& registry = GetRegistry();
    std::shared_lock const lock(registry.mutex);
    return registry.lists.contains(epoch);
}

void GraphRegistry::MarkChanged(Serialisable const& object) {
    auto& word = GraphAccess::Word(object);
    auto const old = word.fetch_and(~GraphAccess::c_clean);
    // Another thread was quicker.
    if ((old & GraphAccess::c_clean) == 0)
        return;
    // The lock keeps the list alive.
    auto& registry = GetRegistry();
    std::shared_lock const lock(registry.mutex);
    auto const list = registry.lists.find(GraphAccess::GetEpoch(old));
    if (list == registry.lists.end())
        return;
    word.fetch_or(GraphAccess::c_changed);
    // An object that is being destroyed needs no record.
    if (object.GetControlBlock()->TryAcquireStrong())
        list->second->Add(Counted<Serialisable const>::Adopt(&object));
}

} // namespace Kernel::Detail
