// SPDX-License-Identifier: Apache-2.0
#include "lines/set_fill_scale_with_object_commands.h"
#include "lines/set_scale_line_style_command.h"
#include "platform/document/document_controller.h"
#include "tests/support/documents.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace Support;
using namespace Commands;
using Renderer::FillDescriptor, Renderer::LineStyle, Renderer::LineStyleDescriptor;

struct ScaledShape {
    explicit ScaledShape(double scale, std::optional<double> weight = 3.0) {
        auto const style = Kernel::MakeCounted<LineStyle>();
        style->SetWeight(weight);
        shape->SetLineStyleDescriptor(
            Kernel::MakeCounted<LineStyleDescriptor const>(Kernel::Consolidated<LineStyle>(style)));
        shape->SetTransform({scale, 0, 0, 0, scale, 0}, false);
        ExampleDocuments::Append(*controller->GetCurrentSpread(), shape);
    }
    void SetScale(bool scales) const {
        controller->Run(Kernel::MakeCounted<SetScaleLineStyleCommand>(
            scales, ContentType::Object, false, false, LineCommandDefaultsMode::SelectionOnly,
            Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{shape})));
    }
    LineStyleDescriptor const& GetLine() const { return *shape->GetLineStyleDescriptor(); }
    std::optional<double> GetWeight() const { return GetLine().GetLineStyle()->GetWeight(); }

    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<ShapeNode> shape = ExampleDocuments::MakeRectangle({10, 10, 60, 60}, 1, 1, 0);
};

TEST(ScaleOfLines, TurnedOffAndOnAgainGivesTheSameWeight) {
    ScaledShape const scene(2.5);
    scene.SetScale(false);
    EXPECT_EQ(7.5, scene.GetWeight());
    EXPECT_FALSE(scene.GetLine().GetScaleWithObject());
    scene.SetScale(true);
    EXPECT_EQ(3.0, scene.GetWeight());
    EXPECT_TRUE(scene.GetLine().GetScaleWithObject());
}

TEST(ScaleOfLines, ThatIsAsWantedLeavesTheWeight) {
    ScaledShape const scene(2.5);
    scene.SetScale(true);
    EXPECT_EQ(3.0, scene.GetWeight());
    EXPECT_FALSE(scene.controller->GetLastResult().stacked);
}

TEST(ScaleOfLines, OfAStyleWithoutAWeightIs0) {
    ScaledShape const scene(2.5, std::nullopt);
    scene.SetScale(false);
    EXPECT_EQ(0.0, scene.GetWeight());
    ScaledShape const absolute(2.5, std::nullopt);
    auto const line = absolute.GetLine().Clone();
    line->SetScaleWithObject(false);
    absolute.shape->SetLineStyleDescriptor(line);
    absolute.SetScale(true);
    EXPECT_EQ(0.0, absolute.GetWeight());
}

TEST(ScaleOfLines, OfAnObjectOfNoSizeIsWhatDividingBy0Gives) {
    ScaledShape const scene(0);
    auto const before = scene.controller->GetHash(false);
    scene.SetScale(false);
    EXPECT_EQ(0.0, scene.GetWeight());
    scene.SetScale(true);
    EXPECT_TRUE(std::isnan(*scene.GetWeight()));
    scene.controller->Undo();
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    auto const line = scene.GetLine().Clone();
    line->SetScaleWithObject(false);
    scene.shape->SetLineStyleDescriptor(line);
    scene.SetScale(true);
    EXPECT_TRUE(std::isinf(*scene.GetWeight()));
}

// The flag is what it was, and still the fill is another object.
TEST(ScaleOfFills, ThatIsAsWantedIsSetAllTheSame) {
    ScaledShape const scene(1);
    auto const selection = Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.shape});
    auto const fill = scene.shape->GetBrushFillDescriptor(true);
    ASSERT_TRUE(fill->GetScaleWithObject());
    auto const command = Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(true, selection);
    scene.controller->Run(command);
    EXPECT_TRUE(*scene.shape->GetBrushFillDescriptor(true) == *fill);
    EXPECT_TRUE(scene.controller->GetLastResult().stacked);
}

