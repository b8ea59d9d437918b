// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"
#include "platform/document/node.h"
#include "platform/document/spread_rects.h"

#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Base of commands that edit the tree: makes the edits and records each node's place before it, so that they can be
// reversed. Edits that would break the tree, or name no node, throw Kernel::Exception: the fields of a loaded command
// may say anything. The records live with the running process and are not saved; a command that was loaded replays from
// fields of its own, which the replay flag tells it to do.
class REDRAFT_ENGINE StructureCommandHelper : public NewNodesCommandInterface {
public:
    void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const override;

protected:
    using RemovalCallback = std::function<void(Kernel::NonCounted<Node>)>;

    // Throughout, `isMove` tells that the node stays in the document, `detachLinks` that the changed container is set
    // free from its link to a symbol.

    // Announces a move that is about to happen, so that the place to go back to is known before the first of its edits.
    void PlanMove(Kernel::NonCounted<Node> child, Kernel::NonCounted<Node> newParent);
    void RemoveFromParent(Kernel::Counted<Node> node, bool isMove, bool detachLinks, RemovalCallback const& callback);
    void InsertChildBefore(Kernel::Counted<Node> parent, Kernel::Counted<Node> child, Kernel::Counted<Node> before,
                           bool isMove, bool detachLinks);
    void InsertChildAfter(Kernel::Counted<Node> parent, Kernel::Counted<Node> child, Kernel::Counted<Node> after,
                          bool isMove, bool detachLinks);
    void AddChildFront(Kernel::Counted<Node> parent, NodeChildListType list, Kernel::Counted<Node> child, bool isMove,
                       bool detachLinks);
    void AddChildBack(Kernel::Counted<Node> parent, NodeChildListType list, Kernel::Counted<Node> child, bool isMove,
                      bool detachLinks);
    // Takes all children of a list out, first to last.
    void RemoveChildren(Kernel::Counted<Node> parent, NodeChildListType list, bool detachLinks);
    // Puts `replacement` where `old` stands; list type and neighbours stay.
    void ReplaceNode(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement, bool detachLinks);

    // Reverses all that was recorded for a node: it stands again where it stood before the first of its records, and so
    // do the children that RemoveChildren has taken from it and from what is below it.
    void UndoStructureChanges(Kernel::Counted<Node> node);
    // Reverse the node's last insertion, and its last removal.
    void UndoAdd(Kernel::Counted<Node> node);
    void UndoRemove(Kernel::Counted<Node> node);
    // Has what a child draws painted again, beyond the clips of the parent too: those come and go with it. For a parent
    // that is about to be dissolved or has just been put back, the child standing where it can be seen. Nothing when
    // the parent has no clips.
    void AddUnclippedArea(Node const& parent, Node const& child);
    // Tells that links were detached, and the areas of AddUnclippedArea.
    void Notify(Kernel::NotificationList& notifications);

    // True when UndoStructureChanges can't serve: nothing was recorded, as after a reload.
    bool IsReplay() const noexcept { return !m_recorded; }

private:
    // Where a node stood before the first edit that has not been reversed.
    struct Record {
        Kernel::Counted<Node> node;
        Kernel::Counted<Node> parent;
        Kernel::Counted<Node> nextSibling;
        NodeChildListType list = NodeChildListType::Plain;
    };
    struct DetachedLink {
        Kernel::Counted<Node> node;
        Kernel::Counted<Node> source;
    };
    // Children that RemoveChildren has taken out, in their order.
    struct Removal {
        Kernel::Counted<Node> parent;
        std::vector<Kernel::Counted<Node>> children;
    };
    void UndoRemovalsBelow(Node const& top);
    void NoteRemovals();
    void Remember(Node& node);
    // So that a step that fails half way has its records again. A command that fails in Do is dropped with them.
    void NoteRecord(Node& node);
    void NoteLinks();
    void ForgetIfBack(Node& node);
    Node* FindNextInPlace(Record const& record) const;
    void Insert(Node& parent, NodeChildListType list, Kernel::Counted<Node> const& child, Node* before, bool isMove,
                bool detachLinks);
    void DetachIfAsked(Node& container, bool detachLinks);
    // Nothing for a node whose link this command did not end.
    void RestoreLink(Node& node);

    std::unordered_map<Node const*, Record> m_records;
    // In the order of their insertion; the set tells which of them are there, since pieces come by the hundred
    // thousand.
    std::vector<Kernel::Counted<Node>> m_newNodes;
    std::unordered_set<Node const*> m_knownNewNodes;
    std::vector<DetachedLink> m_detachedLinks;
    // In the order in which they were made.
    std::vector<Removal> m_removals;
    // One for each spread.
    std::vector<SpreadRect> m_unclipped;
    bool m_recorded = false;
};
