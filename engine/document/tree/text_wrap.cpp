// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/text_wrap.h"

#include "platform/kernel/cast.h"

#include <atomic>

namespace {

using Params = Raster::AffineTransform::Params;

std::atomic<bool> s_hasTextWrap{false};

void AddShape(std::vector<Story::WrapShape>& shapes, ConstCurvesInterface const* curves, Node const& node,
              Params const& fromSpread, Kernel::RectT<double> const& distances) {
    auto const outline = curves == nullptr ? nullptr : curves->GetOutline();
    if (!outline)
        return;
    auto const placed = outline->Clone();
    placed->ApplyTransform(Geometry::Transform(fromSpread * node.GetBaseToSpreadTransform()));
    shapes.push_back({placed, distances});
}

} // namespace

void NoteTextWrap(Node const& node) {
    auto const* const wrap = Kernel::CastPointer<AttributeOwner const>(&node);
    if (wrap->FindState(InterfaceId::TextWrap) != nullptr)
        s_hasTextWrap.store(true, std::memory_order_relaxed);
}

std::vector<Story::WrapShape> CollectWrapShapes(Node const& frame, Params const& fromSpread) {
    std::vector<Story::WrapShape> shapes;
    SpreadNode* const spread = s_hasTextWrap.load(std::memory_order_relaxed) ? frame.GetSpread() : nullptr;
    if (spread == nullptr)
        return shapes;
    ForEachNode(*spread, [&](Node& node) {
        auto const* const wrap = Kernel::CastPointer<TextWrapInterface const>(&node);
        if (wrap == nullptr || wrap->GetTextWrapMode() == 0 || node.IsSelfOrAncestorOf(&frame) ||
            frame.IsSelfOrAncestorOf(&node))
            return;
        auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
        if (scene == nullptr || !scene->IsVisibleWithAncestors())
            return;
        auto const distances = node.GetState<TextWrapState>().distances;
        if (!node.HasChildren(NodeChildListType::WrapShape)) {
            AddShape(shapes, Kernel::CastPointer<ConstCurvesInterface const>(&node), node, fromSpread, distances);
            return;
        }
        for (Node* child = node.GetFirstChild(NodeChildListType::WrapShape); child != nullptr;
             child = child->GetNextSibling())
            AddShape(shapes, Kernel::CastPointer<ConstCurvesInterface const>(child), *child, fromSpread, distances);
    });
    return shapes;
}
