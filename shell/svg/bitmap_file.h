// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/codec.h"
#include "platform/raster/dynamic_bitmap.h"

#include <string>
#include <string_view>

namespace Shell::Svg {

// Decodes an image file into a bitmap of the format that holds its samples: RGB, grey with 8 or 16 bits, ink with 8.
// What has no alpha becomes opaque. The embedded profile goes with it where it is of the same colour model and no
// damage. Throws Kernel::Exception where the file is refused or of another kind.
Kernel::Counted<Raster::DynamicBitmap> DecodeBitmap(std::string_view file, Raster::ImageLimits const& limits);

// A PNG file of a bitmap. Ink, Lab, floats and alpha alone become RGB with 8 or 16 bits: `isConverted`, if given,
// tells. Throws Kernel::Exception when the bitmap's pixels cannot be read.
std::string EncodeBitmap(Raster::DynamicBitmap const& bitmap, bool* isConverted = nullptr);

// RFC 4648, section 4, with padding and without line ends.
std::string EncodeBase64(std::string_view bytes);

} // namespace Shell::Svg
