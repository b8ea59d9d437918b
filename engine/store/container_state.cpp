// SPDX-License-Identifier: Apache-2.0
#include "engine/store/container_state.h"

#include "engine/store/coding.h"
#include "engine/store/page_checksum.h"
#include "engine/store/schema.h"

#include <algorithm>
#include <limits>

namespace Store {

namespace {

constexpr char const* c_formatMajorName = "format_major";
constexpr char const* c_formatMinorName = "format_minor";
constexpr char const* c_generationName = "generation";
constexpr char const* c_chunkCountName = "chunk_count";
constexpr char const* c_chunkDigestName = "chunk_digest";

// Beyond all saves that a document can see, and far enough from where numbers turn negative.
constexpr std::uint64_t c_maxGeneration = std::uint64_t{1} << 62;

[[noreturn]] void ThrowDamaged(char const* what) {
    throw Kernel::DamagedDataException(std::string("is damaged: ") + what);
}

std::int64_t ReadMetaNumber(Statements& statements, char const* name) {
    StatementScope const scope(statements.readMeta);
    if (!statements.readMeta.Bind(1, name).Step())
        ThrowDamaged("it has no format");
    auto const value = statements.readMeta.GetInteger(0);
    if (value < 0)
        ThrowDamaged("its format is impossible");
    return value;
}

Kernel::BlobKey ToKey(std::span<std::byte const> bytes) {
    Kernel::BlobKey key;
    if (bytes.size() != key.bytes.size())
        ThrowDamaged("a key does not have its length");
    std::copy(bytes.begin(), bytes.end(), key.bytes.begin());
    return key;
}

void AppendNumber(std::vector<std::byte>& target, std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i != size; ++i)
        target.push_back(static_cast<std::byte>(value >> (8 * i)));
}

} // namespace

Kernel::BlobKey ComputeManifestDigest(Manifest const& manifest) {
    std::vector<std::byte> bytes;
    bytes.reserve(manifest.size() * 28);
    for (auto const& [id, entry] : manifest) {
        AppendNumber(bytes, id, 4);
        AppendNumber(bytes, entry.size, 8);
        bytes.insert(bytes.end(), entry.digest.bytes.begin(), entry.digest.bytes.end());
    }
    return Kernel::ComputeBlobKey(bytes);
}

Statements::Statements(Database& database)
    : readMeta(database, "SELECT value FROM meta WHERE name=?"),
      writeMeta(database, "INSERT OR REPLACE INTO meta(name,value) VALUES(?,?)"),
      readChunk(database, "SELECT coding,stored FROM chunk_data WHERE id=?"),
      writeChunk(database, "INSERT OR REPLACE INTO chunk(id,size,digest) VALUES(?,?,?)"),
      writeChunkData(database, "INSERT OR REPLACE INTO chunk_data(id,coding,stored) VALUES(?,?,?)"),
      removeChunk(database, "DELETE FROM chunk WHERE id=?"),
      removeChunkData(database, "DELETE FROM chunk_data WHERE id=?"),
      findBlob(database, "SELECT id FROM blob INDEXED BY blob_key WHERE key=? ORDER BY id DESC"),
      readBlob(database, "SELECT size,coding,stored FROM blob WHERE id=?"),
      writeBlob(database, "INSERT INTO blob(key,size,coding,stored) VALUES(?,?,?,?)"),
      removeBlob(database, "DELETE FROM blob WHERE id=?") {}

void Container::State::Connect() {
    auto const access = draft != nullptr ? Database::Access::Draft
                        : isWritable     ? Database::Access::Edit
                                         : Database::Access::Read;
    database = std::make_unique<Database>(files, path, file, access);
    database->Execute("BEGIN");
    CheckSchema();
    CheckLength();
    database->UnboundSteps();
    statements = std::make_unique<Statements>(*database);
    LoadManifest();
    database->Execute("COMMIT");
}

void Container::State::Disconnect() noexcept {
    statements.reset();
    database.reset();
}

// Nothing is asked of a table before its definition is known to be ours: a forged one can compute.
void Container::State::CheckSchema() {
    std::size_t found = 0;
    hasForeignTables = false;
    Statement rows(*database, "SELECT type,name,tbl_name,sql FROM sqlite_schema");
    while (rows.Step()) {
        auto const type = rows.GetText(0);
        auto const name = rows.GetText(1);
        auto const table = rows.GetText(2);
        bool const isOwnTable = std::any_of(Schema::c_objects.begin(), Schema::c_objects.end(),
                                            [&](Schema::Object const& own) { return table == own.table; });
        if (isOwnTable) {
            auto const sql = rows.GetText(3);
            bool const isExpected =
                std::any_of(Schema::c_objects.begin(), Schema::c_objects.end(), [&](Schema::Object const& own) {
                    return type == own.type && name == own.name && table == own.table && sql == own.sql;
                });
            if (!isExpected)
                ThrowDamaged("its tables are not those of a document");
            ++found;
        } else {
            if (type != "table" && type != "index")
                ThrowDamaged("it holds what no document holds");
            hasForeignTables = true;
        }
    }
    if (found != Schema::c_objects.size())
        ThrowDamaged("its tables are not those of a document");
}

