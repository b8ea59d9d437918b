// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/replacement_shape.h"

#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

// A replacement with the old outline, in the old node's place.
Kernel::Counted<PolyCurveNode> Exchange(Scene& scene, Kernel::Counted<CurvesNode> const& old) {
    auto const list = old->GetConstPolyPolyCurves();
    auto const outline = list.at(0).curves->Clone();
    outline->ApplyTransform(list[0].transform);
    auto replacement = MakeReplacementShape(*old, *old, outline, scene.controller);
    EXPECT_EQ(nullptr, replacement->GetParent());
    auto* const parent = old->GetParent();
    parent->InsertChild(NodeChildListType::Plain, replacement, old.get());
    old->RemoveFromParent();
    return replacement;
}

struct Turned : Scene {
    Turned() {
        Put(*spread, {group});
        Put(*group, {shape});
        group->SetTransform({0, -2, 100, 2, 0, 50}, false);
        shape->SetTransform({1.5, 0, 7, 0, 1.5, 9}, false);
        SetLine(*shape, 4);
        shape->SetUserDescription("old");
        shape->SetOpacity(0.5);
    }
    Kernel::Counted<GroupNode> group = Kernel::MakeCounted<GroupNode>();
    Kernel::Counted<ShapeNode> shape = MakeEllipse({0, 0, 40, 20});
};

TEST(ReplacementShape, LiesWhereTheOldShapeLayAndLooksAlike) {
    Turned scene;
    SetFill(*scene.shape, 1, 0, 0);
    auto const bounds = scene.shape->GetBounds(true);
    auto const replacement = Exchange(scene, scene.shape);
    auto const after = replacement->GetBounds(true);
    EXPECT_NEAR(bounds.left, after.left, 1e-9);
    EXPECT_NEAR(bounds.top, after.top, 1e-9);
    EXPECT_NEAR(bounds.right, after.right, 1e-9) << "with the line, which is as wide on the page";
    EXPECT_NEAR(bounds.bottom, after.bottom, 1e-9);
    EXPECT_EQ(0.5, replacement->GetOpacity());
    EXPECT_EQ("old", replacement->GetDescription(false).ToStdString());
}

TEST(ReplacementShape, AFillThatIsLaidOverTheObjectStaysThereOnThePage) {
    Turned scene;
    auto const gradient = Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
        Geometry::PointDbl{0, 0}, Geometry::PointDbl{10, 0},
        std::vector<Renderer::GradientStop>{{0, 1, Renderer::Colour::FromGrey(0)},
                                            {1, 1, Renderer::Colour::FromGrey(1)}});
    scene.shape->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
        gradient, true, Params{1, 0, 3, 0, 1, 0}, Renderer::BlendMode::Normal, false));
    auto const onPage = [](CurvesNode const& node) {
        return node.GetBaseToSpreadTransform() * node.GetBrushFillDescriptor(true)->GetTransform();
    };
    auto const before = onPage(*scene.shape);
    auto const replacement = Exchange(scene, scene.shape);
    EXPECT_EQ(before.Apply(Kernel::PointT<double>{10, 20}), onPage(*replacement).Apply(Kernel::PointT<double>{10, 20}));
}

TEST(ReplacementShape, ChildrenAndClipsComeAlongWhereTheyLay) {
    Turned scene;
    auto const child = Box(0, 0, 5, 5), clip = Box(0, 0, 20, 20);
    Append(*scene.shape, child);
    Clip(*scene.shape, clip);
    child->SetTransform({1, 0, 2, 0, 1, 3}, false);
    auto const placeOfChild = child->GetBaseToSpreadTransform(), placeOfClip = clip->GetBaseToSpreadTransform();
    auto const replacement = Exchange(scene, scene.shape);
    EXPECT_EQ(scene.shape.get(), child->GetParent()) << "the old node keeps its own";
    auto const* const newChild = Kernel::CastPointer<SceneNode>(replacement->GetFirstChild(NodeChildListType::Plain));
    auto const* const newClip = Kernel::CastPointer<SceneNode>(replacement->GetFirstChild(NodeChildListType::Clipping));
    ASSERT_TRUE(newChild != nullptr && newClip != nullptr);
    EXPECT_EQ(placeOfChild, newChild->GetBaseToSpreadTransform());
    EXPECT_EQ(placeOfClip, newClip->GetBaseToSpreadTransform());
}

TEST(ReplacementShape, HasNoContourAndDoesNotRepeatWhatItsOutlineIsMadeOf) {
    Scene scene;
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    SetFill(*compound, 1, 0, 0);
    Append(*compound, Box(0, 0, 10, 10));
    scene.Put(*scene.spread, {compound});
    compound->SetContourOffset(3);
    auto const replacement = Exchange(scene, compound);
    EXPECT_EQ(0, replacement->GetContourOffset());
    EXPECT_FALSE(replacement->HasChildren(NodeChildListType::Plain));
}

TEST(ReplacementShape, ThePictureOfAnImageBecomesItsFill) {
    Scene scene;
    auto const image = Kernel::MakeCounted<ImageNode>();
    image->SetImage(Kernel::MakeCounted<Raster::DynamicBitmap>(4, 4, Raster::FormatRGBA8), {});
    scene.Put(*scene.spread, {image});
    auto const replacement = Exchange(scene, image);
    auto const* const fill =
        Kernel::CastPointer<Renderer::BitmapFill const>(replacement->GetBrushFillDescriptor(true)->GetFill().get());
    ASSERT_NE(nullptr, fill);
    EXPECT_EQ(image->GetImage(), fill->GetBitmap());
}

} // namespace
