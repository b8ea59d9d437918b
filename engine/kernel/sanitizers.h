// SPDX-License-Identifier: Apache-2.0
#pragma once

// gcc announces a sanitizer by a macro, clang by a feature.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define REDRAFT_ADDRESS_SANITIZER
#endif
#if __has_feature(thread_sanitizer)
#define REDRAFT_THREAD_SANITIZER
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#define REDRAFT_ADDRESS_SANITIZER
#endif
#ifdef __SANITIZE_THREAD__
#define REDRAFT_THREAD_SANITIZER
#endif

#ifdef REDRAFT_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace Kernel {

// While one lives, what this thread allocates is left out of the leak checks: for calls of libraries that are known to
// lose some bytes.
#ifdef REDRAFT_ADDRESS_SANITIZER
using KnownLeaks = __lsan::ScopedDisabler;
#else
class KnownLeaks {
public:
    KnownLeaks() noexcept {}
    ~KnownLeaks() {}
};
#endif

} // namespace Kernel
