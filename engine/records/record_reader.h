// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/text_chunks.h"

#include <vector>

namespace Records {

// How fields and records are divided.
struct Dialect {
    char delimiter = ',', quote = '"';
    // '\n', before which a '\r' is no part of the field, or '\r'.
    char lineEnd = '\n';
};

// Where a field stands: in the text, or where the highest bit of the beginning is set in the reader's own characters.
struct FieldSpan {
    static constexpr std::uint32_t c_own = std::uint32_t(1) << 31;
    std::uint32_t begin = 0, end = 0;
};

// A field that was not written as it should be.
struct OddField {
    enum class Kind : std::uint8_t {
        // A quotation mark before the field is never closed, or by a mark lines below that cannot be meant: the mark
        // was
        // taken as text.
        UnclosedQuote,
        // Text follows the closing quotation mark: it belongs to the field.
        TextBehindQuote
    };
    Kind kind;
    std::uint32_t column;
};

// Finds the places of delimiters, quotation marks and line ends in a text, 64 characters at a time.
class SpecialFinder {
public:
    void SetDialect(Dialect const& dialect) { m_dialect = dialect; }
    // Begins at a place of the text, behind whose end TextBuffer::c_padding bytes can be read.
    void Restart(std::string_view text, std::size_t at);
    // The next place; the size of the text if there is none.
    std::size_t Next() {
        while (m_found == 0) {
            m_base += 64;
            if (m_base >= m_text.size())
                return m_text.size();
            Look();
        }
        auto const at = m_base + static_cast<std::size_t>(__builtin_ctzll(m_found));
        m_found &= m_found - 1;
        return at;
    }

private:
    void Look();

    std::string_view m_text;
    Dialect m_dialect;
    std::size_t m_base = 0;
    std::uint64_t m_found = 0;
};

// Takes a text record by record after RFC 4180, and generously where it is not followed: quotation marks within a field
// that does not begin with one are text, lines without a character are no records, and a quotation mark is text if its
// closing one does not come, or comes lines below with more text behind it, as it does when a mark is missing.
class RecordReader {
public:
    enum class Outcome {
        Record,
        // A line without a character, which is no record.
        Blank,
        // The text ends before it is known where the record does.
        NeedsMore,
        End
    };

    // `maximumColumns`: a record of more fields is refused with Kernel::Exception, as is a field above
    // c_maximumFieldSize.
    RecordReader(Dialect const& dialect, std::uint32_t maximumColumns);
    // `isWhole`: no more text follows. May be called again with more text, the old one at its front.
    void SetText(std::string_view text, bool isWhole);
    // Goes on at a place where a record begins. No fields are kept.
    void Restart(std::size_t at);
    // Reads one record and adds its fields to GetFields. When it needs more text, nothing is added.
    Outcome Read();
    // Where the next record begins.
    std::size_t GetPlace() const { return m_place; }
    std::vector<FieldSpan>& GetFields() { return m_fields; }
    // Of the record that was read last.
    std::vector<OddField> const& GetOddFields() const { return m_odd; }
    std::string_view GetText(FieldSpan span) const {
        auto const isOwn = (span.begin & FieldSpan::c_own) != 0;
        auto const begin = span.begin & ~FieldSpan::c_own;
        return {(isOwn ? m_own.data() : m_text.data()) + begin, span.end - begin};
    }
    // A field of these characters, for GetFields.
    FieldSpan Keep(std::string_view text);

private:
    // False: more text is needed.
    bool ReadField();
    bool ReadQuotedField(bool& isDone);
    bool ReadPlainField(std::size_t special);
    // Behind a field, at a delimiter or the end of a line or of the text.
    void EndField(std::size_t at);
    std::size_t SkipQuotes(std::size_t special);
    void Warn(OddField::Kind kind);

    Dialect m_dialect;
    std::uint32_t m_maximumColumns;
    std::string_view m_text;
    bool m_isWhole = false;
    SpecialFinder m_finder;
    std::size_t m_place = 0;
    // Of the record that is being read.
    std::size_t m_firstField = 0, m_fieldBegin = 0;
    bool m_isRecordEnd = false;
    std::vector<FieldSpan> m_fields;
    std::vector<OddField> m_odd;
    std::string m_own;
};

} // namespace Records
