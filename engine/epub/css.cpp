// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/css.h"

#include "platform/kernel/cast.h"
#include "platform/renderer/colour_profiles.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/story/drop_cap.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace EPub {

namespace {

using Story::GlyphAtt;
using Story::ParagraphAtt;

void Declare(std::string& css, std::string_view property, std::string_view value) {
    css += property;
    css += ": ";
    css += value;
    css += "; ";
}

// A list of families. Other characters than a family's name needs are left out: none of them ends the declaration.
std::string FormatFamilies(std::string_view families) {
    std::string result;
    while (!families.empty()) {
        auto const comma = std::min(families.find(','), families.size());
        std::string name;
        for (char const c : families.substr(0, comma)) {
            bool const isSafe =
                static_cast<unsigned char>(c) >= 0x80 || std::isalnum(static_cast<unsigned char>(c)) != 0;
            if (isSafe || c == '-' || c == '_' || (c == ' ' && !name.empty()))
                name += c;
        }
        name.erase(name.find_last_not_of(' ') + 1);
        families.remove_prefix(std::min(comma + 1, families.size()));
        if (name.empty())
            continue;
        if (!result.empty())
            result += ", ";
        bool const isGeneric = name == "serif" || name == "sans-serif" || name == "monospace";
        result += isGeneric ? name : '"' + name + '"';
    }
    return result;
}

std::string FormatColour(Renderer::Colour const& colour, Raster::ICCProfileSet const& profiles) {
    auto const rgb = Renderer::ConvertColour(colour, profiles, Renderer::ColourFormat::RGB, Raster::ICCProfileSet());
    constexpr char c_digits[] = "0123456789abcdef";
    std::string result = "#";
    for (std::size_t i = 0; i != 3; ++i) {
        auto const value = static_cast<unsigned>(std::lround(rgb.GetComponents()[i] * 255));
        result += c_digits[value >> 4];
        result += c_digits[value & 15];
    }
    return result;
}

void AppendDecoration(std::string& css, Story::GlyphAtts const& atts) {
    std::string lines;
    for (auto const& [att, name] :
         {std::pair(GlyphAtt::Enum::Underline, "underline"), std::pair(GlyphAtt::Enum::Overline, "overline"),
          std::pair(GlyphAtt::Enum::Strikethrough, "line-through")}) {
        if (atts.Get(att) == 1)
            lines += (lines.empty() ? "" : " ") + std::string(name);
    }
    Declare(css, "text-decoration", lines.empty() ? "none" : lines);
}

std::string_view GetAlignmentName(int alignment) {
    switch (static_cast<Story::Alignment>(alignment)) {
    case Story::Alignment::Centre:
        return "center";
    case Story::Alignment::End:
        return "end";
    case Story::Alignment::Justify:
        return "justify";
    case Story::Alignment::Left:
        return "left";
    case Story::Alignment::Right:
        return "right";
    case Story::Alignment::Start:
        break;
    }
    return "start";
}

std::string FormatRem(double length, CssUnits const& units) {
    auto const number = FormatCssNumber(length / units.rem);
    return number == "0" ? number : number + "rem";
}

} // namespace

std::string FormatCssNumber(double value) {
    if (!std::isfinite(value))
        return "0";
    // A thousandth of a line is less than any reader shows.
    auto const rounded = std::round(std::clamp(value, -1e6, 1e6) * 1000) / 1000;
    char buffer[32];
    auto const end = std::to_chars(buffer, buffer + sizeof buffer, rounded, std::chars_format::fixed, 3).ptr;
    std::string text(buffer, end);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    return text == "-0" ? "0" : text;
}

void AppendGlyphDeclarations(std::string& css, Story::GlyphAtts const& own, Story::GlyphAtts const& resolved,
                             CssUnits const& units) {
    using Double = GlyphAtt::Double;
    using Enum = GlyphAtt::Enum;
    auto const scale = std::clamp(resolved.Get(Double::LengthScale), 0.0, 1e6);
    bool const isScaled = own.IsSet(Double::LengthScale);
    if (own.IsSet(GlyphAtt::String::FontFamily)) {
        auto const families = FormatFamilies(resolved.Get(GlyphAtt::String::FontFamily).view());
        if (!families.empty())
            Declare(css, "font-family", families);
    }
    if (isScaled || own.IsSet(Double::Size))
        Declare(css, "font-size", FormatRem(std::max(resolved.Get(Double::Size) * scale, 0.0), units));
    if (own.IsSet(Double::Weight))
        Declare(css, "font-weight", FormatCssNumber(std::clamp(std::round(resolved.Get(Double::Weight)), 1.0, 1000.0)));
    if (own.IsSet(Enum::Italic))
        Declare(css, "font-style", resolved.Get(Enum::Italic) == 1 ? "italic" : "normal");
    if (own.IsSet(Enum::SmallCaps))
        Declare(css, "font-variant", resolved.Get(Enum::SmallCaps) == 1 ? "small-caps" : "normal");
    if (own.IsSet(Double::Tracking))
        Declare(css, "letter-spacing", FormatCssNumber(resolved.Get(Double::Tracking)) + "em");
    if (own.IsSet(Double::BaselineShift) || (isScaled && resolved.IsSet(Double::BaselineShift))) {
        Declare(css, "vertical-align", FormatRem(resolved.Get(Double::BaselineShift) * scale, units));
        // Shifted letters do not push lines apart.
        Declare(css, "line-height", "0");
    }
    if (own.IsSet(Enum::Underline) || own.IsSet(Enum::Overline) || own.IsSet(Enum::Strikethrough))
        AppendDecoration(css, resolved);
    if (own.IsSet(Enum::Kerning))
        Declare(css, "font-kerning", resolved.Get(Enum::Kerning) == 1 ? "normal" : "none");
    if (own.IsSet(Enum::Ligatures))
        Declare(css, "font-variant-ligatures", resolved.Get(Enum::Ligatures) == 1 ? "normal" : "none");
    if (own.IsSet(Enum::NoBreak))
        Declare(css, "white-space", resolved.Get(Enum::NoBreak) == 1 ? "nowrap" : "normal");
    if (own.IsSet(GlyphAtt::Object::Fill)) {
        auto const fill = Kernel::Cast<Renderer::FillDescriptor const>(resolved.Get(GlyphAtt::Object::Fill));
        auto const* const solid =
            fill ? Kernel::CastPointer<Renderer::SolidFill const>(fill->GetFill().get()) : nullptr;
        if (solid != nullptr)
            Declare(css, "color", FormatColour(solid->GetColour(), units.profiles));
    }
}

