// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/edge_uses.h"

#include <cstdint>
#include <vector>

namespace Geometry::Planar {

// The data that holds for all maps of one graph.
struct CoverageRules {
    bool keepHiddenTogether = false;
    // Without ordinary inputs the clips by themselves are what is covered.
    bool hasOrdinary = false;
    std::uint32_t clipCount = 0;
};

// Which inputs cover which faces, told by winding numbers, and what follows from it: owners, cutting edges, lines.
//
// Winding numbers are carried from face to face on a walk through a spanning tree of the faces, so that memory does not
// grow with the depth of overlaps. Then a sum over the inputs, each with a weight of its own, is compared across every
// edge: a map that contradicts itself does not pass.
class Coverage {
public:
    Coverage(FaceMap const& map, CurveNet const& net, CoverageRules const& rules, Monitor& monitor);

    // Per face: the input that owns it, none where nothing covers it within the clips.
    std::vector<std::uint32_t> owners;
    std::vector<bool> insideClips;
    // Per face: itself, or, where it is too thin to be more than rounding, the neighbour that it is counted to.
    std::vector<std::uint32_t> absorbedBy;
    // Per face: a face that stands for the connected region that no edge cuts apart.
    std::vector<std::uint32_t> regions;
    // Per edge: whether faces come apart along it.
    std::vector<bool> cuts;
    // Per edge: the input whose line runs there.
    std::vector<std::uint32_t> lineOwners;
    // Filled inputs whose outline something else meets, and those that cover anything at all.
    std::vector<std::uint32_t> touchedInputs, coveringInputs;
    // Filled inputs whose contours go round an area that their winding mode leaves out along an edge of theirs.
    std::vector<std::uint32_t> hollowInputs;
    bool consistent = true;

private:
    class Walk;
    void Absorb(FaceMap const& map, CurveNet const& net, FaceBoundaries const& boundaries, Monitor& monitor);
    bool AbsorbOne(std::uint32_t face, FaceMap const& map, FaceBoundaries const& boundaries,
                   std::vector<bool> const& thin);
    void JoinRegions(FaceMap const& map, Monitor& monitor);
};

// The winding number of one input in every face.
std::vector<std::int32_t> GetWindings(std::uint32_t input, FaceMap const& map, CurveNet const& net, Monitor& monitor);

inline bool IsInside(WindingOrderMode mode, std::int32_t winding) {
    return mode == WindingOrderMode::Alternating ? winding % 2 != 0 : winding != 0;
}

} // namespace Geometry::Planar
