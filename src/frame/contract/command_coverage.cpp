// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/command_coverage.h"

#include <algorithm>

CommandCoverage& CommandCoverage::Instance() {
    static CommandCoverage s_instance;
    return s_instance;
}

void CommandCoverage::Register(std::type_info const& type, char const* name) { m_entries.push_back({type, name}); }

bool CommandCoverage::IsRegistered(std::string_view name) const {
    return std::any_of(m_entries.begin(), m_entries.end(), [&](Entry const& entry) { return entry.name == name; });
}
