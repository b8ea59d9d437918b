// SPDX-License-Identifier: Apache-2.0
#include "platform/story/cross_reference.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"
#include "platform/story/linked_file.h"
#include "platform/story/paragraph.h"

#include <array>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace Story {

// AnchorData

void AnchorData::SetUid(Kernel::String const& uid) const {
    m_uid = uid;
    MarkChanged();
}
void AnchorData::SetName(Kernel::String const& name) const {
    m_name = name;
    MarkChanged();
}
void AnchorData::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Uid_", m_uid);
    Kernel::SaveValue(out, "Name", m_name);
}
bool AnchorData::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Uid_", m_uid);
    Kernel::LoadValue(in, "Name", m_name);
    return true;
}

// AnchorGlyph

AnchorGlyph::AnchorGlyph() : m_anchor(Kernel::MakeCounted<AnchorData>()) {}
AnchorGlyph::AnchorGlyph(Kernel::Counted<AnchorData> anchor)
    : m_anchor(anchor ? std::move(anchor) : Kernel::MakeCounted<AnchorData>()) {}
AnchorGlyph::~AnchorGlyph() = default;
Kernel::Counted<Glyph const> AnchorGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    return Kernel::MakeCounted<AnchorGlyph>(Kernel::MakeCounted<AnchorData>(Kernel::String(), m_anchor->GetName()));
}
void AnchorGlyph::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Anch", m_anchor); }
bool AnchorGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::Counted<AnchorData> anchor;
    Kernel::LoadValue(in, "Anch", anchor);
    m_anchor = anchor ? std::move(anchor) : Kernel::MakeCounted<AnchorData>();
    return true;
}

// CrossReferenceAtt

CrossReferenceTargetTypeEnumSerialiser const& CrossReferenceTargetTypeEnumSerialiser::GetInstance() {
    static CrossReferenceTargetTypeEnumSerialiser const s_instance;
    return s_instance;
}
CrossReferenceTargetTypeEnumSerialiser::CrossReferenceTargetTypeEnumSerialiser() {
    static constexpr EnumEntry c_entries[] = {{0, "None"}, {1, "Page"}, {2, "Text"}, {3, "AnchorName"}, {4, "Number"}};
    RegisterEnumSet(c_entries, std::size(c_entries));
}

CrossReferenceAtt::CrossReferenceAtt() : m_pattern("{}") {}
Kernel::Counted<CrossReferenceAtt const> const& CrossReferenceAtt::GetDefault() {
    // Never destroyed: stories may outlive static objects.
    static auto const& s_default =
        *new Kernel::Counted<CrossReferenceAtt const>(Kernel::MakeCounted<CrossReferenceAtt>());
    return s_default;
}
bool CrossReferenceAtt::IsSameStyle(Kernel::Counted<CrossReferenceAtt const> const& other) const {
    return other && m_name == other->m_name;
}

Kernel::String CrossReferenceAtt::Format(CrossReferenceTargetType type, Target const& target) const {
    static Kernel::String const s_nothing;
    auto const getAsked = [&]() -> Kernel::String const& {
        switch (type) {
        case CrossReferenceTargetType::Page:
            return target.page;
        case CrossReferenceTargetType::Text:
            return target.text;
        case CrossReferenceTargetType::AnchorName:
            return target.name;
        case CrossReferenceTargetType::Number:
            return target.number;
        default:
            return s_nothing;
        }
    };
    std::array<std::pair<std::string_view, Kernel::String const*>, 5> const places{{{"{}", &getAsked()},
                                                                                    {"{text}", &target.text},
                                                                                    {"{page}", &target.page},
                                                                                    {"{name}", &target.name},
                                                                                    {"{number}", &target.number}}};
    auto const pattern = m_pattern.view();
    std::string text;
    for (std::size_t at = 0; at != pattern.size();) {
        bool isPlace = false;
        for (auto const& [name, value] : places) {
            if (pattern.substr(at, name.size()) != name)
                continue;
            text += value->view();
            at += name.size();
            isPlace = true;
            break;
        }
        if (!isPlace)
            text += pattern[at++];
    }
    return Kernel::String(text);
}

void CrossReferenceAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Name", m_name);
    Kernel::SaveValue(out, "Ptrn", m_pattern);
}
bool CrossReferenceAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Name", m_name);
    Kernel::LoadValue(in, "Ptrn", m_pattern);
    return true;
}

// CrossReferenceGlyph

