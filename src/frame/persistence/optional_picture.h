// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/dynamic_bitmap.h"

namespace Commands {

// A picture as programs outside give it, or none.
struct OptionalPicture {
    OptionalPicture(Kernel::Counted<Raster::DynamicBitmap const> given = {}) : picture(std::move(given)) {}
    Kernel::Counted<Raster::DynamicBitmap const> picture;
};

} // namespace Commands
