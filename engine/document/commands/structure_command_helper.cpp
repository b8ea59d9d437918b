// SPDX-License-Identifier: Apache-2.0
#include "platform/document/structure_command_helper.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <optional>

namespace {

void Require(Kernel::Counted<Node> const& node) {
    if (!node)
        throw Kernel::Exception("a step of the history names no node where one is needed");
}

} // namespace

void StructureCommandHelper::GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const {
    std::copy_if(m_newNodes.begin(), m_newNodes.end(), std::back_inserter(nodes),
                 [](auto const& node) { return node->GetParent() != nullptr; });
}

void StructureCommandHelper::NoteRecord(Node& node) {
    auto* const command = Kernel::CastPointer<DomainCommand>(this);
    if (!EditJournal::IsOpen() || command == nullptr || command->GetDirection() == DomainCommand::Direction::Do)
        return;
    auto const found = m_records.find(&node);
    auto old = found == m_records.end() ? std::optional<Record>() : std::optional(found->second);
    EditJournal::NoteFor(*command, [this, kept = Kernel::Counted<Node>(&node), record = std::move(old),
                                    recorded = m_recorded](DomainCommand&) mutable {
        m_recorded = recorded;
        m_records.erase(kept.get());
        if (record)
            m_records.emplace(kept.get(), std::move(*record));
    });
}

void StructureCommandHelper::NoteLinks() {
    if (auto* const command = Kernel::CastPointer<DomainCommand>(this))
        EditJournal::NoteValue(*command, m_detachedLinks);
}

void StructureCommandHelper::PlanMove(Kernel::NonCounted<Node> child, Kernel::NonCounted<Node>) { Remember(*child); }

// Undo goes by what was recorded and records nothing: afterwards every node stands where it stood at first.
void StructureCommandHelper::Remember(Node& node) {
    auto const* const command = Kernel::CastPointer<DomainCommand>(this);
    if (command != nullptr && command->GetDirection() == DomainCommand::Direction::Undo)
        return;
    if (m_records.contains(&node))
        return;
    NoteRecord(node);
    m_recorded = true;
    m_records.try_emplace(&node, Record{Kernel::Counted<Node>(&node), Kernel::Counted<Node>(node.GetParent()),
                                        Kernel::Counted<Node>(node.GetNextSibling()), node.GetChildListType()});
}

void StructureCommandHelper::ForgetIfBack(Node& node) {
    auto const found = m_records.find(&node);
    if (found == m_records.end())
        return;
    Record const& record = found->second;
    if (node.GetParent() == record.parent.get() && node.GetNextSibling() == record.nextSibling.get() &&
        node.GetChildListType() == record.list) {
        NoteRecord(node);
        m_records.erase(found);
    }
}

void StructureCommandHelper::DetachIfAsked(Node& container, bool detachLinks) {
    if (!detachLinks || !container.IsLinked(false))
        return;
    NoteLinks();
    m_detachedLinks.push_back({Kernel::Counted<Node>(&container), container.GetLinkSource()});
    container.SetLinkSource({});
}

void StructureCommandHelper::RemoveFromParent(Kernel::Counted<Node> node, bool, bool detachLinks,
                                              RemovalCallback const& callback) {
    Require(node);
    if (node->GetParent() == nullptr)
        return;
    bool const isOnlySpread = Kernel::CastPointer<SpreadNode>(node.get()) != nullptr &&
                              node->GetPreviousSibling() == nullptr && node->GetNextSibling() == nullptr;
    if (isOnlySpread)
        throw Kernel::Exception("a document cannot do without its last spread");
    Remember(*node);
    if (callback)
        callback(node);
    DetachIfAsked(*node, detachLinks);
    node->RemoveFromParent();
}

void StructureCommandHelper::NoteRemovals() {
    auto* const command = Kernel::CastPointer<DomainCommand>(this);
    if (command != nullptr && command->GetDirection() != DomainCommand::Direction::Do)
        EditJournal::NoteValue(*command, m_removals);
}

void StructureCommandHelper::RemoveChildren(Kernel::Counted<Node> parent, NodeChildListType list, bool detachLinks) {
    Require(parent);
    auto const* const command = Kernel::CastPointer<DomainCommand>(this);
    Removal removal{parent, {}};
    for (Node* child = parent->GetFirstChild(list); child != nullptr; child = child->GetNextSibling())
        removal.children.emplace_back(child);
    DetachIfAsked(*parent, detachLinks);
    for (auto const& child : removal.children)
        RemoveFromParent(child, false, false, {});
    // Undo goes by what was recorded and records nothing.
    if (command != nullptr && command->GetDirection() == DomainCommand::Direction::Undo)
        return;
    m_recorded = true;
    NoteRemovals();
    m_removals.push_back(std::move(removal));
}

void StructureCommandHelper::Insert(Node& parent, NodeChildListType list, Kernel::Counted<Node> const& child,
                                    Node* before, bool isMove, bool detachLinks) {
    Remember(*child);
    DetachIfAsked(parent, detachLinks);
    if (before == child.get())
        before = child->GetNextSibling();
    child->RemoveFromParent();
    parent.InsertChild(list, child, before);
    if (!isMove && m_knownNewNodes.insert(child.get()).second)
        m_newNodes.push_back(child);
    ForgetIfBack(*child);
}

