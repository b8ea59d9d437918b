// SPDX-License-Identifier: Apache-2.0
#include "engine/story/broken_lines.h"
#include "tests/engine/story/composing.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Composing;

constexpr std::u32string_view c_text =
    U"In olden times when wishing still helped one, there lived a king whose daughters were all beautiful; and the "
    U"youngest was so beautiful that the sun itself, which has seen so much, was astonished whenever it shone in her "
    U"face. Close by the king's castle lay a great dark forest, and under an old lime-tree in the forest was a well.";

TEST(Composition, LinesHoldTheWholeTextInOrderAndFitTheColumn) {
    auto const story = MakeStory(c_text);
    auto const frame = Compose(story, MakeFrame(200));
    std::u32string all;
    std::uint32_t at = 0;
    double baseline = 0;
    for (auto const& line : frame->GetColumn(0)) {
        EXPECT_EQ(line.GetRange().begin, at);
        at = line.GetRange().end;
        all += LineText(line);
        EXPECT_LE(line.GetWidth(), 200.001);
        EXPECT_GT(line.GetOrigin().y, baseline);
        baseline = line.GetOrigin().y;
    }
    EXPECT_EQ(all, c_text);
    EXPECT_EQ(at, story->GetLength());
    EXPECT_GT(frame->GetColumn(0).size(), 8u);
}

// No word that begins a line would have fitted at the end of the line before.
TEST(Composition, RaggedLinesAreFilledAsFarAsWordsGo) {
    auto const story = MakeStory(c_text);
    auto const frame = Compose(story, MakeFrame(200));
    LinePart const* before = nullptr;
    for (auto const& line : frame->GetColumn(0)) {
        if (before != nullptr) {
            auto const text = LineText(line);
            auto const word = text.substr(0, text.find_first_of(U" -") + (text.find_first_of(U" -") != text.npos &&
                                                                          text[text.find_first_of(U" -")] == U'-'));
            auto const joined = LineText(*before) + word;
            auto const wide = Compose(MakeStory(joined), MakeFrame(1e5));
            EXPECT_GT(wide->GetColumn(0).begin()->GetWidth(), 200.0) << std::string(joined.begin(), joined.end());
        }
        before = &line;
    }
}

TEST(Composition, LeadingIsTheDistanceOfBaselines) {
    auto const story = MakeStory(U"one\ntwo\nthree", 20);
    auto const automatic = Compose(story, MakeFrame(300));
    auto const& lines = automatic->GetColumn(0);
    EXPECT_NEAR((lines.begin() + 1)->GetOrigin().y - lines.begin()->GetOrigin().y, 24, 1e-3);
    story->FormatText(*MakeDelta(ParagraphAtt::Double::Leading, 31));
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::LeadingMode, static_cast<int>(LeadingMode::Exact)));
    story->FormatText({4, 7}, *MakeDelta(ParagraphAtt::Double::SpaceBefore, 5));
    story->FormatText({4, 7}, *MakeDelta(ParagraphAtt::Double::SpaceAfter, 7));
    auto const exact = Compose(story, MakeFrame(300));
    auto const line = exact->GetColumn(0).begin();
    EXPECT_NEAR(line[1].GetOrigin().y - line[0].GetOrigin().y, 36, 1e-3);
    EXPECT_NEAR(line[2].GetOrigin().y - line[1].GetOrigin().y, 38, 1e-3);
}

TEST(Composition, AlignmentPutsLinesToTheirSide) {
    auto const story = MakeStory(U"word");
    auto const leftOf = [&](Alignment alignment) {
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(alignment)));
        auto const frame = Compose(story, MakeFrame(200));
        return std::pair(frame->GetColumn(0).begin()->GetOrigin().x, frame->GetColumn(0).begin()->GetWidth());
    };
    EXPECT_EQ(leftOf(Alignment::Start).first, 0);
    auto const [centre, width] = leftOf(Alignment::Centre);
    EXPECT_NEAR(centre, (200 - width) / 2, 1e-3);
    EXPECT_NEAR(leftOf(Alignment::End).first, 200 - width, 1e-3);
}

