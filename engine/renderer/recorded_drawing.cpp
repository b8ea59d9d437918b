// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/recorded_drawing.h"

#include "engine/renderer/known_values.h"

#include <algorithm>

namespace Renderer {

namespace {

// Steps of drawings that have been given up. Drawings may hold fills that hold drawings, in a chain of any length where
// a file was forged: they end one after another and not inside each other.
void GiveUp(std::vector<DrawingStep>&& steps) {
    thread_local std::vector<std::vector<DrawingStep>>* t_waiting = nullptr;
    if (t_waiting != nullptr) {
        t_waiting->push_back(std::move(steps));
        return;
    }
    std::vector<std::vector<DrawingStep>> waiting;
    waiting.push_back(std::move(steps));
    t_waiting = &waiting;
    while (!waiting.empty()) {
        auto const last = std::move(waiting.back());
        waiting.pop_back();
    }
    t_waiting = nullptr;
}

bool DoesNest(std::vector<DrawingStep> const& steps) {
    std::vector<DrawingStepKind> open;
    auto const close = [&](DrawingStepKind kind) {
        bool const fits = !open.empty() && open.back() == kind;
        if (fits)
            open.pop_back();
        return fits;
    };
    for (auto const& step : steps) {
        switch (step.kind) {
        case DrawingStepKind::Draw:
            break;
        case DrawingStepKind::PushClip:
        case DrawingStepKind::BeginMask:
        case DrawingStepKind::PushLayer:
        case DrawingStepKind::PushFilter:
            open.push_back(step.kind);
            break;
        case DrawingStepKind::PopClip:
            if (!close(DrawingStepKind::PushClip))
                return false;
            break;
        case DrawingStepKind::EndMask:
            // From here on the mask is a clip.
            if (!close(DrawingStepKind::BeginMask))
                return false;
            open.push_back(DrawingStepKind::PushClip);
            break;
        case DrawingStepKind::PopLayer:
            if (!close(DrawingStepKind::PushLayer))
                return false;
            break;
        case DrawingStepKind::PopFilter:
            if (!close(DrawingStepKind::PushFilter))
                return false;
            break;
        }
    }
    return open.empty();
}

// Drawings that differ in the sign of a zero are one.
Raster::AffineTransform::Params WithoutNegativeZeros(Raster::AffineTransform::Params const& m) {
    return {m.a + 0.0, m.b + 0.0, m.tx + 0.0, m.c + 0.0, m.d + 0.0, m.ty + 0.0};
}

Kernel::Counted<FillDescriptor const> Keep(FillDescriptorConst const& fill) {
    return fill.IsFillNone() ? nullptr : Kernel::MakeCounted<FillDescriptor const>(fill);
}

} // namespace

Paint DrawingStep::GetPaint() const {
    Paint paint;
    paint.opacity = {opacity, lineOpacity};
    paint.blendMode = blendMode;
    paint.blendOptions.antialias = antialias;
    if (fill)
        paint.mainFill = *fill;
    if (secondFill)
        paint.secondFill = *secondFill;
    if (lineFill && line) {
        paint.lineFill = *lineFill;
        paint.lineStyle = *line;
    }
    return paint;
}

RecordedDrawing::RecordedDrawing(std::vector<DrawingStep> steps) : m_steps(std::move(steps)) { Normalise(); }
RecordedDrawing::~RecordedDrawing() { GiveUp(std::move(m_steps)); }

void RecordedDrawing::Normalise() {
    for (auto& step : m_steps) {
        Limit(step.kind, DrawingStepKind::PopFilter);
        Limit(step.winding, Geometry::WindingOrderMode::Alternating);
        Limit(step.blendMode, BlendMode::Erase);
        Limit(step.maskKind, MaskKind::LinearLuminance);
        for (double* const opacity : {&step.opacity, &step.lineOpacity})
            *opacity = *opacity > 0 ? std::min(*opacity, 1.0) : 0;
    }
    if (!DoesNest(m_steps))
        m_steps.clear();
}

void RecordedDrawing::Replay(RenderTarget& target) const {
    for (auto const& step : m_steps) {
        switch (step.kind) {
        case DrawingStepKind::Draw:
            target.PushTransform(Transform(step.transform));
            target.DrawCurves(step.curves, step.GetPaint(), step.winding);
            target.PopTransform();
            break;
        case DrawingStepKind::PushClip:
            target.PushTransform(Transform(step.transform));
            target.PushClip(step.curves, step.winding);
            target.PopTransform();
            break;
        case DrawingStepKind::PopClip:
            target.PopClip();
            break;
        case DrawingStepKind::BeginMask:
            target.BeginMask(step.maskKind);
            break;
        case DrawingStepKind::EndMask:
            target.EndMask();
            break;
        case DrawingStepKind::PushLayer:
            target.PushLayer({step.opacity, step.blendMode, step.isIsolated});
            break;
        case DrawingStepKind::PopLayer:
            target.PopLayer();
            break;
        case DrawingStepKind::PushFilter:
            target.PushTransform(Transform(step.transform));
            target.PushFilter(step.filter);
            target.PopTransform();
            break;
        case DrawingStepKind::PopFilter:
            target.PopFilter();
            break;
        }
    }
}

void RecordedDrawing::Save(Kernel::OutSerialiser& out) const { Kernel::SaveValue(out, "Step", m_steps); }
bool RecordedDrawing::Load(Kernel::InSerialiser const& in, Kernel::FileStore&, unsigned short) {
    Kernel::LoadValue(in, "Step", m_steps);
    Normalise();
    return true;
}

DrawingRecorder::~DrawingRecorder() = default;

Kernel::Counted<RecordedDrawing const> DrawingRecorder::GetDrawing() const {
    return Kernel::MakeCounted<RecordedDrawing const>(m_steps);
}

void DrawingRecorder::Add(DrawingStepKind kind) { m_steps.emplace_back().kind = kind; }

void DrawingRecorder::DrawCurvesWithLine(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                                         OpacityPair const& opacity, BlendMode blendMode,
                                         BlendOptions const& blendOptions, FillDescriptorConst const& mainFill,
                                         FillDescriptorConst const& secondFill, FillDescriptorConst const& lineFill,
                                         LineStyleDescriptorConst const& lineStyle,
                                         Geometry::WindingOrderMode windingOrderMode) {
    DrawingStep step;
    step.curves = std::move(curves);
    step.winding = windingOrderMode;
    step.transform = WithoutNegativeZeros(GetTransform().GetParams());
    step.opacity = opacity.fill;
    step.lineOpacity = opacity.line;
    step.blendMode = blendMode;
    step.antialias = blendOptions.antialias;
    step.fill = Keep(mainFill);
    step.secondFill = Keep(secondFill);
    if (lineStyle.IsLineStyleVisible(lineFill)) {
        step.line = Kernel::MakeCounted<LineStyleDescriptor const>(lineStyle);
        step.lineFill = Keep(lineFill);
    }
    m_steps.push_back(std::move(step));
}

void DrawingRecorder::OnPushClip(Kernel::Counted<Geometry::PolyCurveDbl const> curves,
                                 Geometry::WindingOrderMode windingOrderMode) {
    Add(DrawingStepKind::PushClip);
    m_steps.back().curves = std::move(curves);
    m_steps.back().winding = windingOrderMode;
    m_steps.back().transform = WithoutNegativeZeros(GetTransform().GetParams());
}

void DrawingRecorder::OnPopClip() { Add(DrawingStepKind::PopClip); }

void DrawingRecorder::OnBeginMask(MaskKind kind) {
    Add(DrawingStepKind::BeginMask);
    m_steps.back().maskKind = kind;
}

void DrawingRecorder::OnEndMask() {
    // A mask of one outline that is opaque all over is a clip.
    std::size_t const count = m_steps.size();
    if (count >= 2 && m_steps[count - 2].kind == DrawingStepKind::BeginMask &&
        m_steps[count - 2].maskKind == MaskKind::Alpha && m_steps[count - 1].kind == DrawingStepKind::Draw) {
        DrawingStep& only = m_steps.back();
        if (only.fill && only.fill->GetFill()->IsOpaque() && only.opacity == 1 && only.antialias && !only.line &&
            !only.secondFill && only.blendMode == BlendMode::Normal) {
            DrawingStep clip;
            clip.kind = DrawingStepKind::PushClip;
            clip.curves = only.curves;
            clip.winding = only.winding;
            clip.transform = only.transform;
            m_steps.resize(count - 2);
            m_steps.push_back(std::move(clip));
            return;
        }
    }
    Add(DrawingStepKind::EndMask);
}

void DrawingRecorder::OnPushLayer(LayerOptions const& options) {
    Add(DrawingStepKind::PushLayer);
    m_steps.back().opacity = options.opacity;
    m_steps.back().blendMode = options.blendMode;
    m_steps.back().isIsolated = options.isolated;
}

void DrawingRecorder::OnPopLayer() { Add(DrawingStepKind::PopLayer); }

void DrawingRecorder::OnPushFilter(Kernel::Counted<Filter const> filter) {
    Add(DrawingStepKind::PushFilter);
    m_steps.back().filter = std::move(filter);
    m_steps.back().transform = WithoutNegativeZeros(GetTransform().GetParams());
}

void DrawingRecorder::OnPopFilter() { Add(DrawingStepKind::PopFilter); }

} // namespace Renderer
