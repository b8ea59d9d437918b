// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/filter_plugin.h"

#include <functional>

namespace Commands {

// Runs a plug-in over a bitmap in place, tile by tile; several at a time if it allows that. A tile that the plug-in
// fails at is cleared. Input is read as it is then: tiles that are done are in it already filtered, and which of them
// are done is left open. `progress` is told how much is done, from 0 to 1, by one thread at a time.
REDRAFT_API void FilterTiles(Kernel::Counted<Raster::RasterFilterPlugin> const& plugin, Raster::DynamicBitmap& bitmap,
                             std::function<void(float)> const& progress);

} // namespace Commands