// SQLite takes a last page that is cut short for one that ends in zeros, and misses nothing as long as it needs nothing
// of it.
void Container::State::CheckLength() {
    Statement count(*database, "PRAGMA page_count");
    auto const pages = count.Step() ? static_cast<std::uint64_t>(count.GetInteger(0)) : 0;
    if (pages == 0 || file->GetSize() / c_pageSize < pages)
        ThrowDamaged("it is cut short");
}

std::uint64_t Container::State::ReadGeneration() {
    return static_cast<std::uint64_t>(ReadMetaNumber(*statements, c_generationName));
}

void Container::State::LoadManifest() {
    if (ReadMetaNumber(*statements, c_formatMajorName) != c_formatMajor)
        ThrowDamaged("its format is impossible");
    auto const minor = ReadMetaNumber(*statements, c_formatMinorName);
    if (hasForeignTables && minor <= c_formatMinor)
        ThrowDamaged("it holds tables that no document has");
    auto const count = static_cast<std::uint64_t>(ReadMetaNumber(*statements, c_chunkCountName));

    Manifest loaded;
    Statement rows(*database, "SELECT id,size,digest FROM chunk ORDER BY id");
    while (rows.Step()) {
        auto const id = rows.GetInteger(0);
        auto const size = rows.GetInteger(1);
        // Ascending numbers also end the walk through a tree that was forged to lead back into itself.
        bool const isNext = id >= 0 && id <= std::numeric_limits<std::uint32_t>::max() &&
                            (loaded.empty() || id > static_cast<std::int64_t>(loaded.rbegin()->first));
        if (!isNext || size < 0 || static_cast<std::uint64_t>(size) > c_maxValueSize || loaded.size() == count)
            ThrowDamaged("its list of chunks is impossible");
        loaded.emplace_hint(loaded.end(), static_cast<std::uint32_t>(id),
                            ChunkEntry{static_cast<std::uint64_t>(size), ToKey(rows.GetBytes(2))});
    }
    StatementScope const scope(statements->readMeta);
    bool const isWhole = loaded.size() == count && statements->readMeta.Bind(1, c_chunkDigestName).Step() &&
                         ToKey(statements->readMeta.GetBytes(0)) == ComputeManifestDigest(loaded);
    if (!isWhole)
        ThrowDamaged("its chunks do not belong together");
    statements->readMeta.Reset();
    generation = ReadGeneration();
    if (generation > c_maxGeneration)
        ThrowDamaged("its format is impossible");
    formatMinor = minor;
    manifest = std::move(loaded);
    // A reader goes on with the proofs that it has accepted: rows of blobs keep their numbers while it has the file
    // open.
    if (!requiresProofs || isWritable) {
        LoadProofs();
        proofs.areComplete = requiresProofs = requiresProofs && hasSeal;
    }
    isStale = false;
}

void Container::State::StoreManifest() {
    auto& write = statements->writeMeta;
    auto const digest = ComputeManifestDigest(manifest);
    write.Bind(1, c_formatMajorName).Bind(2, std::int64_t{c_formatMajor}).Run();
    // A file of a newer minor format stays one: what makes it newer is kept.
    write.Bind(1, c_formatMinorName).Bind(2, formatMinor).Run();
    write.Bind(1, c_generationName).Bind(2, static_cast<std::int64_t>(generation + 1)).Run();
    write.Bind(1, c_chunkCountName).Bind(2, static_cast<std::int64_t>(manifest.size())).Run();
    write.Bind(1, c_chunkDigestName).Bind(2, std::span<std::byte const>(digest.bytes)).Run();
}

void Container::State::RequireOpen() {
    if (file == nullptr)
        throw Kernel::Exception("could not be saved, and is not open any more");
    if (database == nullptr) {
        Connect();
    } else if (isStale && !isSaving) {
        LoadManifest();
    }
}

void Container::State::RequireSave() const {
    if (!isSaving)
        throw Kernel::Exception("is not being saved");
    // SQLite ends a transaction by itself when a device fails. What is written after that would take effect at once.
    if (sqlite3_get_autocommit(database->Get()) != 0)
        throw Kernel::Exception("could not be saved");
}

} // namespace Store
