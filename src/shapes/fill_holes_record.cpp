// SPDX-License-Identifier: Apache-2.0
#include "shapes/fill_holes_record.h"

#include "platform/document/interfaces.h"
#include "platform/kernel/cast.h"

namespace Commands {

namespace {

void GiveCurves(Kernel::Counted<Node> const& node, Kernel::Counted<Geometry::PolyCurveDbl const> const& curves,
                double contourOffset) {
    auto* const shape = Kernel::CastPointer<MutableCurvesInterface>(node.get());
    if (shape == nullptr)
        return;
    if (auto* contour = Kernel::CastPointer<ContourInterface>(node.get()))
        contour->SetContourOffset(contourOffset);
    shape->SetCurves(curves);
}

} // namespace

void FillHolesRecord::GiveNewCurves() const { GiveCurves(node, newCurves, 0); }

void FillHolesRecord::GiveOldCurves() const { GiveCurves(node, oldCurves, contourOffset); }

} // namespace Commands
