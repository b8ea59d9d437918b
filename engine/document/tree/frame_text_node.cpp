// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/layout_epoch.h"
#include "engine/document/tree/reading_order.h"
#include "engine/document/tree/text_flow.h"
#include "engine/document/tree/text_wrap.h"
#include "platform/document/caption_info.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/reading_direction.h"
#include "platform/story/table.h"

#include <algorithm>
#include <cmath>

namespace {

using Params = Raster::AffineTransform::Params;

constexpr int c_maximumColumns = 100;

} // namespace

FrameTextNode::FrameTextNode() = default;

FrameTextNode::FrameTextNode(Kernel::RectT<double> const& rect) {
    SetFrameRect(rect);
    SetBrushFillContentType(ContentType::Frame);
    SetLineStyleContentType(ContentType::Frame);
}

FrameTextNode::~FrameTextNode() {
    if (m_registeredAt == nullptr)
        return;
    ForgetTextFlow();
    std::lock_guard const lock(m_registeredAt->GetCache().mutex);
    m_registeredAt->m_followers.erase(this);
}

void FrameTextNode::SetFrameRect(Kernel::RectT<double> const& rect) {
    EditState<TextFrameState>([&](TextFrameState& state) { state.rect = rect; });
}

// The chain

FrameTextNode const& FrameTextNode::GetHead() const { return m_registeredAt == nullptr ? *this : *m_registeredAt; }
FrameTextNode& FrameTextNode::GetHead() { return m_registeredAt == nullptr ? *this : *m_registeredAt; }

// Keeps the head's list in step with this frame's state. The state keeps the head alive.
void FrameTextNode::UpdateRegistration() {
    auto* master = Kernel::CastPointer<FrameTextNode>(GetState<TextFrameState>().master.get());
    if (master == this)
        master = nullptr;
    if (master == m_registeredAt)
        return;
    ForgetTextFlow();
    if (m_registeredAt != nullptr) {
        std::lock_guard const lock(m_registeredAt->GetCache().mutex);
        m_registeredAt->m_followers.erase(this);
    }
    m_registeredAt = master;
    if (master != nullptr) {
        std::lock_guard const lock(master->GetCache().mutex);
        master->m_followers.insert(this);
    }
    ReadingOrder::NoteFlowChange();
    ForgetTextFlow();
}

void FrameTextNode::OnStateChanged(InterfaceId id) {
    if (id == InterfaceId::TextFrame)
        UpdateRegistration();
    if (id == InterfaceId::TextFrame || id == InterfaceId::Transform || id == InterfaceId::BaselineGrid)
        ForgetTextFlow();
    TextNode::OnStateChanged(id);
}

std::vector<FrameTextNode*> FrameTextNode::GetChain() const {
    auto& head = const_cast<FrameTextNode&>(GetHead());
    auto const* const document = GetDocumentNode();
    std::vector<FrameTextNode*> chain;
    {
        std::lock_guard const lock(head.GetCache().mutex);
        for (auto* const follower : head.m_followers) {
            if (follower == this || follower->GetDocumentNode() == document)
                chain.push_back(follower);
        }
    }
    std::sort(chain.begin(), chain.end(), [](FrameTextNode const* a, FrameTextNode const* b) {
        int const first = a->GetState<TextFrameState>().flowIndex, second = b->GetState<TextFrameState>().flowIndex;
        return first != second ? first < second : a->GetId() < b->GetId();
    });
    if (&head == this || head.GetDocumentNode() == document)
        chain.insert(chain.begin(), &head);
    return chain;
}

Kernel::Counted<TextFrameInterface> FrameTextNode::GetMaster() const {
    return Kernel::Counted<TextFrameInterface>(m_registeredAt);
}

std::vector<Kernel::Counted<TextFrameInterface>> FrameTextNode::GetSlaves() const {
    std::vector<Kernel::Counted<TextFrameInterface>> slaves;
    if (m_registeredAt != nullptr)
        return slaves;
    for (auto* const frame : GetChain()) {
        if (frame != this)
            slaves.emplace_back(frame);
    }
    return slaves;
}

void FrameTextNode::LinkBehind(FrameTextNode& before) {
    auto& head = before.GetHead();
    if (&head == this || !m_followers.empty())
        throw Kernel::Exception("a frame that others follow cannot follow");
    int last = 0;
    for (auto const* const follower : head.m_followers)
        last = std::max(last, follower->GetState<TextFrameState>().flowIndex);
    Follow(head, last + 1);
}

void FrameTextNode::LinkAll(std::span<Kernel::Counted<FrameTextNode> const> frames) {
    for (auto const& frame : frames) {
        if (frame->m_registeredAt != nullptr || !frame->m_followers.empty())
            throw Kernel::Exception("a frame that is in a chain cannot become part of another one");
    }
    for (std::size_t i = 1; i < frames.size(); ++i)
        frames[i]->Follow(*frames.front(), static_cast<int>(i));
}

