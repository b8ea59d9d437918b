// SPDX-License-Identifier: Apache-2.0
// What do effects on layers cost, as commands in a document? Beside a copy of the same planes, a plain loop that does
// the same, and what other libraries take for it where they are installed. Processor time of one thread, but for the
// benchmarks of two threads, where elapsed time counts too. A counter "x NAME" says how many times as fast the line is
// as the best run of NAME.
#include "bench/effects/floors.h"
#include "bench/effects/timing.h"
#include "bench/generated_document.h"
#include "platform/kernel/dispatch.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "tests/examples/scenes/example_documents.h"

#include <cstring>
#include <memory>

namespace {

using namespace Commands;
using Raster::Format;

template <class Sample>
void Put(std::vector<std::byte>& row, int x, Sample sample) {
    std::memcpy(row.data() + static_cast<std::size_t>(x) * sizeof sample, &sample, sizeof sample);
}

// A sample on the scale of 16 bits, in the format's own.
void PutScaled(std::vector<std::byte>& row, int x, unsigned v, Raster::FormatInfo const& info) {
    if (info.isFloat)
        Put(row, x, static_cast<float>(v) / 65535.0f);
    else if (info.sampleBytes == 2)
        Put(row, x, static_cast<std::uint16_t>(v));
    else
        Put(row, x, static_cast<std::uint8_t>(v >> 8));
}

Kernel::Counted<Raster::DynamicBitmap> MakeBitmap(Format format, int side) {
    auto const info = Raster::GetFormatInfo(format);
    auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(side, side, format);
    Bench::PictureSamples samples;
    std::vector<std::byte> row(static_cast<std::size_t>(side * info.sampleBytes));
    for (int c = 0; c != info.channelCount - 1; ++c) {
        for (int y = 0; y != side; ++y) {
            for (int x = 0; x != side; ++x)
                PutScaled(row, x, samples.Next(c, x, y), info);
            bitmap->GetMutableBase().GetPlane(c).WriteSamples({0, y, side, y + 1}, row.data(), row.size());
        }
    }
    std::uint32_t const full = info.isFloat ? 0x3F800000u : info.sampleBytes == 2 ? 0xFFFFu : 0xFFu;
    bitmap->GetMutableBase().GetPlane(info.channelCount - 1).FillSamples({0, 0, side, side}, full);
    return bitmap;
}

enum class Mask { None, Soft, SoftOverSoftAlpha };

struct Layer {
    Layer(Format format, int side)
        : controller(DocumentController::CreateNew({double(side), double(side)}, format, 1)),
          node(Kernel::MakeCounted<RasterNode>()) {
        node->SetBitmap(MakeBitmap(format, side));
        ExampleDocuments::Append(*controller->GetCurrentSpread(), node);
        ExampleDocuments::Select(*controller, {node});
    }
    // One plane that is soft everywhere, between a twentieth and nineteen.
    static void FillSoftly(Raster::RegionBase& plane, Raster::FormatInfo const& info) {
        std::vector<std::byte> row(static_cast<std::size_t>(plane.GetWidth() * info.sampleBytes));
        for (int y = 0; y != plane.GetHeight(); ++y) {
            for (int x = 0; x != plane.GetWidth(); ++x) {
                double const share = (0.05 + 0.9 * x / plane.GetWidth()) * (0.5 + 0.5 * y / plane.GetHeight());
                PutScaled(row, x, static_cast<unsigned>(share * 65535), info);
            }
            plane.WriteSamples({0, y, plane.GetWidth(), y + 1}, row.data(), row.size());
        }
    }
    void SelectSoftly() {
        auto const format = Raster::GetFormatInfo(node->GetBitmap()->GetFormat()).maskFormat;
        auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(node->GetBitmap()->GetWidth(),
                                                               node->GetBitmap()->GetHeight(), format);
        FillSoftly(mask->GetMutableBase().GetPlane(0), Raster::GetFormatInfo(format));
        controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {}));
    }
    void SoftenAlpha() {
        auto const info = Raster::GetFormatInfo(node->GetBitmap()->GetFormat());
        auto const bitmap = node->GetBitmap()->Clone(nullptr);
        FillSoftly(bitmap->GetMutableBase().GetPlane(info.channelCount - 1), info);
        node->SetBitmap(bitmap);
    }

    Kernel::Counted<DocumentController> controller;
    Kernel::Counted<RasterNode> node;
};

