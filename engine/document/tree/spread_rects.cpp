// SPDX-License-Identifier: Apache-2.0
#include "platform/document/spread_rects.h"

#include "platform/document/changed_areas.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_list.h"

#include <algorithm>

SpreadRect::SpreadRect(Node const& node, Kernel::RectT<double> bounds) : spread(node.GetSpread()), rect(bounds) {}

void SpreadRects::Append(SpreadRect rect) { m_rects.push_back(std::move(rect)); }

void SpreadRects::IncludeWhereShown(Node const& node) {
    Node const* shown = &node;
    for (Node const* child = &node; child->GetParent() != nullptr; child = child->GetParent()) {
        Node const* const parent = child->GetParent();
        auto const list = child->GetChildListType();
        bool const drawsItself =
            list == NodeChildListType::Pages || (list == NodeChildListType::Plain && parent->DrawsChildren());
        if (!drawsItself && parent->GetSpread() != nullptr && parent != parent->GetSpread())
            shown = parent;
    }
    SpreadRect found(*shown, shown->GetBounds(true));
    if (!found.spread || found.rect.IsEmpty())
        return;
    auto const known = std::find_if(m_rects.begin(), m_rects.end(),
                                    [&](SpreadRect const& rect) { return rect.spread == found.spread; });
    if (known == m_rects.end())
        m_rects.push_back(std::move(found));
    else
        known->rect = known->rect.United(found.rect);
}

void ChangedAreas::Include(Kernel::Counted<Selection const> const& selection) {
    if (!selection)
        return;
    for (auto* const object : selection->GetObjects()) {
        if (auto const* const node = Kernel::CastPointer<Node const>(object))
            m_rects.IncludeWhereShown(*node);
    }
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
