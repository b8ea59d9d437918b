// SPDX-License-Identifier: Apache-2.0
#include "platform/document/artboard.h"
#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/node_spaces.h"
#include "platform/document/spatial_anchor.h"
#include "platform/kernel/cast.h"

#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>

namespace {

using Rect = Kernel::RectT<double>;
using Params = Raster::AffineTransform::Params;

struct ArtboardFixture : testing::Test {
    Kernel::Counted<DocumentController> controller = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 1);

    SpreadNode& Spread() { return *controller->GetCurrentSpread(); }
    Kernel::Counted<ArtboardNode> Add(Rect box) {
        auto artboard = Kernel::MakeCounted<ArtboardNode>(box);
        Spread().InsertChild(NodeChildListType::Plain, artboard, nullptr);
        return artboard;
    }
    Kernel::Counted<ShapeNode> AddRectangle(Node& parent, Rect rect) {
        auto const definition = Kernel::MakeCounted<RectangleShape>();
        definition->box = rect;
        auto shape = Kernel::MakeCounted<ShapeNode>(definition);
        shape->SetBrushFillDescriptor(
            Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(1, 0, 0)));
        parent.InsertChild(NodeChildListType::Plain, shape, nullptr);
        return shape;
    }
    // Red, green, blue, alpha.
    std::array<unsigned char, 4> PixelAt(int x, int y) {
        auto const buffer = MakeSpreadPicture(Spread(), {})->Render({x, y, x + 1, y + 1});
        std::array<unsigned char, 4> pixel{};
        buffer->ReadPixels(buffer->GetBounds(), pixel.data(), 4);
        return pixel;
    }
};

using Pixel = std::array<unsigned char, 4>;
constexpr Pixel c_paper{255, 255, 255, 255};

TEST_F(ArtboardFixture, OnlyEnabledBoardsRightOnTheSpreadCount) {
    auto const first = Add({0, 0, 10, 10}), off = Add({20, 0, 30, 10}), last = Add({40, 0, 50, 10});
    off->SetArtboardEnabled(false);
    first->InsertChild(NodeChildListType::Plain, Kernel::MakeCounted<ArtboardNode>(Rect{1, 1, 2, 2}), nullptr);
    EXPECT_EQ(2, controller->GetArtboardCount());
    EXPECT_EQ(last.get(), Kernel::CastPointer<ArtboardNode>(Spread().GetArtboardAtIndex(1).get()));
    EXPECT_FALSE(Spread().GetArtboardAtIndex(2));
    EXPECT_FALSE(Spread().GetArtboardAtIndex(-1));
}

TEST_F(ArtboardFixture, ABoardPaintsItsFillAndClipsItsContentToTheBox) {
    auto const board = Add({10, 10, 50, 50});
    board->SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 1)));
    AddRectangle(*board, {30, 30, 90, 90});
    EXPECT_EQ((Pixel{0, 0, 255, 255}), PixelAt(20, 20));
    EXPECT_EQ((Pixel{255, 0, 0, 255}), PixelAt(40, 40));
    EXPECT_EQ(c_paper, PixelAt(70, 70));
    EXPECT_EQ((Rect{10, 10, 50, 50}), board->GetBounds(true));
}

TEST_F(ArtboardFixture, ADisabledBoardIsNoMoreThanAGroup) {
    auto const board = Add({10, 10, 50, 50});
    board->SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 1)));
    AddRectangle(*board, {30, 30, 90, 90});
    board->SetArtboardEnabled(false);
    EXPECT_EQ(c_paper, PixelAt(20, 20));
    EXPECT_EQ((Pixel{255, 0, 0, 255}), PixelAt(70, 70));
    EXPECT_EQ((Rect{30, 30, 90, 90}), board->GetBounds(true));
}

TEST_F(ArtboardFixture, MarginsAndGuidesAreNotPrinted) {
    auto const board = Add({10, 10, 50, 50});
    auto const properties = board->GetArtboardProperties();
    properties->SetUseMargins(true);
    properties->SetMargins({5, 5, 5, 5});
    properties->SetMarginFill(Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(1, 0, 0)));
    properties->SetGuides(0, {30});
    EXPECT_EQ(c_paper, PixelAt(12, 12));
    EXPECT_EQ(c_paper, PixelAt(30, 30));
}

TEST_F(ArtboardFixture, BoxesWithoutAreaOrNumbersShowNothing) {
    double const nan = std::nan(""), infinite = HUGE_VAL;
    for (Rect const box : {Rect{10, 10, 10, 50}, Rect{50, 50, 10, 10}, Rect{nan, 10, 50, 50},
                           Rect{-infinite, 0, infinite, 100}, c_unsetBox}) {
        auto const board = Add(box);
        AddRectangle(*board, {0, 0, 90, 90});
        EXPECT_EQ(c_paper, PixelAt(40, 40)) << box.left;
        board->RemoveFromParent();
    }
}

