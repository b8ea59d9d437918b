// SPDX-License-Identifier: Apache-2.0
#include "engine/story/rtf_text.h"

#include "platform/story/paragraph.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Story::Rtf {

namespace {

void AppendUnit(std::string& out, char32_t unit) {
    // Units are written as signed 16-bit numbers.
    AppendControl(out, "\\u", unit > 0x7FFF ? static_cast<long>(unit) - 0x10000 : static_cast<long>(unit));
    out += '?';
}

bool IsNoCharacter(char32_t c) {
    return c > 0x10FFFF || (c >= 0xD800 && c < 0xE000) || (c >= 0xFDD0 && c < 0xFDF0) || (c & 0xFFFE) == 0xFFFE;
}

void AppendBeyondAscii(std::string& out, char32_t c) {
    switch (c) {
    case 0xA0:
        out += "\\~";
        return;
    case 0xAD:
        out += "\\-";
        return;
    case 0x2011:
        out += "\\_";
        return;
    case c_lineSeparator:
    case c_paragraphSeparator:
        out += "\\line ";
        return;
    case c_objectCharacter:
        return;
    default:
        break;
    }
    if (c < 0xA0)
        return;
    if (IsNoCharacter(c))
        c = c_replacementCharacter;
    if (c < 0x10000) {
        AppendUnit(out, c);
        return;
    }
    AppendUnit(out, 0xD7C0 + (c >> 10));
    AppendUnit(out, 0xDC00 + (c & 0x3FF));
}

} // namespace

void AppendText(std::string& out, std::u32string_view text) {
    for (char32_t const c : text) {
        if (c >= 0x7F)
            AppendBeyondAscii(out, c);
        else if (c == U'\\' || c == U'{' || c == U'}')
            (out += '\\') += static_cast<char>(c);
        else if (c >= 0x20)
            out += static_cast<char>(c);
        else if (c == U'\t')
            out += "\\tab ";
        else if (c == U'\n')
            out += "\\line ";
    }
}

void AppendName(std::string& out, std::string_view utf8) {
    auto text = DecodeUtf8(utf8).text;
    std::replace(text.begin(), text.end(), U';', U',');
    std::erase_if(text, [](char32_t c) { return c < 0x20 || IsHardBreakCharacter(c); });
    AppendText(out, text);
}

void AppendAddress(std::string& out, std::string_view utf8) {
    static constexpr char c_digits[] = "0123456789ABCDEF";
    out += '"';
    for (char const c : utf8) {
        auto const byte = static_cast<unsigned char>(c);
        bool const isPlain = byte > 0x20 && byte < 0x7F && c != '"' && c != '\\' && c != '{' && c != '}';
        if (isPlain)
            out += c;
        else
            ((out += '%') += c_digits[byte >> 4]) += c_digits[byte & 15];
    }
    out += '"';
}

void AppendControl(std::string& out, std::string_view control, long number) {
    std::array<char, 24> digits{};
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    out += control;
    out.append(digits.data(), end);
}

// The language identifiers of [MS-LCID], 2.2: those of the languages' chief countries.
int GetLanguageNumber(std::string_view tag) {
    static constexpr std::pair<std::string_view, int> c_numbers[] = {
        {"ar", 0x0401}, {"bg", 0x0402}, {"ca", 0x0403},    {"cs", 0x0405}, {"da", 0x0406},   {"de", 0x0407},
        {"el", 0x0408}, {"en", 0x0409}, {"en-GB", 0x0809}, {"es", 0x0C0A}, {"et", 0x0425},   {"fa", 0x0429},
        {"fi", 0x040B}, {"fr", 0x040C}, {"he", 0x040D},    {"hi", 0x0439}, {"hr", 0x041A},   {"hu", 0x040E},
        {"is", 0x040F}, {"it", 0x0410}, {"ja", 0x0411},    {"ko", 0x0412}, {"lt", 0x0427},   {"lv", 0x0426},
        {"nb", 0x0414}, {"nl", 0x0413}, {"no", 0x0414},    {"pl", 0x0415}, {"pt", 0x0816},   {"pt-BR", 0x0416},
        {"ro", 0x0418}, {"ru", 0x0419}, {"sk", 0x041B},    {"sl", 0x0424}, {"sv", 0x041D},   {"th", 0x041E},
        {"tr", 0x041F}, {"uk", 0x0422}, {"vi", 0x042A},    {"zh", 0x0804}, {"zh-TW", 0x0404}};
    while (!tag.empty()) {
        auto const found = std::find_if(std::begin(c_numbers), std::end(c_numbers),
                                        [&](auto const& each) { return each.first == tag; });
        if (found != std::end(c_numbers))
            return found->second;
        auto const last = tag.rfind('-');
        tag = tag.substr(0, last == tag.npos ? 0 : last);
    }
    return 0;
}

} // namespace Story::Rtf
