// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/line_documents.h"

#include "lines/line_arguments.h"
#include "platform/document/text_nodes.h"

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
    // Of a chain the follower is selected, which has no story of its own.
    auto const head = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{340, 280, 440, 300});
    auto const follower = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{460, 280, 560, 340});
    head->SetText(Story::GlyphString(Kernel::String("A text that goes on in a second frame behind the first")), {}, {});
    Append(*spread, head);
    Append(*spread, follower);
    follower->LinkBehind(*head);
    selected.emplace_back(follower);
    Select(controller, selected);
}

} // namespace ExampleDocuments
