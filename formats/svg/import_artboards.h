// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/source_tree.h"
#include "platform/document/nodes.h"
#include "platform/raster/affine_transform.h"

#include <vector>

namespace Formats::Svg {

// An `svg` element right in the drawing that clips its content to a box of its own and does nothing else to it.
struct PageOfDrawing {
    Kernel::Counted<GroupNode> group;
    // In the group's own space.
    Kernel::RectT<double> box;
};

// Makes artboards of the nodes of a drawing where all of them, two or more, are such elements and none overlaps
// another: then the drawing is a set of pages. A rectangle that fills a page becomes the artboard's fill.
void PutOnArtboards(std::vector<Kernel::Counted<Node>>& nodes, std::vector<PageOfDrawing> const& pages);

// Of what a node without a parent will show on a spread: there an artboard shows all of its box.
Kernel::RectT<double> GetPageBounds(Node const& node);

// Makes artboards of two or more pages that an editor lists in the drawing (`inkscape:page`), where no two overlap and
// all that is drawn lies whole on one of them: clipping to the pages changes nothing then. `toPage` leads from the
// drawing's user space to that of the nodes.
void PutOnListedPages(std::vector<Kernel::Counted<Node>>& nodes, SourceTree const& tree,
                      Raster::AffineTransform::Params const& toPage);

} // namespace Formats::Svg
