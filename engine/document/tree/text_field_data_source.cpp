// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_field_data_source.h"

#include "engine/document/tree/layout_epoch.h"
#include "platform/document/page_numbers.h"
#include "platform/kernel/cast.h"
#include "platform/story/field_glyphs.h"

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

TextFieldDataSource::TextFieldDataSource(Kernel::Counted<CustomFieldValues const> values, PagesRef pages)
    : m_values(std::move(values)), m_pages(std::move(pages)) {}

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
}

TextFieldDataSource::~TextFieldDataSource() = default;

TextFieldDataSource::Shown TextFieldDataSource::FindShown(TextFlow const& flow, Story::Story const& story,
                                                          DocumentNode const* document) {
    Shown shown;
    bool showsPages = false;
    if (document != nullptr)
        story.VisitObjects(story.GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const& glyph) {
            auto const uid = glyph->GetClassUID();
            if (uid == Story::PageNumberGlyph::c_classUid || uid == Story::PageCountGlyph::c_classUid)
                showsPages = true;
            else if (glyph->GetExpansionReach() >= Story::ExpansionReach::Document)
                shown.values = true;
            return !showsPages || !shown.values;
        });
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

std::optional<Kernel::String> TextFieldDataSource::GetCustomFieldValue(Kernel::String const& guid) const {
    auto const* const value = m_values ? m_values->Find(guid) : nullptr;
    return value == nullptr ? std::nullopt : std::optional(*value);
}

Kernel::String TextFieldDataSource::GetPageLabel(std::size_t frame) const {
    return m_pages && frame < m_pages->labels.size() ? m_pages->labels[frame] : Kernel::String();
}

Kernel::String TextFieldDataSource::GetPageCountLabel() const { return m_pages ? m_pages->count : Kernel::String(); }

bool TextFieldDataSource::IsEqualTo(Story::FieldDataSource const& other) const {
    auto const* const peer = Kernel::CastPointer<TextFieldDataSource const>(&other);
    if (peer == nullptr)
        return false;
    bool const sameValues = m_values == peer->m_values || (m_values && peer->m_values && *m_values == *peer->m_values);
    return sameValues && (m_pages == peer->m_pages || (m_pages && peer->m_pages && *m_pages == *peer->m_pages));
}
