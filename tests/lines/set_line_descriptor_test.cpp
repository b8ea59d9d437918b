// SPDX-License-Identifier: Apache-2.0
#include "lines/set_line_descriptor_command.h"
#include "lines/set_scale_line_style_command.h"
#include "platform/document/document_controller.h"
#include "platform/geometry/path_data.h"
#include "platform/renderer/line_outline.h"
#include "tests/support/documents.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace Support;
using namespace Commands;
using Renderer::LineStyle, Renderer::LineStyleArrowHead, Renderer::LineStyleDescriptor;

constexpr int Bit(LineProperty property) { return 1 << static_cast<int>(property); }
constexpr int c_weight = Bit(LineProperty::Weight);

Kernel::Counted<LineStyleDescriptor> Line(double weight) {
    return Kernel::MakeCounted<LineStyleDescriptor>(
        Kernel::Consolidated<LineStyle>(Kernel::MakeCounted<LineStyle const>(weight)));
}

Kernel::Counted<LineStyleArrowHead const> Head(double scale = 1) {
    return Kernel::MakeCounted<LineStyleArrowHead const>(MakeArrowHeadShape(ArrowHeadShape::Arrow), scale, scale);
}

Kernel::Counted<Selection const> Of(std::vector<Kernel::Counted<Node>> const& nodes) {
    return Kernel::MakeCounted<Selection>(nodes);
}

Kernel::Counted<SetLineDescriptorCommand> SetLine(Kernel::Counted<LineStyleDescriptor> line, int mask,
                                                  Kernel::Counted<Selection const> selection,
                                                  ContentType contentType = ContentType::Object) {
    return Kernel::MakeCounted<SetLineDescriptorCommand>(std::move(line), mask, contentType, false, true,
                                                         LineCommandDefaultsMode::SelectionOnly, std::move(selection));
}

std::string NamesOf(SetLineDescriptorCommand const& command) {
    std::string names;
    for (auto const& inner : command.GetCommands().Get())
        names += std::string(names.empty() ? "" : " ") + inner->GetObjectClassProperties()->GetName();
    return names;
}

// Two rectangles: one with a line of weight 2 that scales with it, at a scale of 2; one without a line.
struct Scene {
    Scene() {
        lined->SetLineStyleDescriptor(Line(2));
        lined->SetPenFillDescriptor(
            Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(1, 0, 0)));
        lined->SetTransform({2, 0, 0, 0, 2, 0}, false);
        for (Kernel::Counted<Node> const& node : {Kernel::Counted<Node>(lined), Kernel::Counted<Node>(plain)})
            ExampleDocuments::Append(*controller->GetCurrentSpread(), node);
    }
    Kernel::Counted<SetLineDescriptorCommand> Dequeued(Kernel::Counted<LineStyleDescriptor> line, int mask) const {
        auto command = SetLine(std::move(line), mask, Of({lined}));
        Bind(*controller, *command);
        return command;
    }
    double WeightOf(ShapeNode const& node) const {
        return node.GetLineStyleDescriptor()->GetLineStyle()->GetWeightOrZero();
    }

    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<ShapeNode> lined = ExampleDocuments::MakeRectangle({10, 10, 60, 60}, 1, 1, 0);
    Kernel::Counted<ShapeNode> plain = ExampleDocuments::MakeRectangle({100, 100, 160, 160}, 0, 1, 1);
};

TEST(SetLineDescriptor, OfAllPropertiesWithoutHeadsSetsNoScaleOfHeadsAndStillTakesHeadsAway) {
    Scene const scene;
    EXPECT_EQ("SetLineStyleCommand SetLineAlignmentCommand SetDrawLineBehindFillCommand SetScaleLineStyleCommand "
              "SetStrokeArrowHeadsCommand SetStrokeArrowHeadsCommand SetStrokeArrowHeadAlignmentCommand "
              "SetLineStylePressureCommand",
              NamesOf(*scene.Dequeued(Line(1), 0)));
    auto const withHeads = Line(1);
    withHeads->SetFrontArrowHead(Head());
    withHeads->SetBackArrowHead(Head());
    EXPECT_EQ("SetLineStyleCommand SetLineAlignmentCommand SetDrawLineBehindFillCommand SetScaleLineStyleCommand "
              "SetStrokeArrowHeadsCommand SetStrokeArrowHeadsCommand SetStrokeArrowHeadAlignmentCommand "
              "SetStrokeArrowHeadScaleCommand SetStrokeArrowHeadScaleCommand SetLineStylePressureCommand",
              NamesOf(*scene.Dequeued(withHeads, 0)));

    auto const before = Line(2);
    before->SetFrontArrowHead(Head());
    before->SetBackArrowHead(Head());
    scene.lined->SetLineStyleDescriptor(before);
    scene.controller->Run(SetLine(Line(1), 0, Of({scene.lined})));
    EXPECT_FALSE(scene.lined->GetLineStyleDescriptor()->GetFrontArrowHead());
    EXPECT_FALSE(scene.lined->GetLineStyleDescriptor()->GetBackArrowHead());
}

