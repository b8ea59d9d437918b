// SPDX-License-Identifier: Apache-2.0
#include "platform/story/numberer.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace Story {

namespace {

std::string ToLetters(std::int64_t number, char first) {
    // As many letters as the alphabet was gone through, which is bounded for absurd numbers.
    constexpr std::int64_t c_letters = 26, c_mostLetters = 32;
    if (number < 1 || number > c_letters * c_mostLetters)
        return std::to_string(number);
    return std::string(static_cast<std::size_t>((number - 1) / c_letters + 1),
                       static_cast<char>(first + (number - 1) % c_letters));
}

std::string ToRoman(std::int64_t number, bool isUpper) {
    struct Numeral {
        int value;
        char const* upper;
        char const* lower;
    };
    static constexpr Numeral c_numerals[] = {{1000, "M", "m"}, {900, "CM", "cm"}, {500, "D", "d"}, {400, "CD", "cd"},
                                             {100, "C", "c"},  {90, "XC", "xc"},  {50, "L", "l"},  {40, "XL", "xl"},
                                             {10, "X", "x"},   {9, "IX", "ix"},   {5, "V", "v"},   {4, "IV", "iv"},
                                             {1, "I", "i"}};
    if (number < 1 || number > 3999)
        return std::to_string(number);
    std::string text;
    for (auto const& numeral : c_numerals) {
        for (; number >= numeral.value; number -= numeral.value)
            text += isUpper ? numeral.upper : numeral.lower;
    }
    return text;
}

std::string ToText(std::int64_t number, NumberStyle style) {
    switch (style) {
    case NumberStyle::LowerLetter:
        return ToLetters(number, 'a');
    case NumberStyle::UpperLetter:
        return ToLetters(number, 'A');
    case NumberStyle::LowerRoman:
        return ToRoman(number, false);
    case NumberStyle::UpperRoman:
        return ToRoman(number, true);
    default:
        return std::to_string(number);
    }
}

} // namespace

// NumberingAtt

NumberingAtt::NumberingAtt(Values values) : m_values(std::move(values)) {
    m_values.level = std::min(m_values.level, c_levelCount - 1);
    m_values.start = std::clamp(m_values.start, 0, c_maximumStart);
    if (m_values.style > NumberStyle::Bullet)
        m_values.style = NumberStyle::Decimal;
}

Kernel::Counted<NumberingAtt const> NumberingAtt::Of(ParagraphAtts const& atts) {
    auto const* const numbering =
        Kernel::CastPointer<NumberingAtt const>(atts.Get(ParagraphAtt::Object::Numbering).get());
    bool const hasNone = numbering == nullptr || numbering->GetValues().style == NumberStyle::None;
    return Kernel::Counted<NumberingAtt const>(hasNone ? nullptr : numbering);
}

void NumberingAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "List", m_values.list);
    Kernel::SaveValue(out, "Levl", m_values.level);
    Kernel::SaveValue(out, "Styl", static_cast<std::uint32_t>(m_values.style));
    Kernel::SaveValue(out, "Form", m_values.format);
    Kernel::SaveValue(out, "Strt", m_values.start);
}
bool NumberingAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Values values;
    auto style = static_cast<std::uint32_t>(values.style);
    Kernel::LoadValue(in, "List", values.list);
    Kernel::LoadValue(in, "Levl", values.level);
    Kernel::LoadValue(in, "Styl", style);
    Kernel::LoadValue(in, "Form", values.format);
    Kernel::LoadValue(in, "Strt", values.start);
    values.style = static_cast<NumberStyle>(style);
    m_values = NumberingAtt(std::move(values)).m_values;
    return true;
}

// Numberer

Kernel::String Numberer::Next(ParagraphAtts const& resolved) {
    auto const numbering = NumberingAtt::Of(resolved);
    if (!numbering)
        return {};
    auto const& values = numbering->GetValues();
    if (values.style == NumberStyle::Bullet)
        return values.format.empty() ? Kernel::String("\u2022") : values.format;
    auto& levels = m_lists[values.list];
    auto& own = levels[values.level];
    own.number = own.hasBegun ? own.number + 1 : values.start;
    own.hasBegun = true;
    own.style = values.style;
    for (auto level = values.level + 1; level != NumberingAtt::c_levelCount; ++level)
        levels[level].hasBegun = false;
    if (values.format.empty())
        return {ToText(own.number, own.style) + "."};
    std::string text;
    auto const format = values.format.view();
    for (std::size_t i = 0; i != format.size(); ++i) {
        bool const isPlace = format[i] == '{' && i + 2 < format.size() && format[i + 2] == '}' &&
                             format[i + 1] >= '1' &&
                             format[i + 1] < static_cast<char>('1' + NumberingAtt::c_levelCount);
        if (!isPlace) {
            text += format[i];
            continue;
        }
        // A level that has not begun counts as if it had.
        auto const& level = levels[static_cast<std::size_t>(format[i + 1] - '1')];
        text += ToText(level.hasBegun ? level.number : 1, level.style);
        i += 2;
    }
    return {text};
}

} // namespace Story
