// SPDX-License-Identifier: Apache-2.0
#include "shapes/ungroup_nodes_command.h"

#include <algorithm>

namespace Commands {

// The most derived class comes first, since a constraints group is a group too.
UngroupNodesCommand::UngroupNodesCommand(bool relaxAppliedConstraints)
    : m_relaxAppliedConstraints(relaxAppliedConstraints) {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<UngroupNodesCommand, CloudSyncedNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<UngroupNodesCommand, ConstraintsGroupNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<UngroupNodesCommand, GroupNode>>());
}

bool UngroupNodesCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection || selection->ContainsSpecialisedChildren())
        return false;
    auto const nodes = selection->GetNodesInDocument();
    return std::any_of(nodes.begin(), nodes.end(), [](auto const& node) {
        return Kernel::CastPointer<GroupNode>(node.get()) != nullptr ||
               Kernel::CastPointer<ConstraintsGroupNode>(node.get()) != nullptr;
    });
}

// Linked instances are set free first: their top nodes are what the detach command is given.
void UngroupNodesCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    OrderedSelectionCommand::PostDequeueWithMutableController(controller);
    GetSelection();
    auto const selection = GetSelection();
    if (!selection)
        return;
    auto const tops = Kernel::MakeCounted<MutableSelection>();
    for (auto const& node : selection->GetNodesInDocument()) {
        if (node->IsLinked(false) && !node->GetParent()->IsLinked(false))
            tops->AddSelectable(node, false);
    }
    if (tops->empty())
        return;
    m_detachSymbolCommand =
        Kernel::MakeCounted<DetachSymbolCommand>(tops->CloneImmutable(), true, UnlinkRecurse::Instance, false);
    m_detachSymbolCommand->PostDequeueWithMutableController(controller);
}

void UngroupNodesCommand::Do() {
    SetDirection(Direction::Do);
    if (m_detachSymbolCommand)
        m_detachSymbolCommand->Do();
    UngroupBase::Do();
}

void UngroupNodesCommand::Undo() {
    UngroupBase::Undo();
    if (m_detachSymbolCommand)
        m_detachSymbolCommand->Undo();
}

void UngroupNodesCommand::Redo() {
    if (m_detachSymbolCommand)
        m_detachSymbolCommand->Redo();
    UngroupBase::Redo();
}

void UngroupNodesCommand::ReceiveNode(Kernel::NonCounted<Node> node) {
    if (node->GetOwnerReference())
        return;
    if (m_direction == Direction::Do || m_direction == Direction::Redo)
        Dissolve(*node);
    else if (m_direction == Direction::Undo)
        Restore(*node, MustRelax(*node));
}

bool UngroupNodesCommand::MustRelax(Node const& group) const {
    return m_relaxAppliedConstraints && Kernel::CastPointer<ConstraintsGroupNode const>(&group) != nullptr;
}

void UngroupNodesCommand::Dissolve(Node& node) {
    auto& record = BeginRecord(node);
    bool const relax = MustRelax(node);
    MoveChildrenUp(record, relax);
    if (auto const* box = Kernel::CastPointer<CloudSyncedNode>(&node)) {
        if (auto const contents = box->GetBoxContents())
            MoveChildUp(record, *contents, false, relax);
    }
    RemoveGroup(record.group);
}

void UngroupNodesCommand::PutChildBack(UngroupChildRecord const& record, bool relax) {
    auto* const transform = Kernel::CastPointer<TransformInterface>(record.node.get());
    StoreInterfaces(record.node);
    auto const constraints = RelaxConstraints(*transform, relax);
    record.RestoreTransform();
    UndoStructureChanges(record.node);
    PutConstraintsBack(*transform, constraints);
    RestoreInterfaces(record.node);
}

void UngroupNodesCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    if (m_detachSymbolCommand)
        m_detachSymbolCommand->PostLoad(controller);
    SelectionCommandBase::PostLoad(controller);
}

} // namespace Commands
