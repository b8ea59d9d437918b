// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/icc_manager.h"

#include "engine/raster/icc_converter.h"
#include "engine/raster/interleave.h"
#include "engine/raster/lcms.h"
#include "platform/kernel/exception.h"
#include "platform/raster/icc_profile_use.h"

#include <deque>
#include <map>
#include <mutex>

namespace Raster {

namespace {

using ProfileReference = Kernel::Consolidated<ICCProfile>;

// The key of a converter. The references keep the profiles, and with them their addresses, alive.
struct ConverterKey {
    Format from;
    ProfileReference fromProfile;
    Format to;
    ProfileReference toProfile;
    RenderingIntent intent;
    friend bool operator==(ConverterKey const&, ConverterKey const&) = default;
};

// As many as a document with several profiles uses in turn.
constexpr std::size_t c_keptConverters = 32;

void CheckProfile(Format format, ProfileReference const& profile) {
    if (profile && profile->GetColourModel() != GetFormatInfo(format).colourModel)
        throw Kernel::Exception("a colour profile is not for the pixels it is used for");
}

void ConvertInterleaved(Format from, unsigned char* source, Format to, unsigned char* target, int count) {
    FormatInfo const in = GetFormatInfo(from), out = GetFormatInfo(to);
    auto const converter = PixelConverter::MakePlain(from, to);
    constexpr int c_run = 256;
    alignas(64) std::byte planes[2][5][c_run * sizeof(float)];
    void *rows[5], *results[5];
    for (int c = 0; c != 5; ++c) {
        rows[c] = planes[0][c];
        results[c] = planes[1][c];
    }
    for (int done = 0; done < count; done += c_run) {
        auto const run = static_cast<std::size_t>(std::min(c_run, count - done));
        DeinterleaveRow(source +
                            static_cast<std::size_t>(done * in.channelCount) * static_cast<std::size_t>(in.sampleBytes),
                        in.channelCount, in.sampleBytes, run, rows);
        converter->Convert(rows, results, run);
        InterleaveRow(results, out.channelCount, out.sampleBytes, run,
                      target + static_cast<std::size_t>(done * out.channelCount) *
                                   static_cast<std::size_t>(out.sampleBytes));
    }
}

} // namespace

struct ICCManager::State {
    ProfileReference rgb, grey, lab;
    std::map<Kernel::String, ProfileReference> registered;
    // The latest first.
    std::deque<std::pair<ConverterKey, Kernel::Counted<PixelConverter const>>> converters;
    std::mutex mutex;
};

ICCManager::ICCManager() : m_state(std::make_unique<State>()) {
    m_state->rgb = ICCProfile::FromData(Lcms::MakeDefaultProfile(ColourModel::RGB));
    m_state->grey = ICCProfile::FromData(Lcms::MakeDefaultProfile(ColourModel::Grey));
    m_state->lab = ICCProfile::FromData(Lcms::MakeDefaultProfile(ColourModel::Lab));
    for (auto const& profile : {m_state->rgb, m_state->grey, m_state->lab})
        RegisterProfile(profile);
}

ICCManager::~ICCManager() = default;

// Never destroyed: bitmaps in static objects may outlive it.
ICCManager& ICCManager::GetInstance() {
    static auto& s_instance = *new ICCManager;
    return s_instance;
}

ProfileReference ICCManager::GetDefaultProfile(ColourModel model) const {
    switch (model) {
    case ColourModel::RGB:
        return m_state->rgb;
    case ColourModel::Grey:
        return m_state->grey;
    case ColourModel::Lab:
        return m_state->lab;
    case ColourModel::CMYK:
    case ColourModel::AlphaOnly:
        break;
    }
    return {};
}

ProfileReference ICCManager::GetProfileForString(Kernel::String const& description) const {
    std::lock_guard const lock(m_state->mutex);
    auto const found = m_state->registered.find(description);
    return found == m_state->registered.end() ? ProfileReference() : found->second;
}

void ICCManager::RegisterProfile(ProfileReference const& profile) {
    std::lock_guard const lock(m_state->mutex);
    m_state->registered[profile->GetDescription()] = profile;
}

Kernel::Counted<PixelConverter const> ICCManager::MakeConverter(Format from, ProfileReference const& fromProfile,
                                                                Format to, ProfileReference const& toProfile,
                                                                RenderingIntent intent) {
    FormatInfo const in = GetFormatInfo(from), out = GetFormatInfo(to);
    if (in.channelCount == 0 || out.channelCount == 0 || in.colourModel == ColourModel::AlphaOnly ||
        out.colourModel == ColourModel::AlphaOnly)
        return PixelConverter::MakePlain(from, to);
    CheckProfile(from, fromProfile);
    CheckProfile(to, toProfile);
    ConverterKey const key{from, fromProfile ? fromProfile : GetDefaultProfile(in.colourModel), to,
                           toProfile ? toProfile : GetDefaultProfile(out.colourModel), intent};
    if (in.colourModel == out.colourModel && key.fromProfile == key.toProfile)
        return PixelConverter::MakePlain(from, to);
    {
        std::lock_guard const lock(m_state->mutex);
        for (auto const& [kept, converter] : m_state->converters) {
            if (kept == key)
                return converter;
        }
    }
    auto const target =
        key.toProfile && !CanBeTarget(*key.toProfile) ? GetDefaultProfile(out.colourModel) : key.toProfile;
    auto converter = MakeICCConverter(from, key.fromProfile, to, target, m_state->rgb, intent);
    std::lock_guard const lock(m_state->mutex);
    m_state->converters.emplace_front(key, converter);
    if (m_state->converters.size() > c_keptConverters)
        m_state->converters.pop_back();
    return converter;
}

Kernel::Counted<PixelConverter const> ICCManager::MakeConverterForSets(Format from, ICCProfileSet const& fromProfiles,
                                                                       Format to, ICCProfileSet const& toProfiles,
                                                                       RenderingIntent intent) {
    return MakeConverter(from, fromProfiles.Get(GetFormatInfo(from).colourModel), to,
                         toProfiles.Get(GetFormatInfo(to).colourModel), intent);
}

void ICCManager::DoLABA16ToRGBAFTransform(unsigned char* from, unsigned char* to, int count) const {
    ConvertInterleaved(FormatLABA16, from, FormatRGBAF, to, count);
}

void ICCManager::DoRGBAFToLABA16Transform(unsigned char* from, unsigned char* to, int count) const {
    ConvertInterleaved(FormatRGBAF, from, FormatLABA16, to, count);
}

ICCManager::ICCProfileSet::ICCProfileSet() {
    for (auto const model : {ColourModel::RGB, ColourModel::Grey, ColourModel::Lab})
        Reset(model);
}

ProfileReference const& ICCManager::ICCProfileSet::Get(ColourModel model) const {
    static ProfileReference const s_none;
    switch (model) {
    case ColourModel::RGB:
        return m_rgb;
    case ColourModel::Grey:
        return m_grey;
    case ColourModel::CMYK:
        return m_cmyk;
    case ColourModel::Lab:
        return m_lab;
    case ColourModel::AlphaOnly:
        break;
    }
    return s_none;
}

void ICCManager::ICCProfileSet::Set(ProfileReference const& profile) {
    const_cast<ProfileReference&>(Get(profile->GetColourModel())) = profile;
}

void ICCManager::ICCProfileSet::Reset(ColourModel model) {
    if (model != ColourModel::AlphaOnly)
        const_cast<ProfileReference&>(Get(model)) = GetInstance().GetDefaultProfile(model);
}

} // namespace Raster
