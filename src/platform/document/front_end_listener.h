// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/domain_controller.h"

// The listener that shows a document to its user. It is added to a domain as any other listener and hears what they
// hear, except what answers that it is not to be forwarded to the front end. What answers that the time of the front
// end is critical has been processed by it when the next command of the domain begins.
class REDRAFT_ENGINE FrontEndListener : public NotificationListener {
public:
    ~FrontEndListener() override;
};
