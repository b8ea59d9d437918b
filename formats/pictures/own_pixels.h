// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"
#include "platform/raster/codec.h"
#include "platform/raster/dynamic_bitmap.h"

#include <optional>
#include <vector>

namespace Formats {

// A unit of documents is a pixel of CSS.
inline constexpr double c_unitsPerInch = 96;

// A picture that can be written as it is, with none of its pixels computed anew.
struct OwnPicture {
    Kernel::Counted<Raster::DynamicBitmap const> bitmap;
    // How the bitmap lies on the spread.
    Raster::Orientation orientation = Raster::Orientation::TopLeft;
    // Of the picture at its size on the spread.
    double dpiX = 0;
    double dpiY = 0;
};

// The pixels that an export of a spread, or of some nodes, can take from the bitmaps as they are.
struct OwnPixels {
    // Where one bitmap is all that is to be seen, and nothing but a mirroring or quarter turns changes its appearance.
    std::optional<OwnPicture> picture;
    // Pixels a unit at which the drawing's bitmaps keep theirs; empty where no bitmap decides. One does if it covers
    // the whole area, the finest of several, and so do all together if there is nothing else and they are equally fine.
    std::optional<double> scale;
};

// Of nodes, each with what is below it, in an area of spread space.
OwnPixels FindOwnPixels(std::vector<Kernel::Counted<Node const>> const& nodes, Kernel::RectT<double> const& area);

} // namespace Formats
