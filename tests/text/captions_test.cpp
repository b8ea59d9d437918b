// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_renderer.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "tests/examples/scenes/field_documents.h"
#include "tests/examples/scenes/shape_documents.h"
#include "text/add_caption_command.h"
#include "text/caption_counter_type_command.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using Kernel::MakeCounted;
using Params = Raster::AffineTransform::Params;
using Nodes = std::vector<Kernel::Counted<Node>>;

// Notes what it is asked for.
class CountingCaption final : public CaptionInfo {
public:
    using CaptionInfo::CaptionInfo;
    Kernel::RectT<double> GetPositionForCaption(Kernel::JailCounted<Node> const& target, double height,
                                                Params& transform) const override {
        heights.push_back(height);
        before.push_back(transform);
        auto const rect = CaptionInfo::GetPositionForCaption(target, height, transform);
        rects.push_back(rect);
        return rect;
    }
    mutable std::vector<double> heights;
    mutable std::vector<Params> before;
    mutable std::vector<Kernel::RectT<double>> rects;
};

class Captions : public testing::Test {
protected:
    void SetUp() override {
        document = DocumentController::CreateNew({600, 600}, Raster::FormatRGBA8, 1);
        nodes = ExampleDocuments::ObjectsToCaption(*document);
    }
    static Kernel::Counted<CountingCaption> MakeCaption(char const* text, char const* style,
                                                        CaptionInfo::Placing const& placing = {}) {
        return MakeCounted<CountingCaption>(Story::GlyphString(Kernel::String(text)), style, placing);
    }
    Kernel::Counted<FrameTextNode> Add(Kernel::Counted<CaptionInfo const> const& caption, Nodes const& selected) {
        document->Run(MakeCounted<AddCaptionCommand>(caption, MakeCounted<Selection const>(selected), false));
        return Kernel::Cast<FrameTextNode>(
            Kernel::Counted<Node>(selected.front()->GetLastChild(NodeChildListType::Captions)));
    }
    std::size_t CountInk(Kernel::RectT<int> const& part) const {
        SpreadPictureOptions options;
        options.scale = 1;
        options.background = Renderer::Colour::FromGrey(1);
        auto const buffer = MakeSpreadPicture(*document->GetCurrentSpread(), options)->Render({0, 0, 600, 600});
        std::vector<unsigned char> bytes(std::size_t{600} * 600 * 4);
        buffer->ReadPixels(buffer->GetBounds(), bytes.data(), 600 * 4);
        std::size_t ink = 0;
        for (int y = part.top; y < part.bottom; ++y) {
            for (int x = part.left; x < part.right; ++x)
                ink += bytes[(static_cast<std::size_t>(y) * 600 + static_cast<std::size_t>(x)) * 4] < 100;
        }
        return ink;
    }

    Kernel::Counted<DocumentController> document;
    Nodes nodes;
};

TEST_F(Captions, WithoutAStyleNameLeaveTheParagraphWithoutAStyle) {
    using String = Story::ParagraphAtt::String;
    auto const plain = Add(MakeCaption("Words", ""), {nodes[1]});
    EXPECT_FALSE(plain->GetStory()->GetParagraphAtts(0)->IsSet(String::StyleName));
    auto const styled = Add(MakeCaption("Words", "Caption"), {nodes[1]});
    EXPECT_EQ("Caption", styled->GetStory()->GetParagraphAtts(0)->Get(String::StyleName));
}

TEST_F(Captions, OfAFittingHeightArePlacedOnce) {
    auto const tall = MakeCaption("Words that need several lines of the frame", "");
    Add(tall, {nodes[1]});
    ASSERT_EQ(2u, tall->heights.size());
    document->Undo();
    CaptionInfo::Placing exact;
    exact.height = tall->heights[1];
    auto const fitting = MakeCaption("Words that need several lines of the frame", "", exact);
    auto const node = Add(fitting, {nodes[1]});
    EXPECT_EQ(std::vector<double>{exact.height}, fitting->heights);
    EXPECT_EQ(std::vector<Params>{Params()}, fitting->before);
    EXPECT_EQ(fitting->rects[0], node->GetFrameRect());
    EXPECT_FALSE(node->MakeComposedStory({})->HasOverflow());
}

