// SPDX-License-Identifier: Apache-2.0
// What does a history of ten thousand steps cost when its document is opened again, and are its steps still quick to
// take back? Steps that change a setting, steps that each dissolve a group of nine, and four thousand that each put a
// word in the place of another in a text of three million characters. The floors: the same document without its
// history, the bytes of the file, and the steps of the process that made them.
#include "bench/generated_document.h"
#include "bench/peak_memory.h"
#include "platform/document/text_commands.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/files.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <fstream>

namespace {

constexpr int c_steps = 10'000, c_edits = 4'000;

enum Kind { Settings = 0, Ungrouping = 1, Edits = 2 };

int GetStepCount(Kind kind) { return kind == Edits ? c_edits : c_steps; }

// Words of up to ten letters in paragraphs of ninety.
std::u32string MakeText(std::size_t length) {
    std::mt19937 random(11);
    std::u32string text;
    while (text.size() < length) {
        for (auto letters = 2 + random() % 9; letters != 0; --letters)
            text.push_back(U'a' + random() % 26);
        text.push_back(random() % 90 == 0 ? U'\n' : U' ');
    }
    return text;
}

Kernel::Counted<DocumentController> MakeWithEdits() {
    auto document = DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 1);
    document->SetMergingEnabled(false);
    auto const text = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 550, 750});
    text->SetText(Story::GlyphString(MakeText(3'000'000)), {}, {});
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, text, nullptr);
    std::mt19937 random(12);
    for (int i = 0; i != c_edits; ++i) {
        auto const begin = static_cast<int>(random() % (text->GetStory()->GetLength() - 20));
        auto const word = Kernel::MakeCounted<TextSelection>(begin, begin + 6);
        document->Run(Kernel::MakeCounted<InsertTextCommand>(
            Kernel::String("word" + std::to_string(i)),
            Kernel::MakeCounted<Selection const>(Selection::Items{Kernel::MakeCounted<SubSelectionItem>(text, word)},
                                                 false)));
    }
    return document;
}

Kernel::Counted<DocumentController> MakeWithHistory(Kind kind) {
    if (kind == Edits)
        return MakeWithEdits();
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
    static std::string s_paths[3][2];
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
    auto const kind = static_cast<Kind>(state.range(0));
    auto const& path = SavedDocument(kind, withHistory);
    std::size_t steps = 0;
    for (auto _ : state) {
        auto document = DocumentController::Open(path, true);
        state.PauseTiming();
        steps = document->GetHistory()->GetCount();
        document.reset();
        state.ResumeTiming();
    }
    if (steps != static_cast<std::size_t>(withHistory ? GetStepCount(kind) : 0))
        state.SkipWithError("the history is not what was saved");
    state.counters["file bytes"] = static_cast<double>(std::filesystem::file_size(path));
    state.counters["peakMiB"] = MeasurePeak(path);
}

void ReloadWithHistory(benchmark::State& state) { Reload(state, true); }
BENCHMARK(ReloadWithHistory)->Arg(Settings)->Arg(Ungrouping)->Arg(Edits)->Unit(benchmark::kMillisecond);

void FloorOfReloadWithoutHistory(benchmark::State& state) { Reload(state, false); }
BENCHMARK(FloorOfReloadWithoutHistory)->Arg(Settings)->Arg(Ungrouping)->Arg(Edits)->Unit(benchmark::kMillisecond);

void FloorOfReloadReadBytes(benchmark::State& state) {
    auto const& path = SavedDocument(static_cast<Kind>(state.range(0)), true);
    for (auto _ : state)
        benchmark::DoNotOptimize(Kernel::ReadWholeFile(path, SIZE_MAX));
}
BENCHMARK(FloorOfReloadReadBytes)->Arg(Settings)->Arg(Ungrouping)->Arg(Edits)->Unit(benchmark::kMillisecond);

void UndoAll(DocumentController& document, int count) {
    for (int i = 0; i != count; ++i)
        document.Undo();
}

// All steps of a document that has just been opened.
void UndoAfterReload(benchmark::State& state) {
    auto const kind = static_cast<Kind>(state.range(0));
    auto const& path = SavedDocument(kind, true);
    for (auto _ : state) {
        state.PauseTiming();
        auto document = DocumentController::Open(path, true);
        state.ResumeTiming();
        UndoAll(*document, GetStepCount(kind));
        state.PauseTiming();
        if (document->CanUndo())
            state.SkipWithError("steps are left");
        document.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * GetStepCount(kind));
}
BENCHMARK(UndoAfterReload)->Arg(Settings)->Arg(Ungrouping)->Arg(Edits)->Unit(benchmark::kMillisecond);

void FloorOfUndoInTheSameProcess(benchmark::State& state) {
    auto const kind = static_cast<Kind>(state.range(0));
    auto const document = MakeWithHistory(kind);
    for (auto _ : state) {
        UndoAll(*document, GetStepCount(kind));
        state.PauseTiming();
        document->GoTo(static_cast<std::size_t>(GetStepCount(kind)));
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * GetStepCount(kind));
}
BENCHMARK(FloorOfUndoInTheSameProcess)->Arg(Settings)->Arg(Ungrouping)->Arg(Edits)->Unit(benchmark::kMillisecond);

} // namespace

// With `--peak FILE` it tells how much memory opening the document takes at most, and measures nothing else.
int main(int count, char** arguments) {
    if (count == 3 && std::string_view(arguments[1]) == "--peak") {
        double const before = GetPeak();
        auto const document = DocumentController::Open(arguments[2], true);
        std::printf("%f\n", GetPeak() - before);
        return 0;
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
