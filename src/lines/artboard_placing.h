// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"

#include <optional>
#include <span>
#include <vector>

namespace Commands {

// An artboard by its upright box on the spread.
struct ArtboardToPlace {
    // Another size that it is to get.
    struct Resize {
        // From the upper left corner to where the lower right corner is wanted. Of a turned board the two differ from
        // the size of the box around it.
        Kernel::PointT<double> diagonal;
        Kernel::SizeT<double> boxSize;
    };
    Kernel::RectT<double> box;
    std::optional<Resize> resize = {};
};

// The boxes after all boards have got their sizes and those that lie beyond have moved along, so that the gaps between
// boards in a row or a column stay as they were. A board moves by the largest shift of the right edges of the boards
// to the left of it, and of the lower edges of those above. Boards whose boxes have an edge in common lie beside each
// other. A board that grows in both directions counts as if it had grown when its own neighbours are looked for. Where
// boards wait for each other in a circle, the first that is left goes by those of its neighbours that have a place. A
// shift that is no number counts as none.
REDRAFT_API std::vector<Kernel::RectT<double>> PlaceArtboards(std::span<ArtboardToPlace const> boards);

} // namespace Commands
