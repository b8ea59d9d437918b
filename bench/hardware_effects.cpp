// SPDX-License-Identifier: Apache-2.0
// From which size on is an effect quicker on a device than in software? Squares of RGBA with 8 bits, elapsed time, the
// best of some runs. On the device: of pixels that it does not have, fetched afterwards; of pixels that it has, left
// there. The first device of OpenCL, or of CUDA where an argument says "cuda".
#include "platform/raster/hardware.h"
#include "platform/raster/hardware_devices.h"
#include "raster/pipeline/pipeline.h"
#include "raster/polar_sampler.h"
#include "raster/solarise_rule.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

using namespace Commands;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap>;
using Devices = Raster::Hardware<Raster::DefaultImplementation>;

Bitmap MakePicture(int side) {
    auto const bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(side, side, Raster::FormatRGBA8);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    std::uint32_t seed = 1;
    for (auto& pixel : pixels)
        pixel = (seed = seed * 1664525u + 1013904223u) | 0xFF000000u;
    bitmap->WritePixels({0, 0, side, side}, pixels.data(), static_cast<std::size_t>(side) * 4);
    return bitmap;
}

template <class Effect>
Bitmap Apply(Raster::DynamicBitmap const& source, Effect const& effect) {
    auto const result = source.Clone(nullptr);
    RasterEffectOptions options;
    PipelineOptions own(options, -1);
    DriveEffect(result->GetMutableBase(), *source.GetBase(), own, nullptr, effect);
    return result;
}

PolarEffect MakePolarEffect(int side) {
    double const length = side;
    PolarEffect effect;
    effect.direction = PolarDirection::PolarToRectangular;
    effect.parameters = {{}, {0, 0}, {length / 2, length / 2}, {length, length}, {}};
    return effect;
}

void Fetch(Raster::DynamicBitmap& bitmap) {
    auto& base = bitmap.GetMutableBase();
    base.SyncHostCache(base.GetBounds(), false, nullptr);
}

constexpr int c_runs = 15;

template <class Prepare, class Work>
double MeasureMicroseconds(Prepare const& prepare, Work const& work) {
    double best = 1e30;
    for (int i = 0; i != c_runs; ++i) {
        auto const input = prepare();
        auto const start = std::chrono::steady_clock::now();
        work(*input);
        auto const time = std::chrono::steady_clock::now() - start;
        best = std::min(best, std::chrono::duration<double, std::micro>(time).count());
    }
    return best;
}

template <class Effect>
void Measure(char const* name, std::vector<int> const& sides, Effect const& makeEffect,
             Kernel::Counted<Raster::HardwareDevices const> const& devices) {
    std::printf("%s\nside   software   device, new pixels   device, its pixels   us\n", name);
    for (int const side : sides) {
        auto const effect = makeEffect(side);
        auto const make = [side] { return MakePicture(side); };
        double const software = MeasureMicroseconds(make, [&](auto const& picture) { Apply(picture, effect); });
        Raster::HardwareDevicesSession const session(devices);
        auto const executed = Devices::GetExecutedKernels();
        double const fresh = MeasureMicroseconds(make, [&](auto const& picture) { Fetch(*Apply(picture, effect)); });
        auto const resident = Apply(*MakePicture(side), effect);
        double const kept =
            MeasureMicroseconds([&] { return resident; }, [&](auto const& picture) { Apply(picture, effect); });
        bool const isOnDevice = Devices::GetExecutedKernels() - executed == 2 * c_runs + 1;
        std::printf("%4d %10.0f %20.0f %20.0f%s\n", side, software, fresh, kept,
                    isOnDevice ? "" : "   NOT ON THE DEVICE");
        std::fflush(stdout);
    }
}

} // namespace

int main(int count, char** arguments) {
    bool const isCuda = count > 1 && std::string_view(arguments[1]) == "cuda";
    auto const devices = Kernel::MakeCounted<Raster::HardwareDevices>(
        [isCuda] { return isCuda ? Raster::FindCudaDrivers() : Raster::FindOpenCLDrivers(true); },
        Raster::HardwareSettings{.waitsForKernels = true});
    if (devices->GetDevices().empty()) {
        std::printf("there is no such device\n");
        return 0;
    }
    std::printf("%s\n", devices->GetReports().front().info.name.c_str());
    Measure(
        "solarise", {64, 128, 256, 512, 1024, 2048, 4096}, [](int) { return PointEffect<SolariseRule>(); }, devices);
    Measure("polar to rectangular", {64, 128, 256}, MakePolarEffect, devices);
}
