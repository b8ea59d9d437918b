// SPDX-License-Identifier: Apache-2.0
// How long a change of size takes where a thousand artboards move along, beside a search that looks all boards through
// for each place, and beside moving the same boards by hand.
#include "lines/artboard_placing.h"
#include "lines/set_artboard_properties_command.h"
#include "platform/document/document_controller.h"

#include <benchmark/benchmark.h>

namespace {

using Rect = Kernel::RectT<double>;

constexpr int c_columns = 40, c_rows = 25;

Rect BoxOf(int column, int row) {
    double const left = column * 120.0, top = row * 90.0;
    return {left, top, left + 100, top + 70};
}

std::vector<Commands::ArtboardToPlace> MakeBoards() {
    std::vector<Commands::ArtboardToPlace> boards;
    // The last stand first, so that a search has far to go.
    for (int row = c_rows; row-- != 0;) {
        for (int column = c_columns; column-- != 0;)
            boards.push_back({BoxOf(column, row), {}});
    }
    boards.back().resize = Commands::ArtboardToPlace::Resize{{150, 70}, {150, 70}};
    return boards;
}

void PlaceByCounters(benchmark::State& state) {
    auto const boards = MakeBoards();
    for (auto _ : state)
        benchmark::DoNotOptimize(Commands::PlaceArtboards(boards));
}
BENCHMARK(PlaceByCounters)->Unit(benchmark::kMillisecond);

bool IsLeft(Rect const& a, Rect const& b) { return a.right <= b.left && a.top < b.bottom && b.top < a.bottom; }
bool IsAbove(Rect const& a, Rect const& b) { return a.bottom <= b.top && a.left < b.right && b.left < a.right; }

// The peer: no neighbours are kept, and each place is looked for from the first board on. No board is resized here but
// for the first of the row.
void PlaceBySearching(benchmark::State& state) {
    auto const boards = MakeBoards();
    for (auto _ : state) {
        std::vector<std::optional<Rect>> places(boards.size());
        for (std::size_t placed = 0; placed != boards.size(); ++placed) {
            for (std::size_t i = 0; i != boards.size(); ++i) {
                if (places[i])
                    continue;
                auto const& box = boards[i].box;
                bool isReady = true;
                double x = 0, y = 0;
                for (std::size_t j = 0; j != boards.size() && isReady; ++j) {
                    bool const left = IsLeft(boards[j].box, box), above = IsAbove(boards[j].box, box);
                    isReady = (!left && !above) || places[j];
                    if (isReady && left)
                        x = std::max(x, places[j]->right - boards[j].box.right);
                    if (isReady && above)
                        y = std::max(y, places[j]->bottom - boards[j].box.bottom);
                }
                if (!isReady)
                    continue;
                double const growth = boards[i].resize ? 50 : 0;
                places[i] = Rect{box.left + x, box.top + y, box.right + x + growth, box.bottom + y};
                break;
            }
        }
        benchmark::DoNotOptimize(places);
    }
}
BENCHMARK(PlaceBySearching)->Unit(benchmark::kMillisecond)->Iterations(1);

struct Boards {
    Kernel::Counted<DocumentController> controller =
        DocumentController::CreateNew({5000, 3000}, Raster::FormatRGBA8, 1);
    std::vector<Kernel::Counted<Node>> all;
    Boards() {
        for (int row = 0; row != c_rows; ++row) {
            for (int column = 0; column != c_columns; ++column) {
                all.push_back(Kernel::MakeCounted<ArtboardNode>(BoxOf(column, row)));
                controller->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, all.back(), nullptr);
            }
        }
        controller->SetMergingEnabled(false);
    }
};

// All boards get another size, and all but the first move: the most that one step can do.
void ResizeAll(benchmark::State& state) {
    Boards boards;
    auto const selection = Kernel::MakeCounted<Selection const>(boards.all);
    double width = 100;
    for (auto _ : state) {
        width = width == 100 ? 110 : 100;
        boards.controller->Run(Kernel::MakeCounted<Commands::SetArtboardPropertiesCommand>(
            Commands::ArtboardChanges{.size = Kernel::SizeT<double>{width, 70}}, selection));
        state.PauseTiming();
        boards.controller->SetUndoLimits(0, 0);
        boards.controller->SetUndoLimits(SIZE_MAX, SIZE_MAX);
        state.ResumeTiming();
    }
}
BENCHMARK(ResizeAll)->Unit(benchmark::kMillisecond);

// The floor: the same boxes and places, without a command.
void SetBoxesAndPlaces(benchmark::State& state) {
    Boards boards;
    double width = 100;
    for (auto _ : state) {
        width = width == 100 ? 110 : 100;
        for (auto const& node : boards.all) {
            auto& board = static_cast<ArtboardNode&>(*node);
            auto const box = board.GetArtboardBox();
            board.SetArtboardBox({box.left, box.top, box.left + width, box.bottom});
            board.SetTransform({1, 0, width - 100, 0, 1, 0}, false);
        }
    }
}
BENCHMARK(SetBoxesAndPlaces)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
