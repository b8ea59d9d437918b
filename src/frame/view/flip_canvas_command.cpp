// SPDX-License-Identifier: Apache-2.0
#include "frame/view/flip_canvas_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/edit_journal.h"
#include "platform/kernel/cast.h"

namespace Commands {

namespace {

template <class F>
void ForEachTransform(SpreadNode& spread, F const& visit) {
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        if (auto* transform = Kernel::CastPointer<TransformInterface>(child))
            visit(*transform);
    }
}

} // namespace

void FlipCanvasCommand::Do() {
    SetDirection(Direction::Do);
    auto const spread = m_documentController->GetCurrentSpread();
    double const halfWidth = spread->GetBaseBox(true).GetWidth() / 2;
    double const halfHeight = spread->GetBaseBox(true).GetHeight() / 2;
    double const a = m_horizontal ? -1 : 1;
    double const d = m_horizontal ? 1 : -1;
    Raster::AffineTransform::Params const flip{a, 0, halfWidth - halfWidth * a, 0, d, halfHeight - halfHeight * d};
    ForEachTransform(*spread, [&](TransformInterface& child) {
        m_oldTransforms.push_back(child.GetTransform(false, false));
        child.Transform(flip, false);
    });
}

// The flip is never computed again: each child gets the transform that was kept for it.
void FlipCanvasCommand::Exchange(Transforms& put, Transforms& keep) {
    EditJournal::NoteValue(*this, put);
    EditJournal::NoteValue(*this, keep);
    ForEachTransform(*m_documentController->GetCurrentSpread(), [&](TransformInterface& child) {
        keep.push_back(child.GetTransform(false, false));
        if (put.empty())
            return;
        child.SetTransform(put.front(), false);
        put.pop_front();
    });
}

void FlipCanvasCommand::Undo() {
    SetDirection(Direction::Undo);
    Exchange(m_oldTransforms, m_newTransforms);
}

void FlipCanvasCommand::Redo() {
    SetDirection(Direction::Redo);
    Exchange(m_newTransforms, m_oldTransforms);
}

void FlipCanvasCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    auto const controller = GetDocumentController();
    auto const selection = controller->GetCurrentSelection();
    notifications.push_back(Kernel::MakeCounted<InvalidateDocumentAllNotification>(controller, false));
    notifications.push_back(Kernel::MakeCounted<NewSelectionNotification>(selection, selection, controller, m_preview));
}

} // namespace Commands
