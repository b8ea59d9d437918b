// SPDX-License-Identifier: Apache-2.0
#include "lines/set_fill_scale_with_object_commands.h"

#include <algorithm>

namespace Commands {

bool SetBrushFillScaleWithObjectCommand::CanApplyTo(Kernel::Counted<Selection const> selection) {
    if (!selection)
        return false;
    auto const& objects = selection->GetObjects();
    return std::any_of(objects.begin(), objects.end(), [](Kernel::Countable* object) {
        return Kernel::CastPointer<BrushFillInterface>(object) != nullptr;
    });
}

void SetBrushFillScaleWithObjectCommand::Notify(Kernel::NotificationList& notifications) {
    SetFillScaleWithObjectCommand::Notify(notifications);
    notifications.push_back(
        Kernel::MakeCounted<NodesChangedNotification>(GetSelection(), GetDocumentController(), m_preview));
}

} // namespace Commands
