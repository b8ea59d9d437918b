// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/file_system.h"

#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <string>

namespace Store {

// Where SQLite's own locks lie, as in its published file format ("The Lock-Byte Page"), and beside them, on the same
// page that never holds data, the two locks of the container.
namespace Locks {
inline constexpr ByteRange c_pending{0x40000000, 1};
inline constexpr ByteRange c_reserved{0x40000001, 1};
inline constexpr ByteRange c_shared{0x40000002, 510};
// Held alone by whoever has the document open to change it.
inline constexpr ByteRange c_editor{0x40000200, 1};
// Shared by all who read the document and may come back for more of it.
inline constexpr ByteRange c_viewers{0x40000201, 1};
} // namespace Locks

std::filesystem::path ToJournalPath(std::filesystem::path const& path);

// True for what SQLite may have left at the path, in a crash too. Anything else is somebody's file. Where there is no
// file it throws.
bool IsRollbackJournal(FileSystem& files, std::filesystem::path const& journalPath);

// The message where IsRollbackJournal is false and a journal is needed.
inline constexpr char const* c_journalInTheWay =
    "cannot be saved: a file with the same name and \"-journal\" behind it is in the way";

// The code for a page without its checksum. SQLite gives it no meaning of its own. After SQLITE_CORRUPT or an input
// error it would end a transaction, so that a bitmap that cannot be read would keep the document from being saved.
inline constexpr int c_damagedPage = SQLITE_FORMAT;

enum class Journal {
    Beside,
    // Whatever lies where the journal would be belongs to another file.
    None
};

// Connects one SQLite database to a FileSystem, as a virtual file system of its own.
//
// The database file is one that is already open; beside it SQLite can reach its own rollback journal and no other file,
// whatever a forged journal or schema names. Each page that is written gets its checksum, each page that is read must
// have it.
class SqliteVfs {
public:
    SqliteVfs(FileSystem& files, std::filesystem::path path, std::shared_ptr<File> database, Journal journal);
    ~SqliteVfs();
    SqliteVfs(SqliteVfs const&) = delete;
    SqliteVfs& operator=(SqliteVfs const&) = delete;

    std::string const& GetName() const { return m_name; }
    // The file system's last error; empty when it has not failed since ClearFailure.
    std::string const& GetFailure() const { return m_failure; }
    void ClearFailure() { m_failure.clear(); }

private:
    friend struct VfsOperations;

    FileSystem& m_files;
    std::filesystem::path const m_path;
    std::filesystem::path const m_journalPath;
    std::shared_ptr<File> const m_database;
    Journal const m_journal;
    std::string const m_name;
    std::string m_failure;
    sqlite3_vfs m_vfs{};
};

} // namespace Store
