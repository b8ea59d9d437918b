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

// The data of one run of the software engine.
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
    // The content before the first write.
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

// Samples that are worked on at a time: some rows of a tile's width, which the nearest cache holds for all channels.
template <class Sample>
inline constexpr int c_runSamples = std::max<int>(Raster::c_tileSide, 2048 / sizeof(Sample));

// Some rows of a tile, all channels, aside from the tile.
template <class Traits>
struct ScratchRows {
    using Sample = typename Traits::Sample;
    // A span more, for reads that go by spans.
    alignas(64) Sample planes[Traits::c_channelCount][c_runSamples<Sample> + Raster::c_spanLength];
};

// The part's tile of a plane becomes the other plane's, or takes its samples over.
REDRAFT_API void ShareTilePart(Raster::RegionBase const& from, Raster::RegionBase& to, Kernel::RectT<int> const& part);

// True when the part of a tile that lies in the rectangle has full scale everywhere.
template <class Sample>
bool IsFullPart(Raster::Tile const& tile, Kernel::RectT<int> const& part) {
    if (auto const constant = tile.GetConstant()) {
        Sample sample;
        std::memcpy(&sample, &*constant, sizeof sample);
        return AreFull(&sample, 1);
    }
    int const column = part.left & (Raster::c_tileSide - 1), row = part.top & (Raster::c_tileSide - 1);
    auto const* samples = static_cast<Sample const*>(tile.GetConstBuffer()) + row * Raster::c_tileSide + column;
    for (int y = part.top; y != part.bottom; ++y, samples += Raster::c_tileSide) {
        if (!AreFull(samples, part.GetWidth()))
            return false;
    }
    return true;
}

// The software engine over one tile: a shader's pixels, through a mask or plain, into the destination.
//
// A shader makes pixels of the destination's format for places of the destination:
//   Open(part)                        a worker for one tile and one thread, with
//     Process(x, y, count, out)       `count` pixels of a row plane by plane to `out`; null for passed channels that
//                                     are not wanted
//     c_takesRows                     a count may be of several rows, where these are as wide as a tile
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
                MaskedPart(*this, part).Run();
            else
                RunPlain(part);
        });
    }