TEST(SetLineDescriptor, TakesBit8ForTheWeightAndBit9ForTheAlignment) {
    Scene const scene;
    auto const weight = scene.Dequeued(Line(7), 256);
    EXPECT_EQ("Set line weight", weight->GetDescription().GetText().ToStdString());
    EXPECT_EQ("SetLineStyleCommand", NamesOf(*weight));
    weight->Do();
    EXPECT_EQ(7, scene.WeightOf(*scene.lined));
    auto const alignment = scene.Dequeued(Line(7), 512);
    EXPECT_EQ("Set line alignment", alignment->GetDescription().GetText().ToStdString());
    EXPECT_EQ("SetLineAlignmentCommand", NamesOf(*alignment));
}

TEST(SetLineDescriptor, HasAnInnerCommandForEachPropertyBeyondTheStyle) {
    Scene const scene;
    LineArgument const argument{.dash = {}, .startHead = ArrowHeadShape::Arrow, .endHead = ArrowHeadShape::Circle};
    std::pair<LineProperty, char const*> const cases[] = {
        {LineProperty::DashPhase, "SetLineStyleCommand"},
        {LineProperty::Alignment, "SetLineAlignmentCommand"},
        {LineProperty::BehindFill, "SetDrawLineBehindFillCommand"},
        {LineProperty::ScaleWithObject, "SetScaleLineStyleCommand"},
        {LineProperty::FrontHead, "SetStrokeArrowHeadsCommand"},
        {LineProperty::BackHead, "SetStrokeArrowHeadsCommand"},
        {LineProperty::HeadAlignment, "SetStrokeArrowHeadAlignmentCommand"},
        {LineProperty::FrontHeadScale, "SetStrokeArrowHeadScaleCommand"},
        {LineProperty::BackHeadScale, "SetStrokeArrowHeadScaleCommand"},
        {LineProperty::Pressure, "SetLineStylePressureCommand"},
    };
    for (auto const& [property, name] : cases)
        EXPECT_EQ(name, NamesOf(*scene.Dequeued(argument, Bit(property)))) << Bit(property);
}

TEST(SetLineDescriptor, OfTypeAndWeightIsOneInnerCommand) {
    Scene const scene;
    auto const command = scene.Dequeued(Line(5), 3);
    EXPECT_EQ("SetLineStyleCommand", NamesOf(*command));
    EXPECT_EQ("Set linestyle", command->GetDescription().GetText().ToStdString());
    command->Do();
    EXPECT_EQ(5, scene.WeightOf(*scene.lined));
}

TEST(SetLineDescriptor, OfABrushSetsTheNibAlone) {
    Scene const scene;
    Kernel::Counted<LineStyleDescriptor> const line = LineArgument{
        .weight = 9, .cap = Renderer::LineCap::Round, .brushRoundness = 0.25, .brushAngle = 90, .dash = {}};
    auto const command = scene.Dequeued(line, Bit(LineProperty::Brush));
    EXPECT_EQ("SetLineStyleCommand", NamesOf(*command));
    command->Do();
    auto const style = scene.lined->GetLineStyleDescriptor()->GetLineStyle();
    EXPECT_EQ(0.25, style->GetBrush().roundness);
    EXPECT_DOUBLE_EQ(std::acos(0.0), style->GetBrush().angle);
    EXPECT_EQ(2, style->GetWeightOrZero());
    EXPECT_EQ(Renderer::LineCap::Butt, style->GetCap());
    command->Undo();
    EXPECT_EQ(Renderer::LineBrush(), scene.lined->GetLineStyleDescriptor()->GetLineStyle()->GetBrush());
}

