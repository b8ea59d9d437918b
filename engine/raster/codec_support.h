// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/codec.h"

#include <csetjmp>
#include <string>

// The common part of decoders and encoders of image files.
namespace Raster::Codec {

[[noreturn]] void ThrowCutShort();
// `detail` is what the library says, cleaned to one line.
[[noreturn]] void ThrowDamaged(std::string const& detail);

// Refuses what is above the limits. `storedBytes` is how long the file is.
void RequireWithinLimits(ImageInfo const& info, ImageLimits const& limits, std::uint64_t storedBytes);

// Orientation and resolution from an EXIF block (CIPA DC-008, the TIFF structure without the "Exif\0\0" in front).
// Leaves `info` as it is where the block says nothing or is damaged.
void ReadExif(std::span<std::byte const> exif, ImageInfo& info);

// Pixels per inch of a resolution that a file gives for another unit of length, `unitsPerInch` of which are an inch, in
// whole multiples of `step`. A whole number of pixels per inch that would be written so is what is meant: 3780 pixels a
// metre are 96.
double ToDpi(double resolution, double unitsPerInch, double step);

constexpr double c_centimetresPerInch = 2.54;
// Resolutions a centimetre are mostly written with two digits behind the point.
constexpr double c_centimetreStep = 0.01;

// Runs C code that reports errors by a jump to `target`. False: it jumped. Neither the function nor what it calls may
// hold objects with destructors when it jumps.
template <class F>
[[nodiscard]] bool RunGuarded(std::jmp_buf& target, F&& function) {
    if (setjmp(target) != 0)
        return false;
    function();
    return true;
}

void DecodePng(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits);
void DecodeJpeg(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits);
void DecodeTiff(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits);

} // namespace Raster::Codec
