// SPDX-License-Identifier: Apache-2.0
#include "raster/tile_filter.h"

#include "platform/kernel/critical_section.h"
#include "platform/kernel/dispatch.h"
#include "platform/raster/dynamic_buffer.h"

#include <mutex>
#include <shared_mutex>

namespace Commands {

namespace {

// The buffer's first pixel is that of the bitmap at `from`; beyond the bitmap it stays zero.
void FillBuffer(Raster::BitmapBase const& bitmap, Kernel::PointT<int> from, Raster::BufferBase& buffer) {
    auto const inside =
        Kernel::RectT<int>{from.x, from.y, from.x + buffer.GetWidth(), from.y + buffer.GetHeight()}.Intersected(
            bitmap.GetBounds());
    if (inside.IsEmpty())
        return;
    for (int c = 0; c != bitmap.GetInfo().channelCount; ++c)
        bitmap.GetPlane(c).ReadSamples(inside, buffer.GetRow(c, 0), buffer.GetRowBytes());
}

void StoreBuffer(Raster::BufferBase const& buffer, Kernel::RectT<int> const& place, Raster::BitmapBase& bitmap) {
    for (int c = 0; c != bitmap.GetInfo().channelCount; ++c)
        bitmap.GetPlane(c).WriteSamples(place, buffer.GetRow(c, 0), buffer.GetRowBytes());
    bitmap.FinishChange(place);
}

// One run of a plug-in, which all tiles share.
class TileRun {
public:
    TileRun(Kernel::Counted<Raster::RasterFilterPlugin> const& plugin, Raster::DynamicBitmap& bitmap,
            std::function<void(float)> const& progress)
        : m_bitmap(bitmap.GetMutableBase()),
          m_session(Kernel::MakeCounted<Raster::RasterFilterPlugin::Session>(plugin)),
          m_progress(progress),
          m_across(CountTiles(m_bitmap.GetWidth())),
          m_count(m_across * CountTiles(m_bitmap.GetHeight())) {
        m_session->Configure(m_bitmap.GetFormat(), m_bitmap.GetWidth(), m_bitmap.GetHeight());
    }

    std::uint64_t GetCount() const { return m_count; }

    void FilterTile(std::uint64_t index) {
        int const x = static_cast<int>(index % m_across) * Raster::c_tileSide;
        int const y = static_cast<int>(index / m_across) * Raster::c_tileSide;
        auto const output =
            Kernel::RectT<int>{x, y, x + Raster::c_tileSide, y + Raster::c_tileSide}.Intersected(m_bitmap.GetBounds());
        auto const input = m_session->MeasureRequiredInput(output);
        Raster::DynamicBuffer inBuffer;
        Raster::DynamicBuffer outBuffer(output.GetWidth(), output.GetHeight(), m_bitmap.GetFormat());
        // A plug-in that makes its pixels out of nothing asks for no input, and gets no buffer.
        void* inPixels = nullptr;
        if (!input.IsEmpty()) {
            inBuffer.Create(input.GetWidth(), input.GetHeight(), m_bitmap.GetFormat());
            // Required: the tile's corner comes to the buffer's, whatever margin the plug-in asked for.
            std::shared_lock const lock(m_pixels);
            FillBuffer(std::as_const(m_bitmap), {x, y}, *inBuffer.GetBase());
            inPixels = inBuffer.GetBuffer();
        }
        m_session->FilterOutput(input, output, inPixels, outBuffer.GetBuffer());
        std::lock_guard const lock(m_section);
        {
            std::lock_guard const writing(m_pixels);
            StoreBuffer(*outBuffer.GetBase(), output, m_bitmap);
        }
        m_progress(static_cast<float>(++m_done) / static_cast<float>(m_count));
    }

private:
    static std::uint64_t CountTiles(int pixels) {
        return (static_cast<std::uint64_t>(pixels) + Raster::c_tileSide - 1) / Raster::c_tileSide;
    }

    Raster::BitmapBase& m_bitmap;
    Kernel::Counted<Raster::RasterFilterPlugin::Session> m_session;
    std::function<void(float)> const& m_progress;
    std::uint64_t m_across;
    std::uint64_t m_count;
    // For the writes into the bitmap and for progress.
    Kernel::CriticalSection m_section;
    // For the bitmap's memory: buffers are filled by all threads at a time, but not while one writes.
    std::shared_mutex m_pixels;
    std::uint32_t m_done = 0;
};

} // namespace

void FilterTiles(Kernel::Counted<Raster::RasterFilterPlugin> const& plugin, Raster::DynamicBitmap& bitmap,
                 std::function<void(float)> const& progress) {
    TileRun run(plugin, bitmap, progress);
    if (plugin->CanFilterInParallel()) {
        Kernel::Dispatch::DispatchParallelFor([&run](std::uint64_t index) { run.FilterTile(index); }, run.GetCount(),
                                              Kernel::Dispatch::DispatchPriority::Normal,
                                              Kernel::Dispatch::ThreadPurpose::Text, 0);
    } else {
        for (std::uint64_t index = 0; index != run.GetCount(); ++index)
            run.FilterTile(index);
    }
}

} // namespace Commands
