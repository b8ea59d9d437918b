// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"

#include <utility>

namespace Formats::Svg {

namespace {

using Renderer::DrawingStep;
using Renderer::DrawingStepKind;

// Patterns within patterns, as deep as they are drawn.
constexpr std::size_t c_maximumWrittenDepth = 8;

Kernel::Counted<PolyCurveNode> MakeNode(DrawingStep const& step) {
    auto node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(step.curves);
    node->SetWindingOrderMode(step.winding);
    if (step.fill)
        node->SetBrushFillDescriptor(step.fill);
    if (step.line && step.lineFill) {
        node->SetLineStyleDescriptor(step.line);
        node->SetPenFillDescriptor(step.lineFill);
    }
    return node;
}

// The bitmap of a step that draws one with one unit a pixel, or null.
Renderer::BitmapFill const* FindBitmap(DrawingStep const& step) {
    if (!step.fill || step.line || step.fill->IsFillNone() ||
        step.fill->GetFill()->GetType() != Renderer::FillType::Bitmap || !step.fill->GetTransform().IsIdentity())
        return nullptr;
    auto const& fill = static_cast<Renderer::BitmapFill const&>(*step.fill->GetFill());
    auto const bounds = step.curves->GetBounds();
    bool const isWhole = fill.GetBitmap() && bounds &&
                         *bounds == Kernel::RectT<double>{0, 0, static_cast<double>(fill.GetBitmap()->GetWidth()),
                                                          static_cast<double>(fill.GetBitmap()->GetHeight())};
    return isWhole && fill.GetTileModeX() == Renderer::TileMode::Clamp ? &fill : nullptr;
}

// The end of the mask that begins at a step.
std::size_t FindMaskEnd(std::vector<DrawingStep> const& steps, std::size_t begin) {
    int depth = 0;
    for (std::size_t i = begin; i != steps.size(); ++i) {
        depth += steps[i].kind == DrawingStepKind::BeginMask;
        if (steps[i].kind == DrawingStepKind::EndMask && --depth == 0)
            return i;
    }
    return steps.size() - 1;
}

} // namespace

std::string Exporter::DefineDrawnPattern(Renderer::PatternFill const& fill, Matrix const& toUser, Node const& node) {
    if (!(fill.GetMaximumAlpha() > 0))
        return {};
    if (m_patternDepth >= c_maximumWrittenDepth) {
        m_report.Add("patterns within patterns beyond 8 deep", Describe(node));
        return {};
    }
    ++m_patternDepth;
    XmlWriter outer = std::exchange(m_out, {});
    m_out.Attribute("patternUnits", "userSpaceOnUse");
    m_out.Attribute("width", fill.GetTileSize().width);
    m_out.Attribute("height", fill.GetTileSize().height);
    if (!toUser.IsIdentity())
        m_out.Attribute("patternTransform", toUser);
    m_out.EndStart();
    WriteDrawing(*fill.GetDrawing(), node);
    m_out.Close("pattern");
    std::string const text = m_out.Take();
    m_out = std::move(outer);
    --m_patternDepth;
    return Define("pattern", "pattern", text);
}

void Exporter::WriteDrawing(Renderer::RecordedDrawing const& drawing, Node const& node) {
    auto const& steps = drawing.GetSteps();
    auto const openClip = [&](std::string const& id) {
        m_out.Open("g");
        m_out.Attribute("clip-path", "url(#" + id + ")");
        m_out.EndStart();
    };
    for (std::size_t i = 0; i < steps.size(); ++i) {
        DrawingStep const& step = steps[i];
        switch (step.kind) {
        case DrawingStepKind::Draw:
            WriteDrawingStep(step, node);
            break;
        case DrawingStepKind::PushClip:
            openClip(DefineDrawnClip({&step, 1}, node));
            break;
        case DrawingStepKind::BeginMask: {
            std::size_t const end = FindMaskEnd(steps, i);
            openClip(DefineDrawnClip(std::span(steps).subspan(i + 1, end - i - 1), node));
            if (step.maskKind != Renderer::MaskKind::Alpha)
                m_report.Add("mask in a pattern", Describe(node));
            i = end;
            break;
        }
        case DrawingStepKind::PushLayer:
            m_out.Open("g");
            if (step.opacity != 1)
                m_out.Attribute("opacity", step.opacity);
            WriteBlending(step.blendMode, step.isIsolated && step.opacity == 1);
            m_out.EndStart();
            break;
        case DrawingStepKind::PopClip:
        case DrawingStepKind::PopLayer:
            m_out.Close("g");
            break;
        case DrawingStepKind::PushFilter:
            if (step.filter)
                m_report.Add("filter in a pattern", Describe(node));
            break;
        case DrawingStepKind::PopFilter:
        case DrawingStepKind::EndMask:
            break;
        }
    }
}

void Exporter::WriteDrawingStep(DrawingStep const& step, Node const& node) {
    if (!step.curves || step.curves->empty())
        return;
    auto const* const bitmap = FindBitmap(step);
    std::string const png = bitmap == nullptr ? std::string() : EncodeOrCount(bitmap->GetBitmap().get(), node);
    if (bitmap != nullptr && png.empty())
        return;
    auto const shape = MakeNode(step);
    std::string_view const element = bitmap != nullptr ? "image" : ChooseElement(*shape);
    double const opacity = bitmap != nullptr ? bitmap->GetOpacity() : step.opacity;
    m_out.Open(element);
    if (!step.transform.IsIdentity())
        m_out.Attribute("transform", step.transform);
    if (opacity != 1)
        m_out.Attribute("opacity", opacity);
    if (step.lineOpacity != step.opacity || step.secondFill)
        m_report.Add("opacity of a part of a pattern", Describe(node));
    WriteBlending(step.blendMode, false);
    if (bitmap != nullptr) {
        WriteImage(m_out, *bitmap->GetBitmap(), png);
        if (bitmap->GetResampling() == Renderer::Resampling::Nearest)
            m_out.Attribute("image-rendering", "optimizeSpeed");
    } else {
        WritePaints(*shape);
        WriteGeometry(m_out, *shape, element, "fill-rule");
    }
    m_out.EndEmpty();
}

std::string Exporter::DefineDrawnClip(std::span<DrawingStep const> outlines, Node const& node) {
    XmlWriter out;
    out.EndStart();
    out.Raw("<title/>\n");
    for (DrawingStep const& step : outlines) {
        if (step.kind != DrawingStepKind::Draw && step.kind != DrawingStepKind::PushClip) {
            m_report.Add("clip of a clip in a pattern", Describe(node));
            continue;
        }
        if (!step.curves || step.curves->empty())
            continue;
        auto const shape = MakeNode(step);
        std::string_view const element = ChooseElement(*shape);
        out.Open(element);
        if (!step.transform.IsIdentity())
            out.Attribute("transform", step.transform);
        WriteGeometry(out, *shape, element, "clip-rule");
        out.EndEmpty();
    }
    out.Close("clipPath");
    return Define("clipPath", "clip", out.GetText());
}

} // namespace Formats::Svg
