// SPDX-License-Identifier: Apache-2.0
#include "formats/colour_profile.h"

#include "platform/kernel/exception.h"
#include "platform/kernel/files.h"

namespace Formats {

Kernel::Consolidated<Raster::ICCProfile> ReadColourProfile(std::string const& path) {
    return Raster::ICCProfile::FromData(Kernel::ReadWholeFile(path, Raster::ICCProfile::c_maximumBytes));
}

char const* GetColourModelName(Raster::ColourModel model) {
    switch (model) {
    case Raster::ColourModel::Grey:
        return "grey";
    case Raster::ColourModel::CMYK:
        return "CMYK";
    case Raster::ColourModel::Lab:
        return "Lab";
    case Raster::ColourModel::RGB:
    case Raster::ColourModel::AlphaOnly:
        break;
    }
    return "RGB";
}

void SetDocumentProfile(DocumentController& document, Kernel::Consolidated<Raster::ICCProfile> const& profile) {
    auto const model = Raster::GetFormatInfo(document.GetFormat()).colourModel;
    if (profile->GetColourModel() != model)
        throw Kernel::Exception(std::string("the colour profile is for ") +
                                GetColourModelName(profile->GetColourModel()) + ", and the document is in " +
                                GetColourModelName(model));
    auto profiles = document.GetProfiles();
    profiles.Set(profile);
    document.GetDocument()->SetProfiles(profiles);
}

} // namespace Formats
