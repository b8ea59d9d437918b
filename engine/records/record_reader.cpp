// SPDX-License-Identifier: Apache-2.0
#include "engine/records/record_reader.h"

#include "platform/kernel/exception.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Records {

void SpecialFinder::Restart(std::string_view text, std::size_t at) {
    m_text = text;
    m_base = at;
    m_found = 0;
    if (m_base < m_text.size())
        Look();
}

void SpecialFinder::Look() {
    auto const* const from = m_text.data() + m_base;
#if defined(__SSE2__)
    auto const delimiter = _mm_set1_epi8(m_dialect.delimiter), quote = _mm_set1_epi8(m_dialect.quote),
               lineEnd = _mm_set1_epi8(m_dialect.lineEnd);
    std::uint64_t found = 0;
    for (int i = 0; i != 4; ++i) {
        auto const part = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + 16 * i));
        auto const isSpecial = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(part, delimiter), _mm_cmpeq_epi8(part, quote)),
                                            _mm_cmpeq_epi8(part, lineEnd));
        found |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(isSpecial))) << (16 * i);
    }
    m_found = found;
#else
    m_found = 0;
    for (unsigned i = 0; i != 64; ++i) {
        auto const c = from[i];
        bool const isSpecial = c == m_dialect.delimiter || c == m_dialect.quote || c == m_dialect.lineEnd;
        m_found |= std::uint64_t(isSpecial) << i;
    }
#endif
}

RecordReader::RecordReader(Dialect const& dialect, std::uint32_t maximumColumns)
    : m_dialect(dialect), m_maximumColumns(maximumColumns) {
    m_finder.SetDialect(dialect);
}

void RecordReader::SetText(std::string_view text, bool isWhole) {
    m_text = text;
    m_isWhole = isWhole;
    m_finder.Restart(m_text, m_place);
}

void RecordReader::Restart(std::size_t at) {
    m_place = at;
    m_fields.clear();
    m_odd.clear();
    m_own.clear();
    m_finder.Restart(m_text, at);
}

RecordReader::Outcome RecordReader::Read() {
    m_odd.clear();
    if (m_place >= m_text.size())
        return m_isWhole ? Outcome::End : Outcome::NeedsMore;
    auto const begin = m_fieldBegin = m_place;
    auto const ownSize = m_own.size();
    m_firstField = m_fields.size();
    m_isRecordEnd = false;
    while (!m_isRecordEnd) {
        if (!ReadField()) {
            m_fields.resize(m_firstField);
            m_own.resize(ownSize);
            m_odd.clear();
            m_finder.Restart(m_text, begin);
            return Outcome::NeedsMore;
        }
    }
    m_place = m_fieldBegin;
    // A quoted field without a character is a record.
    bool const isBlank = m_fields.size() == m_firstField + 1 && m_fields.back().begin == m_fields.back().end &&
                         m_text[begin] != m_dialect.quote;
    if (!isBlank)
        return Outcome::Record;
    m_fields.pop_back();
    return Outcome::Blank;
}

bool RecordReader::ReadField() {
    auto const special = m_finder.Next();
    if (special == m_fieldBegin && special < m_text.size() && m_text[special] == m_dialect.quote) {
        bool isDone = true;
        if (!ReadQuotedField(isDone))
            return false;
        if (isDone)
            return true;
        // The quotation mark is text.
        Warn(OddField::Kind::UnclosedQuote);
        m_finder.Restart(m_text, m_fieldBegin + 1);
        return ReadPlainField(m_finder.Next());
    }
    return ReadPlainField(special);
}

std::size_t RecordReader::SkipQuotes(std::size_t special) {
    while (special < m_text.size() && m_text[special] == m_dialect.quote)
        special = m_finder.Next();
    return special;
}

