// SPDX-License-Identifier: Apache-2.0
#include "platform/document/text_nodes.h"
#include "platform/story/text_renderer.h"
#include "shell/svg/exporter.h"

namespace Shell::Svg {

namespace {

// Takes the outlines of text as nodes with a fill and a line.
class OutlineTarget final : public Renderer::NullRenderTarget {
public:
    std::vector<Kernel::Counted<PolyCurveNode>> const& GetNodes() const { return m_nodes; }

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Renderer::OpacityPair const&,
                            Renderer::BlendMode, Renderer::BlendOptions const&,
                            Renderer::FillDescriptorConst const& mainFill, Renderer::FillDescriptorConst const&,
                            Renderer::FillDescriptorConst const& lineFill,
                            Renderer::LineStyleDescriptorConst const& lineStyle,
                            Geometry::WindingOrderMode windingOrderMode) override {
        auto const placed = curves->Clone();
        placed->ApplyTransform(GetTransform());
        auto node = Kernel::MakeCounted<PolyCurveNode>();
        node->SetCurves(placed);
        node->SetWindingOrderMode(windingOrderMode);
        node->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(mainFill));
        if (lineStyle.IsLineStyleVisible(lineFill)) {
            node->SetLineStyleDescriptor(Kernel::MakeCounted<Renderer::LineStyleDescriptor>(lineStyle));
            node->SetPenFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(lineFill));
        }
        m_nodes.push_back(std::move(node));
    }

private:
    std::vector<Kernel::Counted<PolyCurveNode>> m_nodes;
};

} // namespace

// As outlines: other programs need not have the fonts, nor break lines alike.
void Exporter::WriteText(TextNode const& text) {
    auto const target = Kernel::MakeCounted<OutlineTarget>();
    if (auto const* frame = Kernel::CastPointer<TextFrameInterface const>(&text)) {
        Renderer::Paint paint;
        if (auto const fill = text.GetBrushFillDescriptor(true))
            paint.mainFill = *fill;
        auto const line = text.GetLineStyleDescriptor();
        auto const pen = text.GetPenFillDescriptor();
        if (line && pen) {
            paint.lineFill = *pen;
            paint.lineStyle = *line;
        }
        if (!paint.mainFill.IsFillNone() || !paint.lineStyle.IsLineStyleNone())
            target->DrawCurves(frame->GetTextFrameAsCurves(), paint, frame->GetTextFrameWindingOrderMode());
    }
    Story::TextRenderer(target, text.MakeComposedText()).Render(Story::DrawMode::All, false);
    for (auto const& node : target->GetNodes()) {
        m_out.Open("path");
        WritePaints(*node);
        WriteGeometry(m_out, *node, "path", "fill-rule");
        m_out.EndEmpty();
    }
}

} // namespace Shell::Svg