using MakeLayer = std::function<std::unique_ptr<Layer>()>;

// Runs a command on a layer; taking it back does not count.
template <class Command>
void RegisterCommand(Bench::Timed const& timed, int iterations, MakeLayer const& makeLayer) {
    benchmark::RegisterBenchmark(timed.name.c_str(),
                                 [=](benchmark::State& state) {
                                     auto const layer = makeLayer();
                                     // The first run takes its memory from the system.
                                     layer->controller->Run(Kernel::MakeCounted<Command>());
                                     layer->controller->Undo();
                                     Bench::Run(
                                         state, timed, [&] { layer->controller->Run(Kernel::MakeCounted<Command>()); },
                                         [&] { layer->controller->Undo(); });
                                 })
        ->Iterations(iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

// Copies of planes: to memory that was written to before, the same on large pages, and to memory that is new.
void RegisterCopies(std::string const& name, std::size_t bytes) {
    auto const copy = [bytes](bool onLargePages) {
        auto const from = std::make_shared<Bench::PlainMemory>(bytes, onLargePages);
        auto const to = std::make_shared<Bench::PlainMemory>(bytes, onLargePages);
        return [=] {
            std::memcpy(to->Get(), from->Get(), bytes);
            benchmark::ClobberMemory();
        };
    };
    Bench::Register({"copy/" + name, {}}, 5, [=] { return copy(false); });
    Bench::Register({"copy-on-large-pages/" + name, {}}, 5, [=] { return copy(true); });
    Bench::Register({"copy-to-new-memory/" + name, {}}, 3, [=] {
        auto const from = std::make_shared<Bench::PlainMemory>(bytes, false);
        return [=] {
            std::unique_ptr<std::byte[]> const target(new std::byte[bytes]);
            std::memcpy(target.get(), from->Get(), bytes);
            benchmark::DoNotOptimize(target.get());
            benchmark::ClobberMemory();
        };
    });
}

constexpr Format c_solarised[] = {Raster::FormatRGBA8, Raster::FormatRGBA16, Raster::FormatRGBAF,
                                  Raster::FormatIA8,   Raster::FormatCMYKA8, Raster::FormatLABA16};

void RegisterSolarise() {
    constexpr int c_side = Bench::c_solariseSide;
    for (Format const format : c_solarised) {
        auto const info = Raster::GetFormatInfo(format);
        std::string const name = Raster::GetFormatName(format);
        RegisterCopies(name, static_cast<std::size_t>(c_side) * c_side *
                                 static_cast<std::size_t>(info.sampleBytes * (info.channelCount - 1)));
        std::vector<std::string> floors{"copy/" + name, "copy-on-large-pages/" + name, "copy-to-new-memory/" + name};
        auto const makeLayer = [format](Mask mask) -> MakeLayer {
            return [=] {
                auto layer = std::make_unique<Layer>(format, Bench::c_solariseSide);
                if (mask != Mask::None)
                    layer->SelectSoftly();
                if (mask == Mask::SoftOverSoftAlpha)
                    layer->SoftenAlpha();
                return layer;
            };
        };
        RegisterCommand<RasterSolariseCommand>({"solarise-masked/" + name, floors}, 5, makeLayer(Mask::Soft));
        RegisterCommand<RasterSolariseCommand>({"solarise-masked-soft-alpha/" + name, floors}, 3,
                                               makeLayer(Mask::SoftOverSoftAlpha));
        if (format == Raster::FormatRGBA8)
            floors.push_back("solarise/OpenCV");
        if (format == Raster::FormatRGBA16)
            floors.push_back("solarise/ImageMagick");
        RegisterCommand<RasterSolariseCommand>({"solarise/" + name, floors}, 5, makeLayer(Mask::None));
    }
}

MakeLayer MakeBytes(int side) {
    return [=] { return std::make_unique<Layer>(Raster::FormatRGBA8, side); };
}

template <bool ToPolar>
std::function<void()> PreparePlainRemap() {
    auto const from = std::make_shared<std::vector<std::uint8_t>>(Bench::MakePicture(Bench::c_remapSide));
    auto const to = std::make_shared<std::vector<std::uint8_t>>(*from);
    return [=] { Bench::RemapPlainly<ToPolar>(*from, *to, Bench::c_remapSide); };
}

void RegisterRemap() {
    Bench::Register({"polar-to-rectangular/plain loop", {}}, 1, &PreparePlainRemap<false>);
    RegisterCommand<RasterPolarToRectangularCommand>(
        {"polar-to-rectangular",
         {"polar-to-rectangular/plain loop", "polar-to-rectangular/OpenCV", "polar-to-rectangular/libvips"}},
        3, MakeBytes(Bench::c_remapSide));
    Bench::Register({"rectangular-to-polar/plain loop", {}}, 1, &PreparePlainRemap<true>);
    RegisterCommand<RasterRectangularToPolarCommand>(
        {"rectangular-to-polar",
         {"rectangular-to-polar/plain loop", "rectangular-to-polar/OpenCV", "rectangular-to-polar/libvips"}},
        3, MakeBytes(Bench::c_remapSide));
}

void RegisterDither() {
    Bench::Register({"web-safe-dither/plain search", {}}, 1, [] {
        auto const pixels = Bench::MakePicture(Bench::c_remapSide);
        auto const wide = std::make_shared<std::vector<float>>(pixels.size() / 4 * 3);
        for (std::size_t i = 0; i != wide->size(); ++i)
            (*wide)[i] = static_cast<float>(pixels[i / 3 * 4 + i % 3]) * 257;
        return [=] { Bench::DitherPlainly(*wide, Bench::c_remapSide); };
    });
    RegisterCommand<RasterWebSafeDitherCommand>(
        {"web-safe-dither", {"web-safe-dither/plain search", "web-safe-dither/ImageMagick"}}, 3,
        MakeBytes(Bench::c_remapSide));
}

void CloneAndEdit(benchmark::State& state) {
    Layer const layer(Raster::FormatRGBA8, Bench::c_cloneSide);
    auto const bitmap = layer.node->GetBitmap();
    Kernel::Counted<Raster::DynamicBitmap> clone;
    std::uint8_t const pixel[] = {1, 2, 3, 4};
    auto const before = Raster::Tile::GetAllocatedBytes();
    Bench::Run(state, {"clone-and-edit", {"copy/clone", "clone-and-edit/GEGL"}}, [&] {
        clone = bitmap->Clone(nullptr);
        clone->WritePixels({5000, 4000, 5001, 4001}, pixel, 4);
    });
    // One tile a channel.
    state.counters["bytes"] = static_cast<double>(Raster::Tile::GetAllocatedBytes() - before);
}

std::size_t GetSavedBytes(DocumentController& document, Bench::ScratchFolder const& folder) {
    auto const path = folder.GetPath("layer.redraft");
    document.Save(path);
    return std::filesystem::file_size(path);
}

// Bytes that the history of an effect on 100 x 100 pixels adds to the file, and to memory.
void UndoOfSelection(benchmark::State& state) {
    Bench::ScratchFolder const folder;
    Layer const layer(Raster::FormatRGBA8, Bench::c_cloneSide);
    auto mask = Kernel::MakeCounted<Raster::DynamicBitmap>(100, 100, Raster::FormatA8);
    mask->GetMutableBase().GetPlane(0).FillSamples({0, 0, 100, 100}, 255);
    layer.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, {1, 0, 3000, 0, 1, 3000}));
    auto const savedBefore = GetSavedBytes(*layer.controller, folder);
    auto const before = Raster::Tile::GetAllocatedBytes();
    layer.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    state.counters["bytes in memory"] = static_cast<double>(Raster::Tile::GetAllocatedBytes() - before);
    state.counters["bytes in the file"] = static_cast<double>(GetSavedBytes(*layer.controller, folder) - savedBefore);
    Bench::Run(
        state, {"undo-of-selection", {"copy/clone"}}, [&] { layer.controller->Undo(); },
        [&] { layer.controller->Redo(); });
}

