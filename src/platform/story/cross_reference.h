// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/enum_serialiser.h"
#include "platform/raster/affine_transform.h"
#include "platform/story/field_glyphs.h"

namespace Story {

// A place in a text that references lead to: an object with identity. Its id and its name change in place, in every
// version of the text.
class REDRAFT_ENGINE AnchorData final : public Kernel::Serialisable {
public:
    AnchorData() = default;
    AnchorData(Kernel::String uid, Kernel::String name) : m_uid(std::move(uid)), m_name(std::move(name)) {}
    // Empty for a copy that nobody has named yet.
    Kernel::String const& GetUid() const { return m_uid; }
    void SetUid(Kernel::String const& uid) const;
    Kernel::String const& GetName() const { return m_name; }
    void SetName(Kernel::String const& name) const;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<AnchorData>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    mutable Kernel::String m_uid;
    mutable Kernel::String m_name;
};

// Marks an anchor's place and shows nothing. A copy with CloneGlyphs marks an anchor of its own, which has the same
// name and no id: ids come from whoever puts the copy into a document (see Story::CloneWithOwnGlyphs).
class REDRAFT_ENGINE AnchorGlyph final : public Glyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxAn"};
    AnchorGlyph();
    // Null gives a new anchor without a name.
    explicit AnchorGlyph(Kernel::Counted<AnchorData> anchor);
    ~AnchorGlyph() override;
    // Never null.
    Kernel::Counted<AnchorData> const& GetAnchorData() const { return m_anchor; }
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<AnchorGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Counted<AnchorData> m_anchor;
};

// The part of its target that a reference shows. Persisted by name.
enum class CrossReferenceTargetType : int {
    None = 0,
    Page = 1,
    Text = 2, // of the anchor's paragraph
    AnchorName = 3,
    Number = 4 // of the anchor's paragraph, or of the caption that it stands in
};

class REDRAFT_ENGINE CrossReferenceTargetTypeEnumSerialiser final : public Kernel::EnumSerialiser {
public:
    static CrossReferenceTargetTypeEnumSerialiser const& GetInstance();

private:
    CrossReferenceTargetTypeEnumSerialiser();
};

// How references of one style read: a pattern in which {text}, {page}, {name} and {number} stand for the target's, and
// {} for the part that the reference asks for. Immutable once it is shared.
class REDRAFT_ENGINE CrossReferenceAtt final : public Kernel::Serialisable {
public:
    struct Target {
        Kernel::String text, page, name, number;
    };
    CrossReferenceAtt();
    CrossReferenceAtt(Kernel::String name, Kernel::String pattern)
        : m_name(std::move(name)), m_pattern(std::move(pattern)) {}
    // Without a name; shows the part that is asked for and nothing else.
    static Kernel::Counted<CrossReferenceAtt const> const& GetDefault();
    Kernel::String const& GetName() const { return m_name; }
    Kernel::String const& GetPattern() const { return m_pattern; }
    // Styles are told apart by their names, as a document has one of each.
    bool IsSameStyle(Kernel::Counted<CrossReferenceAtt const> const& other) const;
    // The text of a reference. Braces that name nothing stay as they are. None of the values is read as a pattern.
    Kernel::String Format(CrossReferenceTargetType type, Target const& target) const;
    friend bool operator==(CrossReferenceAtt const& a, CrossReferenceAtt const& b) {
        return a.m_name == b.m_name && a.m_pattern == b.m_pattern;
    }

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CrossReferenceAtt>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::String m_name;
    Kernel::String m_pattern;
};

// A reference to an anchor. It keeps the text that it shows, which is made anew on request: composition of one place
// never waits for another. Setters are for a glyph that stands in no story, or that Story::GetMutableGlyph gave.
class REDRAFT_ENGINE CrossReferenceGlyph final : public FieldGlyph {
public:
    static constexpr Kernel::ClassUID c_classUid{"TxXR"};
    CrossReferenceGlyph();
    CrossReferenceGlyph(Kernel::Counted<CrossReferenceAtt const> att, CrossReferenceTargetType targetType,
                        Kernel::Counted<AnchorData> anchor, bool anchorFlag);
    ~CrossReferenceGlyph() override;
    // A sample.
    static Kernel::Counted<Glyph const> const& GetDefault();

    // Never null.
    Kernel::Counted<CrossReferenceAtt const> const& GetAtt() const { return m_att; }
    // Null: the default.
    void SetAtt(Kernel::Counted<CrossReferenceAtt const> att);
    CrossReferenceTargetType GetTargetType() const { return m_targetType; }
    void SetTargetType(CrossReferenceTargetType type);
    // Null for a reference that leads nowhere.
    Kernel::Counted<AnchorData> const& GetAnchorData() const { return m_anchor; }
    bool GetAnchorFlag() const { return m_anchorFlag; }
    void SetAnchorData(Kernel::Counted<AnchorData> anchor, bool flag);
    // The text scale of the frame in which its style was chosen.
    Raster::AffineTransform::Params const& GetUiScale() const { return m_uiScale; }
    void SetUiScale(Raster::AffineTransform::Params const& scale);
    Kernel::String const& GetText() const { return m_text; }
    void SetText(Kernel::String text);

    std::u32string Expand(ExpansionContext const& context) const override;
    ExpansionReach GetExpansionReach() const override { return ExpansionReach::Glyph; }
    // Refers to the same anchor.
    Kernel::Counted<Glyph const> Clone(GlyphCloneContext context) const override;

    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<CrossReferenceGlyph>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties();

private:
    Kernel::Counted<CrossReferenceAtt const> m_att;
    Kernel::Counted<AnchorData> m_anchor;
    Raster::AffineTransform::Params m_uiScale;
    Kernel::String m_text;
    CrossReferenceTargetType m_targetType = CrossReferenceTargetType::None;
    bool m_anchorFlag = false;
};

} // namespace Story
