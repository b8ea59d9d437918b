// SPDX-License-Identifier: Apache-2.0
#include "engine/store/sqlite_vfs.h"

#include "engine/store/page_checksum.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <new>

namespace Store {

std::filesystem::path ToJournalPath(std::filesystem::path const& path) {
    auto result = path;
    result += "-journal";
    return result;
}

bool IsRollbackJournal(FileSystem& files, std::filesystem::path const& journalPath) {
    // From SQLite's published file format, "The Rollback Journal".
    constexpr std::array<unsigned char, 8> c_magic{0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};
    std::array<unsigned char, 8> start{};
    files.Open(journalPath, FileAccess::Read)->ReadAt(0, std::as_writable_bytes(std::span(start)));
    // Zeros, nothing at all, and a part of the first bytes are what a crash before the first sync leaves.
    auto const rest = std::mismatch(start.begin(), start.end(), c_magic.begin()).first;
    return std::all_of(rest, start.end(), [](unsigned char byte) { return byte == 0; });
}

namespace {

// SQLite allocates this and zeroes nothing; `methods` is first, as its interface demands.
struct VfsFile {
    sqlite3_io_methods const* methods = nullptr;
    SqliteVfs* owner = nullptr;
    std::shared_ptr<File> file;
    bool isDatabase = false;
    // The journal's name has to last before the database may be changed.
    bool isFolderSyncDue = false;
    int lockLevel = SQLITE_LOCK_NONE;
};

std::string MakeName() {
    static std::atomic<unsigned> s_count{0};
    return "redraft-" + std::to_string(++s_count);
}

bool IsWholePage(sqlite3_int64 offset, int amount) {
    return amount == static_cast<int>(c_pageSize) && offset % static_cast<sqlite3_int64>(c_pageSize) == 0;
}

} // namespace

// The callbacks. Nothing may be thrown through SQLite, so each failure is kept in the owner and becomes a code.
struct VfsOperations {
    static VfsFile& ToFile(sqlite3_file* file) { return *reinterpret_cast<VfsFile*>(file); }
    static SqliteVfs& ToOwner(sqlite3_vfs* vfs) { return *static_cast<SqliteVfs*>(vfs->pAppData); }

    template <class F>
    static int Guard(SqliteVfs& owner, int code, F const& function) noexcept {
        try {
            return function();
        } catch (std::bad_alloc const&) {
            return SQLITE_NOMEM;
        } catch (std::exception const& failure) {
            try {
                owner.m_failure = failure.what();
            } catch (std::bad_alloc const&) {
                return SQLITE_NOMEM;
            }
            return code;
        }
    }

    static int Close(sqlite3_file* base) {
        auto& file = ToFile(base);
        if (file.isDatabase)
            Unlock(base, SQLITE_LOCK_NONE);
        file.~VfsFile();
        return SQLITE_OK;
    }

