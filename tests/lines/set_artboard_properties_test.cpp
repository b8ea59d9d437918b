// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "lines/set_artboard_properties_command.h"
#include "platform/document/transform_command.h"
#include "tests/examples/scenes/artboard_documents.h"
#include "tests/support/documents.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace Support;
using namespace Commands;
using Rect = Kernel::RectT<double>;
using Params = Raster::AffineTransform::Params;
using Edges = Kernel::EdgeOffsetsT<double>;

// Two boards beside each other with a gap of 20, and one that shares neither row nor column with them.
struct BoardScene {
    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<ArtboardNode> left = ExampleDocuments::AppendArtboard(*controller, "Left", {10, 10, 110, 60});
    Kernel::Counted<ArtboardNode> right = ExampleDocuments::AppendArtboard(*controller, "Right", {130, 10, 200, 60});
    Kernel::Counted<ArtboardNode> apart = ExampleDocuments::AppendArtboard(*controller, "Apart", {210, 70, 300, 160});
    Kernel::Counted<ShapeNode> shape = ExampleDocuments::MakeRectangle({20, 20, 40, 40}, 1, 0, 0);
    BoardScene() { ExampleDocuments::Append(*left, shape); }

    Kernel::Counted<SetArtboardPropertiesCommand> Make(std::vector<Kernel::Counted<Node>> const& nodes) const {
        return Kernel::MakeCounted<SetArtboardPropertiesCommand>(Kernel::MakeCounted<Selection>(nodes));
    }
    Kernel::Counted<SetArtboardPropertiesCommand> Resized(Kernel::Counted<Node> const& board, double width,
                                                          double height, SpatialAnchor anchor) const {
        auto command = Make({board});
        command->SetDimensions({width, height});
        command->SetAnchorType(anchor);
        controller->Run(command);
        return command;
    }
    static std::size_t CountParts(SetArtboardPropertiesCommand const& command, ArtboardNode const& board) {
        auto const* const record = command.GetUndoData().Find(board);
        return record == nullptr ? 0 : record->commands.Get().size();
    }
};

TEST(SetArtboardProperties, AnUnchangedSizeMovesNoOtherBoardAndIsTheIdentityForItself) {
    BoardScene scene;
    auto const before = scene.controller->GetHash(false);
    auto const command = scene.Resized(scene.left, 100, 50, SpatialAnchor::TopLeft);
    EXPECT_EQ(before, scene.controller->GetHash(false));
    EXPECT_EQ(1u, BoardScene::CountParts(*command, *scene.left));
    EXPECT_EQ(nullptr, command->GetUndoData().Find(*scene.right));
    auto const part = Kernel::Cast<TransformCommand>(command->GetUndoData().Find(*scene.left)->commands.Get().front());
    EXPECT_TRUE(part->GetTransform().IsIdentity());
}

TEST(SetArtboardProperties, LeavingTheContentLeavesContentAndGuidesAlone) {
    BoardScene scene;
    auto const properties = scene.left->GetArtboardProperties();
    properties->SetGuides(0, {30});
    properties->SetMargins({1, 2, 3, 4});
    scene.Resized(scene.left, 300, 100, SpatialAnchor::LeaveContent);
    EXPECT_EQ((Rect{10, 10, 310, 110}), scene.left->GetArtboardBox());
    EXPECT_TRUE(scene.shape->GetMatrix().IsIdentity());
    EXPECT_EQ((std::vector<double>{30}), properties->GetGuidesPixels96(0));
    EXPECT_EQ((Edges{1, 2, 3, 4}), properties->GetMargins());
}

