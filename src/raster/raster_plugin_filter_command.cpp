// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_plugin_filter_command.h"

#include "raster/pipeline/pipeline.h"
#include "raster/tile_filter.h"

namespace Commands {

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
        FilterTiles(m_plugin, *clone, [this](float done) { RasterCommand::Progress(done, this); });
        unlocked.Acquire();
    }
    RasterEffectOptions options;
    ApplyRasterEffect(document, *clone, layer, options, PointEffect<CopyRule>());
    return clone->GetBounds();
}

} // namespace Commands
