// SPDX-License-Identifier: Apache-2.0
// How fast text is composed, beside a bare loop over the same libraries: shaping by HarfBuzz and line breaks by ICU,
// nothing else; and beside Pango, when it was there at build time. One glyph is one character. Argument: the book's
// length. A book is made of words drawn by their frequency; --book FILE takes a real one.
//
// "glyphs/s" is by processor time but for lines with real_time. "busiest" is the processor time of the thread that
// worked most, over that of all.
#include "engine/story/break_iterator.h"
#include "engine/story/font.h"
#include "engine/story/pattern_dictionary.h"
#include "engine/story/word_cache.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/object_graph.h"
#include "platform/story/composition.h"
#include "platform/story/cross_reference.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <hb.h>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <unistd.h>
#ifdef REDRAFT_BENCH_PANGO
#include <pango/pangoft2.h>
#endif

namespace {

std::u32string MakeBook(std::size_t length) {
    std::mt19937 random(1);
    std::vector<std::u32string> words;
    for (int i = 0; i != 8000; ++i) {
        std::u32string word;
        for (unsigned letters = 1 + random() % 4 + random() % 7; letters != 0; --letters)
            word.push_back(U"etaoinshrdlucmfwypvbgkqjxz"[std::min(random() % 26, random() % 26)]);
        words.push_back(std::move(word));
    }
    std::u32string book;
    while (book.size() < length) {
        for (unsigned count = 30 + random() % 150; count != 0; --count) {
            // Zipf's law, roughly.
            double const u = static_cast<double>(random()) / 4294967296.0;
            book += words[static_cast<std::size_t>(8000 * u * u * u)];
            book += random() % 12 == 0 ? U", " : U" ";
        }
        book.back() = U'\n';
    }
    return book;
}

Kernel::Counted<Story::Story> MakeStory(std::u32string_view text) {
    auto glyphAtts = Kernel::MakeCounted<Story::GlyphAtts>();
    glyphAtts->Set(Story::GlyphAtt::Double::Size, 14);
    auto paragraphAtts = Kernel::MakeCounted<Story::ParagraphAtts>();
    paragraphAtts->Set(Story::ParagraphAtt::Enum::Alignment, static_cast<int>(Story::Alignment::Justify));
    auto story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    sink.SetGlyphAtts(glyphAtts);
    sink.SetParagraphAtts(paragraphAtts);
    sink.Add(text);
    sink.Flush();
    return story;
}

std::vector<Story::FrameGeometry> MakePages(std::size_t count) {
    Story::FrameGeometry page;
    page.columns = {{0, 0, 240, 900}, {264, 0, 504, 900}};
    return std::vector<Story::FrameGeometry>(count, page);
}

Kernel::Counted<Story::ComposedStory> Compose(Kernel::Counted<Story::Story> const& story,
                                              Kernel::Counted<Story::ComposedStory> const& earlier = {}) {
    return Kernel::MakeCounted<Story::ComposedStory>(Story::StoryRef(story), nullptr,
                                                     MakePages(story->GetLength() / 2000 + 10),
                                                     Story::FieldDataSourceRef(), earlier);
}

std::size_t ShapeBare(Story::Story const& story, hb_font_t* font) {
    std::size_t count = 0;
    auto* const buffer = hb_buffer_create();
    Story::Utf16Text utf16;
    auto* const lines = Story::BreakIterator::Get(UBRK_LINE, "en");
    for (std::size_t i = 0; i != story.GetParagraphCount(); ++i) {
        auto const text = story.GetParagraph(i)->GetText();
        hb_buffer_clear_contents(buffer);
        hb_buffer_add_utf32(buffer, reinterpret_cast<std::uint32_t const*>(text.data()), static_cast<int>(text.size()),
                            0, static_cast<int>(text.size()));
        hb_buffer_set_direction(buffer, HB_DIRECTION_LTR);
        hb_buffer_set_script(buffer, HB_SCRIPT_LATIN);
        hb_buffer_set_language(buffer, hb_language_from_string("en", 2));
        hb_shape(font, buffer, nullptr, 0);
        count += hb_buffer_get_length(buffer);
        utf16.Assign(text);
        lines->SetText(utf16);
        while (lines->Next() != UBRK_DONE)
            ++count;
    }
    hb_buffer_destroy(buffer);
    return count;
}

struct Book {
    Kernel::Counted<Story::Story> story;
    std::size_t length = 0;
};

std::u32string s_realBook;

Book const& GetBook(benchmark::State const& state) {
    static std::map<std::int64_t, Book> s_books;
    auto& book = s_books[state.range(0)];
    if (!book.story) {
        book.story = MakeStory(s_realBook.empty() ? MakeBook(static_cast<std::size_t>(state.range(0))) : s_realBook);
        book.length = book.story->GetLength();
    }
    return book;
}

void CountGlyphs(benchmark::State& state, Book const& book) {
    state.counters["glyphs/s"] = benchmark::Counter(
        static_cast<double>(book.length) * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

double GetSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void ComposeOn(benchmark::State& state, Kernel::Counted<Story::Story> const& story, unsigned threads) {
    Kernel::Dispatch::SetThreadCount(threads);
    // The time of earlier stories' end belongs to their makers.
    Kernel::Counted<Story::ComposedStory> composed;
    double own = 0, all = 0;
    for (auto _ : state) {
        double const ownBegin = GetSeconds(CLOCK_THREAD_CPUTIME_ID), allBegin = GetSeconds(CLOCK_PROCESS_CPUTIME_ID);
        composed = Compose(story);
        composed->Compose({});
        own += GetSeconds(CLOCK_THREAD_CPUTIME_ID) - ownBegin;
        all += GetSeconds(CLOCK_PROCESS_CPUTIME_ID) - allBegin;
    }
    CountGlyphs(state, GetBook(state));
    state.counters["bytes/glyph"] =
        static_cast<double>(composed->GetMemoryUse()) / static_cast<double>(GetBook(state).length);
    state.counters["busiest"] = std::max(own, all - own) / all;
}

Kernel::Counted<Story::Story> GetFormatted(benchmark::State& state, bool hyphenates, Story::LineBreaking breaking) {
    auto const story = GetBook(state).story->Clone();
    story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Breaking, static_cast<int>(breaking)));
    story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Hyphenate, hyphenates ? 1 : 0));
    return story;
}

