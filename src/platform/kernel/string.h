// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <atomic>
#include <compare>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {

// The encoding of StringT's bytes.
struct TEncUtf8 {};

template <class Encoding>
class StringT;

// An immutable, shared UTF-8 string. Copying costs a pointer. What comes from outside is validated here, at the
// border: each malformed sequence becomes U+FFFD, as the Unicode Standard recommends (section 3.9, "U+FFFD
// Substitution of Maximal Subparts").
template <>
class REDRAFT_ENGINE StringT<TEncUtf8> {
public:
    constexpr StringT() noexcept = default;
    StringT(char const* text) : StringT(std::string_view(text)) {}
    StringT(std::string const& text) : StringT(std::string_view(text)) {}
    StringT(std::string_view text);
    StringT(StringT const& other) noexcept : m_data(other.m_data) { Acquire(); }
    StringT(StringT&& other) noexcept : m_data(std::exchange(other.m_data, nullptr)) {}
    StringT& operator=(StringT other) noexcept {
        std::swap(m_data, other.m_data);
        return *this;
    }
    ~StringT() { Release(); }

    bool empty() const noexcept { return m_data == nullptr; }
    // Length in bytes.
    std::size_t size() const noexcept { return m_data == nullptr ? 0 : m_data->size; }
    std::string_view view() const noexcept;
    // Ends in a zero byte; valid while this string lives.
    char const* c_str() const noexcept;
    std::string ToStdString() const { return std::string(view()); }

    friend bool operator==(StringT const& a, StringT const& b) noexcept {
        return a.m_data == b.m_data || a.view() == b.view();
    }
    friend std::strong_ordering operator<=>(StringT const& a, StringT const& b) noexcept {
        return a.view() <=> b.view();
    }

private:
    struct Data {
        std::atomic<std::uint32_t> references;
        std::uint32_t size;
    };
    void Acquire() const noexcept {
        if (m_data != nullptr)
            m_data->references.fetch_add(1, std::memory_order_relaxed);
    }
    void Release() noexcept;

    Data* m_data = nullptr;
};

using String = StringT<TEncUtf8>;

// True when the bytes are well-formed UTF-8.
REDRAFT_ENGINE bool IsValidUtf8(std::string_view bytes) noexcept;

// A translatable text: the English original with a context that tells translators where it stands. Both are string
// literals. ToString looks the translation up in the current locale's catalogue (GNU gettext, text domain
// "redraft").
class REDRAFT_ENGINE LocalisedString {
public:
    LocalisedString() = default;
    LocalisedString(String text, String context) : m_text(std::move(text)), m_context(std::move(context)) {}

    String const& GetText() const { return m_text; }
    String const& GetContext() const { return m_context; }
    String ToString() const;
    friend bool operator==(LocalisedString const&, LocalisedString const&) = default;

private:
    String m_text;
    String m_context;
};

// A translatable text that is known when the program is compiled.
class Localisable {
public:
    constexpr Localisable(char const* text, char const* context) : m_text(text), m_context(context) {}
    operator LocalisedString() const { return LocalisedString(m_text, m_context); }

private:
    char const* m_text;
    char const* m_context;
};

} // namespace Kernel

template <>
struct std::hash<Kernel::String> {
    std::size_t operator()(Kernel::String const& text) const noexcept {
        return std::hash<std::string_view>()(text.view());
    }
};
