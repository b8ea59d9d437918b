// SPDX-License-Identifier: Apache-2.0
#include "platform/story/field_glyphs.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/story/cross_reference.h"
#include "platform/story/field_data_source.h"
#include "platform/story/glyph_predicates.h"
#include "platform/story/paragraph.h"
#include "platform/story/style_sheet.h"

namespace Story {

// FieldDataSource

FieldDataSource::~FieldDataSource() = default;
std::optional<Kernel::String> FieldDataSource::GetCustomFieldValue(Kernel::String const&) const { return {}; }
Kernel::String FieldDataSource::GetPageLabel(std::size_t) const { return {}; }
Kernel::String FieldDataSource::GetPageCountLabel() const { return {}; }
Kernel::String FieldDataSource::GetMetadata(Kernel::String const&) const { return {}; }
Kernel::String FieldDataSource::GetCaptionNumber() const { return {}; }
Kernel::Counted<StyleSheet const> FieldDataSource::GetStyleSheet() const { return {}; }
std::optional<Kernel::String> FieldDataSource::GetMergeFieldValue(Kernel::String const&, Kernel::String const&,
                                                                  std::uint32_t) const {
    return {};
}
bool FieldDataSource::IsEqualTo(FieldDataSource const& other) const { return this == &other; }

// Predicates

GlyphPredicate::~GlyphPredicate() = default;

bool IsFieldGlyph(Glyph const& glyph) {
    return !glyph.IsCharacter() && Kernel::CastPointer<FieldGlyph const>(&glyph) != nullptr;
}
bool IsAnchorGlyph(Glyph const& glyph) { return glyph.GetClassUID() == AnchorGlyph::c_classUid; }
bool IsCrossReferenceGlyph(Glyph const& glyph) { return glyph.GetClassUID() == CrossReferenceGlyph::c_classUid; }

// Fields

FieldGlyph::~FieldGlyph() = default;

std::u32string CustomFieldGlyph::Expand(ExpansionContext const& context) const {
    if (context.fields == nullptr)
        return {};
    auto const value = context.fields->GetCustomFieldValue(m_guid);
    return value ? DecodeUtf8(value->view()).text : std::u32string();
}
Kernel::Counted<Glyph const> CustomFieldGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<CustomFieldGlyph>(m_guid);
}
void CustomFieldGlyph::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Guid", m_guid); }
bool CustomFieldGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Guid", m_guid);
    return true;
}

std::u32string MetadataGlyph::Expand(ExpansionContext const& context) const {
    return context.fields == nullptr ? std::u32string() : DecodeUtf8(context.fields->GetMetadata(m_key).view()).text;
}
Kernel::Counted<Glyph const> MetadataGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<MetadataGlyph>(m_key);
}
void MetadataGlyph::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "MKey", m_key); }
bool MetadataGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "MKey", m_key);
    return true;
}

std::u32string CaptionNumberGlyph::Expand(ExpansionContext const& context) const {
    return context.fields == nullptr ? std::u32string() : DecodeUtf8(context.fields->GetCaptionNumber().view()).text;
}
Kernel::Counted<Glyph const> CaptionNumberGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<CaptionNumberGlyph>();
}
void CaptionNumberGlyph::Save(Kernel::OutSerialiser&) const {}
bool CaptionNumberGlyph::Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) { return true; }

// Where no record is shown, the field's name, as users write it in a text.
std::u32string MergeFieldGlyph::Expand(ExpansionContext const& context) const {
    auto const value =
        context.fields == nullptr ? std::nullopt : context.fields->GetMergeFieldValue(m_source, m_field, m_offset);
    return DecodeUtf8(value ? value->view() : GetPlaceholder().view()).text;
}
Kernel::String MergeFieldGlyph::GetPlaceholder() const {
    return Kernel::String("{{" + m_field.ToStdString() + (m_offset == 0 ? "" : "@" + std::to_string(m_offset + 1)) +
                          "}}");
}
Kernel::Counted<Glyph const> MergeFieldGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<MergeFieldGlyph>(m_source, m_field, m_offset);
}
void MergeFieldGlyph::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Srce", m_source);
    Kernel::SaveValue(out, "Fiel", m_field);
    Kernel::SaveValue(out, "Offs", m_offset);
}
bool MergeFieldGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Srce", m_source);
    Kernel::LoadValue(in, "Fiel", m_field);
    Kernel::LoadValue(in, "Offs", m_offset);
    return true;
}

std::u32string PageNumberGlyph::Expand(ExpansionContext const& context) const {
    return context.fields == nullptr ? std::u32string()
                                     : DecodeUtf8(context.fields->GetPageLabel(context.frame).view()).text;
}
Kernel::Counted<Glyph const> PageNumberGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<PageNumberGlyph>();
}
void PageNumberGlyph::Save(Kernel::OutSerialiser&) const {}
bool PageNumberGlyph::Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) { return true; }

std::u32string PageCountGlyph::Expand(ExpansionContext const& context) const {
    return context.fields == nullptr ? std::u32string() : DecodeUtf8(context.fields->GetPageCountLabel().view()).text;
}
Kernel::Counted<Glyph const> PageCountGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<PageCountGlyph>();
}
void PageCountGlyph::Save(Kernel::OutSerialiser&) const {}
bool PageCountGlyph::Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) { return true; }

} // namespace Story
