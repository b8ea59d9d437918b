// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/dynamic_bitmap.h"

namespace Commands {

// Writes the pixels of one bitmap over all of another by the plain rules of conversion, see Raster::PixelConverter.
// Pixels beyond the source become clear. A bitmap of alpha only, as source or destination, is left alone without a
// word; so is one without pixels.
REDRAFT_API void ConvertPixelsInto(Raster::DynamicBitmap& destination, Raster::DynamicBitmap const& source);

} // namespace Commands