void FloorOfCompose(benchmark::State& state) {
    auto const& book = GetBook(state);
    auto const fonts = Story::FontStack::Get({"", "en", 400, 100, false});
    for (auto _ : state)
        benchmark::DoNotOptimize(ShapeBare(*book.story, fonts->GetPrimary()->GetFont()));
    CountGlyphs(state, book);
}
BENCHMARK(FloorOfCompose)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

void ComposeTotalFit(benchmark::State& state) { ComposeOn(state, GetBook(state).story, 1); }
BENCHMARK(ComposeTotalFit)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

// Every word is new: what a program's first story costs.
void ComposeTotalFitFirst(benchmark::State& state) {
    Kernel::Dispatch::SetThreadCount(1);
    for (auto _ : state) {
        Story::WordCache::Clear();
        Compose(GetBook(state).story)->Compose({});
    }
    CountGlyphs(state, GetBook(state));
}
BENCHMARK(ComposeTotalFitFirst)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

void ComposeTotalFitWithoutWords(benchmark::State& state) {
    Story::WordCache::SetEnabled(false);
    ComposeOn(state, GetBook(state).story, 1);
    Story::WordCache::SetEnabled(true);
}
BENCHMARK(ComposeTotalFitWithoutWords)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

void ComposeGreedy(benchmark::State& state) {
    ComposeOn(state, GetFormatted(state, false, Story::LineBreaking::Greedy), 1);
}
BENCHMARK(ComposeGreedy)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

void ComposeHyphenated(benchmark::State& state) {
    ComposeOn(state, GetFormatted(state, true, Story::LineBreaking::TotalFit), 1);
}
BENCHMARK(ComposeHyphenated)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);