TEST(Composition, JustifiedLinesReachBothSidesButForTheLast) {
    auto const story = MakeStory(c_text);
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    for (auto const breaking : {LineBreaking::TotalFit, LineBreaking::Greedy}) {
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Breaking, static_cast<int>(breaking)));
        auto const frame = Compose(story, MakeFrame(240));
        auto const& lines = frame->GetColumn(0);
        std::u32string all;
        for (auto const& line : lines) {
            all += LineText(line);
            if (&line != &*std::prev(lines.end())) {
                EXPECT_NEAR(line.GetWidth(), 240, 0.01);
            }
        }
        EXPECT_EQ(all, c_text);
        EXPECT_LT(std::prev(lines.end())->GetWidth(), 239);
    }
}

// Text without spaces is parted between its letters; no line is left short so that others come out even.
TEST(Composition, JapaneseLinesReachBothSidesAndAreFilled) {
    std::u32string text;
    for (int sentence = 0; sentence != 6; ++sentence)
        text +=
            U"\u79C1\u306F\u305D\u306E\u4EBA\u3092\u5E38\u306B\u5148\u751F\u3068\u547C\u3093\u3067\u3044\u305F\u3002";
    auto const story = MakeStory(text, 16, "IPAGothic");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    for (double width = 200; width < 260; width += 7.3) {
        auto const frame = Compose(story, MakeFrame(width));
        auto const& lines = frame->GetColumn(0);
        auto const last = std::prev(lines.end());
        std::u32string all;
        for (auto const& line : lines) {
            all += LineText(line);
            if (&line == &*last)
                continue;
            EXPECT_NEAR(line.GetWidth(), width, 0.01);
            // A mark that must not begin a line may take one letter with it, and so may shrinking.
            EXPECT_GE(static_cast<double>(LineText(line).size()), std::floor(width / 16) - 2) << width;
        }
        EXPECT_EQ(all, text);
    }
}

// Thai is filled between its letters, with what marks stand on them, as far as its spaces do not do it.
TEST(Composition, ThaiLinesReachBothSidesAndAreFilled) {
    // "The weather is good today and they go for a walk in the garden", without a space.
    std::u32string const sentence =
        U"\u0E27\u0E31\u0E19\u0E19\u0E35\u0E49\u0E2D\u0E32\u0E01\u0E32\u0E28\u0E14\u0E35"
        U"\u0E41\u0E25\u0E30\u0E1E\u0E27\u0E01\u0E40\u0E02\u0E32\u0E44\u0E1B\u0E40\u0E14\u0E34\u0E19"
        U"\u0E40\u0E25\u0E48\u0E19\u0E43\u0E19\u0E2A\u0E27\u0E19";
    std::u32string text;
    for (int i = 0; i != 6; ++i)
        text += sentence;
    auto const story = MakeStory(text, 16, "Noto Sans Thai");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
    story->FormatText(*MakeDelta(GlyphAtt::String::Language, Kernel::String("th")));
    double const natural = Compose(story, MakeFrame(1e5))->GetColumn(0).begin()->GetWidth();
    for (double width = 180; width < 300; width += 7.3) {
        auto const frame = Compose(story, MakeFrame(width));
        auto const& lines = frame->GetColumn(0);
        // A word of the sentence takes 60 units at most.
        EXPECT_LE(static_cast<double>(lines.size()), std::ceil(natural / (width - 60))) << width;
        auto const last = std::prev(lines.end());
        std::u32string all;
        for (auto const& line : lines) {
            all += LineText(line);
            if (&line == &*last)
                continue;
            EXPECT_NEAR(line.GetWidth(), width, 0.01);
            // No letter stands so far from its neighbour that the word falls apart.
            EXPECT_LE(line.GetSpaceExtra(), 4) << width;
            // Marks stay with their letters.
            for (auto const& cell : line.GetCells())
                EXPECT_GT(cell.advance, 0);
        }
        EXPECT_EQ(all, text);
    }
}

