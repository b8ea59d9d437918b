// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/node.h"
#include "platform/geometry/poly_curve.h"
#include "platform/kernel/field_list.h"

namespace Commands {

// One shape that was changed. Either it was given new curves, or a new node stands in its place.
struct FillHolesRecord {
    Kernel::Counted<Node> node;
    // Empty when the node itself was edited.
    Kernel::Counted<Node> newNode;
    Kernel::Counted<Geometry::PolyCurveDbl const> oldCurves;
    // Empty when the node was replaced, and when it had no curves to be replaced and left the document.
    Kernel::Counted<Geometry::PolyCurveDbl const> newCurves;
    double contourOffset = 0;

    // Of a node that was edited: changes over to the new curves, without a contour, and back.
    void GiveNewCurves() const;
    void GiveOldCurves() const;

    static constexpr Kernel::ClassUID GetClassUID() { return {"Undo"}; }
    static constexpr unsigned short GetSchemaVersion() { return 1; }
    static constexpr auto Fields() {
        using This = FillHolesRecord;
        return Kernel::FieldList{Kernel::Field{"Node", &This::node},
                                 Kernel::Field{"POld", &This::oldCurves}.OnlyWhenSet(),
                                 Kernel::Field{"PNew", &This::newCurves}.OnlyWhenSet(),
                                 Kernel::Field{"COff", &This::contourOffset}, Kernel::Field{"NNod", &This::newNode}};
    }
};

} // namespace Commands
