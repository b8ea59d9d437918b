// SPDX-License-Identifier: Apache-2.0
// The cost of tracing a picture of 2,048 by 2,048 pixels with 60 colours and smooth edges, beside potrace, which traces
// two colours of the same picture: the engine alone on one thread and on all, and the whole command beside potrace as a
// program. Then the likeness of the drawing, as rsvg-convert draws its export, and the picture. Runs take turns; the
// best of some counts.
#include "engine/tracing/trace.h"
#include "platform/geometry/shapes.h"
#include "platform/kernel/dispatch.h"
#include "platform/raster/bitmap_image.h"
#include "platform/renderer/fill_descriptor.h"
#include "platform/renderer/raster_render_target.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <unistd.h>

namespace {

constexpr int c_side = 2048, c_runs = 5;

using Tracing::Picture;

Picture ToPicture(Raster::BufferBase const& pixels) {
    Picture picture{pixels.GetWidth(), pixels.GetHeight(), {}};
    picture.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height));
    pixels.ReadPixels(pixels.GetBounds(), picture.pixels.data(), static_cast<std::size_t>(picture.width) * 4);
    return picture;
}

Picture DrawPicture() {
    std::mt19937 random(5);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() % 10007) / 10006.0; };
    std::vector<Renderer::Colour> colours;
    for (int i = 0; i != 60; ++i) {
        auto const part = [&] { return static_cast<float>(20 + random() % 230) / 255; };
        float const red = part(), green = part(), blue = part();
        colours.push_back(Renderer::Colour::FromRGB(red, green, blue));
    }
    Renderer::RasterOptions options;
    options.width = options.height = c_side;
    options.background = colours.front();
    auto const target = Kernel::MakeCounted<Renderer::RasterRenderTarget>(options);
    for (int i = 0; i != 700; ++i) {
        Renderer::Paint paint;
        paint.mainFill = Renderer::FillDescriptorConst(colours[static_cast<std::size_t>(i % 60)]);
        double const size = number(10, 110) * (i < 100 ? 2 : 1);
        int const corners = 4 + static_cast<int>(random() % 40);
        auto outline = Geometry::MakeStar({number(0, c_side), number(0, c_side)}, size,
                                          size * (corners > 16 ? 1 : number(0.3, 0.8)), corners, number(0, 6));
        target->DrawCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(outline), paint,
                           Geometry::WindingOrderMode::NonZero);
    }
    return ToPicture(*target->Render({0, 0, c_side, c_side}));
}

template <class F>
double Measure(F const& run) {
    auto const start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void Run(std::string const& command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) {
        std::fprintf(stderr, "failed, or not installed: %s\n", command.c_str());
        std::exit(1);
    }
}

void WriteGrey(Picture const& picture, std::string const& path) {
    std::ofstream file(path, std::ios::binary);
    file << "P5\n" << picture.width << " " << picture.height << "\n255\n";
    for (auto const& p : picture.pixels)
        file.put(static_cast<char>((p[0] * 299 + p[1] * 587 + p[2] * 114) / 1000));
}

void WritePng(Picture const& picture, std::string const& path) {
    Raster::DynamicBitmap bitmap(picture.width, picture.height, Raster::FormatRGBA8);
    bitmap.WritePixels({0, 0, picture.width, picture.height}, picture.pixels.data(),
                       static_cast<std::size_t>(picture.width) * 4);
    std::ofstream file(path, std::ios::binary);
    Raster::EncodeBitmap(bitmap, {}, [&](std::span<std::byte const> bytes) {
        file.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    });
}

Picture ReadPng(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
    Raster::BitmapReceiver receiver;
    Raster::DecodeImage(std::as_bytes(std::span(bytes)), receiver);
    auto const bitmap = receiver.Finish();
    Picture picture{bitmap->GetWidth(), bitmap->GetHeight(), {}};
    picture.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height));
    bitmap->ReadPixels({0, 0, picture.width, picture.height}, picture.pixels.data(),
                       static_cast<std::size_t>(picture.width) * 4);
    return picture;
}

double GetLikeness(Picture const& a, Picture const& b) {
    double sum = 0;
    for (std::size_t i = 0; i != a.pixels.size(); ++i) {
        for (std::size_t c = 0; c != 3; ++c)
            sum += std::pow(a.pixels[i][c] - b.pixels[i][c], 2);
    }
    return 10 * std::log10(255 * 255 * 3.0 * static_cast<double>(a.pixels.size()) / sum);
}

} // namespace

// With a PNG of 8-bit RGBA as its argument the same for that picture.
int main(int argc, char** argv) {
    auto const folder = std::filesystem::temp_directory_path() / ("redraft-tracing-" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    auto const at = [&](char const* name) { return (folder / name).string(); };
    Picture const picture = argc > 1 ? ReadPng(argv[1]) : DrawPicture();
    WriteGrey(picture, at("grey.pgm"));
    WritePng(picture, at("picture.png"));
    double alone = 1e9, all = 1e9, command = 1e9, peer = 1e9;
    std::size_t count = 0;
    auto const threads = Kernel::Dispatch::GetThreadCount();
    std::string const program = REDRAFT_PROGRAM;
    Run(program + " import " + at("picture.png") + " -o " + at("untraced.redraft"));
    for (int i = 0; i != c_runs; ++i) {
        auto const trace = [&] { count = Tracing::TracePicture(picture, {}).size(); };
        Kernel::Dispatch::SetThreadCount(1);
        alone = std::min(alone, Measure(trace));
        Kernel::Dispatch::SetThreadCount(threads);
        all = std::min(all, Measure(trace));
        command = std::min(command, Measure([&] {
                               Run(program + " do " + at("untraced.redraft") +
                                   " vectorise-object --select type:RasterNode --force -o " + at("traced.redraft"));
                           }));
        peer = std::min(peer, Measure([&] { Run("potrace -s " + at("grey.pgm") + " -o " + at("peer.svg")); }));
    }
    Run(program + " export " + at("traced.redraft") + " --force -o " + at("traced.svg"));
    Run("rsvg-convert -w " + std::to_string(picture.width) + " -h " + std::to_string(picture.height) + " " +
        at("traced.svg") + " -o " + at("drawn.png"));
    std::printf("shapes %zu, ms: traced on one thread %.1f, on %u %.1f, as a command with its document %.1f, potrace "
                "%.1f\n",
                count, alone, threads, all, command, peer);
    std::printf("of potrace's time: one thread %.2f, all %.2f, command %.2f\n", alone / peer, all / peer,
                command / peer);
    std::printf("likeness of the export as rsvg-convert draws it: %.1f dB\n",
                GetLikeness(picture, ReadPng(at("drawn.png"))));
    std::filesystem::remove_all(folder);
    return 0;
}