void FrameTextNode::Follow(FrameTextNode& head, int flowIndex) {
    EditState<StoryState>([](StoryState& state) { state.story.reset(); });
    EditState<TextFrameState>([&](TextFrameState& state) {
        state.master = Kernel::Counted<Kernel::Serialisable>(&head);
        state.flowIndex = flowIndex;
    });
}

void FrameTextNode::Unlink() {
    EditState<TextFrameState>([&](TextFrameState& state) {
        state.master.reset();
        state.flowIndex = 0;
    });
}

std::size_t FrameTextNode::GetTextFlowIndex() const { return GetTextFlow()->GetIndex(*this); }

// The story

Kernel::Counted<Story::Story const> FrameTextNode::GetStory() const {
    static auto const& s_empty = *new Kernel::Counted<Story::Story const>(new Story::Story);
    auto story = Kernel::Cast<Story::Story>(GetHead().GetState<StoryState>().story);
    return story ? Kernel::Counted<Story::Story const>(story) : s_empty;
}

void FrameTextNode::SetStory(Kernel::Counted<Story::Story const> story) {
    Kernel::Counted<Kernel::Serialisable> const object(const_cast<Story::Story*>(story.get()));
    GetHead().EditState<StoryState>([&](StoryState& state) { state.story = object; });
}

// Composition

Params FrameTextNode::GetTextRenderScale() const {
    auto const scale = GetFrameTextScale();
    double const x = std::hypot(scale.a, scale.c), y = std::hypot(scale.b, scale.d);
    auto const usable = [](double value) { return std::isfinite(value) && value > 1e-6 && value < 1e6; };
    return usable(x) && usable(y) ? Params{x, 0, 0, 0, y, 0} : Params{};
}

// Where lines run from top to bottom, all of it stands in the turned text space: columns one below the other, and the
// grid counts from the right.
Story::FrameGeometry FrameTextNode::MakeGeometry(bool isRightToLeft, Story::WritingMode mode) const {
    auto const& state = GetState<TextFrameState>();
    Story::FrameGeometry geometry;
    bool const isVertical = mode == Story::WritingMode::Vertical;
    auto const scale = GetTextRenderScale();
    geometry.renderScale = isVertical ? scale * Story::c_verticalTurn : scale;
    auto const& rect = state.rect;
    double const left = (rect.left + state.insets.left) / scale.a, top = (rect.top + state.insets.top) / scale.d;
    double const right = (rect.right - state.insets.right) / scale.a;
    double const bottom = (rect.bottom - state.insets.bottom) / scale.d;
    auto const inner = isVertical ? Kernel::RectT<double>{top, -right, bottom, -left}
                                  : Kernel::RectT<double>{left, top, right, bottom};
    int const count = std::clamp(state.columnCount, 1, c_maximumColumns);
    double const gap = state.columnGap / (isVertical ? scale.d : scale.a);
    double const width = (inner.GetWidth() - gap * (count - 1)) / count;
    for (int i = 0; i != count; ++i) {
        double const begin = inner.left + (isRightToLeft ? count - 1 - i : i) * (width + gap);
        geometry.columns.push_back({begin, inner.top, begin + width, inner.bottom});
    }
    geometry.verticalAlignment = static_cast<Story::VerticalAlignment>(std::min(state.verticalAlignment, 3u));
    auto const& grid = GetState<BaselineGridState>();
    if (grid.enabled && grid.spacing > 0) {
        geometry.gridStart = isVertical ? (grid.start - rect.right) / scale.a : (rect.top + grid.start) / scale.d;
        geometry.gridSpacing = grid.spacing / (isVertical ? scale.a : scale.d);
    }
    geometry.wrapShapes = CollectWrapShapes(*this, (GetBaseToSpreadTransform() * geometry.renderScale).GetInverse());
    if (isVertical) {
        for (auto& shape : geometry.wrapShapes)
            shape.distances = {shape.distances.top, shape.distances.right, shape.distances.bottom,
                               shape.distances.left};
    }
    return geometry;
}

Kernel::Counted<TextFlow> FrameTextNode::MakeTextFlow() const {
    auto const chain = GetChain();
    TextFlow::Places places;
    bool const hasColumns = std::any_of(chain.begin(), chain.end(), [](FrameTextNode const* frame) {
        return frame->GetState<TextFrameState>().columnCount > 1;
    });
    if (hasColumns)
        places.isRightToLeft = IsReadRightToLeft();
    places.writingMode = GetStory()->GetWritingMode();
    places.geometries.reserve(chain.size());
    for (auto const* const frame : chain)
        places.geometries.push_back(frame->MakeGeometry(places.isRightToLeft.value_or(false), places.writingMode));
    return Kernel::MakeCounted<TextFlow>(std::vector<TextNode*>(chain.begin(), chain.end()), std::move(places));
}

