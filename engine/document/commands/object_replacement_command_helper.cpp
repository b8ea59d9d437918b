// SPDX-License-Identifier: Apache-2.0
#include "platform/document/object_replacement_command_helper.h"

#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"

namespace {

using Entry = ProxyStateManager<StructureInterface>::Entry;

} // namespace

void ObjectReplacementCommandHelper::GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const {
    nodes.insert(nodes.end(), m_newNodes.begin(), m_newNodes.end());
}

void ObjectReplacementCommandHelper::BeginReplacing(StructureStates& structure) {
    structure.GetEntries().clear();
    m_entryOfOld.clear();
    m_newNodes.clear();
    m_changed.Clear();
}

void ObjectReplacementCommandHelper::AddChanged(Node& node) {
    if (node.GetSpread() != nullptr)
        m_changed.AddNode(Kernel::Counted<Node>(&node));
}

void ObjectReplacementCommandHelper::DoReplaceObject(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement,
                                                     StructureStates& structure, TagStates& tags) {
    Kernel::Counted<Node> const parent(old->GetParent());
    if (!parent)
        return;
    if (!old->GetTags().empty()) {
        Kernel::Counted<InterfaceState const> const before(replacement->FindState(InterfaceId::Tag));
        replacement->SetTags(old->GetTags());
        tags.GetStates().Keep(replacement, before,
                              Kernel::Counted<InterfaceState const>(replacement->FindState(InterfaceId::Tag)));
    }
    AddChanged(*old);
    auto& entries = structure.GetEntries();
    m_entryOfOld[old.get()] = entries.size();
    m_newNodes.push_back(replacement);
    Entry leaving{old, old->GetPlace(), {}};
    parent->InsertChild(old->GetChildListType(), replacement, old.get());
    old->RemoveFromParent();
    entries.push_back(std::move(leaving));
    entries.push_back({replacement, {}, replacement->GetPlace()});
    AddChanged(*replacement);
}

void ObjectReplacementCommandHelper::UndoReplaceObject(Node& old, StructureStates& structure, TagStates& tags) {
    Exchange(old, structure, tags, true);
}

void ObjectReplacementCommandHelper::RedoReplaceObject(Node& old, StructureStates& structure, TagStates& tags) {
    Exchange(old, structure, tags, false);
}

void ObjectReplacementCommandHelper::Exchange(Node& old, StructureStates& structure, TagStates& tags, bool undo) {
    auto const found = m_entryOfOld.find(&old);
    if (found == m_entryOfOld.end())
        return;
    Entry& ofOld = structure.GetEntries()[found->second];
    Entry& ofNew = structure.GetEntries()[found->second + 1];
    Entry& out = undo ? ofNew : ofOld;
    Entry& in = undo ? ofOld : ofNew;
    TreePlace const stood = out.node->GetPlace();
    // The older form says of two nodes only that one takes the other's place.
    TreePlace const& kept = undo ? in.before : in.after;
    TreePlace const place = kept.parent ? kept : stood;
    // Otherwise the history is damaged or forged.
    bool const canExchange = stood.parent && in.node->GetParent() == nullptr &&
                             !in.node->IsSelfOrAncestorOf(place.parent.get()) &&
                             Kernel::CastPointer<SceneNode>(out.node.get()) != nullptr &&
                             Kernel::CastPointer<SceneNode>(in.node.get()) != nullptr;
    if (!canExchange)
        return;
    AddChanged(*out.node);
    out.node->RemoveFromParent();
    in.node->SetPlace(place);
    // Known from now on, whatever form the history was saved in.
    ofOld.before = undo ? place : stood;
    ofNew.after = undo ? stood : place;
    tags.GetStates().PutBack(InterfaceId::Tag, *ofNew.node, undo);
    AddChanged(*in.node);
}

void ObjectReplacementCommandHelper::NotifyDoRedo(Kernel::NonCounted<DocumentController> controller, bool preview,
                                                  Kernel::NotificationList& notifications) const {
    if (m_newNodes.empty())
        return;
    notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller.ToCounted(), preview));
    m_changed.Notify(controller, preview, notifications);
}

void ObjectReplacementCommandHelper::LoadReplacements(Kernel::InSerialiser const& in, StructureStates& structure) {
    auto& entries = structure.GetEntries();
    std::vector<Kernel::Counted<Node>> oldNodes, newNodes;
    if (Kernel::LoadValue(in, "RpOl", oldNodes) && Kernel::LoadValue(in, "RpNw", newNodes) &&
        oldNodes.size() == newNodes.size()) {
        for (std::size_t i = 0; i != oldNodes.size(); ++i) {
            if (!oldNodes[i] || !newNodes[i] || oldNodes[i] == newNodes[i])
                continue;
            entries.push_back({oldNodes[i], {}, {}});
            entries.push_back({newNodes[i], {}, {}});
        }
    }
    m_entryOfOld.clear();
    m_newNodes.clear();
    for (std::size_t i = 0; i + 1 < entries.size(); i += 2) {
        m_entryOfOld[entries[i].node.get()] = i;
        m_newNodes.push_back(entries[i + 1].node);
    }
}
