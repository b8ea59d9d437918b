// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Records {

// The kind of value that a number in a spreadsheet's cell stands for, by its number format (ECMA-376 part 1, 18.8.30
// and 18.8.31).
enum class CellKind : std::uint8_t { Number, Date, DateAndTime, Time, ElapsedTime };
CellKind FindCellKind(std::string_view formatCode);
// Of the formats that have a number alone.
CellKind FindCellKind(unsigned builtInFormat);

// The shortest number that reads back as this one: without an exponent from 0.00001 up to a thousand million million.
std::string WriteNumber(double value);
// ISO 8601: 2024-01-31, 2024-01-31T13:45:10, 13:45:10, or hours, minutes and seconds of a time that elapsed; to the
// millisecond where there are some. `value`: in days; dates from 1 January 1900 as 1 on, with a 29 February in 1900
// that there was not and that spreadsheets have, or from 1 January 1904 as 0 on. A number that is no date of the years
// to 9999 stays a number.
std::string WriteDate(double value, CellKind kind, bool isFrom1904);

} // namespace Records
