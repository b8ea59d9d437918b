// SPDX-License-Identifier: Apache-2.0
#include "engine/epub/style_classes.h"

#include "engine/epub/css.h"
#include "platform/kernel/cast.h"
#include "platform/story/toc.h"

#include <algorithm>

namespace EPub {

namespace {

using Story::GlyphAtt;
using Story::ParagraphAtt;

bool IsAsciiAlphanumeric(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Attributes that CSS has something for, beside the style.
bool HasLook(Story::GlyphAtts const& atts) {
    auto rest = atts;
    rest.Unset(GlyphAtt::String::StyleName);
    rest.Unset(GlyphAtt::String::Language);
    rest.Unset(GlyphAtt::Object::Hyperlink);
    return !rest.empty();
}

bool HasLook(Story::ParagraphAtts const& atts) {
    auto rest = atts;
    rest.Unset(ParagraphAtt::String::StyleName);
    rest.Unset(ParagraphAtt::Enum::Direction);
    for (auto const object : {ParagraphAtt::Object::TabStops, ParagraphAtt::Object::LinkedFile,
                              ParagraphAtt::Object::Toc, ParagraphAtt::Object::Index, ParagraphAtt::Object::Numbering})
        rest.Unset(object);
    return !rest.empty();
}

double GetSize(Story::GlyphAtts const& atts) {
    return atts.Get(GlyphAtt::Double::Size) * std::clamp(atts.Get(GlyphAtt::Double::LengthScale), 0.0, 1e6);
}

bool IsBold(Story::GlyphAtts const& atts) { return atts.Get(GlyphAtt::Double::Weight) >= 600; }
bool IsItalic(Story::GlyphAtts const& atts) { return atts.Get(GlyphAtt::Enum::Italic) == 1; }

} // namespace

std::string CleanLanguage(Kernel::String const& language) {
    std::string result;
    std::size_t part = 0;
    for (char const c : language.view()) {
        bool const isSeparator = c == '-' || c == '_';
        part = isSeparator ? 0 : part + 1;
        if ((!isSeparator && !IsAsciiAlphanumeric(c)) || part > 8 ||
            (isSeparator && (result.empty() || result.back() == '-')))
            return {};
        result += isSeparator ? '-' : c;
    }
    auto const first = std::min(result.find('-'), result.size());
    bool const isAlphabetic = std::all_of(result.begin(), result.begin() + static_cast<std::ptrdiff_t>(first),
                                          [](char c) { return c > '9'; });
    return first < 2 || !isAlphabetic || result.back() == '-' ? std::string() : result;
}

StyleClasses::StyleClasses(Kernel::Counted<Story::StyleSheet const> styles, Raster::ICCProfileSet const& profiles,
                           std::string language)
    : m_styles(styles ? std::move(styles) : Story::StyleSheet::GetEmpty()),
      m_profiles(profiles),
      m_language(std::move(language)),
      m_runLooks([](auto const& a, auto const& b) {
          return a.first.get() != b.first.get() ? std::less<>()(a.first.get(), b.first.get())
                                                : std::less<>()(a.second.get(), b.second.get());
      }) {
    // Headings first: styles that a table of contents lists besides are headings too.
    for (auto const& entry : Story::GetHeadingEntries(*m_styles))
        m_headingLevels.try_emplace(entry.listedStyle, entry.level);
    for (auto const& style : *m_styles) {
        if (auto const* const entry = Kernel::CastPointer<Story::TocEntryStyle const>(style.get()))
            m_headingLevels.try_emplace(entry->GetEntry().listedStyle, entry->GetEntry().level);
    }
}

std::string StyleClasses::MakeClassName(Kernel::String const& styleName) {
    std::string name;
    for (char const c : styleName.view()) {
        if (IsAsciiAlphanumeric(c))
            name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        else if (!name.empty() && name.back() != '-')
            name += '-';
    }
    name.erase(name.find_last_not_of('-') + 1);
    name.resize(std::min<std::size_t>(name.size(), 60));
    if (name.empty() || name.front() <= '9')
        name.insert(0, name.empty() ? "style" : "style-");
    auto unique = name;
    for (int number = 2; !m_names.insert(unique).second; ++number)
        unique = name + "-" + std::to_string(number);
    return unique;
}

std::string StyleClasses::GetStyleClass(Kernel::String const& styleName, Story::StyleType type) {
    if (styleName.empty() || !m_styles->GetStyle(styleName))
        return {};
    auto const [place, isNew] = m_styleClasses.try_emplace({type, styleName});
    if (!isNew)
        return place->second;
    Rule rule{MakeClassName(styleName), {}, {}, {}, {}};
    auto const plain = Story::GlyphAtts::GetDefault();
    if (type == Story::StyleType::Paragraph) {
        auto const named = Kernel::MakeCounted<Story::ParagraphAtts>();
        named->Set(ParagraphAtt::String::StyleName, styleName);
        rule.paragraph = rule.resolvedParagraph = m_styles->Resolve(Story::ParagraphAttsRef(named));
        rule.glyphs = rule.resolvedGlyphs = m_styles->Resolve(plain, Story::ParagraphAttsRef(named));
    } else {
        auto const named = Kernel::MakeCounted<Story::GlyphAtts>();
        named->Set(GlyphAtt::String::StyleName, styleName);
        rule.glyphs = rule.resolvedGlyphs =
            m_styles->Resolve(Story::GlyphAttsRef(named), Story::ParagraphAtts::GetDefault());
    }
    place->second = rule.name;
    m_styleRules.push_back(std::move(rule));
    return place->second;
}

std::string StyleClasses::MakeLocalClass(char const* prefix, Rule rule) {
    rule.name = prefix + std::to_string(m_localRules.size() + 1);
    // A style may have the name already.
    while (!m_names.insert(rule.name).second)
        rule.name += '-';
    m_localRules.push_back(rule);
    return rule.name;
}

StyleClasses::ParagraphLook const& StyleClasses::GetParagraphLook(Story::ParagraphAttsRef const& atts) {
    auto const [place, isNew] = m_paragraphLooks.try_emplace(atts);
    auto& look = place->second;
    if (!isNew)
        return look;
    auto const styleName = atts->Get(ParagraphAtt::String::StyleName);
    look.resolved = m_styles->Resolve(atts);
    look.glyphAtts = m_styles->Resolve(Story::GlyphAtts::GetDefault(), atts);
    look.classes = look.styleClass = GetStyleClass(styleName, Story::StyleType::Paragraph);
    if (HasLook(*atts)) {
        auto const own = MakeLocalClass("p", {{}, atts, look.resolved, {}, {}});
        look.classes += (look.classes.empty() ? "" : " ") + own;
    }
    switch (static_cast<Story::ParagraphDirection>(look.resolved->Get(ParagraphAtt::Enum::Direction))) {
    case Story::ParagraphDirection::LeftToRight:
        look.direction = "ltr";
        break;
    case Story::ParagraphDirection::RightToLeft:
        look.direction = "rtl";
        break;
    case Story::ParagraphDirection::Automatic:
        break;
    }
    look.language = CleanLanguage(look.glyphAtts->Get(GlyphAtt::String::Language));
    if (look.language == m_language || !look.glyphAtts->IsSet(GlyphAtt::String::Language))
        look.language.clear();
    auto const level = m_headingLevels.find(styleName);
    if (level != m_headingLevels.end() && !Story::TocAtt::Of(*look.resolved))
        look.headingLevel = std::max(level->second, 1u);
    return look;
}

StyleClasses::RunLook const& StyleClasses::GetRunLook(Story::GlyphAttsRef const& atts,
                                                      Story::ParagraphAttsRef const& paragraph) {
    auto const [place, isNew] = m_runLooks.try_emplace({atts, paragraph});
    auto& look = place->second;
    if (!isNew)
        return look;
    auto const& around = GetParagraphLook(paragraph);
    auto const resolved = m_styles->Resolve(atts, paragraph);
    look.classes = GetStyleClass(atts->Get(GlyphAtt::String::StyleName), Story::StyleType::Character);
    if (HasLook(*atts)) {
        // A scale counts for the lengths of the paragraph's style too.
        bool const isShared = !atts->IsSet(GlyphAtt::Double::LengthScale);
        auto own = isShared ? m_localClasses[atts] : std::string();
        if (own.empty())
            own = MakeLocalClass("c", {{}, {}, {}, atts, resolved});
        if (isShared)
            m_localClasses[atts] = own;
        look.classes += (look.classes.empty() ? "" : " ") + own;
    }
    auto const language = CleanLanguage(resolved->Get(GlyphAtt::String::Language));
    auto const& outer = around.language.empty() ? m_language : around.language;
    if (resolved->IsSet(GlyphAtt::String::Language) && language != outer)
        look.language = language;
    look.isBold = IsBold(*resolved) && !IsBold(*around.glyphAtts);
    look.isItalic = IsItalic(*resolved) && !IsItalic(*around.glyphAtts);
    look.link = Story::HyperlinkAtt::Of(*resolved);
    return look;
}

void StyleClasses::CountText(ParagraphLook const& look, std::size_t length) {
    m_sizes[GetSize(*look.glyphAtts)] += length;
}

std::string StyleClasses::MakeSheet(bool isVertical) const {
    double base = 16;
    std::size_t most = 0;
    for (auto const& [size, count] : m_sizes) {
        if (count > most && size > 0) {
            most = count;
            base = size;
        }
    }
    CssUnits const units{base, m_profiles, isVertical};
    auto const standard = FormatCssNumber(Story::GlyphAtt::GetDefault(GlyphAtt::Double::Size) / base) + "rem";
    std::string css = "p, h1, h2, h3, h4, h5, h6 { margin: 0; font-weight: normal; font-size: " + standard +
                      "; }\n"
                      ".number { margin-inline-end: 0.5em; }\n"
                      ".spaces { white-space: pre-wrap; }\n"
                      ".noteref { vertical-align: super; font-size: 0.7em; line-height: 0; }\n"
                      ".notes { margin-top: 2rem; }\n"
                      ".cover { margin: 0; text-align: center; }\n"
                      "img { max-width: 100%; height: auto; }\n"
                      ".cover img { max-height: 100%; }\n";
    if (isVertical)
        css +=
            "html { -epub-writing-mode: vertical-rl; -webkit-writing-mode: vertical-rl; writing-mode: vertical-rl; }\n";
    auto const append = [&](Rule const& rule) {
        std::string declarations;
        if (rule.paragraph)
            AppendParagraphDeclarations(declarations, *rule.paragraph, *rule.resolvedParagraph, units);
        if (rule.glyphs)
            AppendGlyphDeclarations(declarations, *rule.glyphs, *rule.resolvedGlyphs, units);
        css += "." + rule.name + " { " + declarations + "}\n";
        if (rule.paragraph)
            AppendDropCapRules(css, rule.name, *rule.paragraph, *rule.resolvedParagraph,
                               GetSize(rule.resolvedGlyphs ? *rule.resolvedGlyphs : *Story::GlyphAtts::GetDefault()),
                               units);
    };
    std::ranges::for_each(m_styleRules, append);
    std::ranges::for_each(m_localRules, append);
    return css;
}

} // namespace EPub
