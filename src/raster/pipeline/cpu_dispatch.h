// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Commands {

// Loops that are compiled twice: for the processor that every machine has, and for one with 256-bit vectors, which is
// chosen when the program runs. Both do the same operations in the same order, so that results do not depend on it.
// K::Run is always inlined, K being a class of its own for each loop.

#if defined(__x86_64__) || defined(__i386__)
#define REDRAFT_HAS_WIDE_VECTORS 1
template <class K, class... A>
[[gnu::target("avx2")]] void RunWide(A... arguments) {
    K::Run(arguments...);
}
inline bool HasWideVectors() {
    static bool const s_has = __builtin_cpu_supports("avx2");
    return s_has;
}
#endif

template <class K, class... A>
void RunBest(A... arguments) {
#ifdef REDRAFT_HAS_WIDE_VECTORS
    if (HasWideVectors())
        return RunWide<K>(arguments...);
#endif
    K::Run(arguments...);
}

} // namespace Commands
