// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/geometry/curve_intersection_graph.h"

#include <optional>

namespace Commands {

// Makes the planar maps that one step needs, and keeps count of what could not be followed. All of it ends with
// Kernel::AbortException once the abort flag is set.
class REDRAFT_API PlanarMaps {
public:
    using Graph = Geometry::CurveIntersectionGraph;
    using Inputs = std::vector<Graph::Input>;
    using Outline = Kernel::Counted<Geometry::PolyCurveDbl>;

    // Both may be null; they must outlive the maps.
    explicit PlanarMaps(bool const* abort, Graph::ProgressReporter* reporter = nullptr)
        : m_abort(abort), m_reporter(reporter) {}

    bool IsAborted() const;
    void ThrowIfAborted() const;
    // Null when no map could be made.
    Kernel::Counted<Graph> Make(Inputs const& inputs, Graph::BoolOpMethod method);
    // The outline of what the filled inputs cover inside all clips, null where that is nothing; no answer when no map
    // could be made.
    std::optional<Outline> FindOutline(Inputs const& inputs);

    // Whether a map could not be made of curves that are too complex or out of range. Having no curves is no fault.
    bool LacksMap() const { return m_lacksMap; }
    // See CurveIntersectionGraph::GetUnresolvedPairCount; of all maps.
    std::size_t GetUnresolvedPairCount() const { return m_unresolvedPairs; }

private:
    bool const* m_abort;
    Graph::ProgressReporter* m_reporter;
    bool m_lacksMap = false;
    std::size_t m_unresolvedPairs = 0;
};

} // namespace Commands