TEST(SetArtboardProperties, ScalingTheContentScalesTheTextOfFrames) {
    BoardScene scene;
    auto const frame = Kernel::MakeCounted<FrameTextNode>(Rect{50, 20, 100, 50});
    ExampleDocuments::Append(*scene.left, frame);
    auto const before = scene.controller->GetHash(false);
    scene.Resized(scene.left, 200, 150, SpatialAnchor::ScaleContent);
    EXPECT_EQ((Rect{30, 40, 70, 100}), scene.shape->GetBounds(false));
    EXPECT_EQ((Rect{90, 40, 190, 130}), frame->GetBounds(false));
    EXPECT_EQ((Params{2, 0, 0, 0, 3, 0}), frame->GetFrameTextScale());
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(SetArtboardProperties, BoardsThatShareNeitherRowNorColumnDoNotMove) {
    BoardScene scene;
    auto const command = scene.Resized(scene.left, 100, 500, SpatialAnchor::TopLeft);
    EXPECT_EQ(nullptr, command->GetUndoData().Find(*scene.apart));
    EXPECT_TRUE(scene.apart->GetMatrix().IsIdentity());
}

TEST(SetArtboardProperties, TheBoardBesideAGrownOneMovesByTheGrowthAndKeepsTheGap) {
    BoardScene scene;
    ExampleDocuments::Append(*scene.right, ExampleDocuments::MakeRectangle({140, 20, 160, 40}, 0, 1, 0));
    auto const command = scene.Resized(scene.left, 170, 50, SpatialAnchor::TopLeft);
    EXPECT_EQ((Rect{10, 10, 180, 60}), scene.left->GetBounds(false));
    EXPECT_EQ((Rect{200, 10, 270, 60}), scene.right->GetBounds(false));
    EXPECT_EQ((Rect{210, 20, 230, 40}), scene.right->GetFirstChild(NodeChildListType::Plain)->GetBounds(false));
    // Of a board that only moved along there is no more to keep than its step.
    EXPECT_FALSE(command->GetUndoData().Find(*scene.right)->properties);
    EXPECT_EQ(1u, BoardScene::CountParts(*command, *scene.right));
}

TEST(SetArtboardProperties, ADisabledBoardIsPassedOverEverywhere) {
    BoardScene scene;
    scene.left->SetArtboardEnabled(false);
    auto const before = scene.controller->GetHash(false);
    auto const command = scene.Make({scene.left});
    command->SetDimensions({500, 500});
    command->SetUseMargins(true);
    scene.controller->Run(command);
    EXPECT_EQ(before, scene.controller->GetHash(false));
    EXPECT_TRUE(command->GetUndoData().IsEmpty());
    EXPECT_FALSE(SetArtboardPropertiesCommand::CanApplyTo(command->GetSelection()));
}

TEST(SetArtboardProperties, MarginsAloneHaveNoParts) {
    BoardScene scene;
    auto const command = scene.Make({scene.left});
    command->SetMargins({1, 2, 3, 4});
    scene.controller->Run(command);
    EXPECT_EQ((Edges{1, 2, 3, 4}), scene.left->GetArtboardProperties()->GetMargins());
    EXPECT_EQ(1u, command->GetUndoData().GetSize());
    EXPECT_EQ(0u, BoardScene::CountParts(*command, *scene.left));
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    EXPECT_TRUE(As<GuidesChangedNotification>(told.front()));
    scene.controller->Undo();
    EXPECT_TRUE(scene.left->GetArtboardProperties()->GetMargins().IsUnset());
}

// The bit of one lies within the bits of the other.
TEST(SetArtboardProperties, MarginsAndTheirUseCarryEachOther) {
    BoardScene scene;
    auto const properties = scene.left->GetArtboardProperties();
    properties->SetUseMargins(true);
    properties->SetMargins({9, 9, 9, 9});
    auto const margins = scene.Make({scene.left});
    margins->SetMargins({1, 2, 3, 4});
    scene.controller->Run(margins);
    EXPECT_FALSE(properties->GetUseMargins());
    auto const use = scene.Make({scene.left});
    use->SetUseMargins(true);
    scene.controller->Run(use);
    EXPECT_TRUE(properties->GetUseMargins());
    EXPECT_TRUE(properties->GetMargins().IsUnset());
    scene.controller->GoTo(0);
    EXPECT_TRUE(properties->GetUseMargins());
    EXPECT_EQ((Edges{9, 9, 9, 9}), properties->GetMargins());
}

TEST(SetArtboardProperties, TheScaleOfTheDrawingIsToldAndNotKept) {
    BoardScene scene;
    auto const before = scene.controller->GetHash(false);
    auto const command = scene.Make({scene.left});
    command->SetDrawingScale(true, Kernel::MakeCounted<DrawingScale const>(1, 100));
    scene.controller->Run(command);
    EXPECT_EQ(before, scene.controller->GetHash(false));
    auto const told = NotificationsOf(*command);
    ASSERT_EQ(1u, told.size());
    EXPECT_TRUE(As<DocumentUnitChangedNotification>(told.front()));
    command->Teardown();
    EXPECT_TRUE(NotificationsOf(*command).empty());
}

// There the guide goes to the translation; back it is divided by a scale of nothing.
TEST(SetArtboardProperties, GuidesOfAnAnchoredBoardDoNotComeBack) {
    BoardScene scene;
    auto const properties = scene.left->GetArtboardProperties();
    properties->SetGuides(0, {30, 40});
    properties->SetGuides(1, {0});
    scene.Resized(scene.left, 160, 50, SpatialAnchor::Right);
    EXPECT_EQ((std::vector<double>{60, 60}), properties->GetGuidesPixels96(0));
    EXPECT_EQ((std::vector<double>{0}), properties->GetGuidesPixels96(1));
    scene.controller->Undo();
    EXPECT_TRUE(std::isinf(properties->GetGuidesPixels96(0)[0]));
    EXPECT_TRUE(std::isnan(properties->GetGuidesPixels96(1)[0]));
    auto const path = testing::TempDir() + "/guides.redraft";
    scene.controller->Save(path);
    EXPECT_EQ(scene.controller->GetHash(false), DocumentController::Open(path, true)->GetHash(false));
    std::remove(path.c_str());
}

TEST(SetArtboardProperties, TheFirstColumnGuideGoesByTheScaleOfXAndComesBackByThatOfY) {
    BoardScene scene;
    auto const properties = scene.left->GetArtboardProperties();
    properties->SetColumnGuides({8, 50});
    properties->SetMargins({1, 2, 3, 4});
    scene.Resized(scene.left, 200, 200, SpatialAnchor::ScaleContent);
    EXPECT_EQ((std::vector<double>{16, 50}), properties->GetColumnGuides());
    EXPECT_EQ((Edges{2, 8, 6, 16}), properties->GetMargins());
    scene.controller->Undo();
    EXPECT_EQ((std::vector<double>{4, 50}), properties->GetColumnGuides());
    EXPECT_EQ((Edges{1, 2, 3, 4}), properties->GetMargins());
}

TEST(SetArtboardProperties, AnchoredContentMovesByTheOldSizeLessTheNewOne) {
    BoardScene scene;
    auto const command = scene.Resized(scene.left, 160, 70, SpatialAnchor::BottomRight);
    EXPECT_EQ((Params{1, 0, -60, 0, 1, -20}), scene.shape->GetMatrix());
    EXPECT_EQ((Params{1, 0, -60, 0, 1, -20}), command->GetUndoData().Find(*scene.left)->childTransform);
    scene.controller->Undo();
    EXPECT_TRUE(scene.shape->GetMatrix().IsIdentity());
}

// Zero, negative and no numbers: boards without area, matrices as they come; all of it comes back.
TEST(SetArtboardProperties, AnySizeIsTakenAndComesBackExactly) {
    double const nan = std::nan(""), infinite = HUGE_VAL;
    for (auto const anchor : {SpatialAnchor::ScaleContent, SpatialAnchor::TopLeft, SpatialAnchor::Centre}) {
        for (Kernel::SizeT<double> const size :
             {Kernel::SizeT<double>{0, 50}, {0, 0}, {-40, 50}, {nan, 50}, {infinite, 50}, {1e300, 1e-300}}) {
            BoardScene scene;
            ExampleDocuments::Append(*scene.left, Kernel::MakeCounted<FrameTextNode>(Rect{50, 20, 100, 50}));
            auto const before = scene.controller->GetHash(false);
            scene.Resized(scene.left, size.width, size.height, anchor);
            auto const after = scene.controller->GetHash(false);
            scene.Resized(scene.left, 30, 30, anchor);
            scene.controller->GoTo(1);
            EXPECT_EQ(after, scene.controller->GetHash(false)) << size.width;
            scene.controller->GoTo(0);
            EXPECT_EQ(before, scene.controller->GetHash(false)) << size.width;
            scene.controller->GoTo(1);
            EXPECT_EQ(after, scene.controller->GetHash(false)) << size.width;
        }
    }
}

TEST(SetArtboardProperties, ABoardWithoutWidthStaysWithoutOne) {
    BoardScene scene;
    scene.Resized(scene.left, 0, 50, SpatialAnchor::LeaveContent);
    EXPECT_EQ((Rect{10, 10, 10, 60}), scene.left->GetArtboardBox());
    EXPECT_EQ((Rect{30, 10, 100, 60}), scene.right->GetBounds(false));
    scene.Resized(scene.left, 100, 50, SpatialAnchor::LeaveContent);
    EXPECT_EQ((Rect{10, 10, 10, 60}), scene.left->GetArtboardBox());
    EXPECT_TRUE(scene.left->GetMatrix().IsIdentity());
}

TEST(SetArtboardProperties, BoardsOfOtherSpreadsKeepTheirSize) {
    BoardScene scene;
    auto const spread = Kernel::MakeCounted<SpreadNode>(Rect{0, 0, 400, 300});
    scene.controller->GetDocument()->InsertChild(NodeChildListType::Plain, spread, nullptr);
    scene.controller->SetCurrentSpread(spread);
    scene.Resized(scene.left, 160, 70, SpatialAnchor::TopLeft);
    EXPECT_EQ((Rect{10, 10, 110, 60}), scene.left->GetArtboardBox());
}

} // namespace
