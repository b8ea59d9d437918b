// SPDX-License-Identifier: Apache-2.0
// What does a command that goes over many nodes cost for each of them? The floors do the same to structures that hold
// nothing else: linked like the tree, or side by side.
#include "frame/selection/selection_command.h"
#include "frame/view/flip_canvas_command.h"
#include "platform/document/document_controller.h"
#include "platform/geometry/curve.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

using Params = Raster::AffineTransform::Params;

constexpr int c_flipped = 100'000;
constexpr int c_visited = 1'000'000;

// Squares of one outline in two fills, each where chance puts it.
Kernel::Counted<DocumentController> MakeDocument(int count) {
    // As in any application there has been a second thread, and so counts are atomic.
    std::thread([] {}).join();
    auto document = DocumentController::CreateNew({1000, 1000}, Raster::FormatRGBA8, 1);
    std::mt19937 random(11);
    auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{0, 0, 1, 1});
    Kernel::Counted<Renderer::FillDescriptor const> const fills[] = {
        Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0, 0)),
        Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0, 0, 1))};
    auto const spread = document->GetCurrentSpread();
    for (int i = 0; i != count; ++i) {
        auto node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(outline);
        node->SetBrushFillDescriptor(fills[i % 2]);
        double const x = random() % 1000;
        double const y = random() % 1000;
        node->SetTransform({1, 0, x, 0, 1, y}, false);
        spread->InsertChild(NodeChildListType::Plain, std::move(node), nullptr);
    }
    return document;
}

Kernel::Counted<DocumentController> const& FlippedDocument() {
    static auto const s_document = MakeDocument(c_flipped);
    return s_document;
}

void TellTimeOfNode(benchmark::State& state, int count) {
    state.SetItemsProcessed(state.iterations() * count);
    state.counters["time/node"] = benchmark::Counter(static_cast<double>(state.iterations()) * count,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void FlipDo(benchmark::State& state) {
    auto const& document = FlippedDocument();
    document->SetUndoLimits(1, SIZE_MAX);
    for (auto _ : state)
        document->Run(Kernel::MakeCounted<Commands::FlipCanvasCommand>(true));
    TellTimeOfNode(state, c_flipped);
}
BENCHMARK(FlipDo)->Unit(benchmark::kMillisecond);

// Argument: 0 undoes, 1 redoes.
void FlipStep(benchmark::State& state) {
    auto const& document = FlippedDocument();
    document->Run(Kernel::MakeCounted<Commands::FlipCanvasCommand>(true));
    bool const redo = state.range(0) != 0;
    if (redo)
        document->Undo();
    for (auto _ : state) {
        redo ? document->Redo() : document->Undo();
        state.PauseTiming();
        redo ? document->Undo() : document->Redo();
        state.ResumeTiming();
    }
    TellTimeOfNode(state, c_flipped);
}
BENCHMARK(FlipStep)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A linked list of matrices, as wide apart as nodes are: keep the old one, put the product.
void FloorOfFlip(benchmark::State& state) {
    struct Linked {
        Linked* next = nullptr;
        Params matrix;
        std::byte others[sizeof(PolyCurveNode) - sizeof(Params) - sizeof(void*)]{};
    };
    std::vector<std::unique_ptr<Linked>> nodes;
    for (int i = 0; i != c_flipped; ++i) {
        nodes.push_back(std::make_unique<Linked>());
        if (i != 0)
            nodes[static_cast<std::size_t>(i) - 1]->next = nodes.back().get();
    }
    Params const flip{-1, 0, 1000, 0, 1, 0};
    for (auto _ : state) {
        std::deque<Params> old;
        for (auto* node = nodes.front().get(); node != nullptr; node = node->next) {
            old.push_back(node->matrix);
            node->matrix = flip * node->matrix;
        }
        benchmark::DoNotOptimize(old);
    }
    TellTimeOfNode(state, c_flipped);
}
BENCHMARK(FloorOfFlip)->Unit(benchmark::kMillisecond);

// Takes every node and does nothing with it.
class VisitCommand final : public SelectionCommandWithNodeInterfaces<VisitCommand> {
public:
    explicit VisitCommand(Kernel::Counted<Selection const> selection)
        : SelectionCommandWithNodeInterfaces(std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override { return {"Visit", "Command description"}; }
    void Notify(Kernel::NotificationList&) override {}
    bool ShouldStackForUndo() const override { return false; }
    bool MakesDOMDirty() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<VisitCommand>(m_selection); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
    std::int64_t GetVisited() const { return m_visited; }

protected:
    bool ShouldOperateOnMasterItems() override { return false; }
    void ReceiveNode(Kernel::NonCounted<Node>) override { ++m_visited; }

private:
    std::int64_t m_visited = 0;
};

std::vector<Kernel::Counted<Node>> GetNodes(SpreadNode& spread) {
    std::vector<Kernel::Counted<Node>> nodes;
    for (Node* node = spread.GetFirstChild(NodeChildListType::Plain); node != nullptr; node = node->GetNextSibling())
        nodes.emplace_back(node);
    return nodes;
}

void SelectionVisit(benchmark::State& state) {
    auto const document = MakeDocument(c_visited);
    auto const selection = Kernel::MakeCounted<Selection const>(GetNodes(*document->GetCurrentSpread()));
    std::int64_t visited = 0;
    auto const missed = Kernel::CastMissCount();
    for (auto _ : state) {
        auto const command = Kernel::MakeCounted<VisitCommand>(selection);
        document->Run(command);
        visited += command->GetVisited();
    }
    state.counters["real casts"] =
        static_cast<double>(Kernel::CastMissCount() - missed) / static_cast<double>(state.iterations());
    if (visited != state.iterations() * c_visited)
        state.SkipWithError("nodes were not visited");
    TellTimeOfNode(state, c_visited);
}
BENCHMARK(SelectionVisit)->Unit(benchmark::kMillisecond);

// The same million nodes by a vector of pointers, with one virtual call for each.
void FloorOfSelectionVisit(benchmark::State& state) {
    auto const document = MakeDocument(c_visited);
    auto const nodes = GetNodes(*document->GetCurrentSpread());
    std::int64_t visited = 0;
    for (auto _ : state) {
        for (auto const& node : nodes)
            visited += node->DrawsChildren() ? 1 : 0;
    }
    benchmark::DoNotOptimize(visited);
    TellTimeOfNode(state, c_visited);
}
BENCHMARK(FloorOfSelectionVisit)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
