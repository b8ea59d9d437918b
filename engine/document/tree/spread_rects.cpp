// SPDX-License-Identifier: Apache-2.0
#include "platform/document/spread_rects.h"

#include "engine/document/tree/bounds.h"
#include "platform/document/changed_areas.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <algorithm>
#include <array>

SpreadRect::SpreadRect(Node const& node, Kernel::RectT<double> bounds) : spread(node.GetSpread()), rect(bounds) {}

void SpreadRects::Append(SpreadRect rect) { m_rects.push_back(std::move(rect)); }

namespace {

// The node that draws: the node itself, or the one that draws it as a clip or as a part of an outline.
Node const& FindWhereShown(Node const& node) {
    Node const* shown = &node;
    for (Node const* child = &node; child->GetParent() != nullptr; child = child->GetParent()) {
        Node const* const parent = child->GetParent();
        auto const list = child->GetChildListType();
        bool const drawsItself =
            list == NodeChildListType::Pages || (list == NodeChildListType::Plain && parent->DrawsChildren());
        if (!drawsItself && parent->GetSpread() != nullptr && parent != parent->GetSpread())
            shown = parent;
    }
    return *shown;
}

// A shape, and a box that surely holds its bounds.
struct ShapeInRoom {
    Node const* node;
    SpreadNode const* spread;
    Kernel::RectT<double> room;
};

bool Holds(Kernel::RectT<double> const& outer, Kernel::RectT<double> const& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

} // namespace

SpreadRect* SpreadRects::Find(SpreadNode const* spread) {
    auto const known = std::find_if(m_rects.begin(), m_rects.end(),
                                    [&](SpreadRect const& rect) { return rect.spread.get() == spread; });
    return known == m_rects.end() ? nullptr : &*known;
}

void SpreadRects::IncludeBounds(Node const& shown) {
    SpreadRect found(shown, shown.GetBounds(true));
    if (!found.spread || found.rect.IsEmpty())
        return;
    if (auto* const known = Find(found.spread.get()))
        known->rect = known->rect.United(found.rect);
    else
        m_rects.push_back(std::move(found));
}

void SpreadRects::IncludeWhereShown(Node const& node) { IncludeBounds(FindWhereShown(node)); }

// Exact bounds of lines take long. Those of the shapes that may reach farthest to each side come first; then most of
// the others lie, with all the room that they may need, in what is told already, and add nothing to it.
void SpreadRects::IncludeWhereShown(std::vector<Node const*> const& nodes) {
    std::vector<ShapeInRoom> shapes;
    shapes.reserve(nodes.size());
    for (auto const* const node : nodes) {
        auto const& shown = FindWhereShown(*node);
        auto const* const spread = shown.GetSpread();
        if (spread == nullptr)
            continue;
        if (auto const room = FindRoomOfShape(shown))
            shapes.push_back({&shown, spread, *room});
        else
            IncludeBounds(shown);
    }
    std::vector<std::array<ShapeInRoom const*, 4>> farthest;
    for (auto const& shape : shapes) {
        auto found = std::find_if(farthest.begin(), farthest.end(),
                                  [&](auto const& sides) { return sides[0]->spread == shape.spread; });
        if (found == farthest.end())
            found = farthest.insert(farthest.end(), {&shape, &shape, &shape, &shape});
        auto& [left, top, right, bottom] = *found;
        if (shape.room.left < left->room.left)
            left = &shape;
        if (shape.room.top < top->room.top)
            top = &shape;
        if (shape.room.right > right->room.right)
            right = &shape;
        if (shape.room.bottom > bottom->room.bottom)
            bottom = &shape;
    }
    for (auto const& sides : farthest) {
        for (auto const* const shape : sides)
            IncludeBounds(*shape->node);
    }
    for (auto const& shape : shapes) {
        auto const* const known = Find(shape.spread);
        if (known == nullptr || !Holds(known->rect, shape.room))
            IncludeBounds(*shape.node);
    }
}

void ChangedAreas::Include(Kernel::Counted<Selection const> const& selection) {
    if (!selection)
        return;
    std::vector<Node const*> nodes;
    for (auto* const object : selection->GetObjects()) {
        if (auto const* const node = Kernel::CastPointer<Node const>(object))
            nodes.push_back(node);
    }
    m_rects.IncludeWhereShown(nodes);
}

Kernel::RectT<double> SpreadRects::GetUnion(Kernel::NonCounted<SpreadNode const> spread) const {
    Kernel::RectT<double> result;
    for (auto const& entry : m_rects) {
        // A rectangle without a spread comes from the older form, which did not tell; it counts everywhere.
        if (!entry.spread || entry.spread.get() == spread.get())
            result = result.United(entry.rect);
    }
    return result;
}

void SpreadRects::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Rcts", m_rects); }

bool SpreadRects::Load(Kernel::InSerialiser const& in, Kernel::ClassUID, unsigned short version) {
    if (version > GetSchemaVersion())
        return false;
    Kernel::LoadValue(in, "Rcts", m_rects);
    return true;
}

bool SpreadRects::LoadLegacy(Kernel::InSerialiser const& in, Kernel::IDTag tag) {
    SpreadRect rect;
    if (!Kernel::LoadValue(in, tag, rect.rect))
        return false;
    m_rects = {rect};
    return true;
}

void ChangeResult::AddNode(Kernel::Counted<Node> node) {
    m_rects.Append(SpreadRect(*node, node->GetBounds(true)));
    m_nodes.push_back(std::move(node));
}

void ChangeResult::Notify(Kernel::NonCounted<DocumentController> controller, bool preview,
                          std::vector<Kernel::Counted<Kernel::Notification>>& notifications) const {
    if (m_rects.IsEmpty())
        return;
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller.ToCounted(), m_rects, Kernel::MakeCounted<Selection>(m_nodes), preview, false, false, false));
}

void ChangeResult::Notify(Kernel::NotificationList& notifications,
                          Kernel::Counted<DocumentController> const& controller,
                          Kernel::Counted<Selection const> const& selection, bool preview) const {
    if (m_rects.IsEmpty())
        return;
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_rects, selection, preview,
                                                                                false, false, false));
}

void ChangeResult::Clear() { *this = {}; }
