// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kernel/sanitizers.h"

// Before a function with a plain loop over pixels: it is compiled once more for processors with wider registers, and
// the one that fits is chosen when the program starts. Each step rounds alike in both, so that pixels do not depend on
// the processor. Sanitizers cannot run the choice, which comes before they are ready.
#if defined(__x86_64__) && defined(__ELF__) && defined(__GNUC__) && !defined(__clang__) &&                             \
    !defined(REDRAFT_ADDRESS_SANITIZER) && !defined(REDRAFT_THREAD_SANITIZER)
#define REDRAFT_WIDE_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define REDRAFT_WIDE_LOOP
#endif
