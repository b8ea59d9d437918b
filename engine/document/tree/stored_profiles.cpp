// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/stored_profiles.h"

#include "engine/raster/stored_profile.h"

namespace {

struct ModelTag {
    Raster::ColourModel model;
    Kernel::IDTag tag;
};
constexpr ModelTag c_modelTags[] = {{Raster::ColourModel::RGB, "PrRG"},
                                    {Raster::ColourModel::Grey, "PrGy"},
                                    {Raster::ColourModel::CMYK, "PrCM"},
                                    {Raster::ColourModel::Lab, "PrLa"}};

} // namespace

struct StoredProfiles::Entry {
    ModelTag place;
    // Empty for one that was loaded; then it is read from `stored`.
    Kernel::Consolidated<Raster::ICCProfile> profile;
    Raster::StoredProfile stored;

    Kernel::Consolidated<Raster::ICCProfile> Get() const {
        if (profile)
            return profile;
        try {
            auto const read = Raster::ICCProfile::FromData(stored.Read());
            if (read->GetColourModel() == place.model)
                return read;
        } catch (Kernel::Exception const&) {
            throw Kernel::DamagedDataException("is damaged: the document's colour profile cannot be read");
        }
        throw Kernel::DamagedDataException("is damaged: the document's colour profile is for other colours");
    }
};

StoredProfiles::StoredProfiles() = default;
StoredProfiles::~StoredProfiles() = default;

std::shared_ptr<StoredProfiles const> StoredProfiles::Make(Raster::ICCProfileSet const& profiles) {
    std::shared_ptr<StoredProfiles> const made(new StoredProfiles);
    Raster::ICCProfileSet const defaults;
    for (auto const& place : c_modelTags) {
        auto const& profile = profiles.Get(place.model);
        if (profile && profile != defaults.Get(place.model))
            made->m_entries.push_back({place, profile, {}});
    }
    return made->m_entries.empty() ? nullptr : made;
}

std::shared_ptr<StoredProfiles const> StoredProfiles::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files) {
    std::shared_ptr<StoredProfiles> const loaded(new StoredProfiles);
    for (auto const& place : c_modelTags) {
        Kernel::BlobKey key;
        if (in.LoadTypeI(place.tag, Kernel::PropTraits<Kernel::BlobKey>::c_type, &key, sizeof key))
            loaded->m_entries.push_back({place, {}, {key, files.GetBlobs()}});
    }
    return loaded->m_entries.empty() ? nullptr : loaded;
}

Raster::ICCProfileSet StoredProfiles::Get() const {
    std::lock_guard const lock(m_mutex);
    if (!m_read) {
        Raster::ICCProfileSet profiles;
        for (auto const& entry : m_entries)
            profiles.Set(entry.Get());
        m_read = profiles;
    }
    return *m_read;
}

void StoredProfiles::Save(Kernel::OutSerialiser& out) const {
    for (auto const& entry : m_entries)
        Raster::SaveProfile(out, entry.place.tag, entry.profile, entry.profile ? nullptr : &entry.stored);
}
