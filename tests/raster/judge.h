// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "platform/raster/bitmap.h"

#include <cmath>
#include <random>
#include <vector>

// The rules of effects once more, pixel by pixel on flat planes, as slow and plain as they are told. What commands make
// is compared with it.
namespace Judge {

using Params = Raster::AffineTransform::Params;

template <class Traits>
struct Planes {
    using Sample = typename Traits::Sample;
    int width = 0;
    int height = 0;
    std::vector<Sample> samples[Traits::c_channelCount];

    Planes(int theWidth, int theHeight) : width(theWidth), height(theHeight) {
        for (auto& plane : samples)
            plane.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    }
    explicit Planes(Raster::DynamicBitmap const& bitmap) : Planes(bitmap.GetWidth(), bitmap.GetHeight()) {
        for (int c = 0; c != Traits::c_channelCount; ++c)
            bitmap.GetBase()->GetPlane(c).ReadSamples({0, 0, width, height}, samples[c].data(),
                                                      static_cast<std::size_t>(width) * sizeof(Sample));
    }
    void Store(Raster::DynamicBitmap& bitmap) const {
        for (int c = 0; c != Traits::c_channelCount; ++c)
            bitmap.GetMutableBase().GetPlane(c).WriteSamples({0, 0, width, height}, samples[c].data(),
                                                             static_cast<std::size_t>(width) * sizeof(Sample));
    }
    Sample& At(int c, int x, int y) {
        return samples[c][static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
    Sample At(int c, int x, int y) const {
        return samples[c][static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
};

// Full scale of a format as a float.
template <class Traits>
constexpr float c_full = Traits::c_isFloat ? 1.0f : static_cast<float>(Traits::c_maximum);

// Samples of every kind: the ends, the middle and its neighbours, and anything.
template <class Traits>
typename Traits::Sample RandomSample(std::mt19937& random) {
    using Sample = typename Traits::Sample;
    auto const choice = random() % 8;
    if constexpr (Traits::c_isFloat) {
        float const values[] = {0.0f, 1.0f, 0.5f, 0.50001f, 0.25f};
        return choice < 5 ? values[choice] : static_cast<float>(random() % 65536) / 65535.0f;
    } else {
        auto const full = static_cast<unsigned>(Traits::c_maximum);
        unsigned const values[] = {0, full, full / 2 + 1, full / 2 + 2, full / 2};
        return static_cast<Sample>(choice < 5 ? values[choice] : random() % (full + 1));
    }
}

template <class Traits>
Kernel::Counted<Raster::DynamicBitmap> RandomBitmap(int width, int height, unsigned seed,
                                                    Raster::MipmapMode mode = Raster::MipmapMode::None) {
    std::mt19937 random(seed);
    Planes<Traits> planes(width, height);
    for (auto& plane : planes.samples) {
        for (auto& sample : plane)
            sample = RandomSample<Traits>(random);
    }
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, Traits::c_format, mode);
    planes.Store(*bitmap);
    bitmap->GetBase();
    return bitmap;
}

template <class Sample>
Sample ToSample(float v, float full) {
    if constexpr (std::is_floating_point_v<Sample>)
        return v;
    else
        return static_cast<Sample>(std::floor(std::min(v, full) + 0.5f));
}

// A processed pixel over an existing one through a mask sample m.
template <class Traits>
void Blend(typename Traits::Sample* pixel, typename Traits::Sample const* existing, typename Traits::Sample m) {
    float const full = c_full<Traits>;
    float const factor = 1.0f / full;
    constexpr int c_alpha = Traits::c_alphaIndex;
    if (m == 0) {
        std::copy_n(existing, Traits::c_channelCount, pixel);
        return;
    }
    if (static_cast<float>(m) == full)
        return;
    float p[5], e[5];
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        p[c] = static_cast<float>(pixel[c]);
        e[c] = static_cast<float>(existing[c]);
    }
    for (int c = 0; c != c_alpha; ++c) {
        if (p[c_alpha] != full)
            p[c] *= p[c_alpha] * factor;
        if (e[c_alpha] != full)
            e[c] *= e[c_alpha] * factor;
    }
    float const t = 1.0f - static_cast<float>(m) / full;
    float r[5];
    for (int c = 0; c != Traits::c_channelCount; ++c)
        r[c] = (1.0f - t) * p[c] + t * e[c];
    if (r[c_alpha] != full && r[c_alpha] > 1e-20f) {
        for (int c = 0; c != c_alpha; ++c)
            r[c] = std::min(r[c] / (r[c_alpha] * factor), full);
    }
    for (int c = 0; c != Traits::c_channelCount; ++c)
        pixel[c] = ToSample<typename Traits::Sample>(r[c], full);
}

// The mask's value for the layer's pixel (x, y).
template <class MaskTraits>
typename MaskTraits::Sample ReadMask(Planes<MaskTraits> const& mask, Params const& maskToSpread,
                                     Params const& layerToSpread, int x, int y) {
    // One transform, since two in turn round elsewhere.
    auto const place = (maskToSpread.GetInverse() * layerToSpread).Apply(Kernel::PointT<double>{x + 0.5, y + 0.5});
    int const u = static_cast<int>(std::floor(place.x)), v = static_cast<int>(std::floor(place.y));
    return u < 0 || v < 0 || u >= mask.width || v >= mask.height ? typename MaskTraits::Sample(0) : mask.At(0, u, v);
}

// Puts processed pixels into the existing ones: inside the rectangle, under the mask when there is one, and only the
// channels whose bits are set.
template <class Traits, class MaskAt>
void Merge(Planes<Traits>& existing, Planes<Traits> const& processed, Kernel::RectT<int> const& rect, int channels,
           MaskAt const& maskAt) {
    for (int y = std::max(rect.top, 0); y < std::min(rect.bottom, existing.height); ++y) {
        for (int x = std::max(rect.left, 0); x < std::min(rect.right, existing.width); ++x) {
            typename Traits::Sample pixel[Traits::c_channelCount], old[Traits::c_channelCount];
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                pixel[c] = processed.At(c, x, y);
                old[c] = existing.At(c, x, y);
            }
            Blend<Traits>(pixel, old, maskAt(x, y));
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if (channels >> c & 1)
                    existing.At(c, x, y) = pixel[c];
            }
        }
    }
}

template <class Traits>
std::size_t CountDifferent(Planes<Traits> const& a, Planes<Traits> const& b) {
    std::size_t different = 0;
    for (int c = 0; c != Traits::c_channelCount; ++c) {
        for (std::size_t i = 0; i != a.samples[c].size(); ++i)
            different += a.samples[c][i] != b.samples[c][i];
    }
    return different;
}

} // namespace Judge
