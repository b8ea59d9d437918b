// SPDX-License-Identifier: Apache-2.0
// How long does one wait for a page after an edit in a long text, in 853 linked frames? Edits of words, of a field that
// is shown a thousand times, and of ten thousand references. The floors, in the same run: the edit of the story alone,
// a search in a sorted array, and a plain loop that writes the same texts into an array of strings.
#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/document/update_cross_references_command.h"
#include "platform/story/field_glyphs.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>

namespace {

constexpr int c_frames = 853;
constexpr std::size_t c_visiblePage = 400;

// A made-up book: paragraphs of some hundred letters. As in a novel the most frequent word is twice as frequent as the
// second and three times as the third, and so on through a vocabulary of 20,000.
std::u32string MakeWords(std::size_t length) {
    constexpr std::size_t c_vocabulary = 20'000;
    std::mt19937 random{11};
    std::vector<std::u32string> words(c_vocabulary);
    std::vector<double> upTo;
    double all = 0;
    for (auto& word : words) {
        auto const letters = 2 + random() % 9;
        for (std::size_t i = 0; i != letters; ++i)
            word.push_back(U'a' + random() % 26);
        upTo.push_back(all += 1.0 / static_cast<double>(upTo.size() + 1));
    }
    std::u32string text;
    while (text.size() < length) {
        double const place = all * static_cast<double>(random()) / 4294967296.0;
        text += words[static_cast<std::size_t>(std::upper_bound(upTo.begin(), upTo.end(), place) - upTo.begin())];
        text.push_back(random() % 90 == 0 ? U'\n' : U' ');
    }
    return text;
}

struct Book {
    Kernel::Counted<DocumentController> document;
    std::vector<Kernel::Counted<FrameTextNode>> frames;

    Book() : document(DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, c_frames)) {
        for (auto const& spread : document->GetDocument()->GetSpreads()) {
            frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{50, 50, 550, 750}));
            frames.back()->SetColumns(2, 12);
            spread->InsertChild(NodeChildListType::Plain, frames.back(), nullptr);
        }
        frames.front()->SetText(Story::GlyphString(MakeWords(3'200'000)), {}, {});
        FrameTextNode::LinkAll(frames);
        frames.back()->EnsureTextComposed();
    }
    TextNode& Head() { return *frames.front(); }
    // Every so many glyphs one of `make(number)`.
    template <class Make>
    void Insert(std::uint32_t count, Make const& make) {
        auto const story = Head().GetMutableStory(true);
        auto const step = story->GetLength() / (count + 1);
        for (auto left = count; left != 0; --left)
            story->ReplaceText({left * step, left * step}, Story::GlyphString(make(left - 1)));
        Head().OnStoryChange(nullptr, true, Story::StoryChange(false), false);
        frames.back()->EnsureTextComposed();
    }
};

Book& GetPlain() {
    static Book s_book;
    return s_book;
}

void FloorOfEdit(benchmark::State& state) {
    auto& book = GetPlain();
    auto const at = book.frames[c_visiblePage]->MakeComposedText()->GetRange().begin + 200;
    auto const story = book.Head().GetStory();
    for (auto _ : state) {
        auto const edited = story->Clone();
        benchmark::DoNotOptimize(edited->ReplaceText({at, at + 3}, Story::GlyphString(U"new")));
    }
}
BENCHMARK(FloorOfEdit)->Unit(benchmark::kMillisecond);

void EditAndShowPage(benchmark::State& state) {
    auto& book = GetPlain();
    auto& frame = *book.frames[c_visiblePage];
    auto const at = frame.MakeComposedText()->GetRange().begin + 200;
    char32_t letter = U'a';
    for (auto _ : state) {
        book.Head().OnStoryChange(nullptr, false, Story::StoryChange(false), false);
        auto const story = frame.GetMutableStory(true);
        letter = letter == U'z' ? U'a' : letter + 1;
        story->ReplaceText({at, at + 1}, Story::GlyphString(std::u32string_view(&letter, 1)));
        frame.OnStoryChange(nullptr, true, Story::StoryChange(false), false);
        benchmark::DoNotOptimize(frame.MakeComposedText());
    }
}
BENCHMARK(EditAndShowPage)->Unit(benchmark::kMillisecond);

void FloorOfFindingFrames(benchmark::State& state) {
    auto& book = GetPlain();
    std::vector<std::uint32_t> ends;
    book.frames.back()->EnsureTextComposed();
    for (auto const& frame : book.frames)
        ends.push_back(frame->MakeComposedText()->GetRange().end);
    std::uint32_t at = 0;
    for (auto _ : state) {
        at = (at * 7919 + 13) % ends.back();
        benchmark::DoNotOptimize(std::upper_bound(ends.begin(), ends.end(), at));
    }
}
BENCHMARK(FloorOfFindingFrames);