// One thread and two in turn, so that other work on the machine disturbs both alike. "speed" compares the best elapsed
// times, which needs two processors without other work. Where they are not free, "shared speed" says how evenly the
// work is parted: the processor time of one thread beside that of the busier of two, at the best run. "processor time"
// is what two threads need together, beside one.
template <class Command>
void TwoThreads(benchmark::State& state) {
    auto const layer = std::make_unique<Layer>(Raster::FormatRGBA8, static_cast<int>(state.range(0)));
    double elapsed[2] = {1e9, 1e9}, processor[2] = {1e9, 1e9}, busier = 1e9;
    for (auto _ : state) {
        for (unsigned threads = 1; threads <= 2; ++threads) {
            Kernel::Dispatch::SetThreadCount(threads);
            double const start = Bench::GetElapsedMilliseconds(), used = Bench::GetProcessMilliseconds(),
                         usedHere = Bench::GetThreadMilliseconds();
            layer->controller->Run(Kernel::MakeCounted<Command>());
            double const time = Bench::GetElapsedMilliseconds() - start, all = Bench::GetProcessMilliseconds() - used,
                         here = Bench::GetThreadMilliseconds() - usedHere;
            processor[threads - 1] = std::min(processor[threads - 1], all);
            elapsed[threads - 1] = std::min(elapsed[threads - 1], time);
            layer->controller->Undo();
            if (threads == 2) {
                busier = std::min(busier, std::max(here, all - here));
                state.SetIterationTime(time / 1e3);
            }
        }
    }
    Kernel::Dispatch::SetThreadCount(1);
    state.counters["one ms"] = elapsed[0];
    state.counters["two ms"] = elapsed[1];
    state.counters["speed"] = elapsed[0] / elapsed[1];
    state.counters["shared speed"] = processor[0] / busier;
    state.counters["processor time"] = processor[1] / processor[0];
}

