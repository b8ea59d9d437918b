// SPDX-License-Identifier: Apache-2.0
// How long does it take to delete a topic with 1,000 marks in a composed book, and to undo that? The floors, in the
// same run: taking the same glyphs out of a copy of the story one by one, with nothing kept and nothing composed; and
// composing all of the book anew.
#include "index/delete_index_topic_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/story/index_mark.h"

#include <benchmark/benchmark.h>
#include <ctime>
#include <random>

namespace {

constexpr std::uint32_t c_marks = 1'000;
constexpr std::size_t c_length = 500'000;
constexpr int c_pages = 250;

struct Book {
    Kernel::Counted<DocumentController> document =
        DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, c_pages);
    std::vector<Kernel::Counted<FrameTextNode>> frames;
    Kernel::Counted<Story::IndexTopic> topic = Kernel::MakeCounted<Story::IndexTopic>("Whales");

    Book() {
        std::mt19937 random{14};
        std::u32string text;
        while (text.size() < c_length) {
            for (auto letters = 2 + random() % 9; letters != 0; --letters)
                text.push_back(U'a' + random() % 26);
            text += random() % 80 == 0 ? U".\n" : U" ";
        }
        auto const story = Kernel::MakeCounted<Story::Story>();
        story->ReplaceText({0, 0}, Story::GlyphString(text));
        auto const distance = static_cast<std::uint32_t>(text.size() / c_marks);
        for (std::uint32_t i = c_marks; i-- != 0;)
            story->ReplaceText({i * distance, i * distance}, Story::GlyphString(Kernel::Counted<Story::Glyph const>(
                                                                 Kernel::MakeCounted<Story::IndexMarkGlyph>(topic))));
        for (auto const& spread : document->GetDocument()->GetSpreads()) {
            frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 550, 750}));
            spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
        }
        document->GetDocument()->GetIndex().AddTopic(topic);
        frames.front()->SetStory(story);
        FrameTextNode::LinkAll(frames);
        frames.back()->EnsureTextComposed();
    }
};

Book& GetBook() {
    static Book s_book;
    return s_book;
}

// Processor time of all threads.
double Measure(auto const& operation) {
    auto const begin = std::clock();
    operation();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

void BareEdits(benchmark::State& state) {
    auto const story = GetBook().frames.front()->GetStory();
    auto const objects = story->FindObjects(story->GetAll());
    for (auto _ : state) {
        auto const copy = story->Clone();
        std::uint32_t gone = 0;
        for (auto const& object : objects) {
            copy->ReplaceText({object.index - gone, object.index - gone + 1}, {});
            ++gone;
        }
        benchmark::DoNotOptimize(copy);
    }
}

void ComposeAll(benchmark::State& state) {
    auto& book = GetBook();
    auto const& frames = book.frames;
    auto const composed = frames.front()->GetComposition();
    for (auto _ : state) {
        Story::ComposedStory anew(composed->GetStory(), composed->GetStyleSheet(), composed->GetGeometries(),
                                  composed->GetFields(), {});
        benchmark::DoNotOptimize(anew.GetFrame(frames.size() - 1));
    }
}

void Delete(benchmark::State& state) {
    auto& book = GetBook();
    for (auto _ : state) {
        auto const command = Kernel::MakeCounted<Commands::DeleteIndexTopicCommand>(
            Commands::DeleteIndexTopicCommand::Topics{book.topic});
        state.SetIterationTime(Measure([&] { book.document->Run(command); }));
        if (command->GetDeleteCommands().size() != c_marks)
            state.SkipWithError("not all marks are gone");
        book.document->Undo();
        book.frames.back()->EnsureTextComposed();
    }
}

void Undo(benchmark::State& state) {
    auto& book = GetBook();
    book.document->Run(
        Kernel::MakeCounted<Commands::DeleteIndexTopicCommand>(Commands::DeleteIndexTopicCommand::Topics{book.topic}));
    for (auto _ : state) {
        state.SetIterationTime(Measure([&] { book.document->Undo(); }));
        book.document->Redo();
        book.frames.back()->EnsureTextComposed();
    }
    book.document->Undo();
}

BENCHMARK(BareEdits)->Unit(benchmark::kMillisecond);
BENCHMARK(ComposeAll)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(Delete)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(Undo)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
