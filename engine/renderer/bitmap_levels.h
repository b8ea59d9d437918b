// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/renderer/surface.h"
#include "engine/renderer/working_space.h"
#include "platform/raster/dynamic_bitmap.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace Renderer::Detail {

// A bitmap at full size and at halves of it, as working planes. The bitmap is taken as it is when this is made. Used
// by several threads.
class BitmapLevels {
public:
    // A bitmap without a profile of its own is meant in the document's.
    BitmapLevels(Raster::DynamicBitmap const& bitmap, WorkingSpace const& space,
                 Raster::ICCProfileSet const& documentProfiles);

    int GetWidth(int level) const;
    int GetHeight(int level) const;
    // The last level is one pixel.
    int GetLastLevel() const { return m_lastLevel; }

    // Samples of a level for all pairs of a column and a row, which lie inside the level, into the surface's planes
    // from its top left corner. Reads what it needs from the bitmap.
    void Fetch(int level, std::vector<int> const& columns, std::vector<int> const& rows, Surface& out) const;

private:
    // Levels that fit into a tile are kept as floats.
    static constexpr int c_keptSide = 256;

    bool IsKept(int level) const { return GetWidth(level) <= c_keptSide && GetHeight(level) <= c_keptSide; }
    Kernel::Counted<Raster::BitmapBase const> GetBitmap(int level) const;
    Surface const& GetKept(int level) const;
    Surface Read(Raster::BitmapBase const& bitmap, Kernel::RectT<int> const& rect) const;
    Surface Halve(Surface const& larger) const;

    WorkingSpace const& m_space;
    Kernel::Counted<Raster::BitmapBase const> m_bitmap;
    Kernel::Counted<Raster::PixelConverter const> m_converter;
    int m_lastLevel = 0;
    mutable std::mutex m_mutex;
    mutable std::vector<std::unique_ptr<Surface>> m_kept;
};

} // namespace Renderer::Detail
