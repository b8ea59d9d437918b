// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_field_data_source.h"

#include "engine/document/tree/caption_numbers.h"
#include "engine/document/tree/layout_epoch.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/page_numbers.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

#include <set>

PageNumbers::PageNumbers(DocumentNode const& document) {
    for (auto const& spread : document.GetSpreads()) {
        m_firstPages.emplace(spread.get(), m_pageCount + 1);
        m_pageCount += spread->CountChildren(NodeChildListType::Pages);
    }
}

std::size_t PageNumbers::GetPageNumber(Node const& node) const {
    auto const* const spread = node.GetSpread();
    auto const first = m_firstPages.find(spread);
    if (spread == nullptr || first == m_firstPages.end())
        return 0;
    // Of an art text the place where it begins, because its box would have to be composed.
    auto const toSpread = node.GetBaseToSpreadTransform();
    auto const* const art = Kernel::CastPointer<ArtTextNode const>(&node);
    auto const bounds = art != nullptr ? Kernel::RectT<double>() : node.GetOwnBounds(toSpread, false);
    auto const middle =
        art != nullptr ? toSpread.Apply(art->GetOrigin())
                       : Kernel::PointT<double>{(bounds.left + bounds.right) / 2, (bounds.top + bounds.bottom) / 2};
    auto number = first->second;
    for (Node const* page = spread->GetFirstChild(NodeChildListType::Pages); page != nullptr;
         page = page->GetNextSibling(), ++number) {
        auto const* const box = Kernel::CastPointer<BaseBoxInterface const>(page);
        auto const area = box == nullptr ? Kernel::RectT<double>() : box->GetBaseBox(false);
        if (middle.x >= area.left && middle.x < area.right && middle.y >= area.top && middle.y < area.bottom)
            return number;
    }
    return 0;
}

TextFieldDataSource::TextFieldDataSource(Kernel::Counted<CustomFieldValues const> values, PagesRef pages,
                                         MetadataRef metadata, RecordFieldsRef recordFields,
                                         Kernel::String captionNumber)
    : m_values(std::move(values)),
      m_pages(std::move(pages)),
      m_metadata(std::move(metadata)),
      m_recordFields(std::move(recordFields)),
      m_captionNumber(std::move(captionNumber)) {}

TextFieldDataSource::TextFieldDataSource(Kernel::NonCounted<TextFlow const> flow) {
    auto const first = flow->GetFirst();
    auto const document = first ? first->GetDocumentForComposition() : Kernel::Counted<DocumentNode const>();
    if (!document)
        return;
    m_styles = document->GetTextStyleSheet();
    auto shown = FindShown(*flow, *first->GetStory(), document.get());
    m_pages = std::move(shown.pages);
    if (shown.values)
        m_values = document->GetCustomFieldSource().GetValues();
    m_metadata = FindMetadata(*first, shown.metadataKeys);
    m_recordFields = FindRecordFields(document.get(), shown.recordFields);
    m_captionNumber = std::move(shown.captionNumber);
}

TextFieldDataSource::~TextFieldDataSource() = default;

TextFieldDataSource::Shown TextFieldDataSource::FindShown(TextFlow const& flow, Story::Story const& story,
                                                          DocumentNode const* document) {
    Shown shown;
    bool showsPages = false, showsCaptionNumber = false;
    std::set<Kernel::String> keys;
    std::set<RecordField> fields;
    if (document != nullptr)
        story.VisitObjects(story.GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
            auto const uid = glyph->GetClassUID();
            if (uid == Story::PageNumberGlyph::c_classUid || uid == Story::PageCountGlyph::c_classUid)
                showsPages = true;
            else if (uid == Story::CaptionNumberGlyph::c_classUid)
                showsCaptionNumber = true;
            else if (uid == Story::MetadataGlyph::c_classUid)
                keys.insert(Kernel::CastPointer<Story::MetadataGlyph const>(glyph.get())->GetKey());
            else if (auto const* const field = Kernel::CastPointer<Story::MergeFieldGlyph const>(glyph.get()))
                fields.emplace(field->GetSource(), field->GetField(), field->GetOffset());
            else if (glyph->GetExpansionReach() >= Story::ExpansionReach::Document)
                shown.values = true;
            return true;
        });
    shown.metadataKeys.assign(keys.begin(), keys.end());
    shown.recordFields.assign(fields.begin(), fields.end());
    if (auto const first = flow.GetFirst(); showsCaptionNumber && first) {
        auto const numbers = CaptionNumbers::Get(*document);
        // A caption that is measured before it stands in the document needs room for the greatest number that it may
        // get.
        auto const number = first->GetDocumentNode() == nullptr ? numbers->GetCaptions().size() + 1
                                                                : numbers->Find(first->GetStoryOwner());
        shown.captionNumber = Kernel::String(number == 0 ? "" : std::to_string(number));
    }
    if (!showsPages)
        return shown;
    LayoutEpoch::LetPlacesMatter();
    PageNumbers const numbers(*document);
    auto pages = std::make_shared<Pages>();
    pages->count = Kernel::String(std::to_string(numbers.GetPageCount()));
    pages->labels.reserve(flow.size());
    for (auto const& node : flow)
        pages->labels.push_back(node ? numbers.GetPageLabel(*node) : Kernel::String());
    shown.pages = std::move(pages);
    return shown;
}

