// SPDX-License-Identifier: Apache-2.0
#include "platform/story/story_index.h"

#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/kernel/char_traits.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"

#include <algorithm>
#include <string>
#include <unordered_map>

namespace Story {

namespace {

// No document comes near it; a forged one may name any number.
constexpr std::uint64_t c_maximumOrdinal = std::uint64_t{1} << 62;

// How a text of generated indices stands in a file.
struct StringElement {
    Kernel::String key, language;
    GlyphString text;
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Field{"key_", &StringElement::key},
                                 Kernel::Field{"lang", &StringElement::language},
                                 Kernel::Field{"text", &StringElement::text}};
    }
    static constexpr Kernel::ClassUID GetClassUID() { return {"IxSt"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
};

Kernel::String GetDefaultLanguage() { return Language::Make({})->GetIdentifier(); }

bool IsSame(Kernel::String const& a, Kernel::String const& b, bool ignoreCase) {
    return a == b || (ignoreCase && Kernel::CharTraits<Kernel::TEncUtf8>::CompareNoCase(a, b) == 0);
}

} // namespace

Index::Index(DocumentNode& document) : m_document(document), m_language(GetDefaultLanguage()) {}

Index::~Index() {
    for (auto const& [ordinal, topic] : m_topics)
        topic->m_index = nullptr;
    for (auto const& topic : m_loaded)
        topic->m_index = nullptr;
}

Index::Topics const& Index::Get() const {
    Settle();
    return m_topics;
}

// Forged topics may have ordinals that do not ascend, and be their own ancestors: the former are numbered anew, the
// latter lose their parents.
void Index::Settle() const {
    if (m_isSettled.load(std::memory_order_acquire))
        return;
    std::lock_guard const lock(m_mutex);
    if (m_isSettled.load(std::memory_order_relaxed))
        return;
    auto const loaded = std::exchange(m_loaded, {});
    std::uint64_t last = 0;
    bool const isAscending = std::ranges::all_of(loaded, [&](auto const& topic) {
        return topic->m_ordinal < c_maximumOrdinal && topic->m_ordinal > std::exchange(last, topic->m_ordinal);
    });
    std::uint64_t count = 0;
    for (auto const& topic : loaded) {
        ++count;
        if (!isAscending)
            topic->m_ordinal = count;
        m_topics.emplace_hint(m_topics.end(), topic->m_ordinal, topic);
    }
    if (!m_topics.empty())
        m_nextOrdinal = std::max(m_nextOrdinal, m_topics.rbegin()->first + 1);
    // The number of the walk that came by.
    std::unordered_map<IndexTopic const*, std::uint64_t> walks;
    std::uint64_t walk = 0;
    auto const getParent = [&](IndexTopic const& topic) {
        auto parent = topic.m_parent.Lock();
        return parent && parent->m_index == this ? parent : Kernel::Counted<IndexTopic const>();
    };
    for (auto const& [ordinal, topic] : m_topics) {
        ++walk;
        Kernel::Counted<IndexTopic const> at = topic;
        while (at && walks.try_emplace(at.get(), walk).second)
            at = getParent(*at);
        if (!at || walks[at.get()] != walk)
            continue;
        while (at) {
            auto next = getParent(*at);
            at->m_parent = {};
            at = std::move(next);
        }
    }
    m_isSettled.store(true, std::memory_order_release);
}

void Index::Put(Kernel::JailCounted<IndexTopic> const& topic) const {
    if (topic->m_ordinal == 0 || topic->m_ordinal >= c_maximumOrdinal || m_topics.contains(topic->m_ordinal)) {
        topic->m_ordinal = m_nextOrdinal;
        topic->MarkChanged();
    }
    m_nextOrdinal = std::max(m_nextOrdinal, topic->m_ordinal + 1);
    m_topics.emplace(topic->m_ordinal, topic);
    topic->m_index = this;
}

void Index::Remove(IndexTopic const& topic) const {
    topic.m_index = nullptr;
    m_topics.erase(topic.m_ordinal);
}

bool Index::AddTopic(Kernel::JailCounted<IndexTopic> const& topic) {
    if (!topic || topic->m_index != nullptr)
        return false;
    Settle();
    Kernel::Counted<IndexTopic const> ancestor = topic->m_parent.Lock();
    while (ancestor && ancestor->m_index == this)
        ancestor = ancestor->m_parent.Lock();
    if (ancestor == topic)
        throw Kernel::Exception("a topic of the index cannot stand below itself");
    EditJournal::NoteFor(m_document, [this, topic](DocumentNode&) { Remove(*topic); });
    Put(topic);
    m_document.MarkChanged();
    return true;
}

bool Index::DeleteTopic(Kernel::Counted<IndexTopic const> const& topic) {
    if (!Has(topic))
        return false;
    Settle();
    auto const held = m_topics.at(topic->m_ordinal);
    EditJournal::NoteFor(m_document, [this, held](DocumentNode&) { Put(held); });
    Remove(*topic);
    m_document.MarkChanged();
    return true;
}

// A topic of another document's index, as a command that was copied from there names it, is not this one's to change.
template <class Value>
void Index::SetValue(IndexTopic const& topic, Value& member, Value value) {
    if (topic.m_index != nullptr && topic.m_index != this)
        return;
    EditJournal::NoteFor(m_document, [held = Kernel::Counted<IndexTopic const>(&topic), &member,
                                      old = member](DocumentNode&) mutable { member = std::move(old); });
    member = std::move(value);
    topic.MarkChanged();
}

void Index::RenameTopic(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& name) {
    if (topic)
        SetValue(*topic, topic->m_name, name);
}

void Index::SetTopicGUID(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& guid) {
    if (topic)
        SetValue(*topic, topic->m_guid, guid);
}

void Index::SetSortString(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& sortString) {
    if (topic)
        SetValue(*topic, topic->m_sortString, sortString);
}

void Index::SetTopicParent(Kernel::Counted<IndexTopic const> const& topic,
                           Kernel::Counted<IndexTopic const> const& parent) {
    if (!topic)
        return;
    Settle();
    if (parent && !Has(parent))
        throw Kernel::Exception("the index has no such topic");
    if (parent && (parent == topic || parent->IsTransitiveParent(topic)))
        throw Kernel::Exception("a topic of the index cannot stand below itself");
    SetValue(*topic, topic->m_parent, Kernel::Weak<IndexTopic const>(parent));
}

void Index::AddRelatedTo(Kernel::Counted<IndexTopic const> const& topic,
                         Kernel::Counted<IndexTopic const> const& related) {
    if (!topic || !related)
        return;
    auto all = topic->m_related;
    std::erase_if(all, [](auto const& weak) { return weak.IsExpired(); });
    if (std::ranges::any_of(all, [&](auto const& weak) { return weak.Lock() == related; }))
        return;
    all.emplace_back(related);
    SetValue(*topic, topic->m_related, std::move(all));
}

void Index::RemoveRelatedTo(Kernel::Counted<IndexTopic const> const& topic,
                            Kernel::Counted<IndexTopic const> const& related) {
    if (!topic || !related)
        return;
    auto all = topic->m_related;
    if (std::erase_if(all, [&](auto const& weak) { return weak.Lock() == related; }) != 0)
        SetValue(*topic, topic->m_related, std::move(all));
}

Kernel::Counted<IndexTopic const> Index::FindTopicByName(Kernel::String const& name, Kernel::String const& parentName,
                                                         bool ignoreCase) const {
    Kernel::Counted<IndexTopic const> byOwnName;
    for (auto const& topic : *this) {
        if (!IsSame(topic->GetName(), name, ignoreCase))
            continue;
        auto const parent = topic->GetParentInIndex();
        if (!parent) {
            if (parentName.empty())
                return topic;
            continue;
        }
        if (parentName.empty())
            continue;
        if (IsSame(parent->GetNameWithParents(), parentName, ignoreCase))
            return topic;
        if (!byOwnName && IsSame(parent->GetName(), parentName, ignoreCase))
            byOwnName = topic;
    }
    return byOwnName;
}

Kernel::Counted<IndexTopic const> Index::FindTopicByName(Kernel::String const& name, bool ignoreCase) const {
    for (auto const& topic : *this) {
        if (IsSame(topic->GetName(), name, ignoreCase))
            return topic;
    }
    // A full name ends in the topic's own.
    for (auto const& topic : *this) {
        if ((ignoreCase || name.view().ends_with(topic->GetName().view())) && topic->GetParentInIndex() &&
            IsSame(topic->GetNameWithParents(), name, ignoreCase))
            return topic;
    }
    return {};
}

Kernel::Counted<IndexTopic const> Index::FindTopicByGUID(Kernel::String const& guid) const {
    if (guid.empty())
        return {};
    for (auto const& topic : *this) {
        if (topic->GetGUID() == guid)
            return topic;
    }
    return {};
}

Kernel::Counted<Language const> Index::GetIndexLanguage() const { return Language::Make(m_language); }

void Index::SetIndexLangauge(Kernel::Counted<Language const> const& language) {
    EditJournal::NoteValue(m_document, m_language);
    m_language = language ? language->GetIdentifier() : GetDefaultLanguage();
    m_document.MarkChanged();
}

void Index::SetOption(bool& option, bool value) {
    EditJournal::NoteValue(m_document, option);
    option = value;
    m_document.MarkChanged();
}

GlyphString const* Index::GetString(Kernel::String const& key, Kernel::String const& language) const {
    auto const found = m_strings.find({key, language});
    return found == m_strings.end() ? nullptr : &found->second;
}

GlyphString const* Index::FindString(Kernel::String const& key) const {
    auto const* const ofLanguage = GetString(key, m_language);
    return ofLanguage != nullptr ? ofLanguage : GetString(key);
}

void Index::SetString(Kernel::String const& key, GlyphString text, Kernel::String const& language) {
    EditJournal::NoteValue(m_document, m_strings);
    m_strings.insert_or_assign({key, language}, std::move(text));
    m_document.MarkChanged();
}

void Index::ResetString(Kernel::String const& key, Kernel::String const& language) {
    EditJournal::NoteValue(m_document, m_strings);
    m_strings.erase({key, language});
    m_document.MarkChanged();
}

void Index::Save(Kernel::OutSerialiser& out) const {
    if (!Get().empty()) {
        std::vector<Kernel::Counted<IndexTopic const>> topics(begin(), end());
        Kernel::SaveValue(out, "IxTp", topics);
    }
    if (m_language != GetDefaultLanguage())
        Kernel::SaveValue(out, "IxLg", m_language);
    Options const standard;
    if (m_options.sectionHeadings != standard.sectionHeadings)
        Kernel::SaveValue(out, "IxHd", m_options.sectionHeadings);
    if (m_options.pageRanges != standard.pageRanges)
        Kernel::SaveValue(out, "IxRg", m_options.pageRanges);
    if (m_options.expandCrossReferences != standard.expandCrossReferences)
        Kernel::SaveValue(out, "IxXR", m_options.expandCrossReferences);
    if (!m_strings.empty()) {
        std::vector<StringElement> elements;
        for (auto const& [key, text] : m_strings)
            elements.push_back({key.first, key.second, text});
        Kernel::SaveValue(out, "IxSt", elements);
    }
    if (!out.IsForHash() && m_nextOrdinal != 1)
        Kernel::SaveValue(out, "IxNx", m_nextOrdinal);
}

void Index::Load(Kernel::InSerialiser const& in) {
    for (auto const& [ordinal, topic] : m_topics)
        topic->m_index = nullptr;
    for (auto const& topic : m_loaded)
        topic->m_index = nullptr;
    m_topics.clear();
    m_loaded.clear();
    Kernel::LoadValue(in, "IxTp", m_loaded);
    // One that is missing, stands there twice, or stands in another index.
    std::erase_if(m_loaded, [&](auto const& topic) {
        if (!topic || topic->m_index != nullptr)
            return true;
        topic->m_index = this;
        return false;
    });
    m_isSettled.store(m_loaded.empty(), std::memory_order_release);
    m_language = GetDefaultLanguage();
    Kernel::LoadValue(in, "IxLg", m_language);
    m_options = {};
    Kernel::LoadValue(in, "IxHd", m_options.sectionHeadings);
    Kernel::LoadValue(in, "IxRg", m_options.pageRanges);
    Kernel::LoadValue(in, "IxXR", m_options.expandCrossReferences);
    std::vector<StringElement> elements;
    Kernel::LoadValue(in, "IxSt", elements);
    m_strings.clear();
    for (auto const& element : elements)
        m_strings.insert_or_assign({element.key, element.language}, element.text);
    m_nextOrdinal = 1;
    Kernel::LoadValue(in, "IxNx", m_nextOrdinal);
    m_nextOrdinal = std::clamp<std::uint64_t>(m_nextOrdinal, 1, c_maximumOrdinal);
}

} // namespace Story
