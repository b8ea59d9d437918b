// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/string.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstring>
#include <functional>
#include <span>
#include <vector>

namespace Kernel {

// Names a run of bytes by its content: the XXH3-128 hash of the bytes, in the hash's canonical (big-endian) order.
struct BlobKey {
    std::array<std::byte, 16> bytes{};
    friend constexpr auto operator<=>(BlobKey const&, BlobKey const&) = default;
};

// The key that every store gives these bytes.
REDRAFT_ENGINE BlobKey ComputeBlobKey(std::span<std::byte const> bytes) noexcept;

// Takes large values while a document is written; equal values are stored once.
class REDRAFT_ENGINE BlobSink {
public:
    virtual ~BlobSink();
    virtual BlobKey Put(std::span<std::byte const> bytes) = 0;
    // Says that a value which is stored already is still referred to, for objects that have not read it.
    virtual void Keep(BlobKey const& key);
};

// Gives large values back, at any time after the document was read.
class REDRAFT_ENGINE BlobSource : public virtual Countable {
public:
    ~BlobSource() override;
    // Throws DamagedDataException when the value is not there or its bytes do not match the key.
    virtual std::vector<std::byte> Get(BlobKey key) const = 0;
    virtual bool Has(BlobKey key) const = 0;
};

// Where an object that is being loaded finds what is stored beside the object graph.
class REDRAFT_ENGINE FileStore {
public:
    FileStore() = default;
    explicit FileStore(Counted<BlobSource> blobs, String filePath = {})
        : m_blobs(std::move(blobs)), m_filePath(std::move(filePath)) {}
    FileStore(FileStore const&) = delete;
    FileStore& operator=(FileStore const&) = delete;
    virtual ~FileStore();

    // Empty for graphs that have no large values. May be kept beyond the load.
    Counted<BlobSource> const& GetBlobs() const { return m_blobs; }
    // The file that is read; empty for memory.
    String const& GetFilePath() const { return m_filePath; }

private:
    Counted<BlobSource> m_blobs;
    String m_filePath;
};

} // namespace Kernel

template <>
struct std::hash<Kernel::BlobKey> {
    std::size_t operator()(Kernel::BlobKey const& key) const noexcept {
        std::size_t value;
        std::memcpy(&value, key.bytes.data(), sizeof value);
        return value;
    }
};
