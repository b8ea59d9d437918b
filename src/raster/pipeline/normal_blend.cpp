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
                divisor[c_block], caps[c_block];
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
                divisor[i] = divides ? alpha * c_factor : 1.0f;
                caps[i] = divides ? c_maximum : 1e30f;
            }
            for (int c = 0; c != ColourCount; ++c) {
                Sample* __restrict const pc = processed[c] + from;
                Sample const* __restrict const ec = existing[c] + from;
                Sample const* __restrict const mc = mask + from;
                for (int i = 0; i < n; ++i) {
                    float const p = static_cast<float>(pc[i]) * ownWeight[i];
                    float const e = static_cast<float>(ec[i]) * oldWeight[i];
                    float const v = share[i] * p + rest[i] * e;
                    float const quotient = v / divisor[i];
                    Sample const mixed = ToSample(caps[i] < quotient ? caps[i] : quotient);
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

// Opaque pixels over opaque pixels in 8 bits. The rule's floats lie less than 1e-4 from the quotient of whole numbers
// here, which is never nearer than 1/510 to the middle of two, 255 being odd: both round to the same.
struct OpaqueByteLoop {
    [[gnu::always_inline]] static inline void Run(std::uint8_t* processed, std::uint8_t const* existing,
                                                  std::uint8_t const* mask, int count) {
        std::uint8_t* __restrict const to = processed;
        std::uint8_t const* __restrict const from = existing;
        std::uint8_t const* __restrict const shares = mask;
        for (int i = 0; i < count; ++i) {
            auto const m = static_cast<std::uint16_t>(shares[i]);
            auto const t = static_cast<std::uint16_t>(m * to[i] + static_cast<std::uint16_t>(255 - m) * from[i] + 128);
            to[i] = static_cast<std::uint8_t>(static_cast<std::uint16_t>(t + (t >> 8)) >> 8);
        }
    }
};

// Opaque pixels over opaque pixels in 16 bits: the weights are 1, and what depends on the mask alone is computed once.
template <int ColourCount>
struct OpaqueWordLoop {
    using Scale = SampleScale<std::uint16_t>;

    [[gnu::always_inline]] static inline void Run(std::uint16_t* const* processed, std::uint16_t const* const* existing,
                                                  std::uint16_t const* mask, int count) {
        constexpr float c_maximum = Scale::c_maximum;
        constexpr int c_block = 128;
        for (int from = 0; from < count; from += c_block) {
            int const n = count - from < c_block ? count - from : c_block;
            std::uint16_t const* __restrict const m = mask + from;
            float share[c_block], rest[c_block], divisor[c_block];
            for (int i = 0; i < n; ++i) {
                float const t = 1.0f - static_cast<float>(m[i]) / c_maximum;
                float const alpha = (1.0f - t) * c_maximum + t * c_maximum;
                share[i] = 1.0f - t;
                rest[i] = t;
                // Taking a whole share or none gives the sample itself, as the rule says of the mask's ends.
                divisor[i] = alpha != c_maximum ? alpha * Scale::c_factor : 1.0f;
            }
            for (int c = 0; c != ColourCount; ++c) {
                std::uint16_t* __restrict const pc = processed[c] + from;
                std::uint16_t const* __restrict const ec = existing[c] + from;
                for (int i = 0; i < n; ++i) {
                    float const v =
                        (share[i] * static_cast<float>(pc[i]) + rest[i] * static_cast<float>(ec[i])) / divisor[i];
                    pc[i] =
                        static_cast<std::uint16_t>(static_cast<std::int32_t>((v < c_maximum ? v : c_maximum) + 0.5f));
                }
            }
        }
    }
};

// The least and the largest sample of a row.
template <class Sample>
struct RangeLoop {
    [[gnu::always_inline]] static inline void Run(Sample const* row, Sample* range, int count) {
        Sample least = row[0], largest = row[0];
        for (int i = 0; i < count; ++i) {
            least = row[i] < least ? row[i] : least;
            largest = row[i] > largest ? row[i] : largest;
        }
        range[0] = least;
        range[1] = largest;
    }
};

template <class Sample>
bool IsOpaque(Sample const* alphas, int count) {
    Sample range[2];
    RunBest<RangeLoop<Sample>>(alphas, +range, count);
    return range[0] == std::numeric_limits<Sample>::max();
}

template <int ColourCount, class Sample>
void BlendRowOf(Sample* const* processed, Sample const* const* existing, Sample const* mask, int count) {
    if constexpr (ColourCount != 0 && !std::is_floating_point_v<Sample>) {
        if (IsOpaque(processed[ColourCount], count) && IsOpaque(existing[ColourCount], count)) {
            if constexpr (sizeof(Sample) == 1) {
                for (int c = 0; c != ColourCount; ++c)
                    RunBest<OpaqueByteLoop>(processed[c], existing[c], mask, count);
            } else {
                RunBest<OpaqueWordLoop<ColourCount>>(processed, existing, mask, count);
            }
            return;
        }
    }
    RunBest<BlendLoop<Sample, ColourCount>>(processed, existing, mask, count);
}

} // namespace

template <class Sample>
std::pair<Sample, Sample> FindRange(Sample const* row, int count) {
    Sample range[2];
    RunBest<RangeLoop<Sample>>(row, +range, count);
    return {range[0], range[1]};
}

template <class Sample>
void BlendRow(Sample* const* processed, Sample const* const* existing, Sample const* mask, int colourCount, int count) {
    switch (colourCount) {
    case 0:
        return BlendRowOf<0>(processed, existing, mask, count);
    case 1:
        return BlendRowOf<1>(processed, existing, mask, count);
    case 3:
        return BlendRowOf<3>(processed, existing, mask, count);
    default:
        return BlendRowOf<4>(processed, existing, mask, count);
    }
}

template std::pair<std::uint8_t, std::uint8_t> FindRange(std::uint8_t const*, int);
template std::pair<std::uint16_t, std::uint16_t> FindRange(std::uint16_t const*, int);
template std::pair<float, float> FindRange(float const*, int);

template void BlendRow(std::uint8_t* const*, std::uint8_t const* const*, std::uint8_t const*, int, int);
template void BlendRow(std::uint16_t* const*, std::uint16_t const* const*, std::uint16_t const*, int, int);
template void BlendRow(float* const*, float const* const*, float const*, int, int);

} // namespace Commands
