// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/render_target.h"

#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/rendering_filter.h"

namespace Renderer {

RenderTarget::RenderTarget(Transform const& base) : m_transforms{base}, m_scalarTransform(base.GetUniformScale()) {}
RenderTarget::~RenderTarget() = default;
NullRenderTarget::~NullRenderTarget() = default;
RenderingFilter::~RenderingFilter() = default;

void RenderTarget::SetDrawnObject(Kernel::Counted<Kernel::Countable const>) {}

void RenderTarget::DrawCurves(Kernel::Counted<Geometry::PolyCurveDbl const> curves, Paint const& paint,
                              Geometry::WindingOrderMode windingOrderMode) {
    if (curves && !curves->empty())
        DrawCurvesWithLine(std::move(curves), paint.opacity, paint.blendMode, paint.blendOptions, paint.mainFill,
                           paint.secondFill, paint.lineFill, paint.lineStyle, windingOrderMode);
}

void RenderTarget::DrawPolygons(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons, Paint const& paint) {
    if (polygons)
        DrawPolygonsWithLine(std::move(polygons), paint.opacity, paint.blendMode, paint.blendOptions, paint.lineFill,
                             paint.secondFill, paint.lineStyle);
}

void RenderTarget::DrawPolygonsWithLine(Kernel::Counted<Geometry::PolyPolygonType<double> const> polygons,
                                        OpacityPair const& opacity, BlendMode blendMode,
                                        BlendOptions const& blendOptions, FillDescriptorConst const& lineFill,
                                        FillDescriptorConst const& secondFill,
                                        LineStyleDescriptorConst const& lineStyle) {
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    curves->AddPolyPolygon(*polygons);
    DrawCurvesWithLine(curves, opacity, blendMode, blendOptions, {}, secondFill, lineFill, lineStyle,
                       Geometry::WindingOrderMode::NonZero);
}

void RenderTarget::DrawBitmap(Kernel::Counted<Raster::DynamicBitmap const> bitmap, Transform const& pixelsToObject,
                              double opacity, BlendMode blendMode, Resampling resampling) {
    if (!bitmap || bitmap->IsEmpty())
        return;
    double const width = bitmap->GetWidth(), height = bitmap->GetHeight();
    auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>(RectDbl{0, 0, width, height});
    Paint paint;
    paint.blendMode = blendMode;
    paint.mainFill = FillDescriptorConst(Kernel::Consolidated<Fill>(Kernel::Counted<Fill const>(
        new BitmapFill(std::move(bitmap), TileMode::Clamp, TileMode::Clamp, resampling, opacity))));
    PushTransform(pixelsToObject);
    DrawCurves(outline, paint, Geometry::WindingOrderMode::NonZero);
    PopTransform();
}

void RenderTarget::SetColourFormatAndProfiles(Raster::Format format, Raster::ICCProfileSet const& profiles) {
    m_colourFormat = format;
    m_colourProfiles = profiles;
}

void RenderTarget::PushTransform(Transform const& transform) { m_transforms.push_back(GetTransform() * transform); }

void RenderTarget::PopTransform() {
    if (m_transforms.size() == 1)
        throw Kernel::Exception("a transform is popped that was not pushed");
    m_transforms.pop_back();
}

void RenderTarget::Close(Scope scope) {
    if (m_open.empty() || m_open.back() != scope)
        throw Kernel::Exception("a clip, mask, layer or filter is ended that was not begun last");
    m_open.pop_back();
}

void RenderTarget::PushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                            Geometry::WindingOrderMode windingOrderMode) {
    m_open.push_back(Scope::Clip);
    OnPushClip(std::move(curves), windingOrderMode);
}

void RenderTarget::PushClipRectangle(RectDbl const& rectangle) {
    PushClip(Kernel::MakeCounted<Geometry::PolyCurveDbl>(rectangle), Geometry::WindingOrderMode::NonZero);
}

void RenderTarget::BeginMask(MaskKind kind) {
    m_open.push_back(Scope::Mask);
    OnBeginMask(kind);
}

void RenderTarget::EndMask() {
    Close(Scope::Mask);
    m_open.push_back(Scope::Clip);
    OnEndMask();
}

void RenderTarget::PopClip() {
    Close(Scope::Clip);
    OnPopClip();
}

void RenderTarget::PushLayer(LayerOptions const& options) {
    m_open.push_back(Scope::Layer);
    OnPushLayer(options);
}

void RenderTarget::PopLayer() {
    Close(Scope::Layer);
    OnPopLayer();
}

void RenderTarget::PushFilter(Kernel::Counted<Filter const> filter) {
    m_open.push_back(Scope::Filter);
    OnPushFilter(std::move(filter));
}

void RenderTarget::PopFilter() {
    Close(Scope::Filter);
    OnPopFilter();
}

void RenderTarget::OnPushFilter(Kernel::Counted<Filter const>) {}
void RenderTarget::OnPopFilter() {}

} // namespace Renderer
