// SPDX-License-Identifier: Apache-2.0
#include "engine/records/field_types.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace Records {

namespace {

constexpr std::size_t c_longestNumber = 64, c_longestDate = 40;
constexpr double c_none = std::numeric_limits<double>::quiet_NaN();

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The length of a divider of thousands at the front, 0 for none. U+00A0 and U+202F are no-break spaces.
std::size_t FindThousandsMark(std::string_view text, char other) {
    if (text.empty())
        return 0;
    if (text[0] == other || text[0] == '\'')
        return 1;
    if (text.starts_with("\u00a0"))
        return 2;
    return text.starts_with("\u202f") ? 3 : 0;
}

std::size_t CountDigits(std::string_view text) {
    std::size_t count = 0;
    while (count != text.size() && IsDigit(text[count]))
        ++count;
    return count;
}

// A number with a point and without anything between thousands.
class PlainNumber {
public:
    // False: the text is no number.
    bool Read(std::string_view text, char decimalMark) {
        if (text.size() > c_longestNumber || text.empty())
            return false;
        if (text[0] == '-' || text[0] == '+') {
            if (text[0] == '-')
                Add('-');
            text.remove_prefix(1);
        }
        auto const whole = ReadWhole(text, decimalMark == ',' ? '.' : ',');
        if (whole == c_failed)
            return false;
        std::size_t decimals = 0;
        if (!text.empty() && text[0] == decimalMark) {
            text.remove_prefix(1);
            decimals = CountDigits(text);
            Add('.');
            Add(text, decimals);
        }
        if (whole + decimals == 0)
            return false;
        // A longer integer is an id: as numbers, some of them would be equal.
        if (text.empty())
            return decimals != 0 || whole <= c_exactDigits;
        return ReadExponent(text);
    }
    double GetValue() const {
        double value = 0;
        auto const result = std::from_chars(m_text.data(), m_text.data() + m_size, value);
        if (result.ec == std::errc::result_out_of_range) {
            // Too large, or too near to zero: only the exponent tells.
            auto const exponent = std::string_view(m_text.data(), m_size).find('e');
            bool const isTiny = exponent != std::string_view::npos && m_text[exponent + 1] == '-';
            return isTiny ? 0 : c_none;
        }
        return value;
    }

private:
    static constexpr std::size_t c_failed = ~std::size_t(0);
    // Those of every integer that a double holds.
    static constexpr std::size_t c_exactDigits = 15;
    void Add(char c) { m_text[m_size++] = c; }
    void Add(std::string_view& from, std::size_t count) {
        for (std::size_t i = 0; i != count; ++i)
            Add(from[i]);
        from.remove_prefix(count);
    }
    // The count of digits before the decimal mark.
    std::size_t ReadWhole(std::string_view& text, char thousandsMark) {
        auto count = CountDigits(text);
        // 007 is a code and no number.
        if (count > 1 && text[0] == '0')
            return c_failed;
        auto const first = count;
        Add(text, count);
        auto const mark = first == 0 || first > 3 ? 0 : FindThousandsMark(text, thousandsMark);
        if (mark == 0)
            return count;
        auto const divider = text.substr(0, mark);
        while (text.starts_with(divider)) {
            text.remove_prefix(mark);
            if (CountDigits(text) != 3)
                return c_failed;
            Add(text, 3);
            count += 3;
        }
        return count;
    }
    bool ReadExponent(std::string_view text) {
        if (ToLower(text[0]) != 'e')
            return false;
        text.remove_prefix(1);
        Add('e');
        if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
            Add(text[0]);
            // std::from_chars takes no plus, neither here.
            if (text[0] == '+')
                --m_size;
            text.remove_prefix(1);
        }
        auto const count = CountDigits(text);
        Add(text, count);
        return count != 0 && text.empty();
    }

    std::array<char, c_longestNumber + 8> m_text;
    std::size_t m_size = 0;
};

// Days since 1970-01-01 in the proleptic Gregorian calendar; the years are counted from March, so that leap days come
// last. False for a day that there is not.
bool FindDay(int year, int month, int day, double& days) {
    static constexpr std::array<int, 12> c_days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || month < 1 || month > 12 || day < 1)
        return false;
    bool const isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    if (day > c_days[static_cast<std::size_t>(month - 1)] + (isLeap && month == 2 ? 1 : 0))
        return false;
    auto const years = month > 2 ? year : year - 1;
    auto const fromMarch = (month + 9) % 12;
    auto const dayOfYear = (153 * fromMarch + 2) / 5 + day - 1;
    days = 365.0 * years + years / 4 - years / 100 + years / 400 + dayOfYear - 719468;
    return true;
}

class DateReader {
public:
    explicit DateReader(std::string_view text) : m_text(text) {}

