// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"

namespace Raster {

// False for a profile that says how its colours look and not how other colours become its own, as those of scanners and
// some small ones do. Colours come into it by the plain rules.
REDRAFT_ENGINE bool CanBeTarget(ICCProfile const& profile);

} // namespace Raster
