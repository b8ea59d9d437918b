// SPDX-License-Identifier: Apache-2.0
#include "engine/records/text_chunks.h"

#include <algorithm>
#include <array>
#include <bit>

namespace Records {

namespace {

constexpr char32_t c_replacement = 0xfffd;

// Bytes 80 to 9f of the code page as published with the Unicode Standard (CP1252.TXT); 0: undefined.
constexpr std::array<char16_t, 32> c_windows1252{0x20ac, 0,      0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021,
                                                 0x02c6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017d, 0,
                                                 0,      0x2018, 0x2019, 0x201c, 0x201d, 0x2022, 0x2013, 0x2014,
                                                 0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0,      0x017e, 0x0178};

unsigned char ToByte(char c) { return static_cast<unsigned char>(c); }
bool IsContinuation(char c) { return (ToByte(c) & 0xc0) == 0x80; }

char* Put(char* to, char32_t c) {
    if (c < 0x80) {
        *to++ = static_cast<char>(c);
    } else if (c < 0x800) {
        *to++ = static_cast<char>(0xc0 | c >> 6);
        *to++ = static_cast<char>(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        *to++ = static_cast<char>(0xe0 | c >> 12);
        *to++ = static_cast<char>(0x80 | (c >> 6 & 0x3f));
        *to++ = static_cast<char>(0x80 | (c & 0x3f));
    } else {
        *to++ = static_cast<char>(0xf0 | c >> 18);
        *to++ = static_cast<char>(0x80 | (c >> 12 & 0x3f));
        *to++ = static_cast<char>(0x80 | (c >> 6 & 0x3f));
        *to++ = static_cast<char>(0x80 | (c & 0x3f));
    }
    return to;
}

// The length of the well-formed sequence at the front, or minus the bytes that make one U+FFFD (Unicode Standard,
// tables 3-7 and 3-8).
int MeasureSequence(std::string_view text) {
    auto const lead = ToByte(text[0]);
    if (lead < 0x80)
        return 1;
    if (lead < 0xc2 || lead > 0xf4)
        return -1;
    auto const length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    unsigned char least = 0x80, most = 0xbf;
    if (lead == 0xe0)
        least = 0xa0;
    else if (lead == 0xed)
        most = 0x9f;
    else if (lead == 0xf0)
        least = 0x90;
    else if (lead == 0xf4)
        most = 0x8f;
    for (int i = 1; i != length; ++i) {
        if (static_cast<std::size_t>(i) == text.size() || ToByte(text[static_cast<std::size_t>(i)]) < least ||
            ToByte(text[static_cast<std::size_t>(i)]) > most)
            return -i;
        least = 0x80;
        most = 0xbf;
    }
    return length;
}

char* DecodeWindows1252(std::string_view bytes, char* to) {
    for (auto const c : bytes) {
        auto const byte = ToByte(c);
        auto const isOdd = byte >= 0x80 && byte < 0xa0;
        auto const decoded = isOdd ? char32_t(c_windows1252[byte - 0x80u]) : char32_t(byte);
        to = Put(to, isOdd && decoded == 0 ? c_replacement : decoded);
    }
    return to;
}

char* RepairUtf8(std::string_view bytes, char* to) {
    while (!bytes.empty()) {
        auto const length = MeasureSequence(bytes);
        if (length > 0)
            to = std::copy_n(bytes.data(), length, to);
        else
            to = Put(to, c_replacement);
        bytes.remove_prefix(static_cast<std::size_t>(std::abs(length)));
    }
    return to;
}

char* DecodeUtf16(std::string_view bytes, bool isBigEndian, char* to) {
    auto const get = [&](std::size_t i) {
        auto const first = ToByte(bytes[i]), second = ToByte(bytes[i + 1]);
        return static_cast<char32_t>(isBigEndian ? first << 8 | second : second << 8 | first);
    };
    std::size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        auto c = get(i);
        if (c >= 0xd800 && c < 0xe000) {
            bool const isPair = c < 0xdc00 && i + 3 < bytes.size() && get(i + 2) >= 0xdc00 && get(i + 2) < 0xe000;
            if (isPair) {
                c = 0x10000 + ((c - 0xd800) << 10) + (get(i + 2) - 0xdc00);
                i += 2;
            } else {
                c = c_replacement;
            }
        }
        to = Put(to, c);
    }
    // Half a unit at the end of the data.
    return i == bytes.size() ? to : Put(to, c_replacement);
}

} // namespace

void TextBuffer::Reserve(std::size_t size) {
    if (m_bytes != nullptr && size <= m_capacity)
        return;
    auto const capacity = std::max(size, m_capacity + m_capacity / 2);
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity + c_padding);
    if (m_size != 0)
        std::memcpy(bytes.get(), m_bytes.get(), m_size);
    m_bytes = std::move(bytes);
    m_capacity = capacity;
    SetSize(m_size);
}

void TextChunks::AppendBytes(std::uint64_t at, std::size_t count, TextBuffer& text) const {
    auto const begin = m_first + at;
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_source.GetSize() - begin));
    m_source.Read(begin, {text.Extend(count), count});
    text.SetSize(text.GetSize() + count);
}

