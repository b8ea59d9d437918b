// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <cstdint>
#include <type_traits>

namespace Kernel {

// What a cast site remembers for a type that is not of the wanted class.
inline constexpr std::ptrdiff_t c_failedCast = 0x7FFFFFFFFFFFFFFF;

namespace Detail {

// The key of an object's type: its virtual table, which is one for each dynamic type and base.
inline void const* TypeKey(void const* object) noexcept { return *static_cast<void const* const*>(object); }

struct CastCacheEntry {
    void const* type = nullptr;
    std::ptrdiff_t offset = 0;
};

} // namespace Detail

// Number of casts that missed their site's cache on this thread. For tests and the bench.
REDRAFT_ENGINE std::uint64_t& CastMissCount() noexcept;

// Casts between faces of one object by its dynamic type; null when the object has no such face.
//
// Each site keeps one entry for each thread: the last source type seen and the offset that the cast gave, so that a
// run over like objects pays for one real cast. Site is any type that names the place; by default the pair of types
// is the place.
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
            To* const to = dynamic_cast<To*>(from);
            s_entry.offset =
                to == nullptr ? c_failedCast : reinterpret_cast<char const*>(to) - reinterpret_cast<char const*>(from);
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