TEST_F(Captions, GrowWithTheirTextAndArePlacedAgain) {
    for (auto const position : {CaptionPosition::Below, CaptionPosition::Above}) {
        CaptionInfo::Placing placing;
        placing.position = position;
        auto const caption = MakeCaption("Words that need several lines of the frame", "Caption", placing);
        auto const node = Add(caption, {nodes[1]});
        ASSERT_EQ(2u, caption->heights.size());
        EXPECT_DOUBLE_EQ(36, caption->heights[0]) << "one line of the style's size";
        EXPECT_GT(caption->heights[1], 2 * caption->heights[0]);
        EXPECT_EQ(caption->rects[1], node->GetFrameRect());
        EXPECT_DOUBLE_EQ(caption->heights[1], node->GetFrameRect().GetHeight());
        EXPECT_FALSE(node->MakeComposedStory({})->HasOverflow());
        auto const object = Kernel::RectT<double>{400, 100, 500, 150};
        auto const rect = node->GetFrameRect();
        if (position == CaptionPosition::Above)
            EXPECT_DOUBLE_EQ(object.top - 8, rect.bottom);
        else
            EXPECT_DOUBLE_EQ(object.bottom + 8, rect.top);
        document->Undo();
    }
}

TEST_F(Captions, OfSeveralObjectsGoToTheFirst) {
    auto const node = Add(MakeCaption("Words", ""), nodes);
    ASSERT_TRUE(node);
    EXPECT_EQ(nodes[0].get(), node->GetParent());
    EXPECT_EQ(1u, nodes[0]->CountChildren(NodeChildListType::Captions));
    EXPECT_FALSE(nodes[1]->HasChildren(NodeChildListType::Captions));
    EXPECT_FALSE(nodes[2]->HasChildren(NodeChildListType::Captions));
    EXPECT_TRUE(node->GetCaptionInfo());
}

TEST_F(Captions, AreTurnedWithTheirObjectAndNotScaled) {
    auto const turned = Add(MakeCaption("Words", ""), {nodes[0]})->GetBaseToSpreadTransform();
    EXPECT_NEAR(0.8, turned.a, 1e-12);
    EXPECT_NEAR(0.6, turned.c, 1e-12);
    auto const scaled = Add(MakeCaption("Words", ""), {nodes[2]})->GetBaseToSpreadTransform();
    EXPECT_NEAR(1, scaled.a, 1e-12);
    EXPECT_NEAR(1, scaled.d, 1e-12);
}

TEST_F(Captions, SecondOnesKeepClearOfTheFirst) {
    auto const first = Add(MakeCaption("Words", ""), {nodes[1]});
    auto const second = Add(MakeCaption("More words", ""), {nodes[1]});
    EXPECT_GE(second->GetBounds(true).top, first->GetBounds(true).bottom);
}

// They are drawn and counted outside of the clip of their object.
TEST_F(Captions, AreSeenOutsideOfClips) {
    auto const clip = ExampleDocuments::MakeEllipse({430, 110, 470, 140});
    ExampleDocuments::SetFill(*clip, 0, 0, 0);
    nodes[1]->InsertChild(NodeChildListType::Clipping, clip, nullptr);
    Kernel::RectT<int> const below{400, 150, 500, 200};
    EXPECT_EQ(0u, CountInk(below));
    auto const node = Add(MakeCaption("Words", ""), {nodes[1]});
    EXPECT_GT(CountInk(below), 20u);
    EXPECT_EQ(node->GetBounds(true).bottom, nodes[1]->GetBounds(true).bottom);
    document->Undo();
    EXPECT_EQ(0u, CountInk(below));
    EXPECT_EQ(140, nodes[1]->GetBounds(true).bottom);
}

TEST_F(Captions, AreCopiedWithTheirObject) {
    Add(MakeCaption("Words", ""), {nodes[1]});
    CloneContext context(CloneType::Copy);
    auto const copy = nodes[1]->Clone(context);
    ASSERT_EQ(1u, copy->CountChildren(NodeChildListType::Captions));
    auto const caption =
        Kernel::Cast<FrameTextNode>(Kernel::Counted<Node>(copy->GetFirstChild(NodeChildListType::Captions)));
    EXPECT_EQ("Words", caption->GetStory()->GetString(caption->GetStory()->GetClientAll()));
    EXPECT_TRUE(caption->GetCaptionInfo());
}

TEST_F(Captions, WithoutAnObjectAreRefused) {
    EXPECT_THROW(document->Run(MakeCounted<AddCaptionCommand>(MakeCaption("Words", ""),
                                                              MakeCounted<Selection const>(Nodes()), false)),
                 Kernel::Exception);
}

