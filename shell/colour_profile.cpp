// SPDX-License-Identifier: Apache-2.0
#include "shell/colour_profile.h"

#include "formats/colour_profile.h"
#include "platform/raster/icc_profile_use.h"
#include "shell/failure.h"
#include "shell/input_files.h"
#include "shell/session.h"

namespace Shell {

Kernel::Consolidated<Raster::ICCProfile> ReadProfile(Arguments const& arguments) {
    auto const path = arguments.Find("--profile");
    if (!path)
        return {};
    InputFiles::Add(*path);
    auto profile = Guarded(ExitStatus::Input, *path, [&] { return Formats::ReadColourProfile(*path); });
    if (!Raster::CanBeTarget(*profile))
        Session::Note(*path, "does not say how other colours become its own: they follow the plain rules");
    return profile;
}

} // namespace Shell
