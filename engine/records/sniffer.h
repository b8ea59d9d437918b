// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/record_reader.h"

namespace Records {

// How delimited data are written, found by taking their beginning in each likely way.
struct Sniffed {
    Dialect dialect;
    bool hasHeader = true;
    // Of most records; 0 if they do not agree.
    std::size_t columnCount = 0;
    // Where the first record begins: behind a line "sep=;", by which spreadsheets tell the delimiter.
    std::size_t begin = 0;
};
// `isWhole`: the sample is all there is. Options that are given are followed. `hasTabEnding`: the file's name says that
// tabs divide its fields.
Sniffed Sniff(std::string_view sample, bool isWhole, ReadOptions const& options, bool hasTabEnding, bool const* abort);

// Whether the first record names the columns. One that is like the others where these are no text is one of them; one
// that differs from them there, or where all is text, is a header; so is one of years above columns of something else.
bool LooksLikeHeader(std::vector<std::vector<std::string>> const& records, std::size_t columnCount);

} // namespace Records
