// SPDX-License-Identifier: Apache-2.0
// What do the pixel library's operations cost beside the least work that could do the same? Each line gives both times
// and their ratio. All run on one thread, and its processor time is what counts.
#include "engine/raster/lcms.h"
#include "platform/kernel/dispatch.h"
#include "platform/raster/conversion.h"
#include "platform/raster/icc_manager.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <vector>

namespace {

using namespace Raster;

constexpr int c_side = 4096;
constexpr std::size_t c_pixels = static_cast<std::size_t>(c_side) * c_side;

double GetThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

// The best of some runs, in milliseconds.
double Measure(int runs, std::function<void()> const& work) {
    double best = 1e9;
    for (int i = 0; i != runs; ++i) {
        double const start = GetThreadMilliseconds();
        work();
        best = std::min(best, GetThreadMilliseconds() - start);
    }
    return best;
}

void Tell(char const* what, double ours, double floor) {
    std::printf("%-66s %10.3f %10.3f %8.2f\n", what, ours, floor, ours / floor);
}

// A smooth gradient with noise in its low bits, as a photograph has it; pixels side by side.
std::vector<std::uint8_t> MakePixels(std::size_t bytes) {
    std::mt19937 random(1);
    std::vector<std::uint8_t> pixels(bytes);
    for (std::size_t i = 0; i != bytes; ++i)
        pixels[i] = static_cast<std::uint8_t>((i / 64 + (i & 3) * 50 + random() % 8) & 0xFF);
    return pixels;
}

Kernel::Counted<BitmapBase> MakeBitmap(Format format, int side) {
    FormatInfo const info = GetFormatInfo(format);
    auto const rowBytes = static_cast<std::size_t>(side * info.channelCount * info.sampleBytes);
    auto const pixels = MakePixels(rowBytes * static_cast<std::size_t>(side));
    auto bitmap = BitmapBase::Create(side, side, format, MipmapMode::OnDemand);
    bitmap->WritePixels(bitmap->GetBounds(), pixels.data(), rowBytes);
    return bitmap;
}

void CompareClone() {
    auto const bitmap = MakeBitmap(FormatRGBA8, 8192);
    std::vector<std::uint8_t> const flat(4 * std::size_t(8192) * 8192);
    std::vector<std::uint8_t> copy(flat.size());
    auto const wholeCopy = Measure(3, [&] { std::memcpy(copy.data(), flat.data(), flat.size()); });
    auto const tileCopy = Measure(100, [&] { std::memcpy(copy.data(), flat.data() + (1 << 20), c_tileSamples); });
    Kernel::Counted<BitmapBase> clone;
    auto const cloning = Measure(100, [&] { clone = bitmap->Clone(nullptr); });
    auto const editing = Measure(100, [&] {
        clone = bitmap->Clone(nullptr);
        clone->GetPlane(1).FillSamples({5000, 5000, 5001, 5001}, 7);
    });
    Tell("clone of 8192 x 8192 RGBA8; floor: memcpy of its bytes", cloning, wholeCopy);
    Tell("clone and one tile edited; floor: memcpy of its bytes", editing, wholeCopy);
    Tell("clone and one tile edited; floor: memcpy of one tile", editing, tileCopy);
}

void CompareTransfers() {
    auto const bitmap = MakeBitmap(FormatRGBA8, c_side);
    std::vector<std::uint8_t> from = MakePixels(4 * c_pixels), to(4 * c_pixels);
    auto const copying = Measure(3, [&] { std::memcpy(to.data(), from.data(), from.size()); });
    auto const reading = Measure(3, [&] { bitmap->ReadPixels(bitmap->GetBounds(), to.data(), 4 * c_side); });
    auto const writing = Measure(3, [&] { bitmap->WritePixels(bitmap->GetBounds(), from.data(), 4 * c_side); });
    Tell("reading RGBA8 pixels side by side; floor: memcpy", reading, copying);
    Tell("writing RGBA8 pixels side by side; floor: memcpy", writing, copying);
    auto const naming = Measure(1, [&] {
        for (int channel = 0; channel != 4; ++channel)
            bitmap->GetPlane(channel).GetKeys();
    });
    auto const namingAgain = Measure(3, [&] {
        for (int channel = 0; channel != 4; ++channel)
            bitmap->GetPlane(channel).GetKeys();
    });
    Tell("keys of all tiles; floor: memcpy", naming, copying);
    Tell("keys of all tiles, unchanged; floor: memcpy", namingAgain, copying);
}

void CompareConversions() {
    auto const bitmap = MakeBitmap(FormatRGBA8, c_side);
    auto const pixels = MakePixels(4 * c_pixels);
    auto const convert = [&](Format to) {
        auto const converter = PixelConverter::MakePlain(FormatRGBA8, to);
        return Measure(3, [&] { ConvertBitmap(*bitmap, *converter, nullptr); });
    };
    std::vector<std::uint16_t> wide(4 * c_pixels);
    Tell("RGBA8 to RGBA16; floor: a loop over pixels side by side", convert(FormatRGBA16), Measure(3, [&] {
             for (std::size_t i = 0; i != pixels.size(); ++i)
                 wide[i] = static_cast<std::uint16_t>(pixels[i] * 257);
         }));
    std::vector<float> real(4 * c_pixels);
    Tell("RGBA8 to RGBAF; floor: a loop", convert(FormatRGBAF), Measure(3, [&] {
             for (std::size_t i = 0; i != pixels.size(); ++i)
                 real[i] = static_cast<float>(pixels[i]) / 255.0f;
         }));
    std::vector<std::uint8_t> ink(5 * c_pixels);
    Tell("RGBA8 to CMYKA8; floor: a loop", convert(FormatCMYKA8), Measure(3, [&] {
             for (std::size_t i = 0; i != c_pixels; ++i) {
                 float const c = 1 - static_cast<float>(pixels[4 * i]) / 255.0f;
                 float const m = 1 - static_cast<float>(pixels[4 * i + 1]) / 255.0f;
                 float const y = 1 - static_cast<float>(pixels[4 * i + 2]) / 255.0f;
                 float const k = std::min(c, std::min(m, y));
                 float const scale = k < 1 ? 255.0f / (1 - k) : 0;
                 ink[5 * i] = static_cast<std::uint8_t>((c - k) * scale + 0.5f);
                 ink[5 * i + 1] = static_cast<std::uint8_t>((m - k) * scale + 0.5f);
                 ink[5 * i + 2] = static_cast<std::uint8_t>((y - k) * scale + 0.5f);
                 ink[5 * i + 3] = static_cast<std::uint8_t>(k * 255.0f + 0.5f);
                 ink[5 * i + 4] = pixels[4 * i + 3];
             }
         }));
    auto& manager = ICCManager::GetInstance();
    auto const labConverter = manager.MakeConverter(FormatRGBA8, {}, FormatLABA16, {});
    auto const managed = Measure(1, [&] { ConvertBitmap(*bitmap, *labConverter, nullptr); });
    Tell("RGBA8 to LABA16; peer: through profiles", convert(FormatLABA16), managed);
    auto const rgb = Lcms::Open(manager.GetDefaultProfile(ColourModel::RGB)->GetData());
    auto const lab = Lcms::Open(manager.GetDefaultProfile(ColourModel::Lab)->GetData());
    Lcms::Transform const transform(cmsCreateTransformTHR(
        Lcms::GetContext(), rgb.get(), TYPE_RGBA_8, lab.get(), TYPE_Lab_16, INTENT_RELATIVE_COLORIMETRIC,
        cmsFLAGS_NOCACHE | cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_HIGHRESPRECALC));
    auto const bare = Measure(1, [&] {
        cmsDoTransform(transform.get(), pixels.data(), wide.data(), static_cast<cmsUInt32Number>(c_pixels));
    });
    Tell("RGBA8 to LABA16 through profiles; floor: the transform alone", managed, bare);
}

void CompareMipmaps() {
    auto const bitmap = MakeBitmap(FormatRGBA8, c_side);
    auto const pixels = MakePixels(4 * c_pixels);
    std::vector<std::uint8_t> half(c_pixels);
    auto const loop = Measure(3, [&] {
        constexpr std::size_t c_row = 4 * c_side;
        for (std::size_t y = 0; y != c_side / 2; ++y) {
            for (std::size_t x = 0; x != c_side / 2; ++x) {
                auto const* const p = pixels.data() + 2 * y * c_row + 8 * x;
                unsigned const a = p[3] + p[7] + p[c_row + 3] + p[c_row + 7];
                auto* const out = half.data() + 4 * (y * c_side / 2 + x);
                for (std::size_t c = 0; c != 3; ++c) {
                    unsigned const sum =
                        p[c] * p[3] + p[c + 4] * p[7] + p[c_row + c] * p[c_row + 3] + p[c_row + c + 4] * p[c_row + 7];
                    out[c] = static_cast<std::uint8_t>(a == 0 ? 0 : (sum + a / 2) / a);
                }
                out[3] = static_cast<std::uint8_t>((a + 2) / 4);
            }
        }
    });
    auto const updating = Measure(3, [&] {
        bitmap->MarkMipmapsDirty(bitmap->GetBounds());
        bitmap->UpdateMipmaps(1, nullptr);
    });
    Tell("first mipmap level of RGBA8; floor: a loop", updating, loop);
}

} // namespace

int main() {
    Kernel::Dispatch::SetThreadCount(1);
    std::printf("%-66s %10s %10s %8s\n", "", "ms", "floor ms", "ratio");
    CompareClone();
    CompareTransfers();
    CompareConversions();
    CompareMipmaps();
}
