// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "shapes/divide_shapes_command.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

// Rules of the divide that single drawings do not show by themselves.
namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

using Corners = std::vector<Kernel::PointT<double>>;

Kernel::Counted<DivideShapesCommand> Divide(Scene& scene, bool retainAll = false) {
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(retainAll, scene.Selected());
    scene.controller->Run(command);
    return command;
}

void SetAlpha(BrushFillInterface& object, float alpha) {
    object.SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0, 0).WithAlpha(alpha)));
}

Kernel::Counted<PolyCurveNode> Star() {
    auto star = MakePath({Corners{{50, 0}, {80, 100}, {0, 35}, {100, 35}, {20, 100}}}, true);
    SetFill(*star, 1, 0, 0);
    return star;
}

// A star in one stroke comes apart along a line that is seen over its fill, and not along one that lies under it.
TEST(DivideRules, ALineCutsItsOwnShapeWhereItIsSeenInFront) {
    for (bool const isBehind : {false, true}) {
        Scene scene;
        auto const star = Star();
        SetLine(*star, 2);
        star->SetLineBehindFill(isBehind);
        scene.PutAndSelect({star, Box(200, 0, 240, 40), Box(220, 20, 260, 60)});
        Divide(scene);
        auto const red = [&] {
            std::size_t count = 0;
            for (auto const* piece : PiecesIn(*scene.spread))
                count += piece->GetBounds(false).right < 150;
            return count;
        };
        EXPECT_EQ(isBehind ? 1u : 6u, red());
    }
}

// Of two lines in one place the one that is seen gives the piece, though it lies below and behind its fill.
TEST(DivideRules, ALineBehindTheFillIsSeenAllTheSame) {
    for (bool const isBehind : {false, true}) {
        Scene scene;
        auto const seen = OpenLine({{0, 0}, {100, 100}});
        seen->SetLineBehindFill(isBehind);
        scene.PutAndSelect({seen, MakePath({Corners{{0, 0}, {100, 100}}}, false), OpenLine({{0, 100}, {100, 0}})});
        Divide(scene);
        auto const pieces = PiecesIn(*scene.spread);
        EXPECT_EQ(4u, pieces.size());
        for (auto const* piece : pieces)
            EXPECT_TRUE(piece->IsLineStyleVisible());
    }
}

TEST(DivideRules, PiecesOfAShapeStandInTheOrderInWhichTheyWereMade) {
    Scene scene;
    std::vector<Kernel::Counted<Node>> shapes{Box(0, 0, 200, 20)};
    for (int i = 0; i != 5; ++i)
        shapes.push_back(Box(20 + 40 * i, -10, 35 + 40 * i, 30));
    for (auto const& shape : shapes)
        Append(*scene.spread, shape);
    scene.Select(shapes);
    Divide(scene);
    auto const made = scene.Selected()->GetNodes();
    auto const children = ChildrenOf(*scene.spread);
    ASSERT_EQ(children.size(), made.size());
    ASSERT_GE(made.size(), 16u);
    EXPECT_EQ(made, children);
}

// The pieces are lines then, and a line takes no children along.
TEST(DivideRules, WithoutAnythingToDivideShapesBecomeClosedLinesWithTheirFillAndWithoutChildren) {
    Scene scene;
    auto const left = Box(0, 0, 30, 30), right = Box(100, 0, 130, 30);
    scene.Put(*left, {Named("inside")});
    scene.PutAndSelect({left, right});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(2u, pieces.size());
    for (auto const* piece : pieces) {
        EXPECT_FALSE(piece->HasChildren(NodeChildListType::Plain));
        EXPECT_TRUE(piece->IsBrushFillVisible(0.01));
        EXPECT_NEAR(900, std::abs(AreaOf(*piece)), 1e-9);
    }
}

TEST(DivideRules, AFrameWithALineAloneIsAnInputToo) {
    for (auto const content : {ContentType::Frame, ContentType::Object}) {
        Scene scene;
        auto const text = MakeTextFrame({10, 10, 210, 110}, "i");
        text->SetBrushFillDescriptor({});
        SetLine(*text, 2);
        text->SetLineStyleContentType(content);
        scene.PutAndSelect({text});
        Divide(scene);
        auto const frames = [&] {
            std::size_t count = 0;
            for (auto const* piece : PiecesIn(*scene.spread)) {
                auto const bounds = piece->GetBounds(false);
                count += std::abs(bounds.left - 10) < 1e-6 && std::abs(bounds.right - 210) < 1e-6;
            }
            return count;
        };
        EXPECT_EQ(content == ContentType::Frame ? 1u : 0u, frames());
    }
}

