// SPDX-License-Identifier: Apache-2.0
// What does it cost to find a kernel that was compiled, to compose one that was not, and to bring pixels to a device
// and back beside a copy in the host's memory? Elapsed time, the best of some runs. The first device of OpenCL, or of
// CUDA where an argument says "cuda".
#include "platform/raster/hardware.h"
#include "engine/hardware/device.h"
#include "engine/hardware/device_kernels.h"
#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_transform.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

using namespace Raster;

// Of the fastest of the runs.
template <class F>
double MeasureMicroseconds(int runs, F const& run) {
    double best = 1e30;
    for (int i = 0; i != runs; ++i) {
        auto const start = std::chrono::steady_clock::now();
        run();
        auto const time = std::chrono::steady_clock::now() - start;
        best = std::min(best, std::chrono::duration<double, std::micro>(time).count());
    }
    return best;
}

// As an effect puts it together for each of its runs.
HardwareKernelDescriptor MakeDescriptor(int language) {
    constexpr auto c_format = FormatRGBA8;
    HardwareKernelDescriptor d;
    d.sourceTraits = GetSourceTraitsFragment<c_format>(language);
    d.destinationTraits = GetDestTraitsFragment<c_format>(language);
    d.maskTraits = GetMaskTraitsFragment<c_format>(language);
    d.conversion = GetIdentityConversionFragment(language);
    d.perPixelDriver = KernelPerPixel<Horizontal>::GetHardwareFragment(language, true, false, true, false, false);
    d.sourceAccess = FormatTraits<c_format>::BufferType::GetSourceHardwareFragment(language);
    d.destinationAccess = FormatTraits<c_format>::BitmapType::GetDestHardwareFragment(language);
    d.readMask = GetMaskChainFragment(language, FormatA8);
    d.process = GetCopyFragment(language);
    d.transform = GetTransformChainFragment(language, IdentityTransform::GetHardwareFragment(language),
                                            ScaleTransform::GetHardwareFragment(language));
    d.sample = GetNearestSampleFragment(language);
    d.blend = NormalBlend::GetHardwareFragment(language);
    d.extend = Safe::GetHardwareFragment(language);
    d.filter = GetChannelFilterFragment(language, c_format);
    return d;
}

void MeasureKernels(Device& device) {
    void* const handle = device.GetHandle();
    int const language = device.GetKernelLanguage();
    auto const first = MakeDescriptor(language);
    double const compiled = MeasureMicroseconds(1, [&] { IsKernelPendingCompilation(first, handle, true, nullptr); });
    if (IsKernelBroken(first, handle)) {
        std::printf("the kernel is refused\n");
        return;
    }
    constexpr int c_lookups = 1000;
    bool isReady = true;
    double const found = MeasureMicroseconds(20, [&] {
        for (int i = 0; i != c_lookups; ++i) {
            auto const descriptor = MakeDescriptor(language);
            isReady = isReady && !IsKernelBroken(descriptor, handle) &&
                      !IsKernelPendingCompilation(descriptor, handle, false, nullptr) &&
                      device.GetKernels().Find(descriptor) != nullptr;
        }
    });
    std::size_t length = 0;
    double const composed = MeasureMicroseconds(20, [&] { length = ComposeKernel(language, first).size(); });
    std::printf("a kernel that is ready, from its fragments to the driver's handle   %8.3f us%s\n", found / c_lookups,
                isReady ? "" : " (NOT READY)");
    std::printf("its text composed, %zu characters                                  %8.1f us\n", length, composed);
    std::printf("composed, compiled or loaded the first time                         %8.0f us\n", compiled);
}

void MeasureTransfers(Device& device, std::size_t width, std::size_t rows) {
    constexpr std::size_t c_tile = 256;
    std::size_t const bytes = width * rows;
    auto const block = device.Allocate(bytes), second = device.Allocate(bytes);
    if (block == nullptr || second == nullptr) {
        std::printf("too little memory on the device for two times %zu bytes\n", bytes);
        return;
    }
    std::vector<std::byte> host(bytes, std::byte{1}), other(bytes);
    auto const tell = [&](char const* name, double microseconds) {
        std::printf("  %-44s %8.2f GB/s\n", name, static_cast<double>(bytes) / microseconds / 1e3);
    };
    constexpr int c_runs = 10;
    bool isDone = true;
    std::printf("%zu x %zu bytes\n", width, rows);
    tell("memcpy", MeasureMicroseconds(c_runs, [&] { std::memcpy(other.data(), host.data(), bytes); }));
    tell("up at once", MeasureMicroseconds(c_runs, [&] {
             isDone = device.Write(*block, {0, width}, host.data(), width, width, rows) && isDone;
         }));
    tell("up by tiles of 256 x 256", MeasureMicroseconds(c_runs, [&] {
             for (std::size_t y = 0; y < rows; y += c_tile) {
                 for (std::size_t x = 0; x < width; x += c_tile)
                     isDone =
                         device.Write(*block, {y * width + x, width}, host.data(), c_tile, c_tile, c_tile) && isDone;
             }
         }));
    tell("down at once", MeasureMicroseconds(c_runs, [&] {
             isDone = device.Read(*block, {0, width}, other.data(), width, width, rows) && isDone;
         }));
    tell("down by tiles of 256 x 256", MeasureMicroseconds(c_runs, [&] {
             for (std::size_t y = 0; y < rows; y += c_tile) {
                 for (std::size_t x = 0; x < width; x += c_tile)
                     isDone =
                         device.Read(*block, {y * width + x, width}, other.data(), c_tile, c_tile, c_tile) && isDone;
             }
         }));
    tell("from block to block", MeasureMicroseconds(c_runs, [&] {
             isDone = device.Copy(*block, {0, width}, *second, {0, width}, width, rows) && isDone;
             isDone =
                 device.CallDriver([](HardwareDriver& driver) { return driver.Finish(); }) == HardwareStatus::Done &&
                 isDone;
         }));
    if (!isDone)
        std::printf("  SOME CALLS FAILED\n");
}

} // namespace

int main(int count, char** arguments) {
    bool const isCuda = count > 1 && std::string_view(arguments[1]) == "cuda";
    auto drivers = isCuda ? FindCudaDrivers() : FindOpenCLDrivers(true);
    if (drivers.empty()) {
        std::printf("there is no such device\n");
        return 0;
    }
    auto const device = std::make_shared<Device>(std::move(drivers.front()), HardwareSettings());
    auto const& info = device->GetInfo();
    std::printf("%s: %s (%s)\n", info.interfaceName.c_str(), info.name.c_str(), info.version.c_str());
    MeasureKernels(*device);
    MeasureTransfers(*device, 2048, 2048);
    MeasureTransfers(*device, 8192, 8192);
}
