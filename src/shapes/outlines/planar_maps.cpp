// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/planar_maps.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/exception.h"

namespace Commands {

bool PlanarMaps::IsAborted() const { return Kernel::IsAbortSet(m_abort); }

void PlanarMaps::ThrowIfAborted() const {
    if (IsAborted())
        throw Kernel::AbortException();
}

Kernel::Counted<PlanarMaps::Graph> PlanarMaps::Make(Inputs const& inputs, Graph::BoolOpMethod method) {
    auto const [graph, result] = Graph::Create(inputs, method, false, false, m_abort,
                                               Kernel::Counted<Graph::ProgressReporter>(m_reporter), true);
    if (graph)
        m_unresolvedPairs += graph->GetUnresolvedPairCount();
    else if (result != Graph::Result::NoCurves)
        m_lacksMap = true;
    return graph;
}

std::optional<PlanarMaps::Outline> PlanarMaps::FindOutline(Inputs const& inputs) {
    auto const graph = Make(inputs, Graph::BoolOpMethod::Outline);
    if (!graph)
        return std::nullopt;
    auto outline = graph->GetEnabledOutline(true, true, true, false);
    return outline && !outline->empty() ? outline : nullptr;
}

} // namespace Commands
