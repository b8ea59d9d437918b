// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/consolidated.h"

#include <mutex>
#include <typeindex>
#include <unordered_map>
#include <vector>

namespace Kernel::Detail {

struct ConsolidationTable::State {
    struct Entry {
        Weak<Countable const> object;
        void const* typed;
    };

    std::mutex mutex;
    std::unordered_multimap<std::size_t, Entry> entries;
    // Dead entries are swept out when the table has doubled since the last sweep.
    std::size_t sweepAt = 64;
};

ConsolidationTable::ConsolidationTable() : m_state(std::make_unique<State>()) {}
ConsolidationTable::~ConsolidationTable() = default;

ConsolidationTable& ConsolidationTable::ForType(std::type_info const& type) {
    // Never destroyed: values may be made and dropped by destructors at exit.
    static auto& s_mutex = *new std::mutex;
    static auto& s_tables = *new std::unordered_map<std::type_index, ConsolidationTable>;
    std::lock_guard const lock(s_mutex);
    return s_tables[type];
}

ConsolidationTable::Value ConsolidationTable::Intern(Value value, std::size_t hash, Equal equal) {
    // References taken for a look must not be the last ones while the lock is held: they are dropped after it.
    std::vector<Counted<Countable const>> looked;
    std::lock_guard const lock(m_state->mutex);
    auto& entries = m_state->entries;
    auto [entry, end] = entries.equal_range(hash);
    while (entry != end) {
        auto object = entry->second.object.Lock();
        if (!object) {
            entry = entries.erase(entry);
            continue;
        }
        if (entry->second.typed == value.typed || equal(entry->second.typed, value.typed))
            return {std::move(object), entry->second.typed};
        looked.push_back(std::move(object));
        ++entry;
    }
    if (entries.size() >= m_state->sweepAt) {
        std::erase_if(entries, [](auto const& item) { return item.second.object.IsExpired(); });
        m_state->sweepAt = 64 + 2 * entries.size();
    }
    entries.emplace(hash, State::Entry{value.object, value.typed});
    return value;
}

} // namespace Kernel::Detail
