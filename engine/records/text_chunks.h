// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/data_source.h"
#include "platform/records/read_table.h"

#include <cstring>

namespace Records {

// Characters that grow at the end, followed by c_padding zero bytes that may be read.
class TextBuffer {
public:
    static constexpr std::size_t c_padding = 64;

    TextBuffer() { Reserve(0); }
    char const* GetData() const { return m_bytes.get(); }
    std::size_t GetSize() const { return m_size; }
    std::string_view GetView() const { return {m_bytes.get(), m_size}; }
    void Clear() { SetSize(0); }
    // Room for so many characters more, which SetSize then makes part of the text.
    char* Extend(std::size_t count) {
        Reserve(m_size + count);
        return m_bytes.get() + m_size;
    }
    void SetSize(std::size_t size) {
        m_size = size;
        std::memset(m_bytes.get() + m_size, 0, c_padding);
    }

private:
    void Reserve(std::size_t size);

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0, m_capacity = 0;
};

// How bytes become UTF-8.
enum class TextForm : std::uint8_t {
    // As they are.
    Utf8,
    // Malformed sequences become U+FFFD, as the Unicode Standard recommends (section 3.9, "U+FFFD Substitution of
    // Maximal
    // Subparts"); so do lone surrogates of UTF-16.
    RepairedUtf8,
    Utf16LittleEndian,
    Utf16BigEndian,
    // Bytes that the code page leaves undefined become U+FFFD.
    Windows1252
};

struct FoundForm {
    TextForm form = TextForm::Utf8;
    std::size_t byteOrderMarkSize = 0;
};

// Data as pieces of UTF-8 text, each of which is made of its own share of the bytes and can be made on any thread. No
// character is divided.
class TextChunks {
public:
    // The byte order mark is left out. A chunk has so many bytes, a multiple of four and at least eight.
    TextChunks(DataSource const& source, FoundForm found, std::size_t chunkBytes)
        : m_source(source), m_form(found.form), m_first(found.byteOrderMarkSize), m_chunkBytes(chunkBytes) {}
    std::size_t GetChunkBytes() const { return m_chunkBytes; }
    std::size_t GetCount() const {
        return static_cast<std::size_t>((m_source.GetSize() - m_first + m_chunkBytes - 1) / m_chunkBytes);
    }
    // Without the byte order mark.
    std::uint64_t GetTextBytes() const { return m_source.GetSize() - m_first; }
    TextForm GetForm() const { return m_form; }
    void Append(std::size_t chunk, TextBuffer& text) const;
    // Of text that is UTF-8 as it is: so many bytes from a place behind the byte order mark on, or less at the end.
    void AppendBytes(std::uint64_t at, std::size_t count, TextBuffer& text) const;

private:
    DataSource const& m_source;
    TextForm m_form;
    std::uint64_t m_first;
    std::size_t m_chunkBytes;
};

// By the byte order mark or, for UTF-16 without one, by where zero bytes stand at the beginning. An encoding that is
// given is followed, and its byte order mark found.
FoundForm FindForm(DataSource const& source, Encoding encoding);
Encoding GetEncoding(TextForm form);

// Counts that speak for and against UTF-8.
struct Utf8Evidence {
    // Lead bytes of sequences of several bytes where the text is well-formed; bytes that are no part of one; bytes that
    // Windows-1252 leaves undefined, and zero bytes.
    std::uint64_t sequences = 0, strayBytes = 0, undefinedBytes = 0;
    void Add(std::string_view text);
    void AddWellFormed(std::string_view text);
    bool SpeaksForWindows1252() const { return strayBytes > sequences && undefinedBytes == 0; }
};

} // namespace Records