void AppendParagraphDeclarations(std::string& css, Story::ParagraphAtts const& own,
                                 Story::ParagraphAtts const& resolved, CssUnits const& units) {
    using Double = ParagraphAtt::Double;
    using Enum = ParagraphAtt::Enum;
    auto const scale = std::clamp(resolved.Get(Double::LengthScale), 0.0, 1e6);
    auto const length = [&](Double att, std::string_view property, bool isNeverNegative) {
        if (!own.IsSet(att) && !(own.IsSet(Double::LengthScale) && resolved.IsSet(att)))
            return;
        auto const value = resolved.Get(att) * scale;
        Declare(css, property, FormatRem(isNeverNegative ? std::max(value, 0.0) : value, units));
    };
    length(Double::LeftIndent, "margin-inline-start", false);
    length(Double::RightIndent, "margin-inline-end", false);
    length(Double::FirstIndent, "text-indent", false);
    length(Double::SpaceBefore, units.isVertical ? "margin-block-start" : "margin-top", true);
    length(Double::SpaceAfter, units.isVertical ? "margin-block-end" : "margin-bottom", true);
    if (own.IsSet(Double::Leading) || own.IsSet(Enum::LeadingMode)) {
        auto const leading = resolved.Get(Double::Leading);
        if (resolved.Get(Enum::LeadingMode) == static_cast<int>(Story::LeadingMode::Automatic))
            Declare(css, "line-height", FormatCssNumber(leading > 0 ? leading : 1.2));
        else if (leading > 0)
            Declare(css, "line-height", FormatRem(leading * scale, units));
    }
    if (own.IsSet(Enum::Alignment))
        Declare(css, "text-align", GetAlignmentName(resolved.Get(Enum::Alignment)));
    if (own.IsSet(Enum::LastAlignment))
        Declare(css, "text-align-last", GetAlignmentName(resolved.Get(Enum::LastAlignment)));
    if (own.IsSet(Enum::Hyphenate))
        Declare(css, "hyphens", resolved.Get(Enum::Hyphenate) == 1 ? "auto" : "manual");
    if (own.IsSet(Enum::Orphans))
        Declare(css, "orphans", std::to_string(std::clamp(resolved.Get(Enum::Orphans), 1, 100)));
    if (own.IsSet(Enum::Widows))
        Declare(css, "widows", std::to_string(std::clamp(resolved.Get(Enum::Widows), 1, 100)));
    if (own.IsSet(Enum::KeepWithNext))
        Declare(css, "page-break-after", resolved.Get(Enum::KeepWithNext) == 1 ? "avoid" : "auto");
}

void AppendDropCapRules(std::string& css, std::string const& className, Story::ParagraphAtts const& own,
                        Story::ParagraphAtts const& resolved, double size, CssUnits const& units) {
    if (!own.IsSet(ParagraphAtt::Object::DropCap))
        return;
    auto const selector = "." + className + "::first-letter";
    auto const* const cap = Story::DropCapAtt::Of(resolved);
    if (cap == nullptr) {
        css += selector +
               " { float: none; font-size: inherit; line-height: inherit; margin: 0; initial-letter: normal; }\n";
        return;
    }
    // Of most faces' em.
    constexpr double c_capHeight = 0.7;
    auto const leading = resolved.Get(ParagraphAtt::Double::Leading);
    double lineHeight = leading > 0 ? leading : 1.2;
    if (resolved.Get(ParagraphAtt::Enum::LeadingMode) != static_cast<int>(Story::LeadingMode::Automatic))
        lineHeight = leading > 0 && size > 0 ? leading / size : 1.2;
    double const lines = cap->GetValues().lines;
    double const enlarged = ((lines - 1) * lineHeight + c_capHeight) / c_capHeight;
    std::string look;
    bool const isRightToLeft =
        resolved.Get(ParagraphAtt::Enum::Direction) == static_cast<int>(Story::ParagraphDirection::RightToLeft);
    Declare(look, "float", isRightToLeft ? "right" : "left");
    Declare(look, "font-size", FormatCssNumber(enlarged) + "em");
    Declare(look, "line-height", FormatCssNumber(lines * lineHeight / enlarged));
    auto const scale = std::clamp(resolved.Get(ParagraphAtt::Double::LengthScale), 0.0, 1e6);
    if (cap->GetValues().gap > 0)
        Declare(look, isRightToLeft ? "margin-left" : "margin-right", FormatRem(cap->GetValues().gap * scale, units));
    css += selector + " { " + look + "}\n";
    auto const supported = std::to_string(cap->GetValues().lines);
    css += "@supports (initial-letter: " + supported + ") { " + selector +
           " { float: none; font-size: inherit; line-height: inherit; initial-letter: " + supported + "; } }\n";
}

} // namespace EPub
