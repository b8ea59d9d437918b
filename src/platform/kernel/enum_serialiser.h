// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace Kernel {

// Persists an enumeration by registered names, so that its numbers may change. Each enumeration has one object of a
// class derived from this, reached by a static GetInstance, whose constructor registers the values.
class REDRAFT_ENGINE EnumSerialiser {
public:
    struct EnumEntry {
        int value;
        // Null: this value is persisted by its number.
        char const* name;
    };

    EnumSerialiser(EnumSerialiser const&) = delete;
    EnumSerialiser& operator=(EnumSerialiser const&) = delete;
    virtual ~EnumSerialiser();

    std::span<EnumEntry const> GetEntries() const { return m_entries; }
    // Null when the value has no name or is not registered.
    char const* FindName(int value) const;
    std::optional<int> FindValue(std::string_view name) const;
    bool IsRegistered(int value) const;

protected:
    EnumSerialiser() = default;
    // The entries and names must outlive this object.
    void RegisterEnumSet(EnumEntry const* entries, std::size_t count) { m_entries = {entries, count}; }

private:
    std::span<EnumEntry const> m_entries;
};

} // namespace Kernel