void TextChunks::Append(std::size_t chunk, TextBuffer& text) const {
    auto begin = m_first + std::uint64_t(chunk) * m_chunkBytes;
    auto end = std::min(begin + m_chunkBytes, m_source.GetSize());
    if (m_form == TextForm::Utf8) {
        // As it is: a character may be divided, and is whole again when the next chunk has been appended.
        return AppendBytes(begin - m_first, static_cast<std::size_t>(end - begin), text);
    }
    // The bytes of the chunk with a few around them, so that a character belongs to the chunk in which it begins.
    auto const before = std::min<std::uint64_t>(begin - m_first, 4);
    auto const after = std::min<std::uint64_t>(m_source.GetSize() - end, 4);
    std::string bytes(static_cast<std::size_t>(end - begin + before + after), '\0');
    m_source.Read(begin - before, bytes);
    std::size_t first = static_cast<std::size_t>(before), last = bytes.size() - static_cast<std::size_t>(after);
    if (m_form == TextForm::RepairedUtf8) {
        // A chunk begins behind continuation bytes, at most three of them, as far as they follow a lead byte.
        auto const findBegin = [&](std::size_t at) {
            for (std::size_t back = 1; back <= 3 && back <= at; ++back) {
                if (IsContinuation(bytes[at - back]))
                    continue;
                auto const length = MeasureSequence(std::string_view(bytes).substr(at - back));
                return std::max(at, at - back + static_cast<std::size_t>(std::abs(length)));
            }
            return at;
        };
        first = before == 0 ? first : findBegin(first);
        last = after == 0 ? last : findBegin(last);
    } else if (m_form != TextForm::Windows1252) {
        auto const highByte = m_form == TextForm::Utf16BigEndian ? 0u : 1u;
        auto const dividesPair = [&](std::size_t at) {
            return at >= 2 && at + 2 <= bytes.size() && (ToByte(bytes[at - 2 + highByte]) & 0xfc) == 0xd8 &&
                   (ToByte(bytes[at + highByte]) & 0xfc) == 0xdc;
        };
        first += dividesPair(first) ? 2 : 0;
        last += last != bytes.size() && dividesPair(last) ? 2 : 0;
    }
    auto const own = std::string_view(bytes).substr(first, last - first);
    // No byte becomes more than three.
    auto* const to = text.Extend(3 * own.size() + 4);
    auto* end8 = to;
    if (m_form == TextForm::Windows1252)
        end8 = DecodeWindows1252(own, to);
    else if (m_form == TextForm::RepairedUtf8)
        end8 = RepairUtf8(own, to);
    else
        end8 = DecodeUtf16(own, m_form == TextForm::Utf16BigEndian, to);
    text.SetSize(text.GetSize() + static_cast<std::size_t>(end8 - to));
}

FoundForm FindForm(DataSource const& source, Encoding encoding) {
    std::array<char, 512> bytes;
    auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(source.GetSize(), bytes.size()));
    source.Read(0, std::span(bytes).first(size));
    std::string_view const start(bytes.data(), size);
    auto const measure = [&](std::string_view mark) { return start.starts_with(mark) ? mark.size() : 0; };
    auto const mark8 = measure("\xef\xbb\xbf"), markLittle = measure("\xff\xfe"), markBig = measure("\xfe\xff");
    switch (encoding) {
    case Encoding::Utf8:
        return {TextForm::Utf8, mark8};
    case Encoding::Utf16LittleEndian:
        return {TextForm::Utf16LittleEndian, markLittle};
    case Encoding::Utf16BigEndian:
        return {TextForm::Utf16BigEndian, markBig};
    case Encoding::Windows1252:
        return {TextForm::Windows1252, 0};
    case Encoding::Automatic:
        break;
    }
    if (mark8 != 0)
        return {TextForm::Utf8, mark8};
    if (markLittle != 0)
        return {TextForm::Utf16LittleEndian, markLittle};
    if (markBig != 0)
        return {TextForm::Utf16BigEndian, markBig};
    // In most scripts delimiters, digits and line breaks have a zero in one half of each unit, always the same one.
    std::array<std::size_t, 2> zeros{};
    for (std::size_t i = 0; i != start.size(); ++i)
        zeros[i % 2] += start[i] == '\0';
    auto const isMany = [&](std::size_t count) { return count * 6 > start.size(); };
    if (isMany(zeros[1]) && zeros[0] * 8 < zeros[1])
        return {TextForm::Utf16LittleEndian, 0};
    if (isMany(zeros[0]) && zeros[1] * 8 < zeros[0])
        return {TextForm::Utf16BigEndian, 0};
    return {};
}

Encoding GetEncoding(TextForm form) {
    switch (form) {
    case TextForm::Utf16LittleEndian:
        return Encoding::Utf16LittleEndian;
    case TextForm::Utf16BigEndian:
        return Encoding::Utf16BigEndian;
    case TextForm::Windows1252:
        return Encoding::Windows1252;
    case TextForm::Utf8:
    case TextForm::RepairedUtf8:
        break;
    }
    return Encoding::Utf8;
}

void Utf8Evidence::AddWellFormed(std::string_view text) {
    constexpr std::uint64_t c_highBits = 0x8080'8080'8080'8080;
    for (; text.size() >= 8; text.remove_prefix(8)) {
        std::uint64_t bytes;
        std::memcpy(&bytes, text.data(), 8);
        // Lead bytes have the two highest bits.
        sequences += static_cast<std::uint64_t>(std::popcount(bytes & (bytes << 1) & c_highBits));
    }
    for (auto const c : text)
        sequences += ToByte(c) >= 0xc0;
}

void Utf8Evidence::Add(std::string_view text) {
    while (!text.empty()) {
        auto const length = MeasureSequence(text);
        sequences += length > 1;
        for (std::size_t i = 0; length < 0 && i != static_cast<std::size_t>(-length); ++i) {
            auto const byte = ToByte(text[i]);
            ++strayBytes;
            undefinedBytes += byte >= 0x80 && byte < 0xa0 && c_windows1252[byte - 0x80u] == 0;
        }
        undefinedBytes += text[0] == '\0';
        text.remove_prefix(static_cast<std::size_t>(std::abs(length)));
    }
}

} // namespace Records