TEST_F(ArtboardFixture, PropertiesAreSavedHashedAndCloned) {
    auto const board = Add({10, 10, 50, 50});
    auto const before = controller->GetHash(false);
    auto const properties = board->GetArtboardProperties();
    properties->SetMargins({1, 2, 3, 4});
    properties->SetColumnGuides({7, 8});
    properties->SetGuides(0, {5, 6});
    properties->SetGuides(1, {9});
    properties->SetGuide(0, 1, 16);
    properties->SetGuide(0, 2, 17);
    properties->SetDrawingScale(true, Kernel::MakeCounted<DrawingScale const>(1, 50));
    auto const hash = controller->GetHash(false);
    EXPECT_NE(before, hash);

    auto const path = testing::TempDir() + "/artboard.redraft";
    controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    EXPECT_EQ(hash, loaded->GetHash(false));
    auto const read = loaded->GetCurrentSpread()->GetArtboardAtIndex(0)->GetArtboardProperties();
    EXPECT_EQ((Kernel::EdgeOffsetsT<double>{1, 2, 3, 4}), read->GetMargins());
    EXPECT_EQ((std::vector<double>{5, 16}), read->GetGuidesPixels96(0));
    EXPECT_EQ((std::vector<double>{9}), read->GetGuidesPixels96(1));
    EXPECT_EQ((std::vector<double>{7, 8}), read->GetColumnGuides());
    EXPECT_TRUE(read->GetUseDrawingScale());
    EXPECT_EQ(50, read->GetDrawingScale()->GetReal());
    std::remove(path.c_str());

    CloneContext context(CloneType::Copy);
    auto const copy = Kernel::Cast<ArtboardNode>(board->Clone(context));
    EXPECT_EQ((Rect{10, 10, 50, 50}), copy->GetArtboardBox());
    EXPECT_EQ((Kernel::EdgeOffsetsT<double>{1, 2, 3, 4}), copy->GetArtboardProperties()->GetMargins());
    EXPECT_EQ(copy.get(), copy->GetArtboardProperties()->GetNode().get());
    copy->GetArtboardProperties()->SetUseMargins(true);
    EXPECT_FALSE(properties->GetUseMargins());
}

TEST(NodeSpaces, BoxesWithoutAreaStayAsTheyAre) {
    Params const turned{0, -2, 5, 2, 0, 7};
    EXPECT_EQ((Rect{-15, 9, 5, 27}), GetTransformedBox({1, 0, 10, 10}, turned));
    for (Rect const box : {Rect{3, 4, 3, 9}, Rect{}, c_unsetBox})
        EXPECT_EQ(box, GetTransformedBox(box, turned));
}

TEST_F(ArtboardFixture, SpacesLeadFromANodeToItsSpread) {
    auto const group = Kernel::MakeCounted<GroupNode>();
    group->SetTransform({2, 0, 10, 0, 2, 20}, false);
    Spread().InsertChild(NodeChildListType::Plain, group, nullptr);
    auto const board = Kernel::MakeCounted<ArtboardNode>(Rect{0, 0, 5, 5});
    board->SetTransform({1, 0, 3, 0, 1, 4}, false);
    group->InsertChild(NodeChildListType::Plain, board, nullptr);
    NodeSpaces const spaces(*board);
    EXPECT_EQ((Params{2, 0, 16, 0, 2, 28}), spaces.GetLocalToSpreadTransform());
    EXPECT_EQ((Params{2, 0, 10, 0, 2, 20}), spaces.GetParentToSpreadTransform());
    EXPECT_EQ((Params{1, 0, 3, 0, 1, 4}), spaces.GetLocalToParentTransform());
    EXPECT_EQ((Rect{16, 28, 26, 38}), spaces.GetSpreadBaseBox(false));
    EXPECT_EQ((Rect{0, 0, 5, 5}), GetTransformedBox(spaces.GetSpreadBaseBox(false), spaces.GetSpreadToBaseTransform()));
    EXPECT_EQ((Params{1, 0, 1, 0, 1, 0}), spaces.GetInParent({1, 0, 2, 0, 1, 0}));
    EXPECT_EQ((Params{1, 0, 2, 0, 1, 0}), NodeSpaces(*group).GetInLocal({1, 0, 4, 0, 1, 0}));
}

TEST(SpatialAnchor, NamesTheCornersEdgesAndTheCentre) {
    Rect const box{10, 20, 30, 60};
    using Point = Kernel::PointT<double>;
    EXPECT_EQ((Point{10, 20}), GetAnchorPoint(SpatialAnchor::TopLeft, box));
    EXPECT_EQ((Point{20, 20}), GetAnchorPoint(SpatialAnchor::Top, box));
    EXPECT_EQ((Point{30, 40}), GetAnchorPoint(SpatialAnchor::Right, box));
    EXPECT_EQ((Point{20, 40}), GetAnchorPoint(SpatialAnchor::Centre, box));
    EXPECT_EQ((Point{30, 60}), GetAnchorPoint(SpatialAnchor::BottomRight, box));
    EXPECT_EQ((Point{10, 20}), GetAnchorPoint(SpatialAnchor::ScaleContent, box));
    EXPECT_EQ((Point{10, 20}), GetAnchorPoint(SpatialAnchor::LeaveContent, box));
}

} // namespace
