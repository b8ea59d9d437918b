// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/exporter.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "platform/story/text_renderer.h"

#include <cmath>

namespace Formats::Svg {

namespace {

// As deep as clips may clip clips.
constexpr std::size_t c_maximumClipDepth = 64;

bool IsPlainGroup(Node const& node) {
    return Kernel::CastPointer<CurvesNode const>(&node) == nullptr &&
           Kernel::CastPointer<RasterNode const>(&node) == nullptr &&
           Kernel::CastPointer<GeneratedImageNode const>(&node) == nullptr &&
           Kernel::CastPointer<TextNode const>(&node) == nullptr;
}

// Objects without a fill clip nothing.
bool LeavesSomething(Node const& clip) {
    constexpr double c_visibleFill = 0.01;
    auto const* const curves = Kernel::CastPointer<CurvesNode const>(&clip);
    return curves == nullptr || curves->IsBrushFillVisible(c_visibleFill) ||
           Kernel::CastPointer<ImageNode const>(curves) != nullptr;
}

} // namespace

// Content is seen where it lies in every clip: each becomes an element that is clipped by the next.
std::string Exporter::DefineClip(Node const& node, Matrix const& toClip) {
    if (m_clipDepth >= c_maximumClipDepth) {
        m_report.Add("clip too deep", Describe(node));
        return {};
    }
    ++m_clipDepth;
    std::string id;
    for (Node const* clip = node.GetLastChild(NodeChildListType::Clipping); clip != nullptr;
         clip = clip->GetPreviousSibling()) {
        if (clip->IsContent())
            id = DefineOneClip(*clip, toClip, id);
    }
    --m_clipDepth;
    return id;
}

std::string Exporter::DefineOneClip(Node const& clip, Matrix const& toClip, std::string const& inner) {
    XmlWriter out;
    auto const* const group = IsPlainGroup(clip) ? Kernel::CastPointer<SceneNode const>(&clip) : nullptr;
    bool const isClipped = group != nullptr && group->HasChildren(NodeChildListType::Clipping);
    // A group that is all of the clip becomes the element itself, with its transform and its own clip.
    if (group != nullptr && (inner.empty() || !isClipped)) {
        Matrix const matrix = toClip * group->GetMatrix();
        if (!matrix.IsIdentity() && inner.empty())
            out.Attribute("transform", matrix);
        if (std::string const own = isClipped ? DefineClip(*group, {}) : inner; !own.empty())
            out.Attribute("clip-path", "url(#" + own + ")");
        out.EndStart();
        WriteTitle(out, *group, "");
        if (group->GetDescription(false).empty())
            out.Raw("<title/>\n");
        for (Node const* child = group->GetFirstChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetNextSibling())
            WriteClipContent(out, *child, inner.empty() ? Matrix() : matrix);
    } else {
        if (!inner.empty())
            out.Attribute("clip-path", "url(#" + inner + ")");
        out.EndStart();
        out.Raw("<title/>\n");
        if (LeavesSomething(clip))
            WriteClipContent(out, clip, toClip);
    }
    out.Close("clipPath");
    return Define("clipPath", "clip", out.GetText());
}

// Groups have no form inside a clip path: their members take over their transforms and clips.
void Exporter::WriteClipContent(XmlWriter& out, Node const& content, Matrix const& toClip) {
    struct Shape {
        Node const* node;
        Matrix toClip;
        // Ids of clips that the shape has to be cut by, with what leads from the clip's space to this one.
        std::vector<std::pair<Node const*, Matrix>> clips;
    };
    std::vector<Shape> pending{{&content, toClip, {}}};
    while (!pending.empty()) {
        Shape const step = std::move(pending.back());
        pending.pop_back();
        auto const* const scene = Kernel::CastPointer<SceneNode const>(step.node);
        if (scene == nullptr || !scene->IsVisible())
            continue;
        Matrix const matrix = step.toClip * scene->GetMatrix();
        auto clips = step.clips;
        if (scene->HasChildren(NodeChildListType::Clipping))
            clips.emplace_back(scene, matrix);
        auto const* const curves = Kernel::CastPointer<CurvesNode const>(step.node);
        auto const* const text = Kernel::CastPointer<TextNode const>(step.node);
        if (curves == nullptr && text == nullptr) {
            if (Kernel::CastPointer<RasterNode const>(step.node) != nullptr ||
                Kernel::CastPointer<GeneratedImageNode const>(step.node) != nullptr)
                m_report.Add("bitmap in a clip", Describe(*scene));
            for (Node const* child = scene->GetLastChild(NodeChildListType::Plain); child != nullptr;
                 child = child->GetPreviousSibling())
                pending.push_back({child, matrix, clips});
            continue;
        }
        if (clips.size() > 1)
            m_report.Add("several clips of a clip", Describe(*scene));
        auto const open = [&](std::string_view element) {
            out.Open(element);
            if (!matrix.IsIdentity())
                out.Attribute("transform", matrix);
            if (!clips.empty() && std::abs(matrix.GetDeterminant()) > 1e-128)
                if (std::string const id = DefineClip(*clips.back().first, matrix.GetInverse() * clips.back().second);
                    !id.empty())
                    out.Attribute("clip-path", "url(#" + id + ")");
        };
        Kernel::String const name = scene->GetDescription(false);
        if (text != nullptr) {
            WriteClipText(out, *text, name.view(), open);
            continue;
        }
        std::string_view const element = ChooseElement(*curves);
        open(element);
        WriteGeometry(out, *curves, element, "clip-rule");
        if (name.empty()) {
            out.EndEmpty();
        } else {
            out.EndStart();
            WriteTitle(out, *scene, "");
            out.Close(element);
        }
    }
}

// Text of one line as text, other text as outlines.
void Exporter::WriteClipText(XmlWriter& out, TextNode const& text, std::string_view name,
                             std::function<void(std::string_view element)> const& open) {
    TextRows const found = FindTextRows(text);
    if (found.obstacle.empty() && found.rows.size() == 1 && found.toNode.IsIdentity()) {
        open("text");
        return WriteTextRows(out, found.rows, text, name.empty() ? std::nullopt : std::optional(name), false);
    }
    m_report.Add("text (exported as outlines) in a clip", Describe(text));
    auto const outline = Kernel::MakeCounted<PolyCurveNode>();
    outline->SetCurves(Story::GetTextOutline(*text.MakeComposedText()));
    if (Story::HasPictureGlyphs(*text.MakeComposedText()))
        m_report.Add("letters that are pictures (exported as rectangles) in a clip", Describe(text));
    open("path");
    WriteGeometry(out, *outline, "path", "clip-rule");
    out.EndEmpty();
}

} // namespace Formats::Svg
