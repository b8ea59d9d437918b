// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

#include <string>
#include <string_view>
#include <vector>

namespace Shell {

// Which pixels are to be selected, as the user says it.
struct MaskRequest {
    // `none`, `all`, `rectangle:l,t,r,b`, `ellipse:l,t,r,b`, `path:DATA` (in the current spread's space), `@FILE` for
    // the brightness of a picture, or a selector of nodes for what they cover.
    std::string shape;
    // The mask has this layer's pixels and its depth, and a picture is laid over it; empty: one pixel a unit, the depth
    // of the document, the spread's box.
    Kernel::Counted<RasterNode> layer;
    // The edge fades over so many units to each side.
    double feather = 0;
    // Numbers are in the layer's pixels, not in the spread's units.
    bool inPixels = false;
    bool invert = false;
};

// Throws ValueError for a shape that is none, Failure for a picture that cannot be read, Kernel::AbortException when
// *abort becomes true.
Kernel::Counted<SelectionRasterNode> MakePixelSelection(DocumentController& document, MaskRequest const& request,
                                                        bool const* abort);

// The names of a format's channels in the order of their bits.
std::vector<std::string_view> const& GetChannelNames(Raster::Format format);
// Channels by their names, between commas, or `all` or `none`, as the bits of a channel mask. Throws ValueError.
int ParseChannels(std::string_view text, Raster::Format format);

// The one layer whose pixels masks are made in unless the user names another: the first of the selection that is on the
// current spread, else of the spread; empty when there is none.
Kernel::Counted<RasterNode> FindMaskLayer(DocumentController& document);

} // namespace Shell
