// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_sampler.h"

#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/raster/hardware_driver.h"
#include "raster/pipeline/cpu_dispatch.h"

#include <new>

namespace Commands {

namespace {

using Floats = float __attribute__((vector_size(16)));
using Ints = std::int32_t __attribute__((vector_size(16)));

// Conversions of four samples at a time are written as the shuffles that they are: compilers take them apart.
using Bytes = std::uint8_t __attribute__((vector_size(16)));
using Words = std::uint16_t __attribute__((vector_size(16)));

// Four samples side by side in the first four words.
[[gnu::always_inline]] inline Words LoadFourWords(std::uint8_t const* samples) {
    std::int32_t bits;
    std::memcpy(&bits, samples, sizeof bits);
    Ints const v = {bits, 0, 0, 0};
    return reinterpret_cast<Words>(__builtin_shufflevector(reinterpret_cast<Bytes>(v), Bytes{}, 0, 16, 1, 17, 2, 18, 3,
                                                           19, 4, 20, 5, 21, 6, 22, 7, 23));
}
[[gnu::always_inline]] inline Words LoadFourWords(std::uint16_t const* samples) {
    using Longs = std::int64_t __attribute__((vector_size(16)));
    std::int64_t bits;
    std::memcpy(&bits, samples, sizeof bits);
    Longs const v = {bits, 0};
    return reinterpret_cast<Words>(v);
}
[[gnu::always_inline]] inline Ints Widen(Words v) {
    return reinterpret_cast<Ints>(__builtin_shufflevector(v, Words{}, 0, 8, 1, 9, 2, 10, 3, 11));
}

// Four samples side by side as floats.
template <class Sample>
[[gnu::always_inline]] inline Floats LoadFour(Sample const* samples) {
    return __builtin_convertvector(Widen(LoadFourWords(samples)), Floats);
}
[[gnu::always_inline]] inline Floats LoadFour(float const* samples) {
    Floats v;
    std::memcpy(&v, samples, sizeof v);
    return v;
}

// Sums of five pixels at these places, four samples each, exactly.
template <int Pitch, class Place>
[[gnu::always_inline]] inline Ints SumWhole(std::uint8_t const* pixels, Place const* places) {
    Words sum = {};
    for (int i = 0; i < 5; ++i)
        sum += LoadFourWords(pixels + static_cast<std::size_t>(places[i]) * Pitch);
    return Widen(sum);
}
template <int Pitch, class Place>
[[gnu::always_inline]] inline Ints SumWhole(std::uint16_t const* pixels, Place const* places) {
    Ints sum = {};
    for (int i = 0; i < 5; ++i)
        sum += Widen(LoadFourWords(pixels + static_cast<std::size_t>(places[i]) * Pitch));
    return sum;
}

// Where the pixels stand among all, which 32 bits may be too small for.
template <class Place>
struct PlaceLoop {
    [[gnu::always_inline]] static inline void Run(std::int32_t const* xs, std::int32_t const* ys, Place rowPixels,
                                                  Place* places, int count) {
        for (int i = 0; i < count; ++i)
            places[i] = static_cast<Place>(ys[i]) * rowPixels + static_cast<Place>(xs[i]);
    }
};

template <class Traits, bool IsOpaque, class Place>
struct SumLoop {
    using Sample = typename Traits::Sample;
    using Scale = SampleScale<Sample>;
    static constexpr int c_pitch = InterleavedPixels<Traits>::c_pitch;

    [[gnu::always_inline]] static inline float GetWeight(float alpha) {
        return IsOpaque || alpha == Scale::c_maximum ? 1.0f : alpha * Scale::c_factor;
    }

    // Five samples to four sums. Sums of whole numbers are exact as floats too.
    [[gnu::always_inline]] static inline Floats SumFive(Sample const* pixels, Place const* places, Floats sum,
                                                        float& alphaSum) {
        if constexpr (IsOpaque && Traits::c_colourCount == 3 && !Traits::c_isFloat) {
            return sum + __builtin_convertvector(SumWhole<c_pitch>(pixels, places), Floats);
        }
        for (int i = 0; i < 5; ++i) {
            Sample const* const s = pixels + static_cast<std::size_t>(places[i]) * c_pitch;
            if constexpr (Traits::c_colourCount == 3) {
                Floats const v = LoadFour(s);
                float const w = GetWeight(v[3]);
                sum += IsOpaque ? v : v * Floats{w, w, w, 1.0f};
            } else if constexpr (Traits::c_colourCount == 4) {
                float const alpha = static_cast<float>(s[4]);
                float const w = GetWeight(alpha);
                sum += LoadFour(s) * Floats{w, w, w, w};
                alphaSum += alpha;
            } else if constexpr (Traits::c_colourCount == 1) {
                float const alpha = static_cast<float>(s[1]);
                sum += Floats{static_cast<float>(s[0]) * GetWeight(alpha), alpha, 0, 0};
            } else {
                sum += Floats{static_cast<float>(s[0]), 0, 0, 0};
            }
        }
        return sum;
    }

