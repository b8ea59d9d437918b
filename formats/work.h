// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"

#include <functional>

namespace Formats {

// How whoever asked for an import or export follows and stops it.
struct Work {
    std::function<void(float)> progress;
    bool const* abort = nullptr;

    // Throws Kernel::AbortException when the caller wants no more of it.
    void CheckAbort() const {
        if (abort != nullptr && *static_cast<bool const volatile*>(abort))
            throw Kernel::AbortException();
    }
    // 0 to 1.
    void Update(float fraction) const {
        if (progress)
            progress(fraction);
    }
};

} // namespace Formats
