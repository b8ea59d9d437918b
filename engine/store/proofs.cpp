// SPDX-License-Identifier: Apache-2.0
#include "engine/store/proofs.h"

#include "engine/store/container_state.h"

#include <algorithm>
#include <cstdio>
#include <sodium.h>

namespace Store {

namespace {

constexpr char const* c_sealName = "seal";
constexpr char const* c_chunkProofsName = "proof_chunks";
// A row for each group of blobs, named in the order of the groups.
constexpr char const* c_blobProofsFirst = "proof_blobs_";
constexpr char const* c_blobProofsEnd = "proof_blobs`";
constexpr unsigned c_groupBits = 10;

static_assert(sizeof(ContentDigest) == crypto_generichash_BYTES);

class Hasher {
public:
    // Chooses the fastest code for the processor once.
    Hasher() {
        static int const s_ready = sodium_init();
        static_cast<void>(s_ready);
        crypto_generichash_init(&m_state, nullptr, 0, sizeof(ContentDigest));
    }
    Hasher& Add(std::span<std::byte const> bytes) {
        crypto_generichash_update(&m_state, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
        return *this;
    }
    Hasher& Add(std::uint64_t number) {
        std::array<std::byte, 8> bytes;
        for (unsigned i = 0; i != bytes.size(); ++i)
            bytes[i] = static_cast<std::byte>(number >> (8 * i));
        return Add(bytes);
    }
    ContentDigest Finish() {
        ContentDigest digest;
        crypto_generichash_final(&m_state, reinterpret_cast<unsigned char*>(digest.data()), digest.size());
        return digest;
    }

private:
    crypto_generichash_state m_state;
};

std::string GetGroupName(std::int64_t group) {
    char name[40];
    // Negative groups come first, as their rows do.
    auto const ordered = static_cast<unsigned long long>(group) ^ (1ULL << 63);
    std::snprintf(name, sizeof name, "%s%016llx", c_blobProofsFirst, ordered);
    return name;
}

template <class Id>
void AppendProof(std::vector<std::byte>& list, Id id, ContentDigest const& digest) {
    for (unsigned i = 0; i != sizeof id; ++i)
        list.push_back(static_cast<std::byte>(static_cast<std::uint64_t>(id) >> (8 * i)));
    list.insert(list.end(), digest.begin(), digest.end());
}

// Adds a stored list's proofs. False for bytes that no save writes.
template <class Id>
bool ReadProofs(std::span<std::byte const> list, std::map<Id, ContentDigest>& proofs) {
    constexpr auto c_entrySize = sizeof(Id) + sizeof(ContentDigest);
    if (list.size() % c_entrySize != 0)
        return false;
    for (; !list.empty(); list = list.subspan(c_entrySize)) {
        std::uint64_t number = 0;
        for (unsigned i = 0; i != sizeof(Id); ++i)
            number |= std::to_integer<std::uint64_t>(list[i]) << (8 * i);
        auto const id = static_cast<Id>(number);
        if (!proofs.empty() && id <= proofs.rbegin()->first)
            return false;
        ContentDigest digest;
        std::copy_n(list.begin() + sizeof(Id), digest.size(), digest.begin());
        proofs.emplace_hint(proofs.end(), id, digest);
    }
    return true;
}

} // namespace

ContentDigest ProveChunk(std::uint32_t id, std::uint64_t size, Coding coding, std::span<std::byte const> stored) {
    return Hasher().Add(id).Add(size).Add(static_cast<std::uint64_t>(coding)).Add(stored).Finish();
}

ContentDigest ProveBlob(Kernel::BlobKey const& key, std::uint64_t size, Coding coding,
                        std::span<std::byte const> stored) {
    return Hasher().Add(key.bytes).Add(size).Add(static_cast<std::uint64_t>(coding)).Add(stored).Finish();
}

std::int64_t GetProofGroup(std::int64_t row) { return row >> c_groupBits; }

void Proofs::SetBlob(std::int64_t row, ContentDigest const& digest) {
    blobs[row] = digest;
    changedGroups.insert(GetProofGroup(row));
}

void Proofs::RemoveBlob(std::int64_t row) {
    if (blobs.erase(row) != 0)
        changedGroups.insert(GetProofGroup(row));
}

// Proofs that cannot be read are none: the document can be read all the same, but nobody's word is taken for it.
void Container::State::LoadProofs() {
    proofs = {};
    hasSeal = false;
    try {
        Proofs loaded;
        {
            StatementScope const scope(statements->readMeta);
            if (!statements->readMeta.Bind(1, c_chunkProofsName).Step() ||
                !ReadProofs(statements->readMeta.GetBytes(0), loaded.chunks))
                return;
        }
        Statement rows(*database, "SELECT name,value FROM meta WHERE name>? AND name<? ORDER BY name");
        rows.Bind(1, c_blobProofsFirst).Bind(2, c_blobProofsEnd);
        std::string last;
        while (rows.Step()) {
            auto const name = rows.GetText(0);
            // Ascending names also end the walk through a tree that was forged to lead back into itself.
            if (name <= last || !ReadProofs(rows.GetBytes(1), loaded.blobs))
                return;
            last = name;
        }
        StatementScope const scope(statements->readMeta);
        hasSeal = statements->readMeta.Bind(1, c_sealName).Step();
        proofs = std::move(loaded);
    } catch (Kernel::DamagedDataException const&) {
        proofs = {};
        hasSeal = false;
    }
}

ContentDigest Container::State::ComputeContentDigest(std::uint64_t ofGeneration) const {
    Hasher hasher;
    hasher.Add(static_cast<std::uint64_t>(c_formatMajor)).Add(static_cast<std::uint64_t>(formatMinor));
    hasher.Add(ofGeneration).Add(manifest.size()).Add(proofs.chunks.size()).Add(proofs.blobs.size());
    for (auto const& [id, entry] : manifest)
        hasher.Add(id).Add(entry.size).Add(entry.digest.bytes);
    for (auto const& [id, digest] : proofs.chunks)
        hasher.Add(id).Add(digest);
    for (auto const& [row, digest] : proofs.blobs)
        hasher.Add(static_cast<std::uint64_t>(row)).Add(digest);
    return hasher.Finish();
}

// Of a document that was not sealed, which is read once for it.
void Container::State::ProveAll() {
    proofs = {};
    proofs.chunksChanged = true;
    for (auto const& [id, entry] : manifest) {
        auto& read = statements->readChunk;
        StatementScope const scope(read);
        if (!read.Bind(1, std::int64_t{id}).Step())
            throw Kernel::DamagedDataException("is damaged: chunk " + std::to_string(id) + " is missing");
        proofs.chunks[id] = ProveChunk(id, entry.size, static_cast<Coding>(read.GetInteger(0)), read.GetBytes(1));
    }
    for (auto const& blob : ListBlobs(*database)) {
        try {
            auto& read = statements->readBlob;
            StatementScope const scope(read);
            if (!read.Bind(1, blob.id).Step())
                continue;
            proofs.SetBlob(blob.id, ProveBlob(blob.key, static_cast<std::uint64_t>(read.GetInteger(0)),
                                              static_cast<Coding>(read.GetInteger(1)), read.GetBytes(2)));
        } catch (Kernel::DamagedDataException const&) {
            // It stays without a proof, as what nobody has read.
        }
    }
    database->Execute("DELETE FROM meta WHERE name>='proof_' AND name<'proof`'");
    proofs.areComplete = true;
}

void Container::State::StoreProofs() {
    auto& write = statements->writeMeta;
    std::vector<std::byte> list;
    if (proofs.chunksChanged) {
        for (auto const& [id, digest] : proofs.chunks)
            AppendProof(list, id, digest);
        write.Bind(1, c_chunkProofsName).Bind(2, list).Run();
    }
    for (auto const group : proofs.changedGroups) {
        list.clear();
        auto proof = proofs.blobs.lower_bound(group << c_groupBits);
        for (; proof != proofs.blobs.end() && GetProofGroup(proof->first) == group; ++proof)
            AppendProof(list, proof->first, proof->second);
        auto const name = GetGroupName(group);
        write.Bind(1, name.c_str()).Bind(2, list).Run();
    }
    proofs.chunksChanged = false;
    proofs.changedGroups.clear();
}

void Container::State::RemoveSeal() {
    if (!hasSeal)
        return;
    Statement remove(*database, "DELETE FROM meta WHERE name=?");
    remove.Bind(1, c_sealName).Run();
    hasSeal = false;
}

void Container::State::StoreSeal(SealMaker const& make) {
    if (!proofs.areComplete)
        ProveAll();
    StoreProofs();
    auto const seal = make(ComputeContentDigest(generation + 1));
    if (seal.empty()) {
        RemoveSeal();
        return;
    }
    statements->writeMeta.Bind(1, c_sealName).Bind(2, std::span<std::byte const>(seal)).Run();
    hasSeal = true;
}

std::optional<StoredSeal> Container::ReadSeal() const {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    if (!state.hasSeal)
        return std::nullopt;
    try {
        StatementScope const scope(state.statements->readMeta);
        if (!state.statements->readMeta.Bind(1, c_sealName).Step())
            return std::nullopt;
        auto const bytes = state.statements->readMeta.GetBytes(0);
        return StoredSeal{state.ComputeContentDigest(state.generation), {bytes.begin(), bytes.end()}};
    } catch (Kernel::DamagedDataException const&) {
        return std::nullopt;
    }
}

void Container::RequireProofs() {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.requiresProofs = true;
    state.keepsProofs = true;
    state.proofs.areComplete = true;
}

void Container::KeepProofs() {
    std::lock_guard const lock(m_state->mutex);
    m_state->keepsProofs = true;
}

} // namespace Store
