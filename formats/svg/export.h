// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/report.h"
#include "formats/work.h"
#include "platform/document/nodes.h"

#include <string>
#include <vector>

namespace Formats::Svg {

struct ExportedDrawing {
    // UTF-8, well-formed XML 1.0; the same bytes for the same nodes on every machine.
    std::string text;
    // The parts that could not be represented: one entry a kind, the first by the node's name or type.
    Report report;
};

// Writes the content of a spread; the drawing is as large as the spread's box.
//
// Groups, names, clips, gradients and instances of symbols stay what they are, so that importing the drawing gives the
// same tree: computed rectangles and ellipses are written as such, other outlines as paths, bitmaps as PNG data URIs.
// A name that may be an id is the element's id, another one its title. Numbers are written in the shortest form that
// reads back the same.
ExportedDrawing ExportSpread(SpreadNode const& spread, Work const& work = {});

// Writes some nodes, each at its place on its spread, in the given order; the drawing is as large as what they draw.
ExportedDrawing ExportNodes(std::vector<Kernel::Counted<Node>> const& nodes, Work const& work = {});

} // namespace Formats::Svg
