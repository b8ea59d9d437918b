// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/xml_writer.h"

#include <algorithm>
#include <charconv>

namespace Formats::Svg {

namespace {

template <class Number>
std::string Format(Number value) {
    char text[40];
    auto const [end, error] = std::to_chars(text, text + sizeof text, value + Number(0));
    static_cast<void>(error);
    return {text, end};
}

bool IsAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

} // namespace

// Adding zero turns the negative one into the plain one.
std::string FormatNumber(double value) { return Format(value); }
std::string FormatNumber(float value) { return Format(value); }

void AppendEscaped(std::string& out, std::string_view text) {
    constexpr std::string_view c_replacement = "\xEF\xBF\xBD";
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const byte = static_cast<unsigned char>(text[i]);
        switch (byte) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        // Parsers turn these into spaces or line ends where they stand as they are.
        case '\t':
            out += "&#9;";
            break;
        case '\n':
            out += "&#10;";
            break;
        case '\r':
            out += "&#13;";
            break;
        case 0xEF:
            // U+FFFE and U+FFFF.
            if (text.substr(i, 3) == "\xEF\xBF\xBE" || text.substr(i, 3) == "\xEF\xBF\xBF") {
                out += c_replacement;
                i += 2;
                break;
            }
            [[fallthrough]];
        default:
            if (byte < 0x20)
                out += c_replacement;
            else
                out += text[i];
            break;
        }
    }
}

bool IsPlainId(std::string_view text) {
    if (text.empty() || !(IsAsciiLetter(text.front()) || text.front() == '_'))
        return false;
    return std::all_of(text.begin(), text.end(), [](char c) {
        return IsAsciiLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
    });
}

void XmlWriter::Open(std::string_view name) {
    m_out += '<';
    m_out += name;
}

void XmlWriter::Attribute(std::string_view name, std::string_view value) {
    m_out += ' ';
    m_out += name;
    m_out += "=\"";
    AppendEscaped(m_out, value);
    m_out += '"';
}

void XmlWriter::Attribute(std::string_view name, double value) { Attribute(name, FormatNumber(value)); }

void XmlWriter::Attribute(std::string_view name, Raster::AffineTransform::Params const& m) {
    std::string const linear =
        FormatNumber(m.a) + ' ' + FormatNumber(m.c) + ' ' + FormatNumber(m.b) + ' ' + FormatNumber(m.d) + ' ';
    Attribute(name, "matrix(" + linear + FormatNumber(m.tx) + ' ' + FormatNumber(m.ty) + ')');
}

void XmlWriter::EndStart() { m_out += ">\n"; }
void XmlWriter::EndEmpty() { m_out += "/>\n"; }

void XmlWriter::Close(std::string_view name) {
    m_out += "</";
    m_out += name;
    m_out += ">\n";
}

void XmlWriter::Text(std::string_view text) { AppendEscaped(m_out, text); }

} // namespace Formats::Svg