// Every head ends in its own shape: the line neither shows beyond its tip nor leaves a gap behind it.
TEST(SetLineDescriptor, HeadsLieOnTheEndsOfTheLineOrBeyondThem) {
    auto const curve = Geometry::ReadPathData("M20 50H120").curves;
    for (auto const shape : {ArrowHeadShape::Arrow, ArrowHeadShape::Barbed, ArrowHeadShape::Circle,
                             ArrowHeadShape::Square, ArrowHeadShape::Bar}) {
        double const length = MakeArrowHeadShape(shape)->GetBounds()->right;
        for (bool const isBeyond : {false, true}) {
            auto const line = Line(6)->Clone();
            line->SetBackArrowHead(Kernel::MakeCounted<LineStyleArrowHead const>(MakeArrowHeadShape(shape), 1, 1));
            line->SetArrowHeadsBeyondEnds(isBeyond);
            auto const outline = Renderer::MakeLineOutline(*curve, *line, {}, 1.0 / 64);
            auto const bounds = outline->GetBounds();
            ASSERT_TRUE(bounds);
            EXPECT_NEAR(bounds->right, isBeyond ? 120 + 6 * length : 120, 0.05) << static_cast<int>(shape);
            // The shaft ends where the head begins.
            double shaftEnd = 0;
            for (auto const& polygon : outline->GetCurves()) {
                auto const box = *polygon->GetBounds();
                if (box.left < 21)
                    shaftEnd = box.right;
            }
            EXPECT_NEAR(shaftEnd, isBeyond ? 120 : 120 - 6 * length, 0.05) << static_cast<int>(shape);
        }
    }
}

TEST(SetLineDescriptor, IsDescribedByItsWholeMask) {
    std::pair<int, char const*> const cases[] = {{1, "Set line type"},
                                                 {2, "Set line weight"},
                                                 {4, "Set line brush"},
                                                 {8, "Set line cap style"},
                                                 {16, "Set line join style"},
                                                 {32, "Set line mitre limit"},
                                                 {64, "Set line dash pattern"},
                                                 {128, "Set line dash phase"},
                                                 {256, "Set line weight"},
                                                 {512, "Set line alignment"},
                                                 {1024, "Set line draw order"},
                                                 {2048, "Set line scale with object"},
                                                 {4096, "Set line arrow head properties"},
                                                 {8192, "Set line arrow head properties"},
                                                 {16384, "Set line arrow head properties"},
                                                 {32768, "Set line arrow head properties"},
                                                 {65536, "Set line arrow head properties"},
                                                 {131072, "Set line pressure profile"},
                                                 {0, "Set linestyle"},
                                                 {6, "Set linestyle"},
                                                 {12288, "Set linestyle"},
                                                 {262144, "Set linestyle"}};
    for (auto const& [mask, text] : cases) {
        auto const description = SetLine(Line(1), mask, {})->GetDescription();
        EXPECT_EQ(text, description.GetText().ToStdString()) << mask;
        EXPECT_EQ("Command description", description.GetContext().ToStdString());
    }
}

TEST(SetLineDescriptor, MergesOnlyOnTheSameSelectionAndMaskAndIfAllInnerCommandsAgree) {
    Scene const scene;
    scene.controller->SetMergingEnabled(true);
    auto const count = [&] { return scene.controller->GetHistory()->GetCount(); };
    auto const run = [&](double weight, int mask, std::vector<Kernel::Counted<Node>> const& nodes, bool canMerge) {
        scene.controller->Run(
            Kernel::MakeCounted<SetLineDescriptorCommand>(Line(weight), mask, ContentType::Object, false, canMerge,
                                                          LineCommandDefaultsMode::SelectionOnly, Of(nodes)));
    };
    auto const before = scene.controller->GetHash(false);
    for (double const weight : {3.0, 4.0, 5.0})
        run(weight, c_weight, {scene.lined, scene.plain}, true);
    EXPECT_EQ(1u, count());
    auto const after = scene.controller->GetHash(false);
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Redo();
    EXPECT_EQ(after, scene.controller->GetHash(false));
    EXPECT_EQ(5, scene.WeightOf(*scene.plain));

    run(6, c_weight, {scene.lined}, true);
    EXPECT_EQ(2u, count()) << "another selection";
    run(6, c_weight | Bit(LineProperty::Cap), {scene.lined}, true);
    EXPECT_EQ(3u, count()) << "another mask";
    run(7, c_weight | Bit(LineProperty::Cap), {scene.lined}, false);
    EXPECT_EQ(4u, count()) << "an inner command that does not merge";
}

