// SPDX-License-Identifier: Apache-2.0
#include "shapes/text/art_text.h"

#include "shapes/text/laid_out_text.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

constexpr char c_words[] = "one two three four five six seven eight nine ten eleven twelve thirteen fourteen\nfifteen";

Kernel::Counted<FrameTextNode> PutFrame(Scene& scene, Kernel::RectT<double> rect, int columns = 1) {
    auto frame = MakeTextFrame(rect, c_words);
    frame->SetColumns(columns, 10);
    scene.Put(*scene.spread, {frame});
    return frame;
}

std::u32string TextOfStory(Story::Story const& story) { return story.GetText(story.GetClientAll()); }

// However the frame breaks the lines, the text is the same one and the line ends are told.
TEST(LaidOutText, TheColumnsTogetherAreTheTextWithASeparatorForEachSoftLineEnd) {
    for (double const width : {60.0, 90.0, 130.0, 400.0}) {
        Scene scene;
        auto const frame = PutFrame(scene, {0, 0, 2 * width + 10, 1000}, 2);
        auto const composed = frame->MakeComposedFrame();
        LaidOutText text;
        std::u32string all;
        std::size_t lines = 0;
        for (auto const& column : *composed) {
            all += TextOfStory(*text.CopyColumn(*column));
            lines += column->size();
        }
        // The last line of each paragraph has a hard end, or none.
        EXPECT_EQ(lines - 2, static_cast<std::size_t>(std::count(all.begin(), all.end(), Story::c_lineSeparator)));
        std::erase(all, Story::c_lineSeparator);
        EXPECT_EQ(TextOfStory(*frame->GetStory()), all);
    }
}

TEST(ArtText, IsOneNodeForEachColumnWithTextAndLeavesTheFrameAlone) {
    Scene scene;
    auto const frame = PutFrame(scene, {0, 0, 300, 40}, 3);
    frame->SetUserDescription("Columns");
    frame->SetTransform({2, 0, 30, 0, 2, 40}, false);
    Append(*frame, Box(0, 0, 5, 5));
    auto const composed = frame->MakeComposedFrame();
    ASSERT_TRUE(std::none_of(composed->begin(), composed->end(), [](auto const& column) { return column->empty(); }));
    auto const before = scene.controller->GetHash(false);
    auto const result = MakeArtText(*frame, *composed, scene.controller);
    EXPECT_EQ(before, scene.controller->GetHash(false));
    EXPECT_EQ("Columns", result->GetDescription(false).ToStdString());
    ASSERT_NE(nullptr, Kernel::CastPointer<GroupNode>(result.get()));
    EXPECT_EQ(3u, result->CountChildren(NodeChildListType::Plain));
    for (auto const& column : ChildrenOf(*result)) {
        auto const* const text = Kernel::CastPointer<ArtTextNode>(column.get());
        ASSERT_NE(nullptr, text);
        EXPECT_EQ(frame->GetTransform(false, false), text->GetTransform(false, false));
        EXPECT_EQ(1u, text->CountChildren(NodeChildListType::Plain));
    }
}

TEST(ArtText, OfOneColumnIsNoGroupAndOfNoneIsNothing) {
    Scene scene;
    auto const frame = PutFrame(scene, {0, 0, 300, 400});
    auto const text = MakeArtText(*frame, *frame->MakeComposedFrame(), scene.controller);
    EXPECT_NE(nullptr, Kernel::CastPointer<ArtTextNode>(text.get()));
    auto const flat = PutFrame(scene, {0, 0, 300, 0});
    EXPECT_EQ(nullptr, MakeArtText(*flat, *flat->MakeComposedFrame(), scene.controller));
}

} // namespace
