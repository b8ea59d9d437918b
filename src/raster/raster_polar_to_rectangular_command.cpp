// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_polar_to_rectangular_command.h"

namespace Commands {} // namespace Commands
