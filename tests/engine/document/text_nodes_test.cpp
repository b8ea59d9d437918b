// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_controller.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using Frame = Kernel::Counted<FrameTextNode>;

constexpr char c_text[] = "The quick brown fox jumps over the lazy dog, again and again, until the frame is full and "
                          "the rest of the words have to go on in the next one, and then in the one behind it.";

class TextFrames : public testing::Test {
protected:
    TextFrames() : document(DocumentController::CreateNew({600, 800}, Raster::FormatRGBA8, 2)) {
        auto const spreads = document->GetDocument()->GetSpreads();
        first = MakeFrame({0, 0, 150, 60}, *spreads[0]);
        second = MakeFrame({200, 0, 350, 60}, *spreads[0]);
        third = MakeFrame({0, 0, 400, 600}, *spreads[1]);
        first->SetText(Story::GlyphString(Kernel::String(c_text)), {}, {});
        second->LinkBehind(*first);
        third->LinkBehind(*second);
    }
    static Frame MakeFrame(Kernel::RectT<double> rect, SpreadNode& spread) {
        auto frame = Kernel::MakeCounted<FrameTextNode>(rect);
        spread.InsertChild(NodeChildListType::Plain, frame, nullptr);
        return frame;
    }
    static std::string Shown(FrameTextNode const& frame) {
        return frame.GetStory()->GetString(frame.MakeComposedFrame()->GetRange()).ToStdString();
    }
    std::string AllShown() const { return Shown(*first) + Shown(*second) + Shown(*third); }

    Kernel::Counted<DocumentController> document;
    Frame first, second, third;
};

TEST_F(TextFrames, AChainShowsOneStoryFromFrameToFrame) {
    EXPECT_FALSE(Shown(*first).empty());
    EXPECT_FALSE(Shown(*second).empty());
    EXPECT_EQ(AllShown(), std::string(c_text) + "\n");
    EXPECT_EQ(first->GetMaster(), nullptr);
    EXPECT_EQ(third->GetMaster().get(), static_cast<TextFrameInterface*>(first.get()));
    ASSERT_EQ(first->GetSlaves().size(), 2u);
    EXPECT_EQ(first->GetSlaves()[1].get(), static_cast<TextFrameInterface*>(third.get()));
    EXPECT_EQ(second->GetTextFlowIndex(), 1u);
    EXPECT_EQ(third->GetStory(), first->GetStory());
    EXPECT_EQ(first->GetTextFlow()->size(), 3u);
    auto const range = second->MakeComposedFrame()->GetRange();
    EXPECT_EQ(first->GetTextFlow()->GetNode({first->GetStory(), range.begin}).get(), second.get());
}

// Columns follow the direction that most of the text is read in; a heading in another script does not turn them.
TEST_F(TextFrames, ColumnsOfRightToLeftTextRunFromRightToLeft) {
    first->SetColumns(3, 10);
    auto const leftsOf = [&](std::string const& text, Story::ParagraphDirection direction) {
        auto const story = Kernel::MakeCounted<Story::Story>();
        story->ReplaceText(story->GetClientAll(), Story::GlyphString(Kernel::String(text)));
        story->FormatText(*Story::MakeDelta(Story::ParagraphAtt::Enum::Direction, static_cast<int>(direction)));
        first->SetStory(story);
        std::vector<double> lefts;
        std::uint32_t end = 0;
        auto const frame = first->MakeComposedFrame();
        for (auto const& column : *frame) {
            lefts.push_back(column->GetRect().left);
            if (column->empty())
                continue;
            // In the order of reading.
            EXPECT_EQ(column->begin()->GetRange().begin, end);
            end = std::prev(column->end())->GetRange().end;
        }
        return lefts;
    };
    using Direction = Story::ParagraphDirection;
    std::vector<double> const forward{0, 160.0 / 3, 320.0 / 3}, backward{320.0 / 3, 160.0 / 3, 0};
    auto const expectNear = [](std::vector<double> const& a, std::vector<double> const& b) {
        ASSERT_EQ(a.size(), b.size());
        for (std::size_t i = 0; i != a.size(); ++i)
            EXPECT_NEAR(a[i], b[i], 1e-9);
    };
    std::string hebrew = "Gen.1\n";
    for (int i = 0; i != 20; ++i)
        hebrew += "1 \u05D1\u05E8\u05D0\u05E9\u05D9\u05EA \u05D1\u05E8\u05D0 ";
    expectNear(leftsOf(hebrew, Direction::Automatic), backward);
    expectNear(leftsOf(hebrew, Direction::LeftToRight), forward);
    expectNear(leftsOf(c_text, Direction::Automatic), forward);
    expectNear(leftsOf(c_text, Direction::RightToLeft), backward);
    expectNear(leftsOf("12 345", Direction::Automatic), forward);
    // All frames of a chain are columns of one text.
    leftsOf(hebrew, Direction::Automatic);
    second->SetColumns(2, 10);
    EXPECT_GT(second->MakeComposedFrame()->GetColumn(0).GetRect().left, 200);
}