void StructureCommandHelper::InsertChildBefore(Kernel::Counted<Node> parent, Kernel::Counted<Node> child,
                                               Kernel::Counted<Node> before, bool isMove, bool detachLinks) {
    Require(parent);
    Require(child);
    bool const stands = before && before->GetParent() == parent.get();
    auto const list = before ? before->GetChildListType() : child->GetChildListType();
    Insert(*parent, list, child, stands ? before.get() : nullptr, isMove, detachLinks);
}

void StructureCommandHelper::InsertChildAfter(Kernel::Counted<Node> parent, Kernel::Counted<Node> child,
                                              Kernel::Counted<Node> after, bool isMove, bool detachLinks) {
    Require(parent);
    Require(child);
    bool const stands = after && after->GetParent() == parent.get();
    auto const list = after ? after->GetChildListType() : child->GetChildListType();
    Insert(*parent, list, child, stands ? after->GetNextSibling() : nullptr, isMove, detachLinks);
}

void StructureCommandHelper::AddChildFront(Kernel::Counted<Node> parent, NodeChildListType list,
                                           Kernel::Counted<Node> child, bool isMove, bool detachLinks) {
    Require(parent);
    Require(child);
    Insert(*parent, list, child, parent->GetFirstChild(list), isMove, detachLinks);
}

void StructureCommandHelper::AddChildBack(Kernel::Counted<Node> parent, NodeChildListType list,
                                          Kernel::Counted<Node> child, bool isMove, bool detachLinks) {
    Require(parent);
    Require(child);
    Insert(*parent, list, child, nullptr, isMove, detachLinks);
}

void StructureCommandHelper::ReplaceNode(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement,
                                         bool detachLinks) {
    Require(old);
    Require(replacement);
    Kernel::Counted<Node> const parent(old->GetParent());
    if (!parent)
        return;
    Remember(*old);
    Insert(*parent, old->GetChildListType(), replacement, old.get(), false, detachLinks);
    old->RemoveFromParent();
}

void StructureCommandHelper::UndoStructureChanges(Kernel::Counted<Node> node) {
    UndoAdd(node);
    UndoRemove(node);
    UndoRemovalsBelow(*node);
}

// The newest first: what was taken from a child before the child itself was taken out comes back after it.
void StructureCommandHelper::UndoRemovalsBelow(Node const& top) {
    auto const isBelow = [&](Node const* node) {
        while (node != nullptr && node != &top)
            node = node->GetParent();
        return node != nullptr;
    };
    for (std::size_t i = m_removals.size(); i-- != 0;) {
        if (!isBelow(m_removals[i].parent.get()))
            continue;
        NoteRemovals();
        Removal const removal = std::move(m_removals[i]);
        m_removals.erase(m_removals.begin() + static_cast<std::ptrdiff_t>(i));
        for (auto child = removal.children.rbegin(); child != removal.children.rend(); ++child)
            UndoRemove(*child);
    }
}

void StructureCommandHelper::UndoAdd(Kernel::Counted<Node> node) {
    Require(node);
    if (!m_records.contains(node.get()))
        return;
    Kernel::Counted<Node> const container(node->GetParent());
    node->RemoveFromParent();
    if (container)
        RestoreLink(*container);
}

void StructureCommandHelper::RestoreLink(Node& node) {
    for (auto link = m_detachedLinks.begin(); link != m_detachedLinks.end();) {
        if (link->node.get() != &node) {
            ++link;
            continue;
        }
        link->node->SetLinkSource(link->source);
        NoteLinks();
        link = m_detachedLinks.erase(link);
    }
}

// The sibling to stand in front of. Where the recorded one is still out of the tree, it was taken out later than this
// node, and its own record tells what came behind it; it will come back in between.
Node* StructureCommandHelper::FindNextInPlace(Record const& record) const {
    Node* next = record.nextSibling.get();
    for (std::size_t steps = m_records.size(); next != nullptr && next->GetParent() != record.parent.get(); --steps) {
        auto const found = m_records.find(next);
        if (steps == 0 || found == m_records.end() || found->second.parent != record.parent)
            return nullptr;
        next = found->second.nextSibling.get();
    }
    return next;
}

void StructureCommandHelper::UndoRemove(Kernel::Counted<Node> node) {
    auto const found = m_records.find(node.get());
    if (found == m_records.end())
        return;
    Record const record = found->second;
    NoteRecord(*node);
    m_records.erase(found);
    if (!record.parent)
        return;
    record.parent->InsertChild(record.list, node, FindNextInPlace(record));
    RestoreLink(*node);
    RestoreLink(*record.parent);
}

void StructureCommandHelper::AddUnclippedArea(Node const& parent, Node const& child) {
    if (!parent.HasChildren(NodeChildListType::Clipping))
        return;
    SpreadRect const area(child, child.GetBounds(true));
    auto const same = std::find_if(m_unclipped.begin(), m_unclipped.end(),
                                   [&](SpreadRect const& other) { return other.spread == area.spread; });
    if (same == m_unclipped.end())
        m_unclipped.push_back(area);
    else
        same->rect = same->rect.United(area.rect);
}

void StructureCommandHelper::Notify(Kernel::NotificationList& notifications) {
    auto* const command = Kernel::CastPointer<DocumentCommand>(this);
    if (command == nullptr)
        return;
    if (!m_detachedLinks.empty())
        notifications.push_back(Kernel::MakeCounted<SymbolsChangedNotification>(command->GetDocumentController()));
    if (m_unclipped.empty())
        return;
    SpreadRects areas;
    for (auto const& area : m_unclipped)
        areas.Append(area);
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
        command->GetDocumentController(), areas, command->GetSelection(), command->IsPreview(), false, false, false));
}
