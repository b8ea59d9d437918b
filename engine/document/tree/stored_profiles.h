// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/file_store.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/raster/icc_manager.h"

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace Raster {
struct StoredProfile;
}

// The profiles of a document that are not the defaults, as they are kept in its file. Immutable but for being read when
// they are first asked for, so that a damaged profile does not keep a document from being opened.
class StoredProfiles {
public:
    // Null for the defaults.
    static std::shared_ptr<StoredProfiles const> Make(Raster::ICCProfileSet const& profiles);
    static std::shared_ptr<StoredProfiles const> Load(Kernel::InSerialiser const& in, Kernel::FileStore& files);
    ~StoredProfiles();

    // Throws Kernel::DamagedDataException where a profile is missing, damaged or for other colours.
    Raster::ICCProfileSet Get() const;
    void Save(Kernel::OutSerialiser& out) const;

private:
    struct Entry;
    StoredProfiles();

    std::vector<Entry> m_entries;
    mutable std::optional<Raster::ICCProfileSet> m_read;
    mutable std::mutex m_mutex;
};
