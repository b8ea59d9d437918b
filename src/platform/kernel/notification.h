// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"

#include <vector>

namespace Kernel {

// Tells the front end and listeners what a command changed. Read-only once it is built.
class REDRAFT_ENGINE Notification : public virtual Countable {
public:
    // Notifications of one class that share an id above 0 may be merged in a delivery; 0: never.
    virtual int GetDedupeId() const;
    // The notification that stands for this one and the later `other`; empty when they do not merge.
    virtual Counted<Notification> Merge(Counted<Notification> other);
    virtual bool ShouldForwardToFrontEnd();
};

using NotificationList = std::vector<Counted<Notification>>;

} // namespace Kernel
