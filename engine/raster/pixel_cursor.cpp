// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/pixel_cursor.h"

#include "platform/kernel/trace.h"

namespace Raster {

namespace {

// Loads a bitmap that an accessor was opened on without the pipeline.
void LoadForAccessor(BitmapBase const& bitmap, AccessorSync sync, char const* complaint) {
    if (sync != AccessorSync::Load || !bitmap.IsPendingDelayLoad())
        return;
    Kernel::Trace::Write(complaint);
    bitmap.ForceDelayLoad(nullptr);
}

} // namespace

void CursorWindow::SetTile(int tileX, int tileY) {
    m_left = tileX << c_tileShift;
    m_top = tileY << c_tileShift;
    m_width = m_height = c_tileSide;
}

ReadCursor::ReadCursor(BitmapBase const& bitmap, AccessorSync sync) {
    LoadForAccessor(bitmap, sync,
                    "Bitmap<> is performing a blocking, abortable delay-load in response to a non-pipeline "
                    "ConstPixelAccessor session - you should try to avoid this.\r\n");
    m_bitmapWidth = bitmap.GetWidth();
    m_bitmapHeight = bitmap.GetHeight();
    auto const channelCount = static_cast<std::size_t>(bitmap.GetInfo().channelCount);
    m_regions.reserve(channelCount);
    for (std::size_t channel = 0; channel != channelCount; ++channel)
        m_regions.push_back(bitmap.GetPlane(static_cast<int>(channel)));
}

ReadCursor::ReadCursor(BufferBase const& buffer, AccessorSync) {
    m_bitmapWidth = buffer.GetWidth();
    m_bitmapHeight = buffer.GetHeight();
    m_width = static_cast<unsigned>(buffer.GetWidth());
    m_height = static_cast<unsigned>(buffer.GetHeight());
    m_pitch = static_cast<std::ptrdiff_t>(buffer.GetRowBytes()) / buffer.GetInfo().sampleBytes;
    for (int channel = 0; channel != buffer.GetInfo().channelCount; ++channel)
        m_planes[channel] = buffer.GetRow(channel, 0);
}

void ReadCursor::Enter(int x, int y) {
    int const tileX = x >> c_tileShift, tileY = y >> c_tileShift;
    // An exception must leave no window of two tiles.
    m_width = 0;
    for (std::size_t channel = 0; channel != m_regions.size(); ++channel)
        m_planes[channel] = m_regions[channel].PeekTile(tileX, tileY).GetConstBuffer();
    SetTile(tileX, tileY);
}

WriteCursor::WriteCursor(BitmapBase& bitmap, AccessorSync sync)
    : m_bitmap(&bitmap), m_channelCount(bitmap.GetInfo().channelCount) {
    LoadForAccessor(bitmap, sync,
                    "Bitmap<> is performing a blocking, non-abortable delay-load in response to a non-pipeline "
                    "PixelAccessor session - you should try to avoid this.\r\n");
    m_bitmapWidth = bitmap.GetWidth();
    m_bitmapHeight = bitmap.GetHeight();
}

WriteCursor::WriteCursor(BufferBase& buffer, AccessorSync)
    : m_bitmap(nullptr), m_channelCount(buffer.GetInfo().channelCount) {
    m_bitmapWidth = buffer.GetWidth();
    m_bitmapHeight = buffer.GetHeight();
    m_width = static_cast<unsigned>(buffer.GetWidth());
    m_height = static_cast<unsigned>(buffer.GetHeight());
    m_pitch = static_cast<std::ptrdiff_t>(buffer.GetRowBytes()) / buffer.GetInfo().sampleBytes;
    for (int channel = 0; channel != m_channelCount; ++channel)
        m_planes[channel] = m_mutablePlanes[channel] = buffer.GetRow(channel, 0);
}

WriteCursor::~WriteCursor() { Leave(); }

void WriteCursor::Leave() noexcept {
    m_width = 0;
    if (m_bitmap == nullptr)
        return;
    for (int channel = 0; channel != m_channelCount; ++channel) {
        m_held[channel].reset();
        if (m_pinned[channel] != nullptr)
            m_bitmap->GetPlane(channel).UnpinMutableTile(*m_pinned[channel]);
        m_pinned[channel] = nullptr;
        m_mutablePlanes[channel] = nullptr;
        m_planes[channel] = nullptr;
    }
}

void WriteCursor::Enter(int x, int y) {
    Leave();
    m_tileX = x >> c_tileShift;
    m_tileY = y >> c_tileShift;
    for (int channel = 0; channel != m_channelCount; ++channel) {
        m_held[channel] = m_bitmap->GetPlane(channel).GetConstTile(m_tileX, m_tileY);
        m_planes[channel] = m_held[channel]->GetConstBuffer();
    }
    SetTile(m_tileX, m_tileY);
}

void WriteCursor::MakeMutable(int channel) {
    // Let go first: samples that are held twice would be copied.
    m_held[channel].reset();
    m_planes[channel] = nullptr;
    m_pinned[channel] = &m_bitmap->GetPlane(channel).PinMutableTile(m_tileX, m_tileY);
    m_mutablePlanes[channel] = m_pinned[channel]->GetMutableBuffer();
    m_planes[channel] = m_mutablePlanes[channel];
}

} // namespace Raster
