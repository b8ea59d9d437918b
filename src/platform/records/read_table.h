// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/records/table.h"

namespace Records {

enum class FileFormat : std::uint8_t { Automatic, Delimited, Json, Spreadsheet };
enum class Encoding : std::uint8_t { Automatic, Utf8, Utf16LittleEndian, Utf16BigEndian, Windows1252 };
enum class HeaderRow : std::uint8_t { Automatic, Present, Absent };

// How data are taken as a table. Values that are left as they are here are found by looking at the data.
struct ReadOptions {
    FileFormat format = FileFormat::Automatic;
    Encoding encoding = Encoding::Automatic;
    HeaderRow header = HeaderRow::Automatic;
    // ASCII characters; 0: found.
    char delimiter = 0, quote = 0, decimalMark = 0;
    // Of a spreadsheet; empty: the first one.
    Kernel::String sheet{};
    friend bool operator==(ReadOptions const&, ReadOptions const&) = default;
};

// Bounds of what is read, above which data are refused.
inline constexpr std::uint32_t c_maximumColumns = 16'384;
inline constexpr std::uint32_t c_maximumRows = 100'000'000;
inline constexpr std::uint64_t c_maximumDataSize = std::uint64_t(4) << 30;
inline constexpr std::size_t c_maximumFieldSize = std::size_t(64) << 20;
// How many warnings a reader gives before it says only how many more there were.
inline constexpr std::size_t c_maximumWarnings = 100;

struct ReadResult {
    // Never null.
    TableRef table;
    std::vector<Warning> warnings;
    // Beyond those.
    std::uint64_t furtherWarnings = 0;
    // As they were found or given: none of them Automatic or 0, where they mean something for the format.
    ReadOptions used;
};

// Reads a file. Throws Kernel::Exception in one line when it cannot be read, is no regular file, or breaks a bound;
// Kernel::AbortException when the flag is set, which is looked at every millisecond or so.
REDRAFT_ENGINE ReadResult ReadTable(Kernel::String const& path, ReadOptions const& options, bool const* abort);
// Data in memory, in `name`'s format where the options do not say one.
REDRAFT_ENGINE ReadResult ParseTable(std::string_view data, Kernel::String const& name, ReadOptions const& options,
                                     bool const* abort);

} // namespace Records
