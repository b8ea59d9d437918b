// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"
#include "shell/arguments.h"

namespace Shell {

// The profile that --profile names; empty without the option. Throws Failure with ExitStatus::Input.
Kernel::Consolidated<Raster::ICCProfile> ReadProfile(Arguments const& arguments);

} // namespace Shell
