// SPDX-License-Identifier: Apache-2.0
// What do effects on layers cost, as commands in a document, beside a copy of the same planes or a plain loop that does
// the same? Processor time of one thread, the best of some runs, unless a line says otherwise.
#include "frame/example_documents.h"
#include "platform/kernel/dispatch.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <numbers>
#include <random>

namespace {

using namespace Commands;
using Raster::Format;

double GetThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

double GetWallMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double Measure(int runs, std::function<void()> const& work, std::function<void()> const& after = {},
               double (*clock)() = &GetThreadMilliseconds) {
    double best = 1e9;
    for (int i = 0; i != runs; ++i) {
        double const start = clock();
        work();
        best = std::min(best, clock() - start);
        if (after)
            after();
    }
    return best;
}

void Tell(char const* what, double ours, double floor) {
    std::printf("%-66s %10.3f %10.3f %8.2f\n", what, ours, floor, floor / ours);
    std::fflush(stdout);
}

// Smooth colours with noise in their low bits, opaque.
Kernel::Counted<Raster::DynamicBitmap> MakeBitmap(Format format, int side) {
    auto const info = Raster::GetFormatInfo(format);
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(side, side, format);
    std::mt19937 random(1);
    std::vector<std::byte> row(static_cast<std::size_t>(side * info.sampleBytes));
    for (int c = 0; c != info.channelCount - 1; ++c) {
        for (int y = 0; y != side; ++y) {
            for (int x = 0; x != side; ++x) {
                unsigned const v =
                    static_cast<unsigned>(x * (3 - c) / 8 + y * (c + 1) / 6 + c * 50) * 256 + random() % 2048;
                if (info.isFloat) {
                    float const sample = static_cast<float>(v & 0xFFFF) / 65535.0f;
                    std::memcpy(row.data() + 4 * x, &sample, 4);
                } else if (info.sampleBytes == 2) {
                    auto const sample = static_cast<std::uint16_t>(v);
                    std::memcpy(row.data() + 2 * x, &sample, 2);
                } else {
                    row[static_cast<std::size_t>(x)] = static_cast<std::byte>(v >> 8);
                }
            }
            bitmap->GetMutableBase().GetPlane(c).WriteSamples({0, y, side, y + 1}, row.data(), row.size());
        }
    }
    std::uint32_t const full = info.isFloat ? 0x3F800000u : info.sampleBytes == 2 ? 0xFFFFu : 0xFFu;
    bitmap->GetMutableBase().GetPlane(info.channelCount - 1).FillSamples({0, 0, side, side}, full);
    return bitmap;
}

struct Layer {
    Layer(Format format, int side)
        : controller(DocumentController::CreateNew({double(side), double(side)}, format, 1)),
          node(Kernel::MakeCounted<RasterNode>()) {
        node->SetBitmap(MakeBitmap(format, side));
        ExampleDocuments::Append(*controller->GetCurrentSpread(), node);
        ExampleDocuments::Select(*controller, {node});
    }
    template <class Command>
    double MeasureCommand(int runs, double (*clock)() = &GetThreadMilliseconds) {
        return Measure(
            runs, [this] { controller->Run(Kernel::MakeCounted<Command>()); }, [this] { controller->Undo(); }, clock);
    }
    // Full in the middle, soft everywhere else.
    void SelectSoftly() {
        int const side = node->GetBitmap()->GetWidth();
        auto const format = Raster::GetFormatInfo(node->GetBitmap()->GetFormat()).maskFormat;
        auto const info = Raster::GetFormatInfo(format);
        auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(side, side, format);
        std::vector<std::byte> row(static_cast<std::size_t>(side * info.sampleBytes));
        for (int y = 0; y != side; ++y) {
            for (int x = 0; x != side; ++x) {
                double const share = (0.05 + 0.9 * x / side) * (0.5 + 0.5 * y / side);
                if (info.isFloat) {
                    auto const v = static_cast<float>(share);
                    std::memcpy(row.data() + 4 * x, &v, 4);
                } else if (info.sampleBytes == 2) {
                    auto const v = static_cast<std::uint16_t>(share * 65535);
                    std::memcpy(row.data() + 2 * x, &v, 2);
                } else {
                    row[static_cast<std::size_t>(x)] = static_cast<std::byte>(share * 255);
                }
            }
            mask->GetMutableBase().GetPlane(0).WriteSamples({0, y, side, y + 1}, row.data(), row.size());
        }
        controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {}));
    }

    Kernel::Counted<DocumentController> controller;
    Kernel::Counted<RasterNode> node;
};

// A copy of planes to memory that was written to before, and to memory that is new, which is where a result that can be
// undone must go.
struct CopyTimes {
    double warm, fresh;
};
CopyTimes MeasureCopy(std::size_t bytes) {
    std::vector<std::byte> from(bytes, std::byte(3)), to(bytes, std::byte(4));
    CopyTimes times{};
    times.warm = Measure(5, [&] { std::memcpy(to.data(), from.data(), bytes); });
    times.fresh = Measure(5, [&] {
        std::unique_ptr<std::byte[]> const target(new std::byte[bytes]);
        std::memcpy(target.get(), from.data(), bytes);
        // Keeps the copy from being left out.
        if (target[bytes / 2] != std::byte(3))
            std::puts("?");
    });
    return times;
}

