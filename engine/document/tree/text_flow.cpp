// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/text_flow.h"

#include "engine/document/tree/layout_epoch.h"
#include "platform/document/shown_texts.h"
#include "platform/document/spread_rects.h"
#include "platform/kernel/cast.h"
#include "platform/story/reading_direction.h"

#include <algorithm>

namespace {

// A story that is being edited changes in place; versions are told apart by their paragraphs.
bool IsSameVersion(Story::Story const& a, Story::Story const& b) {
    auto const count = a.GetParagraphCount();
    return count == b.GetParagraphCount() && a.GetWritingMode() == b.GetWritingMode() &&
           a.CountCommonPrefix(b) == count;
}

} // namespace

// TextNode

TextNode::TextNode() : m_cache(std::make_unique<Cache>()) {}
TextNode::~TextNode() = default;

void TextNode::ForgetTextFlow() const {
    auto& owner = const_cast<TextNode*>(this)->GetStoryOwner();
    owner.m_cache->version.fetch_add(1, std::memory_order_release);
}

void TextNode::OnStateChanged(InterfaceId id) {
    if (id == InterfaceId::Story)
        NoteStoryChange();
    SceneNode::OnStateChanged(id);
}

// Other texts may run round an art text, whose outline is that of its lines; a frame stays as it is.
void TextNode::NoteStoryChange() const {
    m_cache->storyVersion.fetch_add(1, std::memory_order_release);
    if (Kernel::CastPointer<ArtTextNode const>(this) != nullptr)
        LayoutEpoch::AdvanceForPlaces();
}

void TextNode::OnStoryChange(ChangeResult* result, bool changed, Story::StoryChange const&, bool) {
    auto& owner = GetStoryOwner();
    if (changed) {
        owner.NoteStoryChange();
        owner.MarkChanged();
    }
    if (result == nullptr)
        return;
    if (!changed)
        result->m_textsBefore = std::make_shared<ShownTexts>(*this);
    else if (result->m_textsBefore)
        std::exchange(result->m_textsBefore, nullptr)->IncludeChanged(result->m_rects);
}

void TextNode::GetStoryInvalidationBox(SpreadRects& areas, Story::StoryChange const& change) const {
    auto const flow = GetTextFlow();
    auto const composed = GetComposition();
    auto const count = std::min(flow->size(), composed->GetComposedFrameCount());
    auto const begin = change.GetRanges().empty() ? 0 : change.GetRanges().GetMaxRange().begin;
    for (std::size_t i = 0; i != count; ++i) {
        auto const node = flow->GetNodeAt(i);
        if (node && composed->GetFrame(i)->GetRange().end >= begin)
            areas.IncludeWhereShown(*node);
    }
}

void TextNode::SetDocumentForComposition(DocumentNode const* document) {
    m_cache->document = Kernel::Weak<DocumentNode const>(Kernel::Counted<DocumentNode const>(document));
    ForgetTextFlow();
}

Kernel::Counted<DocumentNode const> TextNode::GetDocumentForComposition() const {
    if (auto const* const document = GetDocumentNode())
        return Kernel::Counted<DocumentNode const>(document);
    return m_cache->document.Lock();
}

Kernel::Counted<Story::StyleSheet const> TextNode::GetTextStyleSheet() const {
    auto const document = GetDocumentForComposition();
    return document ? document->GetTextStyleSheet() : Story::StyleSheet::GetEmpty();
}

bool TextNode::IsReadRightToLeft() const {
    auto& cache = *const_cast<TextNode*>(this)->GetStoryOwner().m_cache;
    auto const version = cache.storyVersion.load(std::memory_order_acquire);
    auto const styles = GetTextStyleSheet();
    {
        std::lock_guard const lock(cache.mutex);
        if (cache.direction.storyVersion == version && cache.direction.styles == styles)
            return cache.direction.isRightToLeft;
    }
    bool const isRightToLeft = Story::IsReadRightToLeft(*GetStory(), *styles);
    std::lock_guard const lock(cache.mutex);
    cache.direction = {version, styles, isRightToLeft};
    return isRightToLeft;
}

// The places of objects are looked at without the lock, because other texts may have to be composed for that.
Kernel::Counted<TextFlow> TextNode::GetTextFlow() const {
    auto& cache = *const_cast<TextNode*>(this)->GetStoryOwner().m_cache;
    TextFlow::Key const key{LayoutEpoch::Get(), cache.version.load(std::memory_order_acquire), GetDocumentNode()};
    Kernel::Counted<TextFlow> known;
    {
        std::lock_guard const lock(cache.mutex);
        known = cache.flow;
    }
    auto const holds = [&](TextFlow const& flow) {
        auto const& isRightToLeft = flow.m_places.isRightToLeft;
        return flow.m_key == key && flow.m_places.writingMode == GetStory()->GetWritingMode() &&
               (!isRightToLeft || *isRightToLeft == IsReadRightToLeft());
    };
    if (known && holds(*known))
        return known;
    auto made = MakeTextFlow();
    made->m_key = key;
    std::lock_guard const lock(cache.mutex);
    // Another thread may have been faster.
    if (cache.flow && cache.flow != known && cache.flow->m_key == key &&
        cache.flow->m_places.isRightToLeft == made->m_places.isRightToLeft &&
        cache.flow->m_places.writingMode == made->m_places.writingMode)
        return cache.flow;
    cache.flow = made;
    return made;
}

