// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/raster/channel.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace Commands {

// The scale of a sample type: full scale as a float, and the factor that takes it to 1.
template <class Sample>
struct SampleScale {
    static constexpr bool c_isFloat = std::is_floating_point_v<Sample>;
    static constexpr float c_maximum = c_isFloat ? 1.0f : static_cast<float>(std::numeric_limits<Sample>::max());
    static constexpr float c_factor = 1.0f / c_maximum;

    // Integers take the nearest; halves go up.
    static Sample FromFloat(float v) {
        if constexpr (c_isFloat)
            return v;
        else
            return static_cast<Sample>(static_cast<int>(std::min(v, c_maximum) + 0.5f));
    }
};

// A pixel of an effect laid over the one that was there, through a mask sample: colours weighted by alpha, on the
// format's own scale. This is the rule; Blend does the same for a run of pixels.
//
// `processed` and `existing` hold the colours and then alpha; the result comes to `processed`.
template <class Sample, int ColourCount>
void BlendPixel(Sample* processed, Sample const* existing, Sample mask) {
    using Scale = SampleScale<Sample>;
    float const m = static_cast<float>(mask);
    // A mask of floats may hold anything; beyond its ends it is as at them, and what is no number selects nothing.
    if (!(m > 0)) {
        std::copy_n(existing, ColourCount + 1, processed);
        return;
    }
    if (m >= Scale::c_maximum)
        return;
    float const t = 1.0f - m / Scale::c_maximum;
    float const processedAlpha = static_cast<float>(processed[ColourCount]);
    float const existingAlpha = static_cast<float>(existing[ColourCount]);
    float const alpha = (1.0f - t) * processedAlpha + t * existingAlpha;
    for (int c = 0; c != ColourCount; ++c) {
        float p = static_cast<float>(processed[c]), e = static_cast<float>(existing[c]);
        if (processedAlpha != Scale::c_maximum)
            p *= processedAlpha * Scale::c_factor;
        if (existingAlpha != Scale::c_maximum)
            e *= existingAlpha * Scale::c_factor;
        float v = (1.0f - t) * p + t * e;
        if (alpha != Scale::c_maximum && alpha > 1e-20f)
            v = std::min(v / (alpha * Scale::c_factor), Scale::c_maximum);
        processed[c] = Scale::FromFloat(v);
    }
    processed[ColourCount] = Scale::FromFloat(alpha);
}

// How the samples of a mask select a run of pixels.
enum class MaskCoverage { None, Full, Mixed };

// 8 or 16-bit integers or floats.
template <class Sample>
REDRAFT_API MaskCoverage FindCoverage(Sample const* mask, int count);

// True when all samples are full scale, floats exactly.
template <class Sample>
REDRAFT_API bool AreFull(Sample const* samples, int count);

// Runs of pixels to blend: one plane for each channel, the colours and then alpha.
template <class Sample>
struct BlendRun {
    // Where the result goes, apart from all the others; null for a channel that is not wanted.
    Sample* out[5];
    Sample const* processed[5];
    Sample const* existing[5];
    Sample const* mask;
    int count;
    // Both alphas are known to be full, and need not be there.
    bool isOpaque;
};

// The rule above for a run of pixels with 0, 1, 3 or 4 colours.
template <class Sample>
REDRAFT_API void Blend(BlendRun<Sample> const& run, int colourCount);

} // namespace Commands
