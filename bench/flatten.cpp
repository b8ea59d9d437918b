// SPDX-License-Identifier: Apache-2.0
// The cost of flattening a large drawing beside drawing the same pixels and keeping none: the whole command, with text,
// tree and selection, and its undo apart. Then each pixel format beside 8-bit RGB. The drawing is an argument; without
// one, a map of 3,143 counties of the package openclipart-svg. It is scaled to 4109 pixels across. Processor time of
// one thread, the best of some runs by turns; the last lines compare two threads with one in elapsed time.
#include "formats/import.h"
#include "platform/document/document_renderer.h"
#include "platform/kernel/dispatch.h"
#include "shapes/flatten_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>

namespace {

constexpr double c_width = 4109;
constexpr int c_runs = 5;

double GetThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

double GetElapsedMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

using Clock = double (*)();

void Take(double& best, Clock clock, std::function<void()> const& work) {
    double const start = clock();
    work();
    best = std::min(best, clock() - start);
}

std::string FindMap() {
    std::error_code ignored;
    for (auto const& entry : std::filesystem::recursive_directory_iterator("/usr/share/openclipart/svg", ignored)) {
        if (entry.path().filename() == "usa_counties_fips.svg")
            return entry.path();
    }
    return "usa_counties_fips.svg";
}

Kernel::Counted<DocumentController> ReadDrawing(std::string const& path) {
    auto document = Formats::Import(path);
    auto& spread = *document->GetCurrentSpread();
    auto const box = spread.GetBaseBox(true);
    double const scale = c_width / box.GetWidth();
    for (Node* child = spread.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling())
        Kernel::CastPointer<SceneNode>(child)->Transform({scale, 0, 0, 0, scale, 0}, false);
    spread.SetBaseBox({0, 0, c_width, box.GetHeight() * scale});
    return document;
}

void Render(DocumentController const& document) {
    SpreadPictureOptions options;
    options.format = document.GetFormat();
    options.background = options.background.WithAlpha(0);
    MakeSpreadPicture(*document.GetCurrentSpread(), options)->Render([](Raster::BufferBase const&, int) {});
}

void Flatten(DocumentController& document) { document.Run(Kernel::MakeCounted<Commands::FlattenCommand>()); }

struct Costs {
    double render = 1e9, flatten = 1e9, undo = 1e9;

    void Take(DocumentController& document, Clock clock) {
        ::Take(render, clock, [&] { Render(document); });
        ::Take(flatten, clock, [&] { Flatten(document); });
        ::Take(undo, clock, [&] { document.Undo(); });
    }
};

} // namespace

int main(int argc, char** argv) {
    std::string const path = argc > 1 ? argv[1] : FindMap();
    constexpr Raster::Format c_formats[] = {Raster::FormatRGBA8, Raster::FormatRGBA16, Raster::FormatRGBAF,
                                            Raster::FormatIA8,   Raster::FormatIA16,   Raster::FormatCMYKA8,
                                            Raster::FormatLABA16};
    try {
        auto const document = ReadDrawing(path);
        Kernel::Dispatch::SetThreadCount(1);
        Costs costs[std::size(c_formats)], two;
        for (int run = 0; run != c_runs; ++run) {
            for (std::size_t i = 0; i != std::size(c_formats); ++i) {
                document->GetDocument()->SetFormat(c_formats[i]);
                costs[i].Take(*document, &GetThreadMilliseconds);
            }
        }
        std::printf("%-8s %9s %9s %9s %17s %16s\n", "ms", "render", "flatten", "undo", "flatten / render",
                    "flatten / RGBA8");
        for (std::size_t i = 0; i != std::size(c_formats); ++i)
            std::printf("%-8s %9.1f %9.1f %9.2f %17.2f %16.2f\n", Raster::GetFormatName(c_formats[i]), costs[i].render,
                        costs[i].flatten, costs[i].undo, costs[i].flatten / costs[i].render,
                        costs[i].flatten / costs[0].flatten);
        document->GetDocument()->SetFormat(Raster::FormatRGBA8);
        Costs one;
        for (int run = 0; run != c_runs; ++run) {
            for (unsigned const threads : {1u, 2u}) {
                Kernel::Dispatch::SetThreadCount(threads);
                (threads == 1 ? one : two).Take(*document, &GetElapsedMilliseconds);
            }
        }
        std::printf("elapsed, two threads beside one: render %.2f, flatten %.2f times as fast\n",
                    one.render / two.render, one.flatten / two.flatten);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), error.what());
        return 1;
    }
    return 0;
}
