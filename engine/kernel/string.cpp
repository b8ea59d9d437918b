// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/string.h"

#include "engine/kernel/catalogue.h"
#include "platform/kernel/exception.h"

#include <cstring>
#include <libintl.h>
#include <limits>
#include <new>

namespace Kernel {

namespace {

struct Sequence {
    std::size_t length;
    bool valid;
};

// The well-formed sequence at the start of the bytes, or the maximal subpart of one that is broken off: the Unicode
// Standard, table 3-7 and section 3.9. The bytes are not empty.
Sequence DecodeSequence(unsigned char const* bytes, std::size_t size) noexcept {
    unsigned char const lead = bytes[0];
    if (lead < 0x80)
        return {1, true};
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    } else {
        return {1, false};
    }
    for (std::size_t i = 1; i != length; ++i) {
        if (i == size || bytes[i] < low || bytes[i] > high)
            return {i, false};
        low = 0x80;
        high = 0xBF;
    }
    return {length, true};
}

// How many bytes at the start are ASCII, as far as whole words tell.
std::size_t SkipAscii(char const* bytes, std::size_t size) noexcept {
    std::size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        if ((word & 0x8080808080808080u) != 0)
            break;
    }
    return i;
}

std::string ReplaceMalformed(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 8);
    auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        auto const sequence = DecodeSequence(bytes + i, text.size() - i);
        if (sequence.valid)
            result.append(text, i, sequence.length);
        else
            result += "\xEF\xBF\xBD";
        i += sequence.length;
    }
    return result;
}

} // namespace

bool IsValidUtf8(std::string_view text) noexcept {
    auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
    for (std::size_t i = SkipAscii(text.data(), text.size()); i < text.size();) {
        auto const sequence = DecodeSequence(bytes + i, text.size() - i);
        if (!sequence.valid)
            return false;
        i += sequence.length;
        i += SkipAscii(text.data() + i, text.size() - i);
    }
    return true;
}

StringT<TEncUtf8>::StringT(std::string_view text) {
    if (text.empty())
        return;
    std::string replaced;
    if (!IsValidUtf8(text)) {
        replaced = ReplaceMalformed(text);
        text = replaced;
    }
    if (text.size() > std::numeric_limits<std::uint32_t>::max())
        throw Exception("a text is longer than 4 GiB");
    void* const memory = ::operator new(sizeof(Data) + text.size() + 1);
    m_data = ::new (memory) Data{1, static_cast<std::uint32_t>(text.size())};
    char* const characters = static_cast<char*>(memory) + sizeof(Data);
    std::memcpy(characters, text.data(), text.size());
    characters[text.size()] = '\0';
}

void StringT<TEncUtf8>::Release() noexcept {
    if (m_data != nullptr && m_data->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        ::operator delete(m_data);
}

char const* StringT<TEncUtf8>::c_str() const noexcept {
    return m_data == nullptr ? "" : reinterpret_cast<char const*>(m_data) + sizeof(Data);
}

std::string_view StringT<TEncUtf8>::view() const noexcept {
    return m_data == nullptr ? std::string_view() : std::string_view(c_str(), m_data->size);
}

String LocalisedString::ToString() const {
    // gettext answers the empty text with the catalogue's header.
    if (m_text.empty())
        return {};
    static bool const s_isUtf8 = OpenCatalogues();
    if (!s_isUtf8)
        return m_text;
    // A plain text that comes from elsewhere, such as a plug-in's name.
    if (m_context.empty())
        return m_text;
    std::string key;
    key.reserve(m_context.size() + 1 + m_text.size());
    key.append(m_context.view()).append(1, '\004').append(m_text.view());
    char const* const translation = dgettext("redraft", key.c_str());
    return translation == key.c_str() ? m_text : String(translation);
}

} // namespace Kernel
