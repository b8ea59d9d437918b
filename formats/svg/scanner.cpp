// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/scanner.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>

namespace Formats::Svg {

namespace {

constexpr double c_largestNumber = 3.4028234663852886e38;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

// The length of a number token at the start of a text (CSS Syntax 3, section 4.3.12), or 0.
std::size_t NumberLength(std::string_view text) {
    auto at = [text](std::size_t i) { return i < text.size() ? text[i] : '\0'; };
    std::size_t i = at(0) == '+' || at(0) == '-' ? 1 : 0;
    std::size_t const start = i;
    while (IsDigit(at(i)))
        ++i;
    std::size_t digits = i - start;
    // "1." is a number to SVG 1.1 and old files have it.
    if (at(i) == '.' && (digits != 0 || IsDigit(at(i + 1)))) {
        ++i;
        while (IsDigit(at(i))) {
            ++i;
            ++digits;
        }
    }
    if (digits == 0)
        return 0;
    if (at(i) == 'e' || at(i) == 'E') {
        std::size_t const sign = at(i + 1) == '+' || at(i + 1) == '-' ? 1 : 0;
        if (IsDigit(at(i + 1 + sign))) {
            i += 1 + sign;
            while (IsDigit(at(i)))
                ++i;
        }
    }
    return i;
}

// Whether a decimal number beyond the range of double is too small rather than too large.
bool IsUnderflow(std::string_view number) {
    auto const exponentAt = number.find_first_of("eE");
    std::string_view const mantissa = number.substr(0, exponentAt);
    auto const firstDigit = mantissa.find_first_of("123456789");
    if (firstDigit == std::string_view::npos)
        return true;
    if (exponentAt != std::string_view::npos)
        return number[exponentAt + 1] == '-';
    auto const point = mantissa.find('.');
    return point != std::string_view::npos && point < firstDigit;
}

} // namespace

std::optional<std::uint32_t> HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return std::nullopt;
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
    return lower;
}

void Scanner::SkipSpace() {
    while (!m_rest.empty() && IsSpace(m_rest.front()))
        m_rest.remove_prefix(1);
}

void Scanner::SkipCommaSpace() {
    SkipSpace();
    if (Take(','))
        SkipSpace();
}

bool Scanner::Take(char c) {
    if (m_rest.empty() || m_rest.front() != c)
        return false;
    m_rest.remove_prefix(1);
    return true;
}

std::string_view Scanner::TakeIdentifier() {
    std::size_t length = 0;
    while (length < m_rest.size()) {
        char const c = m_rest[length];
        char const lower = Lower(c);
        if (!(lower >= 'a' && lower <= 'z') && !IsDigit(c) && c != '-' && c != '_' &&
            static_cast<unsigned char>(c) < 0x80)
            break;
        ++length;
    }
    std::string_view const identifier = m_rest.substr(0, length);
    m_rest.remove_prefix(length);
    return identifier;
}

std::string_view Scanner::TakeLetters() {
    std::size_t length = 0;
    while (length < m_rest.size() && Lower(m_rest[length]) >= 'a' && Lower(m_rest[length]) <= 'z')
        ++length;
    std::string_view const letters = m_rest.substr(0, length);
    m_rest.remove_prefix(length);
    return letters;
}

std::string_view Scanner::TakeUntil(std::string_view characters) {
    std::size_t const length = std::min(m_rest.find_first_of(characters), m_rest.size());
    std::string_view const taken = m_rest.substr(0, length);
    m_rest.remove_prefix(length);
    return taken;
}

std::optional<double> Scanner::TakeNumber() {
    std::size_t const length = NumberLength(m_rest);
    if (length == 0)
        return std::nullopt;
    std::string_view number = m_rest.substr(0, length);
    if (number.front() == '+')
        number.remove_prefix(1);
    double value = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error == std::errc::result_out_of_range) {
        if (!IsUnderflow(number))
            return std::nullopt;
        value = 0;
    } else if (error != std::errc()) {
        return std::nullopt;
    }
    if (!(std::abs(value) <= c_largestNumber))
        return std::nullopt;
    m_rest.remove_prefix(length);
    // Numbers have no sign of zero here: they are written without one.
    return value + 0.0;
}

std::optional<double> ParseNumber(std::string_view text) {
    Scanner scanner(Trimmed(text));
    auto const number = scanner.TakeNumber();
    return scanner.IsAtEnd() ? number : std::nullopt;
}

std::optional<double> ParseUnitInterval(std::string_view text) {
    Scanner scanner(Trimmed(text));
    auto number = scanner.TakeNumber();
    if (number && scanner.Take('%'))
        *number /= 100;
    if (!number || !scanner.IsAtEnd())
        return std::nullopt;
    return std::clamp(*number, 0.0, 1.0);
}

std::optional<Length> TakeLength(Scanner& scanner, FontSizes const& sizes) {
    struct Unit {
        std::string_view name;
        double userUnits;
    };
    Scanner const before = scanner;
    auto const number = scanner.TakeNumber();
    if (!number)
        return std::nullopt;
    if (scanner.Take('%'))
        return Length{*number, true};
    std::string_view const name = scanner.TakeLetters();
    if (name.empty())
        return Length{*number, false};
    std::array<Unit, 11> const units = {{{"px", 1},
                                         {"pt", 96.0 / 72},
                                         {"mm", 96 / 25.4},
                                         {"cm", 96 / 2.54},
                                         {"in", 96},
                                         {"pc", 16},
                                         {"em", sizes.em},
                                         // CSS allows half an em where the font's own height is not known.
                                         {"ex", sizes.em / 2},
                                         {"ch", sizes.em / 2},
                                         {"rem", sizes.rootEm},
                                         {"q", 96 / 101.6}}};
    for (Unit const& unit : units) {
        double const value = *number * unit.userUnits;
        if (EqualsIgnoringCase(name, unit.name) && std::abs(value) <= c_largestNumber)
            return Length{value, false};
    }
    scanner = before;
    return std::nullopt;
}

std::optional<Length> ParseLength(std::string_view text, FontSizes const& sizes) {
    Scanner scanner(Trimmed(text));
    auto const length = TakeLength(scanner, sizes);
    return scanner.IsAtEnd() ? length : std::nullopt;
}

std::optional<double> TakeAngleRadians(Scanner& scanner) {
    Scanner const before = scanner;
    auto const number = scanner.TakeNumber();
    if (!number)
        return std::nullopt;
    std::string_view const unit = scanner.TakeLetters();
    if (unit.empty() || EqualsIgnoringCase(unit, "deg"))
        return *number * std::numbers::pi / 180;
    if (EqualsIgnoringCase(unit, "rad"))
        return *number;
    if (EqualsIgnoringCase(unit, "grad"))
        return *number * std::numbers::pi / 200;
    if (EqualsIgnoringCase(unit, "turn"))
        return *number * std::numbers::pi * 2;
    scanner = before;
    return std::nullopt;
}

} // namespace Formats::Svg
