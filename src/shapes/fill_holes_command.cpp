// SPDX-License-Identifier: Apache-2.0
#include "shapes/fill_holes_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "shapes/outlines/rebuilt_outline.h"
#include "shapes/outlines/replacement_shape.h"

#include <algorithm>

namespace Commands {

namespace {

// Holes are those of a fill. Lines inside a filled shape are there only where its winding rule leaves areas out.
bool Qualifies(ConstCurvesInterface const& shape, bool removeInternalLines) {
    if (!HasVisibleBrush(&shape))
        return removeInternalLines;
    return !removeInternalLines || shape.GetWindingOrderMode() == Geometry::WindingOrderMode::Alternating;
}

bool IsTextFrame(Kernel::Countable const* object) {
    return Kernel::CastPointer<TextFrameInterface const>(object) != nullptr;
}

// Walks the shapes among the content below a node, in tree order, text frames left out, until `visit` answers true.
template <class Visit>
bool ForEachShapeBelow(Node const& top, Visit visit) {
    std::vector<Node*> pending;
    auto const putChildren = [&](Node const& parent) {
        for (Node* child = parent.GetLastChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetPreviousSibling()) {
            if (child->IsContent() && !IsTextFrame(child))
                pending.push_back(child);
        }
    };
    putChildren(top);
    while (!pending.empty()) {
        Node* const node = pending.back();
        pending.pop_back();
        if (auto* shape = Kernel::CastPointer<ConstCurvesInterface>(node)) {
            if (visit(*node, *shape))
                return true;
        } else if (Kernel::CastPointer<LogicalNode>(node) != nullptr) {
            putChildren(*node);
        }
    }
    return false;
}

} // namespace

FillHolesCommand::FillHolesCommand(bool removeInternalLines) : m_removeInternalLines(removeInternalLines) {}

bool FillHolesCommand::CanApplyTo(Kernel::NonCounted<Selection const> selection, bool removeInternalLines) {
    if (!selection || selection->empty())
        return false;
    auto const qualifies = [&](Node const&, ConstCurvesInterface const& shape) {
        return shape.IsVisibleInDomain() && Qualifies(shape, removeInternalLines);
    };
    return std::any_of(selection->begin(), selection->end(), [&](auto const& item) {
        auto* const node = Kernel::CastPointer<Node>(item->GetSelectable().get());
        if (node == nullptr || IsTextFrame(node))
            return false;
        if (auto const* shape = Kernel::CastPointer<ConstCurvesInterface const>(node))
            return qualifies(*node, *shape);
        auto const* const group = Kernel::CastPointer<LogicalNode const>(node);
        return group != nullptr && group->IsVisibleInDomain() && ForEachShapeBelow(*group, qualifies);
    });
}

Kernel::LocalisedString FillHolesCommand::GetDescription() const {
    return Kernel::LocalisedString(m_removeInternalLines ? "Remove internal lines" : "Fill holes",
                                   "Fill holes command name");
}

void FillHolesCommand::Do() {
    SetDirection(Direction::Do);
    m_undoRecords.clear();
    m_invalidRects = {};
    m_newSelection.reset();
    m_oldSelection = m_documentController->GetCurrentSelection();
    if (!m_oldSelection) {
        m_valid = false;
        return;
    }
    Items items;
    bool replaced = false;
    for (auto const& item : *m_oldSelection) {
        if (item && AddSelected(*item, items))
            replaced = true;
        else if (item)
            items.push_back(item);
    }
    m_valid = !m_undoRecords.empty();
    for (auto& record : m_undoRecords) {
        m_invalidRects.Append(SpreadRect(*record.node, record.node->GetBounds(true)));
        Apply(record);
    }
    if (replaced)
        SetNewSelection(*GetDocumentController(), Kernel::MakeCounted<Selection>(std::move(items), false));
}

// Frames of text are left alone.
bool FillHolesCommand::AddSelected(SelectionItem const& item, Items& items) {
    auto* const node = Kernel::CastPointer<Node>(item.GetSelectable().get());
    if (node == nullptr || IsTextFrame(node))
        return false;
    if (auto* shape = Kernel::CastPointer<ConstCurvesInterface>(node))
        return shape->IsVisibleInDomain() && AddShape(*node, *shape, &items);
    if (auto const* group = Kernel::CastPointer<LogicalNode const>(node);
        group != nullptr && group->IsVisibleInDomain())
        ForEachShapeBelow(*group, [this](Node& member, ConstCurvesInterface& shape) {
            AddShape(member, shape, nullptr);
            return false;
        });
    return false;
}

bool FillHolesCommand::AddShape(Node& node, ConstCurvesInterface& shape, Items* items) {
    if (m_maps.IsAborted() || !Qualifies(shape, m_removeInternalLines))
        return false;
    PlanarMaps::Outline outline;
    try {
        outline = RebuildOutline(shape, m_removeInternalLines ? RebuiltAreas::Painted : RebuiltAreas::Enclosed, m_maps);
    } catch (Kernel::AbortException const&) {
        // The shapes that were rebuilt before the abort are kept.
        return false;
    }
    bool const isEdited = Kernel::CastPointer<MutableCurvesInterface>(&node) != nullptr;
    if (!outline || (!isEdited && node.GetParent() == nullptr))
        return false;
    FillHolesRecord record;
    record.node = Kernel::Counted<Node>(&node);
    if (isEdited)
        record.newCurves = outline;
    else
        record.newNode = MakeReplacementShape(node, shape, outline, m_documentController);
    if (record.newNode && items != nullptr)
        items->push_back(Kernel::MakeCounted<SelectionItem>(record.newNode));
    m_undoRecords.push_back(std::move(record));
    return true;
}

void FillHolesCommand::Apply(FillHolesRecord& record) {
    if (!record.newNode)
        return EditInPlace(record);
    ReplaceNode(record.node, record.newNode, ShouldDetachLinksOnEdit(record.node));
    m_invalidRects.Append(SpreadRect(*record.newNode, record.newNode->GetBounds(true)));
}

void FillHolesCommand::EditInPlace(FillHolesRecord& record) {
    record.oldCurves = MutableCurvesSession(Kernel::CastPointer<MutableCurvesInterface>(record.node.get())).GetCurves();
    if (!record.oldCurves) {
        record.newCurves.reset();
        RemoveFromParent(record.node, false, ShouldDetachLinksOnEdit(record.node), {});
        return;
    }
    if (auto const* contour = Kernel::CastPointer<ContourInterface const>(record.node.get()))
        record.contourOffset = contour->GetContourOffset();
    record.GiveNewCurves();
    m_invalidRects.Append(SpreadRect(*record.node, record.node->GetBounds(true)));
}

// Required: a node that left the document because it had no curves does not come back.
void FillHolesCommand::Undo() {
    SetDirection(Direction::Undo);
    for (auto record = m_undoRecords.rbegin(); record != m_undoRecords.rend(); ++record) {
        if (record->node && record->newNode)
            ReplaceNode(record->newNode, record->node, ShouldDetachLinksOnEdit(record->newNode));
        else
            record->GiveOldCurves();
    }
    UndoSelection(*GetDocumentController());
}

void FillHolesCommand::Redo() {
    SetDirection(Direction::Redo);
    for (auto const& record : m_undoRecords) {
        if (record.node && record.newNode)
            ReplaceNode(record.node, record.newNode, ShouldDetachLinksOnEdit(record.node));
        else
            record.GiveNewCurves();
    }
    HasNewSelection() ? RedoSelection(*GetDocumentController()) : UndoSelection(*GetDocumentController());
}

void FillHolesCommand::Teardown() { SetDirection(Direction::Teardown); }

void FillHolesCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (!m_valid)
        return;
    if (m_direction != Direction::Teardown) {
        auto const controller = GetDocumentController();
        bool const undone = m_direction == Direction::Undo;
        auto const selection = undone || !HasNewSelection() ? m_oldSelection : m_newSelection;
        if (HasNewSelection()) {
            notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, m_preview));
            NotifySelection(*this, notifications);
        }
        notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(
            controller, m_invalidRects, selection, m_preview, false, false, false));
        notifications.push_back(Kernel::MakeCounted<NodesDataChangedNotification>(selection, controller, m_preview));
    }
    StructureCommandHelper::Notify(notifications);
}

} // namespace Commands
