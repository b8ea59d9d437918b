// SPDX-License-Identifier: Apache-2.0
// What does a history of ten thousand steps cost when its document is opened again, and are its steps still quick to
// take back? Steps that change a setting, and steps that each dissolve a group of nine. The floors: the same document
// without its history, the bytes of the file, and the steps of the process that made them.
#include "bench/generated_document.h"
#include "platform/kernel/files.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int c_steps = 10'000;

enum Kind { Settings = 0, Ungrouping = 1 };

Kernel::Counted<DocumentController> MakeWithHistory(Kind kind) {
    if (kind == Settings) {
        auto document = Bench::MakeDocument(1);
        Bench::AddSettingSteps(*document, c_steps);
        return document;
    }
    auto document = Bench::MakeDocument(c_steps);
    Bench::AddUngroupingSteps(*document, c_steps);
    return document;
}

Bench::ScratchFolder const& Folder() {
    static Bench::ScratchFolder const s_folder;
    return s_folder;
}

// `withHistory` false: the same state, reached without steps.
std::string const& SavedDocument(Kind kind, bool withHistory) {
    static std::string s_paths[2][2];
    auto& path = s_paths[kind][withHistory];
    if (!path.empty())
        return path;
    path = Folder().GetPath(std::to_string(kind) + (withHistory ? "-with" : "-without") + ".redraft");
    Bench::RunApart([&] {
        auto const document = MakeWithHistory(kind);
        if (!withHistory)
            document->SetUndoLimits(0, SIZE_MAX);
        document->Save(path);
    });
    return path;
}

void Reload(benchmark::State& state, bool withHistory) {
    auto const& path = SavedDocument(static_cast<Kind>(state.range(0)), withHistory);
    std::size_t steps = 0;
    for (auto _ : state) {
        auto document = DocumentController::Open(path, true);
        state.PauseTiming();
        steps = document->GetHistory()->GetCount();
        document.reset();
        state.ResumeTiming();
    }
    if (steps != (withHistory ? c_steps : 0))
        state.SkipWithError("the history is not what was saved");
    state.counters["file bytes"] = static_cast<double>(std::filesystem::file_size(path));
}

void ReloadWithHistory(benchmark::State& state) { Reload(state, true); }
BENCHMARK(ReloadWithHistory)->Arg(Settings)->Arg(Ungrouping)->Unit(benchmark::kMillisecond);

void FloorOfReloadWithoutHistory(benchmark::State& state) { Reload(state, false); }
BENCHMARK(FloorOfReloadWithoutHistory)->Arg(Settings)->Arg(Ungrouping)->Unit(benchmark::kMillisecond);

void FloorOfReloadReadBytes(benchmark::State& state) {
    auto const& path = SavedDocument(static_cast<Kind>(state.range(0)), true);
    for (auto _ : state)
        benchmark::DoNotOptimize(Kernel::ReadWholeFile(path, SIZE_MAX));
}
BENCHMARK(FloorOfReloadReadBytes)->Arg(Settings)->Arg(Ungrouping)->Unit(benchmark::kMillisecond);

void UndoAll(DocumentController& document) {
    for (int i = 0; i != c_steps; ++i)
        document.Undo();
}

// All steps of a document that has just been opened.
void UndoAfterReload(benchmark::State& state) {
    auto const& path = SavedDocument(static_cast<Kind>(state.range(0)), true);
    for (auto _ : state) {
        state.PauseTiming();
        auto document = DocumentController::Open(path, true);
        state.ResumeTiming();
        UndoAll(*document);
        state.PauseTiming();
        if (document->CanUndo())
            state.SkipWithError("steps are left");
        document.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_steps);
}
BENCHMARK(UndoAfterReload)->Arg(Settings)->Arg(Ungrouping)->Unit(benchmark::kMillisecond);

void FloorOfUndoInTheSameProcess(benchmark::State& state) {
    auto const document = MakeWithHistory(static_cast<Kind>(state.range(0)));
    for (auto _ : state) {
        UndoAll(*document);
        state.PauseTiming();
        document->GoTo(c_steps);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * c_steps);
}
BENCHMARK(FloorOfUndoInTheSameProcess)->Arg(Settings)->Arg(Ungrouping)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
