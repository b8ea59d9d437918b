// SPDX-License-Identifier: Apache-2.0
#include "engine/store/container.h"

#include "engine/store/container_state.h"
#include "engine/store/page_checksum.h"
#include "engine/store/schema.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>

namespace Store {

namespace {

constexpr std::chrono::milliseconds c_lockPause{10};
constexpr int c_lockAttempts = 1000;

[[noreturn]] void ThrowInUse() { throw Kernel::Exception("is in use by another program"); }

// A sweep keeps viewers out for its length; nothing else does.
void LockAsViewer(File& file) {
    for (int attempt = 0; !file.TryLock(Locks::c_viewers, LockKind::Shared); ++attempt) {
        if (attempt == c_lockAttempts)
            ThrowInUse();
        std::this_thread::sleep_for(c_lockPause);
    }
}

// Opens and locks the file that the path names now. Between opening and locking another program may have put a new
// file in its place: what is locked then is nobody's document any more.
std::shared_ptr<File> OpenAndLock(FileSystem& files, std::filesystem::path const& path, OpenMode mode) {
    for (int attempt = 0; attempt != 10; ++attempt) {
        std::shared_ptr<File> file =
            files.Open(path, mode == OpenMode::Read ? FileAccess::Read : FileAccess::ReadWrite);
        CheckHeader(*file);
        if (mode == OpenMode::Read) {
            LockAsViewer(*file);
            return file;
        }
        if (!file->TryLock(Locks::c_editor, LockKind::Exclusive))
            ThrowInUse();
        if (file->IsAt(path))
            return file;
    }
    ThrowInUse();
}

// Takes back a save that was interrupted, as SQLite does for any connection that may write.
void RecoverInterruptedSave(FileSystem& files, std::filesystem::path const& path) {
    Database database(files, path, files.Open(path, FileAccess::ReadWrite), Database::Access::Edit);
    database.Execute("SELECT count(*) FROM sqlite_schema");
}

// A source that cannot be read is damaged, as opposed to a target that cannot be written.
std::size_t ReadSource(File& source, std::uint64_t offset, std::span<std::byte> buffer) {
    try {
        return source.ReadAt(offset, buffer);
    } catch (Kernel::Exception const& failure) {
        throw Kernel::DamagedDataException(failure.what());
    }
}

void CopyContent(File& source, File& target) {
    std::vector<std::byte> buffer(std::size_t{1} << 20);
    for (std::uint64_t offset = 0;;) {
        auto const got = ReadSource(source, offset, buffer);
        if (got == 0)
            return;
        target.WriteAt(offset, std::span(buffer).first(got));
        offset += got;
    }
}

} // namespace

Container::Container(std::unique_ptr<State> state) : m_state(std::move(state)) {}

Container::~Container() { Rollback(); }

Kernel::Counted<Container> Container::Create(std::filesystem::path const& path, IfExists ifExists, FileSystem& files) {
    auto state = State::CreateDraft(files, path, ifExists);
    state->MakeTables();
    state->proofs.areComplete = true;
    return Kernel::Counted<Container>(new Container(std::move(state)));
}

Kernel::Counted<Container> Container::Open(std::filesystem::path const& path, OpenMode mode, FileSystem& files) {
    auto state = std::make_unique<State>(files, files.Resolve(path));
    state->isWritable = mode == OpenMode::Edit;
    state->file = OpenAndLock(files, state->path, mode);
    try {
        state->Connect();
    } catch (RecoveryNeeded const&) {
        state->Disconnect();
        try {
            RecoverInterruptedSave(files, state->path);
        } catch (Kernel::DamagedDataException const&) {
            throw;
        } catch (Kernel::Exception const& failure) {
            throw Kernel::Exception(std::string("was left by an interrupted save and cannot be recovered: ") +
                                    failure.what());
        }
        try {
            state->Connect();
        } catch (RecoveryNeeded const&) {
            ThrowInUse();
        }
    }
    return Kernel::Counted<Container>(new Container(std::move(state)));
}

Kernel::Counted<Container> Container::CopyTo(std::filesystem::path const& path, IfExists ifExists) const {
    auto& source = *m_state;
    std::lock_guard const lock(source.mutex);
    source.RequireOpen();
    if (source.isSaving || source.draft != nullptr)
        throw Kernel::Exception("cannot be copied while it is being saved");
    auto copy = State::CreateDraft(source.files, path, ifExists);
    {
        // A savepoint, because a snapshot may have opened a transaction already.
        source.database->Execute("SAVEPOINT copying");
        struct Release {
            Database& database;
            ~Release() { sqlite3_exec(database.Get(), "RELEASE copying", nullptr, nullptr, nullptr); }
        } const release{*source.database};
        // The changes that the caller means to save on top of the copy belong to the document that it read.
        if (source.ReadGeneration() != source.generation)
            throw Kernel::Exception("was saved by another program since it was opened");
        CopyContent(*source.file, *copy->file);
    }
    copy->Connect();
    copy->proofs = source.proofs;
    copy->requiresProofs = source.requiresProofs;
    copy->keepsProofs = source.keepsProofs;
    return Kernel::Counted<Container>(new Container(std::move(copy)));
}

std::filesystem::path const& Container::GetPath() const { return m_state->path; }

std::uint64_t Container::GetGeneration() const {
    std::lock_guard const lock(m_state->mutex);
    return m_state->generation;
}

std::uint64_t Container::GetFileSize() const {
    std::lock_guard const lock(m_state->mutex);
    m_state->RequireOpen();
    return m_state->file->GetSize();
}

std::uint64_t Container::GetUnusedSize() const {
    std::lock_guard const lock(m_state->mutex);
    m_state->RequireOpen();
    Statement count(*m_state->database, "PRAGMA freelist_count");
    return count.Step() ? static_cast<std::uint64_t>(count.GetInteger(0)) * c_pageSize : 0;
}

void Container::BeginSave() {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    if (!state.isWritable)
        throw Kernel::Exception("was opened for reading");
    if (state.isSaving)
        throw Kernel::Exception("is being saved already");
    if (state.draft == nullptr && !state.file->IsAt(state.path))
        throw Kernel::Exception("was moved or replaced since it was opened");
    state.database->Execute("BEGIN IMMEDIATE");
    state.isSaving = true;
    state.committedManifest = state.manifest;
    if (state.keepsProofs)
        state.committedProofs = state.proofs;
    else
        state.proofs = {};
}

void Container::Commit(SealMaker const& seal) {
    auto& state = *m_state;
    try {
        state.FlushBlobs();
        std::lock_guard const lock(state.mutex);
        state.RequireSave();
        state.StoreManifest();
        if (seal && state.keepsProofs)
            state.StoreSeal(seal);
        else
            state.RemoveSeal();
        // Until the file says otherwise: a commit that fails in its last step may have happened.
        state.isStale = true;
        state.database->Execute("COMMIT");
        if (state.draft != nullptr)
            state.Publish();
        state.damagedOrigin.reset();
        state.isStale = false;
        state.isSaving = false;
        ++state.generation;
        state.committedManifest.clear();
        state.committedProofs = {};
        for (auto const& key : state.rewrittenBlobs)
            state.damagedBlobs.erase(key);
        state.rewrittenBlobs.clear();
    } catch (...) {
        Rollback();
        throw;
    }
}

void Container::Rollback() noexcept {
    auto& state = *m_state;
    std::lock_guard const lock(state.mutex);
    state.pending.clear();
    state.pendingIndex.clear();
    state.pendingSize = 0;
    state.rewrittenBlobs.clear();
    if (state.isSaving) {
        state.isSaving = false;
        state.manifest = std::move(state.committedManifest);
        state.proofs = std::exchange(state.committedProofs, {});
        if (state.database != nullptr && sqlite3_get_autocommit(state.database->Get()) == 0)
            sqlite3_exec(state.database->Get(), "ROLLBACK", nullptr, nullptr, nullptr);
        if (state.draft != nullptr) {
            state.Disconnect();
            state.draft.reset();
            state.file.reset();
        }
    }
}

ReadSnapshot::ReadSnapshot(Container const& container) : m_container(&container) {
    auto& state = *container.m_state;
    std::lock_guard const lock(state.mutex);
    state.RequireOpen();
    if (!state.isWritable && state.snapshots == 0) {
        state.database->Execute("BEGIN");
        try {
            if (state.ReadGeneration() != state.generation)
                state.LoadManifest();
        } catch (...) {
            sqlite3_exec(state.database->Get(), "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }
    ++state.snapshots;
}

ReadSnapshot::~ReadSnapshot() {
    auto& state = *m_container->m_state;
    std::lock_guard const lock(state.mutex);
    --state.snapshots;
    if (!state.isWritable && state.snapshots == 0 && state.database != nullptr)
        sqlite3_exec(state.database->Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

std::unique_ptr<Container::State> Container::State::CreateDraft(FileSystem& files, std::filesystem::path const& path,
                                                                IfExists ifExists) {
    auto state = std::make_unique<State>(files, files.Resolve(path));
    state->isWritable = true;
    state->ifExists = ifExists;
    if (files.Exists(state->path)) {
        if (ifExists == IfExists::Refuse)
            throw Kernel::Exception("already exists");
        // Whatever refuses the replacement had better do so before the work than after it.
        files.Open(state->path, FileAccess::ReadWrite);
    }
    state->draft = files.CreateDraft(state->path);
    state->file = state->draft->GetFile();
    // Taken before the file has a name, so that nobody else can be first.
    if (!state->file->TryLock(Locks::c_editor, LockKind::Exclusive))
        ThrowInUse();
    return state;
}

void Container::State::MakeTables() {
    database = std::make_unique<Database>(files, path, file, Database::Access::Draft);
    database->Execute(("PRAGMA application_id=" + std::to_string(Schema::c_applicationId)).c_str());
    database->Execute(("PRAGMA user_version=" + std::to_string(c_formatMajor)).c_str());
    for (auto const& object : Schema::c_objects)
        database->Execute(object.sql);
    database->UnboundSteps();
    statements = std::make_unique<Statements>(*database);
}

void Container::State::Publish() {
    Disconnect();
    file->Sync();
    // Its lock is kept until the name is given away.
    std::shared_ptr<File> target;
    SettleTarget(target);
    draft->Publish(ifExists);
    draft.reset();
}

// Makes sure that nobody is at work on the file that is to be replaced, and that no rollback journal is left at its
// name: it would be taken for one of the new file.
void Container::State::SettleTarget(std::shared_ptr<File>& target) {
    auto const journalPath = ToJournalPath(path);
    if (files.Exists(path)) {
        if (ifExists == IfExists::Refuse)
            throw Kernel::Exception("already exists");
        bool const replacesOrigin =
            damagedOrigin && damagedOrigin->m_state->isWritable && damagedOrigin->m_state->file->IsAt(path);
        target = replacesOrigin ? damagedOrigin->m_state->file : files.Open(path, FileAccess::ReadWrite);
        if (!target->TryLock(Locks::c_editor, LockKind::Exclusive))
            ThrowInUse();
        if (files.Exists(journalPath)) {
            try {
                Database old(files, path, target, Database::Access::Edit);
                old.Execute("SELECT count(*) FROM sqlite_schema");
            } catch (Kernel::DamagedDataException const&) {
                // Not a document, or one beyond help: to be replaced all the same.
            }
        }
    }
    if (!files.Exists(journalPath))
        return;
    if (!IsRollbackJournal(files, journalPath))
        throw Kernel::Exception(c_journalInTheWay);
    files.Remove(journalPath);
    files.SyncFolderOf(path);
}

} // namespace Store
