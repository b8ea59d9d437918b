// SPDX-License-Identifier: Apache-2.0
// How long does it take to import a map of five thousand paths, beside a peer that reads and renders it as a program of
// its own, and beside the least work: finding the numbers in the same text?
#include "bench/generated_document.h"
#include "formats/svg/import.h"
#include "platform/kernel/files.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <spawn.h>
#include <sstream>
#include <sys/resource.h>

extern char** environ;

namespace {

constexpr int c_paths = 5000;

// Regions with ragged borders, a fifth of them as curves; rivers as lines. In groups of fifty with a title, in the
// colours of eight classes: what map files look like.
std::string MakeMap() {
    std::mt19937 random(5);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() / 4294967296.0); };
    std::ostringstream out;
    out.precision(2);
    out << std::fixed << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"2000\" height=\"1400\""
        << " viewBox=\"0 0 2000 1400\">\n<style>.river{fill:none;stroke:#4a80c0;stroke-width:1.2}";
    for (int i = 0; i != 8; ++i)
        out << ".c" << i << "{fill:#" << 2 + i % 7 << "0" << 3 + i % 6 << "080;stroke:#333;stroke-width:.4}";
    out << "</style>\n";
    auto const region = [&](double x, double y, double radius) {
        int const points = 30 + static_cast<int>(random() % 90);
        bool const curved = random() % 5 == 0;
        double lastX = 0, lastY = 0;
        for (int i = 0; i != points; ++i) {
            double const angle = 2 * std::numbers::pi * i / points;
            double const r = radius * number(0.7, 1.1);
            double const px = x + r * std::cos(angle), py = y + r * std::sin(angle);
            if (i == 0)
                out << "M" << px << "," << py;
            else if (curved)
                out << "c" << number(-1, 1) << "," << number(-1, 1) << " " << number(-1, 1) << "," << number(-1, 1)
                    << " " << px - lastX << "," << py - lastY;
            else
                out << "l" << px - lastX << "," << py - lastY;
            lastX = px;
            lastY = py;
        }
        out << "z";
    };
    for (int i = 0; i != c_paths; ++i) {
        if (i % 50 == 0)
            out << (i == 0 ? "" : "</g>\n") << "<g id=\"g" << i / 50 << "\"><title>Province " << i / 50 << "</title>\n";
        double const x = number(0, 2000), y = number(0, 1400);
        if (i % 10 == 9) {
            out << "<path class=\"river\" d=\"M" << x << " " << y;
            for (int j = 0; j != 40; ++j)
                out << "l" << number(-6, 6) << " " << number(-6, 6);
        } else {
            out << "<path id=\"r" << i << "\" class=\"c" << random() % 8 << "\" d=\"";
            region(x, y, number(8, 30));
        }
        out << "\"/>\n";
    }
    out << "</g>\n</svg>\n";
    return out.str();
}

std::string const& Map() {
    static std::string const s_map = MakeMap();
    return s_map;
}

Bench::ScratchFolder const& Folder() {
    static Bench::ScratchFolder const s_folder;
    return s_folder;
}

std::string const& MapFile() {
    static std::string const s_path = [] {
        auto path = Folder().GetPath("map.svg");
        std::ofstream(path) << Map();
        return path;
    }();
    return s_path;
}

Kernel::Counted<DocumentController> ImportMap() {
    auto const bytes = Kernel::ReadWholeFile(MapFile(), SIZE_MAX);
    auto const drawing =
        Formats::Svg::Import({reinterpret_cast<char const*>(bytes.data()), bytes.size()}, Formats::Svg::ReadOptions());
    auto document = DocumentController::CreateNew(drawing.pageSize, Raster::FormatRGBA8, 1);
    Formats::Svg::Place(drawing, *document->GetDocument(), *document->GetCurrentSpread());
    return document;
}

void TellPaths(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * c_paths);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Map().size()));
}

// From the file to the nodes of a document.
void Import(benchmark::State& state) {
    MapFile();
    for (auto _ : state) {
        auto document = ImportMap();
        state.PauseTiming();
        document.reset();
        state.ResumeTiming();
    }
    TellPaths(state);
}
BENCHMARK(Import)->Unit(benchmark::kMillisecond);

// The same and a save, as the program does it.
void ImportAndSave(benchmark::State& state) {
    MapFile();
    int copy = 0;
    for (auto _ : state) {
        auto const path = Folder().GetPath("map" + std::to_string(++copy) + ".redraft");
        auto document = ImportMap();
        document->Save(path);
        state.PauseTiming();
        document.reset();
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
    TellPaths(state);
}
BENCHMARK(ImportAndSave)->Unit(benchmark::kMillisecond);

// Reads every number of the text and keeps it.
void FloorOfImport(benchmark::State& state) {
    auto const& text = Map();
    std::vector<float> numbers;
    for (auto _ : state) {
        numbers.clear();
        char const* at = text.data();
        char const* const end = at + text.size();
        while (at < end) {
            if ((*at >= '0' && *at <= '9') || *at == '-') {
                char* after = nullptr;
                numbers.push_back(std::strtof(at, &after));
                at = after == at ? at + 1 : after;
            } else {
                ++at;
            }
        }
        benchmark::DoNotOptimize(numbers.data());
    }
    TellPaths(state);
}
BENCHMARK(FloorOfImport)->Unit(benchmark::kMillisecond);

bool RunProgram(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (auto& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t process = 0;
    if (::posix_spawnp(&process, pointers.front(), nullptr, nullptr, pointers.data(), environ) != 0)
        return false;
    int status = 0;
    return ::waitpid(process, &status, 0) == process && status == 0;
}

// Processor time of the programs that have ended.
double GetProgramSeconds() {
    rusage use{};
    ::getrusage(RUSAGE_CHILDREN, &use);
    auto const seconds = [](timeval const& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

// rsvg-convert, from its start to its end, in processor time. Argument: 0 renders the map, 1 an empty drawing of the
// same size.
void PeerOfImport(benchmark::State& state) {
    auto const empty = Folder().GetPath("empty.svg");
    std::ofstream(empty) << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"2000\" height=\"1400\"/>";
    auto const& input = state.range(0) == 0 ? MapFile() : empty;
    auto const output = Folder().GetPath("peer.png");
    if (!RunProgram({"rsvg-convert", "-o", output, empty})) {
        state.SkipWithError("rsvg-convert is not installed (librsvg2-bin)");
        return;
    }
    for (auto _ : state) {
        double const before = GetProgramSeconds();
        if (!RunProgram({"rsvg-convert", "-o", output, input}))
            state.SkipWithError("rsvg-convert failed");
        state.SetIterationTime(GetProgramSeconds() - before);
    }
    TellPaths(state);
}
BENCHMARK(PeerOfImport)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
