// SPDX-License-Identifier: Apache-2.0
#include "platform/story/style_sheet.h"

#include "platform/kernel/field_list.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/story/toc.h"

#include <algorithm>

namespace Story {

Kernel::Counted<Language const> Language::Make(Kernel::String identifier) {
    return Kernel::MakeCounted<Language>(identifier.empty() ? Kernel::String("en") : std::move(identifier));
}

Style::~Style() = default;

Kernel::LocalisedString Style::GetNoneName() { return {"[No Style]", "Name of the style that is none"}; }
Kernel::Counted<Style> Style::Clone() const { return Kernel::MakeCounted<Style>(m_name, m_type, m_parent, m_delta); }
void Style::Rename(Kernel::String const& oldName, Kernel::String const& newName) {
    if (m_name == oldName)
        m_name = newName;
    if (m_parent == oldName)
        m_parent = newName;
}

std::size_t Style::GetHash() const { return std::hash<Kernel::String>()(m_name); }
std::optional<Kernel::String> Style::GetTocStyleName() const { return {}; }
bool Style::IsEqualTo(Style const& other) const {
    return m_name == other.m_name && m_parent == other.m_parent && m_type == other.m_type &&
           (m_delta == other.m_delta ||
            (m_delta && other.m_delta && m_delta->CompareMembers(*other.m_delta, Kernel::CompareContext())));
}
bool operator==(Style const& a, Style const& b) {
    return &a == &b || (a.GetObjectClassProperties() == b.GetObjectClassProperties() && a.IsEqualTo(b));
}

void Style::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_name);
    Kernel::SaveValue(out, "Prnt", m_parent);
    Kernel::SaveValue(out, "Type", m_type);
    Kernel::SaveValue(out, "Delt", m_delta);
}
bool Style::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "Prnt", m_parent);
    Kernel::LoadValue(in, "Type", m_type);
    Kernel::LoadValue(in, "Delt", m_delta);
    return true;
}

Kernel::Counted<StyleSheet const> const& StyleSheet::GetEmpty() {
    static auto const& s_empty = *new Kernel::Counted<StyleSheet const>(new StyleSheet);
    return s_empty;
}

Kernel::Counted<Style const> StyleSheet::GetStyle(Kernel::String const& name) const {
    for (auto const& style : m_styles) {
        if (style && style->GetName() == name)
            return style;
    }
    return {};
}

Kernel::Counted<StyleSheet const> StyleSheet::With(Kernel::Counted<Style const> style) const {
    Styles styles = m_styles;
    auto const found = std::find_if(styles.begin(), styles.end(), [&](auto const& candidate) {
        return candidate && candidate->GetName() == style->GetName();
    });
    if (found != styles.end())
        *found = std::move(style);
    else
        styles.push_back(std::move(style));
    return Kernel::MakeCounted<StyleSheet>(std::move(styles));
}

Kernel::Counted<StyleSheet const> StyleSheet::Without(Kernel::String const& name) const {
    Styles styles = m_styles;
    std::erase_if(styles, [&](auto const& style) { return style && style->GetName() == name; });
    return Kernel::MakeCounted<StyleSheet>(std::move(styles));
}

namespace {

// Styles of tables of contents say nothing about the look of text.
bool HasLook(Style const& style) { return style.GetType() != StyleType::TocEntry && style.GetType() != StyleType::Toc; }

} // namespace

bool LookAlike(StyleSheet const& one, StyleSheet const& other) {
    if (&one == &other)
        return true;
    using Place = StyleSheet::Styles::const_iterator;
    auto const next = [](Place& at, Place end) {
        while (at != end && !(*at && HasLook(**at)))
            ++at;
        return at == end ? nullptr : at->get();
    };
    for (auto a = one.begin(), b = other.begin();; ++a, ++b) {
        auto const* const style = next(a, one.end());
        if (style != next(b, other.end()))
            return false;
        if (style == nullptr)
            return true;
    }
}

std::vector<Style const*> StyleSheet::GetChain(Kernel::String const& name) const {
    std::vector<Style const*> chain;
    auto style = name.empty() ? nullptr : GetStyle(name).get();
    while (style != nullptr && HasLook(*style) && std::find(chain.begin(), chain.end(), style) == chain.end()) {
        chain.push_back(style);
        style = style->GetParentName().empty() ? nullptr : GetStyle(style->GetParentName()).get();
    }
    std::reverse(chain.begin(), chain.end());
    return chain;
}

ParagraphAttsRef StyleSheet::Resolve(ParagraphAttsRef const& own) const {
    auto const chain = GetChain(own->Get(ParagraphAtt::String::StyleName));
    if (chain.empty())
        return own;
    auto result = Kernel::MakeCounted<ParagraphAtts>();
    for (auto const* style : chain) {
        if (style->GetDelta() && style->GetDelta()->GetValues().paragraphAtts)
            result->Overlay(*style->GetDelta()->GetValues().paragraphAtts);
    }
    result->Overlay(*own);
    return Kernel::Consolidated<ParagraphAtts>(ParagraphAttsRef(std::move(result))).ToCounted();
}

GlyphAttsRef StyleSheet::Resolve(GlyphAttsRef const& own, ParagraphAttsRef const& paragraph) const {
    auto const paragraphStyle = paragraph->Get(ParagraphAtt::String::StyleName);
    auto const characterStyle = own->Get(GlyphAtt::String::StyleName);
    if (m_styles.empty() || (paragraphStyle.empty() && characterStyle.empty()))
        return own;
    std::pair const key(own, paragraphStyle);
    {
        std::lock_guard const lock(m_mutex);
        if (auto const found = m_glyphAnswers.find(key); found != m_glyphAnswers.end())
            return found->second;
    }
    auto result = Kernel::MakeCounted<GlyphAtts>();
    for (auto const& name : {paragraphStyle, characterStyle}) {
        for (auto const* style : GetChain(name)) {
            if (style->GetDelta() && style->GetDelta()->GetValues().glyphAtts)
                result->Overlay(*style->GetDelta()->GetValues().glyphAtts);
        }
    }
    result->Overlay(*own);
    auto answer = Kernel::Consolidated<GlyphAtts>(GlyphAttsRef(std::move(result))).ToCounted();
    std::lock_guard const lock(m_mutex);
    return m_glyphAnswers.emplace(key, std::move(answer)).first->second;
}

void StyleSheet::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Styl", m_styles); }
bool StyleSheet::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Styl", m_styles);
    return true;
}

} // namespace Story
