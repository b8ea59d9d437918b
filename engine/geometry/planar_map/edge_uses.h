// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/face_map.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Geometry::Planar {

// The uses of an edge by an input's contours: `winding` counts them from its lower node to the higher less those back.
struct EdgeUse {
    std::uint32_t input = 0;
    std::int32_t winding = 0;
    std::uint32_t count = 0;
    // At least one of them is more than the closing of an area.
    bool line = false;
};

// The uses of every edge. Inputs are counted among those that take part in the map, in their order.
struct EdgeUses {
    EdgeUses(FaceMap const& map, CurveNet const& net, Monitor& monitor);

    std::vector<std::uint32_t> inputs;
    std::vector<std::uint32_t> first;
    std::vector<EdgeUse> uses;

    std::span<EdgeUse const> Of(std::uint32_t edge) const {
        return std::span(uses).subspan(first[edge], first[edge + 1] - first[edge]);
    }
};

// The half-edges along each face.
struct FaceBoundaries {
    FaceBoundaries(FaceMap const& map, Monitor& monitor);

    std::vector<std::uint32_t> first, halfEdges;

    std::span<std::uint32_t const> Of(std::uint32_t face) const {
        return std::span(halfEdges).subspan(first[face], first[face + 1] - first[face]);
    }
};

// Goes through all faces from the unbounded one, each time across one edge. Calls step(halfEdge) when it goes from the
// face on the left of a half-edge to the one on its right, forth and later back again, and visit(face) when it is in a
// face for the first time.
template <class Step, class Visit>
void WalkFaces(FaceMap const& map, FaceBoundaries const& boundaries, Monitor& monitor, Step step, Visit visit) {
    struct Place {
        std::uint32_t face, next, enteredBy;
    };
    std::vector<bool> seen(map.GetFaceCount(), false);
    std::vector<Place> path = {{0, boundaries.first[0], c_noIndex}};
    seen[0] = true;
    visit(0u);
    while (!path.empty()) {
        monitor.Tick();
        Place& place = path.back();
        if (place.next == boundaries.first[place.face + 1]) {
            if (place.enteredBy != c_noIndex)
                step(place.enteredBy ^ 1);
            path.pop_back();
            continue;
        }
        std::uint32_t const h = boundaries.halfEdges[place.next++], beyond = map.face[h ^ 1];
        if (seen[beyond])
            continue;
        seen[beyond] = true;
        step(h);
        visit(beyond);
        path.push_back({beyond, boundaries.first[beyond], h});
    }
}

} // namespace Geometry::Planar