template <class Command>
void RegisterTwoThreads(char const* name, int side) {
    benchmark::RegisterBenchmark(name, &TwoThreads<Command>)
        ->Arg(side)
        ->Iterations(10)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

void RegisterRest() {
    RegisterCopies("clone", std::size_t(Bench::c_cloneSide) * Bench::c_cloneSide * 3);
    benchmark::RegisterBenchmark("clone-and-edit", &CloneAndEdit)
        ->Iterations(20)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("undo-of-selection", &UndoOfSelection)
        ->Iterations(20)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    RegisterTwoThreads<RasterSolariseCommand>("two-threads/solarise", Bench::c_solariseSide);
    RegisterTwoThreads<RasterPolarToRectangularCommand>("two-threads/polar-to-rectangular", Bench::c_remapSide);
    RegisterTwoThreads<RasterRectangularToPolarCommand>("two-threads/rectangular-to-polar", Bench::c_remapSide);
    RegisterTwoThreads<RasterWebSafeDitherCommand>("two-threads/web-safe-dither", Bench::c_remapSide);
}

} // namespace

int main(int count, char** arguments) {
    Kernel::Dispatch::SetThreadCount(1);
    // Peers come first: ours are told as ratios to them.
#ifdef REDRAFT_BENCH_OPENCV
    Bench::RegisterOpenCv();
#endif
#ifdef REDRAFT_BENCH_IMAGEMAGICK
    Bench::RegisterImageMagick();
#endif
#ifdef REDRAFT_BENCH_VIPS
    Bench::RegisterVips();
#endif
#ifdef REDRAFT_BENCH_GEGL
    Bench::RegisterGegl();
#endif
    RegisterSolarise();
    RegisterRemap();
    RegisterDither();
    RegisterRest();
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
}