CrossReferenceGlyph::CrossReferenceGlyph() : m_att(CrossReferenceAtt::GetDefault()) {}
CrossReferenceGlyph::CrossReferenceGlyph(Kernel::Counted<CrossReferenceAtt const> att,
                                         CrossReferenceTargetType targetType, Kernel::Counted<AnchorData> anchor,
                                         bool anchorFlag)
    : m_att(att ? std::move(att) : CrossReferenceAtt::GetDefault()),
      m_anchor(std::move(anchor)),
      m_targetType(targetType),
      m_anchorFlag(anchorFlag) {}
CrossReferenceGlyph::~CrossReferenceGlyph() = default;

Kernel::Counted<Glyph const> const& CrossReferenceGlyph::GetDefault() {
    static auto const& s_default = *new Kernel::Counted<Glyph const>(Kernel::MakeCounted<CrossReferenceGlyph>());
    return s_default;
}

void CrossReferenceGlyph::SetAtt(Kernel::Counted<CrossReferenceAtt const> att) {
    m_att = att ? std::move(att) : CrossReferenceAtt::GetDefault();
    MarkChanged();
}
void CrossReferenceGlyph::SetTargetType(CrossReferenceTargetType type) {
    m_targetType = type;
    MarkChanged();
}
void CrossReferenceGlyph::SetAnchorData(Kernel::Counted<AnchorData> anchor, bool flag) {
    m_anchor = std::move(anchor);
    m_anchorFlag = flag;
    MarkChanged();
}
void CrossReferenceGlyph::SetUiScale(Raster::AffineTransform::Params const& scale) {
    m_uiScale = scale;
    MarkChanged();
}
void CrossReferenceGlyph::SetText(Kernel::String text) {
    m_text = std::move(text);
    MarkChanged();
}

std::u32string CrossReferenceGlyph::Expand(ExpansionContext const&) const { return DecodeUtf8(m_text.view()).text; }

Kernel::Counted<Glyph const> CrossReferenceGlyph::Clone(GlyphCloneContext context) const {
    if (context == GlyphCloneContext::NoCloneGlyphs)
        return Kernel::Counted<Glyph const>(this);
    auto copy = Kernel::MakeCounted<CrossReferenceGlyph>(m_att, m_targetType, m_anchor, m_anchorFlag);
    copy->m_uiScale = m_uiScale;
    copy->m_text = m_text;
    return copy;
}

void CrossReferenceGlyph::Save(Kernel::OutSerialiser& out) const {
    using Types = CrossReferenceTargetTypeEnumSerialiser;
    Kernel::SaveValue(out, "Att_", m_att);
    Kernel::Detail::SaveEnumMember(out, "Trgt", Types::GetInstance(), m_targetType);
    Kernel::SaveValue(out, "Anch", m_anchor);
    Kernel::SaveValue(out, "AFlg", m_anchorFlag);
    Kernel::SaveValue(out, "UiSc", m_uiScale);
    Kernel::SaveValue(out, "Text", m_text);
}
bool CrossReferenceGlyph::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    using Types = CrossReferenceTargetTypeEnumSerialiser;
    Kernel::Counted<CrossReferenceAtt const> att;
    Kernel::LoadValue(in, "Att_", att);
    m_att = att ? std::move(att) : CrossReferenceAtt::GetDefault();
    auto const& types = Types::GetInstance();
    if (Kernel::Detail::LoadEnumMember(in, "Trgt", types, m_targetType) &&
        !types.IsRegistered(static_cast<int>(m_targetType)))
        m_targetType = CrossReferenceTargetType::None;
    Kernel::LoadValue(in, "Anch", m_anchor);
    Kernel::LoadValue(in, "AFlg", m_anchorFlag);
    Kernel::LoadValue(in, "UiSc", m_uiScale);
    Kernel::LoadValue(in, "Text", m_text);
    return true;
}

// LinkedFileAtt

Kernel::Counted<LinkedFileAtt const> const& LinkedFileAtt::GetDefault() {
    static auto const& s_default = *new Kernel::Counted<LinkedFileAtt const>(Kernel::MakeCounted<LinkedFileAtt>());
    return s_default;
}
Kernel::Counted<LinkedFileAtt const> LinkedFileAtt::Of(ParagraphAtts const& atts) {
    auto const* const file = Kernel::CastPointer<LinkedFileAtt const>(atts.Get(ParagraphAtt::Object::LinkedFile).get());
    return file == nullptr ? GetDefault() : Kernel::Counted<LinkedFileAtt const>(file);
}
void LinkedFileAtt::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Path", m_path);
    if (IsSet())
        out.AddFilePath(m_path);
}
bool LinkedFileAtt::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Path", m_path);
    return true;
}

} // namespace Story
