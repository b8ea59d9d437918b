// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/bounds.h"
#include "engine/document/tree/layout_epoch.h"
#include "platform/document/edit_journal.h"
#include "platform/document/nodes.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"

#include <algorithm>
#include <cmath>

namespace {

using Params = Raster::AffineTransform::Params;

// A range of one axis.
struct Span {
    double from, to;
    double GetLength() const { return to - from; }
};

constexpr unsigned c_axisMask = (1u << c_transformConstraintBits) - 1;

// Nothing shrinks further than this at once: what has lost its extent would never get it back.
constexpr double c_leastShare = 1e-3;

// Where an object comes to lie whose box goes from `oldBox` to `newBox`. `constraints` are those of the axis.
Span Follow(Span const& object, Span const& oldBox, Span const& newBox, unsigned constraints) {
    double const near = object.from - oldBox.from, size = object.GetLength(), far = oldBox.to - object.to;
    bool const nearGives = (constraints & c_nearDistanceStays) == 0;
    bool const sizeGives = (constraints & c_sizeFollows) != 0;
    bool const farGives = (constraints & c_farDistanceStays) == 0;
    double const change = newBox.GetLength() - oldBox.GetLength();
    double const giving = (nearGives ? near : 0) + (sizeGives ? size : 0) + (farGives ? far : 0);
    if (!nearGives && !sizeGives && !farGives)
        return {newBox.from + near, newBox.from + near + std::max(size + change, size * c_leastShare)};
    // Nothing that may stretch has a length, so the change cannot be shared out: the object keeps its near distance and
    // its size. Distances are negative for an object beyond the box.
    if (!(giving > 0))
        return {newBox.from + near, newBox.from + near + size};
    double share = (giving + change) / giving;
    if (sizeGives)
        share = std::max(share, c_leastShare);
    double const from = newBox.from + (nearGives ? near * share : near);
    return {from, from + (sizeGives ? size * share : size)};
}

// From one span to the other; an object without extent is only moved.
void MapSpan(Span const& from, Span const& to, double& scale, double& shift) {
    scale = from.GetLength() > 0 ? to.GetLength() / from.GetLength() : 1;
    shift = to.from - from.from * scale;
}

Kernel::RectT<double> GetMemberBounds(Node const& member, TransformInterface const& place) {
    return ComputeBounds(member, place.GetMatrix(), false, false);
}

} // namespace

Kernel::RectT<double> ConstraintsGroupNode::GetBaseBox(bool) const {
    if (!m_box.IsEmpty())
        return m_box;
    Kernel::RectT<double> box;
    for (Node const* member = GetFirstChild(NodeChildListType::Plain); member != nullptr;
         member = member->GetNextSibling()) {
        if (auto const* place = Kernel::CastPointer<TransformInterface const>(member))
            box = box.United(GetMemberBounds(*member, *place));
    }
    return box;
}

void ConstraintsGroupNode::SetBaseBox(Kernel::RectT<double> box) {
    auto const old = GetBaseBox(true);
    bool const isBox =
        !box.IsEmpty() && std::isfinite(box.GetWidth() + box.GetHeight()) && std::isfinite(box.left + box.top);
    if (!isBox || box == m_box)
        return;
    if (!old.IsEmpty() && box != old) {
        for (Node* member = GetFirstChild(NodeChildListType::Plain); member != nullptr;
             member = member->GetNextSibling()) {
            auto* const place = Kernel::CastPointer<TransformInterface>(member);
            if (place == nullptr)
                continue;
            auto const bounds = GetMemberBounds(*member, *place);
            unsigned const constraints = place->GetTransformConstraints();
            Params follow;
            MapSpan({bounds.left, bounds.right},
                    Follow({bounds.left, bounds.right}, {old.left, old.right}, {box.left, box.right},
                           constraints & c_axisMask),
                    follow.a, follow.tx);
            MapSpan({bounds.top, bounds.bottom},
                    Follow({bounds.top, bounds.bottom}, {old.top, old.bottom}, {box.top, box.bottom},
                           constraints >> c_transformConstraintBits & c_axisMask),
                    follow.d, follow.ty);
            place->Transform(follow, false);
        }
    }
    EditJournal::NoteValue(*this, m_box);
    m_box = box;
    MarkChanged();
    LayoutEpoch::AdvanceForPlaces();
}

void ConstraintsGroupNode::CopyMembersFrom(Node const& other) {
    GroupNode::CopyMembersFrom(other);
    if (auto const* peer = Kernel::CastPointer<ConstraintsGroupNode const>(&other))
        m_box = peer->m_box;
}

void ConstraintsGroupNode::Save(Kernel::OutSerialiser& out) const {
    if (!m_box.IsEmpty())
        Kernel::SaveValue(out, "CBox", m_box);
    GroupNode::Save(out);
}

bool ConstraintsGroupNode::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::LoadValue(in, "CBox", m_box);
    return GroupNode::Load(in, files, version);
}
