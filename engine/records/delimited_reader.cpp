// SPDX-License-Identifier: Apache-2.0
#include "engine/records/delimited_reader.h"

#include "engine/records/abort_look.h"
#include "engine/records/column_names.h"
#include "engine/records/delimited_chunk.h"
#include "engine/records/sniffer.h"
#include "engine/records/table_builder.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>

namespace Records {

namespace {

constexpr std::size_t c_sampleSize = 256 << 10;

// One reading of the data in one form.
class DelimitedReading {
public:
    DelimitedReading(TextChunks const& chunks, ReadOptions const& options, std::string_view name, bool const* abort)
        : m_chunks(chunks),
          m_options(options),
          m_abort(abort),
          m_hasTabEnding(name.ends_with(".tsv") || name.ends_with(".tab")) {}

    void Run() {
        if (m_chunks.GetCount() == 0) {
            m_warnings.Add("there are no data");
            return;
        }
        auto const start = ReadHeader();
        ReadRecords(start);
        if (auto const removed = m_builder.RemoveEmptyRowsAtEnd(); removed != 0)
            m_warnings.Add(removed == 1 ? "an empty record at the end was left out"
                                        : std::to_string(removed) + " empty records at the end were left out");
    }
    bool IsWellFormed() const { return m_isWellFormed; }
    Utf8Evidence const& GetEvidence() const { return m_evidence; }
    WarningList& GetEncodingWarnings() { return m_encodingWarnings; }
    WarningList& GetWarnings() { return m_warnings; }

    ReadResult Finish() {
        ReadResult result;
        result.used = m_options;
        result.used.format = FileFormat::Delimited;
        result.used.encoding = GetEncoding(m_chunks.GetForm());
        result.used.header = m_hasHeader ? HeaderRow::Present : HeaderRow::Absent;
        result.used.delimiter = m_layout.dialect.delimiter;
        result.used.quote = m_layout.dialect.quote;
        result.table = m_builder.Finish(m_options.decimalMark, m_layout.dialect.delimiter == ';');
        result.used.decimalMark = m_builder.GetDecimalMark();
        result.warnings = std::move(m_warnings.GetWarnings());
        result.furtherWarnings = m_warnings.GetFurther();
        return result;
    }

private:
    // Finds out how the data are written, and the columns. The place of the first record.
    TextPlace ReadHeader() {
        ChunkText text;
        text.Load(m_chunks, 0);
        while (text.GetView().size() < c_sampleSize && !text.IsWhole())
            text.AppendMore();
        auto const sample = text.GetView().substr(0, c_sampleSize);
        auto const sniffed =
            Sniff(sample, text.IsWhole() && sample.size() == text.GetView().size(), m_options, m_hasTabEnding, m_abort);
        m_layout = {&m_chunks, sniffed.dialect, {}, m_abort};
        m_hasHeader = sniffed.hasHeader;
        RecordReader reader(sniffed.dialect, c_maximumColumns);
        reader.SetText(text.GetView(), text.IsWhole());
        reader.Restart(sniffed.begin);
        AbortLook look(m_abort);
        for (auto outcome = RecordReader::Outcome::Blank;
             outcome == RecordReader::Outcome::Blank || outcome == RecordReader::Outcome::NeedsMore;) {
            outcome = ReadFirst(reader);
            look.Spend(10);
            if (outcome == RecordReader::Outcome::NeedsMore) {
                look.Now();
                text.AppendMore();
                reader.SetText(text.GetView(), text.IsWhole());
            }
        }
        auto const header = text.GetView().substr(0, reader.GetPlace());
        if (m_chunks.GetForm() == TextForm::Utf8 && !Kernel::IsValidUtf8(header)) {
            m_isWellFormed = false;
            m_evidence.Add(header);
        }
        auto const& fields = reader.GetFields();
        auto const count = std::max(fields.size(), sniffed.columnCount);
        ColumnNames names;
        for (std::size_t i = 0; i != count; ++i) {
            if (!m_hasHeader)
                m_layout.columns.push_back(names.AddNumbered());
            else
                m_layout.columns.push_back(
                    names.Add(i < fields.size() ? reader.GetText(fields[i]) : std::string_view(), m_warnings));
            m_builder.AddColumn(m_layout.columns.back());
        }
        return m_hasHeader ? text.Locate(reader.GetPlace()) : TextPlace{0, sniffed.begin};
    }

