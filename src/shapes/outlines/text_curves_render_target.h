// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/renderer/render_target.h"
#include "shapes/outlines/divide_source.h"
#include "shapes/outlines/shape_input.h"

namespace Commands {

// Takes the outlines that a text is drawn with as inputs of a divide, one for each, with what they are painted with as
// their style. Fills and weights are baked at the size at which the text is drawn.
class REDRAFT_API TextCurvesRenderTarget final : public Renderer::NullRenderTarget {
public:
    // Inputs and sources are the caller's and must outlive the target; both grow by one for each outline.
    // `baseToSpread` leads from what is drawn to the spread.
    TextCurvesRenderTarget(std::vector<ShapeInput>& inputs, std::vector<DivideSource>& sources,
                           Kernel::Counted<Node> textNode, Raster::AffineTransform::Params const& baseToSpread,
                           Raster::Format format, Raster::ICCManager::ICCProfileSet const& profiles);

    // Which object is drawn does not matter here: all of it is the one text.
    void SetDrawnObject(Kernel::Counted<Kernel::Countable const>) override {}

protected:
    void DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Renderer::OpacityPair const& opacity,
                            Renderer::BlendMode blendMode, Renderer::BlendOptions const& blendOptions,
                            Renderer::FillDescriptorConst const& mainFill,
                            Renderer::FillDescriptorConst const& secondFill,
                            Renderer::FillDescriptorConst const& lineFill,
                            Renderer::LineStyleDescriptorConst const& lineStyle,
                            Geometry::WindingOrderMode windingOrderMode) override;
    void DrawPolygonsWithLine(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons,
                              Renderer::OpacityPair const& opacity, Renderer::BlendMode blendMode,
                              Renderer::BlendOptions const& blendOptions, Renderer::FillDescriptorConst const& lineFill,
                              Renderer::FillDescriptorConst const& secondFill,
                              Renderer::LineStyleDescriptorConst const& lineStyle) override;

private:
    Kernel::Counted<Renderer::FillDescriptor const> BakeFill(Renderer::FillDescriptorConst const& fill) const;
    Kernel::Counted<Renderer::LineStyleDescriptor const> BakeLine(Renderer::LineStyleDescriptorConst const& line) const;

    std::vector<ShapeInput>* m_inputs;
    std::vector<DivideSource>* m_sources;
    Kernel::Counted<Node> m_textNode;
    Raster::AffineTransform::Params m_baseToSpread;
    Raster::Format m_format;
    Raster::ICCManager::ICCProfileSet m_profiles;
};

} // namespace Commands
