// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"

// The smallest upright rectangle around a transformed one. A rectangle that covers no area stays as it is, and so does
// one that was never set, whose four values are the lowest number.
REDRAFT_ENGINE Kernel::RectT<double> GetTransformedBox(Kernel::RectT<double> const& box,
                                                       Raster::AffineTransform::Params const& transform);

inline constexpr Kernel::RectT<double> c_unsetBox{
    std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest(),
    std::numeric_limits<double>::lowest()};

// The spaces around a node: its own, in which its box and its children stand, its parent's, and that of the spread. For
// the length of a call; each question is answered by the tree as it is then.
class REDRAFT_ENGINE NodeSpaces {
public:
    using Params = Raster::AffineTransform::Params;
    explicit NodeSpaces(Node const& node) : m_node(node) {}

    // From the node's own space.
    Params GetLocalToParentTransform() const;
    Params GetLocalToSpreadTransform() const;
    // To the node's own space.
    Params GetSpreadToBaseTransform() const;
    Params GetParentToSpreadTransform() const;
    // A transform of the spread's space as one of the parent's.
    Params GetInParent(Params const& ofSpread) const;
    // A transform of the parent's space as one of the node's own.
    Params GetInLocal(Params const& ofParent) const;

    // The node's box in its own space and on the spread; empty for nodes without one.
    Kernel::RectT<double> GetLocalBaseBox(bool includeBleed) const;
    Kernel::RectT<double> GetSpreadBaseBox(bool includeBleed) const;

private:
    Node const& m_node;
};