TextFieldDataSource::MetadataRef TextFieldDataSource::FindMetadata(TextNode const& text,
                                                                   std::vector<Kernel::String> const& keys) {
    if (keys.empty())
        return {};
    Node const& caption = const_cast<TextNode&>(text).GetStoryOwner();
    Node const* const object = caption.GetParent();
    if (object == nullptr || caption.GetChildListType() != NodeChildListType::Captions)
        return {};
    Metadata metadata;
    for (auto const& key : keys) {
        std::string joined;
        for (auto const* const value : object->GetMetadataValuesForKey(key)) {
            if (!joined.empty() && !value->empty())
                joined += ", ";
            joined += value->view();
        }
        if (!joined.empty())
            metadata.insert_or_assign(key, Kernel::String(joined));
    }
    return metadata.empty() ? MetadataRef() : std::make_shared<Metadata const>(std::move(metadata));
}

TextFieldDataSource::RecordFieldsRef TextFieldDataSource::FindRecordFields(DocumentNode const* document,
                                                                           std::vector<RecordField> const& fields) {
    if (document == nullptr || fields.empty() || document->GetDataMergeSettings().empty())
        return {};
    RecordFields values;
    for (auto const& field : fields) {
        auto const& [guid, name, offset] = field;
        auto const source = FindDataMergeSource(*document, guid);
        if (auto value = source ? source->GetShownValue(name, offset) : std::nullopt)
            values.emplace(field, std::move(*value));
    }
    return values.empty() ? RecordFieldsRef() : std::make_shared<RecordFields const>(std::move(values));
}

std::optional<Kernel::String> TextFieldDataSource::GetMergeFieldValue(Kernel::String const& source,
                                                                      Kernel::String const& field,
                                                                      std::uint32_t offset) const {
    if (!m_recordFields)
        return {};
    auto const found = m_recordFields->find({source, field, offset});
    return found == m_recordFields->end() ? std::nullopt : std::optional(found->second);
}

std::optional<Kernel::String> TextFieldDataSource::GetCustomFieldValue(Kernel::String const& guid) const {
    auto const* const value = m_values ? m_values->Find(guid) : nullptr;
    return value == nullptr ? std::nullopt : std::optional(*value);
}

Kernel::String TextFieldDataSource::GetPageLabel(std::size_t frame) const {
    return m_pages && frame < m_pages->labels.size() ? m_pages->labels[frame] : Kernel::String();
}

Kernel::String TextFieldDataSource::GetPageCountLabel() const { return m_pages ? m_pages->count : Kernel::String(); }

Kernel::String TextFieldDataSource::GetMetadata(Kernel::String const& key) const {
    if (!m_metadata)
        return {};
    auto const found = m_metadata->find(key);
    return found == m_metadata->end() ? Kernel::String() : found->second;
}

bool TextFieldDataSource::IsEqualTo(Story::FieldDataSource const& other) const {
    auto const* const peer = Kernel::CastPointer<TextFieldDataSource const>(&other);
    if (peer == nullptr)
        return false;
    auto const isSame = [](auto const& a, auto const& b) { return a == b || (a && b && *a == *b); };
    return isSame(m_values, peer->m_values) && isSame(m_pages, peer->m_pages) && isSame(m_metadata, peer->m_metadata) &&
           isSame(m_recordFields, peer->m_recordFields) && m_captionNumber == peer->m_captionNumber;
}
