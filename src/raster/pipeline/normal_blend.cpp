// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/normal_blend.h"

#include "raster/pipeline/cpu_dispatch.h"

#include <limits>

namespace Commands {

namespace {

// BlendPixel without branches, so that it becomes vector code. The choices at the mask's ends are made last; what is
// computed in vain there is in range, because the mask is brought to its ends first.
template <class Sample, int ColourCount>
struct BlendLoop {
    using Scale = SampleScale<Sample>;

    [[gnu::always_inline]] static Sample ToSample(float v) {
        if constexpr (Scale::c_isFloat)
            return v;
        else
            return static_cast<Sample>(static_cast<int>((v < Scale::c_maximum ? v : Scale::c_maximum) + 0.5f));
    }

    [[gnu::always_inline]] static inline void Run(Sample* const* processed, Sample const* const* existing,
                                                  Sample const* mask, int count) {
        constexpr float c_maximum = Scale::c_maximum, c_factor = Scale::c_factor;
        // Plain pointers to rows that do not overlap, which the compiler can be told of.
        Sample* __restrict const pa = processed[ColourCount];
        Sample const* __restrict const ea = existing[ColourCount];
        constexpr int c_block = 64;
        for (int from = 0; from < count; from += c_block) {
            int const n = count - from < c_block ? count - from : c_block;
            float share[c_block], rest[c_block], ownWeight[c_block], oldWeight[c_block], alphas[c_block],
                divisor[c_block];
            for (int i = 0; i < n; ++i) {
                float m = static_cast<float>(mask[from + i]);
                m = m > 0 ? m : 0;
                m = m < c_maximum ? m : c_maximum;
                float const t = 1.0f - m / c_maximum;
                float const p = static_cast<float>(pa[from + i]), e = static_cast<float>(ea[from + i]);
                share[i] = 1.0f - t;
                rest[i] = t;
                ownWeight[i] = p != c_maximum ? p * c_factor : 1.0f;
                oldWeight[i] = e != c_maximum ? e * c_factor : 1.0f;
                float const alpha = (1.0f - t) * p + t * e;
                alphas[i] = alpha;
                bool const divides = (alpha != c_maximum) & (alpha > 1e-20f);
                divisor[i] = divides ? alpha * c_factor : 0.0f;
            }
            for (int c = 0; c != ColourCount; ++c) {
                Sample* __restrict const pc = processed[c] + from;
                Sample const* __restrict const ec = existing[c] + from;
                Sample const* __restrict const mc = mask + from;
                for (int i = 0; i < n; ++i) {
                    float const p = static_cast<float>(pc[i]) * ownWeight[i];
                    float const e = static_cast<float>(ec[i]) * oldWeight[i];
                    float const v = share[i] * p + rest[i] * e;
                    float const d = divisor[i];
                    float quotient = v / (d != 0 ? d : 1.0f);
                    quotient = c_maximum < quotient ? c_maximum : quotient;
                    Sample const mixed = ToSample(d != 0 ? quotient : v);
                    Sample const result = mc[i] > 0 ? mixed : ec[i];
                    pc[i] = static_cast<float>(mc[i]) >= c_maximum ? pc[i] : result;
                }
            }
            for (int i = 0; i < n; ++i) {
                Sample const mixed = ToSample(alphas[i]);
                Sample const m = mask[from + i];
                Sample const result = m > 0 ? mixed : ea[from + i];
                pa[from + i] = static_cast<float>(m) >= c_maximum ? pa[from + i] : result;
            }
        }
    }
};

} // namespace

template <class Sample>
void BlendRow(Sample* const* processed, Sample const* const* existing, Sample const* mask, int colourCount, int count) {
    switch (colourCount) {
    case 0:
        return RunBest<BlendLoop<Sample, 0>>(processed, existing, mask, count);
    case 1:
        return RunBest<BlendLoop<Sample, 1>>(processed, existing, mask, count);
    case 3:
        return RunBest<BlendLoop<Sample, 3>>(processed, existing, mask, count);
    default:
        return RunBest<BlendLoop<Sample, 4>>(processed, existing, mask, count);
    }
}

template void BlendRow(std::uint8_t* const*, std::uint8_t const* const*, std::uint8_t const*, int, int);
template void BlendRow(std::uint16_t* const*, std::uint16_t const* const*, std::uint16_t const*, int, int);
template void BlendRow(float* const*, float const* const*, float const*, int, int);

} // namespace Commands
