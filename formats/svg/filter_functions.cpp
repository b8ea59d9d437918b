// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/filter_functions.h"

#include "formats/svg/drawing.h"
#include "formats/svg/import_paint.h"
#include "formats/svg/keyword.h"

#include <algorithm>
#include <cmath>

namespace Formats::Svg {

namespace {

using Renderer::FilterPrimitive;
using Renderer::FilterPrimitiveKind;
using Matrix20 = std::vector<double>;

enum class Function { Blur, Brightness, Contrast, DropShadow, Grayscale, HueRotate, Invert, Opacity, Saturate, Sepia };
constexpr Keyword<Function> c_functions[] = {{"blur", Function::Blur},           {"brightness", Function::Brightness},
                                             {"contrast", Function::Contrast},   {"drop-shadow", Function::DropShadow},
                                             {"grayscale", Function::Grayscale}, {"hue-rotate", Function::HueRotate},
                                             {"invert", Function::Invert},       {"opacity", Function::Opacity},
                                             {"saturate", Function::Saturate},   {"sepia", Function::Sepia}};

Matrix20 MakeMatrix(std::array<double, 9> const& m, double offset = 0, double alpha = 1) {
    return {m[0], m[1], m[2], 0, offset, m[3], m[4], m[5], 0, offset, m[6], m[7], m[8], 0, offset, 0, 0, 0, alpha, 0};
}

Matrix20 MakeScale(double factor, double offset) {
    return MakeMatrix({factor, 0, 0, 0, factor, 0, 0, 0, factor}, offset);
}

// A number or a percentage, not below 0; 1 where nothing is given.
std::optional<double> ParseAmount(std::string_view text) {
    text = Trimmed(text);
    if (text.empty())
        return 1;
    bool const isPercent = text.ends_with('%');
    auto const number = ParseNumber(isPercent ? text.substr(0, text.size() - 1) : text);
    if (!number || *number < 0)
        return std::nullopt;
    return isPercent ? *number / 100 : *number;
}

// The words of a text; what stands in parentheses is one.
std::vector<std::string_view> SplitWords(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::size_t i = 0; i < text.size();) {
        if (IsSpace(text[i])) {
            ++i;
            continue;
        }
        std::size_t const begin = i;
        for (int depth = 0; i < text.size() && (depth > 0 || !IsSpace(text[i])); ++i)
            depth += text[i] == '(' ? 1 : text[i] == ')' ? -1 : 0;
        words.push_back(text.substr(begin, i - begin));
    }
    return words;
}

std::optional<FilterPrimitive> ParseShadow(std::string_view arguments, Element const& user, FilterPrimitive shadow) {
    shadow.kind = FilterPrimitiveKind::DropShadow;
    std::vector<double> lengths;
    Rgba colour = user.GetStyle().colour;
    int colours = 0;
    for (std::string_view const word : SplitWords(arguments)) {
        if (auto const length = ParseLength(word, user.GetFontSizes()); length && !length->percent) {
            lengths.push_back(length->value);
        } else if (auto const parsed = ParseColour(word)) {
            colour = *parsed;
            ++colours;
        } else if (EqualsIgnoringCase(word, "currentcolor")) {
            ++colours;
        } else {
            return std::nullopt;
        }
    }
    if (lengths.size() < 2 || lengths.size() > 3 || colours > 1 || (lengths.size() == 3 && lengths[2] < 0))
        return std::nullopt;
    shadow.offsetX = lengths[0];
    shadow.offsetY = lengths[1];
    shadow.deviationX = shadow.deviationY = lengths.size() == 3 ? lengths[2] : 0;
    shadow.colour = ToColour(colour, user.GetDrawing().GetOptions().profiles);
    return shadow;
}

} // namespace

Matrix20 MakeSaturation(double s) {
    return MakeMatrix({0.213 + 0.787 * s, 0.715 - 0.715 * s, 0.072 - 0.072 * s, 0.213 - 0.213 * s, 0.715 + 0.285 * s,
                       0.072 - 0.072 * s, 0.213 - 0.213 * s, 0.715 - 0.715 * s, 0.072 + 0.928 * s});
}

Matrix20 MakeHueRotation(double radians) {
    double const c = std::cos(radians), s = std::sin(radians);
    return MakeMatrix({0.213 + c * 0.787 - s * 0.213, 0.715 - c * 0.715 - s * 0.715, 0.072 - c * 0.072 + s * 0.928,
                       0.213 - c * 0.213 + s * 0.143, 0.715 + c * 0.285 + s * 0.140, 0.072 - c * 0.072 - s * 0.283,
                       0.213 - c * 0.213 - s * 0.787, 0.715 - c * 0.715 + s * 0.715, 0.072 + c * 0.928 + s * 0.072});
}

std::optional<FilterPrimitive> ParseFilterFunction(std::string_view name, std::string_view arguments,
                                                   Element const& user) {
    Function function{};
    if (!SetKeyword(c_functions, name, function))
        return std::nullopt;
    FilterPrimitive p;
    p.kind = FilterPrimitiveKind::ColourMatrix;
    // Functions mix colours as they are encoded.
    p.isLinear = false;
    if (function == Function::DropShadow)
        return ParseShadow(arguments, user, p);
    if (function == Function::Blur) {
        auto const length = Trimmed(arguments).empty() ? Length{} : ParseLength(arguments, user.GetFontSizes());
        if (!length || length->percent || length->value < 0)
            return std::nullopt;
        p.kind = FilterPrimitiveKind::GaussianBlur;
        p.deviationX = p.deviationY = length->value;
        return p;
    }
    if (function == Function::HueRotate) {
        Scanner scanner(Trimmed(arguments));
        auto const angle = scanner.IsAtEnd() ? std::optional(0.0) : TakeAngleRadians(scanner);
        if (!angle || !scanner.IsAtEnd())
            return std::nullopt;
        p.numbers = MakeHueRotation(*angle);
        return p;
    }
    auto const given = ParseAmount(arguments);
    if (!given)
        return std::nullopt;
    double const amount = *given, limited = std::min(amount, 1.0), rest = 1 - limited;
    switch (function) {
    case Function::Brightness:
        p.numbers = MakeScale(amount, 0);
        break;
    case Function::Contrast:
        p.numbers = MakeScale(amount, 0.5 - 0.5 * amount);
        break;
    case Function::Invert:
        p.numbers = MakeScale(1 - 2 * limited, limited);
        break;
    case Function::Opacity:
        p.numbers = MakeMatrix({1, 0, 0, 0, 1, 0, 0, 0, 1}, 0, limited);
        break;
    case Function::Saturate:
        p.numbers = MakeSaturation(amount);
        break;
    case Function::Grayscale:
        p.numbers = MakeMatrix({0.2126 + 0.7874 * rest, 0.7152 - 0.7152 * rest, 0.0722 - 0.0722 * rest,
                                0.2126 - 0.2126 * rest, 0.7152 + 0.2848 * rest, 0.0722 - 0.0722 * rest,
                                0.2126 - 0.2126 * rest, 0.7152 - 0.7152 * rest, 0.0722 + 0.9278 * rest});
        break;
    default:
        p.numbers = MakeMatrix({0.393 + 0.607 * rest, 0.769 - 0.769 * rest, 0.189 - 0.189 * rest, 0.349 - 0.349 * rest,
                                0.686 + 0.314 * rest, 0.168 - 0.168 * rest, 0.272 - 0.272 * rest, 0.534 - 0.534 * rest,
                                0.131 + 0.869 * rest});
        break;
    }
    return p;
}

} // namespace Formats::Svg
