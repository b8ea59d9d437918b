// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/file_store.h"

#include <xxhash.h>

namespace Kernel {

BlobSink::~BlobSink() = default;
BlobSource::~BlobSource() = default;
FileStore::~FileStore() = default;

void BlobSink::Keep(BlobKey const&) {}

BlobKey ComputeBlobKey(std::span<std::byte const> bytes) noexcept {
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits(bytes.data(), bytes.size()));
    BlobKey key;
    static_assert(sizeof canonical.digest == sizeof key.bytes);
    std::memcpy(key.bytes.data(), canonical.digest, key.bytes.size());
    return key;
}

} // namespace Kernel
