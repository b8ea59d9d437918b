// SPDX-License-Identifier: Apache-2.0
// How selected objects become inputs of a divide, and how what clips them is taken into account.
#include "shapes/divide_shapes_command.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/text_renderer.h"
#include "shapes/image_fill.h"
#include "shapes/text_curves_render_target.h"

#include <algorithm>
#include <atomic>

namespace Commands {

namespace {

// Clips of clips of clips are compiled by recursion; no drawing comes near this.
constexpr int c_maximumClipDepth = 500;

class ClipDepth {
public:
    explicit ClipDepth(int& depth) : m_depth(depth) {
        if (++m_depth > c_maximumClipDepth) {
            --m_depth;
            throw Kernel::Exception("clips are nested too deeply");
        }
    }
    ClipDepth(ClipDepth const&) = delete;
    ClipDepth& operator=(ClipDepth const&) = delete;
    ~ClipDepth() { --m_depth; }

private:
    int& m_depth;
};

// False when the shape has no outline at present.
bool CopyCurves(ConstCurvesInterface const& shape, DivideInput& input) {
    auto const list = shape.GetConstPolyPolyCurves();
    for (auto const& [curves, transform] : list) {
        if (curves)
            input.curves.push_back({curves, transform});
    }
    return !list.empty();
}

bool HasClosedCurve(DivideInput const& input) {
    return std::any_of(input.curves.begin(), input.curves.end(),
                       [](auto const& entry) { return entry.curves->HasClosedCurve(); });
}

// An image is filled with its picture, though it has no brush that says so.
bool IsPicture(Kernel::Countable const* object) {
    auto const* const image = Kernel::CastPointer<ImageNode const>(object);
    return image != nullptr && image->GetImage();
}

bool HasVisibleFill(Kernel::Countable const* object) {
    if (IsPicture(object))
        return true;
    auto const* const brush = Kernel::CastPointer<BrushFillInterface const>(object);
    return brush != nullptr && brush->IsBrushFillVisible(c_visibleFill);
}

// What is left of an input is given in spread space.
void ReplaceByOutline(DivideInput& input, Kernel::Counted<Geometry::PolyCurveDbl const> outline, bool filled) {
    input.transform = Geometry::Transform::Identity();
    input.curves = {{std::move(outline), Geometry::Transform::Identity()}};
    input.windingOrderMode = Geometry::WindingOrderMode::NonZero;
    input.filled = filled;
}

Node* FirstContent(Node const& node, NodeChildListType list) {
    Node* child = node.GetFirstChild(list);
    while (child != nullptr && !child->IsContent())
        child = child->GetNextSibling();
    return child;
}

Node* NextContent(Node* child) {
    do
        child = child->GetNextSibling();
    while (child != nullptr && !child->IsContent());
    return child;
}

bool Contains(Geometry::RectDbl const& outer, Geometry::RectDbl const& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

// True when the clip is a rectangle that cuts nothing off; other clips are compared by a map.
bool IsRectangleAround(DivideInput const& clip, DivideInput const& input) {
    if (!clip.filled || clip.curves.size() != 1 || clip.curves[0].curves->GetCurves().size() != 1)
        return false;
    auto const& curve = *clip.curves[0].curves->GetCurves()[0];
    auto const transform = clip.transform * clip.curves[0].transform;
    bool const isUpright = transform.GetParams().b == 0 && transform.GetParams().c == 0;
    if (!isUpright || !curve.IsClosed() || curve.GetPoints().size() != 4)
        return false;
    bool const hasUprightSides =
        std::all_of(curve.GetSegments().begin(), curve.GetSegments().end(), [](auto const& side) {
            return side.kind == Geometry::SegmentKind::Line &&
                   (side.start.x == side.end.x || side.start.y == side.end.y);
        });
    auto const rectangle = curve.GetBounds(transform);
    if (!hasUprightSides || !rectangle)
        return false;
    return std::all_of(input.curves.begin(), input.curves.end(), [&](auto const& entry) {
        auto const bounds = entry.curves->GetBounds(input.transform * entry.transform);
        return !bounds || Contains(*rectangle, *bounds);
    });
}

bool ShowsPicture(Node const& node) {
    for (Node const* child = FirstContent(node, NodeChildListType::Plain); child != nullptr;
         child = NextContent(const_cast<Node*>(child))) {
        if (Kernel::CastPointer<ImageResourceInterface const>(child) != nullptr)
            return true;
    }
    return false;
}

} // namespace

bool DivideShapesCommand::IsAborted() const { return std::atomic_ref<bool>(m_abort).load(std::memory_order_relaxed); }

Kernel::Counted<Geometry::CurveIntersectionGraph>
DivideShapesCommand::CreateGraph(std::vector<DivideInput> const& inputs, Graph::BoolOpMethod method) {
    return Graph::Create(inputs, method, false, false, &m_abort, Kernel::Counted<Graph::ProgressReporter>(this), true)
        .first;
}

std::optional<Kernel::Counted<Geometry::PolyCurveDbl>>
DivideShapesCommand::FindOutline(std::vector<DivideInput> const& inputs) {
    auto const graph = CreateGraph(inputs, Graph::BoolOpMethod::Outline);
    if (!graph)
        return std::nullopt;
    auto outline = graph->GetEnabledOutline(true, true, true, false);
    return outline && !outline->empty() ? outline : nullptr;
}

void DivideShapesCommand::Receive(Kernel::NonCounted<LogicalNode> group) {
    for (Node* child = group->GetLastChild(NodeChildListType::Plain); child != nullptr;
         child = child->GetPreviousSibling())
        m_membersToVisit.emplace_back(child);
    if (m_visitingMembers)
        return;
    m_visitingMembers = true;
    while (!m_membersToVisit.empty()) {
        auto const member = std::move(m_membersToVisit.back());
        m_membersToVisit.pop_back();
        VisitObject(Kernel::NonCounted<Kernel::Countable>(member.get()), true);
    }
    m_visitingMembers = false;
}

void DivideShapesCommand::Receive(Kernel::NonCounted<ConstCurvesInterface> shape) {
    Kernel::Counted<Node> const node(Kernel::CastPointer<Node>(shape.get()));
    if (!node)
        return;
    DivideInput input;
    if (CopyCurves(*shape, input)) {
        input.role = Graph::c_ordinaryRole;
        input.transform = shape->GetCurvesToDomainTransform();
        input.windingOrderMode = shape->GetWindingOrderMode();
        if (auto const* brush = Kernel::CastPointer<BrushFillInterface const>(node.get())) {
            auto const fill = brush->GetBrushFillDescriptor(true);
            input.filled = fill && !fill->IsFillNone();
        }
        // A picture placed inside a shape fills the shape.
        input.filled = input.filled || IsPicture(node.get()) || ShowsPicture(*node);
        if (auto const* line = Kernel::CastPointer<LineStyleInterface const>(node.get()))
            std::tie(input.strokedFront, input.strokedBehind) = line->IsLineStyleVisibleFrontBehind();
        if (input.filled)
            m_noFilledInputs = false;
        ApplyClips(*node, input, true);
        ApplyClipsAbove(*node, input);
    }
    if (!input.curves.empty())
        AddSource(node, std::move(input), false);
    m_invalidRects.Append(SpreadRect(*node, node->GetBounds(true)));
    m_oldNodes.push_back(node);
}

// Pieces get the node's look, or that of its text's frame.
void DivideShapesCommand::AddSource(Kernel::Counted<Node> const& node, DivideInput input, bool isFrame) {
    auto const style = Kernel::MakeCounted<ObjectStyle>();
    auto const document = m_documentController->GetDocument();
    style->Set(node, document->GetFormat(), {}, document->GetTextStyleSheet(), ObjectStyleMask(), {}, false);
    if (isFrame)
        style->ConvertFrameToMain();
    if (IsPicture(node.get()))
        style->RestoreFill(
            Kernel::MakeCounted<ObjectStyleBrush>(MakeImageFill(*Kernel::CastPointer<ImageNode const>(node.get()))),
            style->GetFrameBrush());
    m_inputs.push_back(std::move(input));
    m_sources.push_back({node, style, {}});
}

// What is painted of a frame comes first, so that its letters own what they cover. Neither counts as a filled shape.
void DivideShapesCommand::Receive(Kernel::NonCounted<TextNode> text) {
    auto const composed = text->MakeComposedText();
    Kernel::Counted<Node> const node(text.get());
    auto const document = m_documentController->GetDocument();
    std::size_t const first = m_inputs.size();
    AddTextFrame(*text);
    auto const target =
        Kernel::MakeCounted<TextCurvesRenderTarget>(m_inputs, m_sources, node, text->GetBaseToSpreadTransform(),
                                                    document->GetFormat(), Raster::ICCManager::ICCProfileSet());
    Story::TextRenderer(target, composed).Render(Story::DrawMode::All, true);
    ClipText(*text, first);
    m_invalidRects.Append(SpreadRect(*node, node->GetBounds(true)));
    m_oldNodes.push_back(node);
}

// Pieces take no clip along: what clips the text cuts its outlines first. `first`: of the inputs that the text has
// given.
void DivideShapesCommand::ClipText(TextNode const& text, std::size_t first) {
    std::size_t kept = first;
    for (std::size_t i = first; i != m_inputs.size(); ++i) {
        ApplyClips(text, m_inputs[i], true);
        ApplyClipsAbove(text, m_inputs[i]);
        if (m_inputs[i].curves.empty())
            continue;
        std::swap(m_inputs[kept], m_inputs[i]);
        std::swap(m_sources[kept], m_sources[i]);
        ++kept;
    }
    m_inputs.resize(kept);
    m_sources.resize(kept);
}

void DivideShapesCommand::AddTextFrame(TextNode const& text) {
    auto const* const frame = Kernel::CastPointer<TextFrameInterface const>(&text);
    bool const isFilled = text.GetBrushFillContentType() == ContentType::Frame && !text.IsBrushFillNone();
    bool const isLined = text.GetLineStyleContentType() == ContentType::Frame && text.IsLineStyleVisible();
    auto const outline = frame != nullptr && (isFilled || isLined) ? frame->GetTextFrameAsCurves() : nullptr;
    if (!outline)
        return;
    DivideInput input;
    input.curves.push_back({outline, Geometry::Transform::Identity()});
    input.transform = Geometry::Transform(text.GetBaseToSpreadTransform());
    input.windingOrderMode = frame->GetTextFrameWindingOrderMode();
    input.role = Graph::c_ordinaryRole;
    input.filled = isFilled && text.IsBrushFillVisible(c_visibleFill);
    if (isLined)
        std::tie(input.strokedFront, input.strokedBehind) = text.IsLineStyleVisibleFrontBehind();
    AddSource(Kernel::Counted<Node>(const_cast<TextNode*>(&text)), std::move(input), true);
}

// Closed content counts as area even where it is not painted, open content only where it is.
bool DivideShapesCommand::CompileCurves(Kernel::NonCounted<ConstCurvesInterface const> shape, DivideInput& input) {
    if (!CopyCurves(*shape, input))
        return false;
    if (input.curves.empty())
        return true;
    input.transform = shape->GetCurvesToDomainTransform();
    input.windingOrderMode = shape->GetWindingOrderMode();
    input.filled = HasClosedCurve(input) || HasVisibleFill(shape.get());
    if (auto const* node = Kernel::CastPointer<Node const>(shape.get()))
        ApplyClips(*node, input, true);
    return true;
}

bool DivideShapesCommand::AddGroupChildren(Node const& node, std::vector<DivideInput>& inputs) {
    bool any = false;
    std::vector<Node const*> pending;
    auto const putChildren = [&pending](Node const& parent) {
        for (Node const* child = parent.GetLastChild(NodeChildListType::Plain); child != nullptr;
             child = child->GetPreviousSibling()) {
            if (child->IsContent())
                pending.push_back(child);
        }
    };
    putChildren(node);
    while (!pending.empty()) {
        Node const& child = *pending.back();
        pending.pop_back();
        DivideInput input;
        if (auto const* shape = Kernel::CastPointer<ConstCurvesInterface const>(&child)) {
            any = CompileCurves(Kernel::NonCounted<ConstCurvesInterface const>(shape), input) || any;
        } else if (Kernel::CastPointer<LogicalNode const>(&child) != nullptr) {
            if (child.HasChildren(NodeChildListType::Clipping))
                any = CompileGroup(child, input) || any;
            else
                putChildren(child);
        }
        if (!input.curves.empty()) {
            input.role = Graph::c_ordinaryRole;
            inputs.push_back(std::move(input));
        }
    }
    return any;
}

bool DivideShapesCommand::CompileGroup(Node const& node, DivideInput& input) {
    ClipDepth const depth(m_clipDepth);
    std::vector<DivideInput> children;
    if (!AddGroupChildren(node, children))
        return false;
    if (IsAborted())
        throw Kernel::AbortException();
    if (children.empty()) {
        input.curves.clear();
        return true;
    }
    auto outline = FindOutline(children);
    if (!outline)
        return true;
    if (!*outline) {
        input.curves.clear();
        return true;
    }
    ReplaceByOutline(input, std::move(*outline), true);
    ApplyClips(node, input, true);
    return true;
}

bool DivideShapesCommand::ApplyClips(Node const& node, DivideInput& input, bool allowUnfilled) {
    if (IsAborted())
        return false;
    std::vector<DivideInput> clips;
    if (!GatherClips(node, clips)) {
        input.curves.clear();
        return false;
    }
    if (clips.empty())
        return true;
    if (IsAborted())
        return false;
    if (input.filled)
        return ClipFilled(clips, input);
    if (allowUnfilled)
        return ClipUnfilled(clips, input);
    // An open shape that is not painted clips nothing.
    input.curves.clear();
    return false;
}

// Members of a group are seen inside its clips only, so that is all that they own. The group keeps its clips.
void DivideShapesCommand::ApplyClipsAbove(Node const& node, DivideInput& input) {
    for (Node const* group = node.GetParent(); group != nullptr && !input.curves.empty(); group = group->GetParent()) {
        if (!group->HasChildren(NodeChildListType::Clipping))
            continue;
        auto const& clip = FindClipOfGroup(*group);
        if (clip.curves.empty()) {
            if (clip.filled)
                input.curves.clear();
            continue;
        }
        if (IsRectangleAround(clip, input))
            continue;
        std::vector<DivideInput> clips{clip};
        if (input.filled)
            ClipFilled(clips, input);
        else
            ClipUnfilled(clips, input);
    }
}

Geometry::CurveIntersectionGraph::Input const& DivideShapesCommand::FindClipOfGroup(Node const& group) {
    if (auto const found = m_clipsOfGroups.find(&group); found != m_clipsOfGroups.end())
        return found->second;
    DivideInput nothing;
    nothing.filled = true;
    DivideInput common;
    std::vector<DivideInput> clips;
    if (!GatherClips(group, clips)) {
        common = nothing;
    } else if (clips.size() == 1) {
        common = std::move(clips.front());
    } else if (clips.size() > 1) {
        if (auto outline = FindOutline(clips)) {
            common = nothing;
            common.role = Graph::c_clipRole;
            if (*outline)
                ReplaceByOutline(common, std::move(*outline), true);
        }
    }
    return m_clipsOfGroups.emplace(&group, std::move(common)).first->second;
}

// False when one of the clips leaves nothing.
bool DivideShapesCommand::GatherClips(Node const& node, std::vector<DivideInput>& clips) {
    ClipDepth const depth(m_clipDepth);
    for (Node const* child = FirstContent(node, NodeChildListType::Clipping); child != nullptr;
         child = NextContent(const_cast<Node*>(child))) {
        DivideInput clip;
        if (auto const* shape = Kernel::CastPointer<ConstCurvesInterface const>(child)) {
            CopyCurves(*shape, clip);
            if (clip.curves.empty())
                continue;
            clip.transform = shape->GetCurvesToDomainTransform();
            clip.windingOrderMode = shape->GetWindingOrderMode();
            clip.filled = HasVisibleFill(child);
            if (!ApplyClips(*child, clip, false))
                return false;
        } else if (Kernel::CastPointer<LogicalNode const>(child) != nullptr) {
            if (CompileGroup(*child, clip) && clip.curves.empty())
                return false;
        }
        if (!clip.curves.empty()) {
            clip.role = Graph::c_clipRole;
            clips.push_back(std::move(clip));
        }
    }
    return true;
}

// What the clips leave of an area.
bool DivideShapesCommand::ClipFilled(std::vector<DivideInput>& clips, DivideInput& input) {
    clips.insert(clips.begin(), input);
    auto outline = FindOutline(clips);
    if (!outline)
        return true;
    if (!*outline) {
        input.curves.clear();
        return false;
    }
    ReplaceByOutline(input, std::move(*outline), true);
    return true;
}

// What the clips leave of lines.
bool DivideShapesCommand::ClipUnfilled(std::vector<DivideInput>& clips, DivideInput& input) {
    if (clips.size() > 1) {
        auto outline = FindOutline(clips);
        if (!outline)
            return true;
        if (!*outline) {
            input.curves.clear();
            return false;
        }
        DivideInput common;
        common.role = Graph::c_clipRole;
        ReplaceByOutline(common, std::move(*outline), true);
        clips.clear();
        clips.push_back(std::move(common));
    }
    clips.insert(clips.begin(), input);
    auto const graph = CreateGraph(clips, Graph::BoolOpMethod::Divide);
    if (!graph)
        return true;
    auto inside = graph->DivideClippedEdges(0, 1, true);
    if (!inside || inside->empty()) {
        input.curves.clear();
        return false;
    }
    ReplaceByOutline(input, std::move(inside), false);
    return true;
}

} // namespace Commands