private:
    using Worker = typename Shader::Worker;

    bool IsWholeTile(Kernel::RectT<int> const& part) const {
        auto const& plane = std::as_const(m_destination).GetPlane(0);
        return part.GetWidth() == plane.GetTileWidth(part.left >> Raster::c_tileShift) &&
               part.GetHeight() == plane.GetTileHeight(part.top >> Raster::c_tileShift);
    }
    bool IsStored(int channel) const { return (m_run.channels >> channel & 1) != 0; }
    // A part that is given up half-way keeps what was there.
    bool IsRenewed(Kernel::RectT<int> const& part) const { return m_run.abort == nullptr && IsWholeTile(part); }
    // Rows of a tile follow one another, and so those as wide as it are one run. The flag is polled for every row.
    int GetRowsAtOnce(Kernel::RectT<int> const& part) const {
        bool const areRuns = Worker::c_takesRows && part.GetWidth() == Raster::c_tileSide && m_run.abort == nullptr;
        return areRuns ? c_runSamples<Sample> / Raster::c_tileSide : 1;
    }

    void RunPlain(Kernel::RectT<int> const& part) const {
        int const passed = m_shader.GetPassedChannels();
        for (int c = 0; c != Traits::c_channelCount; ++c) {
            if (IsStored(c) && (passed >> c & 1))
                ShareTilePart(m_shader.GetPassedSource()->GetPlane(c), m_destination.GetPlane(c), part);
        }
        int const stored = m_run.channels & ~passed & Traits::c_allChannels;
        if (stored == 0)
            return;
        auto worker = m_shader.Open(part);
        std::uint32_t constant[5] = {};
        if (worker.GetConstant(constant)) {
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if (stored >> c & 1)
                    m_destination.GetPlane(c).FillSamples(part, constant[c]);
            }
            return;
        }
        DestinationTiles<Traits> tiles(m_destination, part, IsRenewed(part));
        ScratchRows<Traits> scratch;
        int const most = GetRowsAtOnce(part);
        for (int y = part.top; y < part.bottom; y += most) {
            if (m_run.IsAborted())
                return;
            Sample* out[5] = {};
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if (!(passed >> c & 1))
                    out[c] = stored >> c & 1 ? tiles.GetMutableSamples(c, part.left, y) : scratch.planes[c];
            }
            worker.Process(part.left, y, part.GetWidth() * std::min(most, part.bottom - y), out);
        }
    }

    // One tile's share of a run through the mask. It is written to from the first pixel on that the mask selects. A
    // whole tile becomes a new one then, which takes over what is left alone.
    class MaskedPart {
    public:
        MaskedPart(TileEngine const& engine, Kernel::RectT<int> const& part)
            : m_engine(engine),
              m_part(part),
              m_mask(*engine.m_mask),
              m_renews(engine.IsRenewed(part)),
              m_tiles(engine.m_destination, part, m_renews) {}

        void Run() {
            auto const known = m_mask.Look(m_part);
            if (known == MaskCoverage::None)
                return;
            if (known == MaskCoverage::Full)
                return m_engine.RunPlain(m_part);
            int const most = m_engine.GetRowsAtOnce(m_part), width = m_part.GetWidth();
            for (int y = m_part.top; y < m_part.bottom; y += most) {
                if (m_engine.m_run.IsAborted())
                    return;
                int const rows = std::min(most, m_part.bottom - y);
                auto const* const mask = m_mask.Read(m_part.left, y, width, rows, m_maskRows);
                auto const coverage = FindCoverage(mask, width * rows);
                if (coverage != MaskCoverage::None)
                    Change(y, rows, mask, coverage == MaskCoverage::Full);
                else if (m_worker && m_renews)
                    Keep(y, rows);
            }
        }

    private:
        using MaskTraits = Raster::FormatTraits<Traits::c_maskFormat>;
        static_assert(std::is_same_v<typename MaskTraits::Sample, Sample>);

        void Begin(int y) {
            m_worker.emplace(m_engine.m_shader.Open(m_part));
            m_passed = m_engine.m_shader.GetPassedChannels();
            m_stored = m_engine.m_run.channels & Traits::c_allChannels;
            ExamineAlpha();
            if (m_renews)
                Keep(m_part.top, y - m_part.top);
        }

        // Alpha that is the same in both stays so where it is full, and in integers, where the mean of two equal
        // samples is rounded to them: its tile is left alone.
        void ExamineAlpha() {
            constexpr int c_alpha = Traits::c_alphaIndex;
            if ((m_passed >> c_alpha & 1) == 0)
                return;
            int const x = m_part.left >> Raster::c_tileShift, y = m_part.top >> Raster::c_tileShift;
            auto const source = m_engine.m_shader.GetPassedSource()->GetPlane(c_alpha).GetConstTile(x, y);
            auto const present = std::as_const(m_engine.m_destination).GetPlane(c_alpha).GetConstTile(x, y);
            if (!source.SharesSamplesWith(present))
                return;
            m_isOpaque = IsFullPart<Sample>(present, m_part);
            if (m_isOpaque || !Traits::c_isFloat)
                m_stored &= ~(1 << c_alpha);
        }

        void Keep(int y, int rows) {
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                if ((m_stored >> c & 1) == 0)
                    continue;
                for (int row = y; row != y + rows; ++row)
                    std::memcpy(m_tiles.GetMutableSamples(c, m_part.left, row),
                                m_tiles.GetSamplesBefore(c, m_part.left, row),
                                static_cast<std::size_t>(m_part.GetWidth()) * sizeof(Sample));
            }
        }

        void Change(int y, int rows, Sample const* mask, bool isFull) {
            if (!m_worker)
                Begin(y);
            if (m_stored == 0)
                return;
            int const count = m_part.GetWidth() * rows;
            BlendRun<Sample> run{};
            run.mask = mask;
            run.count = count;
            run.isOpaque = m_isOpaque;
            Sample* processed[5] = {};
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                // Before the first write.
                run.existing[c] = m_tiles.GetSamplesBefore(c, m_part.left, y);
                if (m_stored >> c & 1)
                    run.out[c] = m_tiles.GetMutableSamples(c, m_part.left, y);
                bool const isWanted = run.out[c] != nullptr || (!isFull && c == Traits::c_alphaIndex && !m_isOpaque);
                if (isFull && run.out[c] != nullptr)
                    processed[c] = run.out[c];
                else if (isWanted || (m_passed >> c & 1) == 0)
                    processed[c] = m_scratch.planes[c];
                run.processed[c] = processed[c];
            }
            m_worker->Process(m_part.left, y, count, processed);
            if (!isFull)
                Blend(run, Traits::c_colourCount);
        }

        TileEngine const& m_engine;
        Kernel::RectT<int> const& m_part;
        MaskReader<MaskTraits> m_mask;
        bool m_renews;
        DestinationTiles<Traits> m_tiles;
        // From the first row on that the mask selects something of.
        std::optional<Worker> m_worker;
        int m_passed = 0;
        int m_stored = 0;
        bool m_isOpaque = false;
        ScratchRows<Traits> m_scratch;
        alignas(64) Sample m_maskRows[c_runSamples<Sample> + Raster::c_spanLength];
    };

    Raster::BitmapBase& m_destination;
    Shader const& m_shader;
    RunRecord const& m_run;
    MaskRecord const* m_mask;
};

} // namespace Commands
