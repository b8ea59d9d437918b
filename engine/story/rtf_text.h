// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

// Pieces of RTF, as the Rich Text Format Specification 1.9.1 writes them.
namespace Story::Rtf {

// Letters as they stand in a text: those beyond ASCII as \u with a question mark for readers that do not know it,
// beyond U+FFFF as a surrogate pair; ends of lines as \line. Controls and places of objects are left out, surrogates
// and noncharacters are U+FFFD.
void AppendText(std::string& out, std::u32string_view text);
// The same of a name in a table, whose entries end in semicolons.
void AppendName(std::string& out, std::string_view utf8);
// The address of a HYPERLINK field, with its quotation marks: what would end it or the field is written in per cent
// (RFC 3986, 2.1), as are characters beyond ASCII.
void AppendAddress(std::string& out, std::string_view utf8);
// \control, with its number. Nothing parts it from what follows.
void AppendControl(std::string& out, std::string_view control, long number);
// The language of a BCP 47 tag by the numbers of \lang; 0 for one without.
int GetLanguageNumber(std::string_view tag);

} // namespace Story::Rtf
