// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace EPub {

// Appends text with the characters escaped that markup gives a meaning to. What XML 1.0 (section 2.2) and HTML have no
// place for becomes U+FFFD: controls but for tabs and line ends, surrogates and noncharacters.
void AppendEscaped(std::string& out, std::u32string_view text);
// The same from UTF-8.
void AppendEscaped(std::string& out, std::string_view text);

// Writes elements to the end of a text as they come; nothing is kept but the names of open ones.
class MarkupWriter {
public:
    explicit MarkupWriter(std::string& out) : m_out(out) {}

    // Names are ASCII and lasting.
    MarkupWriter& Begin(std::string_view name);
    // Right behind Begin.
    MarkupWriter& Attribute(std::string_view name, std::string_view value);
    // The same unless the value is empty.
    MarkupWriter& Optional(std::string_view name, std::string_view value);
    MarkupWriter& Text(std::u32string_view text);
    MarkupWriter& Text(std::string_view utf8);
    // Markup, or anything else that is to stand as it is.
    MarkupWriter& Raw(std::string_view markup);
    MarkupWriter& End();
    // Of an element that has no content in HTML, such as an image.
    MarkupWriter& EndVoid();

private:
    void CloseTag();

    std::string& m_out;
    std::vector<std::string_view> m_open;
    bool m_isInTag = false;
};

} // namespace EPub
