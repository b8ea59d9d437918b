// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/chunk_text.h"
#include "engine/records/record_reader.h"
#include "engine/records/table_content.h"
#include "engine/records/warning_list.h"
#include "platform/kernel/exception.h"

#include <mutex>

namespace Records {

// A record that cannot be taken. The row is counted from the first of its chunk.
class RefusedRecord final : public Kernel::Exception {
public:
    RefusedRecord(std::uint32_t row, Kernel::String message) : Exception(std::move(message)), m_row(row) {}
    std::uint32_t GetRow() const { return m_row; }

private:
    std::uint32_t m_row;
};

// Known of delimited data before their records are read.
struct DelimitedLayout {
    TextChunks const* chunks = nullptr;
    Dialect dialect;
    std::vector<Kernel::String> columns;
    bool const* abort = nullptr;
};

// The records that begin in one chunk.
struct ChunkRecords {
    // Whether there are any; if not, the places mean nothing.
    bool hasStart = false;
    // They cannot be read from here; reading them again tells why.
    bool isRefused = false;
    std::size_t start = 0;
    TextPlace end;
    RowGroup group;
    // Rows are counted from the first of the chunk.
    WarningList warnings;
    // Of UTF-8 as it is.
    bool isWellFormed = true;
    Utf8Evidence evidence;
    WarningList encodingWarnings;
};

// Reads chunks, each by itself and on any thread.
class DelimitedChunkReader {
public:
    explicit DelimitedChunkReader(DelimitedLayout layout) : m_layout(std::move(layout)) {}
    // From a place where a record begins. Throws Kernel::Exception.
    ChunkRecords ReadFrom(TextPlace start);
    // From the first place in the chunk where a record seems to begin. That may be wrong: it is the record's beginning
    // if the chunk before ends there.
    ChunkRecords ReadFromGuess(std::size_t chunk);

private:
    // Memory that one chunk after another is read in.
    struct Scratch {
        explicit Scratch(Dialect const& dialect) : reader(dialect, c_maximumColumns) {}
        ChunkText text;
        RecordReader reader;
    };
    class Loan;

    bool GuessStart(Scratch& scratch, std::size_t chunk, std::size_t& start) const;
    ChunkRecords Read(Scratch& scratch, std::size_t start) const;
    void AppendMore(Scratch& scratch) const;
    std::size_t EvenOut(RecordReader& reader, std::size_t firstField, std::uint32_t row, WarningList& warnings) const;
    void CheckCharacters(RecordReader& reader, std::string_view read, ChunkRecords& records) const;
    RowGroup MakeGroup(RecordReader& reader) const;

    DelimitedLayout m_layout;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Scratch>> m_idle;
};

} // namespace Records
