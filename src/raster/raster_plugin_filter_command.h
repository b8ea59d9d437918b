// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/raster_command.h"
#include "platform/raster/filter_plugin.h"

namespace Commands {

// Runs a plug-in's filter over a layer, tile by tile; the selection of pixels decides what of the result stays.
class REDRAFT_API RasterPluginFilterCommand final : public Persisted<RasterPluginFilterCommand, RasterCommand> {
public:
    explicit RasterPluginFilterCommand(Kernel::Counted<Raster::RasterFilterPlugin> plugin)
        : Persisted(Kernel::Counted<Selection const>()), m_plugin(std::move(plugin)) {}

    // The plug-in's name. A command that was loaded has no plug-in: history keeps the text that it had.
    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool CanRepeat() const override { return true; }
    ProgressType GetProgressType() const override { return ProgressType::LargeBar; }

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;

private:
    friend struct Kernel::FieldAccess;
    RasterPluginFilterCommand() : Persisted(Kernel::Counted<Selection const>()) {}
    static constexpr auto Fields() {
        return Kernel::FieldList{Kernel::Unstored{&RasterPluginFilterCommand::m_plugin}.As(
            "plugin",
            "the frei0r plug-in, by the name of its file without the ending; behind a colon PARAMETER=VALUE,...")};
    }

    // Not saved.
    Kernel::Counted<Raster::RasterFilterPlugin> m_plugin;
};

} // namespace Commands
