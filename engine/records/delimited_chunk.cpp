// SPDX-License-Identifier: Apache-2.0
#include "engine/records/delimited_chunk.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <simdjson.h>

namespace Records {

namespace {

constexpr std::size_t c_longestRecord = std::size_t(512) << 20;
constexpr std::size_t c_bytesPerLook = 64 << 10;
// Line ends within a quoted field are not followed by as many fields as records have, most of the time.
constexpr int c_guesses = 64;
// A few bytes can ask for records of many fields that are not there. Of a chunk, in all and for each field that is
// there.
constexpr std::size_t c_mostMissing = std::size_t(1) << 20, c_missingPerField = 8;
// Fields are copied so many bytes at a time.
constexpr std::size_t c_step = GroupMaker::c_slack;

std::string CountFields(std::size_t count) { return std::to_string(count) + (count == 1 ? " field" : " fields"); }

} // namespace

class DelimitedChunkReader::Loan {
public:
    explicit Loan(DelimitedChunkReader& lender) : m_lender(lender) {
        std::lock_guard const lock(lender.m_mutex);
        if (!lender.m_idle.empty()) {
            m_scratch = std::move(lender.m_idle.back());
            lender.m_idle.pop_back();
        } else {
            m_scratch = std::make_unique<Scratch>(lender.m_layout.dialect);
        }
    }
    Loan(Loan const&) = delete;
    Loan& operator=(Loan const&) = delete;
    ~Loan() {
        std::lock_guard const lock(m_lender.m_mutex);
        m_lender.m_idle.push_back(std::move(m_scratch));
    }
    Scratch& operator*() const { return *m_scratch; }

private:
    DelimitedChunkReader& m_lender;
    std::unique_ptr<Scratch> m_scratch;
};

ChunkRecords DelimitedChunkReader::ReadFrom(TextPlace start) {
    Loan const loan(*this);
    (*loan).text.Load(*m_layout.chunks, start.chunk);
    return Read(*loan, start.offset);
}

ChunkRecords DelimitedChunkReader::ReadFromGuess(std::size_t chunk) {
    Loan const loan(*this);
    (*loan).text.Load(*m_layout.chunks, chunk);
    std::size_t start = 0;
    try {
        if (GuessStart(*loan, chunk, start))
            return Read(*loan, start);
    } catch (Kernel::AbortException const&) {
        throw;
    } catch (Kernel::Exception const&) {
        // Not where a record begins, or else it is refused again.
        ChunkRecords refused;
        refused.isRefused = true;
        return refused;
    }
    return {};
}

bool DelimitedChunkReader::GuessStart(Scratch& scratch, std::size_t chunk, std::size_t& start) const {
    auto const own = scratch.text.GetView().substr(0, scratch.text.GetOwnSize());
    if (chunk == 0)
        return false;
    start = 0;
    // Of text as it is the character before the chunk may be the line end.
    if (m_layout.chunks->GetForm() == TextForm::Utf8) {
        TextBuffer before;
        m_layout.chunks->AppendBytes(std::uint64_t(chunk) * m_layout.chunks->GetChunkBytes() - 1, 1, before);
        if (before.GetView()[0] == m_layout.dialect.lineEnd)
            return true;
    }
    for (int i = 0; i != c_guesses; ++i) {
        auto const lineEnd = own.find(m_layout.dialect.lineEnd, start);
        if (lineEnd == std::string_view::npos || lineEnd + 1 == own.size())
            return false;
        start = lineEnd + 1;
        auto& reader = scratch.reader;
        reader.SetText(scratch.text.GetView(), scratch.text.IsWhole());
        reader.Restart(start);
        auto const outcome = reader.Read();
        if (outcome == RecordReader::Outcome::NeedsMore || outcome == RecordReader::Outcome::End)
            return true;
        if (reader.GetFields().size() == m_layout.columns.size() && reader.GetOddFields().empty())
            return true;
    }
    return false;
}

void DelimitedChunkReader::AppendMore(Scratch& scratch) const {
    if (scratch.text.GetView().size() > c_longestRecord)
        throw Kernel::Exception("a record has more than " + DescribeSize(c_longestRecord));
    scratch.text.AppendMore();
    scratch.reader.SetText(scratch.text.GetView(), scratch.text.IsWhole());
}

ChunkRecords DelimitedChunkReader::Read(Scratch& scratch, std::size_t start) const {
    auto const columns = m_layout.columns.size();
    auto& reader = scratch.reader;
    reader.SetText(scratch.text.GetView(), scratch.text.IsWhole());
    reader.Restart(start);
    ChunkRecords records;
    records.hasStart = true;
    records.start = start;
    auto lookAt = start;
    std::uint32_t row = 0;
    std::size_t missing = 0;
    while (reader.GetPlace() < scratch.text.GetOwnSize()) {
        if (reader.GetPlace() >= lookAt) {
            if (Kernel::IsAbortSet(m_layout.abort))
                throw Kernel::AbortException();
            lookAt = reader.GetPlace() + c_bytesPerLook;
        }
        auto const firstField = reader.GetFields().size();
        try {
            auto const outcome = reader.Read();
            if (outcome == RecordReader::Outcome::End)
                break;
            if (outcome == RecordReader::Outcome::Blank)
                continue;
            if (outcome == RecordReader::Outcome::NeedsMore) {
                AppendMore(scratch);
                lookAt = 0;
                continue;
            }
        } catch (Kernel::AbortException const&) {
            throw;
        } catch (Kernel::Exception const& e) {
            throw RefusedRecord(row, e.GetMessage());
        }
        if (reader.GetFields().size() - firstField != columns || !reader.GetOddFields().empty())
            missing += EvenOut(reader, firstField, row, records.warnings);
        if (missing > c_mostMissing && missing / c_missingPerField > reader.GetFields().size() - missing)
            throw RefusedRecord(row, "too many fields are missing up to here");
        ++row;
    }
    auto const end = std::max(reader.GetPlace(), start);
    records.end = scratch.text.Locate(end);
    CheckCharacters(reader, scratch.text.GetView().substr(start, end - start), records);
    records.group = MakeGroup(reader);
    return records;
}

// Exactly one field for each column. How many were missing.
std::size_t DelimitedChunkReader::EvenOut(RecordReader& reader, std::size_t firstField, std::uint32_t row,
                                          WarningList& warnings) const {
    auto const columns = m_layout.columns.size();
    auto& fields = reader.GetFields();
    for (auto const& odd : reader.GetOddFields()) {
        auto const name = odd.column < columns ? m_layout.columns[odd.column] : Kernel::String();
        if (odd.kind == OddField::Kind::UnclosedQuote)
            warnings.Add(row, name, "a quotation mark is never closed and was taken as text");
        else
            warnings.Add(row, name, "text follows the closing quotation mark and was added to the field");
    }
    auto const count = fields.size() - firstField;
    if (count < columns) {
        warnings.Add(row, Kernel::String(),
                     "the record has " + CountFields(count) + " of " + std::to_string(columns) +
                         ": the others are empty");
    } else {
        auto const isLost = [](FieldSpan span) { return (span.begin & ~FieldSpan::c_own) != span.end; };
        auto const extra = fields.begin() + static_cast<std::ptrdiff_t>(firstField + columns);
        if (std::any_of(extra, fields.end(), isLost))
            warnings.Add(row, Kernel::String(),
                         "the record has " + CountFields(count) + " for " + std::to_string(columns) +
                             (columns == 1 ? " column" : " columns") + ": the last ones were left out");
    }
    fields.resize(firstField + columns);
    return count < columns ? columns - count : 0;
}

void DelimitedChunkReader::CheckCharacters(RecordReader& reader, std::string_view read, ChunkRecords& records) const {
    auto const columns = m_layout.columns.size();
    auto& fields = reader.GetFields();
    auto const forFields = [&](auto const& visit) {
        for (std::size_t i = 0; i != fields.size(); ++i)
            visit(fields[i], static_cast<std::int64_t>(i / columns), m_layout.columns[i % columns]);
    };
    if (read.find('\0') != std::string_view::npos) {
        forFields([&](FieldSpan& field, std::int64_t row, Kernel::String const& column) {
            auto const text = reader.GetText(field);
            if (text.find('\0') == std::string_view::npos)
                return;
            std::string replaced;
            for (auto const c : text)
                c == '\0' ? replaced.append("\ufffd") : replaced.append(1, c);
            field = reader.Keep(replaced);
            records.warnings.Add(row, column, "a zero byte was replaced");
        });
    }
    if (m_layout.chunks->GetForm() != TextForm::Utf8)
        return;
    records.isWellFormed = simdjson::validate_utf8(read.data(), read.size());
    if (records.isWellFormed) {
        records.evidence.AddWellFormed(read);
        return;
    }
    records.evidence.Add(read);
    forFields([&](FieldSpan const& field, std::int64_t row, Kernel::String const& column) {
        if (!Kernel::IsValidUtf8(reader.GetText(field)))
            records.encodingWarnings.Add(row, column, "bytes that are not UTF-8 were replaced");
    });
}

RowGroup DelimitedChunkReader::MakeGroup(RecordReader& reader) const {
    auto const columns = m_layout.columns.size();
    auto const& fields = reader.GetFields();
    auto const rows = columns == 0 ? 0 : fields.size() / columns;
    std::vector<std::size_t> sizes(columns);
    for (std::size_t i = 0, row = 0; row != rows; ++row) {
        for (auto& size : sizes) {
            size += fields[i].end - (fields[i].begin & ~FieldSpan::c_own);
            ++i;
        }
    }
    // Behind the text there is padding to read; behind the reader's own characters there is now.
    reader.Keep(std::string_view("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", c_step));
    GroupMaker maker(static_cast<std::uint32_t>(rows), sizes);
    for (std::size_t column = 0; column != columns; ++column) {
        auto* const starts = maker.GetStarts(column);
        auto* const bytes = maker.GetBytes(column);
        std::size_t size = 0;
        for (std::size_t row = 0; row != rows; ++row) {
            auto const text = reader.GetText(fields[row * columns + column]);
            if (text.size() <= c_step)
                std::memcpy(bytes + size, text.data(), c_step);
            else
                std::memcpy(bytes + size, text.data(), text.size());
            size += text.size();
            starts[row + 1] = static_cast<std::uint32_t>(size);
        }
    }
    return maker.Finish();
}

} // namespace Records
