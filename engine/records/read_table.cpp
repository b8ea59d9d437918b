// SPDX-License-Identifier: Apache-2.0
#include "platform/records/read_table.h"

#include "engine/records/delimited_reader.h"
#include "engine/records/json_reader.h"
#include "engine/records/spreadsheet_reader.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <array>

namespace Records {

namespace {

std::string ToLower(std::string_view text) {
    std::string lower(text);
    for (auto& c : lower)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return lower;
}

void CheckOptions(ReadOptions const& options) {
    auto const check = [](char c, char const* what) {
        auto const code = static_cast<unsigned char>(c);
        bool const isUsable = code == 0 || code == '\t' || (code >= ' ' && code < 0x7f);
        if (!isUsable)
            throw Kernel::Exception(std::string("the ") + what + " must be a printable ASCII character or a tab");
    };
    check(options.delimiter, "delimiter");
    check(options.quote, "quotation mark");
    if (options.delimiter != 0 && options.delimiter == options.quote)
        throw Kernel::Exception("the delimiter and the quotation mark are the same");
    if (options.decimalMark != 0 && options.decimalMark != '.' && options.decimalMark != ',')
        throw Kernel::Exception("the decimal mark must be a point or a comma");
}

// By the bytes at the beginning, the ending of the name and, where that says nothing, the first character.
FileFormat FindFormat(DataSource const& source, std::string_view name) {
    std::array<char, 512> bytes;
    auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(source.GetSize(), bytes.size()));
    source.Read(0, std::span(bytes).first(size));
    std::string_view start(bytes.data(), size);
    if (start.starts_with("PK\x03\x04"))
        return FileFormat::Spreadsheet;
    if (start.starts_with("\xd0\xcf\x11\xe0"))
        throw Kernel::Exception(
            "is a spreadsheet of the old binary kind or one with a password; save it as .xlsx without one, or as .csv");
    if (start.starts_with("\x1f\x8b") || start.starts_with("BZh") ||
        start.starts_with("\xfd"
                          "7zXZ"))
        throw Kernel::Exception("is compressed; unpack it first");
    auto const hasEnding = [&](auto const& endings) {
        return std::any_of(endings.begin(), endings.end(), [&](auto ending) { return name.ends_with(ending); });
    };
    static constexpr std::array<std::string_view, 4> c_json{".json", ".ndjson", ".jsonl", ".geojson"};
    static constexpr std::array<std::string_view, 5> c_delimited{".csv", ".tsv", ".tab", ".txt", ".psv"};
    if (hasEnding(c_json))
        return FileFormat::Json;
    if (hasEnding(std::array<std::string_view, 2>{".xlsx", ".xlsm"}))
        return FileFormat::Spreadsheet;
    if (hasEnding(c_delimited))
        return FileFormat::Delimited;
    auto const first = start.find_first_not_of(" \t\r\n\xef\xbb\xbf");
    return first != std::string_view::npos && (start[first] == '[' || start[first] == '{') ? FileFormat::Json
                                                                                           : FileFormat::Delimited;
}

ReadResult Read(DataSource const& source, Kernel::String const& name, ReadOptions const& options, bool const* abort) {
    try {
        CheckOptions(options);
        auto const lowerName = ToLower(name.view());
        switch (options.format == FileFormat::Automatic ? FindFormat(source, lowerName) : options.format) {
        case FileFormat::Json:
            return ReadJson(source, options, abort);
        case FileFormat::Spreadsheet:
            return ReadSpreadsheet(source, options, abort);
        case FileFormat::Delimited:
        case FileFormat::Automatic:
            break;
        }
        return ReadDelimited(source, lowerName, options, abort);
    } catch (Kernel::AbortException const&) {
        throw;
    } catch (Kernel::Exception const& e) {
        auto const message = e.GetMessage().ToStdString();
        if (message.starts_with(name.view()))
            throw;
        throw Kernel::Exception(name.ToStdString() + ": " + message);
    } catch (std::bad_alloc const&) {
        throw Kernel::Exception(name.ToStdString() + ": there is not enough memory for the data");
    }
}

} // namespace

ReadResult ReadTable(Kernel::String const& path, ReadOptions const& options, bool const* abort) {
    return Read(*OpenFile(path, c_maximumDataSize), path, options, abort);
}

ReadResult ParseTable(std::string_view data, Kernel::String const& name, ReadOptions const& options,
                      bool const* abort) {
    return Read(*OpenMemory(data, name, c_maximumDataSize), name, options, abort);
}

} // namespace Records
