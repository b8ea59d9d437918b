// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/text_flow.h"
#include "platform/document/shown_texts.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/field_list.h"

#include <algorithm>

// TextNode

Kernel::Counted<Story::Story> TextNode::GetMutableStory(bool) {
    auto story = GetStory()->Clone();
    SetStory(story);
    return story;
}

void TextNode::SetText(Story::GlyphString const& text, Story::GlyphAttsRef const& glyphAtts,
                       Story::ParagraphAttsRef const& paragraphAtts) {
    auto const story = GetStory()->Clone();
    story->ReplaceText(story->GetClientAll(), text, glyphAtts, paragraphAtts);
    SetStory(story);
}

void TextNode::OnTransformChange(ChangeResult* result, bool after, bool geometry, bool recompose) {
    if (after)
        MarkChanged();
    if (result != nullptr && IsInDocument()) {
        result->m_rects.IncludeWhereShown(*this);
        if (!after && geometry && ShownTexts::AnyWraps())
            result->m_textsBefore = std::make_shared<ShownTexts>(std::vector<SpreadNode const*>{GetSpread()});
    }
    if (result != nullptr && after && result->m_textsBefore)
        std::exchange(result->m_textsBefore, nullptr)->IncludeChanged(result->m_rects);
    if (after && recompose)
        EnsureTextComposed();
}

void TextNode::GetTransformInvalidationBox(SpreadRects& areas, bool lines) const {
    if (!IsInDocument())
        return;
    if (lines)
        areas.IncludeWhereShown(*this);
    else
        areas.Append(SpreadRect(*this, GetBounds(false)));
}

// Only a forged file names an object of another class: a step of the history could hold itself through it.
bool StoryState::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = InterfaceStateT::Load(in, files, version);
    if (Kernel::CastPointer<Story::Story>(story.get()) == nullptr)
        story.reset();
    return loaded;
}

namespace {

Kernel::Counted<Story::Story const> StoryOf(AttributeOwner const& owner) {
    static auto const& s_empty = *new Kernel::Counted<Story::Story const>(new Story::Story);
    auto story = Kernel::Cast<Story::Story>(owner.GetState<StoryState>().story);
    return story ? Kernel::Counted<Story::Story const>(story) : s_empty;
}

void PutStory(AttributeOwner& owner, Kernel::Counted<Story::Story const> const& story) {
    // A story that stands in a state is not edited any more but by whoever got it as mutable.
    Kernel::Counted<Kernel::Serialisable> const object(const_cast<Story::Story*>(story.get()));
    owner.EditState<StoryState>([&](StoryState& state) { state.story = object; });
}

} // namespace

void TakeOwnGlyphs(TextNode& copy) {
    auto const story = copy.GetStory();
    if (story->FindParagraphWithObjects(0) != story->GetParagraphCount())
        copy.SetStory(story->CloneWithOwnGlyphs());
}

// ArtTextNode

ArtTextNode::ArtTextNode() = default;
ArtTextNode::ArtTextNode(Kernel::Counted<Story::Story> story, Kernel::PointT<double> origin) : m_origin(origin) {
    PutStory(*this, story);
}
ArtTextNode::~ArtTextNode() = default;

Kernel::Counted<Story::Story const> ArtTextNode::GetStory() const { return StoryOf(*this); }
void ArtTextNode::SetStory(Kernel::Counted<Story::Story const> story) { PutStory(*this, story); }

Kernel::Counted<TextFlow> ArtTextNode::MakeTextFlow() const {
    Story::FrameGeometry geometry;
    if (GetStory()->GetWritingMode() == Story::WritingMode::Vertical)
        geometry.renderScale = Story::c_verticalTurn;
    geometry.artOrigin = geometry.renderScale.GetInverse().Apply(m_origin);
    return Kernel::MakeCounted<TextFlow>(std::vector<TextNode*>{const_cast<ArtTextNode*>(this)},
                                         TextFlow::Places{{geometry}, {}, GetStory()->GetWritingMode()});
}

Kernel::RectT<double> ArtTextNode::GetOwnBounds(Raster::AffineTransform::Params const& toSpread, bool) const {
    auto const composed = MakeComposedText();
    auto const bounds = composed->GetTextBounds();
    return bounds.IsEmpty() ? Kernel::RectT<double>() : (toSpread * composed->GetGeometry().renderScale).Apply(bounds);
}

Kernel::Counted<Kernel::Serialisable> ArtTextNode::CreateObject() { return Kernel::MakeCounted<ArtTextNode>(); }

void ArtTextNode::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Orig", m_origin);
    TextNode::Save(out);
}
bool ArtTextNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Orig", m_origin);
    return TextNode::Load(in, files, version);
}
void ArtTextNode::CopyMembersFrom(Node const& other) {
    TextNode::CopyMembersFrom(other);
    TakeOwnGlyphs(*this);
    if (auto const* text = Kernel::CastPointer<ArtTextNode const>(&other))
        m_origin = text->m_origin;
}

// Selections

void TextSelection::Save(Kernel::OutSerialiser& out) const {
    std::vector<int> ends;
    for (auto const& range : m_ranges) {
        ends.push_back(range.anchor);
        ends.push_back(range.end);
    }
    Kernel::SaveValue(out, "Rngs", ends);
}
bool TextSelection::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    std::vector<int> ends;
    Kernel::LoadValue(in, "Rngs", ends);
    m_ranges.clear();
    for (std::size_t i = 0; i + 1 < ends.size(); i += 2)
        m_ranges.push_back({ends[i], ends[i + 1]});
    return true;
}

bool NameTheSame(Selection const* a, Selection const* b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    auto const spansOf = [](SelectionItem const& item) {
        auto const* const sub = Kernel::CastPointer<SubSelectionItem const>(&item);
        auto const part = sub == nullptr ? nullptr : Kernel::Cast<TextSelection const>(sub->GetSubSelection());
        return part ? part->GetRanges() : std::vector<Story::SelectionRange>();
    };
    return std::equal(a->begin(), a->end(), b->begin(), b->end(), [&](auto const& one, auto const& other) {
        return one->GetSelectable() == other->GetSelectable() && one->IsWholeObject() == other->IsWholeObject() &&
               spansOf(*one) == spansOf(*other);
    });
}

Story::Selection SubSelectionItem::MakeStorySelection(bool wholeObjects) const {
    auto const* const text = Kernel::CastPointer<TextNode const>(GetSelectable().get());
    auto const* const part = Kernel::CastPointer<TextSelection const>(m_part.get());
    if (text == nullptr || part == nullptr)
        return m_part ? Story::Selection() : SelectionItem::MakeStorySelection(wholeObjects);
    return {text->GetStory(), part->GetRanges()};
}

Selection::Selection(Kernel::JailCounted<Selectable> object, Kernel::Counted<SubSelectable const> part)
    : m_items{Kernel::MakeCounted<SubSelectionItem>(std::move(object), std::move(part))} {}

void SubSelectionItem::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "SubS", m_part);
    SelectionItem::Save(out);
}
bool SubSelectionItem::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "SubS", m_part);
    return SelectionItem::Load(in, files, version);
}
