// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_rectangular_to_polar_command.h"

namespace Commands {} // namespace Commands
