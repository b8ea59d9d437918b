// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/layer_effect_command.h"

namespace Commands {

// Turns colours that are brighter than the middle into their negatives; alpha stays.
class REDRAFT_API RasterSolariseCommand final : public LayerEffectCommand<RasterSolariseCommand> {
public:
    static constexpr auto c_description = Kernel::Localisable("Solarise", "Command description");

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;
};

} // namespace Commands
