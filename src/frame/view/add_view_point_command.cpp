// SPDX-License-Identifier: Apache-2.0
#include "frame/view/add_view_point_command.h"

#include "frame/contract/notifications.h"
#include "platform/kernel/cast.h"

#include <algorithm>

namespace Commands {

void AddViewPointCommand::Append() {
    auto viewPoints = m_documentController->GetDocument()->GetViewPoints();
    viewPoints.push_back(m_viewPoint);
    m_documentController->GetDocument()->SetViewPoints(std::move(viewPoints));
}

void AddViewPointCommand::Do() {
    SetDirection(Direction::Do);
    Append();
}

// Required: of two equal view points the first goes, whichever came last.
void AddViewPointCommand::Undo() {
    SetDirection(Direction::Undo);
    auto viewPoints = m_documentController->GetDocument()->GetViewPoints();
    auto const found = std::find(viewPoints.begin(), viewPoints.end(), m_viewPoint);
    if (found == viewPoints.end())
        return;
    viewPoints.erase(found);
    m_documentController->GetDocument()->SetViewPoints(std::move(viewPoints));
}

void AddViewPointCommand::Redo() {
    SetDirection(Direction::Redo);
    Append();
}

void AddViewPointCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    auto const kind =
        m_direction == Direction::Undo ? ViewPointChangedNotification::Removed : ViewPointChangedNotification::Added;
    notifications.push_back(
        Kernel::MakeCounted<ViewPointChangedNotification>(GetDocumentController(), kind, m_viewPoint));
}

bool AddViewPointCommand::Merge(Kernel::Counted<Command const> newer) {
    if (!m_preview)
        return false;
    auto const other = Kernel::Cast<AddViewPointCommand const>(newer);
    if (!other)
        return false;
    m_viewPoint = other->m_viewPoint;
    return true;
}

} // namespace Commands
