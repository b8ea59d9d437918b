// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/raster_command.h"

namespace Commands {

// Base of effects without arguments: T's DoEffect works on each layer, and a copy does the same elsewhere.
template <class T>
class LayerEffectCommand : public Persisted<T, RasterCommand> {
public:
    LayerEffectCommand() : Persisted<T, RasterCommand>(Kernel::Counted<Selection const>()) {}

    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<T>(); }
    bool CanRepeat() const override { return true; }
};

} // namespace Commands