// Where nothing can stretch, and where it must stretch far too much, a line that is filled better costs less.
TEST(Composition, AnEmptierLineCostsMore) {
    auto const costOf = [](double width, double spaces) {
        BreakCandidate to;
        to.position = 1;
        to.width = to.visibleWidth = width;
        to.spaces = to.visibleSpaces = spaces;
        return GetLineCost(nullptr, to, 100).demerits;
    };
    for (double const spaces : {0.0, 0.5, 4.0}) {
        for (double width = 10; width < 95; width += 5)
            EXPECT_GT(costOf(width, spaces), costOf(width + 5, spaces)) << width << " " << spaces;
    }
    EXPECT_GT(costOf(99, 0), costOf(10, 0.5));
}

// Also the last one, which shrinks where it was taken because it can.
TEST(Composition, NoJustifiedLineIsWiderThanItsColumn) {
    std::u32string const words(c_text);
    for (double width = 120; width < 300; width += 1.7) {
        auto const story = MakeStory(words.substr(0, 60 + static_cast<std::size_t>(width)));
        story->FormatText(*MakeDelta(ParagraphAtt::Enum::Alignment, static_cast<int>(Alignment::Justify)));
        auto const frame = Compose(story, MakeFrame(width));
        for (auto const& line : frame->GetColumn(0))
            EXPECT_LE(line.GetWidth(), width + 0.02) << width;
    }
}

TEST(Composition, HyphensStandAtLineEndsAndAreMade) {
    auto const story = MakeStory(U"The extraordinarily uncharacteristic representation of internationalisation");
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Hyphenate, 1));
    auto const frame = Compose(story, MakeFrame(110));
    int hyphens = 0;
    for (auto const& line : frame->GetColumn(0)) {
        for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
            if (line.IsSource(i))
                continue;
            ++hyphens;
            EXPECT_EQ(line.GetCompositionFlags(i), CompositionFlag::c_made | CompositionFlag::c_madeText);
            EXPECT_EQ(i + 1, line.GetSize());
        }
        EXPECT_LE(line.GetWidth(), 110.001);
    }
    EXPECT_GE(hyphens, 2);
    story->FormatText(*MakeDelta(ParagraphAtt::Enum::Hyphenate, 0));
    auto const plain = Compose(story, MakeFrame(110));
    for (auto const& line : plain->GetColumn(0)) {
        for (std::uint32_t i = 0; i != line.GetSize(); ++i)
            EXPECT_TRUE(line.IsSource(i));
    }
}

TEST(Composition, ASoftHyphenIsSeenOnlyWhereALineEnds) {
    auto const story = MakeStory(U"foot\u00ADballers");
    auto const wide = Compose(story, MakeFrame(500));
    EXPECT_EQ(wide->GetColumn(0).size(), 1u);
    auto const plain = Compose(MakeStory(U"footballers"), MakeFrame(500));
    EXPECT_NEAR(wide->GetColumn(0).begin()->GetWidth(), plain->GetColumn(0).begin()->GetWidth(), 0.2);
    auto const narrow = Compose(story, MakeFrame(50));
    ASSERT_EQ(narrow->GetColumn(0).size(), 2u);
    EXPECT_EQ(LineText(*narrow->GetColumn(0).begin()), U"foot\u00AD\u2010");
}