    static RecordReader::Outcome ReadFirst(RecordReader& reader) {
        try {
            return reader.Read();
        } catch (Kernel::Exception const& e) {
            throw Kernel::Exception("the first record: " + e.GetMessage().ToStdString());
        }
    }

    // All chunks at the same time, each from where a record seems to begin. Where the records of one do not end at the
    // beginning of the next, that one is read again from where they end.
    void ReadRecords(TextPlace next) {
        DelimitedChunkReader reader(m_layout);
        std::vector<ChunkRecords> read(m_chunks.GetCount());
        Kernel::ParallelFor(read.size(), [&](std::size_t chunk) {
            if (chunk == next.chunk)
                read[chunk] = ReadKnown(reader, next);
            else if (chunk > next.chunk)
                read[chunk] = reader.ReadFromGuess(chunk);
        });
        for (std::size_t chunk = 0; chunk != read.size(); ++chunk) {
            auto records = std::move(read[chunk]);
            if (chunk < next.chunk)
                continue;
            if (!records.hasStart || records.start != next.offset)
                records = ReadKnown(reader, next);
            next = records.end;
            Accept(std::move(records));
        }
    }

    ChunkRecords ReadKnown(DelimitedChunkReader& reader, TextPlace from) {
        try {
            return reader.ReadFrom(from);
        } catch (RefusedRecord const& e) {
            throw Kernel::Exception("record " + std::to_string(m_builder.GetRowCount() + e.GetRow()) + ": " +
                                    e.GetMessage().ToStdString());
        }
    }

    void Accept(ChunkRecords records) {
        auto const firstRow = m_builder.GetRowCount();
        if (records.group.rowCount > c_maximumRows - firstRow)
            throw Kernel::Exception("there are more than " + std::to_string(c_maximumRows) + " records");
        m_warnings.Append(records.warnings, firstRow);
        m_encodingWarnings.Append(records.encodingWarnings, firstRow);
        m_isWellFormed = m_isWellFormed && records.isWellFormed;
        m_evidence.sequences += records.evidence.sequences;
        m_evidence.strayBytes += records.evidence.strayBytes;
        m_evidence.undefinedBytes += records.evidence.undefinedBytes;
        m_builder.AddGroup(std::move(records.group));
    }

    TextChunks const& m_chunks;
    ReadOptions const& m_options;
    bool const* m_abort;
    bool m_hasTabEnding, m_hasHeader = true, m_isWellFormed = true;
    DelimitedLayout m_layout;
    TableBuilder m_builder;
    WarningList m_warnings, m_encodingWarnings;
    Utf8Evidence m_evidence;
};

} // namespace

ReadResult ReadDelimited(DataSource const& source, std::string_view name, ReadOptions const& options, bool const* abort,
                         std::size_t chunkBytes) {
    auto const found = FindForm(source, options.encoding);
    auto const read = [&](TextForm form, auto const& finish) {
        TextChunks const chunks(source, {form, found.byteOrderMarkSize}, chunkBytes);
        DelimitedReading reading(chunks, options, name, abort);
        reading.Run();
        return finish(reading);
    };
    std::optional<ReadResult> result;
    WarningList encodingWarnings;
    bool isWindows1252 = false;
    read(found.form, [&](DelimitedReading& reading) {
        if (reading.IsWellFormed())
            result = reading.Finish();
        encodingWarnings = std::move(reading.GetEncodingWarnings());
        isWindows1252 = options.encoding == Encoding::Automatic && found.byteOrderMarkSize == 0 &&
                        reading.GetEvidence().SpeaksForWindows1252();
    });
    if (!result && isWindows1252) {
        result = read(TextForm::Windows1252, [&](DelimitedReading& reading) {
            auto const& first = encodingWarnings.GetWarnings();
            auto const isInHeader = first.empty();
            reading.GetWarnings().Add(isInHeader ? Warning::c_noRow : first[0].row,
                                      isInHeader ? Kernel::String() : first[0].column,
                                      "the text is not UTF-8 and was read as Windows-1252");
            return reading.Finish();
        });
    } else if (!result) {
        result = read(TextForm::RepairedUtf8, [&](DelimitedReading& reading) {
            if (encodingWarnings.GetWarnings().empty())
                encodingWarnings.Add("bytes that are not UTF-8 were replaced in the names of columns");
            reading.GetWarnings().Append(encodingWarnings, 0);
            return reading.Finish();
        });
    }
    source.CheckUnchanged();
    return std::move(*result);
}

} // namespace Records
