// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"
#include "platform/kernel/file_store.h"

#include <map>
#include <mutex>
#include <span>
#include <vector>

namespace Raster {

// A document's store in memory, which counts what is asked of it.
class MemoryBlobs final : public Kernel::BlobSource, public Kernel::BlobSink {
public:
    Kernel::BlobKey Put(std::span<std::byte const> bytes) override {
        std::lock_guard const lock(m_mutex);
        ++puts;
        auto const key = Kernel::ComputeBlobKey(bytes);
        blobs[key].assign(bytes.begin(), bytes.end());
        return key;
    }
    void Keep(Kernel::BlobKey const&) override { ++keeps; }
    std::vector<std::byte> Get(Kernel::BlobKey key) const override {
        std::lock_guard const lock(m_mutex);
        ++gets;
        auto const found = blobs.find(key);
        if (found == blobs.end())
            throw Kernel::DamagedDataException("no such blob");
        return found->second;
    }
    bool Has(Kernel::BlobKey key) const override {
        std::lock_guard const lock(m_mutex);
        return blobs.contains(key);
    }

    std::map<Kernel::BlobKey, std::vector<std::byte>> blobs;
    int puts = 0;
    int keeps = 0;
    mutable int gets = 0;

private:
    mutable std::mutex m_mutex;
};

} // namespace Raster
