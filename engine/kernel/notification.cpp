// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/notification.h"

namespace Kernel {

int Notification::GetDedupeId() const { return 0; }

Counted<Notification> Notification::Merge(Counted<Notification>) { return {}; }

bool Notification::ShouldForwardToFrontEnd() { return true; }

} // namespace Kernel
