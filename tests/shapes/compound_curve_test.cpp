// SPDX-License-Identifier: Apache-2.0
#include "platform/document/document_renderer.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Support;
using namespace ExampleDocuments;

Kernel::Counted<CompoundCurveNode> MakeCompound(Scene& scene, CompoundOperation operation,
                                                std::initializer_list<Kernel::Counted<Node>> members) {
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    compound->SetCompoundOperation(operation);
    SetFill(*compound, 1, 0, 0);
    scene.Put(*compound, members);
    Append(*scene.spread, compound);
    return compound;
}

// The painted area: the share of red pixels in the picture of the spread.
double PaintedArea(Scene const& scene) {
    SpreadPictureOptions options;
    options.scale = 1;
    options.background = Renderer::Colour::FromGrey(1);
    auto const target = MakeSpreadPicture(*scene.spread, options);
    auto const buffer = target->Render({0, 0, 400, 300});
    std::vector<unsigned char> bytes(std::size_t{400} * 300 * 4);
    buffer->ReadPixels(buffer->GetBounds(), bytes.data(), 400 * 4);
    double area = 0;
    for (std::size_t i = 0; i != bytes.size(); i += 4)
        area += 1 - bytes[i + 1] / 255.0;
    return area;
}

TEST(CompoundCurve, DrawsItsOperation) {
    struct Case {
        CompoundOperation operation;
        double area;
    };
    // Two squares of 10,000 with 2,500 in common, and one of 400 within both.
    for (auto const& [operation, area] :
         {Case{CompoundOperation::Add, 17500}, Case{CompoundOperation::Subtract, 7500},
          Case{CompoundOperation::Intersect, 400}, Case{CompoundOperation::Xor, 15000 + 400}}) {
        Scene scene;
        auto const compound =
            MakeCompound(scene, operation, {Box(10, 10, 110, 110), Box(60, 60, 160, 160), Box(70, 70, 90, 90)});
        EXPECT_NEAR(area, compound->GetOutline()->GetArea(), 1e-6);
        EXPECT_NEAR(area, PaintedArea(scene), 1);
        compound->SetWindingOrderMode(Geometry::WindingOrderMode::NonZero);
        EXPECT_NEAR(area, PaintedArea(scene), 1) << "holes turn against their rims";
    }
}

TEST(CompoundCurve, TheOutlineFollowsItsMembers) {
    Scene scene;
    auto const member = Box(60, 0, 160, 100);
    auto const compound = MakeCompound(scene, CompoundOperation::Subtract, {Box(0, 0, 100, 100), member});
    EXPECT_NEAR(6000, compound->GetOutline()->GetArea(), 1e-6);
    auto const made = compound->GetOutline();
    EXPECT_EQ(made.get(), compound->GetOutline().get()) << "it is made once";
    member->SetTransform({1, 0, 20, 0, 1, 0}, false);
    EXPECT_NEAR(8000, compound->GetOutline()->GetArea(), 1e-6);
    compound->SetCompoundOperation(CompoundOperation::Add);
    EXPECT_NEAR(18000, compound->GetOutline()->GetArea(), 1e-6);
    member->RemoveFromParent();
    EXPECT_NEAR(10000, compound->GetOutline()->GetArea(), 1e-6);
}

TEST(CompoundCurve, NothingIsLeftWhereMembersShareNothing) {
    Scene scene;
    auto const apart = MakeCompound(scene, CompoundOperation::Intersect, {Box(0, 0, 10, 10), Box(50, 0, 60, 10)});
    EXPECT_TRUE(apart->GetOutline()->empty());
    auto const covered = MakeCompound(scene, CompoundOperation::Subtract, {Box(0, 0, 10, 10), Box(-5, -5, 60, 10)});
    EXPECT_TRUE(covered->GetOutline()->empty());
    auto const untouched = MakeCompound(scene, CompoundOperation::Subtract, {Box(0, 0, 10, 10), Box(50, 0, 60, 10)});
    EXPECT_NEAR(100, untouched->GetOutline()->GetArea(), 1e-9);
    auto const empty = MakeCompound(scene, CompoundOperation::Add, {});
    EXPECT_TRUE(empty->GetOutline()->empty());
}

} // namespace