bool RecordReader::ReadPlainField(std::size_t special) {
    auto const end = SkipQuotes(special);
    if (end - m_fieldBegin > c_maximumFieldSize)
        throw Kernel::Exception("a field has more than " + DescribeSize(c_maximumFieldSize));
    if (end == m_text.size() && !m_isWhole)
        return false;
    auto last = end;
    bool const isLine = end == m_text.size() || m_text[end] == m_dialect.lineEnd;
    if (isLine && m_dialect.lineEnd == '\n' && last != m_fieldBegin && m_text[last - 1] == '\r')
        --last;
    m_fields.push_back({static_cast<std::uint32_t>(m_fieldBegin), static_cast<std::uint32_t>(last)});
    EndField(end);
    return true;
}

// Not done: the quotation mark opens nothing.
bool RecordReader::ReadQuotedField(bool& isDone) {
    bool isDoubled = false, crossesLines = false;
    std::size_t close = 0;
    for (;;) {
        close = m_finder.Next();
        if (close - m_fieldBegin > c_maximumFieldSize || (close == m_text.size() && m_isWhole)) {
            isDone = false;
            return true;
        }
        if (close == m_text.size())
            return false;
        if (m_text[close] == m_dialect.lineEnd)
            crossesLines = true;
        if (m_text[close] != m_dialect.quote)
            continue;
        if (close + 1 == m_text.size() && !m_isWhole)
            return false;
        if (close + 1 == m_text.size() || m_text[close + 1] != m_dialect.quote)
            break;
        isDoubled = true;
        m_finder.Next();
    }
    auto const behind = close + 1;
    auto const end = SkipQuotes(m_finder.Next());
    if (end == m_text.size() && !m_isWhole)
        return false;
    auto rest = m_text.substr(behind, end - behind);
    if ((end == m_text.size() || m_text[end] == '\n') && m_dialect.lineEnd == '\n' && rest.ends_with('\r'))
        rest.remove_suffix(1);
    bool const isOdd = rest.find_first_not_of(' ') != std::string_view::npos;
    if (isOdd && crossesLines) {
        isDone = false;
        return true;
    }
    if (!isOdd && !isDoubled) {
        m_fields.push_back({static_cast<std::uint32_t>(m_fieldBegin + 1), static_cast<std::uint32_t>(close)});
    } else {
        auto const begin = m_own.size();
        for (auto at = m_fieldBegin + 1; at != close; ++at) {
            m_own.push_back(m_text[at]);
            at += m_text[at] == m_dialect.quote;
        }
        if (isOdd) {
            Warn(OddField::Kind::TextBehindQuote);
            m_own.append(rest);
        }
        m_fields.push_back(
            {static_cast<std::uint32_t>(begin) | FieldSpan::c_own, static_cast<std::uint32_t>(m_own.size())});
    }
    EndField(end);
    return true;
}

void RecordReader::EndField(std::size_t at) {
    if (m_fields.size() - m_firstField > m_maximumColumns)
        throw Kernel::Exception("a record has more than " + std::to_string(m_maximumColumns) + " fields");
    m_isRecordEnd = at == m_text.size() || m_text[at] == m_dialect.lineEnd;
    m_fieldBegin = at == m_text.size() ? at : at + 1;
    // A delimiter as the last character of all: an empty field follows.
    if (!m_isRecordEnd && m_isWhole && m_fieldBegin == m_text.size()) {
        m_fields.push_back({static_cast<std::uint32_t>(m_fieldBegin), static_cast<std::uint32_t>(m_fieldBegin)});
        m_isRecordEnd = true;
    }
}

FieldSpan RecordReader::Keep(std::string_view text) {
    auto const begin = m_own.size();
    m_own.append(text);
    return {static_cast<std::uint32_t>(begin) | FieldSpan::c_own, static_cast<std::uint32_t>(m_own.size())};
}

void RecordReader::Warn(OddField::Kind kind) {
    m_odd.push_back({kind, static_cast<std::uint32_t>(m_fields.size() - m_firstField)});
}

} // namespace Records
