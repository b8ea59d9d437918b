// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <type_traits>

namespace Kernel {

// The offset that a cast site remembers for a type that is not of the wanted class.
inline constexpr std::ptrdiff_t c_failedCast = 0x7FFFFFFFFFFFFFFF;

namespace Detail {

// The key of an object's type: its virtual table, which is one for each dynamic type and base.
inline void const* TypeKey(void const* object) noexcept { return *static_cast<void const* const*>(object); }

struct CastCacheEntry {
    void const* type = nullptr;
    std::ptrdiff_t offset = 0;
};

// The cache that all threads share for one site, behind the entry that each thread has: where objects of a few types
// take turns, the entry always names the other type, and asking the language for a cast costs a walk over all bases.
// An answer is one word, the type's key and the offset; those that don't fit are not remembered.
class CastMemory {
public:
    bool Recall(void const* type, std::ptrdiff_t& offset) const noexcept {
        auto const key = reinterpret_cast<std::uintptr_t>(type);
        std::uint64_t const answer = m_answers[Slot(key)].load(std::memory_order_relaxed);
        if (answer >> 16 != key || key == 0)
            return false;
        auto const small = static_cast<std::int16_t>(answer & 0xFFFF);
        offset = small == INT16_MIN ? c_failedCast : small;
        return true;
    }
    void Keep(void const* type, std::ptrdiff_t offset) noexcept {
        auto const key = reinterpret_cast<std::uintptr_t>(type);
        bool const failed = offset == c_failedCast;
        if (key >> 48 != 0 || (!failed && (offset <= INT16_MIN || offset > INT16_MAX)))
            return;
        auto const small = static_cast<std::uint16_t>(failed ? INT16_MIN : offset);
        m_answers[Slot(key)].store(static_cast<std::uint64_t>(key) << 16 | small, std::memory_order_relaxed);
    }

private:
    static constexpr unsigned c_bits = 4;
    static std::size_t Slot(std::uintptr_t key) noexcept {
        return static_cast<std::size_t>(std::uint64_t{key} * 0x9E3779B97F4A7C15u >> (64 - c_bits));
    }
    std::array<std::atomic<std::uint64_t>, 1u << c_bits> m_answers{};
};

} // namespace Detail

// Number of casts that missed their site's cache on this thread. For tests and the bench.
REDRAFT_ENGINE std::uint64_t& CastMissCount() noexcept;

// Casts between faces of one object by its dynamic type; null when the object has no such face.
//
// Each site keeps one entry for each thread: the last source type seen and the offset that the cast gave, so that a
// run over like objects pays for one real cast, and a run over a few kinds of them for one each. Site is any type that
// names the place; by default the pair of types is the place.
template <class To, class From, class Site = To>
To* CastPointer(From* from) noexcept {
    if constexpr (std::is_convertible_v<From*, To*>) {
        return from;
    } else {
        static_assert(std::is_polymorphic_v<From>);
        if (from == nullptr)
            return nullptr;
        static thread_local Detail::CastCacheEntry s_entry;
        auto const* type = Detail::TypeKey(from);
        if (s_entry.type != type) [[unlikely]] {
            ++CastMissCount();
            static constinit Detail::CastMemory s_memory;
            if (!s_memory.Recall(type, s_entry.offset)) {
                To* const to = dynamic_cast<To*>(from);
                s_entry.offset = to == nullptr
                                     ? c_failedCast
                                     : reinterpret_cast<char const*>(to) - reinterpret_cast<char const*>(from);
                s_memory.Keep(type, s_entry.offset);
            }
            s_entry.type = type;
        }
        if (s_entry.offset == c_failedCast)
            return nullptr;
        using Byte = std::conditional_t<std::is_const_v<From>, char const, char>;
        return reinterpret_cast<To*>(reinterpret_cast<Byte*>(from) + s_entry.offset);
    }
}

template <class To, class Site = To, class From>
Counted<To> Cast(Counted<From> const& from) noexcept {
    return Counted<To>(CastPointer<To, From, Site>(from.get()));
}

template <class To, class Site = To, class From>
NonCounted<To> Cast(NonCounted<From> from) noexcept {
    return NonCounted<To>(CastPointer<To, From, Site>(from.get()));
}

} // namespace Kernel
