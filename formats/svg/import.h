// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/drawing.h"
#include "platform/document/nodes.h"

namespace Formats::Svg {

// A drawing as nodes that stand in no document yet.
struct ImportedDrawing {
    // In document units, at most c_maximumPageSide each.
    Kernel::SizeT<double> pageSize;
    // The nodes on the page, back to front, in the page's space.
    std::vector<Kernel::Counted<Node>> nodes;
    // The symbols that instances among the nodes are linked to, in the order in which a document lists them.
    std::vector<Kernel::Counted<Node>> symbols;
    // The GUIDs that are taken now, those of the options among them.
    std::uint64_t guids = 0;
    // The parts that could not be represented.
    Report report;
    // The pictures that were read from files of their own.
    std::vector<std::filesystem::path> files;
};

// A larger drawing is scaled down to this, and counted.
inline constexpr double c_maximumPageSide = 1e6;

// Builds the nodes of a drawing from the bytes of an .svg or .svgz file:
//
// - groups stay groups, nested `svg` become groups clipped to their viewport, links and `switch` plain groups;
// - rectangles, circles and ellipses become computed shapes, everything else that has an outline a curve node;
// - `use` becomes an instance of a symbol, one symbol for each target and style; every group of an instance has the
// GUID
//   of its counterpart in the symbol, which comes from a counter;
// - clip paths become clipping content of the node, markers shapes beside their line;
// - hidden elements become hidden nodes; titles, else labels, else ids become the nodes' names.
//
// Parts that a document has no counterpart for are left out and counted in the report. Throws Kernel::Exception, with
// one line for a person, where the source is refused.
ImportedDrawing Import(std::string_view bytes, ReadOptions options);

// The number of a GUID that an import has given; empty for others.
std::optional<std::uint64_t> GetGUIDNumber(std::string_view guid);

// Puts the nodes of a drawing on a spread, in front of what is there, and its symbols behind those of the document.
void Place(ImportedDrawing const& drawing, DocumentNode& document, SpreadNode& spread);

} // namespace Formats::Svg
