// SPDX-License-Identifier: Apache-2.0
#include "engine/story/font.h"
#include "platform/story/text_renderer.h"
#include "tests/engine/story/composing.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <unistd.h>

namespace {

using namespace Composing;

std::size_t CountLines(ComposedFrame const& frame) {
    std::size_t count = 0;
    for (auto const& column : frame)
        count += column->size();
    return count;
}

TEST(BadText, AHundredThousandMarksOnOneLetterAreComposed) {
    auto const story = MakeStory(U"a" + std::u32string(100'000, 0x301) + U" b");
    auto const frame = Compose(story, MakeFrame(200));
    EXPECT_GE(CountLines(*frame), 1u);
    EXPECT_EQ(frame->GetRange(), story->GetAll());
}

TEST(BadText, AFrameNarrowerThanALetterHoldsOneInALine) {
    for (double const width : {1.0, 0.0, -5.0, std::nan("")}) {
        auto const story = MakeStory(U"abc de");
        auto const frame = Compose(story, MakeFrame(width));
        EXPECT_EQ(CountLines(*frame), 5u) << width;
        EXPECT_EQ(frame->GetRange(), story->GetAll());
    }
}

TEST(BadText, ALongWordIsPartedBetweenLetters) {
    auto const story = MakeStory(std::u32string(300'000, U'w'));
    auto const frame = Compose(story, MakeFrame(200, 1e9));
    EXPECT_GT(CountLines(*frame), 10'000u);
    EXPECT_EQ(frame->GetRange(), story->GetAll());
    for (auto const& line : frame->GetColumn(0))
        EXPECT_LE(line.GetWidth(), 200.001);
}

TEST(BadText, AnEndlessLineIsPartedIntoParagraphs) {
    auto const story = MakeStory(std::u32string(3 * Paragraph::c_maximumLength, U'x'));
    EXPECT_GE(story->GetParagraphCount(), 3u);
    auto const frame = Compose(story, MakeFrame(200, 200));
    EXPECT_GT(CountLines(*frame), 5u);
    EXPECT_LT(frame->GetRange().end, story->GetLength());
}

TEST(BadText, EveryControlCharacterIsComposedAndShowsNothing) {
    std::u32string text;
    for (char32_t c = 0; c != 0x20; ++c) {
        if (c != U'\t' && c != U'\n' && c != U'\r')
            text.push_back(c);
    }
    auto const frame = Compose(MakeStory(text), MakeFrame(200));
    EXPECT_EQ(CountLines(*frame), 1u);
    EXPECT_FALSE(GetTextOutline(*frame)->GetBounds().has_value());
}

TEST(BadText, NumbersOutOfAllBoundsAreComposed) {
    for (double const value : {0.0, -1.0, 1e-300, 1e300, std::nan(""), HUGE_VAL}) {
        auto const story = MakeStory(U"some words and\tothers\nmore");
        for (int att = 0; att != static_cast<int>(GlyphAtt::Double::Count); ++att)
            story->FormatText(*MakeDelta(static_cast<GlyphAtt::Double>(att), value));
        for (int att = 0; att != static_cast<int>(ParagraphAtt::Double::Count); ++att)
            story->FormatText(*MakeDelta(static_cast<ParagraphAtt::Double>(att), value));
        for (int alignment = -1; alignment != 8; ++alignment) {
            story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, alignment));
            auto const frame = Compose(story, MakeFrame(200, 500));
            static_cast<void>(GetTextOutline(*frame));
        }
    }
}

TEST(BadText, FramesOfAnyShapeAreFilledOrLeftEmpty) {
    auto const story = MakeStory(U"some words that go on for a while");
    for (double const value : {0.0, -50.0, 1e300, std::nan(""), -HUGE_VAL}) {
        FrameGeometry frame = MakeFrame(100, 50);
        frame.columns.push_back({value, value, 20, 40});
        frame.columns.push_back({0, 0, value, value});
        frame.gridStart = value;
        frame.gridSpacing = value;
        WrapShape shape;
        shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{value, 0, 30, 30});
        shape.distances = {value, value, value, value};
        static_cast<void>(Compose(story, frame));
        frame.wrapShapes.push_back(shape);
        static_cast<void>(Compose(story, frame));
    }
}

TEST(BadText, LinesThroughEveryScriptKeepAllTheirText) {
    std::mt19937 random(5);
    for (int round = 0; round != 60; ++round) {
        std::u32string text;
        for (int i = 0; i != 200; ++i) {
            static constexpr char32_t c_bases[] = {0x20,    0x300,  0x400,  0x590,  0x600,   0x900,  0xE00,
                                                   0x1100,  0x2000, 0x3000, 0x4E00, 0xAC00,  0xFE00, 0x1F300,
                                                   0xE0000, 0x202A, 0x200B, 0xFFF0, 0x10FFF0};
            char32_t const base = c_bases[random() % std::size(c_bases)];
            char32_t const c = base + random() % (base == 0x10FFF0 ? 15 : 96);
            if (c != 0x2028 && c != 0x2029 && c != 0x85)
                text.push_back(c);
        }
        auto const story = MakeStory(text);
        if (round % 2 == 1)
            story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
        auto const frame = Compose(story, MakeFrame(20 + static_cast<double>(random() % 200)));
        std::uint32_t at = 0;
        for (auto const& line : frame->GetColumn(0)) {
            EXPECT_EQ(line.GetRange().begin, at);
            at = line.GetRange().end;
        }
        EXPECT_EQ(at, story->GetLength());
        static_cast<void>(GetTextOutline(*frame));
    }
}

std::vector<char> ReadFont(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Fonts whose bytes were changed are refused or used, and never take the process down.
TEST(BadFonts, ChangedFilesAreRefusedOrUsed) {
    std::mt19937 random(9);
    auto const folder = std::filesystem::temp_directory_path() / ("redraft-fonts-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    int used = 0;
    for (auto const* name : {"/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf",
                             "/usr/share/fonts/truetype/noto/NotoSansThai-Regular.ttf"}) {
        auto const good = ReadFont(name);
        ASSERT_GT(good.size(), 10'000u);
        for (int round = 0; round != 40; ++round) {
            auto bytes = good;
            if (round == 0)
                bytes.resize(100);
            else if (round == 1)
                bytes.clear();
            else if (round < 10)
                bytes.resize(good.size() * static_cast<std::size_t>(round) / 10);
            // The directory and the small tables are in the front; most of the lies are told there.
            for (int i = 0; !bytes.empty() && i != round * 3; ++i)
                bytes[random() % std::min<std::size_t>(bytes.size(), i % 2 == 0 ? 2000 : bytes.size())] =
                    static_cast<char>(random());
            auto const path = (folder / (std::to_string(round) + ".ttf")).string();
            std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            auto const face = FontFace::Load(path, 0);
            if (!face)
                continue;
            ++used;
            EXPECT_GT(face->GetAscent(), 0);
            EXPECT_LT(face->GetAscent(), 6);
            for (unsigned glyph = 0; glyph != 300; ++glyph) {
                if (auto const outline = face->GetOutline(glyph)) {
                    EXPECT_LT(outline->GetBounds()->GetWidth(), 201);
                }
            }
        }
    }
    std::filesystem::remove_all(folder);
    EXPECT_GT(used, 5);
}

} // namespace
