// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <algorithm>
#include <string_view>

namespace Commands {

// Loops that are compiled once for each set of vector instructions, from the one that every machine has to 512-bit
// vectors; which of them runs is chosen when the program runs. All do the same operations in the same order, so that
// results do not depend on it: products and sums stay apart, but in files that say why not.
enum class VectorTarget { Baseline, Avx2, Avx512 };

// The widest that this machine has, or the narrower one that the environment variable REDRAFT_VECTORS names, as it is
// when the first loop runs: "baseline" (SSE2 on x86), "avx2" or "avx512".
REDRAFT_API VectorTarget GetVectorTarget() noexcept;
// The widest that this machine has.
REDRAFT_API VectorTarget GetWidestVectorTarget() noexcept;
// The instruction set of that name; the widest of all for a name that is not known.
REDRAFT_API VectorTarget FindVectorTarget(std::string_view name) noexcept;

// RunBest<K>(arguments...) runs K::Run, K being a class of its own for each loop, whose Run is always inlined. Loops
// that wait for memory name 256-bit vectors as their widest: wider ones do not speed them up, and slow some processors
// down.
#if defined(__x86_64__) || defined(__i386__)
#define REDRAFT_HAS_WIDE_VECTORS 1
template <class K, class... A>
[[gnu::target("avx2,fma")]] void RunAvx2(A... arguments) {
    K::Run(arguments...);
}
template <class K, class... A>
[[gnu::target("avx2,fma,avx512f,avx512bw,avx512dq,avx512vl")]] void RunAvx512(A... arguments) {
    K::Run(arguments...);
}
#endif

template <class K, VectorTarget Widest = VectorTarget::Avx512, class... A>
void RunBest(A... arguments) {
#ifdef REDRAFT_HAS_WIDE_VECTORS
    switch (std::min(GetVectorTarget(), Widest)) {
    case VectorTarget::Avx512:
        return RunAvx512<K>(arguments...);
    case VectorTarget::Avx2:
        return RunAvx2<K>(arguments...);
    case VectorTarget::Baseline:
        break;
    }
#endif
    K::Run(arguments...);
}

} // namespace Commands
