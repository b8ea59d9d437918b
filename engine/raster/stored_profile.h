// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/blob_store.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/raster/icc_manager.h"

namespace Raster {

// Where the profile of a bitmap or a document is to be read from.
struct StoredProfile {
    Kernel::BlobKey key;
    Kernel::Counted<Kernel::BlobSource> source;

    // DamagedDataException when it is not there.
    std::vector<std::byte> Read() const {
        if (!source)
            throw Kernel::DamagedDataException("a colour profile is not in its document");
        return source->Get(key);
    }
};

// Writes the key of a profile, and its bytes to the store. `stored` is where it is to be read from, or null for one
// that has been read.
inline void SaveProfile(Kernel::OutSerialiser& out, Kernel::IDTag tag, Kernel::Consolidated<ICCProfile> const& profile,
                        StoredProfile const* stored) {
    auto const key = stored != nullptr ? stored->key : profile->GetKey();
    out.SaveTypeI(tag, Kernel::PropTraits<Kernel::BlobKey>::c_type, &key, sizeof key);
    BlobStore store(out.GetBlobSink());
    if (!store.TakesValues() || store.Keep(key, stored != nullptr ? stored->source.get() : nullptr))
        return;
    if (stored != nullptr)
        store.Put(stored->Read());
    else
        store.Put(profile->GetData());
}

} // namespace Raster
