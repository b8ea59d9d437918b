// SPDX-License-Identifier: Apache-2.0
#include "engine/records/json_text.h"

#include "platform/kernel/abort_flag.h"

#include <algorithm>

namespace Records {

namespace {

constexpr std::size_t c_bytesBetweenLooks = 256 << 10;

} // namespace

void JsonText::Look() {
    if (m_at < m_lookAt)
        return;
    if (Kernel::IsAbortSet(m_abort))
        throw Kernel::AbortException();
    m_lookAt = m_at + c_bytesBetweenLooks;
}

char JsonText::Peek() {
    while (m_at != m_text.size() &&
           (m_text[m_at] == ' ' || m_text[m_at] == '\n' || m_text[m_at] == '\r' || m_text[m_at] == '\t')) {
        ++m_at;
        Look();
    }
    return m_at == m_text.size() ? '\0' : m_text[m_at];
}

void JsonText::Skip(char c) {
    if (Peek() != c)
        Refuse(std::string("'") + c + "' is missing");
    ++m_at;
}

std::string_view JsonText::TakeValue() {
    auto const first = Peek();
    auto const begin = m_at;
    Look();
    if (first == '{' || first == '[')
        SkipNested();
    else if (first == '"')
        SkipString();
    else
        m_at = std::min(m_text.find_first_of(",:]} \t\r\n", m_at), m_text.size());
    if (m_at == begin)
        Refuse(first == '\0' ? "it ends too early" : "a value is missing");
    return m_text.substr(begin, m_at - begin);
}

void JsonText::SkipString() {
    for (++m_at;; ++m_at) {
        m_at = m_text.find_first_of("\"\\", m_at);
        if (m_at == std::string_view::npos ||
            m_at + 1 >= m_text.size() + (m_at < m_text.size() && m_text[m_at] == '"')) {
            m_at = m_text.size();
            Refuse("it ends within a string");
        }
        Look();
        if (m_text[m_at] == '"')
            break;
        ++m_at;
    }
    ++m_at;
}

void JsonText::SkipNested() {
    int depth = 0;
    do {
        m_at = m_text.find_first_of("{}[]\"", m_at);
        if (m_at == std::string_view::npos) {
            m_at = m_text.size();
            Refuse("it ends too early");
        }
        Look();
        auto const c = m_text[m_at];
        if (c == '"') {
            SkipString();
            continue;
        }
        depth += c == '{' || c == '[' ? 1 : -1;
        if (depth > c_deepest)
            Refuse("values are nested more than " + std::to_string(c_deepest) + " deep");
        ++m_at;
    } while (depth != 0);
}

void JsonText::Refuse(std::string const& reason) const {
    auto const before = m_text.substr(0, m_at);
    auto const line = 1 + std::count(before.begin(), before.end(), '\n');
    throw Kernel::Exception("the JSON cannot be read: line " + std::to_string(line) + ": " + reason);
}

} // namespace Records
