// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/pipeline/effects.h"
#include "raster/polar_location.h"

namespace Commands {

// A bitmap's pixels with their channels side by side in one block, for reads in any order. Needs as much memory as the
// bitmap, CMYK somewhat more.
template <class Traits>
class InterleavedPixels {
public:
    using Sample = typename Traits::Sample;
    // Samples from one pixel to the next.
    static constexpr int c_pitch = Traits::c_channelCount == 5 ? 8 : Traits::c_channelCount;

    explicit InterleavedPixels(Raster::BitmapBase const& source);
    Sample const* GetPixel(std::int32_t x, std::int32_t y) const {
        return m_samples.get() +
               (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x)) *
                   c_pitch;
    }
    int GetWidth() const { return m_width; }
    std::size_t GetCount() const { return m_count; }
    // All pixels have full alpha.
    bool IsOpaque() const { return m_isOpaque; }

private:
    int m_width;
    std::size_t m_count = 0;
    std::unique_ptr<Sample[]> m_samples;
    bool m_isOpaque = false;
};

// The mean of 25 samples under each pixel, at 0, 0.2, 0.4, 0.6 and 0.8 of it both ways: colours weighted by alpha,
// beyond the edges the nearest pixel. Integers are rounded to the nearest, halves up.
template <class Traits>
class MeanOfSamples {
public:
    using Sample = typename Traits::Sample;

    MeanOfSamples(InterleavedPixels<Traits> const& pixels, int count);
    // The first row of samples comes first; `xs` and `ys` name five pixels for each pixel of the result.
    void AddRow(std::int32_t const* xs, std::int32_t const* ys);
    // The means so far, and begins anew.
    void Finish(Sample* const* out);

private:
    template <class Place>
    void AddPlaces(std::int32_t const* xs, std::int32_t const* ys);

    InterleavedPixels<Traits> const& m_pixels;
    int m_count;
    // Four floats a pixel; for five channels alpha stands apart.
    alignas(64) float m_sums[Raster::c_tileSide * 4];
    alignas(64) float m_alphas[Traits::c_channelCount == 5 ? Raster::c_tileSide : 1];
};

// The same as a Sample of kernels, for all formats; null for a language that does not exist. The sum is divided by 25,
// where the class multiplies it by 0.04.
REDRAFT_API char const* GetMeanOfSamplesFragment(int language);

template <class Traits>
class PolarShader {
public:
    using Sample = typename Traits::Sample;

    PolarShader(PolarDirection direction, PolarParameters const& parameters, Raster::BitmapBase const& source,
                int level)
        : m_direction(direction),
          m_parameters(parameters),
          m_size(source.GetSize()),
          m_scale(1.0f / static_cast<float>(1 << level)),
          m_pixels(source) {}
    int GetPassedChannels() const { return 0; }
    Raster::BitmapBase const* GetPassedSource() const { return nullptr; }

    class Worker {
    public:
        static constexpr bool c_takesRows = false;
        Worker(PolarShader const& shader, Kernel::RectT<int> const& part)
            : m_locator(shader.m_direction, shader.m_parameters, MakeXs(part), shader.m_scale, shader.m_size),
              m_mean(shader.m_pixels, part.GetWidth()),
              m_xs(static_cast<std::size_t>(part.GetWidth()) * 5),
              m_ys(m_xs.size()) {}
        // Whole rows of the part.
        void Process(int, int y, int, Sample* const* out) {
            for (double const offset : c_offsets) {
                m_locator.Locate(y + offset, m_xs.data(), m_ys.data());
                m_mean.AddRow(m_xs.data(), m_ys.data());
            }
            m_mean.Finish(out);
        }
        bool GetConstant(std::uint32_t*) const { return false; }

    private:
        static constexpr double c_offsets[] = {0, 0.2, 0.4, 0.6, 0.8};
        static std::vector<double> MakeXs(Kernel::RectT<int> const& part) {
            std::vector<double> xs;
            for (int x = part.left; x != part.right; ++x) {
                for (double const offset : c_offsets)
                    xs.push_back(x + offset);
            }
            return xs;
        }

        PolarLocator m_locator;
        MeanOfSamples<Traits> m_mean;
        std::vector<std::int32_t> m_xs, m_ys;
    };
    Worker Open(Kernel::RectT<int> const& part) const { return Worker(*this, part); }

private:
    PolarDirection m_direction;
    PolarParameters m_parameters;
    Kernel::SizeT<int> m_size;
    float m_scale;
    InterleavedPixels<Traits> m_pixels;
};

// The effect as the pipeline takes it.
struct REDRAFT_API PolarEffect final : HardwareStages {
    PolarDirection direction = PolarDirection::PolarToRectangular;
    PolarParameters parameters;

    HardwareStages const& GetHardwareStages() const { return *this; }
    char const* GetTransform(int language) const override;
    char const* GetSample(int language) const override;
    char const* GetExtend(int language) const override;
    bool AppendTransform(KernelParameters& block) const override;

    double GetLeastScale() const { return parameters.GetLeastScale(); }
    template <class SourceTraits, class Traits, class F>
    void WithShader(Raster::BitmapBase const& source, int level, F const& use) const {
        static_assert(std::is_same_v<SourceTraits, Traits>);
        use(PolarShader<Traits>(direction, parameters, source, level));
    }
};

} // namespace Commands
