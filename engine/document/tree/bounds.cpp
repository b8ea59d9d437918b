// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/bounds.h"

#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"

#include <optional>

namespace {

using Params = Raster::AffineTransform::Params;

constexpr int c_clipDepth = 64;

Params ChildTransform(Node const& child, Params const& parentToSpread) {
    auto const* const scene = Kernel::CastPointer<TransformInterface const>(&child);
    return scene == nullptr ? parentToSpread : parentToSpread * scene->GetMatrix();
}

Kernel::RectT<double> Bounds(Node const& top, Params const& topToSpread, bool includeLines, int clipDepth);

// Of what lies in all clips; nothing where none clips.
std::optional<Kernel::RectT<double>> ClipBounds(Node const& node, Params const& toSpread, int clipDepth) {
    std::optional<Kernel::RectT<double>> clip;
    for (Node const* child = node.GetFirstChild(NodeChildListType::Clipping); child != nullptr;
         child = child->GetNextSibling()) {
        if (!child->IsContent())
            continue;
        auto const bounds = Bounds(*child, ChildTransform(*child, toSpread), false, clipDepth + 1);
        clip = clip ? clip->Intersected(bounds) : bounds;
    }
    return clip;
}

struct Frame {
    Node const* node;
    Params toSpread;
    Node const* nextChild;
    Kernel::RectT<double> bounds;
};

Kernel::RectT<double> Bounds(Node const& top, Params const& topToSpread, bool includeLines, int clipDepth) {
    auto const open = [&](Node const& node, Params const& toSpread) {
        Node const* const first = node.DrawsChildren() ? node.GetFirstChild(NodeChildListType::Plain) : nullptr;
        return Frame{&node, toSpread, first, node.GetOwnBounds(toSpread, includeLines)};
    };
    std::vector<Frame> frames{open(top, topToSpread)};
    for (;;) {
        Frame& frame = frames.back();
        if (Node const* child = frame.nextChild) {
            frame.nextChild = child->GetNextSibling();
            auto const toSpread = ChildTransform(*child, frame.toSpread);
            frames.push_back(open(*child, toSpread));
            continue;
        }
        auto bounds = frame.bounds;
        if (clipDepth < c_clipDepth && frame.node->HasChildren(NodeChildListType::Clipping)) {
            if (auto const clip = ClipBounds(*frame.node, frame.toSpread, clipDepth))
                bounds = bounds.Intersected(*clip);
        }
        frames.pop_back();
        if (frames.empty())
            return bounds;
        frames.back().bounds = frames.back().bounds.United(bounds);
    }
}

} // namespace

Kernel::RectT<double> ComputeBounds(Node const& node, Params const& toSpread, bool includeLines) {
    return Bounds(node, toSpread, includeLines, 0);
}
