// SPDX-License-Identifier: Apache-2.0
#include "shapes/divide_shapes_command.h"

#include "platform/kernel/cast.h"
#include "shapes/outlines/order_of_return.h"

#include <algorithm>

namespace Commands {

DivideShapesCommand::DivideShapesCommand(bool retainAll, Kernel::Counted<Selection const> selection)
    : Persisted(std::move(selection)), m_retainAll(retainAll) {
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, LogicalNode>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, ConstCurvesInterface>>());
    AppendTranslator(std::make_unique<TerminatingTranslatorT<DivideShapesCommand, TextNode>>());
}

DivideShapesCommand::DivideShapesCommand() : DivideShapesCommand(false, {}) {}

bool DivideShapesCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection || selection->ContainsSpecialisedChildren() || selection->ContainsArtboards() ||
        !selection->AllSameSpread())
        return false;
    return std::any_of(selection->begin(), selection->end(), [](auto const& item) {
        return Kernel::CastPointer<ConstCurvesInterface>(item->GetSelectable().get()) != nullptr;
    });
}

bool DivideShapesCommand::ValidateUntrusted() {
    if (!OrderedSelectionCommand::ValidateUntrusted())
        return false;
    if (CanApplyTo(GetSelection()))
        return true;
    m_statusFlags |= c_statusDivideRefused;
    return false;
}

void DivideShapesCommand::Progress(float value) {
    if (auto const controller = GetDocumentController())
        controller->UpdateProgress(Kernel::Counted<DomainCommand const>(this), value);
}

bool DivideShapesCommand::ConcernsSpecialisedChildren() {
    auto const selection = GetSelection();
    return selection && selection->ContainsSpecialisedChildren();
}

void DivideShapesCommand::Do() {
    m_valid = false;
    m_abort = false;
    m_maps = PlanarMaps(&m_abort, this);
    SetDirection(Direction::Do);
    // An ordered command answers from the second time on when it takes the document's selection.
    GetSelection();
    if (ConcernsSpecialisedChildren())
        return;
    m_oldNodes.clear();
    m_newNodes.clear();
    m_invalidRects = {};

    Gather();
    KeepPlaces(m_oldNodes, m_oldParents, m_oldPreviousSiblings);
    auto const pieces = MakePieces(*m_inputs, m_retainAll, m_documentController);
    m_inputs.reset();
    if (pieces.empty() && m_oldNodes.empty())
        return;

    m_valid = true;
    PutIn(pieces);
    TakeOut(m_oldNodes);
    KeepPlaces(m_newNodes, m_newParents, m_newPreviousSiblings);
    SetNewSelection(*GetDocumentController(), Kernel::MakeCounted<Selection>(m_newNodes));
}

// Reads the document only, so that other readers may go on. Nothing has changed when an abort ends it.
void DivideShapesCommand::Gather() {
    DomainWriterUnlockSession const session(GetDocumentController());
    m_inputs = std::make_unique<DivideInputs>(m_documentController->GetDocument(), m_maps);
    m_membersToVisit.clear();
    m_visitingMembers = false;
    OrderedSelectionCommand::Do();
    m_maps.ThrowIfAborted();
}

void DivideShapesCommand::Receive(Kernel::NonCounted<LogicalNode> group) {
    for (Node* child = group->GetLastChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetPreviousSibling())
        m_membersToVisit.emplace_back(child);
    if (m_visitingMembers)
        return;
    m_visitingMembers = true;
    while (!m_membersToVisit.empty()) {
        auto const member = std::move(m_membersToVisit.back());
        m_membersToVisit.pop_back();
        VisitObject(Kernel::NonCounted<Kernel::Countable>(member.get()), true);
    }
    m_visitingMembers = false;
}

void DivideShapesCommand::Receive(Kernel::NonCounted<ConstCurvesInterface> shape) {
    if (auto* const node = Kernel::CastPointer<Node>(shape.get())) {
        m_inputs->AddShape(*node, *shape);
        Leave(*node);
    }
}

