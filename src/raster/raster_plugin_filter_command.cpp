// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_plugin_filter_command.h"

#include "frame/example.h"
#include "platform/kernel/critical_section.h"
#include "platform/raster/dynamic_buffer.h"
#include "raster/pipeline/pipeline.h"
#include "raster/raster_examples.h"

#include <shared_mutex>

namespace Commands {

namespace {

// What all tiles of a run share.
struct TileWork {
    int tilesAcross;
    int tilesDown;
    Raster::DynamicBitmap& clone;
    Raster::RasterFilterPlugin::Session const& session;
    RasterCommand& command;
    // For the writes into the clone and what is told of progress.
    Kernel::CriticalSection section{};
    // For the clone's memory: buffers are filled by all threads at a time, but not while one writes.
    std::shared_mutex pixels{};
    std::atomic<std::uint32_t> done{0};

    std::uint64_t GetCount() const {
        return static_cast<std::uint64_t>(tilesAcross) * static_cast<std::uint64_t>(tilesDown);
    }
};

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

void FilterTile(TileWork& work, std::uint64_t index) {
    auto& bitmap = work.clone.GetMutableBase();
    auto const across = static_cast<std::uint64_t>(work.tilesAcross);
    int const x = static_cast<int>(index % across) * Raster::c_tileSide;
    int const y = static_cast<int>(index / across) * Raster::c_tileSide;
    auto const output =
        Kernel::RectT<int>{x, y, x + Raster::c_tileSide, y + Raster::c_tileSide}.Intersected(bitmap.GetBounds());
    auto const input = work.session.MeasureRequiredInput(output);
    Raster::DynamicBuffer inBuffer;
    Raster::DynamicBuffer outBuffer(output.GetWidth(), output.GetHeight(), bitmap.GetFormat());
    // A plug-in that makes its pixels out of nothing asks for no input, and gets no buffer.
    void* inPixels = nullptr;
    if (!input.IsEmpty()) {
        inBuffer.Create(input.GetWidth(), input.GetHeight(), bitmap.GetFormat());
        // Required: the tile's corner comes to the buffer's, whatever margin the plug-in asked for. Tiles that are done
        // stand here already filtered; which of them are done is left open.
        std::shared_lock const lock(work.pixels);
        FillBuffer(std::as_const(bitmap), {x, y}, *inBuffer.GetBase());
        inPixels = inBuffer.GetBuffer();
    }
    work.session.FilterOutput(input, output, inPixels, outBuffer.GetBuffer());
    std::lock_guard const lock(work.section);
    {
        std::lock_guard const writing(work.pixels);
        StoreBuffer(*outBuffer.GetBase(), output, bitmap);
    }
    RasterCommand::Progress(static_cast<float>(++work.done) / static_cast<float>(work.GetCount()), &work.command);
}

} // namespace

Kernel::LocalisedString RasterPluginFilterCommand::GetDescription() const {
    // The plug-in's own name is no text of this program's: without a context it is not translated.
    return Kernel::LocalisedString(m_plugin ? m_plugin->GetName() : Kernel::String("Plug-in"), {});
}

// One that was loaded has lost its plug-in, and could do nothing again.
Kernel::Counted<DocumentCommand> RasterPluginFilterCommand::Clone() const {
    if (!m_plugin)
        return {};
    return Kernel::MakeCounted<RasterPluginFilterCommand>(m_plugin);
}

Kernel::RectT<int> RasterPluginFilterCommand::DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) {
    auto const clone = layer->GetBitmap()->Clone(nullptr);
    if (clone->IsEmpty())
        return {};
    auto const document = GetDocumentController();
    {
        DomainWriterUnlockSession unlocked(document);
        auto const session = Kernel::MakeCounted<Raster::RasterFilterPlugin::Session>(m_plugin);
        session->Configure(clone->GetFormat(), clone->GetWidth(), clone->GetHeight());
        TileWork work{(clone->GetWidth() + Raster::c_tileSide - 1) / Raster::c_tileSide,
                      (clone->GetHeight() + Raster::c_tileSide - 1) / Raster::c_tileSide, *clone, *session, *this};
        if (m_plugin->CanFilterInParallel()) {
            Kernel::Dispatch::DispatchParallelFor([&work](std::uint64_t index) { FilterTile(work, index); },
                                                  work.GetCount(), Kernel::Dispatch::DispatchPriority::Normal,
                                                  Kernel::Dispatch::ThreadPurpose::Text, 0);
        } else {
            for (std::uint64_t index = 0; index != work.GetCount(); ++index)
                FilterTile(work, index);
        }
        unlocked.Acquire();
    }
    RasterEffectOptions options;
    ApplyRasterEffect(document, *clone, layer, options, PointEffect<CopyRule>());
    return clone->GetBounds();
}

namespace {

// Turns every byte into its complement; a plug-in that needs no file.
class ExamplePlugin final : public Raster::RasterFilterPlugin {
public:
    Kernel::String GetIdentifier() const override { return "example"; }
    Kernel::String GetName() const override { return "Example"; }
    bool CanFilterInParallel() const override { return true; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Negative>(); }

private:
    class Negative final : public Filter {
    public:
        bool Configure(Raster::Format format, int, int) override {
            m_format = format;
            return true;
        }
        Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override { return output; }
        bool FilterOutput(Kernel::RectT<int> const&, Kernel::RectT<int> const& output, void const* input,
                          void* result) override {
            auto const layout = Raster::FilterPixelLayout::Of(m_format, output.GetWidth(), output.GetHeight());
            std::size_t const count =
                layout.planeBytes * static_cast<std::size_t>(Raster::GetFormatInfo(m_format).channelCount);
            for (std::size_t i = 0; i != count; ++i)
                static_cast<std::uint8_t*>(result)[i] =
                    static_cast<std::uint8_t>(255 - static_cast<std::uint8_t const*>(input)[i]);
            return true;
        }

    private:
        Raster::Format m_format = Raster::FormatNone;
    };
};

} // namespace

static ExampleRegistration const s_rasterPluginFilterExample({
    .className = "RasterPluginFilterCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
        return Kernel::MakeCounted<RasterPluginFilterCommand>(Kernel::MakeCounted<ExamplePlugin>());
    },
    .keptByContract = {},
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
