// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/markup_writer.h"

#include "platform/story/paragraph.h"

namespace EPub {

namespace {

bool IsForbidden(char32_t c) {
    return (c < 0x20 && c != U'\t' && c != U'\n') || (c >= 0x7F && c < 0xA0) || (c >= 0xD800 && c < 0xE000) ||
           (c >= 0xFDD0 && c < 0xFDF0) || (c & 0xFFFE) == 0xFFFE || c > 0x10FFFF;
}

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
    } else {
        if (c < 0x10000) {
            out += static_cast<char>(0xE0 | c >> 12);
        } else {
            out += static_cast<char>(0xF0 | c >> 18);
            out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        }
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    }
    out += static_cast<char>(0x80 | (c & 0x3F));
}

} // namespace

void AppendEscaped(std::string& out, std::u32string_view text) {
    for (auto const c : text) {
        if (c == U'&')
            out += "&amp;";
        else if (c == U'<')
            out += "&lt;";
        else if (c == U'>')
            out += "&gt;";
        else if (c == U'"')
            out += "&quot;";
        else if (c >= 0x20 && c < 0x7F)
            out += static_cast<char>(c);
        else if (IsForbidden(c))
            out += "\xEF\xBF\xBD";
        else if (c < 0x80)
            out += static_cast<char>(c);
        else
            AppendUtf8(out, c);
    }
}

void AppendEscaped(std::string& out, std::string_view text) { AppendEscaped(out, Story::DecodeUtf8(text).text); }

void MarkupWriter::CloseTag() {
    if (m_isInTag)
        m_out += '>';
    m_isInTag = false;
}

MarkupWriter& MarkupWriter::Begin(std::string_view name) {
    CloseTag();
    m_out += '<';
    m_out += name;
    m_open.push_back(name);
    m_isInTag = true;
    return *this;
}

MarkupWriter& MarkupWriter::Attribute(std::string_view name, std::string_view value) {
    m_out += ' ';
    m_out += name;
    m_out += "=\"";
    AppendEscaped(m_out, value);
    m_out += '"';
    return *this;
}

MarkupWriter& MarkupWriter::Optional(std::string_view name, std::string_view value) {
    return value.empty() ? *this : Attribute(name, value);
}

MarkupWriter& MarkupWriter::Text(std::u32string_view text) {
    CloseTag();
    AppendEscaped(m_out, text);
    return *this;
}

MarkupWriter& MarkupWriter::Text(std::string_view utf8) {
    CloseTag();
    AppendEscaped(m_out, utf8);
    return *this;
}

MarkupWriter& MarkupWriter::Raw(std::string_view markup) {
    CloseTag();
    m_out += markup;
    return *this;
}

MarkupWriter& MarkupWriter::End() {
    CloseTag();
    m_out += "</";
    m_out += m_open.back();
    m_out += '>';
    m_open.pop_back();
    return *this;
}

MarkupWriter& MarkupWriter::EndVoid() {
    m_isInTag = false;
    m_open.pop_back();
    m_out += "/>";
    return *this;
}

} // namespace EPub
