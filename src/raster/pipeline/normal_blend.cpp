// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/normal_blend.h"

#include "raster/pipeline/cpu_dispatch.h"

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

    [[gnu::always_inline]] static inline void Run(BlendRun<Sample> const* run) {
        constexpr float c_maximum = Scale::c_maximum, c_factor = Scale::c_factor;
        constexpr int c_block = 64;
        for (int from = 0; from < run->count; from += c_block) {
            int const n = run->count - from < c_block ? run->count - from : c_block;
            // Plain pointers to rows that do not overlap, which the compiler can be told of.
            Sample const* __restrict const mask = run->mask + from;
            Sample const* __restrict const pa = run->processed[ColourCount] + from;
            Sample const* __restrict const ea = run->existing[ColourCount] + from;
            float share[c_block], rest[c_block], ownWeight[c_block], oldWeight[c_block], alphas[c_block],
                divisor[c_block], caps[c_block];
            for (int i = 0; i < n; ++i) {
                float m = static_cast<float>(mask[i]);
                m = m > 0 ? m : 0;
                m = m < c_maximum ? m : c_maximum;
                float const t = 1.0f - m / c_maximum;
                float const p = static_cast<float>(pa[i]), e = static_cast<float>(ea[i]);
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
                if (run->out[c] == nullptr)
                    continue;
                Sample* __restrict const oc = run->out[c] + from;
                Sample const* __restrict const pc = run->processed[c] + from;
                Sample const* __restrict const ec = run->existing[c] + from;
                for (int i = 0; i < n; ++i) {
                    float const p = static_cast<float>(pc[i]) * ownWeight[i];
                    float const e = static_cast<float>(ec[i]) * oldWeight[i];
                    float const v = share[i] * p + rest[i] * e;
                    float const quotient = v / divisor[i];
                    Sample const mixed = ToSample(caps[i] < quotient ? caps[i] : quotient);
                    Sample const result = mask[i] > 0 ? mixed : ec[i];
                    oc[i] = static_cast<float>(mask[i]) >= c_maximum ? pc[i] : result;
                }
            }
            if (run->out[ColourCount] == nullptr)
                continue;
            Sample* __restrict const oa = run->out[ColourCount] + from;
            for (int i = 0; i < n; ++i) {
                Sample const mixed = ToSample(alphas[i]);
                Sample const m = mask[i];
                Sample const result = m > 0 ? mixed : ea[i];
                oa[i] = static_cast<float>(m) >= c_maximum ? pa[i] : result;
            }
        }
    }
};

// Opaque pixels over opaque pixels, where the weights are 1.
template <class Sample, int ColourCount>
struct OpaqueLoop;

// In 8 bits the rule's floats lie less than 1e-4 from the quotient of whole numbers, which is never nearer than 1/510
// to the middle of two, 255 being odd: both round to the same.
template <int ColourCount>
struct OpaqueLoop<std::uint8_t, ColourCount> {
    [[gnu::always_inline]] static inline void Run(BlendRun<std::uint8_t> const* run) {
        for (int c = 0; c != ColourCount; ++c) {
            if (run->out[c] == nullptr)
                continue;
            std::uint8_t* __restrict const to = run->out[c];
            std::uint8_t const* __restrict const own = run->processed[c];
            std::uint8_t const* __restrict const old = run->existing[c];
            std::uint8_t const* __restrict const mask = run->mask;
            int const count = run->count;
            for (int i = 0; i < count; ++i) {
                auto const m = static_cast<std::uint16_t>(mask[i]);
                auto const t =
                    static_cast<std::uint16_t>(m * own[i] + static_cast<std::uint16_t>(255 - m) * old[i] + 128);
                to[i] = static_cast<std::uint8_t>(static_cast<std::uint16_t>(t + (t >> 8)) >> 8);
            }
        }
    }
};

// In 16 bits what depends on the mask alone is computed once. For each of the 65536 mask samples the rule's alpha, as a
// part of full scale, is 1: nothing is divided by it.
template <int ColourCount>
struct OpaqueLoop<std::uint16_t, ColourCount> {
    using Scale = SampleScale<std::uint16_t>;

    [[gnu::always_inline]] static inline void Run(BlendRun<std::uint16_t> const* run) {
        constexpr float c_maximum = Scale::c_maximum;
        constexpr int c_block = 256;
        for (int from = 0; from < run->count; from += c_block) {
            int const n = run->count - from < c_block ? run->count - from : c_block;
            std::uint16_t const* __restrict const m = run->mask + from;
            alignas(64) float share[c_block], rest[c_block];
            for (int i = 0; i < n; ++i) {
                // Taking a whole share or none gives the sample itself, as the rule says of the mask's ends.
                float const t = 1.0f - static_cast<float>(m[i]) / c_maximum;
                share[i] = 1.0f - t;
                rest[i] = t;
            }
            for (int c = 0; c != ColourCount; ++c) {
                if (run->out[c] == nullptr)
                    continue;
                std::uint16_t* __restrict const to = run->out[c] + from;
                std::uint16_t const* __restrict const own = run->processed[c] + from;
                std::uint16_t const* __restrict const old = run->existing[c] + from;
                for (int i = 0; i < n; ++i) {
                    float const v = share[i] * static_cast<float>(own[i]) + rest[i] * static_cast<float>(old[i]);
                    to[i] =
                        static_cast<std::uint16_t>(static_cast<std::int32_t>((v < c_maximum ? v : c_maximum) + 0.5f));
                }
            }
        }
    }
};

