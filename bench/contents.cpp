// SPDX-License-Identifier: Apache-2.0
// How long does a table of contents of 764 lines take, from a book that nobody has composed to page numbers that hold,
// and how long when nothing has changed? The floor, in the same run: one composition of the same book.
#include "platform/document/alter_toc_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/story/generated_text.h"

#include <benchmark/benchmark.h>
#include <random>

namespace {

constexpr int c_pages = 900;
constexpr int c_headings = 764;

// A made-up book of chapters, each of some paragraphs of some hundred letters.
Kernel::Counted<Story::Story> MakeBook() {
    std::mt19937 random{14};
    auto const heading = Kernel::MakeCounted<Story::ParagraphAtts>();
    heading->Set(Story::ParagraphAtt::String::StyleName, "Heading 1");
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    for (int chapter = 0; chapter != c_headings; ++chapter) {
        sink.SetParagraphAtts(heading);
        sink.Add(U"Chapter of many things");
        sink.Add(U"\n");
        sink.SetParagraphAtts(Story::ParagraphAtts::GetDefault());
        for (int letters = 0; letters < 4000;) {
            auto const length = 2 + static_cast<int>(random() % 9);
            for (int i = 0; i != length; ++i)
                sink.Add(static_cast<char32_t>(U'a' + random() % 26));
            sink.Add(random() % 90 == 0 ? U'\n' : U' ');
            letters += length + 1;
        }
        sink.Add(U"\n");
    }
    sink.Flush();
    return story;
}

struct Book {
    Kernel::Counted<DocumentController> document =
        DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, c_pages);
    std::vector<Kernel::Counted<FrameTextNode>> frames;

    Book() {
        static auto const s_story = MakeBook();
        auto styles = Story::StyleSheet::GetEmpty()->With(Kernel::MakeCounted<Story::Style>(
            "Heading 1", Story::StyleType::Paragraph, Kernel::String(), Story::DeltaRef()));
        document->GetDocument()->SetTextStyleSheet(styles);
        for (auto const& spread : document->GetDocument()->GetSpreads()) {
            frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 550, 750}));
            frames.back()->SetColumns(2, 12);
            spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
        }
        frames.front()->SetStory(s_story);
        FrameTextNode::LinkAll(frames);
    }
    void Insert() {
        auto const place =
            Kernel::MakeCounted<Selection const>(frames.front(), Kernel::MakeCounted<TextSelection>(0, 0));
        document->Run(AlterTocCommand::MakeInsertToc(Kernel::MakeCounted<Story::TocAtt>("Contents", 1u), place));
    }
};

// One composition of the book without contents.
void BM_Composition(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto const book = std::make_unique<Book>();
        state.ResumeTiming();
        book->frames.back()->EnsureTextComposed();
    }
}
BENCHMARK(BM_Composition)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// The contents of a book that nobody has composed, until no page moves.
void BM_Contents(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto const book = std::make_unique<Book>();
        state.ResumeTiming();
        book->Insert();
    }
}
BENCHMARK(BM_Contents)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

// The same of a book that is composed already: an update when nothing has changed.
void BM_UpdateOfNothing(benchmark::State& state) {
    static Book s_book;
    static bool const s_isReady = [] {
        s_book.Insert();
        s_book.frames.back()->EnsureTextComposed();
        return true;
    }();
    static_cast<void>(s_isReady);
    for (auto _ : state)
        s_book.document->Run(AlterTocCommand::MakeUpdateTocs());
}
BENCHMARK(BM_UpdateOfNothing)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace

BENCHMARK_MAIN();
