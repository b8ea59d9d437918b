// SPDX-License-Identifier: Apache-2.0
#include "engine/store/container_state.h"
#include "engine/store/page_checksum.h"
#include "engine/store/schema.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Store {

namespace {

constexpr std::string_view c_magic{"SQLite format 3\0", 16};
using Header = std::array<std::byte, 100>;

std::uint32_t GetNumber(Header const& header, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i != size; ++i)
        value = value << 8 | std::to_integer<std::uint32_t>(header[offset + i]);
    return value;
}

} // namespace

// Offsets as in SQLite's published file format, "The Database Header". None of these fields changes in the life of a
// document, so they can be trusted in the middle of a save too.
void CheckHeader(File& file) {
    Header header{};
    auto const got = file.ReadAt(0, header);
    if (got == 0)
        throw Kernel::DamagedDataException("is empty");
    bool const hasMagic =
        got == header.size() && std::equal(c_magic.begin(), c_magic.end(), header.begin(),
                                           [](char a, std::byte b) { return a == std::to_integer<char>(b); });
    if (!hasMagic || GetNumber(header, 68, 4) != Schema::c_applicationId)
        throw Kernel::DamagedDataException("is not a Redraft document");
    auto const format = GetNumber(header, 60, 4);
    if (format > static_cast<std::uint32_t>(c_formatMajor))
        throw Kernel::FutureVersionException(
            "written by a newer version of Redraft (format " + std::to_string(format) + ")", false);

    struct Field {
        std::size_t offset;
        std::size_t size;
        std::uint32_t value;
    };
    // Format, page size, no write-ahead log, the bytes for checksums, the three fixed fractions, schema format, no
    // automatic vacuum, UTF-8.
    for (auto const field : {Field{60, 4, static_cast<std::uint32_t>(c_formatMajor)}, Field{16, 2, c_pageSize},
                             Field{18, 2, 0x0101}, Field{20, 1, c_pageChecksumSize}, Field{21, 3, 0x402020},
                             Field{44, 4, 4}, Field{52, 4, 0}, Field{56, 4, 1}, Field{64, 4, 0}})
        if (GetNumber(header, field.offset, field.size) != field.value)
            throw Kernel::DamagedDataException("is damaged: its header holds impossible values");
    if (file.GetSize() < c_pageSize)
        throw Kernel::DamagedDataException("is damaged: it is cut short");
}

} // namespace Store
