// SPDX-License-Identifier: Apache-2.0
#include "engine/document/commands/damage_area.h"

#include "platform/document/document_controller.h"
#include "platform/document/document_notification.h"
#include "platform/kernel/cast.h"

Kernel::RectT<double> FindDamageArea(DocumentCommand const& command) {
    auto const controller = command.GetDocumentController();
    auto const spread = controller ? controller->GetCurrentSpread() : nullptr;
    if (!spread)
        return {};
    Kernel::NotificationList notifications;
    // Notify is not const in the contract, but a command only tells there what it has done.
    const_cast<DocumentCommand&>(command).Notify(notifications);
    Kernel::RectT<double> area;
    for (auto const& notification : notifications) {
        auto const invalid = Kernel::Cast<InvalidateDocumentNotification>(notification);
        if (invalid && !invalid->IsOnlyOverlays())
            area = area.United(invalid->GetArea()).United(invalid->GetSpreadRects().GetUnion(spread));
    }
    return area;
}