TEST(ScaleOfFills, GivesEachObjectItsOwnFlagBack) {
    ScaledShape const scene(1);
    auto const other = ExampleDocuments::MakeRectangle({100, 10, 160, 60}, 1, 0, 0);
    auto const bare = ExampleDocuments::MakeRectangle({100, 100, 160, 160}, 1, 0, 0);
    bare->SetBrushFillDescriptor({});
    other->SetBrushFillDescriptor(other->GetBrushFillDescriptor(true)->CloneWithNewScaleWithObject(false));
    for (auto const& node : {other, bare})
        ExampleDocuments::Append(*scene.controller->GetCurrentSpread(), node);
    auto const selection = Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.shape, other, bare});
    auto const flags = [&] {
        return std::pair(scene.shape->GetBrushFillDescriptor(true)->GetScaleWithObject(),
                         other->GetBrushFillDescriptor(true)->GetScaleWithObject());
    };
    scene.controller->Run(Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(false, selection));
    for (int round = 0; round != 2; ++round) {
        EXPECT_EQ(std::pair(false, false), flags());
        EXPECT_FALSE(bare->GetBrushFillDescriptor(true));
        scene.controller->Undo();
        EXPECT_EQ(std::pair(true, false), flags());
        scene.controller->Redo();
    }
}

TEST(ScaleOfFills, OfTwoSwitchesIsTwoSteps) {
    ScaledShape const scene(1);
    scene.controller->SetMergingEnabled(true);
    scene.shape->SetPenFillDescriptor(Kernel::MakeCounted<FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0)));
    auto const selection = Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.shape});
    for (bool const scales : {false, true})
        scene.controller->Run(Kernel::MakeCounted<SetPenFillScaleWithObjectCommand>(scales, selection));
    EXPECT_EQ(2u, scene.controller->GetHistory()->GetCount());
    scene.controller->Undo();
    EXPECT_FALSE(scene.shape->GetPenFillDescriptor(true)->GetScaleWithObject());
}

TEST(ScaleOfFills, AppliesToObjectsThatHaveABrush) {
    ScaledShape const scene(1);
    auto const of = [](Kernel::Counted<Node> const& node) {
        return Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{node});
    };
    EXPECT_TRUE(SetBrushFillScaleWithObjectCommand::CanApplyTo(of(scene.shape)));
    EXPECT_FALSE(SetBrushFillScaleWithObjectCommand::CanApplyTo(of(Kernel::MakeCounted<GroupNode>())));
    EXPECT_FALSE(SetBrushFillScaleWithObjectCommand::CanApplyTo({}));
}

TEST(ScaleOfFills, OfBrushesTellsOfAttributesAndThenOfNodes) {
    ScaledShape const scene(1);
    auto const selection = Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.shape});
    auto const tell = [&](Kernel::Counted<DocumentCommand> const& command) {
        Bind(*scene.controller, *command);
        command->Do();
        return NotificationsOf(*command);
    };
    auto const ofBrush = tell(Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(false, selection));
    ASSERT_EQ(2u, ofBrush.size());
    EXPECT_TRUE(As<NodesAttributesChangedNotification>(ofBrush[0]));
    EXPECT_TRUE(As<NodesChangedNotification>(ofBrush[1]));
    EXPECT_FALSE(As<NodesAttributesChangedNotification>(ofBrush[1]));
    auto const ofPen = tell(Kernel::MakeCounted<SetPenFillScaleWithObjectCommand>(false, selection));
    ASSERT_EQ(1u, ofPen.size());
    EXPECT_TRUE(As<NodesAttributesChangedNotification>(ofPen[0]));
}

} // namespace
