// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/string.h"

#include <functional>

namespace Kernel {

// Plain diagnostic lines, without levels. Each line brings its own ending.
class REDRAFT_ENGINE Trace {
public:
    using Sink = std::function<void(String const&)>;
    static void Write(String const& line);
    // Where lines go from now on; empty drops them, as does a program that never sets one.
    static void SetSink(Sink sink);
};

} // namespace Kernel
