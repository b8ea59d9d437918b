// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/geometry/planar_map/monitor.h"
#include "platform/kernel/dispatch.h"

#include <algorithm>
#include <cstddef>

namespace Geometry::Planar {

// Calls work(first, last, monitor) for sections of [0, count), on all threads. Each section has a monitor of its own,
// which reads the abort flag and reports nothing; Kernel::AbortException comes out here. What a section writes must be
// its own, so that the outcome is the same for any number of threads.
template <class Work>
void ForStretches(std::size_t count, std::size_t stretch, Monitor const& monitor, Work const& work) {
    Kernel::ParallelFor((count + stretch - 1) / stretch, [&](std::size_t i) {
        Monitor own = monitor.ForThread();
        own.Check();
        work(i * stretch, std::min(count, (i + 1) * stretch), own);
    });
}

} // namespace Geometry::Planar