void DivideShapesCommand::Receive(Kernel::NonCounted<TextNode> text) {
    m_inputs->AddText(*text);
    Leave(*text);
}

void DivideShapesCommand::Leave(Node& node) {
    m_invalidRects.Append(SpreadRect(node, node.GetBounds(true)));
    m_oldNodes.emplace_back(&node);
}

void DivideShapesCommand::KeepPlaces(Nodes const& nodes, Nodes& parents, Nodes& previousSiblings) {
    parents.clear();
    previousSiblings.clear();
    for (auto const& node : nodes) {
        parents.emplace_back(node->GetParent());
        previousSiblings.emplace_back(node->GetPreviousSibling());
    }
}

void DivideShapesCommand::PutIn(std::vector<DividedPiece> const& pieces) {
    for (auto const& piece : pieces) {
        for (auto const& child : piece.children)
            AddChildBack(piece.node, child.list, child.node, false, ShouldDetachLinksOnEdit(piece.node));
    }
    for (auto const& piece : pieces) {
        InsertChildAfter(piece.parent, piece.node, piece.anchor, false, ShouldDetachLinksOnEdit(piece.parent));
        m_newNodes.push_back(piece.node);
    }
}

void DivideShapesCommand::Undo() {
    SetDirection(Direction::Undo);
    if (ConcernsSpecialisedChildren())
        return;
    if (IsReplay()) {
        PutBack(m_oldNodes, m_oldParents, m_oldPreviousSiblings);
    } else {
        for (auto node = m_oldNodes.rbegin(); node != m_oldNodes.rend(); ++node)
            UndoStructureChanges(*node);
    }
    TakeOut(m_newNodes);
    UndoSelection(*GetDocumentController());
}

void DivideShapesCommand::Redo() {
    SetDirection(Direction::Redo);
    if (ConcernsSpecialisedChildren())
        return;
    PutBack(m_newNodes, m_newParents, m_newPreviousSiblings);
    TakeOut(m_oldNodes);
    RedoSelection(*GetDocumentController());
}

void DivideShapesCommand::PutBack(Nodes const& nodes, Nodes const& parents, Nodes const& previousSiblings) {
    for (std::size_t const i : FindOrderOfReturn(nodes, parents, previousSiblings)) {
        bool const detach = ShouldDetachLinksOnEdit(parents[i]);
        if (previousSiblings[i])
            InsertChildAfter(parents[i], nodes[i], previousSiblings[i], false, detach);
        else
            AddChildFront(parents[i], nodes[i]->GetChildListType(), nodes[i], false, detach);
    }
}

void DivideShapesCommand::TakeOut(Nodes const& nodes) {
    for (auto const& node : nodes) {
        if (node)
            RemoveFromParent(node, false, ShouldDetachLinksOnEdit(node), {});
    }
}

// Whoever made the pieces forgets nothing: there is no state of single objects to let go of.
void DivideShapesCommand::Teardown() { SetDirection(Direction::Teardown); }

void DivideShapesCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (!m_valid)
        return;
    auto const& selection = m_direction == Direction::Undo ? m_oldSelection : m_newSelection;
    auto const controller = GetDocumentController();
    notifications.push_back(Kernel::MakeCounted<DocumentStructureChangedNotification>(controller, m_preview));
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentNotification>(controller, m_invalidRects, selection,
                                                                                m_preview, false, false, false));
    NotifySelection(*this, notifications);
    StructureCommandHelper::Notify(notifications);
}

bool DivideShapesCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    bool const loaded = Persisted::Load(in, files, version);
    // Older programs wrote one rectangle.
    if (SpreadRects rects; !Kernel::LoadValue(in, "IRec", rects))
        m_invalidRects.LoadLegacy(in, "InvR");
    return loaded;
}

} // namespace Commands