Kernel::Counted<Geometry::PolyCurveDbl const> FrameTextNode::GetTextFrameAsCurves() const {
    return Kernel::MakeCounted<Geometry::PolyCurveDbl>(GetFrameRect());
}

Kernel::RectT<double> FrameTextNode::GetOwnBounds(Params const& toSpread, bool includeLines) const {
    auto const rect = GetFrameRect();
    if (rect.IsEmpty())
        return {};
    auto const line = GetLineStyleDescriptor();
    double const reach =
        includeLines && IsLineStyleVisible() && line ? line->GetLineStyle()->GetWeightOrZero() * 1.5 : 0;
    return toSpread.Apply(
        Kernel::RectT<double>{rect.left - reach, rect.top - reach, rect.right + reach, rect.bottom + reach});
}

namespace {

class NodeColumnFrame final : public Story::ColumnFrame {
public:
    explicit NodeColumnFrame(FrameTextNode& node) : m_node(&node) {}
    Kernel::RectT<double> GetRect() const override { return m_node->GetFrameRect(); }
    void SetRect(Kernel::RectT<double> const& rect) override { m_node->SetFrameRect(rect); }

private:
    Kernel::Counted<FrameTextNode> m_node;
};

} // namespace

Kernel::Counted<Story::Frame> FrameTextNode::GetMutableStoryFrameI() {
    return Kernel::MakeCounted<NodeColumnFrame>(*this);
}

Kernel::Counted<CaptionInfo const> FrameTextNode::GetCaptionInfo() const { return m_captionInfo; }

void FrameTextNode::SetCaptionInfo(Kernel::Counted<CaptionInfo const> info) {
    m_captionInfo = std::move(info);
    // It may count by another name.
    LayoutEpoch::Advance();
    MarkChanged();
}

// Copies and files

// Only a forged file names an object of another class: a step of the history could hold itself through it.
bool TextFrameState::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = InterfaceStateT::Load(in, files, version);
    if (Kernel::CastPointer<FrameTextNode>(master.get()) == nullptr)
        master.reset();
    return loaded;
}

Kernel::Counted<Kernel::Serialisable> FrameTextNode::CreateObject() { return Kernel::MakeCounted<FrameTextNode>(); }

void FrameTextNode::Save(Kernel::OutSerialiser& out) const {
    if (m_captionInfo)
        Kernel::SaveValue(out, "Capt", m_captionInfo);
    TextNode::Save(out);
}

bool FrameTextNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "Capt", m_captionInfo);
    bool const loaded = TextNode::Load(in, files, version);
    // Only a forged file lets a head follow, or a frame itself: such a ring would keep itself alive.
    auto const* const master = Kernel::CastPointer<FrameTextNode>(GetState<TextFrameState>().master.get());
    if (master != nullptr && (master == this || master->m_registeredAt != nullptr || !m_followers.empty()))
        EditState<TextFrameState>([](TextFrameState& state) { state.master.reset(); });
    UpdateRegistration();
    return loaded;
}

void FrameTextNode::CopyMembersFrom(Node const& other) {
    TextNode::CopyMembersFrom(other);
    auto const* const frame = Kernel::CastPointer<FrameTextNode const>(&other);
    if (frame != nullptr)
        m_captionInfo = frame->m_captionInfo;
    if (frame == nullptr || (frame->m_registeredAt == nullptr && frame->m_followers.empty())) {
        TakeOwnGlyphs(*this);
        return;
    }
    auto const range = frame->MakeComposedText()->GetRange();
    auto const story = frame->GetStory()->Clone();
    story->ReplaceText({range.end, story->GetLength()}, {});
    story->ReplaceText({0, range.begin}, {});
    Unlink();
    SetStory(story);
    TakeOwnGlyphs(*this);
}

// TextFrameInterface

Kernel::Counted<Story::Table const> TextFrameInterface::GetTable() const { return {}; }

void TextFrameInterface::SetColumns(int count, double gap) {
    EditState<TextFrameState>([&](TextFrameState& state) {
        state.columnCount = std::clamp(count, 1, c_maximumColumns);
        state.columnGap = gap;
    });
}
void TextFrameInterface::SetInsets(Kernel::RectT<double> const& insets) {
    EditState<TextFrameState>([&](TextFrameState& state) { state.insets = insets; });
}
void TextFrameInterface::SetVerticalAlignment(unsigned alignment) {
    EditState<TextFrameState>([&](TextFrameState& state) { state.verticalAlignment = alignment; });
}
void TextFrameInterface::SetTextFrameKind(TextFrameKind kind) {
    EditState<TextFrameState>([&](TextFrameState& state) { state.kind = kind; });
}
void TextFrameInterface::SetTextGenerated(bool generated) {
    EditState<TextFrameState>([&](TextFrameState& state) { state.generated = generated; });
}
