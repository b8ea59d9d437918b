// SPDX-License-Identifier: Apache-2.0
#include "platform/document/index_preview.h"

#include "engine/document/catalogues/document_property_collection.h"
#include "engine/document/tree/layout_epoch.h"
#include "platform/document/data_merge_source.h"
#include "platform/document/epub_cover_info.h"
#include "platform/document/export_article.h"
#include "platform/document/page_numbers.h"
#include "platform/document/story_visitor.h"
#include "platform/epub/css_file.h"
#include "platform/kernel/cast.h"

#include <algorithm>

// TextBookmark

// Edits before it move a glyph a little: it is looked for in ever wider surroundings of where it was.
std::optional<std::uint32_t> TextBookmark::FindIndex() const {
    auto const text = m_text.Lock();
    if (!text || !m_glyph)
        return std::nullopt;
    auto const story = text->GetStory();
    auto const length = story->GetLength();
    std::optional<std::uint32_t> found;
    for (std::uint32_t reach = 1; !found; reach *= 16) {
        Story::StoryRange const range{m_index > reach ? m_index - reach : 0,
                                      m_index < length ? std::min<std::uint32_t>(length, m_index + reach) : length};
        story->VisitObjects(range, [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
            if (glyph == m_glyph)
                found = index;
            return !found;
        });
        if (reach >= Story::Story::c_maximumLength)
            break;
    }
    return found;
}

Kernel::Counted<Selection const> TextBookmark::GetSelection() const {
    auto const index = FindIndex();
    if (!index)
        return Kernel::MakeCounted<Selection const>();
    return Kernel::MakeCounted<Selection const>(
        m_text.Lock(), Kernel::MakeCounted<TextSelection>(Story::StoryRange{*index, *index + 1}));
}

// IndexPreview

class IndexPreview::Finder final : public StoryVisitor {
public:
    Finder(IndexPreview& preview, DocumentNode const& document)
        : StoryVisitor(preview.m_visibleOnly), m_preview(preview) {
        if (preview.m_hasPages)
            m_pages.emplace(document);
    }

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        Kernel::Counted<TextNode> const owner(&GetTextNode()->GetStoryOwner());
        m_preview.m_sources.push_back({Kernel::Weak<TextNode>(owner), Story::StoryRef(story->Clone())});
        m_flow.reset();
        m_numbers.clear();
        story->VisitObjects(
            story->GetAll(), [&](std::uint32_t index, Kernel::Counted<Story::Glyph const> const& glyph) {
                auto const* const mark = Kernel::CastPointer<Story::IndexMarkGlyph const>(glyph.get());
                if (mark == nullptr)
                    return true;
                auto found = Kernel::MakeCounted<IndexMarkPreview>(Kernel::Counted<Story::IndexMarkGlyph const>(mark),
                                                                   TextBookmark(owner, glyph, index));
                if (m_pages) {
                    found->m_pageNumber = GetPageNumber(*owner, index);
                    found->m_pageLabel = PageNumbers::GetLabel(found->m_pageNumber);
                }
                if (found->GetTopic())
                    m_preview.m_byTopic[found->GetTopic().get()].emplace_back(found);
                m_preview.m_marks.emplace_back(std::move(found));
                return true;
            });
    }

private:
    // Of a frame's page once for all marks in it.
    std::size_t GetPageNumber(TextNode const& owner, std::uint32_t index) {
        if (!m_flow)
            m_flow = owner.GetTextFlow();
        auto const frame = m_flow->FindNode(index);
        auto const [number, isNew] = m_numbers.try_emplace(frame.value_or(m_flow->size()));
        if (isNew && frame) {
            if (auto const node = m_flow->GetNodeAt(*frame))
                number->second = m_pages->GetPageNumber(*node);
        }
        return number->second;
    }

    IndexPreview& m_preview;
    std::optional<PageNumbers> m_pages;
    Kernel::Counted<TextFlow> m_flow;
    std::unordered_map<std::size_t, std::size_t> m_numbers;
};

IndexPreview::IndexPreview(DocumentNode const& document, bool visibleOnly, bool withPages)
    : m_epoch(LayoutEpoch::Get()), m_visibleOnly(visibleOnly), m_hasPages(withPages) {
    Finder finder(*this, document);
    finder.Visit(Kernel::JailCounted<Node>(const_cast<DocumentNode*>(&document)), {});
}

IndexPreview::~IndexPreview() = default;

IndexPreview::Marks IndexPreview::GetMarksForTopic(Kernel::Counted<Story::IndexTopic const> const& topic) const {
    auto const found = m_byTopic.find(topic.get());
    return found == m_byTopic.end() ? Marks() : Marks(found->second);
}

bool IndexPreview::IsCurrent() const {
    return m_epoch == LayoutEpoch::Get() && std::ranges::all_of(m_sources, [](Source const& source) {
               auto const owner = source.owner.Lock();
               if (!owner)
                   return false;
               auto const story = owner->GetStory();
               auto const count = story->GetParagraphCount();
               return source.story->GetParagraphCount() == count && source.story->CountCommonPrefix(*story) == count;
           });
}

// DocumentNode

struct DocumentNode::IndexMarkCache {
    std::mutex mutex;
    Kernel::Counted<IndexPreview const> preview;
};

DocumentNode::DocumentNode()
    : m_index(std::make_unique<Story::Index>(*this)), m_indexMarks(std::make_unique<IndexMarkCache>()) {}
DocumentNode::~DocumentNode() = default;

Kernel::Counted<IndexPreview const> DocumentNode::GetIndexMarks(bool visibleOnly, bool withPages, bool renew) const {
    Kernel::Counted<IndexPreview const> known;
    {
        std::lock_guard const lock(m_indexMarks->mutex);
        known = m_indexMarks->preview;
    }
    // Nothing tells whether a text was hidden since, or has come to another page.
    if (!renew && !visibleOnly && !withPages && known && !known->IsVisibleOnly() && known->IsCurrent())
        return known;
    auto made = Kernel::MakeCounted<IndexPreview const>(*this, visibleOnly, withPages);
    std::lock_guard const lock(m_indexMarks->mutex);
    m_indexMarks->preview = made;
    return made;
}

void DocumentNode::SetIndexMarkPreview(Kernel::Counted<IndexPreview> preview) {
    std::lock_guard const lock(m_indexMarks->mutex);
    m_indexMarks->preview = std::move(preview);
}
