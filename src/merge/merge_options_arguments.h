// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/data_merge_options.h"

// How programs outside the library say where data are and how they are read.

inline constexpr std::string_view c_recordsFileFormatNames[] = {"automatic", "delimited", "json", "spreadsheet"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Records::FileFormat>{c_recordsFileFormatNames};
inline constexpr std::string_view c_recordsEncodingNames[] = {"automatic", "utf-8", "utf-16le", "utf-16be",
                                                              "windows-1252"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Records::Encoding>{c_recordsEncodingNames};
inline constexpr std::string_view c_recordsHeaderRowNames[] = {"automatic", "present", "absent"};
template <>
inline constexpr std::span<std::string_view const> c_outsideNames<Records::HeaderRow>{c_recordsHeaderRowNames};

namespace Commands {

// One ASCII character, or the one that is found in the data.
struct OptionalCharacter {
    char character = 0;
};

struct DataMergeFetcherArgument {
    Kernel::String path;
    // Empty: the data are in the file at the path.
    Kernel::String content;

    static constexpr auto Fields() {
        using This = DataMergeFetcherArgument;
        using Kernel::Unstored;
        return Kernel::FieldList{
            Unstored{&This::path}.As("path", "the file with the data, from the document's folder on"),
            Unstored{&This::content}.As("content", "the data themselves; the path is only their name then",
                                        std::string_view())};
    }
    operator Kernel::Counted<DataMergeFetcher const>() const {
        if (!content.empty())
            return DataMergeFetcher::MakeWithContent(path, content);
        return Kernel::MakeCounted<DataMergeFetcher>(path);
    }
};

struct DataMergeParserArgument : Records::ReadOptions {
    OptionalCharacter givenDelimiter, givenQuote, givenDecimalMark;
    Kernel::String locale;

    static constexpr auto Fields() {
        using This = DataMergeParserArgument;
        using Kernel::Unstored;
        constexpr OptionalCharacter c_found{};
        return Kernel::FieldList{
            Unstored{&This::format}.As("format", "of the data", Records::FileFormat::Automatic),
            Unstored{&This::encoding}.As("encoding", "of their text", Records::Encoding::Automatic),
            Unstored{&This::header}.As("header", "whether the first row names the columns",
                                       Records::HeaderRow::Automatic),
            Unstored{&This::givenDelimiter}.As("delimiter", "between fields", c_found),
            Unstored{&This::givenQuote}.As("quote", "around fields", c_found),
            Unstored{&This::givenDecimalMark}.As("decimalMark", "of numbers", c_found),
            Unstored{&This::sheet}.As("sheet", "the name of a spreadsheet's sheet; empty for the first",
                                      std::string_view()),
            Unstored{&This::locale}.As("locale", "by which texts are sorted, as de_DE; empty for English",
                                       std::string_view())};
    }
    operator Kernel::Counted<DataMergeParser>() const {
        Records::ReadOptions options = *this;
        options.delimiter = givenDelimiter.character;
        options.quote = givenQuote.character;
        options.decimalMark = givenDecimalMark.character;
        return Kernel::MakeCounted<DataMergeParser>(options, locale);
    }
};

} // namespace Commands