// The cost of the first German word of a process: the library compiles the patterns, or they come from the cache.
void LoadPatterns(benchmark::State& state, bool isCached) {
    constexpr char c_german[] = "/usr/share/hyphen/hyph_de_DE.dic";
    auto const folder = std::filesystem::temp_directory_path() / ("bench-patterns-" + std::to_string(getpid()));
    if (isCached)
        Story::PatternDictionary::Load(c_german, folder.string());
    for (auto _ : state) {
        auto const dictionary = Story::PatternDictionary::Load(c_german, isCached ? folder.string() : "");
        if (!dictionary || dictionary->IsFromCache() != isCached)
            state.SkipWithError("no German dictionary, or no cache of it");
        benchmark::DoNotOptimize(dictionary.get());
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK_CAPTURE(LoadPatterns, compiled, false)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(LoadPatterns, cached, true)->Unit(benchmark::kMillisecond);

#ifdef REDRAFT_BENCH_PANGO
void LayOutWithPango(std::vector<std::string> const& paragraphs) {
    auto* const map = pango_ft2_font_map_new();
    auto* const context = pango_font_map_create_context(map);
    auto* const description = pango_font_description_from_string("Serif 10.5");
    for (auto const& paragraph : paragraphs) {
        auto* const layout = pango_layout_new(context);
        pango_layout_set_font_description(layout, description);
        pango_layout_set_width(layout, 240 * PANGO_SCALE);
        pango_layout_set_justify(layout, 1);
        pango_layout_set_text(layout, paragraph.data(), static_cast<int>(paragraph.size()));
        benchmark::DoNotOptimize(pango_layout_get_line_count(layout));
        g_object_unref(layout);
    }
    pango_font_description_free(description);
    g_object_unref(context);
    g_object_unref(map);
}

void PeerOfCompose(benchmark::State& state) {
    auto const& book = GetBook(state);
    std::vector<std::string> paragraphs;
    for (std::size_t i = 0; i != book.story->GetParagraphCount(); ++i) {
        auto const text = book.story->GetParagraph(i)->GetText();
        paragraphs.push_back(Story::EncodeUtf8(text.substr(0, text.size() - 1)));
    }
    for (auto _ : state)
        LayOutWithPango(paragraphs);
    CountGlyphs(state, book);
}
BENCHMARK(PeerOfCompose)->Arg(500'000)->Arg(3'000'000)->Unit(benchmark::kMillisecond);
#endif

// One word in the middle, and its page again.
void ChangeAWord(benchmark::State& state) {
    Kernel::Dispatch::SetThreadCount(1);
    auto const length = static_cast<std::uint32_t>(GetBook(state).length);
    auto composed = Compose(GetBook(state).story);
    composed->Compose({});
    std::uint32_t at = length / 2;
    double worst = 0;
    for (auto _ : state) {
        state.PauseTiming();
        at = length / 2 + (at + 97) % (length / 4);
        std::size_t page = 0;
        while (composed->GetFrame(page)->GetRange().end <= at)
            ++page;
        state.ResumeTiming();
        double const begin = GetSeconds(CLOCK_MONOTONIC);
        auto const next = composed->GetStory()->Clone();
        next->ReplaceText({at, at + 5}, Story::GlyphString(U"change"));
        auto const later = Compose(next, composed);
        later->GetFrame(page);
        worst = std::max(worst, GetSeconds(CLOCK_MONOTONIC) - begin);
        state.PauseTiming();
        composed = later;
        composed->Compose({});
        state.ResumeTiming();
    }
    state.counters["worst ms"] = worst * 1e3;
}
BENCHMARK(ChangeAWord)->Arg(3'000'000)->Unit(benchmark::kMillisecond)->Iterations(50);

// Fields

class OneValue final : public Story::FieldDataSource {
public:
    explicit OneValue(std::string value) : m_value(std::move(value)) {}
    std::optional<Kernel::String> GetCustomFieldValue(Kernel::String const&) const override { return m_value; }

private:
    Kernel::String m_value;
};

// A book with a field in every so many glyphs.
Kernel::Counted<Story::Story> MakeBookWithFields(std::size_t length, std::size_t count) {
    auto const text = MakeBook(length);
    auto story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    auto const size = Story::MakeDelta(Story::GlyphAtt::Double::Size, 14)->GetValues().glyphAtts;
    sink.SetGlyphAtts(size);
    for (std::size_t i = 0; i != count; ++i) {
        auto const begin = text.size() / count * i;
        sink.Add(std::u32string_view(text).substr(begin, text.size() / count));
        sink.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::CustomFieldGlyph>("field")));
    }
    if (count == 0)
        sink.Add(text);
    sink.Flush();
    return story;
}

// A field that stands 1,000 times: its value changes, and a page is shown again. Argument: how far into the book the
// page is, in percent.
void ChangeAField(benchmark::State& state) {
    Kernel::Dispatch::SetThreadCount(1);
    auto const story = MakeBookWithFields(3'000'000, 1000);
    auto const pages = MakePages(story->GetLength() / 2000 + 10);
    auto const compose = [&](int value, Kernel::Counted<Story::ComposedStory> const& earlier) {
        return Kernel::MakeCounted<Story::ComposedStory>(
            Story::StoryRef(story), nullptr, pages,
            Story::FieldDataSourceRef(Kernel::MakeCounted<OneValue>("value " + std::to_string(value))), earlier);
    };
    auto composed = compose(0, {});
    composed->Compose({});
    auto const page = composed->FindFrame(
        static_cast<std::uint32_t>(story->GetLength() * static_cast<std::uint64_t>(state.range(0)) / 100));
    int value = 10;
    for (auto _ : state) {
        auto later = compose(++value, composed);
        later->GetFrame(page);
        state.PauseTiming();
        later->Compose({});
        composed = later;
        state.ResumeTiming();
    }
}
BENCHMARK(ChangeAField)->Arg(0)->Arg(50)->Arg(99)->Unit(benchmark::kMillisecond)->Iterations(20);

// Fields are looked for in a book of 3 million glyphs. Argument: how many there are. The floor asks each glyph.
void FindFields(benchmark::State& state) {
    auto const story = MakeBookWithFields(3'000'000, static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::vector<Story::StoryPos> found;
        story->gbegin().BaseCollectIf(found, story->gend(), Story::GlyphPredicateAdaptor<Story::IsFieldGlyph>());
        if (found.size() != static_cast<std::size_t>(state.range(0)))
            state.SkipWithError("not all fields were found");
    }
}
BENCHMARK(FindFields)->Arg(0)->Arg(10'000)->Unit(benchmark::kMicrosecond);

void FloorOfFindFields(benchmark::State& state) {
    auto const story = MakeBookWithFields(3'000'000, 10'000);
    for (auto _ : state) {
        std::size_t found = 0;
        for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
            auto const text = story->GetParagraph(i)->GetText();
            found += static_cast<std::size_t>(std::count(text.begin(), text.end(), Story::c_objectCharacter));
        }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(FloorOfFindFields)->Unit(benchmark::kMicrosecond);

// 10,000 references get another text each, in one version. The floor makes as many glyphs.
void ChangeReferences(benchmark::State& state) {
    std::vector<std::uint32_t> places;
    std::vector<Story::ObjectAt> objects;
    auto const book = MakeBookWithFields(3'000'000, 10'000);
    for (auto const& object : book->FindObjects(book->GetAll())) {
        places.push_back(object.index);
        objects.push_back({object.index, Kernel::MakeCounted<Story::CrossReferenceGlyph>()});
    }
    book->ReplaceObjects(objects);
    for (auto _ : state) {
        auto const next = book->Clone();
        auto const glyphs = next->GetMutableGlyphs(places);
        for (auto const& glyph : glyphs)
            static_cast<Story::CrossReferenceGlyph*>(glyph.get())->SetText("page 7");
    }
}
BENCHMARK(ChangeReferences)->Unit(benchmark::kMillisecond);

void FloorOfChangeReferences(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Kernel::Counted<Story::CrossReferenceGlyph>> glyphs;
        for (int i = 0; i != 10'000; ++i) {
            glyphs.push_back(Kernel::MakeCounted<Story::CrossReferenceGlyph>());
            glyphs.back()->SetText("page 7");
        }
        benchmark::DoNotOptimize(glyphs.data());
    }
}
BENCHMARK(FloorOfChangeReferences)->Unit(benchmark::kMillisecond);

// Versions on file

std::size_t GetMemory() {
    std::ifstream in("/proc/self/statm");
    std::size_t all = 0, resident = 0;
    in >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// A book with so many versions, each a word apart from the one before, comes from memory as from a file. "MB beyond" is
// what the versions take beyond what one takes.
void ReloadVersions(benchmark::State& state) {
    auto story = MakeBookWithFields(3'200'000, 0);
    std::vector<Kernel::Counted<Kernel::Serialisable const>> roots{story};
    for (std::int64_t i = 0; i != state.range(0); ++i) {
        story = story->Clone();
        auto const at = static_cast<std::uint32_t>(i * 7919 % 3'000'000);
        story->ReplaceText({at, at + 5}, Story::GlyphString(U"other"));
        roots.emplace_back(story);
    }
    Kernel::MemoryChunkStorage storage;
    {
        Kernel::ObjectGraph graph;
        graph.Save(roots, storage);
    }
    std::size_t size = 0;
    for (auto const id : storage.ListChunks())
        size += storage.ReadChunk(id).size();
    std::size_t const before = GetMemory();
    double most = 0;
    for (auto _ : state) {
        Kernel::ObjectGraph graph;
        Kernel::FileStore files;
        auto const loaded = graph.Load(storage, files);
        most = std::max(most, static_cast<double>(GetMemory()) - static_cast<double>(before));
        state.PauseTiming();
        // What is shown is asked for its text.
        benchmark::DoNotOptimize(Kernel::Cast<Story::Story>(loaded.back())->GetLength());
        state.ResumeTiming();
    }
    state.counters["MB file"] = static_cast<double>(size) / 1e6;
    state.counters["MB"] = most / 1e6;
}
BENCHMARK(ReloadVersions)->Arg(0)->Arg(4000)->Unit(benchmark::kMillisecond)->Iterations(5);

// Last: counts of references are dearer once a process has had a second thread.
void ComposeOnThreads(benchmark::State& state) {
    ComposeOn(state, GetBook(state).story, static_cast<unsigned>(state.range(1)));
}
BENCHMARK(ComposeOnThreads)
    ->ArgsProduct({{500'000, 3'000'000}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

std::u32string ReadBook(char const* file) {
    std::ifstream in(file, std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(in), {}};
    auto text = Story::DecodeUtf8(bytes).text;
    std::erase(text, U'\r');
    // Lines of one paragraph together.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == U'\n' && text[i + 1] != U'\n' && (i == 0 || text[i - 1] != U'\n'))
            text[i] = U' ';
    }
    return text;
}

} // namespace

int main(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (count == 3 && std::strcmp(arguments[1], "--book") == 0)
        s_realBook = ReadBook(arguments[2]);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
