// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/cpu_dispatch.h"

#include <algorithm>
#include <cstdlib>

namespace Commands {

VectorTarget GetWidestVectorTarget() noexcept {
#ifdef REDRAFT_HAS_WIDE_VECTORS
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma"))
        return VectorTarget::Baseline;
    bool const is512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                       __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    return is512 ? VectorTarget::Avx512 : VectorTarget::Avx2;
#else
    return VectorTarget::Baseline;
#endif
}

VectorTarget FindVectorTarget(std::string_view name) noexcept {
    if (name == "baseline")
        return VectorTarget::Baseline;
    return name == "avx2" ? VectorTarget::Avx2 : VectorTarget::Avx512;
}

VectorTarget GetVectorTarget() noexcept {
    static VectorTarget const s_target = [] {
        char const* const name = std::getenv("REDRAFT_VECTORS");
        return std::min(GetWidestVectorTarget(), FindVectorTarget(name != nullptr ? name : ""));
    }();
    return s_target;
}

} // namespace Commands
