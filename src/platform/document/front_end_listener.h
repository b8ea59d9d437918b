// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/domain_controller.h"

// The listener that shows a document to its user. It is added to a domain as any other listener and hears the same,
// except notifications that answer ShouldForwardToFrontEnd with false. It has processed those that answer
// FrontEndProcessingTimeIsCritical with true before the next command of the domain begins.
class REDRAFT_ENGINE FrontEndListener : public NotificationListener {
public:
    ~FrontEndListener() override;
};
