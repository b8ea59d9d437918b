// SPDX-License-Identifier: Apache-2.0
// How long does a novel of 3.2 million letters take as RTF and as plain text, beyond loading it? The floors, in the
// same run: copying the text, and encoding it as UTF-8. Its first argument may be the path of a UTF-8 text in place of
// the made-up one.
#include "platform/story/note.h"
#include "platform/story/story_to_rtf.h"
#include "platform/story/unicode_story_exporter.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

namespace {

Kernel::Counted<Story::Story> s_novel;

// Paragraphs of some hundred letters, each tenth with words in italics and each hundredth with a note.
Kernel::Counted<Story::Story> MakeNovel() {
    std::mt19937 random{15};
    auto const story = Kernel::MakeCounted<Story::Story>();
    auto italic = Kernel::MakeCounted<Story::GlyphAtts>();
    italic->Set(Story::GlyphAtt::Enum::Italic, 1);
    auto const note = Kernel::MakeCounted<Story::Story>();
    note->ReplaceText({0, 0}, Story::GlyphString(U"a note of some words"));
    Story::GlyphSink sink(story);
    for (int paragraph = 0, letters = 0; letters < 3'200'000; ++paragraph) {
        for (auto words = 20 + random() % 100; words != 0; --words) {
            sink.SetGlyphAtts(paragraph % 10 == 0 && words % 7 == 0 ? Story::GlyphAttsRef(italic)
                                                                    : Story::GlyphAtts::GetDefault());
            auto const length = 2 + random() % 9;
            for (unsigned i = 0; i != length; ++i)
                sink.Add(random() % 60 == 0 ? U'\u00e9' : static_cast<char32_t>(U'a' + random() % 26));
            sink.Add(U' ');
            letters += static_cast<int>(length) + 1;
        }
        if (paragraph % 100 == 0)
            sink.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::NoteGlyph>(
                Story::NoteGlyph::Kind::Endnote, Kernel::Counted<Story::Story const>(note))));
        sink.Add(U'\n');
    }
    sink.Flush();
    return story;
}

void FloorOfCopying(benchmark::State& state) {
    auto const text = s_novel->GetText(s_novel->GetAll());
    std::u32string copy(text.size(), U' ');
    for (auto _ : state) {
        std::memcpy(copy.data(), text.data(), text.size() * sizeof(char32_t));
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}

void FloorOfEncoding(benchmark::State& state) {
    auto const text = s_novel->GetText(s_novel->GetAll());
    for (auto _ : state)
        benchmark::DoNotOptimize(Story::EncodeUtf8(text));
}

void Text(benchmark::State& state) {
    std::size_t size = 0;
    for (auto _ : state) {
        Story::UnicodeStoryExporter exporter({}, {}, {}, true, true);
        exporter.Visit(s_novel->Bind(s_novel->GetClientAll()));
        size = exporter.GetText().view().size();
    }
    state.counters["bytes"] = static_cast<double>(size);
}

void Rtf(benchmark::State& state) {
    constexpr double c_unitsPerPoint = 96.0 / 72;
    std::size_t size = 0;
    for (auto _ : state)
        size = Story::StoryToRtf(Story::StoryRef(s_novel), {}, {}, {}, {}, c_unitsPerPoint, c_unitsPerPoint,
                                 c_unitsPerPoint, true)
                   .size();
    state.counters["bytes"] = static_cast<double>(size);
}

BENCHMARK(FloorOfCopying)->Unit(benchmark::kMillisecond);
BENCHMARK(FloorOfEncoding)->Unit(benchmark::kMillisecond);
BENCHMARK(Text)->Unit(benchmark::kMillisecond);
BENCHMARK(Rtf)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc > 1) {
        std::ifstream file(argv[1], std::ios::binary);
        std::stringstream bytes;
        bytes << file.rdbuf();
        s_novel = Kernel::MakeCounted<Story::Story>();
        s_novel->ReplaceText({0, 0}, Story::GlyphString(Story::DecodeUtf8(bytes.str()).text));
    } else {
        s_novel = MakeNovel();
    }
    benchmark::RunSpecifiedBenchmarks();
    s_novel = {};
}