// Lines from top to bottom begin at the right; columns stand one below the other.
TEST_F(TextFrames, AllFramesOfAChainTurnWithTheirStory) {
    auto const turn = [&](Story::WritingMode mode) {
        first->GetMutableStory(true)->FormatText(*Story::MakeDelta(mode));
        first->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    };
    auto const before = Shown(*second);
    EXPECT_EQ(second->MakeComposedFrame()->GetGeometry().renderScale, Raster::AffineTransform::Params());
    turn(Story::WritingMode::Vertical);
    EXPECT_EQ(AllShown(), std::string(c_text) + "\n");
    EXPECT_NE(Shown(*second), before);
    auto const& geometry = second->MakeComposedFrame()->GetGeometry();
    EXPECT_EQ(geometry.renderScale, Story::c_verticalTurn);
    EXPECT_EQ(geometry.renderScale.Apply(geometry.columns[0]), (Kernel::RectT<double>{200, 0, 350, 60}));
    auto const& line = *second->MakeComposedFrame()->GetColumn(0).begin();
    auto const place = geometry.renderScale.Apply(line.GetOrigin());
    EXPECT_NEAR(place.x, 350 - line.GetAscent(), 1e-6);
    EXPECT_EQ(place.y, 0);
    first->SetColumns(2, 10);
    first->SetInsets({1, 2, 3, 4});
    auto const columns = first->MakeComposedFrame()->GetGeometry();
    ASSERT_EQ(columns.columns.size(), 2u);
    EXPECT_EQ(columns.renderScale.Apply(columns.columns[0]), (Kernel::RectT<double>{1, 2, 147, 24}));
    EXPECT_EQ(columns.renderScale.Apply(columns.columns[1]), (Kernel::RectT<double>{1, 34, 147, 56}));
    turn(Story::WritingMode::Horizontal);
    first->SetColumns(1, 0);
    first->SetInsets({});
    EXPECT_EQ(Shown(*second), before);
}

TEST_F(TextFrames, ArtTextRunsDownFromItsOrigin) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText(story->GetClientAll(), Story::GlyphString(std::u32string_view(U"\u6F22\u5B57")));
    story->FormatText(*Story::MakeDelta(Story::GlyphAtt::Double::Size, 20));
    story->SetWritingMode(Story::WritingMode::Vertical);
    auto const art = Kernel::MakeCounted<ArtTextNode>(story, Kernel::PointT<double>{100, 50});
    auto const bounds = art->GetOwnBounds({}, false);
    EXPECT_NEAR(bounds.left, 90, 1e-6);
    EXPECT_NEAR(bounds.right, 110, 1e-6);
    EXPECT_NEAR(bounds.top, 50, 1e-6);
    EXPECT_NEAR(bounds.bottom, 90, 1e-6);
}

TEST_F(TextFrames, ManyFramesAreLinkedAsIfOneByOne) {
    auto const shown = AllShown();
    auto const index = [](FrameTextNode const& frame) { return frame.GetState<TextFrameState>().flowIndex; };
    int const indices[] = {index(*second), index(*third)};
    second->Unlink();
    third->Unlink();
    Frame const frames[] = {first, second, third};
    FrameTextNode::LinkAll(frames);
    EXPECT_EQ(AllShown(), shown);
    EXPECT_EQ(index(*second), indices[0]);
    EXPECT_EQ(index(*third), indices[1]);
    Frame const linked[] = {MakeFrame({0, 0, 9, 9}, *document->GetDocument()->GetSpreads()[0]), second};
    EXPECT_THROW(FrameTextNode::LinkAll(linked), Kernel::Exception);
    EXPECT_EQ(AllShown(), shown);
}

TEST_F(TextFrames, AFrameThatLeavesTheTreeGivesItsTextToTheNext) {
    auto const before = Shown(*third);
    auto const place = second->GetPlace();
    second->RemoveFromParent();
    EXPECT_EQ(first->GetSlaves().size(), 1u);
    EXPECT_EQ(Shown(*first) + Shown(*third), std::string(c_text) + "\n");
    second->SetPlace(place);
    EXPECT_EQ(Shown(*third), before);
}

TEST_F(TextFrames, EditsThroughAnyFrameReachTheStory) {
    auto const story = third->GetMutableStory(true);
    story->ReplaceText({0, 3}, Story::GlyphString(U"One"));
    third->OnStoryChange(nullptr, true, Story::StoryChange(false), true);
    EXPECT_EQ(Shown(*first).substr(0, 9), "One quick");
    EXPECT_EQ(AllShown().substr(3), std::string(c_text).substr(3) + "\n");
}

// Undo keeps what a state held: the story of before is untouched by edits of a later one.
TEST_F(TextFrames, AStateThatWasKeptBringsTheTextBack) {
    Kernel::Counted<InterfaceState const> const before(first->FindState(InterfaceId::Story));
    first->SetText(Story::GlyphString(U"other"), {}, {});
    EXPECT_EQ(AllShown(), "other\n");
    first->SetState(InterfaceId::Story, before);
    EXPECT_EQ(AllShown(), std::string(c_text) + "\n");
}

