// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "raster/layer_effect_command.h"
#include "raster/polar_location.h"

namespace Commands {

// Remaps the whole bitmap of a layer about the middle of the current spread, through selection and channel mask.
// Returns the bitmap's box.
REDRAFT_API Kernel::RectT<int> RemapLayer(PolarDirection direction, RasterCommand& command,
                                          Kernel::NonCounted<MutableRasterInterface> layer);

// Base of the two commands between polar and rectangular coordinates. T names its c_direction.
template <class T>
class PolarCommandBase : public LayerEffectCommand<T> {
public:
    DomainCommand::ProgressType GetProgressType() const override { return DomainCommand::ProgressType::LargeBar; }

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override {
        return RemapLayer(T::c_direction, *this, layer);
    }
};

} // namespace Commands
