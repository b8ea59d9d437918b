// SPDX-License-Identifier: Apache-2.0
#include "engine/story/rtf_tables.h"

#include "engine/story/rtf_text.h"
#include "platform/kernel/cast.h"
#include "platform/renderer/fill_descriptor.h"

#include <algorithm>
#include <cmath>

namespace Story::Rtf {

namespace {

using Double = ParagraphAtt::Double;
using Enum = ParagraphAtt::Enum;

constexpr double c_twipsPerPoint = 20;
// Readers refuse longer ones: 22 inches.
constexpr double c_longestTwips = 31680;

// The first of a list of families, without quotation marks.
std::string_view TakeFirstFamily(std::string_view families) {
    auto const trimmed = " \t\"'";
    families = families.substr(0, families.find(','));
    auto const begin = families.find_first_not_of(trimmed);
    if (begin == families.npos)
        return {};
    return families.substr(begin, families.find_last_not_of(trimmed) + 1 - begin);
}

// From 0, of a style that is called "Heading 1" to "Heading 9"; negative for others.
int GetOutlineLevel(std::string_view name) {
    constexpr std::string_view c_prefix = "Heading ";
    bool const isHeading =
        name.size() == c_prefix.size() + 1 && name.starts_with(c_prefix) && name.back() >= '1' && name.back() <= '9';
    return isHeading ? name.back() - '1' : -1;
}

char const* GetAlignmentControl(ParagraphAtts const& atts, bool isRightToLeft) {
    switch (static_cast<Alignment>(atts.Get(Enum::Alignment))) {
    case Alignment::Centre:
        return "\\qc";
    case Alignment::Justify:
        return "\\qj";
    case Alignment::Left:
        return "\\ql";
    case Alignment::Right:
        return "\\qr";
    case Alignment::End:
        return isRightToLeft ? "\\ql" : "\\qr";
    default:
        return isRightToLeft ? "\\qr" : "\\ql";
    }
}

char const* GetLeaderControl(char32_t leader) {
    switch (leader) {
    case 0:
        return "";
    case U'-':
        return "\\tlhyph";
    case U'_':
        return "\\tlul";
    case 0xB7:
        return "\\tlmdot";
    default:
        return "\\tldot";
    }
}

char const* GetStopControl(TabStop::Kind kind) {
    switch (kind) {
    case TabStop::Kind::Centre:
        return "\\tqc";
    case TabStop::Kind::End:
        return "\\tqr";
    case TabStop::Kind::Decimal:
        return "\\tqdec";
    default:
        return "";
    }
}

double GetScale(double scale) { return std::clamp(scale, 0.0, 1e6); }

} // namespace

Tables::Tables(StyleSheet const& styles, Scale scale) : m_styles(styles), m_scale(scale), m_styleScale(scale) {
    // The first font is the one of text that names none.
    m_fonts.emplace_back("Times New Roman");
}

void Tables::SetScale(Scale scale) {
    if (scale == m_scale)
        return;
    m_scale = scale;
    m_letters.clear();
}

long Tables::ToTwips(double length, double scale) const {
    double const twips = length * scale * c_twipsPerPoint;
    return std::lround(std::clamp(std::isfinite(twips) ? twips : 0, -c_longestTwips, c_longestTwips));
}

int Tables::GetFont(std::string_view families) {
    auto const family = TakeFirstFamily(families);
    if (family.empty())
        return 0;
    auto const found = std::find(m_fonts.begin(), m_fonts.end(), family);
    if (found == m_fonts.end()) {
        m_fonts.emplace_back(family);
        return static_cast<int>(m_fonts.size()) - 1;
    }
    return static_cast<int>(found - m_fonts.begin());
}

// 0 is the reader's own colour of text, which stands for text without a fill, and for paints that are no colour.
int Tables::GetColour(GlyphAtts const& atts) {
    auto const* const fill =
        Kernel::CastPointer<Renderer::FillDescriptor const>(atts.Get(GlyphAtt::Object::Fill).get());
    auto const* const solid =
        fill == nullptr ? nullptr : Kernel::CastPointer<Renderer::SolidFill const>(fill->GetFill().get());
    if (solid == nullptr)
        return 0;
    auto const colour = solid->GetColour().Converted(Renderer::ColourFormat::RGB);
    unsigned rgb = 0;
    for (int i = 0; i != 3; ++i)
        rgb = rgb << 8 | static_cast<unsigned>(std::lround(
                             std::clamp(colour.GetComponents()[static_cast<std::size_t>(i)], 0.0F, 1.0F) * 255));
    auto const found = std::find(m_colours.begin(), m_colours.end(), rgb);
    if (found != m_colours.end())
        return static_cast<int>(found - m_colours.begin()) + 1;
    m_colours.push_back(rgb);
    return static_cast<int>(m_colours.size());
}

Tables::LetterLook Tables::GetLook(GlyphAtts const& atts) {
    using GlyphDouble = GlyphAtt::Double;
    double const points = atts.Get(GlyphDouble::Size) * GetScale(atts.Get(GlyphDouble::LengthScale)) * m_scale.y;
    return {GetFont(atts.Get(GlyphAtt::String::FontFamily).view()),
            static_cast<int>(std::lround(std::clamp(std::isfinite(points) ? points * 2 : 24, 1.0, 3276.0))),
            atts.Get(GlyphDouble::Weight) >= 600, atts.Get(GlyphAtt::Enum::Italic) != 0};
}

std::string const& Tables::GetLetterControls(GlyphAttsRef const& resolved) {
    using GlyphDouble = GlyphAtt::Double;
    using GlyphEnum = GlyphAtt::Enum;
    auto const [known, isNew] = m_letters.try_emplace(resolved.get());
    auto& out = known->second.controls;
    if (!isNew)
        return out;
    known->second.atts = resolved;
    auto const& atts = *resolved;
    auto const look = GetLook(atts);
    AppendControl(out, "\\f", look.font);
    AppendControl(out, "\\fs", look.halfPoints);
    if (look.isBold)
        out += "\\b";
    if (look.isItalic)
        out += "\\i";
    if (atts.Get(GlyphEnum::Underline) != 0)
        out += "\\ul";
    if (atts.Get(GlyphEnum::Strikethrough) != 0)
        out += "\\strike";
    if (atts.Get(GlyphEnum::SmallCaps) != 0)
        out += "\\scaps";
    if (int const colour = GetColour(atts); colour != 0)
        AppendControl(out, "\\cf", colour);
    double const lengths = GetScale(atts.Get(GlyphDouble::LengthScale));
    if (long const tracking =
            ToTwips(atts.Get(GlyphDouble::Tracking) * atts.Get(GlyphDouble::Size) * lengths, m_scale.x))
        AppendControl(out, "\\expndtw", tracking);
    double const width = atts.Get(GlyphDouble::HorizontalScale) * 100;
    if (long const percent = std::lround(std::clamp(width, 1.0, 600.0)); percent != 100)
        AppendControl(out, "\\charscalex", percent);
    if (long const shift = ToTwips(atts.Get(GlyphDouble::BaselineShift) * lengths, m_scale.y) / 10; shift != 0)
        AppendControl(out, shift > 0 ? "\\up" : "\\dn", std::abs(shift));
    if (int const language = GetLanguageNumber(atts.Get(GlyphAtt::String::Language).view()); language != 0)
        AppendControl(out, "\\lang", language);
    return out;
}

std::string Tables::GetDirectedControls(GlyphAttsRef const& resolved, bool isRightToLeft) {
    std::string out = "\\ltrch" + GetLetterControls(resolved);
    auto const look = GetLook(*resolved);
    std::string associated = "\\rtlch";
    AppendControl(associated, "\\af", look.font);
    AppendControl(associated, "\\afs", look.halfPoints);
    if (look.isBold)
        associated += "\\ab";
    if (look.isItalic)
        associated += "\\ai";
    return isRightToLeft ? out + associated : associated + out;
}

std::string Tables::GetParagraphControls(ParagraphAtts const& resolved, bool isRightToLeft) const {
    double const lengths = GetScale(resolved.Get(Double::LengthScale));
    std::string out = isRightToLeft ? "\\rtlpar" : "\\ltrpar";
    out += GetAlignmentControl(resolved, isRightToLeft);
    auto const appendLength = [&](char const* control, Double att, double scale) {
        if (long const twips = ToTwips(resolved.Get(att) * lengths, scale))
            AppendControl(out, control, twips);
    };
    appendLength(isRightToLeft ? "\\ri" : "\\li", Double::LeftIndent, m_scale.x);
    appendLength(isRightToLeft ? "\\li" : "\\ri", Double::RightIndent, m_scale.x);
    appendLength("\\fi", Double::FirstIndent, m_scale.x);
    appendLength("\\sb", Double::SpaceBefore, m_scale.y);
    appendLength("\\sa", Double::SpaceAfter, m_scale.y);
    double const leading = resolved.Get(Double::Leading);
    auto const mode = static_cast<LeadingMode>(resolved.Get(Enum::LeadingMode));
    if (mode == LeadingMode::Exact || mode == LeadingMode::AtLeast) {
        // A negative height is exact, a positive one the least.
        long const twips = std::abs(ToTwips(leading * lengths, m_scale.y));
        if (twips != 0)
            AppendControl(out, "\\sl", mode == LeadingMode::Exact ? -twips : twips);
    } else if (leading != 0 && std::isfinite(leading)) {
        // In 240ths of a single line, which is 1.2 of the size here.
        AppendControl(out, "\\sl", std::lround(std::clamp(leading / 1.2 * 240, 1.0, c_longestTwips)));
        out += "\\slmult1";
    }
    if (resolved.Get(Enum::KeepWithNext) != 0)
        out += "\\keepn";
    out += resolved.Get(Enum::Orphans) > 1 || resolved.Get(Enum::Widows) > 1 ? "\\widctlpar" : "\\nowidctlpar";
    auto const* const stops = Kernel::CastPointer<TabStops const>(resolved.Get(ParagraphAtt::Object::TabStops).get());
    if (stops == nullptr)
        return out;
    for (auto const& stop : stops->GetStops()) {
        (out += GetStopControl(stop.kind)) += GetLeaderControl(stop.leader);
        AppendControl(out, "\\tx", ToTwips(stop.position * lengths, m_scale.x));
    }
    return out;
}

// Styles are numbered by their place in the sheet, from 1; 0 is the reader's own.
int Tables::FindStyle(Kernel::String const& name, StyleType type) const {
    if (name.empty())
        return 0;
    int number = 0;
    for (auto const& style : m_styles) {
        ++number;
        if (style && style->GetType() == type && style->GetName() == name)
            return number;
    }
    return 0;
}

std::string Tables::GetParagraphStyle(Kernel::String const& name) const {
    std::string out;
    if (int const number = FindStyle(name, StyleType::Paragraph); number != 0)
        AppendControl(out, "\\s", number);
    return out;
}

std::string Tables::GetCharacterStyle(Kernel::String const& name) const {
    std::string out;
    if (int const number = FindStyle(name, StyleType::Character); number != 0)
        AppendControl(out, "\\cs", number);
    return out;
}

void Tables::AppendStyle(std::string& out, Style const& style) {
    bool const isParagraph = style.GetType() == StyleType::Paragraph;
    auto paragraph = Kernel::MakeCounted<ParagraphAtts>();
    auto letters = Kernel::MakeCounted<GlyphAtts>();
    if (isParagraph)
        paragraph->Set(ParagraphAtt::String::StyleName, style.GetName());
    else
        letters->Set(GlyphAtt::String::StyleName, style.GetName());
    auto const own = Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(letters)).ToCounted();
    out += isParagraph ? "{" + GetParagraphStyle(style.GetName()) : "{\\*" + GetCharacterStyle(style.GetName());
    if (isParagraph) {
        out += GetParagraphControls(*m_styles.Resolve(ParagraphAttsRef(paragraph)), false);
        if (int const level = GetOutlineLevel(style.GetName().view()); level >= 0)
            AppendControl(out, "\\outlinelevel", level);
    }
    out += GetLetterControls(m_styles.Resolve(own, ParagraphAttsRef(paragraph)));
    if (int const parent = FindStyle(style.GetParentName(), style.GetType()); parent != 0)
        AppendControl(out, "\\sbasedon", parent);
    out += ' ';
    AppendName(out, style.GetName().view());
    out += ";}\n";
}

std::string Tables::Print() {
    SetScale(m_styleScale);
    std::string styles = "{\\stylesheet{\\s0 Normal;}\n";
    for (auto const& style : m_styles) {
        bool const isOfText =
            style && (style->GetType() == StyleType::Paragraph || style->GetType() == StyleType::Character);
        // Of two with one name the first is the one that texts have.
        if (isOfText && m_styles.GetStyle(style->GetName()) == style)
            AppendStyle(styles, *style);
    }
    styles += "}\n";
    std::string out = "{\\fonttbl";
    for (std::size_t i = 0; i != m_fonts.size(); ++i) {
        AppendControl(out, "{\\f", static_cast<long>(i));
        out += "\\fnil\\fcharset0 ";
        AppendName(out, m_fonts[i]);
        out += ";}";
    }
    out += "}\n{\\colortbl;";
    for (unsigned const rgb : m_colours) {
        AppendControl(out, "\\red", rgb >> 16);
        AppendControl(out, "\\green", rgb >> 8 & 255);
        AppendControl(out, "\\blue", rgb & 255);
        out += ';';
    }
    return out + "}\n" + styles;
}

} // namespace Story::Rtf