// Each runs on the document's selection, which is another one by then.
TEST(SetLineDescriptor, WithoutAGivenSelectionMergesOnlyIfTheDocumentsIsTheSame) {
    Scene const scene;
    scene.controller->SetMergingEnabled(true);
    ExampleDocuments::Select(*scene.controller, {scene.lined});
    scene.controller->Run(SetLine(Line(3), c_weight, {}));
    scene.controller->Run(SetLine(Line(4), c_weight, {}));
    EXPECT_EQ(1u, scene.controller->GetHistory()->GetCount());
    ExampleDocuments::Select(*scene.controller, {scene.plain});
    scene.controller->Run(SetLine(Line(5), c_weight, {}));
    EXPECT_EQ(2u, scene.controller->GetHistory()->GetCount());
    scene.controller->Undo();
    EXPECT_FALSE(scene.plain->GetLineStyleDescriptor());
    EXPECT_EQ(4, scene.WeightOf(*scene.lined));
}

TEST(SetLineDescriptor, WithoutADescriptorHasNoInnerCommandsAndDoesNothing) {
    Scene const scene;
    auto const before = scene.controller->GetHash(false);
    auto const command = scene.Dequeued({}, 0);
    command->Do();
    EXPECT_TRUE(command->GetCommands().IsEmpty());
    EXPECT_FALSE(command->CanOnlyOperateOnCurrentSpread());
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(SetLineDescriptor, PassesOverInnerCommandsThatFoundNothingToChangeOutsidePreviews) {
    Scene const scene;
    // The alignment is what it was.
    auto const command = scene.Dequeued(Line(9), c_weight | Bit(LineProperty::Alignment));
    command->Do();
    auto const& inner = command->GetCommands().Get();
    ASSERT_EQ(2u, inner.size());
    EXPECT_TRUE(inner[0]->ShouldStackForUndo());
    EXPECT_FALSE(inner[1]->ShouldStackForUndo());
    auto const told = [&] { return NotificationsOf(*command).size(); };
    auto const toldByOne = [&](std::size_t i) { return NotificationsOf(*inner[i]).size(); };
    EXPECT_EQ(toldByOne(0) + toldByOne(1), told());
    command->Undo();
    EXPECT_EQ(DomainCommand::Direction::Undo, inner[0]->GetDirection());
    EXPECT_EQ(DomainCommand::Direction::Do, inner[1]->GetDirection()) << "undone although it is no step";
    EXPECT_EQ(toldByOne(0), told());
    command->Redo();
    EXPECT_EQ(DomainCommand::Direction::Do, inner[1]->GetDirection());
    command->SetPreview(true);
    EXPECT_EQ(toldByOne(0) + toldByOne(1), told());
    command->Undo();
    EXPECT_EQ(DomainCommand::Direction::Undo, inner[1]->GetDirection());
}

TEST(SetLineDescriptor, GivesALineOnlyToObjectsThatAreToGetAStyle) {
    Scene const scene;
    scene.controller->Run(SetLine(Line(3), Bit(LineProperty::Alignment), Of({scene.plain})));
    EXPECT_FALSE(scene.plain->GetLineStyleDescriptor());
    scene.controller->Run(SetLine(Line(3), c_weight, Of({scene.plain})));
    ASSERT_TRUE(scene.plain->GetLineStyleDescriptor());
    EXPECT_TRUE(scene.plain->IsLineStyleVisible()) << "a line without paint";
}

TEST(SetLineDescriptor, MakesASolidLineDashedByAPatternAlone) {
    Scene const scene;
    LineArgument const dashed{.dash = {4, 2}};
    scene.controller->Run(SetLine(dashed, Bit(LineProperty::DashPattern), Of({scene.lined})));
    auto const& style = *scene.lined->GetLineStyleDescriptor()->GetLineStyle();
    EXPECT_EQ(Renderer::LineType::Dashed, style.GetType());
    EXPECT_EQ((std::vector<double>{4, 2}), style.GetDashPattern());
    EXPECT_EQ(2, style.GetWeightOrZero());
}

TEST(SetLineDescriptor, StoresAWeightThatIsNoNumber) {
    Scene const scene;
    auto const before = scene.controller->GetHash(false);
    scene.controller->Run(SetLine(Line(std::numeric_limits<double>::quiet_NaN()), c_weight, Of({scene.lined})));
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(SetLineDescriptor, SetsTheDefaultsToo) {
    Scene const scene;
    auto const run = [&](LineCommandDefaultsMode mode, double weight) {
        scene.controller->Run(Kernel::MakeCounted<SetLineDescriptorCommand>(Line(weight), c_weight, ContentType::Object,
                                                                            false, false, mode, Of({scene.lined})));
    };
    auto const defaults = [&] { return scene.controller->GetDocumentDefaults()->GetLineStyleDescriptor(); };
    run(LineCommandDefaultsMode::SelectionAndDefaults, 4);
    EXPECT_EQ(4, scene.WeightOf(*scene.lined));
    ASSERT_TRUE(defaults());
    EXPECT_EQ(4, defaults()->GetLineStyle()->GetWeightOrZero());
    run(LineCommandDefaultsMode::DefaultsOnly, 5);
    EXPECT_EQ(4, scene.WeightOf(*scene.lined));
    EXPECT_EQ(5, defaults()->GetLineStyle()->GetWeightOrZero());
    scene.controller->Undo();
    EXPECT_EQ(4, defaults()->GetLineStyle()->GetWeightOrZero());
    scene.controller->Undo();
    EXPECT_FALSE(defaults());
}

TEST(SetLineDescriptor, OfTextSetsTheLinesOfItsGlyphsOrOfItsFrame) {
    Scene const scene;
    auto const first = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 0, 100, 20});
    auto const second = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, 100, 100, 200});
    first->SetText(Story::GlyphString(Kernel::String("one two three four five six seven eight nine ten")), {}, {});
    for (Kernel::Counted<Node> const& node : {Kernel::Counted<Node>(first), Kernel::Counted<Node>(second)})
        ExampleDocuments::Append(*scene.controller->GetCurrentSpread(), node);
    second->LinkBehind(*first);
    auto const lineOf = [&](std::uint32_t glyph) {
        return Kernel::Cast<LineStyleDescriptor const>(
            first->GetStory()->GetGlyphAtts(glyph)->Get(Story::GlyphAtt::Object::LineStyle));
    };
    auto const before = scene.controller->GetHash(false);
    // By the frame that follows, which holds no story of its own; a part of the text.
    auto const part = Kernel::MakeCounted<Selection>(
        Selection::Items{Kernel::Counted<SelectionItem const>(Kernel::MakeCounted<SubSelectionItem>(
            Kernel::Counted<Selectable>(second), Kernel::MakeCounted<TextSelection const>(7, 4)))},
        true);
    scene.controller->Run(SetLine(Line(3), c_weight, part));
    EXPECT_FALSE(lineOf(3));
    ASSERT_TRUE(lineOf(4));
    EXPECT_EQ(3, lineOf(6)->GetLineStyle()->GetWeightOrZero());
    EXPECT_FALSE(lineOf(7));
    EXPECT_FALSE(first->GetLineStyleDescriptor());
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Run(SetLine(Line(3), c_weight, Of({first, second}), ContentType::Frame));
    EXPECT_FALSE(lineOf(4));
    EXPECT_TRUE(first->GetLineStyleDescriptor());
    EXPECT_TRUE(second->GetLineStyleDescriptor());
}

