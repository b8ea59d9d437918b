// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/persisted.h"
#include "platform/document/raster_command.h"
#include "raster/polar_location.h"

namespace Commands {

// Remaps the whole bitmap of a layer about the middle of the current spread, through selection and channel mask.
// Returns the bitmap's box.
REDRAFT_API Kernel::RectT<int> RemapLayer(PolarDirection direction, RasterCommand& command,
                                          Kernel::NonCounted<MutableRasterInterface> layer);

// What the two commands between polar and rectangular coordinates have in common. T names its c_direction.
template <class T>
class PolarCommandBase : public Persisted<T, RasterCommand> {
public:
    PolarCommandBase() : Persisted<T, RasterCommand>(Kernel::Counted<Selection const>()) {}

    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<T>(); }
    bool CanRepeat() const override { return true; }
    DomainCommand::ProgressType GetProgressType() const override { return DomainCommand::ProgressType::LargeBar; }

protected:
    Kernel::RectT<int> DoEffect(Kernel::NonCounted<MutableRasterInterface> layer) override {
        return RemapLayer(T::c_direction, *this, layer);
    }
};

} // namespace Commands
