// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/detach_symbol_command.h"
#include "shapes/ungroup_base.h"

namespace Commands {

// Dissolves the selected groups: each one's children take its place, keeping their order and their place on the page.
class REDRAFT_API UngroupNodesCommand final : public Persisted<UngroupNodesCommand, UngroupBase<UngroupNodesCommand>> {
public:
    // `relaxAppliedConstraints`: children of a constraints group move freely of their constraints, which they keep.
    explicit UngroupNodesCommand(bool relaxAppliedConstraints = true);

    static bool CanApplyTo(Kernel::Counted<Selection const> selection);

    static constexpr auto c_description = Kernel::Localisable("Ungroup", "Command description");
    void Do() override;
    void Undo() override;
    void Redo() override;
    void PostLoad(Kernel::NonCounted<DocumentController> controller) override;
    void PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) override;

    void Receive(Kernel::NonCounted<GroupNode> group) { ReceiveNode(group); }
    void Receive(Kernel::NonCounted<ConstraintsGroupNode> group) { ReceiveNode(group); }
    void Receive(Kernel::NonCounted<CloudSyncedNode> box) { ReceiveNode(box); }

protected:
    void ReceiveNode(Kernel::NonCounted<Node> node);

private:
    friend struct Kernel::FieldAccess;
    friend class UngroupBase<UngroupNodesCommand>;
    static constexpr auto Fields() {
        using This = UngroupNodesCommand;
        return Kernel::FieldList{
            Kernel::Field{"UndR", &This::m_undoRecords},
            Kernel::Field{"NewS", &This::m_newSelection},
            Kernel::Field{"OldS", &This::m_oldSelection},
            Kernel::Field{"InvR", &This::m_invalidRect},
            Kernel::Field{"DSmC", &This::m_detachSymbolCommand},
            Kernel::Field{"RACs", &This::m_relaxAppliedConstraints}.WhenMissing(false).As(
                "relaxAppliedConstraints", "children of a constraints group move freely of their constraints", true)};
    }
    bool MustRelax(Node const& group) const;
    void Dissolve(Node& node);
    void PutChildBack(UngroupChildRecord const& record, bool relax);

    // Empty unless something selected had to be detached.
    Kernel::Counted<DetachSymbolCommand> m_detachSymbolCommand;
    bool m_relaxAppliedConstraints = true;
};

} // namespace Commands
