// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/icc_manager.h"

#include <lcms2.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace Raster::Lcms {

struct CloseProfile {
    void operator()(void* profile) const noexcept { cmsCloseProfile(profile); }
};
struct DeleteTransform {
    void operator()(void* transform) const noexcept { cmsDeleteTransform(transform); }
};
using Profile = std::unique_ptr<void, CloseProfile>;
using Transform = std::unique_ptr<void, DeleteTransform>;

// The library's context of this process, which reports errors to GetLastError instead of standard error.
cmsContext GetContext();
// The library's last message on this thread; empties it.
std::string TakeLastError();

// Null when the bytes are no profile.
Profile Open(std::span<std::byte const> data);

// The bytes of the default profile of a model; empty for CMYK and alpha only. The same on every machine and day.
std::vector<std::byte> MakeDefaultProfile(ColourModel model);

// The bytes of an RGB or grey profile whose samples are intensities to the power of `encodingGamma`. `chromaticities`
// are x and y of white, red, green and blue; sRGB's when there are none. Exception when no profile has them.
std::vector<std::byte> MakeGammaProfile(ColourModel model, double encodingGamma,
                                        std::optional<std::array<double, 8>> const& chromaticities);

} // namespace Raster::Lcms
