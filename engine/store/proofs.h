// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/coding.h"
#include "platform/kernel/file_store.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <vector>

namespace Store {

// BLAKE2b (RFC 7693) of 32 bytes. Unlike the checksums of the format nobody can make other bytes that have the same.
using ContentDigest = std::array<std::byte, 32>;

// Of one row of chunk_data or blob, as it is stored.
ContentDigest ProveChunk(std::uint32_t id, std::uint64_t size, Coding coding, std::span<std::byte const> stored);
ContentDigest ProveBlob(Kernel::BlobKey const& key, std::uint64_t size, Coding coding,
                        std::span<std::byte const> stored);

// The digest that each row of a document must have. See docs/file-format.md, "Seal".
struct Proofs {
    std::map<std::uint32_t, ContentDigest> chunks;
    // By row.
    std::map<std::int64_t, ContentDigest> blobs;
    // Whether they are those of all rows that can be read.
    bool areComplete = false;

    // Differences from the file.
    bool chunksChanged = false;
    std::set<std::int64_t> changedGroups;

    void SetBlob(std::int64_t row, ContentDigest const& digest);
    void RemoveBlob(std::int64_t row);
};

// Blobs are proved in groups of neighbouring rows, so that a save writes what it added and little more.
std::int64_t GetProofGroup(std::int64_t row);

} // namespace Store
