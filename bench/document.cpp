// SPDX-License-Identifier: Apache-2.0
// How does a document of a million nodes and ten thousand steps of history open, what does it take in memory, and what
// does it cost to save it again after one small change? The floors read and write the file's own bytes.
#include "bench/generated_document.h"
#include "platform/document/document_renderer.h"
#include "platform/kernel/files.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <malloc.h>

namespace {

constexpr int c_groups = 100'000;
constexpr int c_nodes = c_groups * Bench::c_nodesInGroup;
constexpr int c_steps = 10'000;
constexpr int c_windowSide = 1000;

Bench::ScratchFolder const& Folder() {
    static Bench::ScratchFolder const s_folder;
    return s_folder;
}

// Half of the steps change a setting, the others dissolve a group.
std::string const& SavedDocument() {
    static std::string const s_path = [] {
        auto path = Folder().GetPath("large.redraft");
        Bench::RunApart([&] {
            auto const document = Bench::MakeDocument(c_groups);
            Bench::AddUngroupingSteps(*document, c_steps / 2);
            Bench::AddSettingSteps(*document, c_steps / 2);
            document->Save(path);
        });
        return path;
    }();
    return s_path;
}

// What the allocator has handed out, its own overhead counted.
std::size_t GetHeapBytes() {
    auto const info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// A window of 1000 pixels a side on the middle of the page, at the page's own size: a hundredth of the nodes.
void ShowWindow(DocumentController const& document) {
    SpreadPictureOptions options;
    double const middle = Bench::c_spreadSide / 2;
    options.area = {middle - c_windowSide / 2, middle - c_windowSide / 2, middle + c_windowSide / 2,
                    middle + c_windowSide / 2};
    auto const target = MakeSpreadPicture(*document.GetCurrentSpread(), options);
    benchmark::DoNotOptimize(target->Render(Kernel::RectT<int>{0, 0, c_windowSide, c_windowSide}));
}

// Argument: 1 opens the document and shows a window of it, 0 only opens it.
void Open(benchmark::State& state) {
    auto const& path = SavedDocument();
    for (auto _ : state) {
        state.PauseTiming();
        malloc_trim(0);
        auto const before = GetHeapBytes();
        state.ResumeTiming();
        auto document = DocumentController::Open(path, true);
        if (state.range(0) != 0)
            ShowWindow(*document);
        state.PauseTiming();
        state.counters["bytes/node"] = static_cast<double>(GetHeapBytes() - before) / c_nodes;
        if (document->GetHistory()->GetCount() != c_steps)
            state.SkipWithError("the history is not what was saved");
        document.reset();
        state.ResumeTiming();
    }
    state.counters["file bytes/node"] = static_cast<double>(std::filesystem::file_size(path)) / c_nodes;
}
BENCHMARK(Open)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->MinTime(3);

void FloorOfOpenReadBytes(benchmark::State& state) {
    auto const& path = SavedDocument();
    for (auto _ : state)
        benchmark::DoNotOptimize(Kernel::ReadWholeFile(path, SIZE_MAX));
}
BENCHMARK(FloorOfOpenReadBytes)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// One node moved by an edit of its own, or one more step of the history; then a save to the same file.
void SaveSmallChange(benchmark::State& state) {
    auto const path = Folder().GetPath("edited.redraft");
    std::filesystem::copy_file(SavedDocument(), path, std::filesystem::copy_options::overwrite_existing);
    auto const document = DocumentController::Open(path, true);
    document->SetMergingEnabled(false);
    Node* group = document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain);
    int value = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (state.range(0) == 0) {
            auto* const node = group->GetFirstChild(NodeChildListType::Plain);
            dynamic_cast<SceneNode&>(*node).Transform({1, 0, 1, 0, 1, 1}, false);
            group = group->GetPreviousSibling();
        } else {
            document->Run(Kernel::MakeCounted<Commands::SetScaleOverrideFlagsCommand>(++value));
        }
        state.ResumeTiming();
        document->Save(path);
    }
}
BENCHMARK(SaveSmallChange)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// One group more is dissolved: the page's list of 100,000 children changes.
void SaveUngrouping(benchmark::State& state) {
    auto const path = Folder().GetPath("edited.redraft");
    std::filesystem::copy_file(SavedDocument(), path, std::filesystem::copy_options::overwrite_existing);
    auto const document = DocumentController::Open(path, true);
    document->SetMergingEnabled(false);
    Kernel::Counted<Node> group(document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain));
    for (auto _ : state) {
        state.PauseTiming();
        Kernel::Counted<Node> const next(group->GetPreviousSibling());
        document->SetSelection(Kernel::MakeCounted<Selection const>(std::vector{group}), false);
        document->Run(Kernel::MakeCounted<Commands::UngroupNodesCommand>());
        group = next;
        state.ResumeTiming();
        document->Save(path);
    }
}
BENCHMARK(SaveUngrouping)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

void SaveWhole(benchmark::State& state) {
    auto const document = DocumentController::Open(SavedDocument(), true);
    int copy = 0;
    for (auto _ : state) {
        auto const path = Folder().GetPath("copy" + std::to_string(++copy) + ".redraft");
        document->Save(path);
        state.PauseTiming();
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
}
BENCHMARK(SaveWhole)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// 64 KiB put on the disk, in a file of the same length.
void FloorOfSaveSmallChange(benchmark::State& state) {
    auto const path = Folder().GetPath("plain");
    std::filesystem::copy_file(SavedDocument(), path, std::filesystem::copy_options::overwrite_existing);
    int const file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    std::vector<std::byte> const bytes(65536, std::byte{1});
    off_t at = 0;
    for (auto _ : state) {
        if (::pwrite(file, bytes.data(), bytes.size(), at) != static_cast<ssize_t>(bytes.size()) || ::fsync(file) != 0)
            state.SkipWithError("cannot write");
        at += 65536;
    }
    ::close(file);
}
BENCHMARK(FloorOfSaveSmallChange)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace

BENCHMARK_MAIN();
