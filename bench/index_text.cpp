// SPDX-License-Identifier: Apache-2.0
// How long does the text of an index of 5,000 topics and 100,000 marks take? The floor, in the same run: sorting the
// names alone by ICU's keys. The peer: the whole process of makeindex on the same pairs, where it is installed
// (texlive-binaries).
#include "platform/story/index_text.h"
#include "platform/document/document_controller.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <unicode/coll.h>
#include <unistd.h>

namespace {

constexpr int c_topics = 5'000, c_marks = 100'000, c_pages = 900;

struct Book {
    Kernel::Counted<DocumentController> document = DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 1);
    std::vector<std::string> names;
    // Topic and page.
    std::vector<std::pair<int, int>> marks;
    Story::IndexedPages pages;

    Book() {
        std::mt19937 random{14};
        auto& index = document->GetDocument()->GetIndex();
        std::vector<Kernel::Counted<Story::IndexTopic const>> topics;
        for (int i = 0; i != c_topics; ++i) {
            std::string name;
            for (auto letters = 3 + random() % 9; letters != 0; --letters)
                name.push_back(static_cast<char>('a' + random() % 26));
            names.push_back(name);
            auto const topic = Kernel::MakeCounted<Story::IndexTopic>(Kernel::String(name));
            index.AddTopic(topic);
            topics.emplace_back(topic);
        }
        for (int i = 0; i != c_marks; ++i) {
            marks.emplace_back(static_cast<int>(random() % c_topics), 1 + static_cast<int>(random() % c_pages));
            auto const number = static_cast<std::size_t>(marks.back().second);
            pages[topics[static_cast<std::size_t>(marks.back().first)].get()].push_back(
                {number, Kernel::String(std::to_string(number)), Kernel::String()});
        }
    }
};

Book const& GetBook() {
    static Book const s_book;
    return s_book;
}

void Floor(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> const collator(icu::Collator::createInstance(icu::Locale::getEnglish(), status));
    for (auto _ : state) {
        std::vector<std::string> keys;
        for (auto const& name : GetBook().names) {
            auto const text = icu::UnicodeString::fromUTF8(name);
            std::string key(static_cast<std::size_t>(collator->getSortKey(text, nullptr, 0)), '\0');
            collator->getSortKey(text, reinterpret_cast<std::uint8_t*>(key.data()),
                                 static_cast<std::int32_t>(key.size()));
            keys.push_back(std::move(key));
        }
        std::sort(keys.begin(), keys.end());
        benchmark::DoNotOptimize(keys);
    }
}

void Text(benchmark::State& state) {
    auto const& book = GetBook();
    auto const att = Kernel::MakeCounted<Story::IndexAtt const>(Kernel::String("i"), Kernel::String("Index"));
    for (auto _ : state)
        benchmark::DoNotOptimize(Story::MakeIndexText(book.document->GetDocument()->GetIndex(), book.pages, {}, att,
                                                      *Story::StyleSheet::GetEmpty()));
}

void TextInAStory(benchmark::State& state) {
    auto const& book = GetBook();
    auto const att = Kernel::MakeCounted<Story::IndexAtt const>(Kernel::String("i"), Kernel::String("Index"));
    for (auto _ : state) {
        auto const story = Kernel::MakeCounted<Story::Story>();
        Story::ReplaceWithParagraphs(*story, {0, 0},
                                     Story::MakeIndexText(book.document->GetDocument()->GetIndex(), book.pages, {}, att,
                                                          *Story::StyleSheet::GetEmpty()));
    }
}

void Makeindex(benchmark::State& state) {
    if (std::system("command -v makeindex > /dev/null") != 0) {
        state.SkipWithError("makeindex is not installed");
        return;
    }
    auto const folder = std::filesystem::temp_directory_path() / ("bench-index-text-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    {
        std::ofstream file(folder / "book.idx");
        for (auto const& [topic, page] : GetBook().marks)
            file << "\\indexentry{" << GetBook().names[static_cast<std::size_t>(topic)] << "}{" << page << "}\n";
    }
    auto const command = "cd '" + folder.string() + "' && makeindex -q book.idx";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("makeindex failed");
            break;
        }
    }
    std::filesystem::remove_all(folder);
}

BENCHMARK(Floor)->Unit(benchmark::kMillisecond);
BENCHMARK(Text)->Unit(benchmark::kMillisecond);
BENCHMARK(TextInAStory)->Unit(benchmark::kMillisecond);
BENCHMARK(Makeindex)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
