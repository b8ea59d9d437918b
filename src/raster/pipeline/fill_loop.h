// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/abortable.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/dynamic_buffer.h"
#include "platform/raster/tile_dimensions.h"

#include <algorithm>

namespace Commands {

// The terms of a fill.
struct FillContext {
    // Called after each tile, with the share that is done, 0 to 1.
    void (*progress)(float value, void* context) = nullptr;
    void* progressContext = nullptr;
    // Pixels that are filled; empty: all.
    Kernel::RectT<int> clip;
    // Once it is true the fill ends, with the pixels that are there.
    bool* abort = nullptr;
};

// Fills a bitmap from a source of pixels, tile by tile from top to bottom. Source::Run(source, region, abort) begins;
// RenderTile(tile) of it gives a counted DynamicBuffer in the bitmap's format.
template <class Traits, class Source>
class FillLoop {
public:
    FillLoop(Raster::BitmapBase& bitmap, Source const& source, FillContext const& context)
        : m_bitmap(bitmap), m_source(source), m_context(context) {}

    void Run() {
        // The run is a pipeline's: nobody is told that it waits.
        if (std::as_const(m_bitmap).IsPendingDelayLoad())
            m_bitmap.ForceDelayLoad(m_context.abort);
        auto const bounds = m_bitmap.GetBounds();
        auto const region = m_context.clip.IsEmpty() ? bounds : m_context.clip.Intersected(bounds);
        if (IsAborted() || region.IsEmpty())
            return;
        try {
            FillTiles(region);
        } catch (Kernel::AbortException const&) {
            // The pixels that are there stay.
        }
        FinishMipmaps(region);
    }

private:
    using Rect = Kernel::RectT<int>;

    bool IsAborted() const {
        Kernel::Abortable flag;
        flag.SetAbortPointer(m_context.abort);
        return flag.IsAborted();
    }

    void FillTiles(Rect const& region) {
        typename Source::Run run(m_source, region, m_context.abort);
        int width = 0, height = 0;
        Raster::GetVariableTileDimensionsForClipRect(region, 1, width, height);
        // Tiles of the run are made of whole tiles of the bitmap.
        constexpr int c_grid = ~(Raster::c_tileSide - 1);
        int const left = region.left & c_grid, top = region.top & c_grid;
        auto const across = (region.right - left + width - 1) / width,
                   down = (region.bottom - top + height - 1) / height;
        for (int i = 0; i != across * down; ++i) {
            if (IsAborted())
                return;
            int const x = left + i % across * width, y = top + i / across * height;
            Rect const tile = Rect{x, y, x + width, y + height}.Intersected(region);
            Store(*run.RenderTile(tile)->GetBase(), tile);
            if (m_context.progress != nullptr)
                m_context.progress(static_cast<float>(i + 1) / static_cast<float>(across * down),
                                   m_context.progressContext);
        }
    }

    // Tiles of the bitmap, of all planes, are written side by side.
    void Store(Raster::BufferBase const& pixels, Rect const& rect) {
        using Sample = typename Traits::Sample;
        int const firstX = rect.left >> Raster::c_tileShift, firstY = rect.top >> Raster::c_tileShift;
        auto const across = static_cast<std::size_t>(((rect.right - 1) >> Raster::c_tileShift) - firstX + 1);
        auto const down = static_cast<std::size_t>(((rect.bottom - 1) >> Raster::c_tileShift) - firstY + 1);
        Kernel::ParallelFor(across * down * Traits::c_channelCount, [&](std::size_t index) {
            auto const channel = static_cast<int>(index % Traits::c_channelCount);
            auto const place = index / Traits::c_channelCount;
            int const x = (firstX + static_cast<int>(place % across)) << Raster::c_tileShift;
            int const y = (firstY + static_cast<int>(place / across)) << Raster::c_tileShift;
            Rect const part = rect.Intersected({x, y, x + Raster::c_tileSide, y + Raster::c_tileSide});
            auto const* const row = static_cast<Sample const*>(pixels.GetRow(channel, part.top - rect.top));
            m_bitmap.GetPlane(channel).WriteSamples(part, row + (part.left - rect.left), pixels.GetRowBytes());
        });
    }

    void FinishMipmaps(Rect const& region) {
        if (m_bitmap.GetMipmapMode() != Raster::MipmapMode::None)
            m_bitmap.FinishChange(region);
    }

    Raster::BitmapBase& m_bitmap;
    Source const& m_source;
    FillContext const& m_context;
};

// The loop for a bitmap whose format is known when the program runs. Masks, and a bitmap of no pixels, stay as they
// are. What the source throws ends the fill, but for an abort.
template <class Source>
void FillBitmap(Raster::DynamicBitmap& bitmap, Source const& source, FillContext const& context) {
    if (bitmap.IsEmpty())
        return;
    Raster::VisitFormat(bitmap.GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        if constexpr (Traits::c_colourModel != Raster::ColourModel::AlphaOnly)
            FillLoop<Traits, Source>(bitmap.GetMutableBase(), source, context).Run();
    });
}

} // namespace Commands
