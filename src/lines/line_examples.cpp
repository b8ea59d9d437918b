// SPDX-License-Identifier: Apache-2.0
#include "lines/line_examples.h"

#include "frame/example.h"
#include "lines/set_fill_scale_with_object_commands.h"
#include "lines/set_line_descriptor_command.h"
#include "lines/set_scale_line_style_command.h"

namespace {

using Line = Kernel::Counted<Renderer::LineStyleDescriptor const>;
using Paint = Kernel::Counted<Renderer::FillDescriptor const>;

Line MakeLine(double weight, bool scaleWithObject) {
    auto line = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(
        Kernel::Consolidated<Renderer::LineStyle>(Kernel::MakeCounted<Renderer::LineStyle const>(weight)));
    line->SetScaleWithObject(scaleWithObject);
    return line;
}

} // namespace

namespace ExampleDocuments {

void Lines(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    Paint const black = Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0));
    std::vector<Kernel::Counted<Node>> selected;
    for (bool const scales : {true, false}) {
        auto const shape = MakeRectangle({0, 0, 60, 40}, 0.9, 0.7, 0.3);
        shape->SetLineStyleDescriptor(MakeLine(3, scales));
        shape->SetPenFillDescriptor(black);
        shape->SetTransform({2, 0, 40, 0, 2, scales ? 40.0 : 160.0}, false);
        Append(*spread, shape);
        selected.emplace_back(shape);
    }
    auto const plain = MakeRectangle({220, 40, 300, 120}, 0.3, 0.6, 0.4);
    Append(*spread, plain);
    selected.emplace_back(plain);
    auto const open = Kernel::MakeCounted<PolyCurveNode>();
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({220, 160});
    curve->LineTo({320, 160});
    curve->LineTo({320, 230});
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    curves->AddCurve(curve);
    open->SetCurves(curves);
    auto const arrow = MakeLine(2, true)->Clone();
    arrow->SetFrontArrowHead(Kernel::MakeCounted<Renderer::LineStyleArrowHead const>(
        Commands::MakeArrowHeadShape(Commands::ArrowHeadShape::Arrow), 1, 1));
    open->SetLineStyleDescriptor(arrow);
    open->SetPenFillDescriptor(black);
    Append(*spread, open);
    selected.emplace_back(open);
    auto const group = Kernel::MakeCounted<GroupNode>();
    Append(*group, MakeRectangle({350, 40, 380, 80}, 0.2, 0.2, 0.8));
    Append(*spread, group);
    selected.emplace_back(group);
    auto const text = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{40, 280, 300, 340});
    text->SetText(Story::GlyphString(Kernel::String("Lines of text")), {}, {});
    auto const story = text->GetMutableStory(true);
    story->FormatText({0, 5}, *Story::MakeDelta(Story::GlyphAtt::Double::Size, 40));
    story->FormatText({0, 5}, *Story::MakeDelta(Story::GlyphAtt::Object::LineStyle, MakeLine(1, true)));
    text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    Append(*spread, text);
    selected.emplace_back(text);
    Select(controller, selected);
}

} // namespace ExampleDocuments

namespace Commands {

namespace {

LineArgument const c_wide{.weight = 6,
                          .cap = Renderer::LineCap::Round,
                          .join = Renderer::LineJoin::Round,
                          .dash = {2, 1.5},
                          .alignment = Renderer::StrokeAlignment::Outside,
                          .behindFill = true,
                          .scaleWithObject = false,
                          .startHead = ArrowHeadShape::Arrow,
                          .endHead = ArrowHeadShape::Circle,
                          .endHeadScale = 1.5};

Kernel::Counted<DocumentCommand> MakeSetLine(int mask, ContentType contentType, LineCommandDefaultsMode mode) {
    return Kernel::MakeCounted<SetLineDescriptorCommand>(c_wide, mask, contentType, false, true, mode,
                                                         Kernel::Counted<Selection const>());
}

ExampleRegistration const s_setLineExample({
    .className = "SetLineDescriptorCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](DocumentController&) { return MakeSetLine(0, ContentType::Object, LineCommandDefaultsMode::SelectionOnly); },
    .keptByContract = {},
});

// The frames of texts, and what new objects get.
ExampleRegistration const s_setLineOfFramesExample({
    .className = "SetLineDescriptorCommand",
    .prepare = ExampleDocuments::Lines,
    .make =
        [](DocumentController&) {
            return MakeSetLine(1 << 1 | 1 << 6 | 1 << 12, ContentType::Frame,
                               LineCommandDefaultsMode::SelectionAndDefaults);
        },
    .keptByContract = {},
});

ExampleRegistration const s_setScaleLineExample({
    .className = "SetScaleLineStyleCommand",
    .prepare = ExampleDocuments::Lines,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<SetScaleLineStyleCommand>(false, ContentType::Object, false, true,
                                                             LineCommandDefaultsMode::SelectionOnly,
                                                             Kernel::Counted<Selection const>());
    },
    .keptByContract = {},
});

ExampleRegistration const s_setBrushScaleExample({
    .className = "SetBrushFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(false, Kernel::Counted<Selection const>());
    },
    .keptByContract = {},
    // No pixel changes.
    .untold = {CommandExample::Untold::Area},
});

ExampleRegistration const s_setPenScaleExample({
    .className = "SetPenFillScaleWithObjectCommand",
    .prepare = ExampleDocuments::Lines,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<SetPenFillScaleWithObjectCommand>(false, Kernel::Counted<Selection const>());
    },
    .keptByContract = {},
    // No pixel changes.
    .untold = {CommandExample::Untold::Area},
});

} // namespace

} // namespace Commands
