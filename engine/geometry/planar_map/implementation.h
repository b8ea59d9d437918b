// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/coverage.h"
#include "engine/geometry/planar_map/node_positions.h"

#include <memory>
#include <vector>

namespace Geometry {

// One map for each group of contours that lies apart from all others, each on a grid of its own.
class CurveIntersectionGraph::Implementation {
public:
    struct Map {
        Planar::CurveNet net;
        Planar::FaceMap faces;
        Planar::Coverage coverage;
        Planar::NodePositions positions;
        std::size_t unresolvedPairs = 0;
        // Per face.
        std::vector<bool> enabled;
    };

    bool const* abort = nullptr;
    BoolOpMethod method = BoolOpMethod::Divide;
    Planar::SourceCurves source;
    std::vector<std::unique_ptr<Map>> maps;

    Planar::Monitor MakeMonitor() const { return Planar::Monitor(abort, nullptr); }
    // Builds the map of some contours and adds it; Success, TooComplex or Inconsistent.
    Result AddMap(std::vector<std::uint32_t> const& contours, Planar::CoverageRules const& rules, bool refineCrossings,
                  Planar::Monitor& monitor);

    struct Division;
    bool Divide(Division& division, std::map<unsigned int, DividedResult>& results, bool includeLines) const;

private:
    struct Work;
    Result AddMap(Work& work, std::vector<std::uint32_t> const& contours, Planar::CoverageRules const& rules,
                  bool refineCrossings, Planar::Monitor& monitor);
};

} // namespace Geometry