TEST_F(TextFrames, AFrameThatOthersFollowDoesNotFollow) {
    auto const other = MakeFrame({0, 700, 100, 750}, *document->GetCurrentSpread());
    EXPECT_THROW(first->LinkBehind(*other), Kernel::Exception);
    EXPECT_THROW(first->LinkBehind(*third), Kernel::Exception);
    third->Unlink();
    EXPECT_TRUE(third->GetStory()->empty());
    EXPECT_EQ(first->GetSlaves().size(), 1u);
}

TEST_F(TextFrames, ACopyOfAFollowerIsAFrameOfItsOwnWithItsText) {
    CloneContext context(CloneType::Copy);
    auto const shown = Shown(*second);
    auto const copy = Kernel::Cast<FrameTextNode>(second->Clone(context));
    EXPECT_EQ(copy->GetMaster(), nullptr);
    EXPECT_EQ(copy->GetStory()->GetString(copy->GetStory()->GetClientAll()).ToStdString(), shown);
    EXPECT_EQ(first->GetSlaves().size(), 2u);
}

TEST_F(TextFrames, DocumentsKeepTextAndChains) {
    first->SetColumns(2, 10);
    first->SetInsets({1, 2, 3, 4});
    auto const path =
        (std::filesystem::temp_directory_path() / ("text-" + std::to_string(getpid()) + ".redraft")).string();
    document->Save(path);
    auto const loaded = DocumentController::Open(path, false);
    std::filesystem::remove(path);
    EXPECT_EQ(loaded->GetHash(true), document->GetHash(true));
    auto const frameOf = [&](FrameTextNode const& frame) {
        return Kernel::Cast<FrameTextNode>(loaded->GetDocument()->FindNode(frame.GetId()));
    };
    ASSERT_TRUE(frameOf(*third));
    EXPECT_EQ(frameOf(*third)->GetTextFlowIndex(), 2u);
    EXPECT_EQ(Shown(*frameOf(*first)) + Shown(*frameOf(*second)) + Shown(*frameOf(*third)), AllShown());
    EXPECT_EQ(frameOf(*first)->GetColumnCount(), 2);
}

TEST_F(TextFrames, StylesOfTheDocumentReachItsText) {
    auto atts = Kernel::MakeCounted<Story::GlyphAtts>();
    atts->Set(Story::GlyphAtt::Double::Size, 40);
    auto const style = Kernel::MakeCounted<Story::Style>(
        "Loud", Story::StyleType::Paragraph, "",
        Story::DeltaRef(Kernel::MakeCounted<Story::Delta>(Story::Delta::Values{atts, {}})));
    third->Unlink();
    third->SetText(Story::GlyphString(U"word"), {}, {});
    auto const widthOf = [&] { return third->MakeComposedFrame()->GetColumn(0).begin()->GetWidth(); };
    double const before = widthOf();
    third->GetMutableStory(true)->FormatText(
        *Story::MakeDelta(Story::ParagraphAtt::String::StyleName, Kernel::String("Loud")));
    third->OnStoryChange(nullptr, true, Story::StoryChange(true), true);
    EXPECT_EQ(widthOf(), before);
    document->GetDocument()->SetTextStyleSheet(document->GetDocument()->GetTextStyleSheet()->With(style));
    EXPECT_NEAR(widthOf(), before * 2.5, before * 0.02);
}

TEST_F(TextFrames, TextRunsAroundAnObjectThatAsksForIt) {
    auto const box = Kernel::MakeCounted<PolyCurveNode>();
    box->SetCurves(Kernel::MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{0, 0, 200, 300}));
    document->GetDocument()->GetSpreads()[1]->InsertChild(NodeChildListType::Plain, box, nullptr);
    auto const leftOf = [&] { return third->MakeComposedFrame()->GetColumn(0).begin()->GetOrigin().x; };
    EXPECT_EQ(leftOf(), 0);
    box->SetTextWrap(Story::WrapStyle::Around, {0, 0, 12, 0});
    EXPECT_GE(leftOf(), 212);
    box->SetTransform({1, 0, 5, 0, 1, 0}, false);
    EXPECT_GE(leftOf(), 217);
    box->SetVisible(false);
    EXPECT_EQ(leftOf(), 0);
}

TEST(ArtText, BoundsAreThoseOfItsLines) {
    auto const story = Kernel::MakeCounted<Story::Story>();
    story->ReplaceText({0, 0}, Story::GlyphString(U"one\u2028two"));
    ArtTextNode const node(story, {100, 200});
    auto const bounds = node.GetOwnBounds({}, true);
    EXPECT_EQ(bounds.left, 100);
    EXPECT_LT(bounds.top, 200);
    EXPECT_GT(bounds.bottom, 219);
    EXPECT_GT(bounds.right, 110);
}

} // namespace
