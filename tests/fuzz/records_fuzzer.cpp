// SPDX-License-Identifier: Apache-2.0
// Reads any bytes as a table, in the format that the first byte says, and looks at all that is in it. Delimited text is
// read in chunks of another size too, and must be the same table.
#include "engine/records/delimited_reader.h"
#include "platform/kernel/exception.h"
#include "platform/records/read_table.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

void Touch(Records::Table const& table) {
    for (std::size_t column = 0; column != table.GetColumnCount() && column != 20; ++column) {
        table.GetNumbers(column);
        auto const& dictionary = table.GetDictionary(column);
        for (std::uint32_t row = 0; row != table.GetRowCount(); ++row) {
            if (dictionary.values[dictionary.codes[row]] != table.GetText(row, column) ||
                !Kernel::IsValidUtf8(table.GetText(row, column)))
                std::abort();
        }
    }
}

std::optional<Records::ReadResult> Parse(std::string_view data, Records::ReadOptions const& options) {
    try {
        return Records::ParseTable(data, "fuzz", options, nullptr);
    } catch (Kernel::Exception const&) {
        // Refused with a word: as it should be.
        return std::nullopt;
    }
}

void Compare(std::string_view data, Records::ReadOptions const& options, Records::Table const& expected) {
    auto const source = Records::OpenMemory(data, "fuzz", data.size());
    auto const again = Records::ReadDelimited(*source, "", options, nullptr, 64);
    if (again.table->GetRowCount() != expected.GetRowCount() ||
        again.table->GetColumnCount() != expected.GetColumnCount())
        std::abort();
    for (std::size_t column = 0; column != expected.GetColumnCount(); ++column) {
        for (std::uint32_t row = 0; row != expected.GetRowCount(); ++row) {
            if (again.table->GetText(row, column) != expected.GetText(row, column))
                std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const bytes(reinterpret_cast<char const*>(data) + 1, size - 1);
    Records::ReadOptions options;
    options.format = static_cast<Records::FileFormat>(data[0] % 4);
    auto const result = Parse(bytes, options);
    if (!result)
        return 0;
    Touch(*result->table);
    if (result->used.format == Records::FileFormat::Delimited && size < 4096) {
        // As they were found: small chunks are another sample.
        auto used = result->used;
        used.decimalMark = 0;
        Compare(bytes, used, *result->table);
    }
    return 0;
}
