// SPDX-License-Identifier: Apache-2.0
#include "raster/class_list.h"

#include "raster/inflate_untrusted_raster_nodes_command.h"
#include "raster/raster_plugin_filter_command.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/replace_bitmap_command.h"

namespace Commands {

// clang-format off
std::vector<ListedClass> GetRasterClasses() {
    return {
        Listed<InflateUntrustedRasterNodesCommand, SelectionCommandBase>("IURC", 1, Coverage::No),
        Listed<RasterPluginFilterCommand, RasterCommand>("RpFC", 1, Coverage::Yes),
        Listed<RasterPolarToRectangularCommand, RasterCommand>("PoRR", 1, Coverage::Yes),
        Listed<RasterRectangularToPolarCommand, RasterCommand>("RRPo", 1, Coverage::Yes),
        Listed<RasterSolariseCommand, RasterCommand>("Slze", 1, Coverage::Yes),
        Listed<RasterWebSafeDitherCommand, RasterCommand>("WSDC", 1, Coverage::Yes),
        Listed<ReplaceBitmapCommand, SelectionCommandBase>("ReBC", 1, Coverage::Yes),
    };
}
// clang-format on

} // namespace Commands