void CompareSolarise() {
    constexpr int c_side = 4096;
    for (Format const format : {Raster::FormatRGBA8, Raster::FormatRGBA16, Raster::FormatRGBAF}) {
        auto const bytes = static_cast<std::size_t>(c_side) * c_side *
                           static_cast<std::size_t>(Raster::GetFormatInfo(format).sampleBytes) * 3;
        auto const copy = MeasureCopy(bytes);
        Layer layer(format, c_side);
        double const plain = layer.MeasureCommand<RasterSolariseCommand>(5);
        std::string const name = Raster::GetFormatName(format);
        Tell(("solarise 4096 x 4096 " + name + "; floor: copy of its planes").c_str(), plain, copy.warm);
        Tell("  the same; floor: copy to new memory", plain, copy.fresh);
        layer.SelectSoftly();
        double const masked = layer.MeasureCommand<RasterSolariseCommand>(3);
        Tell(("solarise through a soft mask " + name + "; floor: copy").c_str(), masked, copy.warm);
        Tell("  the same; floor: copy to new memory", masked, copy.fresh);
    }
}

// Plain loops over pixels side by side, with the standard library's functions.
template <bool ToPolar>
void RemapPlainly(std::vector<std::uint8_t> const& from, std::vector<std::uint8_t>& to, int side) {
    double const size = side;
    for (int y = 0; y != side; ++y) {
        for (int x = 0; x != side; ++x) {
            float sums[4] = {};
            for (int v = 0; v != 5; ++v) {
                for (int u = 0; u != 5; ++u) {
                    double const px = static_cast<float>(x + 0.2 * u), py = static_cast<float>(y + 0.2 * v);
                    float rx, ry;
                    if constexpr (ToPolar) {
                        double const dx = (px - size / 2) * (1 / (size * 0.5)),
                                     dy = (py - size / 2) * (1 / (size * 0.5));
                        rx = static_cast<float>((std::atan2(dx, dy) + 3.141590118408203) * size / 6.283180236816406);
                        ry = static_cast<float>(std::hypot(dx, dy) * size);
                    } else {
                        double const radius = py / size, angle = -std::numbers::pi + px * 2 * std::numbers::pi / size;
                        rx = static_cast<float>(size / 2 + radius * std::sin(angle) * 0.5 * size);
                        ry = static_cast<float>(size / 2 + radius * std::cos(angle) * 0.5 * size);
                    }
                    int const sx = std::clamp(static_cast<int>(rx), 0, side - 1);
                    int const sy = std::clamp(static_cast<int>(ry), 0, side - 1);
                    auto const* const s =
                        from.data() + 4 * (static_cast<std::size_t>(sy) * static_cast<std::size_t>(side) +
                                           static_cast<std::size_t>(sx));
                    float const alpha = s[3], weight = alpha == 255 ? 1 : alpha * 0.003921569f;
                    for (int c = 0; c != 3; ++c)
                        sums[c] += static_cast<float>(s[c]) * weight;
                    sums[3] += alpha;
                }
            }
            auto* const t = to.data() + 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(side) +
                                             static_cast<std::size_t>(x));
            float const alpha = sums[3] * 0.04f;
            for (int c = 0; c != 4; ++c) {
                float mean = sums[c] * 0.04f;
                if (c != 3 && alpha != 255 && alpha > 1e-20f)
                    mean = std::min(mean * 255 / alpha, 255.0f);
                t[c] = static_cast<std::uint8_t>(mean + 0.5f);
            }
        }
    }
}

std::vector<std::uint8_t> ReadAll(Raster::DynamicBitmap const& bitmap) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(bitmap.GetWidth()) *
                                     static_cast<std::size_t>(bitmap.GetHeight()) * 4);
    bitmap.ReadPixels(bitmap.GetBounds(), pixels.data(), static_cast<std::size_t>(bitmap.GetWidth()) * 4);
    return pixels;
}

void ComparePolar() {
    constexpr int c_side = 2048;
    Layer layer(Raster::FormatRGBA8, c_side);
    auto const pixels = ReadAll(*layer.node->GetBitmap());
    auto result = pixels;
    double const plainRectangular = Measure(1, [&] { RemapPlainly<false>(pixels, result, c_side); });
    Tell("polar to rectangular 2048 x 2048; floor: a plain loop",
         layer.MeasureCommand<RasterPolarToRectangularCommand>(2), plainRectangular);
    double const plainPolar = Measure(1, [&] { RemapPlainly<true>(pixels, result, c_side); });
    Tell("rectangular to polar 2048 x 2048; floor: a plain loop",
         layer.MeasureCommand<RasterRectangularToPolarCommand>(2), plainPolar);
}

