// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/pipeline/effects.h"
#include "raster/pipeline/hardware_attempt.h"

namespace Commands {

// The software engine's run of an effect, and the data to do it again.
template <class SourceTraits, class Traits, class Effect>
class SoftwareRun final : public Raster::HardwareRecipe {
public:
    // It works on the destination as a whole, and is never repeated.
    static constexpr bool c_isWhole = requires(Effect const& effect, Raster::BitmapBase& destination,
                                               RunRecord const& run, PipelineOptions const& options) {
        effect.RunWhole(destination, run, options);
    };

    SoftwareRun(Raster::BitmapBase const& source, int level, Kernel::Counted<Raster::BitmapBase const> destination,
                RunRecord const& run, MaskRecord const* mask, Effect const& effect)
        : m_source(source.Clone(nullptr)),
          m_level(level),
          m_destination(std::move(destination)),
          m_mask(mask == nullptr ? std::nullopt : std::optional(*mask)),
          m_effect(effect) {
        // The selection may be changed before the pixels are made again.
        if (m_mask)
            m_mask->bitmap = m_mask->bitmap->Clone(nullptr);
        m_run.rect = run.rect;
        m_run.channels = run.channels;
    }

    Kernel::Counted<Raster::BitmapBase const> Make() const override {
        auto result = m_destination->Clone(nullptr);
        Run(*result, *m_source, m_level, m_run, m_mask ? &*m_mask : nullptr, m_effect);
        return result;
    }

    static void Run(Raster::BitmapBase& destination, Raster::BitmapBase const& source, int level, RunRecord const& run,
                    MaskRecord const* mask, Effect const& effect) {
        if constexpr (requires { effect.RunFrom(source, level, destination, run); }) {
            effect.RunFrom(source, level, destination, run);
        } else {
            effect.template WithShader<SourceTraits, Traits>(source, level, [&](auto const& shader) {
                TileEngine<Traits, std::decay_t<decltype(shader)>>(destination, shader, run, mask).Run();
            });
        }
    }

private:
    Kernel::Counted<Raster::BitmapBase const> m_source;
    int m_level;
    Kernel::Counted<Raster::BitmapBase const> m_destination;
    std::optional<MaskRecord> m_mask;
    Effect m_effect;
    RunRecord m_run;
};

// One run of an effect from a source into a destination of the same size: loading, mipmap levels, the engines, and the
// destination's levels afterwards. The source and destination may have different formats where the effect converts.
template <class SourceTraits, class Traits, class Effect>
class FormatDriver {
public:
    FormatDriver(Raster::BitmapBase& destination, Raster::BitmapBase const& source, PipelineOptions& options,
                 MaskRecord const* mask, Effect const& effect)
        : m_destination(destination), m_source(source), m_options(options), m_mask(mask), m_effect(effect) {}

    void Run() {
        if (std::as_const(m_destination).IsPendingDelayLoad()) {
            m_destination.ForceDelayLoad(m_options.abort);
            if (IsAborted())
                return;
        }
        if (RunSource())
            FinishMipmaps();
    }

private:
    using Software = SoftwareRun<SourceTraits, Traits, Effect>;
    using Recipe = std::shared_ptr<Raster::HardwareRecipe const>;

    bool IsAborted() const {
        Kernel::Abortable flag;
        flag.SetAbortPointer(m_options.abort);
        return flag.IsAborted();
    }

    // False when the run was aborted before it began, which leaves the destination's levels alone too.
    bool RunSource() {
        if (TryMip())
            return true;
        if (m_source.IsPendingDelayLoad()) {
            if (m_options.skipIfDelayLoading)
                return true;
            m_source.ForceDelayLoad(m_options.abort);
            if (IsAborted())
                return false;
            if (TryMip() || m_source.IsPendingDelayLoad())
                return true;
        }
        RunPipeline(m_source, 0);
        return true;
    }