// Every line breaking of a small paragraph, against the one that is taken.
TEST(Composition, TotalFitIsTheCheapestOfAllLineBreakings) {
    std::mt19937 random(3);
    int compared = 0;
    for (int round = 0; round != 300; ++round) {
        std::vector<BreakCandidate> candidates;
        BreakCandidate sum;
        std::size_t const count = 4 + random() % 9;
        for (std::size_t i = 0; i != count; ++i) {
            sum.width += 10 + static_cast<double>(random() % 30);
            sum.visibleWidth = sum.width;
            sum.visibleSpaces = sum.spaces;
            sum.position = static_cast<std::uint32_t>(i + 1);
            sum.must = i + 1 == count;
            sum.hyphen = !sum.must && random() % 4 == 0;
            sum.hyphenWidth = sum.hyphen ? 3 : 0;
            candidates.push_back(sum);
            if (!sum.hyphen) {
                sum.width += 5;
                sum.spaces += 5;
                candidates.back().width = sum.width;
                candidates.back().spaces = sum.spaces;
            }
        }
        double const measure = 60 + static_cast<double>(random() % 60);
        std::vector<double> first(1 + random() % 3);
        for (auto& each : first)
            each = random() % 2 == 0 ? measure : measure - 20;
        auto const roomOf = [&](std::size_t line) { return line < first.size() ? first[line] : measure; };
        double const tolerance = random() % 2 == 0 ? 3 : 1e30;
        double best = 1e300;
        for (unsigned chosen = 0; chosen != 1u << (count - 1); ++chosen) {
            double total = 0;
            BreakCandidate const* from = nullptr;
            std::size_t line = 0;
            for (std::size_t i = 0; i != count; ++i) {
                if (i + 1 != count && (chosen >> i & 1) == 0)
                    continue;
                auto const cost = GetLineCost(from, candidates[i], roomOf(line++));
                total = cost.demerits < 0 || cost.ratio > tolerance ? 1e300 : std::min(total + cost.demerits, 1e300);
                from = &candidates[i];
                if (total >= 1e300)
                    break;
            }
            best = std::min(best, total);
        }
        auto const ends = BreakTotalFit(candidates, first, measure, tolerance);
        if (best >= 1e300) {
            EXPECT_TRUE(ends.empty());
            continue;
        }
        ASSERT_FALSE(ends.empty());
        double total = 0;
        BreakCandidate const* from = nullptr;
        std::size_t line = 0;
        for (auto const& end : ends) {
            auto const* const to = &candidates[end.position - 1];
            total += GetLineCost(from, *to, roomOf(line++)).demerits;
            from = to;
        }
        EXPECT_NEAR(total, best, best * 1e-12);
        ++compared;
    }
    EXPECT_GT(compared, 100);
}

TEST(Composition, TextFlowsFromColumnToColumnAndFrameToFrame) {
    auto const story = MakeStory(c_text);
    FrameGeometry two;
    two.columns = {{0, 0, 100, 80}, {120, 0, 220, 80}};
    auto const composed =
        Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{two, two, MakeFrame(100)});
    std::u32string all;
    for (std::size_t i = 0; i != 3; ++i) {
        auto const frame = composed->GetFrame(i);
        EXPECT_EQ(frame->GetRange().begin, i == 0 ? 0 : composed->GetFrame(i - 1)->GetRange().end);
        for (auto const& column : *frame) {
            EXPECT_FALSE(column->empty());
            for (auto const& line : *column) {
                all += LineText(line);
                EXPECT_LE(line.GetOrigin().y + line.GetDescent(), column->GetRect().bottom + 1e-3);
                EXPECT_GE(line.GetOrigin().x, column->GetRect().left);
            }
        }
    }
    EXPECT_EQ(all, c_text);
    EXPECT_FALSE(composed->HasOverflow());
    auto const small = Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, std::vector{two});
    EXPECT_TRUE(small->HasOverflow());
    EXPECT_EQ(small->GetOverflowBegin(), small->GetFrame(0)->GetRange().end);
}

TEST(Composition, NoLineOfAParagraphStandsAloneInAColumn) {
    auto const story = MakeStory(c_text);
    for (double height = 60; height < 260; height += 10) {
        FrameGeometry frame;
        frame.columns = {{0, 0, 200, height}, {0, 0, 200, 1e6}};
        auto const composed = Compose(story, frame);
        std::size_t const first = composed->GetColumn(0).size();
        std::size_t const second = composed->GetColumn(1).size();
        EXPECT_NE(second, 1u) << height;
        EXPECT_GT(first, 1u) << height;
    }
}

