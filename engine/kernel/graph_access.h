// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"

#include <atomic>
#include <cstdint>

namespace Kernel::Detail {

// Reads and writes the word that object graphs keep in each object:
//   bit 0 unchanged since its record was written, bit 1 listed as changed, bit 2 has preserved fields,
//   bits 3 to 31 the numbering that gave the id (0 for none), bits 32 to 63 the id.
struct GraphAccess {
    static constexpr std::uint64_t c_clean = Serialisable::c_cleanInGraph;
    static constexpr std::uint64_t c_changed = 2;
    static constexpr std::uint64_t c_preserved = 4;

    static std::atomic<std::uint64_t>& Word(Serialisable const& object) noexcept { return object.m_graphWord; }
    static std::uint64_t Load(Serialisable const& object) noexcept {
        return object.m_graphWord.load(std::memory_order_relaxed);
    }
    static constexpr std::uint32_t GetId(std::uint64_t word) noexcept { return static_cast<std::uint32_t>(word >> 32); }
    static constexpr std::uint32_t GetEpoch(std::uint64_t word) noexcept {
        return static_cast<std::uint32_t>(word) >> 3;
    }
    static constexpr std::uint64_t Make(std::uint32_t id, std::uint32_t epoch, std::uint64_t flags) noexcept {
        return static_cast<std::uint64_t>(id) << 32 | static_cast<std::uint64_t>(epoch) << 3 | flags;
    }
    static constexpr std::uint32_t c_maxEpoch = (1u << 29) - 1;
};

} // namespace Kernel::Detail
