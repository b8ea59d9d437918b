// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/scenes/shape_documents.h"

namespace ExampleDocuments {

Kernel::Counted<PolyCurveNode> MakePath(std::vector<std::vector<Kernel::PointT<double>>> const& contours, bool closed) {
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& points : contours) {
        auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo(points.front());
        for (std::size_t i = 1; i < points.size(); ++i)
            curve->LineTo(points[i]);
        if (closed)
            curve->Close();
        curves->AddCurve(curve);
    }
    auto node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(curves);
    return node;
}

Kernel::Counted<ShapeNode> MakeEllipse(Kernel::RectT<double> box) {
    auto const shape = Kernel::MakeCounted<EllipseShape>();
    shape->box = box;
    return Kernel::MakeCounted<ShapeNode>(shape);
}

void SetFill(BrushFillInterface& object, double red, double green, double blue) {
    object.SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
        Renderer::Colour::FromRGB(static_cast<float>(red), static_cast<float>(green), static_cast<float>(blue))));
}

void SetLine(LineStyleInterface& object, double weight) {
    object.SetLineStyleDescriptor(
        Kernel::MakeCounted<Renderer::LineStyleDescriptor>(Kernel::MakeConsolidated<Renderer::LineStyle>(weight)));
    object.SetPenFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour()));
}

void OverlappingShapes(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const rectangle = MakeRectangle({100, 100, 300, 260}, 0.9, 0.5, 0.1);
    auto const group = Kernel::MakeCounted<GroupNode>();
    auto const ellipse = MakeEllipse({0, 0, 160, 120});
    auto const starShape = Kernel::MakeCounted<StarShape>();
    starShape->box = {60, 40, 200, 180};
    auto const star = Kernel::MakeCounted<ShapeNode>(starShape);
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    compound->SetCompoundOperation(CompoundOperation::Xor);
    Append(*spread, rectangle);
    Append(*spread, group);
    Append(*spread, MakeRectangle({0, 600, 40, 640}, 0.5, 0.5, 0.5));
    Append(*spread, compound);
    Append(*group, ellipse);
    Append(*group, star);
    Append(*compound, MakeRectangle({220, 180, 380, 320}, 0, 0, 0));
    Append(*compound, MakeRectangle({260, 210, 330, 280}, 0, 0, 0));
    group->SetTransform({0.8, -0.6, 240, 0.6, 0.8, 120}, false);
    ellipse->SetTransform({1.25, 0, 5, 0.5, 1, -10}, false);
    ellipse->SetUserDescription("Pool");
    ellipse->SetOpacity(0.5);
    auto const gradient = Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
        Geometry::PointDbl{0, 0}, Geometry::PointDbl{160, 0},
        std::vector<Renderer::GradientStop>{{0, 1, Renderer::Colour::FromRGB(0, 0, 1)},
                                            {1, 1, Renderer::Colour::FromRGB(0, 1, 1)}});
    ellipse->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
        gradient, true, Raster::AffineTransform::Params{}, Renderer::BlendMode::Normal, false));
    SetLine(*ellipse, 3);
    SetFill(*star, 0.8, 0.1, 0.3);
    SetFill(*compound, 0.2, 0.6, 0.2);
    Select(controller, {rectangle, group, compound});
}

void ClippedAndOpenShapes(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const first = MakePath({{{50, 50}, {350, 350}}}, false);
    auto const second = MakePath({{{50, 350}, {200, 120}, {350, 50}}}, false);
    auto const clipped = MakeRectangle({100, 100, 260, 260}, 0.2, 0.4, 0.8);
    auto const clip = MakeEllipse({140, 80, 320, 220});
    auto const line = MakePath({{{20, 200}, {380, 210}}}, false);
    auto const lineClip = MakeRectangle({60, 100, 300, 300}, 0, 0, 0);
    auto const otherClip = MakeEllipse({120, 90, 400, 330});
    for (auto const& node : {first, second, line})
        SetLine(*node, 4);
    SetFill(*clip, 0, 0, 0);
    SetFill(*otherClip, 0, 0, 0);
    Append(*spread, clipped);
    Append(*spread, first);
    Append(*spread, second);
    Append(*spread, line);
    clipped->InsertChild(NodeChildListType::Clipping, clip, nullptr);
    line->InsertChild(NodeChildListType::Clipping, lineClip, nullptr);
    line->InsertChild(NodeChildListType::Clipping, otherClip, nullptr);
    Select(controller, {first, second, clipped, line});
}

void ShapesApart(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const left = MakeRectangle({10, 10, 60, 60}, 0.9, 0.2, 0.2);
    auto const right = MakeEllipse({100, 10, 160, 60});
    auto const line = MakePath({{{10, 100}, {160, 120}}}, false);
    SetFill(*right, 0.2, 0.2, 0.9);
    SetLine(*line, 2);
    for (auto const& node : std::vector<Kernel::Counted<Node>>{left, right, line})
        Append(*spread, node);
    Select(controller, {left, right, line});
}

void ShapesWithHoles(DocumentController& controller) {
    auto const spread = controller.GetCurrentSpread();
    auto const ring =
        MakePath({{{10, 10}, {110, 10}, {110, 110}, {10, 110}}, {{40, 40}, {40, 80}, {80, 80}, {80, 40}}}, true);
    auto const star = MakePath({{{200, 10}, {230, 110}, {150, 45}, {250, 45}, {170, 110}}}, true);
    auto const group = Kernel::MakeCounted<GroupNode>();
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    compound->SetCompoundOperation(CompoundOperation::Xor);
    auto const loop = MakePath({{{10, 300}, {120, 300}, {120, 360}, {60, 360}, {60, 260}}}, false);
    auto const plain = MakeRectangle({300, 300, 340, 340}, 0.4, 0.4, 0.4);
    SetFill(*ring, 0.9, 0.7, 0.1);
    ring->SetContourOffset(2.5);
    SetFill(*star, 0.1, 0.6, 0.3);
    star->SetWindingOrderMode(Geometry::WindingOrderMode::Alternating);
    SetFill(*compound, 0.3, 0.2, 0.7);
    SetLine(*loop, 3);
    for (auto const& node : std::vector<Kernel::Counted<Node>>{ring, star, group, loop, plain})
        Append(*spread, node);
    Append(*group, compound);
    Append(*compound, MakeRectangle({0, 0, 60, 60}, 0, 0, 0));
    Append(*compound, MakeRectangle({20, 20, 40, 40}, 0, 0, 0));
    group->SetTransform({0.6, -0.8, 320, 0.8, 0.6, 120}, false);
    compound->SetTransform({1.5, 0, 4, 0, 1.5, 6}, false);
    Select(controller, {ring, star, group, loop, plain});
}

} // namespace ExampleDocuments
