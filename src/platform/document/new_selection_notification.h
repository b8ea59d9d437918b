// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_notification.h"

// The document's selection changed. A merged one spans from the oldest selection to the newest.
class REDRAFT_ENGINE NewSelectionNotification final : public DocumentNotification {
public:
    NewSelectionNotification(Kernel::Counted<Selection const> newSelection,
                             Kernel::Counted<Selection const> oldSelection,
                             Kernel::Counted<DocumentController const> const& controller, bool preview)
        : DocumentNotification(controller, preview),
          m_newSelection(std::move(newSelection)),
          m_oldSelection(std::move(oldSelection)) {}
    int GetDedupeId() const override { return 1; }
    bool RequiredForPreviewing() override { return true; }
    Kernel::Counted<Kernel::Notification> Merge(Kernel::Counted<Kernel::Notification> other) override;
    Kernel::Counted<Selection const> const& GetNewSelection() const { return m_newSelection; }
    Kernel::Counted<Selection const> const& GetOldSelection() const { return m_oldSelection; }
    bool IsFromUser() const { return m_fromUser; }

private:
    Kernel::Counted<Selection const> m_newSelection, m_oldSelection;
    bool m_fromUser = false;
};