TEST(Composition, AParagraphThatKeepsWithTheNextMovesWithIt) {
    auto const story = MakeStory(U"aaa\nbbb\nHeading\nbody body body body body body");
    story->FormatText({8, 9}, *MakeDelta(ParagraphAtt::Enum::KeepWithNext, 1));
    FrameGeometry frame;
    frame.columns = {{0, 0, 100, 3 * 19.2 + 4}, {0, 0, 100, 1e6}};
    auto const composed = Compose(story, frame);
    EXPECT_EQ(composed->GetColumn(0).size(), 2u);
    EXPECT_EQ(LineText(*composed->GetColumn(1).begin()), U"Heading");
}

TEST(Composition, BaselinesStandOnTheGrid) {
    auto const story = MakeStory(c_text);
    auto frame = MakeFrame(200);
    frame.gridStart = 3;
    frame.gridSpacing = 25;
    auto const composed = Compose(story, frame);
    for (auto const& line : composed->GetColumn(0))
        EXPECT_NEAR(std::remainder(line.GetOrigin().y - 3, 25), 0, 1e-6);
}

TEST(Composition, ColumnsAreAlignedVertically) {
    auto const story = MakeStory(U"one\ntwo");
    auto frame = MakeFrame(200, 300);
    double const top = Compose(story, frame)->GetColumn(0).begin()->GetOrigin().y;
    auto const bottomOf = [&](VerticalAlignment alignment) {
        frame.verticalAlignment = alignment;
        auto const composed = Compose(story, frame);
        auto const& last = *std::prev(composed->GetColumn(0).end());
        return last.GetOrigin().y + last.GetDescent();
    };
    double const plain = bottomOf(VerticalAlignment::Top);
    EXPECT_NEAR(bottomOf(VerticalAlignment::Bottom), 300, 1e-6);
    EXPECT_NEAR(bottomOf(VerticalAlignment::Centre), (300 + plain) / 2, 1e-3);
    EXPECT_GT(top, 0);
}

TEST(Composition, TabsLeadToTheirStops) {
    auto const story = MakeStory(U"a\tb\tccc\t12.50");
    story->FormatText(
        *MakeDelta(ParagraphAtt::Object::TabStops,
                   Kernel::MakeCounted<TabStops>(std::vector<TabStop>{
                       {50, TabStop::Kind::Start}, {150, TabStop::Kind::End}, {200, TabStop::Kind::Decimal}})));
    auto const frame = Compose(story, MakeFrame(400));
    auto const& line = *frame->GetColumn(0).begin();
    auto const& paragraph = line.GetParagraph();
    double xOfB = -1, endOfC = -1, xOfPoint = -1;
    for (auto const& run : line.GetData().runs) {
        double x = run.x;
        auto const& glyphs = run.own ? line.GetData().own : paragraph.GetGlyphs();
        for (auto i = run.glyphBegin; i != run.glyphEnd; ++i) {
            char32_t const c = paragraph.GetText()[glyphs[i].cluster];
            if (c == U'b')
                xOfB = x;
            if (c == U'.')
                xOfPoint = x;
            x += glyphs[i].advance;
            if (c == U'c')
                endOfC = x;
        }
    }
    EXPECT_NEAR(xOfB, 50, 1e-3);
    EXPECT_NEAR(endOfC, 150, 1e-3);
    EXPECT_NEAR(xOfPoint, 200, 1e-3);
}

TEST(Composition, TextKeepsClearOfShapes) {
    auto const story = MakeStory(c_text);
    auto frame = MakeFrame(300);
    WrapShape shape;
    shape.outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 40, 120, 100});
    shape.distances = {5, 6, 7, 8};
    frame.wrapShapes.push_back(shape);
    auto const composed = Compose(story, frame);
    std::u32string all;
    int beside = 0;
    for (auto const& line : composed->GetColumn(0)) {
        all += LineText(line);
        bool const isBeside =
            line.GetOrigin().y + line.GetDescent() > 40 - 6 && line.GetOrigin().y - line.GetAscent() < 100 + 8;
        EXPECT_GE(line.GetOrigin().x, isBeside ? 127 - 1e-3 : 0);
        EXPECT_LE(line.GetOrigin().x + line.GetWidth(), 300.001);
        beside += isBeside;
    }
    EXPECT_EQ(all, c_text);
    EXPECT_GE(beside, 3);
}