void FindFrames(benchmark::State& state) {
    auto& book = GetPlain();
    book.frames.back()->EnsureTextComposed();
    auto const flow = book.Head().GetTextFlow();
    auto const length = book.Head().GetStory()->GetLength();
    std::uint32_t at = 0;
    for (auto _ : state) {
        at = (at * 7919 + 13) % length;
        benchmark::DoNotOptimize(flow->FindNode(at));
    }
}
BENCHMARK(FindFrames);

// A field that stands in the text a thousand times.
Book& GetWithFields() {
    static Book s_book;
    static bool const s_filled = [] {
        s_book.document->GetDocument()->GetCustomFieldSource().AddField("field", "Field", "value");
        s_book.Insert(1000, [](std::uint32_t) {
            return Kernel::Counted<Story::Glyph const>(
                Kernel::MakeCounted<Story::CustomFieldGlyph>(Kernel::String("field")));
        });
        return true;
    }();
    static_cast<void>(s_filled);
    return s_book;
}

void FloorOfFieldValue(benchmark::State& state) {
    auto& book = GetWithFields();
    auto const story = book.Head().GetStory();
    std::vector<std::string> shown(1000);
    for (auto _ : state) {
        std::size_t at = 0;
        story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const&) {
            shown[at++] = "another value";
            return true;
        });
        benchmark::DoNotOptimize(shown.data());
    }
}
BENCHMARK(FloorOfFieldValue)->Unit(benchmark::kMillisecond);

void SetFieldValueAndShowPage(benchmark::State& state) {
    auto& book = GetWithFields();
    auto& source = book.document->GetDocument()->GetCustomFieldSource();
    std::size_t const page = static_cast<std::size_t>(state.range(0));
    bool other = false;
    for (auto _ : state) {
        other = !other;
        source.SetFieldValue("field", other ? "another value" : "value");
        benchmark::DoNotOptimize(book.frames[page]->MakeComposedText());
    }
}
// The first page, and one in the middle, to which everything in front of it has to be laid out again.
BENCHMARK(SetFieldValueAndShowPage)->Arg(0)->Arg(c_visiblePage)->Unit(benchmark::kMillisecond);

constexpr std::uint32_t c_references = 10'000;

struct References {
    References() {
        anchor = Kernel::MakeCounted<Story::AnchorData>("anchor", "Anchor");
        auto const att = Kernel::MakeCounted<Story::CrossReferenceAtt const>("Style", "p. {page}");
        book.Insert(c_references, [&](std::uint32_t number) {
            return number == c_references / 2
                       ? Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::AnchorGlyph>(anchor))
                       : Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::CrossReferenceGlyph>(
                             att, Story::CrossReferenceTargetType::Page, anchor, false));
        });
    }
    Book book;
    Kernel::Counted<Story::AnchorData> anchor;
};

References& GetReferences() {
    static References s_references;
    return s_references;
}

void FloorOfReferences(benchmark::State& state) {
    auto const story = GetReferences().book.Head().GetStory();
    std::vector<std::string> shown(c_references);
    for (auto _ : state) {
        std::size_t at = 0;
        story->VisitObjects(story->GetAll(), [&](std::uint32_t, Kernel::Counted<Story::Glyph const> const&) {
            shown[at++] = "p. 427";
            return true;
        });
        benchmark::DoNotOptimize(shown.data());
    }
}
BENCHMARK(FloorOfReferences)->Unit(benchmark::kMillisecond);

// All references are out of date, or none is. The composition that pages are asked of is not counted.
void UpdateReferences(benchmark::State& state) {
    auto& references = GetReferences();
    auto& book = references.book;
    auto const stale = book.Head().GetStory();
    bool const areStale = state.range(0) != 0;
    if (!areStale)
        book.document->Run(
            Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), false, true));
    for (auto _ : state) {
        state.PauseTiming();
        book.frames.back()->EnsureTextComposed();
        state.ResumeTiming();
        book.document->Run(
            Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), false, true));
        state.PauseTiming();
        if (areStale)
            book.document->Undo();
        state.ResumeTiming();
    }
    book.Head().SetStory(stale);
}
BENCHMARK(UpdateReferences)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

void UndoUpdateOfReferences(benchmark::State& state) {
    auto& book = GetReferences().book;
    for (auto _ : state) {
        state.PauseTiming();
        book.document->Run(
            Kernel::MakeCounted<UpdateCrossReferencesCommand>(Kernel::Counted<Selection const>(), false, true));
        state.ResumeTiming();
        book.document->Undo();
    }
}
BENCHMARK(UndoUpdateOfReferences)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
