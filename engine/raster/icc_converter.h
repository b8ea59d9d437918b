// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"

namespace Raster {

// A converter between formats that have colours. A CMYK format may come without a profile: its colours go through
// sRGB, given as `srgb`, and the plain rules. Exception when the profiles cannot be joined.
Kernel::Counted<PixelConverter const> MakeICCConverter(Format from, Kernel::Consolidated<ICCProfile> const& fromProfile,
                                                       Format to, Kernel::Consolidated<ICCProfile> const& toProfile,
                                                       Kernel::Consolidated<ICCProfile> const& srgb,
                                                       RenderingIntent intent);

} // namespace Raster
