// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/bounds.h"

#include "engine/document/tree/line_bounds.h"
#include "platform/document/artboard.h"
#include "platform/document/node_bounds.h"
#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/renderer/filter.h"

#include <cmath>
#include <optional>

namespace {

using Params = Raster::AffineTransform::Params;

constexpr int c_clipDepth = 64;
// Filters within filters, which need the bounds below them once more each.
constexpr int c_filterDepth = 64;

Params ChildTransform(Node const& child, Params const& parentToSpread) {
    auto const* const scene = Kernel::CastPointer<TransformInterface const>(&child);
    return scene == nullptr ? parentToSpread : parentToSpread * scene->GetMatrix();
}

using Visit = std::function<void(Node const& node, Kernel::RectT<double> const& bounds)>;

// `captions`: with those of the top node, too. `visit` is told of each node that the walk comes to; it may be null.
Kernel::RectT<double> Bounds(Node const& top, Params const& topToSpread, bool includeLines, int clipDepth,
                             bool captions, Visit const* visit = nullptr);

// Of what lies in all clips; nothing where none clips.
std::optional<Kernel::RectT<double>> ClipBounds(Node const& node, Params const& toSpread, int clipDepth) {
    std::optional<Kernel::RectT<double>> clip;
    for (Node const* child = node.GetFirstChild(NodeChildListType::Clipping); child != nullptr;
         child = child->GetNextSibling()) {
        if (!child->IsContent())
            continue;
        auto const bounds = Bounds(*child, ChildTransform(*child, toSpread), false, clipDepth + 1, false);
        clip = clip ? clip->Intersected(bounds) : bounds;
    }
    return clip;
}

struct Frame {
    Node const* node;
    Params toSpread;
    Node const* nextChild;
    Kernel::RectT<double> bounds;
    int filterDepth;
    // The bounds are those of all but the captions, which come last.
    bool isAtCaptions = false;
};

Node const* FirstCaption(Node const& node) {
    return Kernel::CastPointer<SpreadNode const>(&node) != nullptr ? nullptr
                                                                   : node.GetFirstChild(NodeChildListType::Captions);
}

// Of what the node's filters make of what lies inside `bounds`. Both are upright in the spread: a filter of a turned
// node has more than it needs.
Kernel::RectT<double> FilteredBounds(Node const& node, Params const& toSpread, Kernel::RectT<double> bounds,
                                     int clipDepth) {
    auto const* const scene = Kernel::CastPointer<SceneNode const>(&node);
    if (scene == nullptr || scene->GetFilterEffects().empty() || !(std::abs(toSpread.GetDeterminant()) > 1e-128))
        return bounds;
    std::optional<Kernel::RectT<double>> box;
    for (auto const& effect : scene->GetFilterEffects()) {
        auto const* const filter = Kernel::CastPointer<Renderer::Filter const>(effect.get());
        if (filter == nullptr)
            continue;
        if (filter->NeedsBox() && !box)
            box = Bounds(node, {}, false, clipDepth, false);
        if (auto const resolved = filter->ResolveBox(box.value_or(Kernel::RectT<double>())))
            bounds = toSpread.Apply(resolved->GetBounds(toSpread.GetInverse().Apply(bounds)));
    }
    return bounds;
}

// Without captions: what is left by filters, clips and the box of an artboard.
Kernel::RectT<double> BoundsOfContent(Frame const& frame, bool includeLines, int clipDepth) {
    auto bounds = frame.bounds;
    if (includeLines && frame.filterDepth <= c_filterDepth)
        bounds = FilteredBounds(*frame.node, frame.toSpread, bounds, clipDepth);
    if (clipDepth < c_clipDepth && frame.node->HasChildren(NodeChildListType::Clipping)) {
        if (auto const clip = ClipBounds(*frame.node, frame.toSpread, clipDepth))
            bounds = bounds.Intersected(*clip);
    }
    // An artboard clips to its own box; one that is no more than a group has no bounds of its own.
    if (frame.node->IsArtboard() && static_cast<ArtboardNode const*>(frame.node)->IsArtboardEnabled())
        bounds = bounds.Intersected(frame.node->GetOwnBounds(frame.toSpread, includeLines));
    return bounds;
}

Kernel::RectT<double> Bounds(Node const& top, Params const& topToSpread, bool includeLines, int clipDepth,
                             bool captions, Visit const* visit) {
    auto const open = [&](Node const& node, Params const& toSpread, int filterDepth) {
        Node const* const first = node.DrawsChildren() ? node.GetFirstChild(NodeChildListType::Plain) : nullptr;
        filterDepth += node.FindState(InterfaceId::FilterEffects) == nullptr ? 0 : 1;
        return Frame{&node, toSpread, first, node.GetOwnBounds(toSpread, includeLines), filterDepth};
    };
    std::vector<Frame> frames{open(top, topToSpread, 0)};
    for (;;) {
        Frame& frame = frames.back();
        if (Node const* child = frame.nextChild) {
            frame.nextChild = child->GetNextSibling();
            auto const toSpread = ChildTransform(*child, frame.toSpread);
            frames.push_back(open(*child, toSpread, frame.filterDepth));
            continue;
        }
        if (!frame.isAtCaptions) {
            frame.bounds = BoundsOfContent(frame, includeLines, clipDepth);
            frame.isAtCaptions = true;
            if (captions || frames.size() != 1)
                frame.nextChild = FirstCaption(*frame.node);
            if (frame.nextChild != nullptr)
                continue;
        }
        auto const bounds = frame.bounds;
        if (visit != nullptr)
            (*visit)(*frame.node, bounds);
        frames.pop_back();
        if (frames.empty())
            return bounds;
        frames.back().bounds = frames.back().bounds.United(bounds);
    }
}

} // namespace

Kernel::RectT<double> ComputeBounds(Node const& node, Params const& toSpread, bool includeLines, bool captions) {
    return Bounds(node, toSpread, includeLines, 0, captions);
}

void ForEachBounds(Node const& top, bool includeLines, Visit const& visit) {
    Bounds(top, top.GetBaseToSpreadTransform(), includeLines, 0, true, &visit);
}

std::optional<Kernel::RectT<double>> FindRoomOfShape(Node const& node) {
    auto const* const shape = Kernel::CastPointer<PolyCurveNode const>(&node);
    bool const isAlone = shape != nullptr && node.FindState(InterfaceId::FilterEffects) == nullptr &&
                         !node.HasChildren(NodeChildListType::Plain) && !node.HasChildren(NodeChildListType::Captions);
    auto const outline = isAlone ? shape->GetCurves() : Kernel::Counted<Geometry::PolyCurveDbl const>();
    if (!outline)
        return {};
    auto const line = shape->IsLineStyleVisible() ? shape->GetLineStyleDescriptor()
                                                  : Kernel::Counted<Renderer::LineStyleDescriptor const>();
    return FindRoomOfLine(*outline, line.get(), node.GetBaseToSpreadTransform());
}
