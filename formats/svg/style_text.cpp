// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/keyword.h"
#include "formats/svg/style.h"

#include <algorithm>

namespace Formats::Svg {

namespace {

// CSS Fonts 3, section 3.5: the sizes of the absolute keywords where medium is 16 pixels.
constexpr Keyword<double> c_fontSizes[] = {{"xx-small", 9}, {"x-small", 10}, {"small", 13},   {"medium", 16},
                                           {"large", 18},   {"x-large", 24}, {"xx-large", 32}};
constexpr Keyword<double> c_fontStretches[] = {
    {"ultra-condensed", 50},  {"extra-condensed", 62.5}, {"condensed", 75},
    {"semi-condensed", 87.5}, {"normal", 100},           {"expanded", 125},
    {"semi-expanded", 112.5}, {"extra-expanded", 150},   {"ultra-expanded", 200}};
constexpr Keyword<bool> c_fontStyles[] = {{"normal", false}, {"italic", true}, {"oblique", true}};
constexpr Keyword<bool> c_kernings[] = {{"auto", true}, {"normal", true}, {"none", false}};
constexpr Keyword<TextAnchor> c_textAnchors[] = {
    {"start", TextAnchor::Start}, {"middle", TextAnchor::Middle}, {"end", TextAnchor::End}};
constexpr Keyword<DominantBaseline> c_baselines[] = {
    {"auto", DominantBaseline::Alphabetic},     {"alphabetic", DominantBaseline::Alphabetic},
    {"baseline", DominantBaseline::Alphabetic}, {"use-script", DominantBaseline::Alphabetic},
    {"middle", DominantBaseline::Middle},       {"central", DominantBaseline::Central},
    {"hanging", DominantBaseline::Hanging},     {"mathematical", DominantBaseline::Mathematical},
    {"text-top", DominantBaseline::Top},        {"text-before-edge", DominantBaseline::Top},
    {"before-edge", DominantBaseline::Top},     {"text-bottom", DominantBaseline::Bottom},
    {"after-edge", DominantBaseline::Bottom},   {"text-after-edge", DominantBaseline::Bottom},
    {"ideographic", DominantBaseline::Bottom}};
constexpr Keyword<bool> c_directions[] = {{"ltr", false}, {"rtl", true}};
constexpr Keyword<UnicodeBidi> c_bidis[] = {{"normal", UnicodeBidi::Normal},
                                            {"embed", UnicodeBidi::Embed},
                                            {"bidi-override", UnicodeBidi::Override},
                                            {"isolate", UnicodeBidi::Isolate},
                                            {"isolate-override", UnicodeBidi::IsolateOverride},
                                            {"plaintext", UnicodeBidi::PlainText}};
constexpr Keyword<bool> c_writingModes[] = {{"lr", false},         {"lr-tb", false},         {"rl", false},
                                            {"rl-tb", false},      {"horizontal-tb", false}, {"tb", true},
                                            {"tb-rl", true},       {"vertical-rl", true},    {"vertical-lr", true},
                                            {"sideways-rl", true}, {"sideways-lr", true}};
constexpr Keyword<WhiteSpace> c_whiteSpaces[] = {
    {"normal", WhiteSpace::Collapse},   {"nowrap", WhiteSpace::Collapse},   {"pre", WhiteSpace::Preserve},
    {"pre-wrap", WhiteSpace::Preserve}, {"pre-line", WhiteSpace::Collapse}, {"break-spaces", WhiteSpace::Preserve}};

// Splits at white space, quotes and brackets kept whole.
std::string_view TakeWord(std::string_view& rest) {
    rest = Trimmed(rest);
    std::size_t end = 0;
    for (char quote = 0; end != rest.size() && (quote != 0 || !IsSpace(rest[end])); ++end) {
        char const c = rest[end];
        if (quote != 0)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
    }
    auto const word = rest.substr(0, end);
    rest = Trimmed(rest.substr(end));
    return word;
}

} // namespace

void StyleBuilder::CopyTextFrom(Name property, InheritedStyle const& source) {
    auto copy = [&](auto... members) { ((Edit().*members = source.*members), ...); };
    using Style = InheritedStyle;
    switch (property) {
    case Name::Font:
        return copy(&Style::fontSize, &Style::fontFamily, &Style::fontWeight, &Style::isItalic, &Style::fontStretch,
                    &Style::hasSmallCaps, &Style::hasKerning, &Style::fontFeatures);
    case Name::FontSize:
        return copy(&Style::fontSize);
    case Name::FontFamily:
        return copy(&Style::fontFamily);
    case Name::FontWeight:
        return copy(&Style::fontWeight);
    case Name::FontStyle:
        return copy(&Style::isItalic);
    case Name::FontVariant:
    case Name::FontVariantCaps:
        return copy(&Style::hasSmallCaps);
    case Name::FontStretch:
        return copy(&Style::fontStretch);
    case Name::FontKerning:
        return copy(&Style::hasKerning);
    case Name::FontFeatureSettings:
        return copy(&Style::fontFeatures);
    case Name::TextAnchor:
        return copy(&Style::textAnchor);
    case Name::LetterSpacing:
        return copy(&Style::letterSpacing);
    case Name::WordSpacing:
        return copy(&Style::wordSpacing);
    case Name::DominantBaseline:
    case Name::AlignmentBaseline:
        return copy(&Style::dominantBaseline);
    case Name::Direction:
        return copy(&Style::isRightToLeft);
    case Name::WritingMode:
        return copy(&Style::isVertical);
    case Name::WhiteSpace:
        return copy(&Style::whiteSpace);
    default:
        // Decorations and shifts add up: neither value takes any away.
        return;
    }
}

bool StyleBuilder::ApplyText(Name property, std::string_view value) {
    switch (property) {
    case Name::Font:
        return ApplyFont(value);
    case Name::FontSize:
        return ApplyFontSize(value);
    case Name::FontFamily:
        Edit().fontFamily = value;
        return true;
    case Name::FontWeight:
        return ApplyFontWeight(value);
    case Name::FontStyle:
        // An angle may stand behind `oblique`.
        return SetKeyword(c_fontStyles, value.substr(0, value.find(' ')), Edit().isItalic);
    case Name::FontVariant:
    case Name::FontVariantCaps: {
        bool hasSmallCaps = false;
        for (auto rest = value; !rest.empty();)
            hasSmallCaps |= EqualsIgnoringCase(TakeWord(rest), "small-caps");
        Edit().hasSmallCaps = hasSmallCaps;
        return true;
    }
    case Name::FontStretch: {
        auto const percent = ParseLength(value, GetFontSizes());
        if (percent && percent->percent && percent->value > 0) {
            Edit().fontStretch = percent->value;
            return true;
        }
        return SetKeyword(c_fontStretches, value, Edit().fontStretch);
    }
    case Name::FontKerning:
        return SetKeyword(c_kernings, value, Edit().hasKerning);
    case Name::FontFeatureSettings:
        Edit().fontFeatures = EqualsIgnoringCase(value, "normal") ? std::string_view() : value;
        return true;
    case Name::TextAnchor:
        return SetKeyword(c_textAnchors, value, Edit().textAnchor);
    case Name::LetterSpacing:
        return ApplySpacing(value, &InheritedStyle::letterSpacing);
    case Name::WordSpacing:
        return ApplySpacing(value, &InheritedStyle::wordSpacing);
    case Name::TextDecoration:
    case Name::TextDecorationLine:
        return ApplyDecoration(value);
    case Name::BaselineShift:
        return ApplyBaselineShift(value);
    case Name::DominantBaseline:
    case Name::AlignmentBaseline:
        return SetKeyword(c_baselines, value, Edit().dominantBaseline) || property == Name::DominantBaseline;
    case Name::Direction:
        return SetKeyword(c_directions, value, Edit().isRightToLeft);
    case Name::UnicodeBidi:
        return SetKeyword(c_bidis, value, m_own.unicodeBidi);
    case Name::WritingMode:
        return SetKeyword(c_writingModes, value, Edit().isVertical);
    case Name::WhiteSpace:
        return SetKeyword(c_whiteSpaces, value, Edit().whiteSpace);
    default:
        return true;
    }
}

bool StyleBuilder::ApplyFontSize(std::string_view value) {
    double size = 0;
    if (SetKeyword(c_fontSizes, value, size)) {
        Edit().fontSize = size;
        return true;
    }
    // Relative sizes refer to the parent's, whatever an overruled declaration said.
    double const parent = m_parent->fontSize;
    if (EqualsIgnoringCase(value, "larger") || EqualsIgnoringCase(value, "smaller")) {
        Edit().fontSize = EqualsIgnoringCase(value, "larger") ? parent * 1.2 : parent / 1.2;
        return true;
    }
    auto const length = ParseLength(value, {parent, m_rootFontSize});
    if (!length || length->value < 0)
        return false;
    Edit().fontSize = std::min(length->Resolve(parent), 1e30);
    return true;
}

// CSS Fonts 4, 2.2: relative weights refer to the parent's.
bool StyleBuilder::ApplyFontWeight(std::string_view value) {
    double const parent = m_parent->fontWeight;
    if (EqualsIgnoringCase(value, "normal")) {
        Edit().fontWeight = 400;
    } else if (EqualsIgnoringCase(value, "bold")) {
        Edit().fontWeight = 700;
    } else if (EqualsIgnoringCase(value, "bolder")) {
        Edit().fontWeight = parent < 350 ? 400 : parent < 550 ? 700 : std::max(parent, 900.0);
    } else if (EqualsIgnoringCase(value, "lighter")) {
        Edit().fontWeight = parent < 550 ? std::min(parent, 100.0) : parent < 750 ? 400 : 700;
    } else {
        auto const number = ParseNumber(value);
        if (!number || !(*number >= 1 && *number <= 1000))
            return false;
        Edit().fontWeight = *number;
    }
    return true;
}

// CSS Fonts 3, 3.7: style, variant, weight and width in any order, then the size with the line's height, then families.
bool StyleBuilder::ApplyFont(std::string_view value) {
    static InheritedStyle const s_initial;
    auto const before = Edit();
    auto const refuse = [&] {
        Edit() = before;
        return false;
    };
    CopyTextFrom(Name::Font, s_initial);
    for (auto rest = value; !rest.empty();) {
        auto const word = TakeWord(rest);
        bool const isPart = EqualsIgnoringCase(word, "normal") || SetKeyword(c_fontStyles, word, Edit().isItalic) ||
                            ApplyFontWeight(word) || SetKeyword(c_fontStretches, word, Edit().fontStretch);
        if (isPart)
            continue;
        if (EqualsIgnoringCase(word, "small-caps")) {
            Edit().hasSmallCaps = true;
            continue;
        }
        // The height of lines means nothing here; white space may stand around its stroke.
        bool const isSize = ApplyFontSize(word.substr(0, word.find('/')));
        if (word.ends_with('/') || rest.starts_with('/')) {
            if (rest.starts_with('/'))
                rest.remove_prefix(1);
            TakeWord(rest);
        }
        if (!isSize || rest.empty())
            return refuse();
        Edit().fontFamily = rest;
        return true;
    }
    return refuse();
}

bool StyleBuilder::ApplySpacing(std::string_view value, double InheritedStyle::*target) {
    if (EqualsIgnoringCase(value, "normal")) {
        Edit().*target = 0;
        return true;
    }
    auto const length = ParseLength(value, GetFontSizes());
    if (length)
        Edit().*target = length->Resolve(Current().fontSize);
    return length.has_value();
}

// Decorations reach all descendants: what an ancestor has drawn no value takes away (CSS Text Decoration 3, 2).
bool StyleBuilder::ApplyDecoration(std::string_view value) {
    InheritedStyle& style = Edit();
    style.isUnderlined = m_parent->isUnderlined;
    style.isOverlined = m_parent->isOverlined;
    style.isStruckThrough = m_parent->isStruckThrough;
    for (auto rest = value; !rest.empty();) {
        auto const word = TakeWord(rest);
        style.isUnderlined |= EqualsIgnoringCase(word, "underline");
        style.isOverlined |= EqualsIgnoringCase(word, "overline");
        style.isStruckThrough |= EqualsIgnoringCase(word, "line-through");
    }
    return true;
}

bool StyleBuilder::ApplyBaselineShift(std::string_view value) {
    InheritedStyle& style = Edit();
    style.baselineShift = m_parent->baselineShift;
    style.baselineShiftOfHeight = m_parent->baselineShiftOfHeight;
    if (EqualsIgnoringCase(value, "baseline"))
        return true;
    bool const isSuper = EqualsIgnoringCase(value, "super");
    if (isSuper || EqualsIgnoringCase(value, "sub")) {
        style.baselineShiftOfHeight += (isSuper ? 0.5 : -0.5) * style.fontSize;
        return true;
    }
    auto const length = ParseLength(value, GetFontSizes());
    if (length)
        style.baselineShift += length->Resolve(style.fontSize);
    return length.has_value();
}

} // namespace Formats::Svg