    double Read(Readings reading) {
        if (m_text.size() > c_longestDate)
            return c_none;
        double days = 0;
        if (reading == c_isoDate && m_text.size() > 2 && (m_text[2] == ':' || m_text[1] == ':')) {
            double const time = ReadTime();
            return m_text.empty() ? time : c_none;
        }
        if (!ReadDay(reading, days))
            return c_none;
        double time = 0;
        if (!m_text.empty()) {
            if (m_text[0] != ' ' && m_text[0] != 'T' && m_text[0] != 't')
                return c_none;
            m_text.remove_prefix(1);
            time = ReadTime();
        }
        return m_text.empty() ? days * 86'400'000 + time : c_none;
    }

private:
    bool TakeNumber(std::size_t least, std::size_t most, int& value) {
        auto const count = CountDigits(m_text);
        if (count < least || count > most)
            return false;
        std::from_chars(m_text.data(), m_text.data() + count, value);
        m_text.remove_prefix(count);
        return true;
    }
    bool Take(char c) {
        if (m_text.empty() || m_text[0] != c)
            return false;
        m_text.remove_prefix(1);
        return true;
    }
    // 1 to 12 by an English name or its first three letters, 0 for none.
    int TakeMonthName() {
        static constexpr std::array<std::string_view, 12> c_names{"january",   "february", "march",    "april",
                                                                  "may",       "june",     "july",     "august",
                                                                  "september", "october",  "november", "december"};
        std::size_t length = 0;
        while (length != m_text.size() && ToLower(m_text[length]) >= 'a' && ToLower(m_text[length]) <= 'z')
            ++length;
        if (length < 3)
            return 0;
        for (std::size_t month = 0; month != c_names.size(); ++month) {
            if (length != 3 && length != c_names[month].size())
                continue;
            bool isEqual = true;
            for (std::size_t i = 0; i != length; ++i)
                isEqual = isEqual && ToLower(m_text[i]) == c_names[month][i];
            if (isEqual) {
                m_text.remove_prefix(length);
                return static_cast<int>(month) + 1;
            }
        }
        return 0;
    }
    bool ReadDay(Readings reading, double& days) {
        int year = 0, month = 0, day = 0;
        if (reading == c_isoDate) {
            if (!TakeNumber(4, 4, year) || m_text.empty() || (m_text[0] != '-' && m_text[0] != '/'))
                return false;
            auto const divider = m_text[0];
            return Take(divider) && TakeNumber(1, 2, month) && Take(divider) && TakeNumber(1, 2, day) &&
                   FindDay(year, month, day, days);
        }
        if (reading == c_dottedDate)
            return TakeNumber(1, 2, day) && Take('.') && TakeNumber(1, 2, month) && Take('.') &&
                   TakeNumber(4, 4, year) && FindDay(year, month, day, days);
        if (reading == c_namedMonth)
            return ReadNamedDay(year, month, day) && FindDay(year, month, day, days);
        auto& first = reading == c_dayFirst ? day : month;
        auto& second = reading == c_dayFirst ? month : day;
        if (!TakeNumber(1, 2, first) || m_text.empty() || (m_text[0] != '/' && m_text[0] != '-'))
            return false;
        auto const divider = m_text[0];
        return Take(divider) && TakeNumber(1, 2, second) && Take(divider) && TakeNumber(4, 4, year) &&
               FindDay(year, month, day, days);
    }
    bool ReadNamedDay(int& year, int& month, int& day) {
        if (TakeNumber(1, 2, day)) {
            auto const divider = m_text.empty() ? '\0' : m_text[0];
            if (divider != ' ' && divider != '-')
                return false;
            Take(divider);
            month = TakeMonthName();
            if (month == 0)
                return false;
            return Take(divider) && TakeNumber(4, 4, year);
        }
        month = TakeMonthName();
        if (month == 0 || !Take(' ') || !TakeNumber(1, 2, day))
            return false;
        Take(',');
        return Take(' ') && TakeNumber(4, 4, year);
    }
    // Milliseconds; NaN when there is no time.
    double ReadTime() {
        int hour = 0, minute = 0, second = 0;
        double fraction = 0;
        if (!TakeNumber(1, 2, hour) || !Take(':') || !TakeNumber(2, 2, minute))
            return c_none;
        if (Take(':')) {
            if (!TakeNumber(2, 2, second))
                return c_none;
            if (Take('.') || Take(',')) {
                auto const count = CountDigits(m_text);
                if (count == 0)
                    return c_none;
                double unit = 1000;
                for (std::size_t i = 0; i != count; ++i)
                    fraction += (m_text[i] - '0') * (unit /= 10);
                m_text.remove_prefix(count);
            }
        }
        if (!ReadHalfOfDay(hour) || hour > 23 || minute > 59 || second > 59)
            return c_none;
        int zone = 0;
        if (!ReadZone(zone))
            return c_none;
        return ((hour * 60.0 + minute - zone) * 60 + second) * 1000 + fraction;
    }
    // AM or PM. False where the hour is none of such a half.
    bool ReadHalfOfDay(int& hour) {
        auto const text = Trim(m_text);
        if (text.size() != 2 || ToLower(text[1]) != 'm' || (ToLower(text[0]) != 'a' && ToLower(text[0]) != 'p'))
            return true;
        if (hour < 1 || hour > 12)
            return false;
        hour = hour % 12 + (ToLower(text[0]) == 'p' ? 12 : 0);
        m_text = {};
        return true;
    }
    // Minutes east of Greenwich.
    bool ReadZone(int& minutes) {
        if (m_text.empty() || Take('Z') || Take('z'))
            return true;
        bool const isEast = m_text[0] == '+';
        int hours = 0, rest = 0;
        if (!Take('+') && !Take('-'))
            return true;
        if (CountDigits(m_text) == 4) {
            TakeNumber(4, 4, hours);
            rest = hours % 100;
            hours /= 100;
        } else if (!TakeNumber(2, 2, hours) || (Take(':') && !TakeNumber(2, 2, rest))) {
            return false;
        }
        minutes = (isEast ? 1 : -1) * (hours * 60 + rest);
        return hours < 24 && rest < 60;
    }

