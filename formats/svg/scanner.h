// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Formats::Svg {

inline bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
// The value of a hexadecimal digit of either case.
std::optional<std::uint32_t> HexDigit(char c);
std::string_view Trimmed(std::string_view text);
// ASCII letters only, as CSS and XML compare.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);
std::string LowerCase(std::string_view text);

// Reads the microsyntaxes of attribute values from left to right. A failed read leaves the place as it was.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_rest(text) {}

    bool IsAtEnd() const { return m_rest.empty(); }
    std::string_view GetRest() const { return m_rest; }
    char Peek() const { return m_rest.empty() ? '\0' : m_rest.front(); }
    void Advance(std::size_t count) { m_rest.remove_prefix(count < m_rest.size() ? count : m_rest.size()); }
    void SkipSpace();
    // White space with at most one comma in it.
    void SkipCommaSpace();
    bool Take(char c);
    // Letters, digits, hyphens, underscores and bytes above 7F.
    std::string_view TakeIdentifier();
    // ASCII letters, as units are made of.
    std::string_view TakeLetters();
    // Everything before one of the characters, or all.
    std::string_view TakeUntil(std::string_view characters);
    // A CSS number. A value beyond single precision's range is no number (SVG 2, section 4.2); what is too small for
    // a double is 0. Never infinite or not-a-number.
    std::optional<double> TakeNumber();

private:
    std::string_view m_rest;
};

// The whole text is one number, white space around it allowed.
std::optional<double> ParseNumber(std::string_view text);
// A number, or a percentage as its hundredth; clamped to 0 and 1, as opacities and stop offsets are.
std::optional<double> ParseUnitInterval(std::string_view text);

// A length in user units (pixels of 1/96 inch), or a percentage that waits for its reference length.
struct Length {
    double value = 0;
    bool percent = false;
    // The length in user units; `reference` is what 100 % is.
    double Resolve(double reference) const { return percent ? value / 100 * reference : value; }
    friend bool operator==(Length const&, Length const&) = default;
};

// The lengths that relative units refer to, in user units.
struct FontSizes {
    double em = 16;
    double rootEm = 16;
};

// CSS Values 3, section 6; without a unit it is in user units. Empty on anything else, also on calc().
std::optional<Length> TakeLength(Scanner& scanner, FontSizes const& sizes);
std::optional<Length> ParseLength(std::string_view text, FontSizes const& sizes);

// An angle in radians; without a unit it is in degrees.
std::optional<double> TakeAngleRadians(Scanner& scanner);

} // namespace Formats::Svg
