// SPDX-License-Identifier: Apache-2.0
#include "platform/story/toc.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <algorithm>

namespace Story {

// TocAtt

TocAttRef TocAtt::Of(ParagraphAtts const& atts) {
    return TocAttRef(Kernel::CastPointer<TocAtt const>(atts.Get(ParagraphAtt::Object::Toc).get()));
}

Kernel::LocalisedString TocAtt::GetDefaultTocStyleName() {
    return Kernel::LocalisedString("Table of Contents", "Name of the default style of tables of contents");
}

void TocAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "StNm", m_tocStyleName);
    Kernel::SaveValue(out, "Id__", m_id);
    Kernel::SaveValue(out, "Titl", m_title);
    Kernel::SaveValue(out, "TiSt", m_titleStyleName);
}
bool TocAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "StNm", m_tocStyleName);
    Kernel::LoadValue(in, "Id__", m_id);
    Kernel::LoadValue(in, "Titl", m_title);
    Kernel::LoadValue(in, "TiSt", m_titleStyleName);
    return true;
}

// TocStyleDelta

namespace {

Delta::Values MakeTocValues(TocAttRef const& toc) {
    auto atts = Kernel::MakeCounted<ParagraphAtts>();
    atts->Set(ParagraphAtt::Object::Toc, Kernel::Counted<Kernel::Serialisable const>(toc.get()));
    Delta::Values values;
    values.paragraphAtts = atts;
    return values;
}

TocAttRef OrDefault(TocAttRef toc) { return toc ? std::move(toc) : Kernel::MakeCounted<TocAtt>(); }

} // namespace

TocStyleDelta::TocStyleDelta(TocAttRef toc) : Delta(MakeTocValues(toc = OrDefault(std::move(toc)))), m_toc(toc) {}

Kernel::Counted<Kernel::Serialisable> TocStyleDelta::CreateObject() {
    return Kernel::MakeCounted<TocStyleDelta>(TocAttRef());
}

bool TocStyleDelta::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return Delta::Load(in, files, version);
}

// The attribute stands among the others of a delta. One that was loaded is told from there: while it was being loaded,
// the others may have been empty.
Kernel::Counted<TocStyleDelta const> GetTocStyleDeltaFromDelta(Kernel::NonCounted<Delta const> delta) {
    auto const atts = delta ? delta->GetValues().paragraphAtts : ParagraphAttsRef();
    auto const toc = atts ? TocAtt::Of(*atts) : TocAttRef();
    auto const* const own = Kernel::CastPointer<TocStyleDelta const>(delta.get());
    if (own != nullptr && (!toc || own->GetTocAtt() == toc))
        return Kernel::Counted<TocStyleDelta const>(own);
    return toc ? Kernel::MakeCounted<TocStyleDelta>(toc) : Kernel::Counted<TocStyleDelta const>();
}

// TocStyle

TocStyle::TocStyle(Kernel::String name, Kernel::Counted<TocStyleDelta const> definition)
    : Style(std::move(name), StyleType::Toc, {}, std::move(definition)) {}

Kernel::Counted<Style> TocStyle::Clone() const { return Kernel::MakeCounted<TocStyle>(*this); }

void TocStyle::Rename(Kernel::String const& oldName, Kernel::String const& newName) {
    if (m_entriesName.empty() && GetName() == oldName)
        m_entriesName = oldName;
    Style::Rename(oldName, newName);
}

bool TocStyle::IsEqualTo(Style const& other) const {
    auto const* const style = Kernel::CastPointer<TocStyle const>(&other);
    return style != nullptr && Style::IsEqualTo(other) && m_entriesName == style->m_entriesName;
}

void TocStyle::Save(Kernel::OutSerialiser& out) const {
    Style::Save(out);
    Kernel::SaveValue(out, "Entr", m_entriesName);
}
bool TocStyle::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!Style::Load(in, files, version))
        return false;
    Kernel::LoadValue(in, "Entr", m_entriesName);
    return true;
}

// TocEntryStyle

TocEntryStyle::TocEntryStyle(Kernel::String name, Kernel::String tocStyleName, TocEntry entry)
    : Style(std::move(name), StyleType::TocEntry, {}, {}),
      m_tocStyleName(std::move(tocStyleName)),
      m_entry(std::move(entry)) {
    m_entry.level = std::clamp<std::uint32_t>(m_entry.level, 1, TocEntry::c_maximumLevel);
}

Kernel::Counted<Style> TocEntryStyle::Clone() const { return Kernel::MakeCounted<TocEntryStyle>(*this); }

