// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/abort_flag.h"

namespace Kernel {

AbortPollObserver::~AbortPollObserver() = default;

std::atomic<AbortPollObserver*> AbortPollObserver::s_observer{nullptr};

void AbortPollObserver::Set(AbortPollObserver* observer) noexcept { s_observer = observer; }

} // namespace Kernel
