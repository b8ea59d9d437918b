// SPDX-License-Identifier: Apache-2.0
// How long does a novel of 3.2 million characters take to become an e-book? The floor, in the same run: zlib on its
// text, at the level that the book is compressed with.
#include "platform/epub/flowing_epub_exporter.h"
#include "platform/kernel/files.h"
#include "platform/story/paragraph.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <random>
#include <zlib.h>

namespace {

constexpr std::uint32_t c_length = 3'200'000;
constexpr char c_path[] = "/tmp/redraft-bench.epub";

// Words as often as in a language (Zipf's law), in paragraphs of some hundred letters and chapters.
Kernel::Counted<Story::Story> MakeNovel() {
    std::mt19937 random{7};
    std::vector<std::u32string> words(8000);
    for (auto& word : words) {
        for (auto length = 2 + random() % 9; length != 0; --length)
            word += static_cast<char32_t>(U'a' + random() % 26);
    }
    auto const heading = Kernel::MakeCounted<Story::ParagraphAtts>();
    heading->Set(Story::ParagraphAtt::String::StyleName, "Heading 1");
    auto const italic = Kernel::MakeCounted<Story::GlyphAtts>();
    italic->Set(Story::GlyphAtt::Enum::Italic, 1);
    auto const story = Kernel::MakeCounted<Story::Story>();
    Story::GlyphSink sink(story);
    std::uniform_real_distribution<double> uniform(0, 1);
    std::uint32_t length = 0;
    for (int paragraph = 0; length < c_length; ++paragraph) {
        bool const isHeading = paragraph % 60 == 0;
        sink.SetParagraphAtts(isHeading ? Story::ParagraphAttsRef(heading) : Story::ParagraphAtts::GetDefault());
        for (auto count = isHeading ? 3 : 40 + random() % 120; count != 0; --count) {
            auto const rank = static_cast<std::size_t>(std::pow(8000, uniform(random))) - 1;
            sink.SetGlyphAtts(random() % 60 == 0 ? Story::GlyphAttsRef(italic) : Story::GlyphAtts::GetDefault());
            sink.Add(words[rank]);
            sink.Add(U' ');
            length += static_cast<std::uint32_t>(words[rank].size()) + 1;
        }
        sink.Add(Story::c_paragraphSeparator);
    }
    sink.Flush();
    return story;
}

Kernel::Counted<Story::Story> const& GetNovel() {
    static auto const s_novel = MakeNovel();
    return s_novel;
}

void WriteEPub(benchmark::State& state) {
    auto const& novel = GetNovel();
    auto const settings = Kernel::MakeCounted<EPub::ExportSettings>();
    settings->title = "Novel";
    settings->identifier = "urn:uuid:00000000-0000-8000-8000-000000000000";
    settings->modified = "2000-01-01T00:00:00Z";
    settings->styles = Story::StyleSheet::GetEmpty()->With(Kernel::MakeCounted<Story::Style>(
        "Heading 1", Story::StyleType::Paragraph, Kernel::String(), Story::DeltaRef()));
    for (auto _ : state) {
        EPub::FlowingEPubExporter exporter(settings, {});
        exporter.Start(c_path, {});
        if (!exporter.ExportStory(novel, novel->gend(), "Story1.xhtml", {}) || !exporter.Finish())
            state.SkipWithError("the book cannot be written");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * novel->GetLength());
    std::remove(c_path);
}
BENCHMARK(WriteEPub)->Unit(benchmark::kMillisecond);

void CompressText(benchmark::State& state) {
    auto const text = Story::EncodeUtf8(GetNovel()->GetText(GetNovel()->GetAll()));
    std::vector<Bytef> target(compressBound(text.size()));
    for (auto _ : state) {
        uLongf size = target.size();
        compress2(target.data(), &size, reinterpret_cast<Bytef const*>(text.data()), text.size(), 6);
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(CompressText)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
