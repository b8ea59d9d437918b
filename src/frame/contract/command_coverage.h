// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <string_view>
#include <typeindex>
#include <vector>

// Records which commands exist, by type and plain name. It has no effect on what is stored.
class REDRAFT_API CommandCoverage {
public:
    struct Entry {
        std::type_index type;
        // Lives as long as the process.
        char const* name;
    };
    static CommandCoverage& Instance();
    void Register(std::type_info const& type, char const* name);
    // In order of registration.
    std::vector<Entry> const& GetEntries() const { return m_entries; }
    bool IsRegistered(std::string_view name) const;

private:
    std::vector<Entry> m_entries;
};
