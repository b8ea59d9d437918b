// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_sampler.h"

#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "raster/pipeline/cpu_dispatch.h"

#include <new>

namespace Commands {

namespace {

using Floats = float __attribute__((vector_size(16)));
using Ints = std::int32_t __attribute__((vector_size(16)));

// Four samples side by side as floats.
[[gnu::always_inline]] inline Floats LoadFour(std::uint8_t const* samples) {
    using Bytes = std::uint8_t __attribute__((vector_size(4)));
    Bytes v;
    std::memcpy(&v, samples, sizeof v);
    return __builtin_convertvector(__builtin_convertvector(v, Ints), Floats);
}
[[gnu::always_inline]] inline Floats LoadFour(std::uint16_t const* samples) {
    using Words = std::uint16_t __attribute__((vector_size(8)));
    Words v;
    std::memcpy(&v, samples, sizeof v);
    return __builtin_convertvector(__builtin_convertvector(v, Ints), Floats);
}
[[gnu::always_inline]] inline Floats LoadFour(float const* samples) {
    Floats v;
    std::memcpy(&v, samples, sizeof v);
    return v;
}

template <class Traits, bool IsOpaque>
struct SumLoop {
    using Sample = typename Traits::Sample;
    using Scale = SampleScale<Sample>;
    static constexpr int c_pitch = InterleavedPixels<Traits>::c_pitch;

    [[gnu::always_inline]] static inline float GetWeight(float alpha) {
        return IsOpaque || alpha == Scale::c_maximum ? 1.0f : alpha * Scale::c_factor;
    }

    [[gnu::always_inline]] static inline void Run(Sample const* pixels, std::size_t rowPixels, std::int32_t const* xs,
                                                  std::int32_t const* ys, float* sums, float* alphas, int count) {
        for (int p = 0; p < count; ++p) {
            Floats sum = LoadFour(sums + 4 * p);
            for (int i = 0; i < 5; ++i) {
                auto const index = static_cast<std::size_t>(ys[i]) * rowPixels + static_cast<std::size_t>(xs[i]);
                Sample const* const s = pixels + index * c_pitch;
                if constexpr (Traits::c_colourCount == 3) {
                    Floats const v = LoadFour(s);
                    float const w = GetWeight(v[3]);
                    sum += IsOpaque ? v : v * Floats{w, w, w, 1.0f};
                } else if constexpr (Traits::c_colourCount == 4) {
                    float const alpha = static_cast<float>(s[4]);
                    float const w = GetWeight(alpha);
                    sum += LoadFour(s) * Floats{w, w, w, w};
                    alphas[p] += alpha;
                } else if constexpr (Traits::c_colourCount == 1) {
                    float const alpha = static_cast<float>(s[1]);
                    sum += Floats{static_cast<float>(s[0]) * GetWeight(alpha), alpha, 0, 0};
                } else {
                    sum += Floats{static_cast<float>(s[0]), 0, 0, 0};
                }
            }
            std::memcpy(sums + 4 * p, &sum, sizeof sum);
            xs += 5;
            ys += 5;
        }
    }
};

} // namespace

template <class Traits>
InterleavedPixels<Traits>::InterleavedPixels(Raster::BitmapBase const& source) : m_width(source.GetWidth()) {
    auto const count = static_cast<std::size_t>(source.GetWidth()) * static_cast<std::size_t>(source.GetHeight());
    m_samples.reset(new (std::nothrow) Sample[count * c_pitch]);
    if (!m_samples)
        throw Kernel::Exception("there is not enough memory for the pixels");
    auto const across = static_cast<std::size_t>(source.GetPlane(0).GetTilesAcross());
    auto const down = static_cast<std::size_t>(source.GetPlane(0).GetTilesDown());
    std::atomic<bool> isOpaque{true};
    Kernel::ParallelFor(across * down, [&](std::size_t index) {
        int const left = static_cast<int>(index % across) * Raster::c_tileSide;
        int const top = static_cast<int>(index / across) * Raster::c_tileSide;
        auto const part =
            source.GetBounds().Intersected({left, top, left + Raster::c_tileSide, top + Raster::c_tileSide});
        SourceTiles<Traits> tiles(source, part);
        Sample lowest = Traits::c_maximum;
        for (int y = part.top; y != part.bottom; ++y) {
            Sample const* rows[5];
            tiles.GetRows(part.left, y, rows);
            Sample* out = const_cast<Sample*>(GetPixel(part.left, y));
            for (int x = 0; x != part.GetWidth(); ++x) {
                for (int c = 0; c != Traits::c_channelCount; ++c)
                    out[c] = rows[c][x];
                out += c_pitch;
            }
            for (int x = 0; x != part.GetWidth(); ++x) {
                Sample const alpha = rows[Traits::c_alphaIndex][x];
                lowest = alpha == Traits::c_maximum ? lowest : Sample(0);
            }
        }
        if (lowest != Traits::c_maximum)
            isOpaque.store(false, std::memory_order_relaxed);
    });
    m_isOpaque = isOpaque.load();
}

template <class Traits>
MeanOfSamples<Traits>::MeanOfSamples(InterleavedPixels<Traits> const& pixels, int count)
    : m_pixels(pixels), m_count(count), m_sums{}, m_alphas{} {}

template <class Traits>
void MeanOfSamples<Traits>::AddRow(std::int32_t const* xs, std::int32_t const* ys) {
    auto const rowPixels = static_cast<std::size_t>(m_pixels.GetWidth());
    if (m_pixels.IsOpaque())
        RunBest<SumLoop<Traits, true>>(m_pixels.GetPixel(0, 0), rowPixels, xs, ys, +m_sums, +m_alphas, m_count);
    else
        RunBest<SumLoop<Traits, false>>(m_pixels.GetPixel(0, 0), rowPixels, xs, ys, +m_sums, +m_alphas, m_count);
}

template <class Traits>
void MeanOfSamples<Traits>::Finish(Sample* const* out) {
    using Scale = SampleScale<Sample>;
    constexpr int c_alpha = Traits::c_alphaIndex;
    for (int p = 0; p != m_count; ++p) {
        float means[5];
        for (int c = 0; c != Traits::c_channelCount; ++c)
            means[c] = (c == 4 ? m_alphas[Traits::c_channelCount == 5 ? p : 0] : m_sums[4 * p + c]) * 0.04f;
        float const alpha = means[c_alpha];
        bool const divides = alpha != Scale::c_maximum && alpha > 1e-20f;
        for (int c = 0; c != c_alpha; ++c) {
            float const v = divides ? std::min(means[c] * Scale::c_maximum / alpha, Scale::c_maximum) : means[c];
            out[c][p] = Scale::FromFloat(v);
        }
        out[c_alpha][p] = Scale::FromFloat(alpha);
    }
    std::fill(std::begin(m_sums), std::end(m_sums), 0.0f);
    std::fill(std::begin(m_alphas), std::end(m_alphas), 0.0f);
}

template class InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBA8>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBA16>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatIA8>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatIA16>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatCMYKA8>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatLABA16>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatA8>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatA16>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBAF>>;
template class InterleavedPixels<Raster::FormatTraits<Raster::FormatAF>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBA8>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBA16>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatIA8>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatIA16>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatCMYKA8>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatLABA16>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatA8>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatA16>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBAF>>;
template class MeanOfSamples<Raster::FormatTraits<Raster::FormatAF>>;

} // namespace Commands
