// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/raster_command.h"

namespace Commands {

// Turns colours that are brighter than the middle into their negatives; alpha stays.
class REDRAFT_API RasterSolariseCommand final : public Persisted<RasterSolariseCommand, RasterCommand> {
public:
    RasterSolariseCommand() : Persisted(Kernel::Counted<Selection const>()) {}

    Kernel::LocalisedString GetDescription() const override;
    Kernel::Counted<DocumentCommand> Clone() const override;
    bool CanRepeat() const override { return true; }

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;
};

} // namespace Commands
