// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

namespace Kernel::Detail {

// Four characters as a file shows them: most significant first.
inline void StoreTag(std::byte* at, std::uint32_t value) noexcept {
    value = __builtin_bswap32(value);
    std::memcpy(at, &value, sizeof value);
}

inline std::uint32_t LoadTag(std::byte const* at) noexcept {
    std::uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return __builtin_bswap32(value);
}

// Bytes that grow at their end; new ones are not set.
class ByteBuffer {
public:
    ByteBuffer() = default;
    ByteBuffer(ByteBuffer const&) = delete;
    ByteBuffer& operator=(ByteBuffer const&) = delete;
    ~ByteBuffer() { std::free(m_begin); }

    std::size_t size() const noexcept { return static_cast<std::size_t>(m_end - m_begin); }
    std::byte* data() noexcept { return m_begin; }
    std::byte const* data() const noexcept { return m_begin; }
    std::span<std::byte const> bytes() const noexcept { return {m_begin, size()}; }
    void clear() noexcept { m_end = m_begin; }
    void truncate(std::size_t size) noexcept { m_end = m_begin + size; }

    std::byte* Extend(std::size_t count) {
        if (static_cast<std::size_t>(m_limit - m_end) < count) [[unlikely]]
            Grow(count);
        std::byte* const place = m_end;
        m_end += count;
        return place;
    }
    void Append(void const* bytes, std::size_t count) {
        if (count != 0)
            std::memcpy(Extend(count), bytes, count);
    }
    void AppendByte(std::uint8_t value) { *Extend(1) = static_cast<std::byte>(value); }
    void AppendTag(std::uint32_t tag) { StoreTag(Extend(4), tag); }
    // Seven bits a byte, least significant first; the top bit says that more follow.
    void AppendVarint(std::uint64_t value) {
        std::byte* const place = Extend(10);
        std::byte* end = place;
        while (value >= 0x80) {
            *end++ = static_cast<std::byte>(value | 0x80);
            value >>= 7;
        }
        *end++ = static_cast<std::byte>(value);
        m_end = end;
    }

    // Puts the length of what follows the byte at `at`, plus `bias`, in that byte's place.
    void PatchLength(std::size_t at, std::size_t bias) {
        std::uint64_t length = size() - (at + 1) + bias;
        if (length < 0x80) [[likely]] {
            m_begin[at] = static_cast<std::byte>(length);
            return;
        }
        std::size_t extra = 0;
        for (auto rest = length >> 7; rest != 0; rest >>= 7)
            ++extra;
        std::size_t const count = size() - (at + 1);
        Extend(extra);
        std::memmove(m_begin + at + 1 + extra, m_begin + at + 1, count);
        std::byte* place = m_begin + at;
        for (; length >= 0x80; length >>= 7)
            *place++ = static_cast<std::byte>(length | 0x80);
        *place = static_cast<std::byte>(length);
    }

private:
    void Grow(std::size_t count) {
        std::size_t const used = size();
        std::size_t capacity = static_cast<std::size_t>(m_limit - m_begin) * 2;
        if (capacity < used + count)
            capacity = used + count;
        if (capacity < 256)
            capacity = 256;
        auto* const begin = static_cast<std::byte*>(std::realloc(m_begin, capacity));
        if (begin == nullptr)
            throw std::bad_alloc();
        m_begin = begin;
        m_end = begin + used;
        m_limit = begin + capacity;
    }

    std::byte* m_begin = nullptr;
    std::byte* m_end = nullptr;
    std::byte* m_limit = nullptr;
};

} // namespace Kernel::Detail
