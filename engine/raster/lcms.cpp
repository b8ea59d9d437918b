// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/lcms.h"

#include "platform/kernel/exception.h"

#include <algorithm>

namespace Raster::Lcms {

namespace {

thread_local std::string s_lastError;

void NoteError(cmsContext, cmsUInt32Number, char const* text) { s_lastError = text; }

// The curve of IEC 61966-2-1 as a parametric curve of type 4 (ICC.1:2010, 10.15).
struct FreeCurve {
    void operator()(cmsToneCurve* curve) const noexcept { cmsFreeToneCurve(curve); }
};
using Curve = std::unique_ptr<cmsToneCurve, FreeCurve>;

Curve MakeSrgbCurve() {
    cmsFloat64Number const parameters[5] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    return Curve(cmsBuildParametricToneCurve(GetContext(), 4, parameters));
}

constexpr std::array<double, 8> c_srgbChromaticities = {0.3127, 0.3290, 0.64, 0.33, 0.30, 0.60, 0.15, 0.06};

Profile MakeSrgb() {
    auto const& c = c_srgbChromaticities;
    cmsCIExyY const white{c[0], c[1], 1.0};
    cmsCIExyYTRIPLE const primaries{{c[2], c[3], 1}, {c[4], c[5], 1}, {c[6], c[7], 1}};
    Curve const curve = MakeSrgbCurve();
    cmsToneCurve* const curves[3] = {curve.get(), curve.get(), curve.get()};
    return Profile(cmsCreateRGBProfileTHR(GetContext(), &white, &primaries, curves));
}

Profile MakeGrey() {
    Curve const curve = MakeSrgbCurve();
    return Profile(cmsCreateGrayProfileTHR(GetContext(), cmsD50_xyY(), curve.get()));
}

void Describe(cmsHPROFILE profile, char const* text) {
    struct FreeMlu {
        void operator()(cmsMLU* mlu) const noexcept { cmsMLUfree(mlu); }
    };
    std::unique_ptr<cmsMLU, FreeMlu> const mlu(cmsMLUalloc(GetContext(), 1));
    cmsMLUsetASCII(mlu.get(), "en", "US", text);
    cmsWriteTag(profile, cmsSigProfileDescriptionTag, mlu.get());
}

// The profile's bytes, without the day on which they were made.
std::vector<std::byte> Write(cmsHPROFILE profile) {
    cmsSetProfileVersion(profile, 4.3);
    cmsUInt32Number size = 0;
    if (!cmsSaveProfileToMem(profile, nullptr, &size))
        throw Kernel::Exception("a colour profile cannot be made: " + TakeLastError());
    std::vector<std::byte> data(size);
    if (!cmsSaveProfileToMem(profile, data.data(), &size))
        throw Kernel::Exception("a colour profile cannot be made: " + TakeLastError());
    // The header's date (ICC.1:2010, 7.2.8) says when the profile was made, which would make documents differ from day
    // to day: 2000-01-01, midnight. Year, month, day, hour, minute and second are big-endian 16-bit numbers.
    constexpr std::uint8_t c_date[12] = {0x07, 0xD0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
    std::transform(std::begin(c_date), std::end(c_date), data.begin() + 24, [](auto b) { return std::byte(b); });
    return data;
}

} // namespace

cmsContext GetContext() {
    static cmsContext const s_context = [] {
        cmsContext const context = cmsCreateContext(nullptr, nullptr);
        if (context == nullptr)
            throw Kernel::Exception("there is not enough memory for colour management");
        cmsSetLogErrorHandlerTHR(context, &NoteError);
        return context;
    }();
    return s_context;
}

std::string TakeLastError() { return std::exchange(s_lastError, {}); }

Profile Open(std::span<std::byte const> data) {
    return Profile(cmsOpenProfileFromMemTHR(GetContext(), data.data(), static_cast<cmsUInt32Number>(data.size())));
}

std::vector<std::byte> MakeDefaultProfile(ColourModel model) {
    Profile profile;
    switch (model) {
    case ColourModel::RGB:
        profile = MakeSrgb();
        Describe(profile.get(), "sRGB IEC61966-2.1");
        break;
    case ColourModel::Grey:
        profile = MakeGrey();
        Describe(profile.get(), "Grey with sRGB curve");
        break;
    case ColourModel::Lab:
        profile = Profile(cmsCreateLab4ProfileTHR(GetContext(), nullptr));
        Describe(profile.get(), "Lab D50");
        break;
    case ColourModel::CMYK:
    case ColourModel::AlphaOnly:
        return {};
    }
    return Write(profile.get());
}

std::vector<std::byte> MakeGammaProfile(ColourModel model, double encodingGamma,
                                        std::optional<std::array<double, 8>> const& chromaticities) {
    if (!(encodingGamma > 0.01 && encodingGamma < 100))
        throw Kernel::Exception("an image's gamma makes no sense");
    Curve const curve(cmsBuildGamma(GetContext(), 1 / encodingGamma));
    Profile profile;
    if (model == ColourModel::Grey) {
        profile = Profile(cmsCreateGrayProfileTHR(GetContext(), cmsD50_xyY(), curve.get()));
    } else {
        std::array<double, 8> const c = chromaticities.value_or(c_srgbChromaticities);
        cmsCIExyY const white{c[0], c[1], 1};
        cmsCIExyYTRIPLE const primaries{{c[2], c[3], 1}, {c[4], c[5], 1}, {c[6], c[7], 1}};
        cmsToneCurve* const curves[3] = {curve.get(), curve.get(), curve.get()};
        profile = Profile(cmsCreateRGBProfileTHR(GetContext(), &white, &primaries, curves));
    }
    if (!profile)
        throw Kernel::Exception("an image's chromaticities make no sense: " + TakeLastError());
    Describe(profile.get(), "Gamma of an image");
    return Write(profile.get());
}

} // namespace Raster::Lcms