TEST(Composition, RightToLeftParagraphsBeginAtTheRight) {
    auto const story = MakeStory(U"\u05E9\u05DC\u05D5\u05DD 123 abc", 16, "DejaVu Sans");
    auto const frame = Compose(story, MakeFrame(300));
    auto const& line = *frame->GetColumn(0).begin();
    EXPECT_TRUE(line.IsRightToLeft());
    EXPECT_NEAR(line.GetOrigin().x + line.GetWidth(), 300, 1e-2);
    // In the order of sight: abc, then 123, then the Hebrew word from its last letter to its first.
    std::u32string sight;
    for (auto const& run : line.GetData().runs) {
        auto const& shaped = line.GetParagraph().GetRuns()[run.run];
        std::u32string piece;
        for (auto i = run.glyphBegin; i != run.glyphEnd; ++i)
            piece.push_back(line.GetParagraph().GetText()[line.GetParagraph().GetGlyphs()[i].cluster]);
        if (shaped.IsRightToLeft())
            std::reverse(piece.begin(), piece.end());
        sight += piece;
    }
    EXPECT_EQ(sight, U"abc 123 \u05DD\u05D5\u05DC\u05E9");
}

TEST(Composition, LettersThatTheFontLacksComeFromAnother) {
    auto const story = MakeStory(U"Latin \u0928\u092E\u0938\u094D\u0924\u0947 \u65E5\u672C\u8A9E \u0E44\u0E17\u0E22");
    auto const frame = Compose(story, MakeFrame(1000));
    auto const& line = *frame->GetColumn(0).begin();
    int faces = 0;
    FontFace const* before = nullptr;
    for (auto const& run : line.GetParagraph().GetRuns()) {
        faces += run.face != nullptr && run.face != before;
        before = run.face == nullptr ? before : run.face;
        for (auto i = run.glyphBegin; i != run.glyphEnd && run.face != nullptr; ++i)
            EXPECT_NE(line.GetParagraph().GetGlyphs()[i].GetId(), 0u);
    }
    EXPECT_GE(faces, 4);
}

TEST(Composition, AMissingFontIsNamedOnceAndReplaced) {
    auto const story = MakeStory(U"word", 16, "No Such Family, DejaVu Sans");
    Compose(story, MakeFrame(100));
    Compose(MakeStory(U"more", 17, "No Such Family"), MakeFrame(100));
    auto const missing = GetMissingFonts();
    EXPECT_EQ(std::count(missing.begin(), missing.end(), "No Such Family"), 1);
    EXPECT_EQ(std::count(missing.begin(), missing.end(), "DejaVu Sans"), 0);
    auto const direct = Compose(MakeStory(U"word", 16, "DejaVu Sans"), MakeFrame(100));
    EXPECT_EQ(Compose(story, MakeFrame(100))->GetColumn(0).begin()->GetWidth(),
              direct->GetColumn(0).begin()->GetWidth());
}

TEST(Composition, FillerTextIsShownAndMarked) {
    auto const story = MakeStory(U"");
    story->ReplaceText({0, 0}, GlyphString(Kernel::Counted<Glyph const>(Kernel::MakeCounted<FillerTextGlyph>(40u))));
    auto const frame = Compose(story, MakeFrame(200));
    EXPECT_GT(frame->GetColumn(0).size(), 3u);
    unsigned fillers = 0;
    for (auto const& line : frame->GetColumn(0)) {
        for (std::uint32_t i = 0; i != line.GetSize(); ++i) {
            if (line.IsSource(i))
                continue;
            ++fillers;
            EXPECT_NE(line.GetCompositionFlags(i) & CompositionFlag::c_fillerText, 0u);
        }
    }
    EXPECT_EQ(fillers, FillerTextGlyph(40).Expand({}).size());
    EXPECT_EQ(frame->GetRange(), story->GetAll());
}

