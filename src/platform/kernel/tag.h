// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace Kernel {

namespace Detail {

// Four characters as one value, most significant byte first: "fill" is 0x66696C6C.
consteval std::uint32_t FourCharacters(char const (&text)[5]) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i != 4; ++i) {
        char const c = text[i];
        // Some fields are named "idx.", "Tag#" or "Add ".
        bool const allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                             c == '.' || c == '#' || (c == ' ' && i != 0);
        if (!allowed)
            throw "a tag has letters, digits, _, . and # only, and spaces behind its first character";
        value = value << 8 | static_cast<unsigned char>(c);
    }
    return value;
}

inline std::string SpellFourCharacters(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

} // namespace Detail

// Names a field within one class. Exactly four characters, checked when compiled; case-sensitive.
class IDTag {
public:
    constexpr IDTag() = default;
    consteval IDTag(char const (&text)[5]) : m_value(Detail::FourCharacters(text)) {}
    static constexpr IDTag FromValue(std::uint32_t value) {
        IDTag tag;
        tag.m_value = value;
        return tag;
    }
    constexpr std::uint32_t GetValue() const { return m_value; }
    std::string ToString() const { return Detail::SpellFourCharacters(m_value); }
    friend constexpr auto operator<=>(IDTag, IDTag) = default;

private:
    std::uint32_t m_value = 0;
};

// Names a persisted class.
class ClassUID {
public:
    constexpr ClassUID() = default;
    consteval ClassUID(char const (&text)[5]) : m_value(Detail::FourCharacters(text)) {}
    static constexpr ClassUID FromValue(std::uint32_t value) {
        ClassUID uid;
        uid.m_value = value;
        return uid;
    }
    constexpr std::uint32_t GetValue() const { return m_value; }
    std::string ToString() const { return Detail::SpellFourCharacters(m_value); }
    friend constexpr auto operator<=>(ClassUID, ClassUID) = default;

private:
    std::uint32_t m_value = 0;
};

} // namespace Kernel

template <>
struct std::hash<Kernel::ClassUID> {
    std::size_t operator()(Kernel::ClassUID uid) const noexcept { return uid.GetValue(); }
};
