// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/abortable.h"
#include "platform/kernel/dispatch.h"
#include "raster/pipeline/mask.h"
#include "raster/pipeline/normal_blend.h"
#include "raster/pipeline/raster_effect_options.h"

#include <array>
#include <atomic>

namespace Commands {

// What one run of the software engine works on.
struct RunRecord {
    // Inside the destination, not empty.
    Kernel::RectT<int> rect;
    bool* abort = nullptr;
    void (*progress)(float fraction, void* data) = nullptr;
    void* progressData = nullptr;
    // Bits of the channels to store.
    int channels = 0;

    bool IsAborted() const {
        Kernel::Abortable flag;
        flag.SetAbortPointer(abort);
        return flag.IsAborted();
    }
};

// Calls work(part) for what the rectangle has of each tile, on several threads; on this one when it is one tile. Skips
// tiles once the run is aborted, and reports those that are done.
template <class F>
void ForEachTile(RunRecord const& run, F const& work) {
    int const firstX = run.rect.left >> Raster::c_tileShift, firstY = run.rect.top >> Raster::c_tileShift;
    auto const across = static_cast<std::size_t>(((run.rect.right - 1) >> Raster::c_tileShift) - firstX + 1);
    auto const down = static_cast<std::size_t>(((run.rect.bottom - 1) >> Raster::c_tileShift) - firstY + 1);
    std::atomic<std::size_t> done{0};
    auto const workOn = [&](std::size_t index) {
        if (run.IsAborted())
            return;
        int const left = (firstX + static_cast<int>(index % across)) << Raster::c_tileShift;
        int const top = (firstY + static_cast<int>(index / across)) << Raster::c_tileShift;
        work(run.rect.Intersected({left, top, left + Raster::c_tileSide, top + Raster::c_tileSide}));
        if (run.progress != nullptr && run.progressData != nullptr)
            run.progress(static_cast<float>(done.fetch_add(1) + 1) / static_cast<float>(across * down),
                         run.progressData);
    };
    if (across * down == 1)
        workOn(0);
    else
        Kernel::ParallelFor(across * down, workOn);
}

// One tile of each plane of a bitmap that is being written to, from the first write on.
template <class Traits>
class DestinationTiles {
public:
    using Sample = typename Traits::Sample;

    // `part` lies in one tile. With `overwrite` all samples of the part are written, the part is all of the tile, and
    // the samples that are there need not be kept.
    DestinationTiles(Raster::BitmapBase& bitmap, Kernel::RectT<int> const& part, bool overwrite)
        : m_bitmap(bitmap),
          m_tileX(part.left >> Raster::c_tileShift),
          m_tileY(part.top >> Raster::c_tileShift),
          m_overwrite(overwrite) {}
    DestinationTiles(DestinationTiles const&) = delete;
    DestinationTiles& operator=(DestinationTiles const&) = delete;
    ~DestinationTiles() {
        for (int c = 0; c != Traits::c_channelCount; ++c) {
            if (m_pinned[c] != nullptr)
                m_bitmap.GetPlane(c).UnpinMutableTile(*m_pinned[c]);
        }
    }

    Sample* GetMutableSamples(int channel, int x, int y) {
        if (m_pinned[channel] == nullptr) {
            auto& plane = m_bitmap.GetPlane(channel);
            m_pinned[channel] =
                m_overwrite ? &plane.PinTileForOverwriting(m_tileX, m_tileY) : &plane.PinMutableTile(m_tileX, m_tileY);
            m_samples[channel] = static_cast<Sample*>(m_pinned[channel]->GetMutableBuffer());
        }
        return m_samples[channel] + GetTileOffset(x, y);
    }
    // What was there before the first write.
    Sample const* GetSamplesBefore(int channel, int x, int y) {
        auto& held = m_held[static_cast<std::size_t>(channel)];
        if (!held) {
            held.emplace(m_bitmap.GetPlane(channel).GetConstTile(m_tileX, m_tileY));
            m_before[channel] = static_cast<Sample const*>(held->GetConstBuffer());
        }
        return m_before[channel] + GetTileOffset(x, y);
    }

    static std::ptrdiff_t GetTileOffset(int x, int y) {
        return static_cast<std::ptrdiff_t>(y & (Raster::c_tileSide - 1)) * Raster::c_tileSide +
               (x & (Raster::c_tileSide - 1));
    }

private:
    Raster::BitmapBase& m_bitmap;
    int m_tileX;
    int m_tileY;
    bool m_overwrite;
    Raster::Tile* m_pinned[5] = {};
    Sample* m_samples[5] = {};
    Sample const* m_before[5] = {};
    std::array<std::optional<Raster::Tile>, 5> m_held;
};

// One row of a tile, all channels, aside from the tile.
template <class Traits>
struct ScratchRow {
    using Sample = typename Traits::Sample;
    // A span more, for reads that go by spans.
    alignas(64) Sample planes[Traits::c_channelCount][Raster::c_tileSide + Raster::c_spanLength];
};

// The part's tile of a plane becomes the other plane's, or takes its samples over.
REDRAFT_API void ShareTilePart(Raster::RegionBase const& from, Raster::RegionBase& to, Kernel::RectT<int> const& part);

// The software engine over one tile: a shader's pixels, through a mask or plain, into the destination.
//
// A shader makes pixels of the destination's format for places of the destination:
//   Open(part)                        a worker for one tile and one thread, with
//     Process(x, y, count, out)       `count` pixels of a row, at most 256, plane by plane to `out`
//     GetConstant(samples)            true when all pixels of the part are this one, given as sample bits
//   GetPassedChannels()               channels that come from the same place of GetPassedSource() unchanged
template <class Traits, class Shader>
class TileEngine {
public:
    using Sample = typename Traits::Sample;