    std::string_view m_text;
};

bool EndsLikeAPicture(std::string_view field) {
    static constexpr std::array<std::string_view, 9> c_endings{"png", "jpg", "jpeg", "tif", "tiff",
                                                               "gif", "bmp", "webp", "svg"};
    auto const dot = field.find_last_of('.');
    if (dot == std::string_view::npos || dot == 0 || field.size() - dot > 5)
        return false;
    for (auto const ending : c_endings) {
        if (field.size() - dot - 1 != ending.size())
            continue;
        bool isEqual = true;
        for (std::size_t i = 0; i != ending.size(); ++i)
            isEqual = isEqual && ToLower(field[dot + 1 + i]) == ending[i];
        if (isEqual)
            return true;
    }
    return false;
}

// Whether both marks give the same number: digits alone, up to fifteen of them.
bool IsPlainInteger(std::string_view field) {
    auto const digits = field.substr(field[0] == '-' ? 1 : 0);
    return !digits.empty() && digits.size() <= 15 && (digits[0] != '0' || digits.size() == 1) &&
           CountDigits(digits) == digits.size();
}

} // namespace

Readings FindReadings(std::string_view field, Readings candidates) {
    if (field.empty())
        return candidates;
    if ((candidates & c_anyNumber) != 0 && IsPlainInteger(field))
        return candidates & c_anyNumber;
    Readings found = 0;
    if ((candidates & c_imagePath) != 0 && EndsLikeAPicture(field))
        found |= c_imagePath;
    auto const text = Trim(field);
    if (text.empty())
        return found;
    bool const isNumeric = text[0] <= '9' && text[0] >= '+';
    if (isNumeric) {
        for (auto const reading : {c_numberWithPoint, c_numberWithComma}) {
            if ((candidates & reading) != 0 && PlainNumber().Read(text, reading == c_numberWithComma ? ',' : '.'))
                found |= reading;
        }
        for (auto const reading : {c_isoDate, c_dottedDate, c_dayFirst, c_monthFirst}) {
            if ((candidates & reading) != 0 && !std::isnan(DateReader(text).Read(reading)))
                found |= reading;
        }
    }
    if ((candidates & c_namedMonth) != 0 && !std::isnan(DateReader(text).Read(c_namedMonth)))
        found |= c_namedMonth;
    return found;
}

double ReadField(std::string_view field, Readings reading) {
    auto const text = Trim(field);
    if (text.empty())
        return c_none;
    if ((reading & c_anyNumber) != 0) {
        PlainNumber number;
        return number.Read(text, reading == c_numberWithComma ? ',' : '.') ? number.GetValue() : c_none;
    }
    return (reading & c_anyDate) != 0 ? DateReader(text).Read(reading) : c_none;
}

Readings ChooseReading(Readings readings, char decimalMark) {
    auto const number = decimalMark == ',' ? c_numberWithComma : c_numberWithPoint;
    if ((readings & number) != 0)
        return number;
    for (auto const reading : {c_isoDate, c_dottedDate, c_namedMonth}) {
        if ((readings & reading) != 0)
            return reading;
    }
    auto const ordered = static_cast<Readings>(readings & (c_dayFirst | c_monthFirst));
    if (ordered == c_dayFirst || ordered == c_monthFirst)
        return ordered;
    return readings & c_imagePath;
}

ColumnType GetType(Readings reading) {
    if ((reading & c_anyNumber) != 0)
        return ColumnType::Number;
    if ((reading & c_anyDate) != 0)
        return ColumnType::Date;
    return reading == c_imagePath ? ColumnType::ImagePath : ColumnType::Text;
}

} // namespace Records
