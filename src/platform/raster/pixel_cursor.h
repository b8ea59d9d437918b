// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"

namespace Raster {

// Whether an accessor sees to it that the bitmap is loaded first.
enum class AccessorSync {
    // Opened by itself: a bitmap that is pending is loaded as a whole, blocking, and Kernel::Trace is told so.
    Load,
    // Opened by the pipeline, which has seen to loading: tiles that are pending all the same are loaded one by one.
    Pipeline
};

// The planes around one place, as pointers that hold for a rectangle of pixels: a tile of a bitmap, or a whole buffer.
class REDRAFT_ENGINE CursorWindow {
public:
    bool Holds(int x, int y) const {
        return static_cast<unsigned>(x - m_left) < m_width && static_cast<unsigned>(y - m_top) < m_height;
    }
    // The first pixel to the right of the window.
    int GetRight() const { return m_left + static_cast<int>(m_width); }
    int GetBitmapWidth() const { return m_bitmapWidth; }
    int GetBitmapHeight() const { return m_bitmapHeight; }

protected:
    std::ptrdiff_t GetOffset(int x, int y) const { return (y - m_top) * m_pitch + (x - m_left); }
    void SetTile(int tileX, int tileY);

    int m_bitmapWidth = 0;
    int m_bitmapHeight = 0;
    int m_left = 0;
    int m_top = 0;
    // No window yet.
    unsigned m_width = 0;
    unsigned m_height = 0;
    // Samples from one row to the next.
    std::ptrdiff_t m_pitch = c_tileSide;
};

// Reads a bitmap as it was when the cursor was opened, or a buffer, which must not be written to meanwhile.
class REDRAFT_ENGINE ReadCursor : public CursorWindow {
public:
    ReadCursor(BitmapBase const& bitmap, AccessorSync sync);
    ReadCursor(BufferBase const& buffer, AccessorSync sync);

    // Moves to the window of a pixel inside the bitmap.
    void Enter(int x, int y);
    template <class Sample>
    Sample const* GetSamples(int channel, int x, int y) const {
        return static_cast<Sample const*>(m_planes[channel]) + GetOffset(x, y);
    }

private:
    std::vector<RegionBase> m_regions;
    void const* m_planes[5] = {};
};

// Reads and writes a bitmap or buffer. Tiles are made the bitmap's own when they are first written to. One cursor, of
// one thread, is at a tile at a time.
class REDRAFT_ENGINE WriteCursor : public CursorWindow {
public:
    WriteCursor(BitmapBase& bitmap, AccessorSync sync);
    WriteCursor(BufferBase& buffer, AccessorSync sync);
    WriteCursor(WriteCursor const&) = delete;
    WriteCursor& operator=(WriteCursor const&) = delete;
    ~WriteCursor();

    void Enter(int x, int y);
    template <class Sample>
    Sample const* GetSamples(int channel, int x, int y) const {
        return static_cast<Sample const*>(m_planes[channel]) + GetOffset(x, y);
    }
    template <class Sample>
    Sample* GetMutableSamples(int channel, int x, int y) {
        if (m_mutablePlanes[channel] == nullptr)
            MakeMutable(channel);
        return static_cast<Sample*>(m_mutablePlanes[channel]) + GetOffset(x, y);
    }

private:
    void Leave() noexcept;
    void MakeMutable(int channel);

    // Null for a buffer.
    BitmapBase* m_bitmap;
    int m_channelCount;
    int m_tileX = 0;
    int m_tileY = 0;
    void const* m_planes[5] = {};
    void* m_mutablePlanes[5] = {};
    // The tile that is read, until it is written to; then the place that is pinned.
    std::optional<Tile> m_held[5];
    Tile* m_pinned[5] = {};
};

} // namespace Raster
