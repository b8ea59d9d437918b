// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <source_location>

namespace Kernel {

// A place in the source. The standard library's type, for compilers that do not have it yet (clang before 16).
class SourceLocation {
public:
    // As a default argument it is the place of the call.
    static constexpr SourceLocation current(char const* file = __builtin_FILE(),
                                            char const* function = __builtin_FUNCTION(),
                                            std::uint_least32_t line = __builtin_LINE()) noexcept {
        return SourceLocation(file, function, line);
    }
#ifdef __cpp_lib_source_location
    constexpr SourceLocation(std::source_location const& where) noexcept
        : SourceLocation(where.file_name(), where.function_name(), where.line()) {}
#endif

    constexpr char const* file_name() const noexcept { return m_file; }
    constexpr char const* function_name() const noexcept { return m_function; }
    constexpr std::uint_least32_t line() const noexcept { return m_line; }

private:
    constexpr SourceLocation(char const* file, char const* function, std::uint_least32_t line) noexcept
        : m_file(file), m_function(function), m_line(line) {}

    char const* m_file;
    char const* m_function;
    std::uint_least32_t m_line;
};

} // namespace Kernel
