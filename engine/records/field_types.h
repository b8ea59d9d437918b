// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/records/table.h"

namespace Records {

// The ways in which a field can be read as something other than text, as bits. A column is read in a way that all its
// fields have.
using Readings = std::uint16_t;
inline constexpr Readings c_numberWithPoint = 1 << 0;
inline constexpr Readings c_numberWithComma = 1 << 1;
// ISO 8601, such as 2024-01-31, 2024-01-31T13:45:10.5+02:00 or 13:45, and 2024/01/31.
inline constexpr Readings c_isoDate = 1 << 2;
// 31.1.2024
inline constexpr Readings c_dottedDate = 1 << 3;
// 31/1/2024 or 31-1-2024, and 1/31/2024 or 1-31-2024.
inline constexpr Readings c_dayFirst = 1 << 4;
inline constexpr Readings c_monthFirst = 1 << 5;
// 31 Jan 2024, Jan 31, 2024, in English.
inline constexpr Readings c_namedMonth = 1 << 6;
inline constexpr Readings c_imagePath = 1 << 7;
inline constexpr Readings c_anyNumber = c_numberWithPoint | c_numberWithComma;
inline constexpr Readings c_anyDate = c_isoDate | c_dottedDate | c_dayFirst | c_monthFirst | c_namedMonth;
inline constexpr Readings c_allReadings = c_anyNumber | c_anyDate | c_imagePath;

// Those of `candidates` that the field has. An empty field has all of them.
Readings FindReadings(std::string_view field, Readings candidates);

// The value of a field in one reading: a number, or milliseconds since 1970 in UTC, to which times without a zone
// belong; NaN when it has none. Numbers have up to 64 characters: an optional sign, digits without leading zeros or in
// groups of three, divided by apostrophes, no-break spaces or the mark that is not the decimal one, and an exponent.
double ReadField(std::string_view field, Readings reading);

// The reading of a column that has these. The decimal mark says which numbers count. 0: text. Dates whose day and month
// cannot be told apart in any field of the column are text.
Readings ChooseReading(Readings readings, char decimalMark);
ColumnType GetType(Readings reading);

} // namespace Records
