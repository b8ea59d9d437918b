// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/work.h"
#include "platform/document/nodes.h"
#include "platform/raster/codec.h"

#include <cstddef>
#include <span>

namespace Formats {

// A picture as a layer that stands upright at the file's resolution, or else with one unit a pixel.
struct ImportedPicture {
    Kernel::Counted<RasterNode> layer;
    // In document units.
    Kernel::SizeT<double> size;
    Raster::ImageInfo info;
};

// From the bytes of a PNG, JPEG or TIFF file. Throws Kernel::Exception.
ImportedPicture ReadPicture(std::span<std::byte const> bytes, Work const& work);

} // namespace Formats
