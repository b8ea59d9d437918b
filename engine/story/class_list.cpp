// SPDX-License-Identifier: Apache-2.0
// Every persisted class of stories, with its tag. Tags and versions are the stored format's key.

#include "engine/story/story_content.h"
#include "platform/kernel/hashed_by_content.h"
#include "platform/kernel/type_name.h"
#include "platform/story/cross_reference.h"
#include "platform/story/drop_cap.h"
#include "platform/story/hyperlink.h"
#include "platform/story/index_mark.h"
#include "platform/story/index_text.h"
#include "platform/story/linked_file.h"
#include "platform/story/note.h"
#include "platform/story/numberer.h"
#include "platform/story/pin.h"
#include "platform/story/story.h"
#include "platform/story/style_sheet.h"
#include "platform/story/toc.h"

#include <optional>

namespace Story {

namespace {

enum class Kind { Object, Value };

// Values are never changed once they are shared, and shared or not as edits and loading leave them.
template <class T, Kind kind = Kind::Object>
Kernel::ClassProperties const* Register(Kernel::ClassUID tag, unsigned short version = 1,
                                        Kernel::ClassProperties const* base = nullptr) {
    struct Entry {
        Entry(Kernel::ClassUID uid, unsigned short newest, Kernel::ClassProperties const* parent)
            : properties(uid, &T::CreateObject, newest, nullptr, parent, Kernel::TypeName<T>().data()),
              init(&properties) {
            if constexpr (kind == Kind::Value)
                value.emplace(&properties);
        }
        Kernel::ClassProperties properties;
        Kernel::ClassPropertiesBase::Init init;
        std::optional<Kernel::HashedByContent> value;
    };
    static Entry const s_entry(tag, version, base);
    return &s_entry.properties;
}

} // namespace

using Properties = Kernel::ClassProperties const*;

// clang-format off
// Since version 2 a text may name blocks.
Properties Story::GetTypeClassProperties()               { Block::GetTypeClassProperties(); return Register<Story>("Stry", 2); }
Properties Story::Block::GetTypeClassProperties()        { return Register<Block>("TxBl"); }
Properties Paragraph::GetTypeClassProperties()           { return Register<Paragraph, Kind::Value>("TxPa"); }
Properties GlyphAtts::GetTypeClassProperties()           { return Register<GlyphAtts, Kind::Value>("TxGA"); }
Properties ParagraphAtts::GetTypeClassProperties()       { return Register<ParagraphAtts, Kind::Value>("TxPt"); }
Properties TabStops::GetTypeClassProperties()            { return Register<TabStops, Kind::Value>("TxTb"); }
Properties LinkedFileAtt::GetTypeClassProperties()       { return Register<LinkedFileAtt, Kind::Value>("TxLF"); }
Properties Delta::GetTypeClassProperties()               { return Register<Delta, Kind::Value>("TxDe"); }
Properties Style::GetTypeClassProperties()               { return Register<Style>("TxSt"); }
Properties TocAtt::GetTypeClassProperties()              { return Register<TocAtt, Kind::Value>("TxTA"); }
Properties TocStyleDelta::GetTypeClassProperties()       { return Register<TocStyleDelta, Kind::Value>("TxTD", 1, Delta::GetTypeClassProperties()); }
Properties TocStyle::GetTypeClassProperties()            { return Register<TocStyle>("TxTC", 1, Style::GetTypeClassProperties()); }
Properties TocEntryStyle::GetTypeClassProperties()       { return Register<TocEntryStyle>("TxTE", 1, Style::GetTypeClassProperties()); }
Properties StyleSheet::GetTypeClassProperties()          { return Register<StyleSheet>("TxSh"); }
Properties CharacterGlyph::GetTypeClassProperties()      { return Register<CharacterGlyph>("TxCh"); }
Properties FillerTextGlyph::GetTypeClassProperties()     { return Register<FillerTextGlyph>(FillerTextGlyph::c_classUid); }
Properties CustomFieldGlyph::GetTypeClassProperties()    { return Register<CustomFieldGlyph>(CustomFieldGlyph::c_classUid); }
Properties MetadataGlyph::GetTypeClassProperties()       { return Register<MetadataGlyph>(MetadataGlyph::c_classUid); }
Properties MergeFieldGlyph::GetTypeClassProperties()     { return Register<MergeFieldGlyph>(MergeFieldGlyph::c_classUid); }
Properties CaptionNumberGlyph::GetTypeClassProperties()  { return Register<CaptionNumberGlyph>(CaptionNumberGlyph::c_classUid); }
Properties PageNumberGlyph::GetTypeClassProperties()     { return Register<PageNumberGlyph>(PageNumberGlyph::c_classUid); }
Properties PageCountGlyph::GetTypeClassProperties()      { return Register<PageCountGlyph>(PageCountGlyph::c_classUid); }
Properties AnchorData::GetTypeClassProperties()          { return Register<AnchorData>("TxAD"); }
Properties AnchorGlyph::GetTypeClassProperties()         { return Register<AnchorGlyph>(AnchorGlyph::c_classUid); }
Properties CrossReferenceAtt::GetTypeClassProperties()   { return Register<CrossReferenceAtt, Kind::Value>("TxXA"); }
Properties CrossReferenceGlyph::GetTypeClassProperties() { return Register<CrossReferenceGlyph>(CrossReferenceGlyph::c_classUid); }
Properties IndexTopic::GetTypeClassProperties()          { return Register<IndexTopic>("TxIT"); }
Properties IndexMarkGlyph::GetTypeClassProperties()      { return Register<IndexMarkGlyph>(IndexMarkGlyph::c_classUid); }
Properties PinGlyph::GetTypeClassProperties()            { return Register<PinGlyph>(PinGlyph::c_classUid); }
Properties IndexAtt::GetTypeClassProperties()            { return Register<IndexAtt, Kind::Value>("TxIA"); }
Properties NoteGlyph::GetTypeClassProperties()           { return Register<NoteGlyph>(NoteGlyph::c_classUid); }
Properties NumberingAtt::GetTypeClassProperties()        { return Register<NumberingAtt, Kind::Value>("TxNu"); }
Properties DropCapAtt::GetTypeClassProperties()          { return Register<DropCapAtt, Kind::Value>("TxDC"); }
Properties HyperlinkAtt::GetTypeClassProperties()        { return Register<HyperlinkAtt, Kind::Value>("TxHy"); }
// clang-format on

namespace {

// Registers all of them while the library is loaded: a file may bring any of them first.
[[maybe_unused]] Properties const c_all[] = {Story::GetTypeClassProperties(),
                                             Paragraph::GetTypeClassProperties(),
                                             GlyphAtts::GetTypeClassProperties(),
                                             ParagraphAtts::GetTypeClassProperties(),
                                             TabStops::GetTypeClassProperties(),
                                             LinkedFileAtt::GetTypeClassProperties(),
                                             Delta::GetTypeClassProperties(),
                                             Style::GetTypeClassProperties(),
                                             TocAtt::GetTypeClassProperties(),
                                             TocStyleDelta::GetTypeClassProperties(),
                                             TocStyle::GetTypeClassProperties(),
                                             TocEntryStyle::GetTypeClassProperties(),
                                             StyleSheet::GetTypeClassProperties(),
                                             CharacterGlyph::GetTypeClassProperties(),
                                             FillerTextGlyph::GetTypeClassProperties(),
                                             CustomFieldGlyph::GetTypeClassProperties(),
                                             MetadataGlyph::GetTypeClassProperties(),
                                             CaptionNumberGlyph::GetTypeClassProperties(),
                                             MergeFieldGlyph::GetTypeClassProperties(),
                                             PageNumberGlyph::GetTypeClassProperties(),
                                             PageCountGlyph::GetTypeClassProperties(),
                                             AnchorData::GetTypeClassProperties(),
                                             AnchorGlyph::GetTypeClassProperties(),
                                             CrossReferenceAtt::GetTypeClassProperties(),
                                             CrossReferenceGlyph::GetTypeClassProperties(),
                                             IndexTopic::GetTypeClassProperties(),
                                             IndexMarkGlyph::GetTypeClassProperties(),
                                             PinGlyph::GetTypeClassProperties(),
                                             IndexAtt::GetTypeClassProperties(),
                                             NoteGlyph::GetTypeClassProperties(),
                                             NumberingAtt::GetTypeClassProperties(),
                                             DropCapAtt::GetTypeClassProperties(),
                                             HyperlinkAtt::GetTypeClassProperties()};

} // namespace

} // namespace Story
