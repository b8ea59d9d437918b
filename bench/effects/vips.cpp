// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/timing.h"

#include <memory>
#include <vips/vips.h>

namespace Bench {

namespace {

struct Unreference {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};
using Image = std::shared_ptr<VipsImage>;

// Calls an operation that writes an image; the program ends when it fails, so that no failure is timed.
template <class F>
Image Make(F const& operation) {
    VipsImage* out = nullptr;
    if (operation(&out) != 0)
        vips_error_exit("libvips");
    return Image(out, Unreference());
}

// a * v + b for each of two bands.
Image Scale(Image const& image, double a0, double a1, double b0, double b1) {
    double const a[] = {a0, a1}, b[] = {b0, b1};
    return Make([&](VipsImage** out) { return vips_linear(image.get(), out, a, b, 2, nullptr); });
}

// An image of complex numbers from two bands, and back.
Image ToComplex(Image const& image) {
    auto const real = Make([&](VipsImage** out) { return vips_extract_band(image.get(), out, 0, nullptr); });
    auto const imaginary = Make([&](VipsImage** out) { return vips_extract_band(image.get(), out, 1, nullptr); });
    return Make([&](VipsImage** out) { return vips_complexform(real.get(), imaginary.get(), out, nullptr); });
}

// The mean of 5 x 5 samples a pixel: an image of all sample points, nearest pixels, and their mean.
template <bool ToPolar>
std::function<void()> PrepareRemap() {
    vips_init("bench");
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    auto const pixels = MakePicture(c_remapSide);
    auto const from = Make([&](VipsImage** out) {
        return (*out = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), c_remapSide, c_remapSide, 4,
                                                       VIPS_FORMAT_UCHAR)) == nullptr;
    });
    return [=] {
        constexpr int c_fine = c_remapSide * 5;
        constexpr double c_half = c_remapSide / 2.0;
        auto const places = Make([&](VipsImage** out) { return vips_xyz(out, c_fine, c_fine, nullptr); });
        Image index;
        if constexpr (ToPolar) {
            auto const centred = ToComplex(Scale(places, 0.2, 0.2, -c_half, -c_half));
            // Radius and degrees.
            index = Make([&](VipsImage** out) { return vips_polar(centred.get(), out, nullptr); });
        } else {
            auto const columnFirst = Scale(places, 360.0 / c_fine, 0.1, -180, 0);
            auto const angle =
                Make([&](VipsImage** out) { return vips_extract_band(columnFirst.get(), out, 0, nullptr); });
            auto const radius =
                Make([&](VipsImage** out) { return vips_extract_band(columnFirst.get(), out, 1, nullptr); });
            auto const polar =
                Make([&](VipsImage** out) { return vips_complexform(radius.get(), angle.get(), out, nullptr); });
            index = Make([&](VipsImage** out) { return vips_rect(polar.get(), out, nullptr); });
        }
        auto const first = Make([&](VipsImage** out) { return vips_real(index.get(), out, nullptr); });
        auto const second = Make([&](VipsImage** out) { return vips_imag(index.get(), out, nullptr); });
        VipsImage* bands[] = {ToPolar ? second.get() : first.get(), ToPolar ? first.get() : second.get()};
        auto const joined = Make([&](VipsImage** out) { return vips_bandjoin(bands, out, 2, nullptr); });
        auto const map = ToPolar ? Scale(joined, c_remapSide / 360.0, 2, 0, 0) : Scale(joined, 1, 1, c_half, c_half);
        std::shared_ptr<VipsInterpolate> const nearest(vips_interpolate_new("nearest"),
                                                       [](VipsInterpolate* i) { g_object_unref(i); });
        auto const samples = Make([&](VipsImage** out) {
            return vips_mapim(from.get(), out, map.get(), "interpolate", nearest.get(), nullptr);
        });
        auto const result = Make([&](VipsImage** out) { return vips_shrink(samples.get(), out, 5, 5, nullptr); });
        std::size_t size = 0;
        g_free(vips_image_write_to_memory(result.get(), &size));
    };
}

} // namespace

void RegisterVips() {
    Register({"polar-to-rectangular/libvips", {}}, 2, &PrepareRemap<false>);
    Register({"rectangular-to-polar/libvips", {}}, 2, &PrepareRemap<true>);
}

} // namespace Bench