TEST(SetLineDescriptor, BehindTheFillIsSaidByTheObject) {
    Scene const scene;
    auto const line = Line(2);
    line->SetDrawBehindFill(true);
    auto const mask = Bit(LineProperty::BehindFill);
    scene.controller->SetMergingEnabled(false);
    auto const before = scene.controller->GetHash(false);
    scene.controller->Run(SetLine(line, mask, Of({scene.lined})));
    EXPECT_TRUE(scene.lined->IsLineBehindFill());
    EXPECT_FALSE(scene.lined->GetLineStyleDescriptor()->GetDrawBehindFill());
    auto const behind = scene.controller->GetHash(false);
    EXPECT_NE(before, behind);
    scene.controller->Run(SetLine(Line(2), mask, Of({scene.lined})));
    EXPECT_FALSE(scene.lined->IsLineBehindFill());
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->GoTo(1);
    EXPECT_EQ(behind, scene.controller->GetHash(false));
    scene.controller->GoTo(0);
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

// Makes lines wider, so that what is done twice shows.
class WidenLines final : public BaseSetLineDescriptorCommand {
public:
    explicit WidenLines(Kernel::Counted<Selection const> selection)
        : BaseSetLineDescriptorCommand(ContentType::Object, false, false, LineCommandDefaultsMode::SelectionOnly, true,
                                       std::move(selection)) {}
    Kernel::LocalisedString GetDescription() const override { return Kernel::LocalisedString("Widen", ""); }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }

protected:
    void ApplyToDescriptor(Kernel::Counted<LineStyleDescriptor> descriptor, double) override {
        auto const style = descriptor->GetLineStyle()->Clone();
        style->SetWeight(style->GetWeightOrZero() + 1);
        descriptor->SetLineStyle(Kernel::Consolidated<LineStyle>(style));
    }
    void TakeArguments(BaseSetLineDescriptorCommand const&) override {}
};