// A composition reads a version of its own, so that it may go on on any thread while the story is edited.
Kernel::Counted<Story::ComposedStory> TextNode::GetComposition() const {
    auto const flow = GetTextFlow();
    auto const story = GetStory();
    auto const document = GetDocumentForComposition();
    auto const styles = document ? document->GetTextStyleSheet() : Story::StyleSheet::GetEmpty();
    auto& cache = *const_cast<TextNode*>(this)->GetStoryOwner().m_cache;
    auto& composed = cache.composed;
    bool isSameStory = false, isSameFlow = false;
    auto const compare = [&] {
        isSameStory = composed && IsSameVersion(*composed->GetStory(), *story);
        isSameFlow = cache.composedFlow == flow;
    };
    std::unique_lock lock(cache.mutex);
    compare();
    if (!isSameStory || !isSameFlow) {
        // Nodes are looked at without the lock, because one of them may come to its end.
        lock.unlock();
        auto shown = TextFieldDataSource::FindShown(*flow, *story, document.get());
        lock.lock();
        compare();
        if (!shown.pages || !cache.shown.pages || !(*shown.pages == *cache.shown.pages))
            cache.shown.pages = std::move(shown.pages);
        cache.shown.values = shown.values;
        cache.shown.metadataKeys = std::move(shown.metadataKeys);
        cache.shown.recordFields = std::move(shown.recordFields);
        cache.shown.captionNumber = std::move(shown.captionNumber);
    }
    // A value that the story does not show disturbs it in no way.
    auto const& pages = cache.shown.pages;
    auto const values = document && cache.shown.values ? document->GetCustomFieldSource().GetValues()
                                                       : Kernel::Counted<CustomFieldValues const>();
    auto metadata = TextFieldDataSource::FindMetadata(*this, cache.shown.metadataKeys);
    if (metadata && cache.fields && cache.fields->m_metadata && *metadata == *cache.fields->m_metadata)
        metadata = cache.fields->m_metadata;
    auto records = TextFieldDataSource::FindRecordFields(document.get(), cache.shown.recordFields);
    if (records && cache.fields && cache.fields->m_recordFields && *records == *cache.fields->m_recordFields)
        records = cache.fields->m_recordFields;
    auto const& number = cache.shown.captionNumber;
    if (!values && !pages && !metadata && !records && number.empty())
        cache.fields.reset();
    else if (!cache.fields || cache.fields->m_values != values || cache.fields->m_pages != pages ||
             cache.fields->m_metadata != metadata || cache.fields->m_recordFields != records ||
             cache.fields->m_captionNumber != number)
        cache.fields = Kernel::Counted<TextFieldDataSource const>(
            new TextFieldDataSource(values, pages, metadata, records, number));
    bool const isCurrent = isSameStory && composed->GetStyleSheet() == styles &&
                           composed->GetFields() == cache.fields &&
                           (isSameFlow || composed->GetGeometries() == flow->m_places.geometries);
    if (!isCurrent)
        composed = Kernel::MakeCounted<Story::ComposedStory>(isSameStory ? composed->GetStory()
                                                                         : Story::StoryRef(story->Clone()),
                                                             styles, flow->m_places.geometries, cache.fields, composed);
    cache.composedFlow = flow;
    return composed;
}

Kernel::Counted<Story::ComposedStory>
TextNode::MakeComposedStory(Story::CompositionEndConditions const& conditions) const {
    auto composed = GetComposition();
    composed->Compose(conditions);
    return composed;
}

Story::ComposedFramePtr TextNode::MakeComposedText() const {
    auto const composed = GetComposition();
    return composed->GetFrame(GetTextFlow()->GetIndex(*this));
}

Story::Selection TextNode::GetContainedText(bool withStoryEnd) const {
    auto const story = GetStory();
    auto range = MakeComposedText()->GetRange();
    if (!withStoryEnd)
        range.end = std::min(range.end, story->GetClientAll().end);
    range.begin = std::min(range.begin, range.end);
    return {story, Story::StoryRanges({range})};
}

// TextFlow

TextFlow::TextFlow(std::vector<TextNode*> const& nodes, Places places) : m_places(std::move(places)) {
    m_nodes.reserve(nodes.size());
    for (auto* const node : nodes) {
        m_indices.emplace(node, m_nodes.size());
        // Without taking hold of a node that nobody holds: it is being made, or at its end.
        auto unheld = Kernel::Counted<TextNode>::Adopt(node);
        m_nodes.emplace_back(unheld);
        static_cast<void>(unheld.Detach());
    }
}

TextFlow::~TextFlow() = default;

std::size_t TextFlow::GetIndex(TextNode const& node) const {
    auto const found = m_indices.find(&node);
    return found == m_indices.end() ? size() : found->second;
}

Kernel::Counted<ExportTaggingInterface> TextFlow::GetExportTagging() const {
    auto const first = GetFirst();
    return first ? Kernel::Counted<ExportTaggingInterface>(&first->GetExportTaggingOwner())
                 : Kernel::Counted<ExportTaggingInterface>();
}

std::optional<std::size_t> TextFlow::FindNode(std::uint32_t position) const {
    auto const first = GetFirst();
    auto const frame = first ? first->GetComposition()->FindFrame(position) : size();
    return frame < size() ? std::optional(frame) : std::nullopt;
}

Kernel::Counted<TextNode> TextFlow::GetNode(Story::StoryPos const& position) const {
    auto const found = FindNode(position.GetIndex());
    return found ? GetNodeAt(*found) : Kernel::Counted<TextNode>();
}

void TextFlow::AddToSelection(Kernel::Counted<MutableSelection> const& selection,
                              Story::Selection const& ranges) const {
    for (auto const& range : ranges.GetRanges(true)) {
        auto node = GetNodeAt(FindNode(range.begin).value_or(0));
        if (node)
            selection->AddItem(
                Kernel::MakeCounted<SubSelectionItem>(std::move(node), Kernel::MakeCounted<TextSelection>(range)),
                false);
    }
}
