// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/text_wrap.h"

#include "engine/document/tree/bounds.h"
#include "engine/document/tree/layout_epoch.h"
#include "platform/kernel/cast.h"

#include <atomic>

namespace {

using Params = Raster::AffineTransform::Params;

std::atomic<bool> s_hasTextWrap{false};

// `outline` is in the node's space, or null.
void AddShape(std::vector<Story::WrapShape>& shapes, Kernel::Counted<Geometry::PolyCurveDbl const> const& outline,
              Node const& node, Params const& fromSpread, Kernel::RectT<double> const& distances) {
    if (!outline)
        return;
    auto const placed = outline->Clone();
    placed->ApplyTransform(Geometry::Transform(fromSpread * node.GetBaseToSpreadTransform()));
    shapes.push_back({placed, distances});
}

} // namespace

void NoteTextWrap(Node const& node) {
    auto const* const wrap = Kernel::CastPointer<AttributeOwner const>(&node);
    if (wrap->FindState(InterfaceId::TextWrap) == nullptr)
        return;
    s_hasTextWrap.store(true, std::memory_order_relaxed);
    LayoutEpoch::LetPlacesMatter();
}

bool HasTextWrap() { return s_hasTextWrap.load(std::memory_order_relaxed); }

std::vector<Story::WrapShape> CollectWrapShapes(Node const& frame, Params const& fromSpread) {
    std::vector<Story::WrapShape> shapes;
    SpreadNode* const spread = HasTextWrap() ? frame.GetSpread() : nullptr;
    if (spread == nullptr)
        return shapes;
    ForEachNode(*spread, [&](Node& node) {
        auto const* const wrap = Kernel::CastPointer<TextWrapInterface const>(&node);
        if (wrap == nullptr || wrap->GetTextWrapStyle() == Story::WrapStyle::None || node.IsSelfOrAncestorOf(&frame) ||
            frame.IsSelfOrAncestorOf(&node))
            return;
        auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
        if (scene == nullptr || !scene->IsVisibleWithAncestors())
            return;
        auto const distances = node.GetState<TextWrapState>().distances;
        if (!node.HasChildren(NodeChildListType::WrapShape)) {
            AddShape(shapes, wrap->CreateDefaultTextWrapCurves(), node, fromSpread, distances);
            return;
        }
        for (Node* child = node.GetFirstChild(NodeChildListType::WrapShape); child != nullptr;
             child = child->GetNextSibling()) {
            if (auto const* const shape = Kernel::CastPointer<TextWrapInterface const>(child))
                AddShape(shapes, shape->CreateDefaultTextWrapCurves(), *child, fromSpread, distances);
        }
    });
    return shapes;
}

void TextWrapInterface::SetTextWrapStyle(Story::WrapStyle::Type style) {
    EditState<TextWrapState>([&](TextWrapState& state) { state.mode = style; });
}

void TextWrapInterface::SetTextWrap(Story::WrapStyle::Type style, Kernel::RectT<double> const& distances) {
    EditState<TextWrapState>([&](TextWrapState& state) {
        state.mode = style;
        state.distances = distances;
    });
}

Kernel::Counted<Geometry::PolyCurveDbl const> TextWrapInterface::CreateDefaultTextWrapCurves() const {
    AttributeOwner const* const owner = this;
    if (auto const* const curves = Kernel::CastPointer<ConstCurvesInterface const>(owner))
        return curves->GetOutline();
    auto const* const node = Kernel::CastPointer<Node const>(owner);
    auto const bounds = node == nullptr ? Kernel::RectT<double>() : ComputeBounds(*node, {}, false, false);
    if (bounds.IsEmpty())
        return {};
    return Kernel::MakeCounted<Geometry::PolyCurveDbl const>(bounds);
}
