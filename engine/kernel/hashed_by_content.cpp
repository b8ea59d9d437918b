// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/hashed_by_content.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_set>

namespace Kernel {

namespace {

// Never destroyed: classes leave at an exit time that nobody orders.
struct Table {
    std::shared_mutex mutex;
    std::unordered_set<ClassProperties const*> classes;
};

Table& GetTable() {
    static Table* const s_table = new Table;
    return *s_table;
}

} // namespace

HashedByContent::HashedByContent(ClassProperties const* properties) : m_properties(properties) {
    auto& table = GetTable();
    std::unique_lock const lock(table.mutex);
    table.classes.insert(properties);
}

HashedByContent::~HashedByContent() {
    auto& table = GetTable();
    std::unique_lock const lock(table.mutex);
    table.classes.erase(m_properties);
}

bool HashedByContent::Includes(ClassProperties const* properties) noexcept {
    auto& table = GetTable();
    std::shared_lock const lock(table.mutex);
    return table.classes.contains(properties);
}

} // namespace Kernel
