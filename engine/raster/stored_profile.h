// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"

namespace Raster {

// Where the profile of a bitmap is to be read from.
struct DynamicBitmap::StoredProfile {
    Kernel::BlobKey key;
    Kernel::Counted<Kernel::BlobSource> source;

    // DamagedDataException when it is not there.
    std::vector<std::byte> Read() const {
        if (!source)
            throw Kernel::DamagedDataException("a bitmap's colour profile is not in its document");
        return source->Get(key);
    }
};

} // namespace Raster
