// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/story/story.h"
#include "platform/story/style_sheet.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

class DocumentNode;

namespace Story {

class Index;

// A topic that index marks in texts point at: an object with identity. It changes in place, through its index.
//
// Topics refer to each other weakly. What holds a topic is its index, the history, and the marks that point at it.
class REDRAFT_ENGINE IndexTopic final : public Kernel::Serialisable {
public:
    IndexTopic() = default;
    explicit IndexTopic(Kernel::String name, Kernel::Counted<IndexTopic const> const& parent = {},
                        Kernel::String guid = {}, Kernel::String sortString = {})
        : m_name(std::move(name)), m_guid(std::move(guid)), m_sortString(std::move(sortString)), m_parent(parent) {}
    ~IndexTopic() override;

    // May be empty, and is not the topic's own: others may have it too.
    Kernel::String const& GetName() const { return m_name; }
    // An id that programs outside know the topic by; empty for none.
    Kernel::String const& GetGUID() const { return m_guid; }
    // The text that the topic is sorted by, such as a reading; empty for the name.
    Kernel::String const& GetSortString() const { return m_sortString; }
    // Null at the top. A topic that stands in an index has no parent but one that stands there too; one that is its own
    // ancestor, as a forged file may have it, has none.
    Kernel::Counted<IndexTopic const> GetParent() const;
    // The nearest one first.
    std::vector<Kernel::Counted<IndexTopic const>> GetAncestors() const;
    // Whether the other one is an ancestor of this one.
    bool IsTransitiveParent(Kernel::Counted<IndexTopic const> const& other) const;
    // The number of ancestors.
    int DistanceToRoot() const;
    // The names from the top down, parted by slashes: "Animals/Whales".
    Kernel::String GetNameWithParents() const;
    // The topics that it refers to, in the order in which the index got them; of a topic that stands in an index, those
    // that stand there too.
    std::vector<Kernel::Counted<IndexTopic const>> GetRelatedTo() const;
    // Whether it stands in an index.
    bool IsInIndex() const { return m_index != nullptr; }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<IndexTopic>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    friend class Index;
    // Without a look for rings, which an index does not let in.
    Kernel::Counted<IndexTopic const> GetParentInIndex() const;

    mutable Kernel::String m_name, m_guid, m_sortString;
    mutable Kernel::Weak<IndexTopic const> m_parent;
    mutable std::vector<Kernel::Weak<IndexTopic const>> m_related;
    // Its place among the topics that the index ever had; 0 before it has been in one. No part of the document's state.
    mutable std::uint64_t m_ordinal = 0;
    mutable Index const* m_index = nullptr;
};

// The catalogue of a document's index: its topics, and how the index is made of them. A topic keeps its place when it
// is taken out and put back. Operations on null do nothing.
class REDRAFT_ENGINE Index {
private:
    using Topics = std::map<std::uint64_t, Kernel::JailCounted<IndexTopic>>;

public:
    class const_iterator {
    public:
        using value_type = Kernel::JailCounted<IndexTopic>;
        using reference = value_type const&;
        using pointer = value_type const*;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::bidirectional_iterator_tag;
        const_iterator() = default;
        reference operator*() const { return m_at->second; }
        pointer operator->() const { return &m_at->second; }
        const_iterator& operator++() {
            ++m_at;
            return *this;
        }
        const_iterator operator++(int) { return const_iterator(m_at++); }
        const_iterator& operator--() {
            --m_at;
            return *this;
        }
        const_iterator operator--(int) { return const_iterator(m_at--); }
        friend bool operator==(const_iterator const&, const_iterator const&) = default;

    private:
        friend class Index;
        explicit const_iterator(Topics::const_iterator at) : m_at(at) {}
        Topics::const_iterator m_at;
    };

    explicit Index(DocumentNode& document);
    ~Index();
    Index(Index const&) = delete;

    // The topics in the order in which they were added for the first time.
    const_iterator begin() const { return const_iterator(Get().begin()); }
    const_iterator end() const { return const_iterator(Get().end()); }
    std::size_t GetTopicCount() const { return Get().size(); }
    bool Has(Kernel::Counted<IndexTopic const> const& topic) const { return topic && topic->m_index == this; }

