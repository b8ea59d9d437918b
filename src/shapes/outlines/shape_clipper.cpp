// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/shape_clipper.h"

#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <algorithm>

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

bool HasVisibleFill(Kernel::Countable const* object) { return IsPicture(object) || HasVisibleBrush(object); }

bool HasClosedCurve(ShapeInput const& input) {
    return std::any_of(input.curves.begin(), input.curves.end(),
                       [](auto const& entry) { return entry.curves->HasClosedCurve(); });
}

bool LeaveNothing(ShapeInput& input) {
    input.curves.clear();
    return false;
}

} // namespace

// All operations below answer false for what has nothing to give.

void ShapeClipper::Clip(Node const& node, ShapeInput& input) {
    ApplyClips(node, input, true);
    ApplyClipsAbove(node, input);
}

bool ShapeClipper::ApplyClips(Node const& node, ShapeInput& input, bool allowUnfilled) {
    if (m_maps.IsAborted())
        return false;
    PlanarMaps::Inputs clips;
    if (!GatherClips(node, clips))
        return LeaveNothing(input);
    if (clips.empty())
        return true;
    if (m_maps.IsAborted())
        return false;
    // An open shape that is not painted clips nothing.
    if (!input.filled && !allowUnfilled)
        return LeaveNothing(input);
    return ClipInput(m_maps, std::move(clips), input);
}

// Members of a group are seen inside its clips only. The group keeps its clips.
void ShapeClipper::ApplyClipsAbove(Node const& node, ShapeInput& input) {
    for (Node const* group = node.GetParent(); group != nullptr && !input.curves.empty(); group = group->GetParent()) {
        if (group->HasChildren(NodeChildListType::Clipping))
            FindAreaOfGroup(*group).Apply(m_maps, input);
    }
}

ClipArea const& ShapeClipper::FindAreaOfGroup(Node const& group) {
    if (auto const found = m_areasOfGroups.find(&group); found != m_areasOfGroups.end())
        return found->second;
    PlanarMaps::Inputs clips;
    bool const leavesAny = GatherClips(group, clips);
    return m_areasOfGroups.emplace(&group, leavesAny ? ClipArea::Of(m_maps, clips) : ClipArea::OfNothing())
        .first->second;
}

bool ShapeClipper::GatherClips(Node const& node, PlanarMaps::Inputs& clips) {
    ClipDepth const depth(m_depth);
    for (Node const* child = node.GetFirstChild(NodeChildListType::Clipping); child != nullptr;
         child = child->GetNextSibling()) {
        if (!child->IsContent())
            continue;
        ShapeInput clip;
        if (auto const* shape = Kernel::CastPointer<ConstCurvesInterface const>(child)) {
            auto made = MakeShapeInput(*shape);
            if (!made || made->curves.empty())
                continue;
            clip = std::move(*made);
            clip.filled = HasVisibleFill(child);
            if (!ApplyClips(*child, clip, false))
                return false;
        } else if (Kernel::CastPointer<LogicalNode const>(child) != nullptr) {
            if (CompileGroup(*child, clip) && clip.curves.empty())
                return false;
        }
        if (!clip.curves.empty()) {
            clip.role = PlanarMaps::Graph::c_clipRole;
            clips.push_back(std::move(clip));
        }
    }
    return true;
}

// Closed content counts as area even where it is not painted, open content only where it is.
bool ShapeClipper::CompileCurves(Node const& node, ConstCurvesInterface const& shape, ShapeInput& input) {
    auto made = MakeShapeInput(shape);
    if (!made)
        return false;
    input = std::move(*made);
    if (input.curves.empty())
        return true;
    input.filled = HasClosedCurve(input) || HasVisibleFill(&node);
    ApplyClips(node, input, true);
    return true;
}

// The members of groups without clips count as those of the group around them.
bool ShapeClipper::AddGroupChildren(Node const& node, PlanarMaps::Inputs& inputs) {
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
        ShapeInput input;
        if (auto const* shape = Kernel::CastPointer<ConstCurvesInterface const>(&child)) {
            any = CompileCurves(child, *shape, input) || any;
        } else if (Kernel::CastPointer<LogicalNode const>(&child) != nullptr) {
            if (child.HasChildren(NodeChildListType::Clipping))
                any = CompileGroup(child, input) || any;
            else
                putChildren(child);
        }
        if (!input.curves.empty()) {
            input.role = PlanarMaps::Graph::c_ordinaryRole;
            inputs.push_back(std::move(input));
        }
    }
    return any;
}

bool ShapeClipper::CompileGroup(Node const& node, ShapeInput& input) {
    ClipDepth const depth(m_depth);
    PlanarMaps::Inputs children;
    if (!AddGroupChildren(node, children))
        return false;
    m_maps.ThrowIfAborted();
    if (children.empty()) {
        input.curves.clear();
        return true;
    }
    auto outline = m_maps.FindOutline(children);
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

} // namespace Commands
