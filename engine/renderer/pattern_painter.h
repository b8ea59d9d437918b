// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/painter.h"
#include "engine/renderer/surface.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

namespace Renderer::Detail {

// The patterns of one picture share the tiles that have been made and a budget for those still to be made. Beyond the
// budget a pattern is painted in one colour, so that no drawing takes memory or time out of proportion.
struct PatternStore {
    // The drawing, the pixels of the tile, and the tile's size in fill space.
    using Key = std::tuple<RecordedDrawing const*, int, int, double, double>;
    std::map<Key, std::shared_ptr<Surface const>> tiles;
    // Those that the tiles were made with. The fills keep the addresses of their drawings from being given to others.
    Raster::ICCProfileSet profiles;
    std::vector<Kernel::Counted<PatternFill const>> fills;
    // The widths of all filters' results together, in pixels.
    std::size_t filteredColumns = 0;
    // Samples of tiles: 256 MB of floats in RGB.
    std::size_t pixelsLeft = std::size_t{1} << 24;
    // Steps of drawings that are drawn into tiles and repeats.
    std::size_t stepsLeft = std::size_t{1} << 22;
};

// Where patterns are recorded.
struct PatternScope {
    std::shared_ptr<PatternStore> store;
    // Of patterns within patterns; those beyond eight paint nothing.
    int depth = 0;
    // Of filters within filters; those beyond eight change nothing.
    int filterDepth = 0;
    // Polled while tiles are made when it is not null.
    bool const* abort = nullptr;
};

// How a pattern is laid over the picture.
struct PatternPlace {
    // From fill space to pixels.
    Transform toPixels;
    double opacity = 1;
    // The pixels that may be painted.
    Kernel::RectT<int> bounds;
    // The scale of lines that do not scale with their objects.
    double scalar = 1;
    WorkingSpace const& space;
    Raster::ICCProfileSet const& documentProfiles;
};

// Null where the pattern paints nothing. A small tile is drawn once, with whole pixels, and sampled; of a large one
// each repeat that can be seen is drawn by itself. Throws Kernel::AbortException when the scope's abort flag is set.
std::shared_ptr<FillSource const> MakePatternSource(Kernel::Counted<PatternFill const> const& fill,
                                                    PatternPlace const& place, PatternScope const& scope);

} // namespace Renderer::Detail
