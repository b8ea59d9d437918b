// SPDX-License-Identifier: Apache-2.0
// How selected objects become inputs of a divide, and how what clips them is taken into account.
#include "shapes/divide_shapes_command.h"

#include "platform/geometry/curve_operations.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/story/text_renderer.h"
#include "shapes/image_fill.h"
#include "shapes/text_curves_render_target.h"
#include "shapes/visible_fill.h"

#include <algorithm>
#include <cmath>

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

void Grow(Geometry::RectDbl& box, Geometry::PointDbl p) {
    box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
}

// A curve lies in the hull of its control points.
void SetOutline(DivideGroupClip& clip) {
    auto const outline = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    for (auto const& entry : clip.input.curves) {
        auto const moved = entry.curves->Clone();
        moved->ApplyTransform(clip.input.transform * entry.transform);
        outline->AddPolyCurve(*moved);
    }
    for (auto const& curve : outline->GetCurves()) {
        auto const add = [&](std::initializer_list<Geometry::PointDbl> points) {
            auto const first = *points.begin();
            Geometry::RectDbl box{first.x, first.y, first.x, first.y};
            for (auto const& p : points)
                Grow(box, p);
            clip.edges.push_back(box);
        };
        for (auto const segment : curve->GetSegments())
            add({segment.start, segment.control1, segment.control2, segment.end});
        // An area is closed by a straight line.
        add({curve->GetEnd(), curve->GetStart()});
    }
    clip.outline = outline;
}

bool Touch(Geometry::RectDbl const& a, Geometry::RectDbl const& b) {
    return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

// Whether all of the input lies inside the clip, or all outside; nothing where an edge of the clip comes near it, so
// that a map must tell.
std::optional<bool> LiesInside(DivideInput const& input, DivideGroupClip const& clip) {
    std::optional<Geometry::RectDbl> box;
    for (auto const& entry : input.curves) {
        auto const transform = input.transform * entry.transform;
        for (auto const& curve : entry.curves->GetCurves()) {
            for (auto const& point : curve->GetPoints()) {
                auto const p = transform.Apply(point);
                if (!box)
                    box = Geometry::RectDbl{p.x, p.y, p.x, p.y};
                Grow(*box, p);
            }
        }
    }
    if (!box || !std::isfinite(box->GetWidth() + box->GetHeight()) ||
        std::any_of(clip.edges.begin(), clip.edges.end(), [&](auto const& edge) { return Touch(edge, *box); }))
        return std::nullopt;
    return Geometry::Contains(*clip.outline, {box->left, box->top}, clip.input.windingOrderMode);
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

bool DivideShapesCommand::IsAborted() const { return Kernel::IsAbortSet(&m_abort); }

Kernel::Counted<Geometry::CurveIntersectionGraph>
DivideShapesCommand::CreateGraph(std::vector<DivideInput> const& inputs, Graph::BoolOpMethod method) {
    auto const [graph, result] =
        Graph::Create(inputs, method, false, false, &m_abort, Kernel::Counted<Graph::ProgressReporter>(this), true);
    if (!graph && result != Graph::Result::NoCurves)
        m_lacksMap = true;
    if (graph)
        m_unresolvedPairs += graph->GetUnresolvedPairCount();
    return graph;
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
        if (clip.kind == DivideGroupClip::Kind::None)
            continue;
        auto const isInside = clip.kind == DivideGroupClip::Kind::Nothing ? false : LiesInside(input, clip);
        if (isInside) {
            if (!*isInside)
                input.curves.clear();
            continue;
        }
        std::vector<DivideInput> clips{clip.input};
        if (input.filled)
            ClipFilled(clips, input);
        else
            ClipUnfilled(clips, input);
    }
}

// Compiled once for all members.
DivideGroupClip const& DivideShapesCommand::FindClipOfGroup(Node const& group) {
    if (auto const found = m_clipsOfGroups.find(&group); found != m_clipsOfGroups.end())
        return found->second;
    DivideGroupClip clip;
    std::vector<DivideInput> clips;
    if (!GatherClips(group, clips)) {
        clip.kind = DivideGroupClip::Kind::Nothing;
    } else if (!clips.empty()) {
        if (auto outline = FindOutline(clips)) {
            clip.kind = *outline ? DivideGroupClip::Kind::Area : DivideGroupClip::Kind::Nothing;
            clip.input.role = Graph::c_clipRole;
            if (*outline)
                ReplaceByOutline(clip.input, std::move(*outline), true);
            SetOutline(clip);
        }
    }
    return m_clipsOfGroups.emplace(&group, std::move(clip)).first->second;
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