TEST(Composition, StylesGiveWhatTextDoesNotSay) {
    auto atts = Kernel::MakeCounted<GlyphAtts>();
    atts->Set(GlyphAtt::Double::Size, 40);
    auto paragraph = Kernel::MakeCounted<ParagraphAtts>();
    paragraph->Set(ParagraphAtt::Enum::Alignment, 1);
    auto const base = Kernel::MakeCounted<Style>("Base", StyleType::Paragraph, "Heading",
                                                 DeltaRef(Kernel::MakeCounted<Delta>(Delta::Values{atts, paragraph})));
    auto const heading = Kernel::MakeCounted<Style>("Heading", StyleType::Paragraph, "Base", DeltaRef());
    auto const sheet = Kernel::MakeCounted<StyleSheet>(StyleSheet::Styles{base, heading});
    auto story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText({0, 0}, GlyphString(U"Title"));
    story->FormatText(*MakeDelta(ParagraphAtt::String::StyleName, Kernel::String("Heading")));
    auto const styled =
        Kernel::MakeCounted<ComposedStory>(StoryRef(story), sheet, std::vector{MakeFrame(300)})->GetFrame(0);
    auto const plain = Compose(story, MakeFrame(300));
    auto const line = styled->GetColumn(0).begin();
    EXPECT_NEAR(line->GetWidth(), plain->GetColumn(0).begin()->GetWidth() * 40 / 16, 1e-2);
    EXPECT_NEAR(line->GetOrigin().x, (300 - line->GetWidth()) / 2, 1e-3);
}

// A later version takes over what the change cannot reach, and is what it would be without an earlier one.
TEST(Composition, ALaterVersionIsTheSameWithAndWithoutAnEarlierOne) {
    std::mt19937 random(11);
    std::u32string book;
    for (int i = 0; i != 120; ++i) {
        book += c_text.substr(random() % 60, 40 + random() % 200);
        book += U'\n';
    }
    FrameGeometry page;
    page.columns = {{0, 0, 150, 300}, {160, 0, 310, 300}};
    std::vector<FrameGeometry> const pages(12, page);
    auto story = MakeStory(book);
    auto composed = Kernel::MakeCounted<ComposedStory>(StoryRef(story), nullptr, pages);
    composed->Compose({});
    std::size_t reused = 0;
    for (int step = 0; step != 25; ++step) {
        auto const next = story->Clone();
        std::uint32_t const at = static_cast<std::uint32_t>(random() % story->GetLength());
        next->ReplaceText({at, at + static_cast<std::uint32_t>(random() % 30)},
                          GlyphString(c_text.substr(random() % 100, random() % 40)));
        auto const later =
            Kernel::MakeCounted<ComposedStory>(StoryRef(next), nullptr, pages, FieldDataSourceRef(), composed);
        auto const fresh = Kernel::MakeCounted<ComposedStory>(StoryRef(next), nullptr, pages);
        for (std::size_t i = 0; i != pages.size(); ++i) {
            auto const a = later->GetFrame(i), b = fresh->GetFrame(i);
            ASSERT_EQ(a->GetRange(), b->GetRange());
            for (std::size_t c = 0; c != 2; ++c) {
                ASSERT_EQ(LineTexts(a->GetColumn(c)), LineTexts(b->GetColumn(c)));
                for (std::size_t l = 0; l != a->GetColumn(c).size(); ++l)
                    ASSERT_EQ(a->GetColumn(c).begin()[static_cast<std::ptrdiff_t>(l)].GetOrigin(),
                              b->GetColumn(c).begin()[static_cast<std::ptrdiff_t>(l)].GetOrigin());
            }
        }
        reused += later->GetReusedFrameCount();
        story = next;
        composed = later;
    }
    EXPECT_GT(reused, 25u);
}

} // namespace
