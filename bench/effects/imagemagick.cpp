// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/timing.h"

#include <memory>
#include <wand/MagickWand.h>

namespace Bench {

namespace {

struct Destroy {
    void operator()(MagickWand* wand) const { DestroyMagickWand(wand); }
};
using Wand = std::shared_ptr<MagickWand>;

Wand MakeWand(std::size_t width, std::size_t height, char const* channels, std::vector<std::uint8_t> const& samples) {
    static bool const s_started = [] {
        MagickWandGenesis();
        MagickSetResourceLimit(ThreadResource, 1);
        return true;
    }();
    static_cast<void>(s_started);
    Wand const wand(NewMagickWand(), Destroy());
    MagickConstituteImage(wand.get(), width, height, channels, CharPixel, samples.data());
    return wand;
}

// Both work in place: each run gets a copy of the picture, which the library makes when it first writes to it.
std::function<void()> PrepareDither() {
    auto const picture = MakeWand(c_remapSide, c_remapSide, "RGBA", MakePicture(c_remapSide));
    auto const palette = MakeWand(216, 1, "RGB", MakeWebSafePalette());
    return [=] {
        Wand const copy(CloneMagickWand(picture.get()), Destroy());
        MagickRemapImage(copy.get(), palette.get(), FloydSteinbergDitherMethod);
    };
}

std::function<void()> PrepareSolarise() {
    auto const picture = MakeWand(c_solariseSide, c_solariseSide, "RGBA", MakePicture(c_solariseSide));
    return [=] {
        Wand const copy(CloneMagickWand(picture.get()), Destroy());
        MagickSolarizeImage(copy.get(), QuantumRange / 2.0);
    };
}

} // namespace

void RegisterImageMagick() {
    Register({"solarise/ImageMagick", {}}, 3, &PrepareSolarise);
    Register({"web-safe-dither/ImageMagick", {}}, 3, &PrepareDither);
}

} // namespace Bench
