// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/planar_map/edge_uses.h"

#include <functional>

namespace Geometry::Planar {

EdgeUses::EdgeUses(FaceMap const& map, CurveNet const& net, Monitor& monitor) {
    for (NetContour const& contour : net.contours)
        inputs.push_back(contour.input);
    Sort(inputs, std::less<>(), monitor);
    inputs.erase(std::unique(inputs.begin(), inputs.end()), inputs.end());
    first.reserve(map.GetEdgeCount() + 1);
    uses.reserve(map.subSegments.size());
    std::vector<EdgeUse> here;
    for (std::uint32_t e = 0; e != map.GetEdgeCount(); ++e) {
        first.push_back(static_cast<std::uint32_t>(uses.size()));
        here.clear();
        for (std::uint32_t const s : map.SubSegmentsOf(e)) {
            SubSegment const& sub = map.subSegments[s];
            int const direction = map.RunsUp(sub) ? 1 : -1;
            for (PieceUse const& use : net.GetPieceUses(sub.piece))
                here.push_back({use.input, direction * use.winding, use.count, use.line});
            monitor.Tick();
        }
        if (map.SubSegmentsOf(e).size() > 1)
            Sort(
                here, [](EdgeUse const& a, EdgeUse const& b) { return a.input < b.input; }, monitor);
        for (EdgeUse use : here) {
            use.input =
                static_cast<std::uint32_t>(std::lower_bound(inputs.begin(), inputs.end(), use.input) - inputs.begin());
            if (uses.size() == first.back() || uses.back().input != use.input) {
                uses.push_back(use);
                continue;
            }
            uses.back().winding += use.winding;
            uses.back().count += use.count;
            uses.back().line = uses.back().line || use.line;
        }
    }
    first.push_back(static_cast<std::uint32_t>(uses.size()));
}

FaceBoundaries::FaceBoundaries(FaceMap const& map, Monitor& monitor)
    : first(map.GetFaceCount() + 1, 0), halfEdges(map.face.size()) {
    for (std::uint32_t const f : map.face) {
        ++first[f + 1];
        monitor.Tick();
    }
    for (std::size_t i = 0; i + 1 < first.size(); ++i)
        first[i + 1] += first[i];
    std::vector<std::uint32_t> at(first.begin(), first.end() - 1);
    for (std::uint32_t h = 0; h != map.face.size(); ++h) {
        halfEdges[at[map.face[h]]++] = h;
        monitor.Tick();
    }
}

} // namespace Geometry::Planar
