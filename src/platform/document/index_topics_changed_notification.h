// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_notification.h"

// Topics of the document's index, or how an index is made of them, changed. Never part of a preview.
class REDRAFT_ENGINE IndexTopicsChangedNotification final : public DocumentNotification {
public:
    explicit IndexTopicsChangedNotification(Kernel::Counted<DocumentController const> const& controller)
        : DocumentNotification(controller, false) {}
};
