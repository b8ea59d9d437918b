// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/layer_effect_command.h"

namespace Commands {

// Leaves a layer with colours of the web-safe palette only, spreading what each pixel loses over its neighbours.
class REDRAFT_API RasterWebSafeDitherCommand final : public LayerEffectCommand<RasterWebSafeDitherCommand> {
public:
    static constexpr auto c_description = Kernel::Localisable("Websafe Dither", "Command description");

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override;
};

} // namespace Commands
