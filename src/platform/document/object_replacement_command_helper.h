// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selection_command_proxy_state_manager.h"
#include "platform/document/spread_rects.h"

#include <unordered_map>
#include <vector>

// Base of selection commands that put one node in another's place. The replacement gets the old node's tags. The
// command's managers of structure and tag states keep the places for undo and redo, and save them.
class REDRAFT_ENGINE ObjectReplacementCommandHelper : public NewNodesCommandInterface {
public:
    void GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const override;

protected:
    using StructureStates = ProxyStateManager<StructureInterface>;
    using TagStates = ProxyStateManager<TagInterface>;

    // To be called before the first replacement of a Do: what an earlier one has kept is dropped.
    void BeginReplacing(StructureStates& structure);
    // To be called before the first exchange of an Undo or a Redo.
    void BeginExchanging() { m_changed.Clear(); }
    // Puts `replacement`, which stands nowhere, where `old` stands. The old node's children stay with it. Nothing
    // happens when `old` stands nowhere, as a node does that has been replaced already.
    void DoReplaceObject(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement, StructureStates& structure,
                         TagStates& tags);
    // Exchanges a node and its replacement again, each back to the place that is kept for it; nothing for a node that
    // was left in place.
    void UndoReplaceObject(Node& old, StructureStates& structure, TagStates& tags);
    void RedoReplaceObject(Node& old, StructureStates& structure, TagStates& tags);
    // Tells the places that the last operation has changed, and that nodes came and went.
    void NotifyDoRedo(Kernel::NonCounted<DocumentController> controller, bool preview,
                      Kernel::NotificationList& notifications) const;
    // To be called after the states have been loaded. Reads the older form too, which told only which node takes
    // whose place.
    void LoadReplacements(Kernel::InSerialiser const& in, StructureStates& structure);

private:
    void Exchange(Node& old, StructureStates& structure, TagStates& tags, bool undo);
    void AddChanged(Node& node);

    // Of each old node that has a replacement: the place of its entry among the structure states. That of the
    // replacement follows it.
    std::unordered_map<Node const*, std::size_t> m_entryOfOld;
    std::vector<Kernel::Counted<Node>> m_newNodes;
    // Of the nodes that the last operation has exchanged.
    ChangeResult m_changed;
};