TEST(LinesOfText, OfAStoryOfSeveralSelectedFramesAreChangedOnce) {
    Scene const scene;
    std::vector<Kernel::Counted<FrameTextNode>> frames;
    for (int i = 0; i != 3; ++i) {
        frames.push_back(Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{0, i * 50.0, 100, i * 50.0 + 20}));
        ExampleDocuments::Append(*scene.controller->GetCurrentSpread(), frames.back());
    }
    frames[0]->SetText(Story::GlyphString(Kernel::String("one two three four five six seven eight nine ten")), {}, {});
    FrameTextNode::LinkAll(frames);
    auto const alone = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{200, 0, 300, 20});
    alone->SetText(Story::GlyphString(Kernel::String("alone")), {}, {});
    ExampleDocuments::Append(*scene.controller->GetCurrentSpread(), alone);
    auto const weightOf = [](FrameTextNode const& frame, std::uint32_t glyph) {
        auto const line = Kernel::Cast<LineStyleDescriptor const>(
            frame.GetStory()->GetGlyphAtts(glyph)->Get(Story::GlyphAtt::Object::LineStyle));
        return line ? line->GetLineStyle()->GetWeightOrZero() : 0;
    };
    auto const before = scene.controller->GetHash(false);
    auto const run = [&](Kernel::Counted<Selection const> selection) {
        scene.controller->Run(Kernel::MakeCounted<WidenLines>(std::move(selection)));
    };
    run(Of({frames[2], frames[0], alone, frames[1], scene.lined}));
    // A line that is made has a weight of 1.
    EXPECT_EQ(weightOf(*frames[1], 3), 2);
    EXPECT_EQ(weightOf(*alone, 3), 2);
    EXPECT_EQ(scene.WeightOf(*scene.lined), 3);
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Redo();
    EXPECT_EQ(weightOf(*frames[1], 3), 2);
    scene.controller->Undo();
    // Parts of the story that are selected by different frames count once where they meet.
    auto const part = [&](std::size_t frame, int begin, int end) {
        return Kernel::Counted<SelectionItem const>(Kernel::MakeCounted<SubSelectionItem>(
            Kernel::Counted<Selectable>(frames[frame]), Kernel::MakeCounted<TextSelection const>(begin, end)));
    };
    run(Kernel::MakeCounted<Selection>(Selection::Items{part(1, 4, 8), part(0, 6, 10), part(2, 20, 21)}, true));
    std::string weights;
    for (std::uint32_t i = 0; i != 24; ++i)
        weights += std::to_string(static_cast<int>(weightOf(*frames[0], i)));
    EXPECT_EQ(weights, "000022222200000000002000");
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

} // namespace
