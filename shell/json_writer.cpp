// SPDX-License-Identifier: Apache-2.0
#include "shell/json_writer.h"

#include "platform/kernel/string.h"
#include "shell/values.h"

#include <cmath>

namespace Shell {

namespace {

constexpr std::size_t c_bufferBytes = 1 << 16;

} // namespace

void JsonWriter::Flush() {
    m_sink(m_buffer);
    m_buffer.clear();
}

void JsonWriter::Separate() {
    m_hasValue = true;
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (m_hasMembers.empty())
        return;
    if (m_hasMembers.back())
        m_buffer += ',';
    m_hasMembers.back() = true;
}

void JsonWriter::Begin(char bracket) {
    Separate();
    m_buffer += bracket;
    m_hasMembers.push_back(false);
}

void JsonWriter::End(char bracket) {
    m_hasMembers.pop_back();
    m_buffer += bracket;
    if (m_buffer.size() >= c_bufferBytes)
        Flush();
}

void JsonWriter::Raw(std::string_view text) {
    Separate();
    m_buffer += text;
}

JsonWriter& JsonWriter::Key(std::string_view name) {
    Separate();
    AppendString(name);
    m_buffer += ':';
    m_afterKey = true;
    return *this;
}

void JsonWriter::Value(std::string_view text) {
    Separate();
    // JSON is UTF-8, whatever the text came from.
    if (Kernel::IsValidUtf8(text))
        AppendString(text);
    else
        AppendString(Kernel::String(text).view());
}

void JsonWriter::AppendString(std::string_view text) {
    constexpr char c_digits[] = "0123456789abcdef";
    m_buffer += '"';
    for (char const c : text) {
        auto const code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            m_buffer += '\\';
            m_buffer += c;
        } else if (c == '\n') {
            m_buffer += "\\n";
        } else if (c == '\t') {
            m_buffer += "\\t";
        } else if (code < 0x20 || code == 0x7F) {
            m_buffer += "\\u00";
            m_buffer += c_digits[code / 16];
            m_buffer += c_digits[code % 16];
        } else {
            m_buffer += c;
        }
    }
    m_buffer += '"';
}

void JsonWriter::Value(double value) { Raw(std::isfinite(value) ? FormatNumber(value) : "null"); }

void JsonWriter::Value(Kernel::RectT<double> const& rectangle) {
    BeginArray();
    for (double const side : {rectangle.left, rectangle.top, rectangle.right, rectangle.bottom})
        Value(side);
    EndArray();
}

void JsonWriter::Value(Raster::AffineTransform::Params const& transform) {
    BeginArray();
    for (double const term : {transform.a, transform.b, transform.tx, transform.c, transform.d, transform.ty})
        Value(term);
    EndArray();
}

} // namespace Shell
