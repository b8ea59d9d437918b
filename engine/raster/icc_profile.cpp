// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/lcms.h"
#include "platform/kernel/exception.h"
#include "platform/raster/icc_profile_use.h"

#include <algorithm>

namespace Raster {

namespace {

ColourModel GetModel(cmsHPROFILE profile) {
    switch (cmsGetColorSpace(profile)) {
    case cmsSigRgbData:
        return ColourModel::RGB;
    case cmsSigGrayData:
        return ColourModel::Grey;
    case cmsSigCmykData:
        return ColourModel::CMYK;
    case cmsSigLabData:
        return ColourModel::Lab;
    default:
        throw Kernel::Exception("a colour profile is for colours that no bitmap has");
    }
}

Kernel::String ReadDescription(cmsHPROFILE profile) {
    cmsUInt32Number const size = cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", nullptr, 0);
    if (size == 0)
        return {};
    std::string text(size, '\0');
    cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", text.data(), size);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

} // namespace

ICCProfile::ICCProfile(std::span<std::byte const> data) : m_data(data.begin(), data.end()) {
    auto const profile = Lcms::Open(m_data);
    Lcms::TakeLastError();
    if (!profile)
        throw Kernel::DamagedDataException("a colour profile is damaged");
    m_model = GetModel(profile.get());
    m_description = ReadDescription(profile.get());
    m_key = Kernel::ComputeBlobKey(m_data);
}

ICCProfile::~ICCProfile() = default;

bool CanBeTarget(ICCProfile const& profile) {
    auto const opened = Lcms::Open(profile.GetData());
    // Lab needs no table: it is what profiles are connected by.
    if (profile.GetColourModel() == ColourModel::Lab || cmsIsMatrixShaper(opened.get()))
        return true;
    constexpr cmsTagSignature c_tables[] = {cmsSigBToA0Tag, cmsSigBToA1Tag, cmsSigBToA2Tag, cmsSigBToD0Tag,
                                            cmsSigBToD1Tag, cmsSigBToD2Tag, cmsSigBToD3Tag};
    return std::ranges::any_of(c_tables, [&](auto tag) { return cmsIsTag(opened.get(), tag) != 0; });
}

Kernel::Consolidated<ICCProfile> ICCProfile::FromData(std::span<std::byte const> data) {
    if (data.size() > c_maximumBytes)
        throw Kernel::Exception("a colour profile is too large");
    return Kernel::Consolidated<ICCProfile>(Kernel::Counted<ICCProfile const>(new ICCProfile(data)));
}

} // namespace Raster
