// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/text_curves_render_target.h"

namespace Commands {

TextCurvesRenderTarget::TextCurvesRenderTarget(std::vector<ShapeInput>& inputs, std::vector<DivideSource>& sources,
                                               Kernel::Counted<Node> textNode,
                                               Raster::AffineTransform::Params const& baseToSpread,
                                               Raster::Format format, Raster::ICCManager::ICCProfileSet const& profiles)
    : NullRenderTarget(false),
      m_inputs(&inputs),
      m_sources(&sources),
      m_textNode(std::move(textNode)),
      m_baseToSpread(baseToSpread),
      m_format(format),
      m_profiles(profiles) {
    SetColourFormatAndProfiles(m_format, m_profiles);
}

// A line of polygons never fills them.
void TextCurvesRenderTarget::DrawPolygonsWithLine(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons,
                                                  Renderer::OpacityPair const& opacity, Renderer::BlendMode blendMode,
                                                  Renderer::BlendOptions const& blendOptions,
                                                  Renderer::FillDescriptorConst const& lineFill,
                                                  Renderer::FillDescriptorConst const& secondFill,
                                                  Renderer::LineStyleDescriptorConst const& lineStyle) {
    if (!polygons)
        return;
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    curves->AddPolyPolygon(*polygons);
    DrawCurvesWithLine(curves, opacity, blendMode, blendOptions, Renderer::FillDescriptorConst(), secondFill, lineFill,
                       lineStyle, Geometry::WindingOrderMode::NonZero);
}

void TextCurvesRenderTarget::DrawCurvesWithLine(
    Kernel::Counted<Geometry::PolyCurveDbl const> curves, Renderer::OpacityPair const&, Renderer::BlendMode,
    Renderer::BlendOptions const&, Renderer::FillDescriptorConst const& mainFill,
    Renderer::FillDescriptorConst const& secondFill, Renderer::FillDescriptorConst const& lineFill,
    Renderer::LineStyleDescriptorConst const& lineStyle, Geometry::WindingOrderMode windingOrderMode) {
    if (!curves)
        return;
    auto const style = Kernel::MakeCounted<ObjectStyle>();
    // How see-through the text is as a whole, and how it blends, is not drawn but done to what was drawn.
    ObjectStyleMask whole;
    whole.fill = whole.line = whole.contour = whole.frame = false;
    style->Set(m_textNode, m_format, m_profiles, {}, whole, {}, false);
    style->SetForRendering(BakeFill(mainFill), BakeFill(lineFill), BakeFill(secondFill), BakeLine(lineStyle));

    ShapeInput input;
    input.curves.push_back({std::move(curves), GetTransform()});
    input.transform = m_baseToSpread;
    input.windingOrderMode = windingOrderMode;
    input.role = Geometry::CurveIntersectionGraph::c_ordinaryRole;
    input.filled = mainFill.IsFillVisible(c_visibleFill);
    input.strokedFront = lineStyle.IsLineStyleVisible(lineFill);
    m_sources->push_back({m_textNode, style, GetTransform().GetParams()});
    m_inputs->push_back(std::move(input));
}

// A fill that does not go along with its object is laid over the page: it takes on how the text lies there.
Kernel::Counted<Renderer::FillDescriptor const>
TextCurvesRenderTarget::BakeFill(Renderer::FillDescriptorConst const& fill) const {
    if (!fill.GetFill() || fill.GetFill()->IsTransformFree() || fill.GetScaleWithObject())
        return Kernel::MakeCounted<Renderer::FillDescriptor>(fill);
    auto const transform = GetTransform().GetParams() * fill.GetTransform();
    return Kernel::MakeCounted<Renderer::FillDescriptor>(Kernel::Consolidated<Renderer::Fill>(fill.GetFill()), true,
                                                         transform, fill.GetBlendMode(), fill.GetOverprint());
}

Kernel::Counted<Renderer::LineStyleDescriptor const>
TextCurvesRenderTarget::BakeLine(Renderer::LineStyleDescriptorConst const& line) const {
    auto const baked = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(line);
    if (line.IsLineStyleNone())
        return baked;
    double const weight = line.GetEffectiveWeight(GetTransform().GetParams(), GetScalarTransform());
    if (weight == line.GetLineStyle()->GetWeightOrZero())
        return baked;
    auto const style = line.GetLineStyle()->Clone();
    style->SetWeight(weight);
    baked->SetLineStyle(Kernel::Consolidated<Renderer::LineStyle>(Kernel::Counted<Renderer::LineStyle const>(style)));
    return baked;
}

} // namespace Commands