    static int Read(sqlite3_file* base, void* target, int amount, sqlite3_int64 offset) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_READ, [&] {
            std::span const bytes(static_cast<std::byte*>(target), static_cast<std::size_t>(amount));
            auto const got = file.file->ReadAt(static_cast<std::uint64_t>(offset), bytes);
            // SQLite may ask for pages of the save under way that never reached the file: beyond its end, or in a hole
            // that later pages left. It takes them for empty.
            bool const isPage = file.isDatabase && IsWholePage(offset, amount) && got != 0;
            if (isPage && !IsPageAcceptable(bytes.first(got), static_cast<std::uint64_t>(offset) / c_pageSize))
                return c_damagedPage;
            if (got == bytes.size())
                return SQLITE_OK;
            std::memset(bytes.data() + got, 0, bytes.size() - got);
            return SQLITE_IOERR_SHORT_READ;
        });
    }

    static int Write(sqlite3_file* base, void const* source, int amount, sqlite3_int64 offset) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_WRITE, [&] {
            std::span const bytes(static_cast<std::byte const*>(source), static_cast<std::size_t>(amount));
            if (file.isDatabase && IsWholePage(offset, amount)) {
                std::array<std::byte, c_pageSize> page;
                std::memcpy(page.data(), bytes.data(), bytes.size());
                SetPageChecksum(page, static_cast<std::uint64_t>(offset) / c_pageSize);
                file.file->WriteAt(static_cast<std::uint64_t>(offset), page);
            } else {
                file.file->WriteAt(static_cast<std::uint64_t>(offset), bytes);
            }
            return SQLITE_OK;
        });
    }

    static int Truncate(sqlite3_file* base, sqlite3_int64 size) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_TRUNCATE, [&] {
            file.file->Truncate(static_cast<std::uint64_t>(size));
            return SQLITE_OK;
        });
    }

    static int Sync(sqlite3_file* base, int) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_FSYNC, [&] {
            file.file->Sync();
            if (file.isFolderSyncDue) {
                file.owner->m_files.SyncFolderOf(file.owner->m_path);
                file.isFolderSyncDue = false;
            }
            return SQLITE_OK;
        });
    }

    static int FileSize(sqlite3_file* base, sqlite3_int64* size) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_FSTAT, [&] {
            *size = static_cast<sqlite3_int64>(file.file->GetSize());
            return SQLITE_OK;
        });
    }

    // The protocol is the one that SQLite's documentation gives under "File Locking And Concurrency In SQLite Version
    // 3", on the same bytes, so that its own tools keep out too.
    static int Lock(sqlite3_file* base, int level) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_LOCK, [&] {
            if (file.lockLevel >= level)
                return SQLITE_OK;
            if (level == SQLITE_LOCK_SHARED)
                return LockShared(file);
            if (level == SQLITE_LOCK_RESERVED) {
                if (!file.file->TryLock(Locks::c_reserved, LockKind::Exclusive))
                    return SQLITE_BUSY;
                file.lockLevel = level;
                return SQLITE_OK;
            }
            if (file.lockLevel < SQLITE_LOCK_PENDING) {
                if (!file.file->TryLock(Locks::c_pending, LockKind::Exclusive))
                    return SQLITE_BUSY;
                file.lockLevel = SQLITE_LOCK_PENDING;
            }
            if (level == SQLITE_LOCK_EXCLUSIVE) {
                if (!file.file->TryLock(Locks::c_shared, LockKind::Exclusive))
                    return SQLITE_BUSY;
                file.lockLevel = level;
            }
            return SQLITE_OK;
        });
    }

    static int LockShared(VfsFile& file) {
        if (!file.file->TryLock(Locks::c_pending, LockKind::Shared))
            return SQLITE_BUSY;
        bool const isLocked = file.file->TryLock(Locks::c_shared, LockKind::Shared);
        file.file->Unlock(Locks::c_pending);
        if (!isLocked)
            return SQLITE_BUSY;
        file.lockLevel = SQLITE_LOCK_SHARED;
        return SQLITE_OK;
    }

    static int Unlock(sqlite3_file* base, int level) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_UNLOCK, [&] {
            if (file.lockLevel <= level)
                return SQLITE_OK;
            if (level == SQLITE_LOCK_SHARED) {
                if (file.lockLevel == SQLITE_LOCK_EXCLUSIVE && !file.file->TryLock(Locks::c_shared, LockKind::Shared))
                    return SQLITE_IOERR_UNLOCK;
            } else {
                file.file->Unlock(Locks::c_shared);
            }
            if (file.lockLevel > SQLITE_LOCK_SHARED) {
                file.file->Unlock(Locks::c_pending);
                file.file->Unlock(Locks::c_reserved);
            }
            file.lockLevel = level;
            return SQLITE_OK;
        });
    }

    static int CheckReservedLock(sqlite3_file* base, int* isReserved) {
        auto& file = ToFile(base);
        return Guard(*file.owner, SQLITE_IOERR_CHECKRESERVEDLOCK, [&] {
            *isReserved = file.lockLevel >= SQLITE_LOCK_RESERVED || file.file->IsLockedElsewhere(Locks::c_reserved);
            return SQLITE_OK;
        });
    }

    static int FileControl(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
    static int SectorSize(sqlite3_file*) { return 4096; }
    static int DeviceCharacteristics(sqlite3_file*) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; }

    // No shared-memory methods: a file that asks for a write-ahead log cannot have one.
    static constexpr sqlite3_io_methods c_methods{1,
                                                  Close,
                                                  Read,
                                                  Write,
                                                  Truncate,
                                                  Sync,
                                                  FileSize,
                                                  Lock,
                                                  Unlock,
                                                  CheckReservedLock,
                                                  FileControl,
                                                  SectorSize,
                                                  DeviceCharacteristics,
                                                  nullptr,
                                                  nullptr,
                                                  nullptr,
                                                  nullptr,
                                                  nullptr,
                                                  nullptr};

    static bool IsJournalOf(SqliteVfs const& owner, char const* name) {
        return name != nullptr && owner.m_journal == Journal::Beside && owner.m_journalPath == name;
    }

    static int Open(sqlite3_vfs* vfs, char const* name, sqlite3_file* base, int flags, int* outFlags) {
        base->pMethods = nullptr;
        auto& owner = ToOwner(vfs);
        return Guard(owner, SQLITE_CANTOPEN, [&] {
            bool const isDatabase = (flags & SQLITE_OPEN_MAIN_DB) != 0;
            bool const isJournal = (flags & SQLITE_OPEN_MAIN_JOURNAL) != 0;
            std::shared_ptr<File> opened;
            bool isFolderSyncDue = false;
            if (isDatabase && name != nullptr && owner.m_path == name) {
                opened = owner.m_database;
            } else if (isJournal && IsJournalOf(owner, name)) {
                if ((flags & SQLITE_OPEN_READONLY) != 0) {
                    opened = owner.m_files.Open(owner.m_journalPath, FileAccess::Read);
                } else {
                    isFolderSyncDue = !owner.m_files.Exists(owner.m_journalPath);
                    if (!isFolderSyncDue && !IsRollbackJournal(owner.m_files, owner.m_journalPath))
                        throw Kernel::Exception(c_journalInTheWay);
                    opened = owner.m_files.OpenOrCreate(owner.m_journalPath, *owner.m_database);
                }
            } else {
                return SQLITE_CANTOPEN;
            }
            auto* const file = new (base) VfsFile;
            file->owner = &owner;
            file->file = std::move(opened);
            file->isDatabase = isDatabase;
            file->isFolderSyncDue = isFolderSyncDue;
            file->methods = &c_methods;
            if (outFlags != nullptr)
                *outFlags = flags;
            return SQLITE_OK;
        });
    }

    static int Delete(sqlite3_vfs* vfs, char const* name, int syncFolder) {
        auto& owner = ToOwner(vfs);
        return Guard(owner, SQLITE_IOERR_DELETE, [&] {
            if (!IsJournalOf(owner, name))
                return SQLITE_IOERR_DELETE;
            if (!owner.m_files.Remove(owner.m_journalPath))
                return SQLITE_IOERR_DELETE_NOENT;
            if (syncFolder != 0)
                owner.m_files.SyncFolderOf(owner.m_path);
            return SQLITE_OK;
        });
    }

    static int Access(sqlite3_vfs* vfs, char const* name, int, int* result) {
        auto& owner = ToOwner(vfs);
        *result = 0;
        return Guard(owner, SQLITE_IOERR_ACCESS, [&] {
            *result = IsJournalOf(owner, name) && owner.m_files.Exists(owner.m_journalPath) &&
                      IsRollbackJournal(owner.m_files, owner.m_journalPath);
            return SQLITE_OK;
        });
    }

    static int FullPathname(sqlite3_vfs*, char const* name, int size, char* target) {
        auto const length = std::strlen(name) + 1;
        if (length > static_cast<std::size_t>(size))
            return SQLITE_CANTOPEN;
        std::memcpy(target, name, length);
        return SQLITE_OK;
    }

    static void* DlOpen(sqlite3_vfs*, char const*) { return nullptr; }
    static void DlError(sqlite3_vfs*, int size, char* text) {
        if (size > 0)
            *text = 0;
    }
    static void (*DlSym(sqlite3_vfs*, void*, char const*))() { return nullptr; }
    static void DlClose(sqlite3_vfs*, void*) {}

    static sqlite3_vfs* GetSystem() { return sqlite3_vfs_find(nullptr); }
    static int Randomness(sqlite3_vfs*, int size, char* target) {
        return GetSystem()->xRandomness(GetSystem(), size, target);
    }
    static int Sleep(sqlite3_vfs*, int microseconds) { return GetSystem()->xSleep(GetSystem(), microseconds); }
    static int CurrentTime(sqlite3_vfs*, double* days) { return GetSystem()->xCurrentTime(GetSystem(), days); }
    static int GetLastError(sqlite3_vfs*, int, char*) { return 0; }

    static void Register(SqliteVfs& owner) {
        auto& vfs = owner.m_vfs;
        vfs.iVersion = 1;
        vfs.szOsFile = sizeof(VfsFile);
        vfs.mxPathname = 4096;
        vfs.zName = owner.m_name.c_str();
        vfs.pAppData = &owner;
        vfs.xOpen = Open;
        vfs.xDelete = Delete;
        vfs.xAccess = Access;
        vfs.xFullPathname = FullPathname;
        vfs.xDlOpen = DlOpen;
        vfs.xDlError = DlError;
        vfs.xDlSym = DlSym;
        vfs.xDlClose = DlClose;
        vfs.xRandomness = Randomness;
        vfs.xSleep = Sleep;
        vfs.xCurrentTime = CurrentTime;
        vfs.xGetLastError = GetLastError;
        if (sqlite3_vfs_register(&vfs, 0) != SQLITE_OK)
            throw std::bad_alloc();
    }
};

SqliteVfs::SqliteVfs(FileSystem& files, std::filesystem::path path, std::shared_ptr<File> database, Journal journal)
    : m_files(files),
      m_path(std::move(path)),
      m_journalPath(ToJournalPath(m_path)),
      m_database(std::move(database)),
      m_journal(journal),
      m_name(MakeName()) {
    VfsOperations::Register(*this);
}

SqliteVfs::~SqliteVfs() { sqlite3_vfs_unregister(&m_vfs); }

} // namespace Store
