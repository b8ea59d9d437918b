// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/raster_render_target.h"

#include "engine/renderer/picture_renderer.h"
#include "engine/renderer/recorder.h"
#include "platform/kernel/exception.h"
#include "platform/renderer/picture_parts.h"

namespace Renderer {

struct RasterRenderTarget::State {
    explicit State(RasterOptions const& o)
        : options(o), space(o.format, o.profiles, o.blendSpace), recorder(o, space) {}

    RasterOptions options;
    Detail::WorkingSpace space;
    Detail::Recorder recorder;
};

namespace {

RasterOptions const& Checked(RasterOptions const& options) {
    constexpr int c_maximumSide = 1 << 20;
    if (options.width < 1 || options.height < 1 || options.width > c_maximumSide || options.height > c_maximumSide)
        throw Kernel::Exception("a picture has 1 to 1048576 pixels a side");
    if (!Raster::IsHandledFormat(options.format))
        throw Kernel::Exception("there is no such pixel format");
    return options;
}

void CheckInside(Kernel::RectT<int> const& rectangle, Kernel::RectT<int> const& whole) {
    if (rectangle.IsEmpty() || rectangle.Intersected(whole) != rectangle)
        throw Kernel::Exception("the rectangle to be rendered is empty or reaches out of the picture");
}

} // namespace

RasterRenderTarget::RasterRenderTarget(RasterOptions const& options)
    : RenderTarget(options.documentToPixels), m_state(std::make_unique<State>(Checked(options))) {}
RasterRenderTarget::~RasterRenderTarget() = default;

RasterOptions const& RasterRenderTarget::GetOptions() const { return m_state->options; }

Kernel::Counted<Raster::BufferBase> RasterRenderTarget::Render(Kernel::RectT<int> const& rectangle) const {
    auto const& list = m_state->recorder.GetList();
    CheckInside(rectangle, list.picture);
    auto buffer = Raster::BufferBase::Create(rectangle.GetWidth(), rectangle.GetHeight(), m_state->options.format);
    Detail::PictureRenderer renderer(list, m_state->space, m_state->options, rectangle);
    renderer.Render(rectangle, *buffer);
    return buffer;
}

void RasterRenderTarget::Render(RowsSink const& sink) const {
    auto const& list = m_state->recorder.GetList();
    Detail::PictureRenderer renderer(list, m_state->space, m_state->options, list.picture);
    int const rows = renderer.GetRowsAtOnce(list.picture.GetWidth());
    Kernel::Counted<Raster::BufferBase> buffer;
    for (int top = 0; top < list.picture.bottom; top += rows) {
        Kernel::RectT<int> const strip{0, top, list.picture.right, std::min(top + rows, list.picture.bottom)};
        // All pixels of a buffer are written: one serves strip after strip, unless the receiver has kept it.
        if (!buffer || buffer->GetHeight() != strip.GetHeight() || buffer->GetControlBlock()->GetStrongCount() != 1)
            buffer = Raster::BufferBase::Create(strip.GetWidth(), strip.GetHeight(), m_state->options.format);
        renderer.Render(strip, *buffer);
        sink(*buffer, top);
    }
}

void RasterRenderTarget::DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                                            OpacityPair const& opacity, BlendMode blendMode,
                                            BlendOptions const& blendOptions, FillDescriptorConst const& mainFill,
                                            FillDescriptorConst const& secondFill, FillDescriptorConst const& lineFill,
                                            LineStyleDescriptorConst const& lineStyle,
                                            Geometry::WindingOrderMode windingOrderMode) {
    if (!curves)
        return;
    m_state->recorder.Draw({std::move(curves), GetTransform(), windingOrderMode},
                           {opacity, blendMode, blendOptions, mainFill, secondFill, lineFill, lineStyle},
                           GetColourProfiles());
}

void RasterRenderTarget::OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                                    Geometry::WindingOrderMode windingOrderMode) {
    m_state->recorder.PushClip({std::move(curves), GetTransform(), windingOrderMode});
}
void RasterRenderTarget::OnPopClip() { m_state->recorder.PopClip(); }
void RasterRenderTarget::OnBeginMask(MaskKind kind) { m_state->recorder.BeginMask(kind); }
void RasterRenderTarget::OnEndMask() { m_state->recorder.EndMask(); }
void RasterRenderTarget::OnPushLayer(LayerOptions const& options) { m_state->recorder.PushLayer(options); }
void RasterRenderTarget::OnPopLayer() { m_state->recorder.PopLayer(); }
void RasterRenderTarget::OnPushFilter(Kernel::Counted<Filter const> filter) {
    m_state->recorder.PushFilter(filter, GetTransform(), GetColourProfiles());
}
void RasterRenderTarget::OnPopFilter() { m_state->recorder.PopFilter(); }

struct PictureParts::State {
    State(Kernel::Counted<RasterRenderTarget const> drawn, Detail::DisplayList const& list,
          Detail::WorkingSpace const& space, RasterOptions const& options, Kernel::RectT<int> const& part, Route route)
        : target(std::move(drawn)),
          area(part),
          renderer(list, space, options, area,
                   route == Route::Parallel ? Detail::PictureRenderer::Route::Parallel
                                            : Detail::PictureRenderer::Route::Serial) {}

    Kernel::Counted<RasterRenderTarget const> target;
    Kernel::RectT<int> area;
    Detail::PictureRenderer renderer;
};

PictureParts::PictureParts(Kernel::Counted<RasterRenderTarget const> target, Kernel::RectT<int> const& area,
                           Route route) {
    auto const& drawn = *target->m_state;
    CheckInside(area, drawn.recorder.GetList().picture);
    m_state = std::make_unique<State>(target, drawn.recorder.GetList(), drawn.space, drawn.options, area, route);
}
PictureParts::~PictureParts() = default;

void PictureParts::Render(Kernel::RectT<int> const& part, Raster::BufferBase& pixels) {
    CheckInside(part, m_state->area);
    m_state->renderer.Render(part, pixels);
}

} // namespace Renderer
