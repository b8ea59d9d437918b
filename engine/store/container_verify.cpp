// SPDX-License-Identifier: Apache-2.0
#include "engine/store/coding.h"
#include "engine/store/container_state.h"

#include <algorithm>

namespace Store {

namespace {

constexpr std::size_t c_maxProblems = 100;

std::string ToOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
    return text;
}

// SQLite has to follow all pages of a row to remove it, and stops in the middle where one is damaged.
bool CanReadRow(Statements& statements, std::int64_t id) {
    StatementScope const scope(statements.readBlob);
    try {
        return statements.readBlob.Bind(1, id).Step();
    } catch (Kernel::DamagedDataException const&) {
        return false;
    }
}

std::string ToText(Kernel::BlobKey const& key) {
    constexpr char c_digits[] = "0123456789abcdef";
    std::string text;
    for (auto const byte : key.bytes) {
        text += c_digits[std::to_integer<unsigned>(byte) >> 4];
        text += c_digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
}

} // namespace

std::vector<StoredBlob> ListBlobs(Database& database) {
    std::vector<StoredBlob> result;
    Statement rows(database, "SELECT id,key FROM blob INDEXED BY blob_key ORDER BY key,id");
    while (rows.Step()) {
        auto const bytes = rows.GetBytes(1);
        StoredBlob blob{{}, rows.GetInteger(0)};
        if (bytes.size() != blob.key.bytes.size())
            throw Kernel::DamagedDataException("is damaged: a key does not have its length");
        std::copy(bytes.begin(), bytes.end(), blob.key.bytes.begin());
        // Also what ends the walk through an index that was forged to lead back into itself.
        if (!result.empty() && !(result.back() < blob))
            throw Kernel::DamagedDataException("is damaged: the index of its bitmap tiles is out of order");
        result.push_back(blob);
    }
    return result;
}

std::optional<std::uint64_t> Container::SweepBlobs(std::span<Kernel::BlobKey const> live) {
    std::vector<Kernel::BlobKey> sorted(live.begin(), live.end());
    std::sort(sorted.begin(), sorted.end());
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    if (!state.isWritable)
        throw Kernel::Exception("was opened for reading");
    if (state.isSaving || state.draft != nullptr)
        throw Kernel::Exception("cannot be swept while it is being saved");
    if (!state.file->IsAt(state.path))
        throw Kernel::Exception("was moved or replaced since it was opened");
    if (!state.file->TryLock(Locks::c_viewers, LockKind::Exclusive))
        return std::nullopt;
    struct Release {
        State& state;
        ~Release() {
            if (sqlite3_get_autocommit(state.database->Get()) == 0)
                sqlite3_exec(state.database->Get(), "ROLLBACK", nullptr, nullptr, nullptr);
            state.file->Unlock(Locks::c_viewers);
        }
    } const release{state};

    state.database->Execute("BEGIN IMMEDIATE");
    std::uint64_t removed = 0;
    for (auto const& blob : ListBlobs(*state.database)) {
        if (std::binary_search(sorted.begin(), sorted.end(), blob.key))
            continue;
        if (!CanReadRow(*state.statements, blob.id))
            continue;
        state.statements->removeBlob.Bind(1, blob.id).Run();
        state.proofs.RemoveBlob(blob.id);
        ++removed;
    }
    if (removed != 0) {
        state.RemoveSeal();
        state.database->Execute("COMMIT");
    }
    return removed;
}

Verification Container::Verify() const {
    Verification result;
    auto const tell = [&](std::string const& problem) {
        if (result.problems.size() < c_maxProblems)
            result.problems.push_back(ToOneLine(problem));
    };
    ReadSnapshot const snapshot(*this);
    std::vector<StoredBlob> blobs;
    {
        std::lock_guard const lock(m_state->mutex);
        m_state->RequireOpen();
        result.pages = m_state->ForEachDamagedPage([&](std::uint64_t number) {
            result.damagedPages.push_back(number + 1);
            return result.damagedPages.size() != c_maxProblems;
        });
        for (auto const page : result.damagedPages)
            tell(page > result.pages ? "there are bytes behind its last page"
                                     : "page " + std::to_string(page) + " of " + std::to_string(result.pages) +
                                           " does not have its checksum");
        try {
            Statement check(*m_state->database, "PRAGMA integrity_check(100)");
            while (check.Step())
                if (auto const line = check.GetText(0); line != "ok")
                    tell("tables: " + line);
        } catch (Kernel::DamagedDataException const& damage) {
            tell(damage.what());
        }
        try {
            blobs = ListBlobs(*m_state->database);
        } catch (Kernel::DamagedDataException const& damage) {
            tell(damage.what());
        }
    }
    for (auto const id : ListChunks()) {
        ++result.chunks;
        try {
            ReadChunk(id);
        } catch (Kernel::DamagedDataException const& damage) {
            tell("chunk " + std::to_string(id) + ": " + damage.what());
        }
    }
    for (auto const& blob : blobs) {
        ++result.blobs;
        try {
            m_state->ReadBlobRow(blob.id, blob.key);
        } catch (Kernel::DamagedDataException const& damage) {
            tell("bitmap tile " + ToText(blob.key) + ": " + damage.what());
        }
    }
    return result;
}

} // namespace Store