    // False when it stands in an index already, and then nothing changes. Throws Kernel::Exception when it would be its
    // own ancestor.
    bool AddTopic(Kernel::JailCounted<IndexTopic> const& topic);
    // Topics below it stay, at the top. False when it does not stand here.
    bool DeleteTopic(Kernel::Counted<IndexTopic const> const& topic);
    void RenameTopic(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& name);
    void SetTopicGUID(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& guid);
    void SetSortString(Kernel::Counted<IndexTopic const> const& topic, Kernel::String const& sortString);
    // Null: to the top. Throws Kernel::Exception when the parent does not stand here, or when the topic would be its
    // own ancestor.
    void SetTopicParent(Kernel::Counted<IndexTopic const> const& topic,
                        Kernel::Counted<IndexTopic const> const& parent);
    // A topic is referred to once at most.
    void AddRelatedTo(Kernel::Counted<IndexTopic const> const& topic, Kernel::Counted<IndexTopic const> const& related);
    void RemoveRelatedTo(Kernel::Counted<IndexTopic const> const& topic,
                         Kernel::Counted<IndexTopic const> const& related);

    // The first topic of a name under a parent that is named by its full name, or else by its own; an empty parent's
    // name stands for the top. Null when there is none.
    Kernel::Counted<IndexTopic const> FindTopicByName(Kernel::String const& name, Kernel::String const& parentName,
                                                      bool ignoreCase) const;
    // The first topic of a name, or else of that full name.
    Kernel::Counted<IndexTopic const> FindTopicByName(Kernel::String const& name, bool ignoreCase) const;
    // The first one; null for an empty GUID.
    Kernel::Counted<IndexTopic const> FindTopicByGUID(Kernel::String const& guid) const;

    // By which topics are sorted. Never null; English where nobody has chosen one.
    Kernel::Counted<Language const> GetIndexLanguage() const;
    void SetIndexLangauge(Kernel::Counted<Language const> const& language);
    bool GetShouldIncludeSectionHeadings() const { return m_options.sectionHeadings; }
    void SetShouldIncludeSectionHeadings(bool value) { SetOption(m_options.sectionHeadings, value); }
    bool GetShouldGroupPageRanges() const { return m_options.pageRanges; }
    void SetShouldGroupPageRanges(bool value) { SetOption(m_options.pageRanges, value); }
    bool GetShouldExpandCrossReferences() const { return m_options.expandCrossReferences; }
    void SetShouldExpandCrossReferences(bool value) { SetOption(m_options.expandCrossReferences, value); }

    // A text that stands in generated indices, by its key, in one language, or without one in all others. Null where
    // nobody has set any: the text is then the program's own.
    GlyphString const* GetString(Kernel::String const& key, Kernel::String const& language = {}) const;
    void SetString(Kernel::String const& key, GlyphString text, Kernel::String const& language = {});
    void ResetString(Kernel::String const& key, Kernel::String const& language = {});
    // The text for the index's language.
    GlyphString const* FindString(Kernel::String const& key) const;

    void Save(Kernel::OutSerialiser& out) const;
    void Load(Kernel::InSerialiser const& in);

private:
    friend class IndexTopic;
    struct Options {
        bool sectionHeadings = true, pageRanges = true, expandCrossReferences = false;
        friend bool operator==(Options const&, Options const&) = default;
    };
    // Key and language.
    using StringKey = std::pair<Kernel::String, Kernel::String>;

    // Settles a loaded index first: while a graph is loaded, topics may still be empty.
    Topics const& Get() const;
    void Settle() const;
    void Put(Kernel::JailCounted<IndexTopic> const& topic) const;
    void Remove(IndexTopic const& topic) const;
    template <class Value>
    void SetValue(IndexTopic const& topic, Value& member, Value value);
    void SetOption(bool& option, bool value);

    DocumentNode& m_document;
    mutable Topics m_topics;
    mutable std::vector<Kernel::JailCounted<IndexTopic>> m_loaded;
    mutable std::atomic<bool> m_isSettled{true};
    mutable std::mutex m_mutex;
    mutable std::uint64_t m_nextOrdinal = 1;
    Kernel::String m_language;
    Options m_options;
    std::map<StringKey, GlyphString> m_strings;
};

} // namespace Story