    TileEngine(Raster::BitmapBase& destination, Shader const& shader, RunRecord const& run, MaskRecord const* mask)
        : m_destination(destination), m_shader(shader), m_run(run), m_mask(mask) {}

    void Run() const {
        ForEachTile(m_run, [this](Kernel::RectT<int> const& part) {
            if (m_mask != nullptr)
                RunMasked(part);
            else
                RunPlain(part);
        });
    }

private:
    bool IsWholeTile(Kernel::RectT<int> const& part) const {
        auto const& plane = std::as_const(m_destination).GetPlane(0);
        return part.GetWidth() == plane.GetTileWidth(part.left >> Raster::c_tileShift) &&
               part.GetHeight() == plane.GetTileHeight(part.top >> Raster::c_tileShift);
    }
    bool IsStored(int channel) const { return (m_run.channels >> channel & 1) != 0; }

    void RunPlain(Kernel::RectT<int> const& part) const {
        int const passed = m_shader.GetPassedChannels() & m_run.channels;
        for (int c = 0; c != Traits::c_channelCount; ++c) {
            if (passed >> c & 1)
                ShareTilePart(m_shader.GetPassedSource()->GetPlane(c), m_destination.GetPlane(c), part);
        }
        if ((m_run.channels & ~passed & Traits::c_allChannels) == 0)
            return;
        auto worker = m_shader.Open(part);
        std::uint32_t constant[5] = {};
        if (worker.GetConstant(constant)) {
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if (IsStored(c) && !(passed >> c & 1))
                    m_destination.GetPlane(c).FillSamples(part, constant[c]);
            }
            return;
        }
        // A part that is given up half-way keeps what was there.
        DestinationTiles<Traits> tiles(m_destination, part, m_run.abort == nullptr && IsWholeTile(part));
        ScratchRow<Traits> scratch;
        for (int y = part.top; y != part.bottom; ++y) {
            if (m_run.IsAborted())
                return;
            Sample* out[5];
            for (int c = 0; c != Traits::c_channelCount; ++c)
                out[c] =
                    IsStored(c) && !(passed >> c & 1) ? tiles.GetMutableSamples(c, part.left, y) : scratch.planes[c];
            worker.Process(part.left, y, part.GetWidth(), out);
        }
    }

    // Channels that a blend gives back as they are: alpha that is the same in both, which a mean of two equal integers
    // does not change.
    int FindUnchanged(Kernel::RectT<int> const& part) const {
        int const alpha = 1 << Traits::c_alphaIndex;
        if (Traits::c_isFloat || (m_shader.GetPassedChannels() & alpha) == 0)
            return 0;
        int const x = part.left >> Raster::c_tileShift, y = part.top >> Raster::c_tileShift;
        auto const source = m_shader.GetPassedSource()->GetPlane(Traits::c_alphaIndex).GetConstTile(x, y);
        auto const present = std::as_const(m_destination).GetPlane(Traits::c_alphaIndex).GetConstTile(x, y);
        return source.SharesSamplesWith(present) ? alpha : 0;
    }

    void RunMasked(Kernel::RectT<int> const& part) const {
        using MaskTraits = Raster::FormatTraits<Traits::c_maskFormat>;
        static_assert(std::is_same_v<typename MaskTraits::Sample, Sample>);
        MaskReader<MaskTraits> mask(*m_mask);
        // Tiles are written to from the first pixel on that the mask selects. Whole ones are new ones, that take over
        // what is left alone row by row.
        bool const renews = m_run.abort == nullptr && IsWholeTile(part);
        DestinationTiles<Traits> tiles(m_destination, part, renews);
        std::optional<typename Shader::Worker> worker;
        int stored = 0;
        ScratchRow<Traits> processed;
        alignas(64) Sample maskRow[Raster::c_tileSide + Raster::c_spanLength];
        int const width = part.GetWidth();
        auto const store = [&](int y, auto const& rowOf) {
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if (stored >> c & 1)
                    std::memcpy(tiles.GetMutableSamples(c, part.left, y), rowOf(c),
                                static_cast<std::size_t>(width) * sizeof(Sample));
            }
        };
        auto const keep = [&](int y) { store(y, [&](int c) { return tiles.GetSamplesBefore(c, part.left, y); }); };
        for (int y = part.top; y != part.bottom; ++y) {
            if (m_run.IsAborted())
                return;
            auto const coverage = mask.Read(part.left, y, width, maskRow);
            if (coverage == MaskCoverage::None) {
                if (renews && worker)
                    keep(y);
                continue;
            }
            Sample* rows[5];
            Sample const* existing[5];
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                rows[c] = processed.planes[c];
                existing[c] = tiles.GetSamplesBefore(c, part.left, y);
            }
            if (!worker) {
                worker.emplace(m_shader.Open(part));
                stored = m_run.channels & ~FindUnchanged(part);
                for (int above = part.top; renews && above != y; ++above)
                    keep(above);
            }
            worker->Process(part.left, y, width, rows);
            if (coverage == MaskCoverage::Mixed)
                BlendRow<Sample>(rows, existing, maskRow, Traits::c_colourCount, width);
            store(y, [&](int c) { return rows[c]; });
        }
    }

    Raster::BitmapBase& m_destination;
    Shader const& m_shader;
    RunRecord const& m_run;
    MaskRecord const* m_mask;
};

} // namespace Commands
