// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"

#include <optional>
#include <vector>

class DocumentController;

// A named group of objects in the reading order of a document. Its number is its key in the map of DocumentNode; its
// members are the objects that have that number.
class REDRAFT_ENGINE ExportArticle final : public Kernel::Serialisable {
public:
    ExportArticle() = default;
    Kernel::String const& GetName() const { return m_name; }
    void SetName(Kernel::String name);
    // As ExportTaggingInterface has them.
    bool IsHidden() const { return m_hidden; }
    bool IsAutoHide() const { return m_autoHide; }
    void SetHide(bool hidden, bool autoHide);
    // Empty for an article that stands in no document's map.
    std::optional<int> GetNumber() const { return m_number; }

    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<ExportArticle>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    friend class DocumentNode;

    Kernel::String m_name;
    bool m_hidden = false, m_autoHide = false;
    std::optional<int> m_number;
};

// An entry of the reading order: an article with its members in their sequence, or a single object. Its numbers are
// read from the document whenever they are asked for; members are those of the time when it was made.
class REDRAFT_ENGINE ExportArticleCollector final : public Kernel::Serialisable {
public:
    using Members = std::vector<Kernel::Counted<Node>>;
    ExportArticleCollector() = default;
    explicit ExportArticleCollector(Kernel::JailCounted<ExportArticle> article) : m_article(std::move(article)) {}
    explicit ExportArticleCollector(Kernel::JailCounted<Node> node);
    ExportArticleCollector(Kernel::JailCounted<ExportArticle> article, Members members)
        : m_article(std::move(article)), m_members(std::move(members)) {}

    // Null for a single object.
    Kernel::Counted<ExportArticle> const& GetArticle() const { return m_article; }
    // One for a single object; a frame stands for its whole text. Objects may have left the tree since.
    Members const& GetMembers() const { return m_members; }

    // -1 for an entry without a place in the order; numbers below that are for the time in which commands renumber. An
    // article's is its number in the document; where it has none there and `onlyInDocument` is false, the one that its
    // first member has.
    int GetArticleIndex(Kernel::Counted<DocumentController const> const& controller, bool onlyInDocument) const;
    // Of a single object, within its article; -1 for none and for articles.
    int GetSequenceIndex() const;
    // Of all members; the article itself stays where it is in the document's map.
    void SetArticleIndex(int index);
    // Of a single object; an article has none.
    void SetSequenceIndex(int index);
    // The members as entries of their own, in their sequence; for a single object itself.
    std::vector<Kernel::Counted<ExportArticleCollector>> Unpack() const;
    // The name that the user gave; empty for none.
    Kernel::String GetName() const;
    void SetName(Kernel::String const& name);
    bool IsHidden() const;
    bool IsAutoHide() const;
    void SetHide(bool hidden, bool autoHide);
    // Whether both stand for one article, or for one object or text.
    bool Matches(Kernel::Counted<ExportArticleCollector const> const& other) const;

    static Kernel::Counted<Kernel::Serialisable> CreateObject() {
        return Kernel::MakeCounted<ExportArticleCollector>();
    }
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    // Of a single object; null for articles and for an empty entry.
    ExportTaggingInterface* FindTagging() const;

    Kernel::Counted<ExportArticle> m_article;
    Members m_members;
};