    [[gnu::always_inline]] static inline void Run(Sample const* pixels, Place const* places, float* sums, float* alphas,
                                                  int count) {
        for (int p = 0; p < count; ++p) {
            float alpha = 0;
            Floats const sum = SumFive(pixels, places + 5 * p, LoadFour(sums + 4 * p),
                                       Traits::c_channelCount == 5 ? alphas[p] : alpha);
            std::memcpy(sums + 4 * p, &sum, sizeof sum);
        }
    }
};

// Means of 25 from sums, four of a pixel at a time.
template <class Traits>
struct MeanLoop {
    using Sample = typename Traits::Sample;
    using Scale = SampleScale<Sample>;
    static constexpr int c_alpha = Traits::c_alphaIndex;

    [[gnu::always_inline]] static inline void Run(float const* sums, float const* alphas, Sample* const* out,
                                                  int count) {
        constexpr int c_block = 32;
        for (int from = 0; from < count; from += c_block) {
            int const n = count - from < c_block ? count - from : c_block;
            alignas(16) float means[4 * c_block];
            float alphaMeans[c_block];
            for (int p = 0; p < n; ++p) {
                Floats const mean = LoadFour(sums + 4 * (from + p)) * 0.04f;
                float const alpha = c_alpha == 4 ? alphas[from + p] * 0.04f : mean[c_alpha % 4];
                bool const divides = alpha != Scale::c_maximum && alpha > 1e-20f;
                Floats v = mean;
                if (divides) {
                    v = mean * Scale::c_maximum / alpha;
                    Floats const full = Floats{} + Scale::c_maximum;
                    v = full < v ? full : v;
                }
                std::memcpy(means + 4 * p, &v, sizeof v);
                alphaMeans[p] = alpha;
            }
            for (int c = 0; c != Traits::c_colourCount; ++c) {
                for (int p = 0; p < n; ++p)
                    out[c][from + p] = Scale::FromFloat(means[4 * p + c]);
            }
            for (int p = 0; p < n; ++p)
                out[c_alpha][from + p] = Scale::FromFloat(alphaMeans[p]);
        }
    }
};

} // namespace

template <class Traits>
InterleavedPixels<Traits>::InterleavedPixels(Raster::BitmapBase const& source) : m_width(source.GetWidth()) {
    m_count = static_cast<std::size_t>(source.GetWidth()) * static_cast<std::size_t>(source.GetHeight());
    m_samples.reset(new (std::nothrow) Sample[m_count * c_pitch]);
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
template <class Place>
void MeanOfSamples<Traits>::AddPlaces(std::int32_t const* xs, std::int32_t const* ys) {
    Place places[Raster::c_tileSide * 5];
    RunBest<PlaceLoop<Place>>(xs, ys, static_cast<Place>(m_pixels.GetWidth()), +places, m_count * 5);
    Place const* const all = places;
    if (m_pixels.IsOpaque())
        RunBest<SumLoop<Traits, true, Place>>(m_pixels.GetPixel(0, 0), all, +m_sums, +m_alphas, m_count);
    else
        RunBest<SumLoop<Traits, false, Place>>(m_pixels.GetPixel(0, 0), all, +m_sums, +m_alphas, m_count);
}

template <class Traits>
void MeanOfSamples<Traits>::AddRow(std::int32_t const* xs, std::int32_t const* ys) {
    if (m_pixels.GetCount() < (std::size_t(1) << 31))
        AddPlaces<std::int32_t>(xs, ys);
    else
        AddPlaces<std::int64_t>(xs, ys);
}

template <class Traits>
void MeanOfSamples<Traits>::Finish(Sample* const* out) {
    float const* const sums = m_sums;
    float const* const alphas = m_alphas;
    RunBest<MeanLoop<Traits>>(sums, alphas, out, m_count);
    std::fill(std::begin(m_sums), std::end(m_sums), 0.0f);
    std::fill(std::begin(m_alphas), std::end(m_alphas), 0.0f);
}

char const* GetMeanOfSamplesFragment(int language) {
    static constexpr char c_text[] = R"(
FUNCTION source_type Sample(CONTEXT, int2 location, int image, int transform, int sampler) {
    accumulator_type sum = accumulator_from_source(source_minimum());
    for (int j = 0; j < 5; ++j) {
        for (int i = 0; i < 5; ++i) {
            float2 const point =
                MAKE_FLOAT2((float)location.x + (float)i * 0.2f, (float)location.y + (float)j * 0.2f);
            float2 const place = Transform(context, point, transform);
            source_type const pixel = Extend(context, MAKE_INT2(Whole(place.x), Whole(place.y)), image);
            sum = sum + premultiply_source(accumulator_from_source(pixel));
        }
    }
    return source_from_accumulator(postdivide_source(sum / 25.0f));
}
)";
    bool const isLanguage = language == Raster::c_kernelLanguageCuda || language == Raster::c_kernelLanguageOpenCL;
    return isLanguage ? c_text : nullptr;
}

template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBA8>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBA16>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatIA8>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatIA16>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatCMYKA8>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatLABA16>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatA8>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatA16>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatRGBAF>>;
template class REDRAFT_API InterleavedPixels<Raster::FormatTraits<Raster::FormatAF>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBA8>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBA16>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatIA8>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatIA16>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatCMYKA8>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatLABA16>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatA8>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatA16>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatRGBAF>>;
template class REDRAFT_API MeanOfSamples<Raster::FormatTraits<Raster::FormatAF>>;

} // namespace Commands