// Error diffusion with a search through the whole palette for every pixel.
void DitherPlainly(std::vector<float>& pixels, int side) {
    std::vector<std::array<float, 3>> palette;
    for (int i = 0; i != 216; ++i)
        palette.push_back({float(i / 36 * 13107), float(i / 6 % 6 * 13107), float(i % 6 * 13107)});
    auto const at = [&](int x, int y) {
        return pixels.data() +
               3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(side) + static_cast<std::size_t>(x));
    };
    for (int y = 0; y != side; ++y) {
        for (int x = 0; x != side; ++x) {
            float* const p = at(x, y);
            float best = 0;
            std::size_t found = 0;
            for (std::size_t i = 0; i != palette.size(); ++i) {
                float const r = (p[0] - palette[i][0]) * 1.5259022e-5f, g = (p[1] - palette[i][1]) * 1.5259022e-5f,
                            b = (p[2] - palette[i][2]) * 1.5259022e-5f;
                float const similarity = 1 - std::sqrt((r * r + g * g + b * b) / 3);
                if (similarity >= best) {
                    best = similarity;
                    found = i;
                }
            }
            float error[3];
            for (std::size_t c = 0; c != 3; ++c) {
                error[c] = p[c] - palette[found][c];
                p[c] = palette[found][c];
            }
            auto const spread = [&](int nx, int ny, float share) {
                if (nx < 0 || nx >= side || ny >= side)
                    return;
                float* const n = at(nx, ny);
                for (std::size_t c = 0; c != 3; ++c)
                    n[c] = std::clamp(std::trunc(share * error[c] + n[c]), 0.0f, 65535.0f);
            };
            spread(x + 1, y, 7 * 0.0625f);
            spread(x - 1, y + 1, 3 * 0.0625f);
            spread(x, y + 1, 5 * 0.0625f);
            spread(x + 1, y + 1, 0.0625f);
        }
    }
}

void CompareDither() {
    constexpr int c_side = 2048;
    Layer layer(Raster::FormatRGBA8, c_side);
    auto const pixels = ReadAll(*layer.node->GetBitmap());
    std::vector<float> wide(pixels.size() / 4 * 3);
    for (std::size_t i = 0; i != wide.size(); ++i)
        wide[i] = static_cast<float>(pixels[i / 3 * 4 + i % 3]) * 257;
    double const plain = Measure(1, [&] { DitherPlainly(wide, c_side); });
    Tell("web-safe dither 2048 x 2048; floor: a plain search", layer.MeasureCommand<RasterWebSafeDitherCommand>(2),
         plain);
}

void CompareClone() {
    Layer layer(Raster::FormatRGBA8, 8192);
    auto const bitmap = layer.node->GetBitmap();
    Kernel::Counted<Raster::DynamicBitmap> clone;
    std::uint8_t const pixel[] = {1, 2, 3, 4};
    auto const before = Raster::Tile::GetAllocatedBytes();
    double const time = Measure(20, [&] {
        clone = bitmap->Clone(nullptr);
        clone->WritePixels({5000, 4000, 5001, 4001}, pixel, 4);
    });
    auto const bytes = Raster::Tile::GetAllocatedBytes() - before;
    double const copy = MeasureCopy(std::size_t(8192) * 8192 * 3).warm;
    Tell("clone of 8192 x 8192, one pixel edited; floor: copy of its planes", time, copy);
    std::printf("  memory of it: %zu KiB, four tiles are 256 KiB\n", bytes / 1024);

    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(100, 100, Raster::FormatA8);
    mask->GetMutableBase().GetPlane(0).FillSamples({0, 0, 100, 100}, 255);
    layer.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {1, 0, 3000, 0, 1, 3000}));
    double undo = 1e9;
    for (int i = 0; i != 10; ++i) {
        layer.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
        undo = std::min(undo, Measure(1, [&] { layer.controller->Undo(); }));
    }
    Tell("undo of solarise in 100 x 100 of it; floor: copy of its planes", undo, copy);
}

void CompareThreads() {
    Layer solarised(Raster::FormatRGBA8, 4096), remapped(Raster::FormatRGBA8, 2048);
    double solarise[2], polar[2];
    for (unsigned threads = 1; threads <= 2; ++threads) {
        Kernel::Dispatch::SetThreadCount(threads);
        solarise[threads - 1] = solarised.MeasureCommand<RasterSolariseCommand>(5, &GetWallMilliseconds);
        polar[threads - 1] = remapped.MeasureCommand<RasterRectangularToPolarCommand>(3, &GetWallMilliseconds);
    }
    Tell("two threads, wall time: solarise; floor: one thread", solarise[1], solarise[0]);
    Tell("two threads, wall time: rectangular to polar; floor: one thread", polar[1], polar[0]);
}

} // namespace

int main() {
    Kernel::Dispatch::SetThreadCount(1);
    std::printf("%-66s %10s %10s %8s\n", "", "ours/ms", "floor/ms", "speed");
    CompareSolarise();
    ComparePolar();
    CompareDither();
    CompareClone();
    CompareThreads();
    return 0;
}
