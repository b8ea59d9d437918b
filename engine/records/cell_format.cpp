// SPDX-License-Identifier: Apache-2.0
#include "engine/records/cell_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace Records {

namespace {

constexpr double c_daysTo9999 = 2'958'466, c_from1904To1900 = 1462, c_millisecondsPerDay = 86'400'000;

char ToLowerLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

struct FormatParts {
    bool hasDay = false, hasTime = false, hasElapsed = false, hasMonthOrMinute = false;

    void Add(char letter) {
        hasDay = hasDay || letter == 'y' || letter == 'd';
        hasTime = hasTime || letter == 'h' || letter == 's';
        hasMonthOrMinute = hasMonthOrMinute || letter == 'm';
    }
};

// The letters of the first section that mean something: not those of texts in quotation marks, those behind a
// backslash, an underscore or an asterisk, and those of colours and locales in brackets.
FormatParts FindParts(std::string_view code) {
    FormatParts parts;
    for (std::size_t i = 0; i < code.size() && code[i] != ';'; ++i) {
        auto const c = ToLowerLetter(code[i]);
        if (c == '"') {
            i = std::min(code.find('"', i + 1), code.size());
        } else if (c == '\\' || c == '_' || c == '*') {
            ++i;
        } else if (c == '[') {
            auto const end = std::min(code.find(']', i), code.size());
            auto const inner = code.substr(i + 1, end - i - 1);
            auto const isOne = [&](char letter) {
                return inner.find_first_not_of(std::string{letter, static_cast<char>(letter - 32)}) ==
                       std::string_view::npos;
            };
            if (!inner.empty() && (isOne('h') || isOne('m') || isOne('s')))
                parts.hasElapsed = true;
            i = end;
        } else {
            parts.Add(c);
        }
    }
    return parts;
}

struct Day {
    int year, month, day;
};

// Of days since 1970-01-01, the reverse of counting them from March on: years of 400 have 146,097 days.
Day FindCalendarDay(long days) {
    auto const shifted = days + 719'468;
    auto const era = shifted / 146'097;
    auto const dayOfEra = shifted % 146'097;
    auto const yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    auto const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    auto const fromMarch = (5 * dayOfYear + 2) / 153;
    auto const month = static_cast<int>(fromMarch < 10 ? fromMarch + 3 : fromMarch - 9);
    return {static_cast<int>(era * 400 + yearOfEra) + (month <= 2 ? 1 : 0), month,
            static_cast<int>(dayOfYear - (153 * fromMarch + 2) / 5 + 1)};
}

template <class... Values>
std::string Print(char const* format, Values... values) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

std::string WriteTime(std::int64_t milliseconds) {
    auto const seconds = milliseconds / 1000;
    auto text = Print("%02lld:%02d:%02d", static_cast<long long>(seconds / 3600), static_cast<int>(seconds / 60 % 60),
                      static_cast<int>(seconds % 60));
    if (milliseconds % 1000 != 0)
        text += Print(".%03d", static_cast<int>(milliseconds % 1000));
    return text;
}

} // namespace

CellKind FindCellKind(std::string_view formatCode) {
    auto const parts = FindParts(formatCode);
    if (parts.hasElapsed)
        return CellKind::ElapsedTime;
    if (parts.hasDay)
        return parts.hasTime ? CellKind::DateAndTime : CellKind::Date;
    if (parts.hasTime)
        return CellKind::Time;
    return parts.hasMonthOrMinute ? CellKind::Date : CellKind::Number;
}

CellKind FindCellKind(unsigned builtInFormat) {
    if (builtInFormat == 22)
        return CellKind::DateAndTime;
    if (builtInFormat == 46)
        return CellKind::ElapsedTime;
    if ((builtInFormat >= 18 && builtInFormat <= 21) || (builtInFormat >= 32 && builtInFormat <= 35) ||
        builtInFormat == 45 || builtInFormat == 47 || builtInFormat == 55 || builtInFormat == 56)
        return CellKind::Time;
    if ((builtInFormat >= 14 && builtInFormat <= 17) || (builtInFormat >= 27 && builtInFormat <= 36) ||
        (builtInFormat >= 50 && builtInFormat <= 58))
        return CellKind::Date;
    return CellKind::Number;
}

std::string WriteNumber(double value) {
    std::array<char, 64> text;
    auto const size = std::abs(value);
    bool const isPlain = value == 0 || (size >= 1e-5 && size < 1e15);
    auto const result = std::to_chars(text.data(), text.data() + text.size(), value == 0 ? 0.0 : value,
                                      isPlain ? std::chars_format::fixed : std::chars_format::scientific);
    return {text.data(), result.ptr};
}

std::string WriteDate(double value, CellKind kind, bool isFrom1904) {
    bool const hasDate = kind == CellKind::Date || kind == CellKind::DateAndTime;
    auto const serial = value + (isFrom1904 && hasDate ? c_from1904To1900 : 0);
    if (!(serial >= (hasDate ? 1 : 0)) || serial >= c_daysTo9999)
        return WriteNumber(value);
    auto const milliseconds = static_cast<std::int64_t>(std::llround(serial * c_millisecondsPerDay));
    auto const perDay = static_cast<std::int64_t>(c_millisecondsPerDay);
    if (kind == CellKind::ElapsedTime)
        return WriteTime(milliseconds);
    if (kind == CellKind::Time)
        return WriteTime(milliseconds % perDay);
    // Date formats show the day that has begun.
    auto const number = kind == CellKind::Date ? static_cast<std::int64_t>(serial) : milliseconds / perDay;
    auto const day = number < 60 ? FindCalendarDay(static_cast<long>(number - 25'568))
                                 : FindCalendarDay(static_cast<long>(number - 25'569));
    auto const date = number == 60 ? std::string("1900-02-29") : Print("%04d-%02d-%02d", day.year, day.month, day.day);
    return kind == CellKind::Date ? date : date + "T" + WriteTime(milliseconds % perDay);
}

} // namespace Records
