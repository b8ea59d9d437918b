// SPDX-License-Identifier: Apache-2.0
#include "shapes/ungroup_all_nodes_command.h"

#include "platform/document/dom_visitor.h"

namespace Commands {

namespace {

// Collects the groups of a tree that may be dissolved, in tree order, or only finds out whether there is one.
class GroupNodeVisitor final : public DOMVisitorT<GroupNodeVisitor> {
public:
    explicit GroupNodeVisitor(bool findOnly) : m_findOnly(findOnly) {
        AppendTranslator(std::make_unique<DOMTerminatingTranslatorT<GroupNodeVisitor, GroupNode>>());
    }
    void Receive(Kernel::NonCounted<GroupNode> group) {
        bool const isInstance = group->IsLinked(false) && !group->GetGUID().empty();
        if (isInstance || group->GetOwnerReference())
            return;
        m_found = true;
        if (!m_findOnly)
            m_groups.AddSelectable(group.ToCounted(), false);
    }
    bool HasFound() const { return m_found; }
    MutableSelection const& GetGroups() const { return m_groups; }

protected:
    bool HasSeenEnough() const override { return m_found && m_findOnly; }

private:
    bool m_findOnly;
    bool m_found = false;
    MutableSelection m_groups;
};

} // namespace

UngroupAllNodesCommand::UngroupAllNodesCommand() {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<UngroupAllNodesCommand, GroupNode>>());
}

bool UngroupAllNodesCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection)
        return false;
    GroupNodeVisitor visitor(true);
    for (auto const& node : selection->GetNodesInDocument())
        visitor.Visit(*node);
    return visitor.HasFound();
}

// The groups below the selection take its place.
void UngroupAllNodesCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    GetSelection();
    GroupNodeVisitor visitor(false);
    if (auto const selection = GetSelection()) {
        for (auto const& node : selection->GetNodesInDocument())
            visitor.Visit(*node);
    }
    m_selection = visitor.GetGroups().CloneImmutableOrdered();
    OrderedSelectionCommand::PostDequeueWithMutableController(controller);
}

void UngroupAllNodesCommand::Receive(Kernel::NonCounted<GroupNode> group) {
    if (m_direction == Direction::Do || m_direction == Direction::Redo) {
        auto& record = BeginRecord(*group);
        MoveChildrenUp(record, false);
        RemoveGroup(record.group);
    } else if (m_direction == Direction::Undo) {
        Restore(*group, false);
    }
}

void UngroupAllNodesCommand::PutChildBack(UngroupChildRecord const& record, bool) {
    record.RestoreTransform();
    UndoAdd(record.node);
    UndoRemove(record.node);
}

void UngroupAllNodesCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    SelectionCommandBase::PostLoad(controller);
}

} // namespace Commands
