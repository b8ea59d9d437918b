// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/container.h"
#include "engine/store/database.h"

#include <functional>
#include <map>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

namespace Store {

struct ChunkEntry {
    std::uint64_t size = 0;
    Kernel::BlobKey digest;
};

// Every chunk of a document, with the content that it must have.
using Manifest = std::map<std::uint32_t, ChunkEntry>;

Kernel::BlobKey ComputeManifestDigest(Manifest const& manifest);

struct StoredBlob {
    Kernel::BlobKey key;
    std::int64_t id;
    friend auto operator<=>(StoredBlob const&, StoredBlob const&) = default;
};

// All blobs, in the order of their index.
std::vector<StoredBlob> ListBlobs(Database& database);

// Refuses what cannot be a document of a known format by the first bytes alone, before any of its structure is
// followed.
void CheckHeader(File& file);

// The statements of one connection; prepared once, because a document has many rows.
struct Statements {
    explicit Statements(Database& database);

    Statement readMeta, writeMeta;
    Statement readChunk, writeChunk, writeChunkData, removeChunk, removeChunkData;
    Statement findBlob, readBlob, writeBlob, removeBlob;
};

// A blob that waits to be compressed together with others.
struct PendingBlob {
    Kernel::BlobKey key;
    std::vector<std::byte> bytes;
};

struct Container::State {
    State(FileSystem& fileSystem, std::filesystem::path filePath) : files(fileSystem), path(std::move(filePath)) {}

    // A state whose file has no name yet and is empty.
    static std::unique_ptr<State> CreateDraft(FileSystem& files, std::filesystem::path const& path, IfExists ifExists);

    // Connects to `file` and reads what the document consists of. Throws RecoveryNeeded where Database does.
    void Connect();
    void Disconnect() noexcept;
    // Makes the empty file of a draft a document without content.
    void MakeTables();
    // Calls tell(number) for each page of the file without its checksum, counted from 0, until it answers false, and
    // with the number of pages when there are bytes behind the last one. Returns that number.
    std::uint64_t ForEachDamagedPage(std::function<bool(std::uint64_t)> const& tell);
    // The rows of all blobs as far as they can be found.
    std::vector<std::int64_t> ListReadableBlobs();
    void CheckSchema();
    // Within a transaction.
    void CheckLength();
    std::uint64_t ReadGeneration();
    // Reads format, generation and manifest, and proves that they belong together.
    void LoadManifest();
    void StoreManifest();
    void LoadProofs();
    void ProveAll();
    void StoreProofs();
    void StoreSeal(SealMaker const& make);
    void RemoveSeal();
    ContentDigest ComputeContentDigest(std::uint64_t ofGeneration) const;
    // To be called first by each operation, with `mutex` held: connects again where that is due.
    void RequireOpen();
    void RequireSave() const;
    void FlushBlobs();
    void Publish();
    void SettleTarget(std::shared_ptr<File>& target);
    template <class Id>
    bool IsProved(std::map<Id, ContentDigest> const& known, Id id, ContentDigest const& digest) const {
        auto const found = known.find(id);
        return found != known.end() && found->second == digest;
    }
    bool IsBlobStored(Kernel::BlobKey const& key);
    // Descending, so the newest first.
    std::vector<std::int64_t> FindBlobRows(Kernel::BlobKey const& key);
    // Takes `mutex` for the reading, but not for the expanding.
    std::vector<std::byte> ReadBlobRow(std::int64_t row, Kernel::BlobKey const& key);

    FileSystem& files;
    std::filesystem::path path;
    bool isWritable = false;
    std::shared_ptr<File> file;
    std::unique_ptr<Draft> draft;
    IfExists ifExists = IfExists::Refuse;

    std::mutex mutex;
    std::unique_ptr<Database> database;
    std::unique_ptr<Statements> statements;
    Manifest manifest;
    // The value of `manifest` before the save that is under way.
    Manifest committedManifest;
    Proofs proofs;
    Proofs committedProofs;
    // Rows without their proof count as damaged.
    bool requiresProofs = false;
    bool keepsProofs = false;
    bool hasSeal = false;
    std::uint64_t generation = 0;
    std::int64_t formatMinor = c_formatMinor;
    // Tables that a newer minor format brings.
    bool hasForeignTables = false;
    bool isSaving = false;
    // A failed commit leaves open which of two documents the file is.
    bool isStale = false;
    unsigned snapshots = 0;

    // Written with `mutex` held, by the one thread that saves; that thread may read them without.
    std::vector<PendingBlob> pending;
    std::unordered_map<Kernel::BlobKey, std::size_t> pendingIndex;
    std::size_t pendingSize = 0;
    // Found unreadable: what is put again under such a key is written again.
    std::unordered_set<Kernel::BlobKey> damagedBlobs;
    // Those of them that the save under way has written.
    std::unordered_set<Kernel::BlobKey> rewrittenBlobs;

    // The container that this one is a copy of, made of its readable blobs; until the first commit.
    Kernel::Counted<Container const> damagedOrigin;
    bool hasLosses = false;
};

} // namespace Store
