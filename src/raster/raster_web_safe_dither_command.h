// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/raster_command.h"

namespace Commands {

// Leaves a layer with colours of the web-safe palette only, spreading what each pixel loses over its neighbours.
class REDRAFT_API RasterWebSafeDitherCommand final : public Persisted<RasterWebSafeDitherCommand, RasterCommand> {
public:
    RasterWebSafeDitherCommand() : Persisted(Kernel::Counted<Selection const>()) {}

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool CanRepeat() const override { return true; }

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;
};

} // namespace Commands