// The clip of a group within a clip, or of one of its members, limits what the clip lets through.
TEST(DivideRules, ClipsWithinClippingGroupsCount) {
    auto const areaLeft = [](auto const& addClip) {
        Scene scene;
        auto const shape = Box(0, 0, 100, 100), aside = Box(300, 0, 340, 40), over = Box(320, 20, 360, 60);
        auto const clip = Kernel::MakeCounted<GroupNode>();
        Clip(*shape, clip);
        addClip(scene, *clip);
        scene.PutAndSelect({shape, aside, over});
        Divide(scene);
        double area = 0;
        for (auto const* piece : PiecesIn(*scene.spread)) {
            if (piece->GetBounds(false).right < 200)
                area += std::abs(AreaOf(*piece));
        }
        return area;
    };
    EXPECT_NEAR(2500, areaLeft([](Scene& scene, GroupNode& clip) { scene.Put(clip, {Box(0, 0, 50, 50)}); }), 1e-6);
    EXPECT_NEAR(500, areaLeft([](Scene& scene, GroupNode& clip) {
                    auto const member = Box(0, 0, 50, 50);
                    Clip(*member, Box(0, 0, 10, 100));
                    scene.Put(clip, {member});
                }),
                1e-6);
    EXPECT_NEAR(1000, areaLeft([](Scene& scene, GroupNode& clip) {
                    auto const inner = Kernel::MakeCounted<GroupNode>();
                    scene.Put(*inner, {Box(0, 0, 50, 50)});
                    Clip(*inner, Box(0, 0, 20, 100));
                    scene.Put(clip, {inner});
                }),
                1e-6);
    EXPECT_NEAR(1500, areaLeft([](Scene& scene, GroupNode& clip) {
                    scene.Put(clip, {Box(0, 0, 50, 50)});
                    Clip(clip, Box(0, 0, 30, 100));
                }),
                1e-6);
    EXPECT_NEAR(0, areaLeft([](Scene& scene, GroupNode& clip) {
                    scene.Put(clip, {Box(0, 0, 50, 50)});
                    Clip(clip, Box(70, 70, 80, 80));
                }),
                1e-6);
}

// All of what was visited is told, pieces or not, each place once.
TEST(DivideRules, TheAreaOfEveryVisitedObjectIsTold) {
    Scene scene;
    auto const shape = Box(0, 0, 30, 30);
    auto const lost = Box(50, 0, 80, 30);
    Clip(*lost, Box(500, 0, 501, 1));
    auto const text = MakeTextFrame({100, 10, 200, 60}, "words");
    auto const group = NamedGroup("group");
    scene.Put(*group, {Box(10, 100, 40, 130)});
    scene.PutAndSelect({shape, lost, text, group});
    std::vector<Kernel::RectT<double>> expected{shape->GetBounds(true), lost->GetBounds(true), text->GetBounds(true),
                                                ChildrenOf(*group)[0]->GetBounds(true)};
    auto const command = Divide(scene);
    auto const list = NotificationsOf(*command);
    ASSERT_GE(list.size(), 2u);
    auto const told = As<InvalidateDocumentNotification>(list[1]);
    ASSERT_TRUE(told);
    std::vector<Kernel::RectT<double>> rects;
    for (auto const& rect : told->GetSpreadRects().GetRects()) {
        EXPECT_EQ(scene.spread, rect.spread);
        rects.push_back(rect.rect);
    }
    EXPECT_EQ(expected, rects);
}

TEST(DivideRules, AFillOfOneHundredthOrLessIsNotSeen) {
    for (float const alpha : {0.009f, 0.011f}) {
        bool const isSeen = alpha > 0.01f;
        // An open clip that is not painted clips to nothing.
        Scene scene;
        auto const shape = Box(0, 0, 100, 100);
        auto const clip = MakePath({Corners{{0, 0}, {50, 0}, {50, 50}, {0, 50}}}, false);
        SetAlpha(*clip, alpha);
        Clip(*shape, clip);
        scene.PutAndSelect({shape});
        Divide(scene);
        EXPECT_EQ(isSeen ? 1u : 0u, PiecesIn(*scene.spread).size()) << alpha;

        // Open content of a clipping group is area only where it is painted.
        Scene grouped;
        auto const other = Box(0, 0, 100, 100);
        auto const group = Kernel::MakeCounted<GroupNode>();
        auto const open = MakePath({Corners{{0, 0}, {50, 0}, {50, 50}, {0, 50}}}, false);
        SetAlpha(*open, alpha);
        grouped.Put(*group, {open});
        Clip(*other, group);
        grouped.PutAndSelect({other});
        Divide(grouped);
        EXPECT_EQ(isSeen ? 1u : 0u, PiecesIn(*grouped.spread).size()) << alpha;

        // A frame is an area where its fill is seen, and letters do not count as one.
        Scene framed;
        auto const text = MakeTextFrame({10, 10, 210, 110}, "i");
        SetAlpha(*text, alpha);
        auto const letters = Box(20, 20, 200, 100);
        framed.PutAndSelect({text, letters});
        Divide(framed);
        double area = 0;
        for (auto const* piece : PiecesIn(*framed.spread))
            area += std::abs(AreaOf(*piece));
        EXPECT_EQ(isSeen, area > 19000) << alpha;
    }
}

TEST(DivideRules, TheEndOfTheCommandIsNoDirectionOfItsOwnForTheSelectionThatIsTold) {
    Scene scene;
    OverlappingShapes(*scene.controller);
    auto const command = Divide(scene);
    auto const made = scene.Selected();
    scene.controller->Undo();
    command->Teardown();
    auto const list = NotificationsOf(*command);
    ASSERT_GE(list.size(), 3u);
    EXPECT_EQ(made, As<NewSelectionNotification>(list[2])->GetNewSelection());
}

TEST(DivideRules, SaysWhenThereIsNoMap) {
    Scene scene;
    auto const infinite = MakePath({Corners{{std::numeric_limits<double>::infinity(), 0}, {1, 1}, {0, 1}}}, true);
    SetFill(*infinite, 1, 0, 0);
    scene.PutAndSelect({infinite});
    auto const command = Divide(scene);
    EXPECT_TRUE(command->LacksMap());
    EXPECT_FALSE(command->HasPieces());
    Scene sound;
    OverlappingShapes(*sound.controller);
    EXPECT_FALSE(Divide(sound)->LacksMap());
}

} // namespace
