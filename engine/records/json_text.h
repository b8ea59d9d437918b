// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"

#include <string_view>

namespace Records {

// Finds where the values of a JSON text begin and end. Whether they are well-formed inside is not looked at. Throws
// Kernel::Exception with the line.
class JsonText {
public:
    // Deeper nesting is refused.
    static constexpr int c_deepest = 100;

    JsonText(std::string_view text, bool const* abort) : m_text(text), m_abort(abort) {}
    // The next character that is no space; 0 at the end.
    char Peek();
    // Peek must have given this character.
    void Skip(char c);
    // An object, an array, a string, or what stands in place of a number or a word.
    std::string_view TakeValue();
    [[noreturn]] void Refuse(std::string const& reason) const;
    std::size_t GetPlace() const { return m_at; }

private:
    void SkipString();
    void SkipNested();
    void Look();

    std::string_view m_text;
    bool const* m_abort;
    std::size_t m_at = 0, m_lookAt = 0;
};

} // namespace Records