void TocEntryStyle::Rename(Kernel::String const& oldName, Kernel::String const& newName) {
    Style::Rename(oldName, newName);
    for (auto* const name : {&m_entry.listedStyle, &m_entry.paragraphStyle, &m_entry.characterStyle}) {
        if (*name == oldName)
            *name = newName;
    }
}

bool TocEntryStyle::IsEqualTo(Style const& other) const {
    auto const* const entry = Kernel::CastPointer<TocEntryStyle const>(&other);
    return entry != nullptr && Style::IsEqualTo(other) && m_tocStyleName == entry->m_tocStyleName &&
           m_entry == entry->m_entry;
}

void TocEntryStyle::Save(Kernel::OutSerialiser& out) const {
    Style::Save(out);
    Kernel::SaveValue(out, "TocS", m_tocStyleName);
    Kernel::SaveValue(out, "List", m_entry.listedStyle);
    Kernel::SaveValue(out, "Levl", m_entry.level);
    Kernel::SaveValue(out, "PSty", m_entry.paragraphStyle);
    Kernel::SaveValue(out, "CSty", m_entry.characterStyle);
    Kernel::SaveValue(out, "PgNr", static_cast<std::uint32_t>(m_entry.pageNumber));
    Kernel::SaveValue(out, "Sepr", m_entry.separator);
    Kernel::SaveValue(out, "Ldr_", static_cast<std::uint32_t>(m_entry.leader));
}
// Numbers of a forged file are brought into their ranges.
bool TocEntryStyle::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    if (!Style::Load(in, files, version))
        return false;
    auto pageNumber = static_cast<std::uint32_t>(m_entry.pageNumber);
    auto leader = static_cast<std::uint32_t>(m_entry.leader);
    Kernel::LoadValue(in, "TocS", m_tocStyleName);
    Kernel::LoadValue(in, "List", m_entry.listedStyle);
    Kernel::LoadValue(in, "Levl", m_entry.level);
    Kernel::LoadValue(in, "PSty", m_entry.paragraphStyle);
    Kernel::LoadValue(in, "CSty", m_entry.characterStyle);
    Kernel::LoadValue(in, "PgNr", pageNumber);
    Kernel::LoadValue(in, "Sepr", m_entry.separator);
    Kernel::LoadValue(in, "Ldr_", leader);
    m_entry.level = std::clamp<std::uint32_t>(m_entry.level, 1, TocEntry::c_maximumLevel);
    m_entry.pageNumber = static_cast<TocPageNumber>(std::min<std::uint32_t>(pageNumber, 2));
    m_entry.leader = leader <= 0x10FFFF && (leader < 0xD800 || leader >= 0xE000) ? char32_t{leader} : U'\0';
    return true;
}

// Entries

Kernel::String GetTocLineStyleName(std::uint32_t level) { return {"Contents " + std::to_string(level)}; }

std::vector<TocEntry> GetHeadingEntries(StyleSheet const& styles) {
    constexpr std::string_view c_prefix = "Heading";
    std::vector<TocEntry> entries;
    for (auto const& style : styles) {
        if (!style || style->GetType() != StyleType::Paragraph || !style->GetName().view().starts_with(c_prefix))
            continue;
        TocEntry entry;
        entry.listedStyle = style->GetName();
        // The last number of the name.
        auto digits = style->GetName().view();
        auto const end = digits.find_last_of("0123456789");
        digits = digits.substr(0, end == digits.npos ? 0 : end + 1);
        auto const begin = digits.find_last_not_of("0123456789");
        digits = digits.substr(begin == digits.npos ? 0 : begin + 1);
        std::uint32_t level = digits.empty() ? 1 : 0;
        for (char const digit : digits)
            level =
                std::min<std::uint32_t>(level * 10 + static_cast<std::uint32_t>(digit - '0'), TocEntry::c_maximumLevel);
        entry.level = std::max<std::uint32_t>(level, 1);
        entry.paragraphStyle = GetTocLineStyleName(entry.level);
        entries.push_back(std::move(entry));
    }
    return entries;
}

std::vector<TocEntry> GetTocEntries(StyleSheet const& styles, Kernel::String const& tocStyleName) {
    std::vector<TocEntry> entries;
    if (auto const style = styles.GetStyle(tocStyleName); style && style->GetType() == StyleType::Toc) {
        auto const* const toc = Kernel::CastPointer<TocStyle const>(style.get());
        auto const& name = toc == nullptr ? tocStyleName : toc->GetEntriesName();
        for (auto const& candidate : styles) {
            auto const* const entry = Kernel::CastPointer<TocEntryStyle const>(candidate.get());
            if (entry != nullptr && entry->GetTocStyleName() == name)
                entries.push_back(entry->GetEntry());
        }
    }
    return entries.empty() ? GetHeadingEntries(styles) : entries;
}

} // namespace Story
