// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"
#include "platform/story/glyph.h"

namespace Story {

// A glyph that shows a value which stands elsewhere, and may be replaced by that text.
class REDRAFT_ENGINE FieldGlyph : public Glyph {
public:
    ~FieldGlyph() override;
    ExpansionReach GetExpansionReach() const override { return ExpansionReach::Document; }
};

// The value of one of the document's own fields; nothing where the document has no such field.
class REDRAFT_ENGINE CustomFieldGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxCF"};
    CustomFieldGlyph() = default;
    explicit CustomFieldGlyph(Kernel::String guid) : m_guid(std::move(guid)) {}
    Kernel::String const& GetCustomFieldGuid() const { return m_guid; }
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CustomFieldGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_guid;
};

// In a caption, the values that the captioned object has under a key of its metadata; elsewhere nothing.
class REDRAFT_ENGINE MetadataGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxMe"};
    MetadataGlyph() = default;
    explicit MetadataGlyph(Kernel::String key) : m_key(std::move(key)) {}
    Kernel::String const& GetKey() const { return m_key; }
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<MetadataGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_key;
};

// In a caption that counts by a name, its number among those; elsewhere nothing.
class REDRAFT_ENGINE CaptionNumberGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxCN"};
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CaptionNumberGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

// A field of a record that a source of records shows. A page may show several records: those behind the first one are
// shown by fields with an offset.
class REDRAFT_ENGINE MergeFieldGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxMF"};
    MergeFieldGlyph() = default;
    // `source`: its id in the document. `offset`: how many records behind the first one of the page.
    MergeFieldGlyph(Kernel::String source, Kernel::String field, std::uint32_t offset)
        : m_source(std::move(source)), m_field(std::move(field)), m_offset(offset) {}
    Kernel::String const& GetSource() const { return m_source; }
    Kernel::String const& GetField() const { return m_field; }
    std::uint32_t GetOffset() const { return m_offset; }
    // Such as "{{Name}}", or "{{Name@2}}" of the second record of a page.
    Kernel::String GetPlaceholder() const;
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<MergeFieldGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_source, m_field;
    std::uint32_t m_offset = 0;
};

// The number of the page on which it stands.
class REDRAFT_ENGINE PageNumberGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxPN"};
    std::u32string Expand(ExpansionContext const& context) const override;
    ExpansionReach GetExpansionReach() const override { return ExpansionReach::Frame; }
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<PageNumberGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

// The number of the document's pages.
class REDRAFT_ENGINE PageCountGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxPC"};
    std::u32string Expand(ExpansionContext const& context) const override;
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<PageCountGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();
};

} // namespace Story
