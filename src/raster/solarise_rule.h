// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstdint>
#include <limits>
#include <type_traits>

namespace Commands {

// The curve of a solarised channel: what is above the middle, which stays itself, is taken from full scale. The middle
// is 128, 32768 and 0.5.
template <class Sample>
constexpr Sample SolariseSample(Sample v) {
    if constexpr (std::is_floating_point_v<Sample>)
        return v > 0.5f ? 1.0f - v : v;
    else
        return v > std::numeric_limits<Sample>::max() / 2 + 1
                   ? static_cast<Sample>(std::numeric_limits<Sample>::max() - v)
                   : v;
}

// The same for `count` samples; 8 or 16-bit integers or floats. One pass of vectors, which a table of the curve could
// not keep up with.
template <class Sample>
REDRAFT_API void SolariseRow(Sample const* in, Sample* out, int count);

struct SolariseRule {
    // The same as a Process of kernels; null for a language that does not exist. Floats that are not finite may come
    // out as no number.
    REDRAFT_API static char const* GetHardwareFragment(int language);

    template <class Traits>
    struct ForFormat {
        static constexpr int c_passedChannels = 1 << Traits::c_alphaIndex;
        using Sample = typename Traits::Sample;
        void Process(Sample const* const* in, Sample* const* out, int count) const {
            for (int c = 0; c != Traits::c_colourCount; ++c)
                SolariseRow<Sample>(in[c], out[c], count);
        }
    };
};

} // namespace Commands