    bool TryMip() {
        bool const mipmapsOnly = m_source.HoldsMipmapsOnly();
        // Without its levels a source that is pending is waited for first.
        if (!mipmapsOnly && m_source.IsPendingDelayLoad())
            return false;
        int level = 0;
        for (double scale = m_effect.GetLeastScale(); scale > 2.0 && level < m_source.GetMipmapLevels(); scale /= 2)
            ++level;
        if (mipmapsOnly)
            level = std::max(level, 1);
        if (level == 0)
            return false;
        bool const onDemand = m_source.GetMipmapMode() == Raster::MipmapMode::OnDemand ||
                              m_source.GetMipmapMode() == Raster::MipmapMode::Deferred;
        // Only a source that is not in memory has to take what there is.
        while (mipmapsOnly && level <= m_source.GetMipmapLevels() && !m_source.GetMipmap(level))
            ++level;
        if (mipmapsOnly)
            SetTouched();
        if (level > m_source.GetMipmapLevels())
            return false;
        if (onDemand)
            m_source.UpdateMipmaps(level, m_options.abort);
        auto const mip = m_source.GetMipmap(level);
        if (!mip)
            return false;
        SetTouched();
        RunPipeline(*mip, level);
        return true;
    }

    void SetTouched() { m_options.touched = true; }

    void RunPipeline(Raster::BitmapBase const& source, int level) {
        auto const bounds = m_destination.GetBounds();
        RunRecord run;
        run.rect = m_options.region == nullptr ? bounds : m_options.region->Intersected(bounds);
        run.abort = m_options.abort;
        run.progress = m_options.progress;
        run.progressData = m_options.progressData;
        run.channels = m_options.channelMask & Traits::c_allChannels;
        if (!run.rect.IsEmpty())
            RunEngines(source, level, run);
        // Required: a run that stores only some channels tells its caller nothing.
        if (run.channels == Traits::c_allChannels)
            *m_options.callerOptions = m_options;
    }

    void RunEngines(Raster::BitmapBase const& source, int level, RunRecord const& run) {
        bool const storesAll = run.channels == Traits::c_allChannels;
        if (TryHardware({m_destination, source, level, run.rect, run.channels, storesAll, m_mask,
                         m_effect.GetHardwareStages(), run.abort, [&](auto before) -> Recipe {
                             if constexpr (!Software::c_isWhole)
                                 return std::make_shared<Software>(source, level, std::move(before), run, m_mask,
                                                                   m_effect);
                             return {};
                         }})) {
            SetTouched();
            return;
        }
        if (run.IsAborted())
            return;
        SetTouched();
        if (!source.SyncHostCache(source.GetBounds(), false, run.abort) ||
            !m_destination.SyncHostCache(run.rect, false, run.abort))
            return;
        if constexpr (Software::c_isWhole)
            m_effect.RunWhole(m_destination, run, m_options);
        else
            Software::Run(m_destination, source, level, run, m_mask, m_effect);
        if (!run.IsAborted())
            m_destination.InvalidateHardwareCache(run.rect);
    }

    void FinishMipmaps() {
        if (m_destination.GetMipmapMode() == Raster::MipmapMode::None)
            return;
        m_destination.MarkMipmapsDirty(m_options.region == nullptr ? m_destination.GetBounds() : *m_options.region);
        if (m_destination.GetMipmapMode() == Raster::MipmapMode::Immediate)
            m_destination.UpdateMipmaps(0, m_options.abort);
    }

    Raster::BitmapBase& m_destination;
    Raster::BitmapBase const& m_source;
    PipelineOptions& m_options;
    MaskRecord const* m_mask;
    Effect const& m_effect;
};

// The run for bitmaps whose formats are known when the program runs. Nothing happens for a format without pixels, and
// for formats or sizes that differ.
template <class Effect>
void DriveEffect(Raster::BitmapBase& destination, Raster::BitmapBase const& source, PipelineOptions& options,
                 MaskRecord const* mask, Effect const& effect) {
    if (destination.GetSize() != source.GetSize() || destination.GetFormat() != source.GetFormat())
        return;
    Raster::VisitFormat(destination.GetFormat(), [&](auto traits) {
        using Traits = decltype(traits);
        FormatDriver<Traits, Traits, Effect>(destination, source, options, mask, effect).Run();
    });
}

} // namespace Commands