// In those lists of theirs stand pages, or nothing that is drawn.
TEST_F(Captions, OfSpreadsPagesAndTheDocumentAreRefused) {
    auto const spread = document->GetCurrentSpread();
    Kernel::Counted<Node> const page(spread->GetFirstChild(NodeChildListType::Pages));
    auto const before = document->GetHash(false);
    for (auto const& node : Nodes{spread, page, document->GetDocument()}) {
        EXPECT_THROW(document->Run(MakeCounted<AddCaptionCommand>(MakeCaption("Words", ""),
                                                                  MakeCounted<Selection const>(Nodes{node}), false)),
                     Kernel::Exception);
    }
    EXPECT_EQ(before, document->GetHash(false));
}

TEST_F(Captions, AreSelectedUnlessTheCommandSaysOtherwise) {
    ExampleDocuments::Select(*document, {nodes[2]});
    Add(MakeCaption("Words", ""), {nodes[1]});
    EXPECT_EQ(Nodes{nodes[2]}, document->GetCurrentSelection()->GetNodes());
    document->Run(
        MakeCounted<AddCaptionCommand>(MakeCaption("Words", ""), MakeCounted<Selection const>(Nodes{nodes[1]})));
    EXPECT_EQ(Nodes{Kernel::Counted<Node>(nodes[1]->GetLastChild(NodeChildListType::Captions))},
              document->GetCurrentSelection()->GetNodes());
}

TEST_F(Captions, ClonesHaveNoSelectionOfTheirOwn) {
    AddCaptionCommand const command(MakeCaption("Words", ""), MakeCounted<Selection const>(Nodes{nodes[1]}), false);
    auto const clone = Kernel::Cast<AddCaptionCommand>(command.Clone());
    EXPECT_FALSE(clone->GetOrigSelection());
    ExampleDocuments::Select(*document, {nodes[2]});
    document->Run(clone);
    EXPECT_EQ(1u, nodes[2]->CountChildren(NodeChildListType::Captions));
    EXPECT_FALSE(nodes[1]->HasChildren(NodeChildListType::Captions));
    // It selects the caption, whatever the command does that it was made of.
    EXPECT_EQ(Nodes{Kernel::Counted<Node>(nodes[2]->GetFirstChild(NodeChildListType::Captions))},
              document->GetCurrentSelection()->GetNodes());
}

TEST(CaptionCounters, AreAddedInOrderAndTellNothing) {
    auto const document = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 1);
    auto const names = [&] { return document->GetDocument()->GetCustomCaptionCounterTypes(); };
    using Names = std::vector<Kernel::String>;
    for (char const* name : {"Plate", "Chart", "Map"})
        document->Run(MakeCounted<CaptionCounterTypeCommand>(name, true));
    EXPECT_EQ((Names{"Chart", "Map", "Plate"}), names());
    auto const command = MakeCounted<CaptionCounterTypeCommand>("Map", false);
    auto const expectNothingTold = [&] {
        Kernel::NotificationList told;
        command->Notify(told);
        EXPECT_TRUE(told.empty());
    };
    document->Run(command);
    EXPECT_EQ((Names{"Chart", "Plate"}), names());
    expectNothingTold();
    document->Undo();
    EXPECT_EQ((Names{"Chart", "Map", "Plate"}), names());
    expectNothingTold();
    document->Redo();
    EXPECT_EQ((Names{"Chart", "Plate"}), names());
    expectNothingTold();
}

// Required: the command keeps nothing but its name.
TEST(CaptionCounters, ThatWereThereGoWhenTheirAdditionIsUndone) {
    auto const document = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 1);
    document->GetDocument()->AddCustomCaptionCounterType("Map");
    document->Run(MakeCounted<CaptionCounterTypeCommand>("Map", true));
    EXPECT_EQ(1u, document->GetDocument()->GetCustomCaptionCounterTypes().size());
    document->Undo();
    EXPECT_TRUE(document->GetDocument()->GetCustomCaptionCounterTypes().empty());
}

TEST(CaptionCounters, AreDescribedByWhatIsDone) {
    EXPECT_EQ("Add Caption Counter Type", CaptionCounterTypeCommand("Map", true).GetDescription().GetText());
    EXPECT_EQ("Remove Caption Counter Type", CaptionCounterTypeCommand("Map", false).GetDescription().GetText());
}

} // namespace
