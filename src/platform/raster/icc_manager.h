// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/consolidated.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/string.h"
#include "platform/raster/conversion.h"

#include <memory>
#include <span>
#include <vector>

namespace Raster {

// A colour profile (ICC.1:2010, or version 2). Immutable; equal profiles are one object.
class REDRAFT_ENGINE ICCProfile final : public virtual Kernel::Countable {
public:
    static constexpr std::size_t c_maximumBytes = 64 << 20;

    // Reads a profile. DamagedDataException when the bytes are none; Exception when it is for another colour model
    // than RGB, grey, CMYK or Lab, or above c_maximumBytes.
    static Kernel::Consolidated<ICCProfile> FromData(std::span<std::byte const> data);

    std::span<std::byte const> GetData() const { return m_data; }
    ColourModel GetColourModel() const { return m_model; }
    // The description in English, as far as the profile has one.
    Kernel::String const& GetDescription() const { return m_description; }
    // Names the profile by its content, among blobs.
    Kernel::BlobKey const& GetKey() const { return m_key; }

    std::size_t GetHash() const { return std::hash<Kernel::BlobKey>()(m_key); }
    friend bool operator==(ICCProfile const& a, ICCProfile const& b) { return a.m_data == b.m_data; }
    ~ICCProfile() override;

private:
    explicit ICCProfile(std::span<std::byte const> data);

    std::vector<std::byte> m_data;
    ColourModel m_model = ColourModel::RGB;
    Kernel::String m_description;
    Kernel::BlobKey m_key;
};

// The rendering intent: how colours outside the target's gamut are replaced. The values are those of the ICC's intents.
enum class RenderingIntent : int { Perceptual = 0, RelativeColorimetric = 1, Saturation = 2, AbsoluteColorimetric = 3 };

// Colour management for all bitmaps of the process. Used by several threads at once.
class REDRAFT_ENGINE ICCManager {
public:
    // A document's profiles, one for each colour model. A set as it is made holds the defaults: sRGB, grey with sRGB's
    // transfer curve, Lab under D50, and no profile for CMYK, whose colours then follow the plain rules.
    class REDRAFT_ENGINE ICCProfileSet {
    public:
        ICCProfileSet();
        // Empty for alpha-only formats, and for CMYK without a profile.
        Kernel::Consolidated<ICCProfile> const& Get(ColourModel model) const;
        // Takes the place of the profile of its colour model.
        void Set(Kernel::Consolidated<ICCProfile> const& profile);
        // Back to the model's default.
        void Reset(ColourModel model);
        friend bool operator==(ICCProfileSet const&, ICCProfileSet const&) = default;

    private:
        Kernel::Consolidated<ICCProfile> m_rgb, m_grey, m_cmyk, m_lab;
    };

    static ICCManager& GetInstance();
    ~ICCManager();
    ICCManager(ICCManager const&) = delete;
    ICCManager& operator=(ICCManager const&) = delete;

    // The default of a colour model; empty for CMYK and alpha only.
    Kernel::Consolidated<ICCProfile> GetDefaultProfile(ColourModel model) const;
    // A built-in or registered profile by its description, such as "sRGB IEC61966-2.1"; empty when there is none.
    Kernel::Consolidated<ICCProfile> GetProfileForString(Kernel::String const& description) const;
    // Makes a profile known by its description; the last one of a description wins.
    void RegisterProfile(Kernel::Consolidated<ICCProfile> const& profile);

    // From one profile's colours to another's, with black point compensation but for the absolute intent. An empty
    // profile stands for the default of its format's colour model. Between equal profiles samples only change their
    // width, by the plain rules; so do alpha and alpha-only formats. Converters are kept for the next caller.
    // Exception when a profile is not for its format or cannot be used for this.
    Kernel::Counted<PixelConverter const> MakeConverter(Format from,
                                                        Kernel::Consolidated<ICCProfile> const& fromProfile, Format to,
                                                        Kernel::Consolidated<ICCProfile> const& toProfile,
                                                        RenderingIntent intent = RenderingIntent::RelativeColorimetric);
    Kernel::Counted<PixelConverter const>
    MakeConverterForSets(Format from, ICCProfileSet const& fromProfiles, Format to, ICCProfileSet const& toProfiles,
                         RenderingIntent intent = RenderingIntent::RelativeColorimetric);

    // `count` pixels, samples side by side, between 16-bit Lab with alpha and float sRGB with alpha, by the plain
    // rules.
    void DoLABA16ToRGBAFTransform(unsigned char* from, unsigned char* to, int count) const;
    void DoRGBAFToLABA16Transform(unsigned char* from, unsigned char* to, int count) const;

private:
    struct State;
    ICCManager();
    std::unique_ptr<State> m_state;
};

using ICCProfileSet = ICCManager::ICCProfileSet;

} // namespace Raster
