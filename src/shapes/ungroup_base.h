// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "frame/selection/selection_change.h"
#include "frame/selection/selection_command.h"
#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/document/structure_command_helper.h"
#include "shapes/ungroup_records.h"

#include <algorithm>

namespace Commands {

// Base of the two commands that dissolve groups: the children of a group move up to where it stood, each keeping
// its place on the page, and become the selection. T says which groups, and with PutChildBack how a child of which this
// process has kept the place goes back.
template <class T>
class UngroupBase : public OrderedSelectionCommand<T>, public StructureCommandHelper, public SelectionChange {
public:
    void Do() override {
        m_buildingSelection = Kernel::MakeCounted<MutableSelection>();
        OrderedSelectionCommand<T>::Do();
        SetNewSelection(*this->GetDocumentController(), m_buildingSelection->CloneImmutable());
        m_buildingSelection.reset();
    }
    void Undo() override {
        NoteRecords();
        OrderedSelectionCommand<T>::Undo();
        UndoSelection(*this->GetDocumentController());
    }
    void Redo() override {
        NoteRecords();
        OrderedSelectionCommand<T>::Redo();
        RedoSelection(*this->GetDocumentController());
    }
    void Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) override {
        auto const controller = this->GetDocumentController();
        notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, this->m_preview));
        NotifySelection(*this, notifications);
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            controller, m_invalidRect, this->GetSelection(), this->m_preview, false, false, false));
        StructureCommandHelper::Notify(notifications);
    }
    bool VisitInReverse() const override { return false; }

protected:
    using Params = Raster::AffineTransform::Params;

    // Opens the record of a group that is about to be dissolved.
    UngroupRecord& BeginRecord(Node& group) {
        if (m_buildingSelection) {
            for (Node* child = group.GetFirstChild(NodeChildListType::Plain); child != nullptr;
                 child = child->GetNextSibling())
                m_buildingSelection->AddSelectable(Kernel::Counted<Selectable>(child), false);
        }
        m_invalidRect = m_invalidRect.United(group.GetBounds(true));
        auto& record = m_undoRecords.emplace_back();
        record.group = Kernel::Counted<Node>(&group);
        record.parent = Kernel::Counted<Node>(group.GetParent());
        record.nextSibling = Kernel::Counted<Node>(group.GetNextSibling());
        record.children.reserve(group.CountChildren(NodeChildListType::Plain));
        return record;
    }

    // Moves one child up, in front of its group. `removeFirst` is false for what stands in no child list.
    void MoveChildUp(UngroupRecord& record, Node& node, bool removeFirst, bool relax) {
        Kernel::Counted<Node> const child(&node);
        auto* const transform = Kernel::CastPointer<TransformInterface>(&node);
        auto const* const group = Kernel::CastPointer<TransformInterface>(record.group.get());
        if (transform == nullptr || group == nullptr)
            return;
        AddUnclippedArea(*record.group, node);
        this->StoreInterfaces(Kernel::NonCounted<Kernel::Countable>(&node));
        record.children.push_back({child, transform->GetTransform(false, false), transform->GetFrameTextScale()});
        auto const constraints = RelaxConstraints(*transform, relax);
        transform->Transform(group->GetTransform(false, false), false);
        transform->ScaleFrameText(group->GetFrameTextScale());
        if (this->m_direction == DomainCommand::Direction::Do)
            PlanMove(child, record.parent);
        if (removeFirst)
            RemoveFromParent(child, true, this->ShouldDetachLinksOnEdit(child), {});
        InsertChildBefore(record.parent, child, record.group, true, this->ShouldDetachLinksOnEdit(record.parent));
        PutConstraintsBack(*transform, constraints);
        this->RestoreInterfaces(Kernel::NonCounted<Kernel::Countable>(&node));
    }

    void MoveChildrenUp(UngroupRecord& record, bool relax) {
        Node* next = nullptr;
        for (Node* child = record.group->GetFirstChild(NodeChildListType::Plain); child != nullptr; child = next) {
            next = child->GetNextSibling();
            MoveChildUp(record, *child, true, relax);
        }
    }

    void RemoveGroup(Kernel::Counted<Node> const& group) {
        RemoveFromParent(group, false, this->ShouldDetachLinksOnEdit(group), {});
    }

    // Puts a group back with its children, where a record of it is the newest: records are popped in reverse of their
    // pushes, and a selected group that stood outside the tree has none.
    void Restore(Node const& group, bool relax) {
        if (m_undoRecords.empty() || m_undoRecords.back().group.get() != &group || !IsUsable(m_undoRecords.back()))
            return;
        auto const record = std::move(m_undoRecords.back());
        m_undoRecords.pop_back();
        bool const isReplay = IsReplay();
        PutGroupBack(record);
        for (auto const& child : record.children)
            AddUnclippedArea(*record.group, *child.node);
        if (isReplay) {
            for (auto const& child : record.children)
                ReplayChildBack(record, child, relax);
        } else {
            for (auto child = record.children.rbegin(); child != record.children.rend(); ++child)
                static_cast<T&>(*this).PutChildBack(*child, relax);
        }
    }

    // Frees a child of constraints for a move; what it had, or the neutral word for nothing to put back.
    static unsigned RelaxConstraints(TransformInterface& child, bool relax) {
        auto const constraints = relax ? child.GetTransformConstraints() : c_neutralTransformConstraints;
        if (constraints != c_neutralTransformConstraints)
            child.SetTransformConstraints(c_neutralTransformConstraints);
        return constraints;
    }
    static void PutConstraintsBack(TransformInterface& child, unsigned constraints) {
        if (constraints != c_neutralTransformConstraints)
            child.SetTransformConstraints(constraints);
    }

    // Only ever grows.
    Kernel::RectT<double> m_invalidRect;
    std::vector<UngroupRecord> m_undoRecords;

private:
    // So that a failure half way leaves the records as they were.
    void NoteRecords() {
        EditJournal::NoteValue(static_cast<T&>(*this), m_undoRecords);
        EditJournal::NoteValue(static_cast<T&>(*this), m_invalidRect);
    }

    void PutGroupBack(UngroupRecord const& record) {
        bool const detach = this->ShouldDetachLinksOnEdit(record.parent);
        if (record.nextSibling)
            InsertChildBefore(record.parent, record.group, record.nextSibling, false, detach);
        else
            AddChildBack(record.parent, record.group->GetChildListType(), record.group, false, detach);
    }

    // A child back into its group when nothing but the record is known, first to last.
    void ReplayChildBack(UngroupRecord const& record, UngroupChildRecord const& childRecord, bool relax) {
        auto const& child = childRecord.node;
        auto* const transform = Kernel::CastPointer<TransformInterface>(child.get());
        this->StoreInterfaces(child);
        auto const constraints = RelaxConstraints(*transform, relax);
        childRecord.RestoreTransform();
        RemoveFromParent(child, true, this->ShouldDetachLinksOnEdit(child), {});
        AddChildBack(record.group, NodeChildListType::Plain, child, true, this->ShouldDetachLinksOnEdit(record.group));
        PutConstraintsBack(*transform, constraints);
        this->RestoreInterfaces(child);
    }

    // A record of a damaged or forged history may lack what the steps above rely on.
    static bool IsUsable(UngroupRecord const& record) {
        if (!record.parent)
            return false;
        return std::all_of(record.children.begin(), record.children.end(), [](UngroupChildRecord const& child) {
            return Kernel::CastPointer<TransformInterface>(child.node.get()) != nullptr;
        });
    }

    // Stands while Do runs.
    Kernel::Counted<MutableSelection> m_buildingSelection;
};

} // namespace Commands
