// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/divide_inputs.h"

#include "platform/kernel/cast.h"
#include "platform/story/text_renderer.h"
#include "shapes/outlines/text_curves_render_target.h"
#include "shapes/outlines/whole_style.h"

namespace Commands {

namespace {

bool ShowsPicture(Node const& node) {
    for (Node const* child = node.GetFirstChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetNextSibling()) {
        if (child->IsContent() && Kernel::CastPointer<ImageResourceInterface const>(child) != nullptr)
            return true;
    }
    return false;
}

bool HasFill(Node const& node) {
    auto const* const brush = Kernel::CastPointer<BrushFillInterface const>(&node);
    auto const fill = brush != nullptr ? brush->GetBrushFillDescriptor(true) : nullptr;
    return fill && !fill->IsFillNone();
}

} // namespace

void DivideInputs::AddShape(Node& node, ConstCurvesInterface const& shape) {
    auto input = MakeShapeInput(shape);
    if (!input)
        return;
    // A picture placed inside a shape fills the shape.
    input->filled = HasFill(node) || IsPicture(&node) || ShowsPicture(node);
    m_hasFilledShape = m_hasFilledShape || input->filled;
    if (auto const* line = Kernel::CastPointer<LineStyleInterface const>(&node))
        std::tie(input->strokedFront, input->strokedBehind) = line->IsLineStyleVisibleFrontBehind();
    m_clipper.Clip(node, *input);
    if (!input->curves.empty())
        Add(node, std::move(*input), Look::OfObject);
}

void DivideInputs::AddText(TextNode& text) {
    auto const composed = text.MakeComposedText();
    std::size_t const first = m_inputs.size();
    AddTextFrame(text);
    auto const target = Kernel::MakeCounted<TextCurvesRenderTarget>(m_inputs, m_sources, Kernel::Counted<Node>(&text),
                                                                    text.GetBaseToSpreadTransform(),
                                                                    m_document->GetFormat(), m_document->GetProfiles());
    Story::TextRenderer(target, composed).Render(Story::DrawMode::All, true);
    ClipFrom(first, text);
}

void DivideInputs::AddTextFrame(TextNode& text) {
    auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(&text);
    bool const isFilled = text.GetBrushFillContentType() == ContentType::Frame && !text.IsBrushFillNone();
    bool const isLined = text.GetLineStyleContentType() == ContentType::Frame && text.IsLineStyleVisible();
    auto const outline = frame != nullptr && (isFilled || isLined) ? frame->GetTextFrameAsCurves() : nullptr;
    if (!outline)
        return;
    ShapeInput input;
    input.curves.push_back({outline, Geometry::Transform::Identity()});
    input.transform = Geometry::Transform(text.GetBaseToSpreadTransform());
    input.windingOrderMode = frame->GetTextFrameWindingOrderMode();
    input.role = PlanarMaps::Graph::c_ordinaryRole;
    input.filled = isFilled && text.IsBrushFillVisible(c_visibleFill);
    if (isLined)
        std::tie(input.strokedFront, input.strokedBehind) = text.IsLineStyleVisibleFrontBehind();
    Add(text, std::move(input), Look::OfFrame);
}

// Pieces take no clip along: what clips the text cuts its outlines first.
void DivideInputs::ClipFrom(std::size_t first, Node const& node) {
    std::size_t kept = first;
    for (std::size_t i = first; i != m_inputs.size(); ++i) {
        m_clipper.Clip(node, m_inputs[i]);
        if (m_inputs[i].curves.empty())
            continue;
        std::swap(m_inputs[kept], m_inputs[i]);
        std::swap(m_sources[kept], m_sources[i]);
        ++kept;
    }
    m_inputs.resize(kept);
    m_sources.resize(kept);
}

void DivideInputs::Add(Node& node, ShapeInput input, Look look) {
    auto const style = TakeWholeStyle(node, *m_document);
    if (look == Look::OfFrame)
        style->ConvertFrameToMain();
    if (IsPicture(&node))
        style->RestoreFill(
            Kernel::MakeCounted<ObjectStyleBrush>(MakeImageFill(*Kernel::CastPointer<ImageNode const>(&node))),
            style->GetFrameBrush());
    m_inputs.push_back(std::move(input));
    m_sources.push_back({Kernel::Counted<Node>(&node), style, {}});
}

} // namespace Commands
