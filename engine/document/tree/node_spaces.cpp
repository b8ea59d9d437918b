// SPDX-License-Identifier: Apache-2.0
#include "platform/document/node_spaces.h"

#include "platform/kernel/cast.h"

Kernel::RectT<double> GetTransformedBox(Kernel::RectT<double> const& box,
                                        Raster::AffineTransform::Params const& transform) {
    // The lowest numbers cover no area either; what is not a number compares as nothing.
    return box.IsEmpty() ? box : transform.Apply(box);
}

Raster::AffineTransform::Params NodeSpaces::GetLocalToParentTransform() const {
    auto const* const placed = Kernel::CastPointer<TransformInterface const>(&m_node);
    return placed == nullptr ? Params() : placed->GetMatrix();
}

Raster::AffineTransform::Params NodeSpaces::GetLocalToSpreadTransform() const {
    return m_node.GetBaseToSpreadTransform();
}

Raster::AffineTransform::Params NodeSpaces::GetSpreadToBaseTransform() const {
    return GetLocalToSpreadTransform().GetInverse();
}

Raster::AffineTransform::Params NodeSpaces::GetParentToSpreadTransform() const {
    return m_node.GetParent() == nullptr ? Params() : m_node.GetParent()->GetBaseToSpreadTransform();
}

Raster::AffineTransform::Params NodeSpaces::GetInParent(Params const& ofSpread) const {
    auto const toSpread = GetParentToSpreadTransform();
    return toSpread.GetInverse() * ofSpread * toSpread;
}

Raster::AffineTransform::Params NodeSpaces::GetInLocal(Params const& ofParent) const {
    auto const toParent = GetLocalToParentTransform();
    return toParent.GetInverse() * ofParent * toParent;
}

Kernel::RectT<double> NodeSpaces::GetLocalBaseBox(bool includeBleed) const {
    auto const* const boxed = Kernel::CastPointer<BaseBoxInterface const>(&m_node);
    return boxed == nullptr ? Kernel::RectT<double>() : boxed->GetBaseBox(includeBleed);
}

Kernel::RectT<double> NodeSpaces::GetSpreadBaseBox(bool includeBleed) const {
    return GetTransformedBox(GetLocalBaseBox(includeBleed), GetLocalToSpreadTransform());
}
