// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shapes/outlines/planar_maps.h"
#include "shapes/outlines/shape_input.h"

namespace Commands {

// The area that all clips of an object leave to be seen, in spread space. It is compiled once and applied to many
// inputs; most of them lie inside or outside as a whole, which it tells without a map.
class REDRAFT_API ClipArea {
public:
    // Clips nothing, as where there are no clips or no map of them could be made.
    ClipArea() = default;
    static ClipArea OfNothing();
    // Of what all the clips cover in common.
    static ClipArea Of(PlanarMaps& maps, PlanarMaps::Inputs const& clips);

    // Leaves of an input what lies inside: of a filled one its area, of others its lines. An input that lies outside
    // is left without curves.
    void Apply(PlanarMaps& maps, ShapeInput& input) const;
    // Whether all of an input lies inside, or all outside; no answer where an edge of the area comes near it, so that a
    // map must tell.
    std::optional<bool> LiesInside(ShapeInput const& input) const;

private:
    enum class Kind { Everything, Nothing, Area };
    void SetOutline();

    Kind m_kind = Kind::Everything;
    // Of an area.
    ShapeInput m_input;
    Kernel::Counted<Geometry::PolyCurveDbl const> m_outline;
    // One around every segment of the outline.
    std::vector<Geometry::RectDbl> m_boxes;
};

// Leaves of an input what lies in all of the clips, which must not be empty. An input of which nothing is left loses
// its curves; without a map it stays as it is. False when nothing is left.
REDRAFT_API bool ClipInput(PlanarMaps& maps, PlanarMaps::Inputs clips, ShapeInput& input);

} // namespace Commands
