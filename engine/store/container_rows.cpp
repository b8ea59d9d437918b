// SPDX-License-Identifier: Apache-2.0
#include "engine/store/coding.h"
#include "engine/store/container_state.h"
#include "platform/kernel/dispatch.h"

#include <algorithm>

namespace Store {

namespace {

// So much is compressed at a time, on all threads.
constexpr std::size_t c_batchSize = std::size_t{16} << 20;

void RequireSize(std::span<std::byte const> bytes) {
    if (bytes.size() > c_maxValueSize)
        throw Kernel::Exception("cannot be saved: a part of it is larger than 512 MiB");
}

std::span<std::byte const> ToStored(EncodedBytes const& encoded, std::span<std::byte const> original) {
    return encoded.coding == Coding::Plain ? original : std::span<std::byte const>(encoded.frame);
}

} // namespace

std::vector<std::uint32_t> Container::ListChunks() const {
    std::lock_guard const lock(m_state->mutex);
    m_state->RequireOpen();
    std::vector<std::uint32_t> result;
    result.reserve(m_state->manifest.size());
    for (auto const& chunk : m_state->manifest)
        result.push_back(chunk.first);
    return result;
}

std::vector<std::byte> Container::ReadChunk(std::uint32_t id) const {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    auto const entry = state.manifest.find(id);
    if (entry == state.manifest.end())
        throw Kernel::DamagedDataException("is damaged: chunk " + std::to_string(id) + " is missing");
    try {
        auto& read = state.statements->readChunk;
        StatementScope const scope(read);
        if (read.Bind(1, std::int64_t{id}).Step()) {
            auto const coding = static_cast<Coding>(read.GetInteger(0));
            auto bytes = Decode(coding, read.GetBytes(1), entry->second.size);
            bool const isProved =
                !state.requiresProofs ||
                state.IsProved(state.proofs.chunks, id, ProveChunk(id, entry->second.size, coding, read.GetBytes(1)));
            if (isProved && Kernel::ComputeBlobKey(bytes) == entry->second.digest)
                return bytes;
        }
    } catch (Kernel::DamagedDataException const&) {
        if (state.ReadGeneration() == state.generation || state.isSaving)
            throw;
    }
    if (state.ReadGeneration() != state.generation && !state.isSaving)
        throw Kernel::Exception("was saved by another program while it was read");
    throw Kernel::DamagedDataException("is damaged: chunk " + std::to_string(id) + " does not have its content");
}

void Container::WriteChunk(std::uint32_t id, std::span<std::byte const> bytes) {
    RequireSize(bytes);
    auto& state = *m_state;
    auto const digest = Kernel::ComputeBlobKey(bytes);
    {
        std::lock_guard const lock(state.mutex);
        state.RequireSave();
        auto const entry = state.manifest.find(id);
        if (entry != state.manifest.end() && entry->second.digest == digest && entry->second.size == bytes.size())
            return;
    }
    auto const encoded = Encode(bytes, Effort::Thorough);
    std::lock_guard const lock(state.mutex);
    state.RequireSave();
    state.statements->writeChunkData.Bind(1, std::int64_t{id})
        .Bind(2, static_cast<std::int64_t>(encoded.coding))
        .Bind(3, ToStored(encoded, bytes))
        .Run();
    state.statements->writeChunk.Bind(1, std::int64_t{id})
        .Bind(2, static_cast<std::int64_t>(bytes.size()))
        .Bind(3, std::span<std::byte const>(digest.bytes))
        .Run();
    state.manifest[id] = {bytes.size(), digest};
    if (state.keepsProofs) {
        state.proofs.chunks[id] = ProveChunk(id, bytes.size(), encoded.coding, ToStored(encoded, bytes));
        state.proofs.chunksChanged = true;
    }
}

void Container::RemoveChunk(std::uint32_t id) {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireSave();
    state.statements->removeChunkData.Bind(1, std::int64_t{id}).Run();
    state.statements->removeChunk.Bind(1, std::int64_t{id}).Run();
    state.manifest.erase(id);
    state.proofs.chunksChanged |= state.proofs.chunks.erase(id) != 0;
}

std::vector<std::int64_t> Container::State::FindBlobRows(Kernel::BlobKey const& key) {
    std::vector<std::int64_t> result;
    StatementScope const scope(statements->findBlob);
    statements->findBlob.Bind(1, std::span<std::byte const>(key.bytes));
    while (statements->findBlob.Step()) {
        auto const row = statements->findBlob.GetInteger(0);
        // Also what ends the walk through an index that was forged to lead back into itself.
        if (!result.empty() && row >= result.back())
            throw Kernel::DamagedDataException("is damaged: the index of its bitmap tiles is out of order");
        result.push_back(row);
    }
    return result;
}

bool Container::State::IsBlobStored(Kernel::BlobKey const& key) {
    if (requiresProofs) {
        auto const rows = FindBlobRows(key);
        return std::any_of(rows.begin(), rows.end(), [&](auto row) { return proofs.blobs.contains(row); });
    }
    StatementScope const scope(statements->findBlob);
    return statements->findBlob.Bind(1, std::span<std::byte const>(key.bytes)).Step();
}

Kernel::BlobKey Container::Put(std::span<std::byte const> bytes) {
    RequireSize(bytes);
    auto& state = *m_state;
    auto const key = Kernel::ComputeBlobKey(bytes);
    {
        std::lock_guard const lock(state.mutex);
        state.RequireSave();
        bool const isLost = state.damagedBlobs.contains(key) && !state.rewrittenBlobs.contains(key);
        bool const isThere = state.pendingIndex.contains(key) || (!isLost && state.IsBlobStored(key));
        if (isThere)
            return key;
        state.pending.push_back({key, {bytes.begin(), bytes.end()}});
        state.pendingIndex.emplace(key, state.pending.size() - 1);
        state.pendingSize += bytes.size();
    }
    if (state.pendingSize >= c_batchSize)
        state.FlushBlobs();
    return key;
}

void Container::State::FlushBlobs() {
    // Without the lock: the threads that help here may have reads of their own to finish.
    std::vector<EncodedBytes> encoded(pending.size());
    std::vector<ContentDigest> digests(keepsProofs ? pending.size() : 0);
    Kernel::ParallelFor(pending.size(), [&](std::size_t i) {
        auto const& blob = pending[i];
        encoded[i] = Encode(blob.bytes, Effort::Quick);
        if (keepsProofs)
            digests[i] = ProveBlob(blob.key, blob.bytes.size(), encoded[i].coding, ToStored(encoded[i], blob.bytes));
    });
    std::lock_guard const lock(mutex);
    RequireSave();
    for (std::size_t i = 0; i != pending.size(); ++i) {
        auto const& blob = pending[i];
        statements->writeBlob.Bind(1, std::span<std::byte const>(blob.key.bytes))
            .Bind(2, static_cast<std::int64_t>(blob.bytes.size()))
            .Bind(3, static_cast<std::int64_t>(encoded[i].coding))
            .Bind(4, ToStored(encoded[i], blob.bytes))
            .Run();
        if (keepsProofs)
            proofs.SetBlob(sqlite3_last_insert_rowid(database->Get()), digests[i]);
        if (damagedBlobs.contains(blob.key))
            rewrittenBlobs.insert(blob.key);
    }
    pending.clear();
    pendingIndex.clear();
    pendingSize = 0;
}

std::vector<std::byte> Container::State::ReadBlobRow(std::int64_t row, Kernel::BlobKey const& key) {
    std::vector<std::byte> stored;
    std::uint64_t size = 0;
    Coding coding{};
    {
        std::lock_guard const lock(mutex);
        auto& read = statements->readBlob;
        StatementScope const scope(read);
        if (!read.Bind(1, row).Step())
            throw Kernel::DamagedDataException("is damaged: a bitmap tile is missing");
        // A negative size becomes an impossible one.
        size = static_cast<std::uint64_t>(read.GetInteger(0));
        coding = static_cast<Coding>(read.GetInteger(1));
        auto const bytes = read.GetBytes(2);
        stored.assign(bytes.begin(), bytes.end());
        if (requiresProofs && !IsProved(proofs.blobs, row, ProveBlob(key, size, coding, stored)))
            throw Kernel::DamagedDataException("is damaged: a bitmap tile is not the one that was saved");
    }
    auto bytes = Decode(coding, stored, size);
    if (Kernel::ComputeBlobKey(bytes) != key)
        throw Kernel::DamagedDataException("is damaged: a bitmap tile does not have its content");
    return bytes;
}

std::vector<std::byte> Container::Get(Kernel::BlobKey key) const {
    auto& state = *m_state;
    std::vector<std::int64_t> rows;
    {
        std::lock_guard const lock(state.mutex);
        state.RequireOpen();
        if (auto const found = state.pendingIndex.find(key); found != state.pendingIndex.end())
            return state.pending[found->second].bytes;
        rows = state.FindBlobRows(key);
    }
    if (rows.empty())
        throw Kernel::DamagedDataException("is damaged: a bitmap tile is missing");
    // The newest first: where there are several the older ones could not be read.
    for (auto const row : rows) {
        try {
            return state.ReadBlobRow(row, key);
        } catch (Kernel::DamagedDataException const&) {
            std::lock_guard const lock(state.mutex);
            state.damagedBlobs.insert(key);
            if (row == rows.back())
                throw;
        }
    }
    throw Kernel::DamagedDataException("is damaged: a bitmap tile is missing");
}

bool Container::Has(Kernel::BlobKey key) const {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    if (state.pendingIndex.contains(key) || state.IsBlobStored(key))
        return true;
    if (!state.damagedOrigin)
        return false;
    // The list of blobs that were taken over is as good as the damaged file's own.
    try {
        state.damagedOrigin->Get(key);
        return false;
    } catch (Kernel::DamagedDataException const&) {
        state.hasLosses = true;
        return true;
    }
}

} // namespace Store