// With floats the two shares add up to 1 exactly: 1 - t is exact for t from a half on, and below its error is at most
// half of the last place of a number under 1, which the sum rounds away. So nothing is divided by alpha.
template <int ColourCount>
struct OpaqueLoop<float, ColourCount> {
    [[gnu::always_inline]] static inline void Run(BlendRun<float> const* run) {
        float const* __restrict const mask = run->mask;
        int const count = run->count;
        for (int c = 0; c != ColourCount; ++c) {
            if (run->out[c] == nullptr)
                continue;
            float* __restrict const to = run->out[c];
            float const* __restrict const own = run->processed[c];
            float const* __restrict const old = run->existing[c];
            for (int i = 0; i < count; ++i) {
                float const t = 1.0f - mask[i];
                float const v = (1.0f - t) * own[i] + t * old[i];
                // A value that is no number selects nothing.
                float const below = mask[i] > 0 ? v : old[i];
                to[i] = mask[i] >= 1.0f ? own[i] : below;
            }
        }
    }
};

// Opaque pixels stay opaque whatever the mask says.
template <class Sample>
void FillAlpha(Sample* alphas, int count) {
    if (alphas != nullptr)
        std::fill_n(alphas, count, SampleScale<Sample>::c_isFloat ? Sample(1) : std::numeric_limits<Sample>::max());
}

// Words of the samples' width, so that their tests become vector code.
template <class Sample>
using WordOf = std::conditional_t<sizeof(Sample) == 4, std::uint32_t,
                                  std::conditional_t<sizeof(Sample) == 2, std::uint16_t, std::uint8_t>>;

template <class Sample>
struct CoverageLoop {
    [[gnu::always_inline]] static inline void Run(Sample const* mask, int count, bool* someSelect, bool* allAreFull) {
        using Word = WordOf<Sample>;
        Word any = 0, all = static_cast<Word>(-1);
        for (int i = 0; i < count; ++i) {
            if constexpr (std::is_floating_point_v<Sample>) {
                any |= mask[i] > 0 ? 1u : 0u;
                all &= mask[i] >= 1.0f ? 1u : 0u;
            } else {
                any = static_cast<Word>(any | mask[i]);
                all = static_cast<Word>(all & mask[i]);
            }
        }
        *someSelect = any != 0;
        *allAreFull = std::is_floating_point_v<Sample> ? all != 0 : all == static_cast<Word>(-1);
    }
};

template <class Sample>
struct FullLoop {
    [[gnu::always_inline]] static inline void Run(Sample const* samples, int count, bool* areFull) {
        using Word = WordOf<Sample>;
        Word all = static_cast<Word>(-1);
        for (int i = 0; i < count; ++i) {
            if constexpr (std::is_floating_point_v<Sample>)
                all &= samples[i] == 1.0f ? 1u : 0u;
            else
                all = static_cast<Word>(all & samples[i]);
        }
        *areFull = std::is_floating_point_v<Sample> ? all != 0 : all == static_cast<Word>(-1);
    }
};

template <int ColourCount, class Sample>
void BlendOf(BlendRun<Sample> const& run) {
    if (run.isOpaque ||
        (AreFull(run.processed[ColourCount], run.count) && AreFull(run.existing[ColourCount], run.count))) {
        constexpr auto c_widest = sizeof(Sample) == 2 ? VectorTarget::Avx512 : VectorTarget::Avx2;
        if constexpr (ColourCount != 0)
            RunBest<OpaqueLoop<Sample, ColourCount>, c_widest>(&run);
        FillAlpha(run.out[ColourCount], run.count);
    } else {
        RunBest<BlendLoop<Sample, ColourCount>>(&run);
    }
}

} // namespace

template <class Sample>
MaskCoverage FindCoverage(Sample const* mask, int count) {
    bool someSelect = false, allAreFull = false;
    RunBest<CoverageLoop<Sample>, VectorTarget::Avx2>(mask, count, &someSelect, &allAreFull);
    return allAreFull ? MaskCoverage::Full : someSelect ? MaskCoverage::Mixed : MaskCoverage::None;
}

template <class Sample>
bool AreFull(Sample const* samples, int count) {
    bool areFull = false;
    RunBest<FullLoop<Sample>, VectorTarget::Avx2>(samples, count, &areFull);
    return areFull;
}

template <class Sample>
void Blend(BlendRun<Sample> const& run, int colourCount) {
    switch (colourCount) {
    case 0:
        return BlendOf<0>(run);
    case 1:
        return BlendOf<1>(run);
    case 3:
        return BlendOf<3>(run);
    default:
        return BlendOf<4>(run);
    }
}

template MaskCoverage FindCoverage(std::uint8_t const*, int);
template MaskCoverage FindCoverage(std::uint16_t const*, int);
template MaskCoverage FindCoverage(float const*, int);

template bool AreFull(std::uint8_t const*, int);
template bool AreFull(std::uint16_t const*, int);
template bool AreFull(float const*, int);

template void Blend(BlendRun<std::uint8_t> const&, int);
template void Blend(BlendRun<std::uint16_t> const&, int);
template void Blend(BlendRun<float> const&, int);

} // namespace Commands
