// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/selection_command_proxy_state_manager.h"

#include <vector>

// Base of commands that put one node in another's place: keeps the pairs, exchanges them, and carries the selection
// over to the replacements. The pairs are saved with the command.
class REDRAFT_ENGINE ObjectReplacementCommandHelper : public NewNodesCommandInterface {
public:
    std::vector<Kernel::Counted<Node>> GetNewNodes() const override;

protected:
    // Puts `replacement` where `old` stands and keeps the pair. The old node's children stay with it.
    void Replace(Kernel::Counted<Node> old, Kernel::Counted<Node> replacement);
    void UndoReplacements();
    void RedoReplacements();
    // The selection with every replaced node exchanged for its replacement.
    Kernel::Counted<Selection const> MapSelection(Kernel::NonCounted<Selection const> selection) const;
    void NotifyDoRedo(Kernel::NonCounted<DocumentController> controller, bool preview,
                      Kernel::NotificationList& notifications) const;
    void SaveReplacements(Kernel::OutSerialiser& out) const;
    void LoadReplacements(Kernel::InSerialiser const& in);

private:
    std::vector<Kernel::Counted<Node>> m_oldNodes;
    std::vector<Kernel::Counted<Node>> m_newNodes;
};
