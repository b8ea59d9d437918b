// SPDX-License-Identifier: Apache-2.0
// How fast text is composed, beside a bare loop over the same libraries: shaping by HarfBuzz and line breaks by ICU,
// nothing else. With REDRAFT_BENCH_PANGO also beside Pango, when it was there at build time.
//
// A book is made of words drawn by their frequency; --book FILE takes a real one. One glyph is one character.
#include "engine/story/break_iterator.h"
#include "engine/story/font.h"
#include "platform/kernel/dispatch.h"
#include "platform/story/composition.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <hb.h>
#include <iterator>
#include <random>
#include <string>
#ifdef REDRAFT_BENCH_PANGO
#include <pango/pangoft2.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

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
                                                     MakePages(story->GetLength() / 2000 + 10), earlier);
}

// The least that must be done: the time of the best of some rounds.
template <class F>
double Best(int rounds, F const& function) {
    double best = 1e9;
    for (int i = 0; i != rounds; ++i) {
        auto const start = Clock::now();
        function();
        best = std::min(best, SecondsSince(start));
    }
    return best;
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

#ifdef REDRAFT_BENCH_PANGO
void LayOutWithPango(std::vector<std::string> const& paragraphs) {
    auto* const map = pango_ft2_font_map_new();
    auto* const context = pango_font_map_create_context(map);
    auto* const description = pango_font_description_from_string("Liberation Serif 10.5");
    for (auto const& paragraph : paragraphs) {
        auto* const layout = pango_layout_new(context);
        pango_layout_set_font_description(layout, description);
        pango_layout_set_width(layout, 240 * PANGO_SCALE);
        pango_layout_set_justify(layout, 1);
        pango_layout_set_text(layout, paragraph.data(), static_cast<int>(paragraph.size()));
        if (pango_layout_get_line_count(layout) == 0)
            std::puts("no lines");
        g_object_unref(layout);
    }
    pango_font_description_free(description);
    g_object_unref(context);
    g_object_unref(map);
}
#endif

void Report(char const* name, double seconds, std::size_t length, double bare) {
    std::printf("  %-44s %8.1f ms %7.2f M glyphs/s %6.2f of the bare loop\n", name, seconds * 1e3,
                static_cast<double>(length) / seconds / 1e6, bare / seconds);
}

void Run(std::u32string const& book) {
    auto const story = MakeStory(book);
    auto const length = story->GetLength();
    std::printf("%u characters in %zu paragraphs\n", length, story->GetParagraphCount());
    auto const fonts = Story::FontStack::Get({"", "en", 400, 100, false});
    double const bare = Best(3, [&] { ShapeBare(*story, fonts->GetPrimary()->GetFont()); });
    Report("bare loop: HarfBuzz and ICU", bare, length, bare);
    Kernel::Counted<Story::ComposedStory> composed;
    for (unsigned const threads : {1u, 2u}) {
        Kernel::Dispatch::SetThreadCount(threads);
        auto const label = "total fit, " + std::to_string(threads) + (threads == 1 ? " thread" : " threads");
        double const time = Best(3, [&] {
            composed = Compose(story);
            composed->Compose({});
        });
        Report(label.c_str(), time, length, bare);
    }
    Kernel::Dispatch::SetThreadCount(1);
    auto const greedy = story->Clone();
    greedy->FormatText(
        *Story::MakeDelta(Story::ParagraphAtt::Enum::Breaking, static_cast<int>(Story::LineBreaking::Greedy)));
    Report("greedy, 1 thread", Best(3, [&] { Compose(greedy)->Compose({}); }), length, bare);
    greedy->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Hyphenate, 1));
    greedy->FormatText(
        *Story::MakeDelta(Story::ParagraphAtt::Enum::Breaking, static_cast<int>(Story::LineBreaking::TotalFit)));
    Report("total fit with hyphens, 1 thread", Best(3, [&] { Compose(greedy)->Compose({}); }), length, bare);
#ifdef REDRAFT_BENCH_PANGO
    std::vector<std::string> paragraphs;
    for (std::size_t i = 0; i != story->GetParagraphCount(); ++i) {
        auto const text = story->GetParagraph(i)->GetText();
        paragraphs.push_back(Story::EncodeUtf8(text.substr(0, text.size() - 1)));
    }
    Report("Pango, 1 thread", Best(2, [&] { LayOutWithPango(paragraphs); }), length, bare);
#endif
    std::printf("  memory of the composed story: %.1f bytes a glyph\n",
                static_cast<double>(composed->GetMemoryUse()) / length);

    // One word in the middle, and its page again.
    double worst = 0, sum = 0;
    int const rounds = 20;
    for (int i = 0; i != rounds; ++i) {
        std::uint32_t const at = length / 2 + static_cast<std::uint32_t>(i) * 97;
        std::size_t page = 0;
        while (composed->GetFrame(page)->GetRange().end <= at)
            ++page;
        auto const start = Clock::now();
        auto const next = composed->GetStory()->Clone();
        next->ReplaceText({at, at + 5}, Story::GlyphString(U"change"));
        auto const later = Compose(next, composed);
        later->GetFrame(page);
        double const time = SecondsSince(start);
        worst = std::max(worst, time);
        sum += time;
        composed = later;
        composed->Compose({});
    }
    std::printf("  a word changed in the middle, its page shown: %.2f ms (worst %.2f ms)\n", sum / rounds * 1e3,
                worst * 1e3);
}

} // namespace

int main(int count, char** arguments) {
    if (count == 3 && std::strcmp(arguments[1], "--book") == 0) {
        std::ifstream in(arguments[2], std::ios::binary);
        std::string const bytes{std::istreambuf_iterator<char>(in), {}};
        auto text = Story::DecodeUtf8(bytes).text;
        std::erase(text, U'\r');
        // Lines of one paragraph together.
        for (std::size_t i = 0; i + 1 < text.size(); ++i) {
            if (text[i] == U'\n' && text[i + 1] != U'\n' && (i == 0 || text[i - 1] != U'\n'))
                text[i] = U' ';
        }
        Run(text);
        return 0;
    }
    Run(MakeBook(500'000));
    Run(MakeBook(3'000'000));
    return 0;
}
