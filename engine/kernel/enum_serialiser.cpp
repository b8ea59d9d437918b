// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/enum_serialiser.h"

#include <algorithm>

namespace Kernel {

EnumSerialiser::~EnumSerialiser() = default;

char const* EnumSerialiser::FindName(int value) const {
    auto const found = std::ranges::find(m_entries, value, &EnumEntry::value);
    return found == m_entries.end() ? nullptr : found->name;
}

std::optional<int> EnumSerialiser::FindValue(std::string_view name) const {
    for (auto const& entry : m_entries) {
        if (entry.name != nullptr && entry.name == name)
            return entry.value;
    }
    return {};
}

bool EnumSerialiser::IsRegistered(int value) const {
    return std::ranges::find(m_entries, value, &EnumEntry::value) != m_entries.end();
}

} // namespace Kernel
