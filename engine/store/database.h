// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/sqlite_vfs.h"
#include "platform/kernel/exception.h"

#include <cstdint>
#include <memory>
#include <span>
#include <sqlite3.h>
#include <string>

namespace Store {

// The file was left in the middle of a save, and this connection may not write what takes it back.
class RecoveryNeeded final : public Kernel::Exception {
public:
    explicit RecoveryNeeded(Kernel::SourceLocation where = Kernel::SourceLocation::current());
    ~RecoveryNeeded() override;
};

// A connection to one document file, with everything off that a forged file could make use of.
class Database {
public:
    enum class Access {
        Read,
        Edit,
        // Writes without a journal on the device: the file is thrown away when anything fails.
        Draft
    };

    Database(FileSystem& files, std::filesystem::path const& path, std::shared_ptr<File> file, Access access);

    void Execute(char const* sql);
    sqlite3* Get() const { return m_connection.get(); }
    // Throws what the code stands for: Kernel::DamagedDataException, RecoveryNeeded or another Kernel::Exception.
    [[noreturn]] void Fail(int code) const;
    // A forged tree of definitions can be endless, so a new connection does only as much work as reading a document's
    // few ones takes, many times over. To be called when they are known.
    void UnboundSteps();

private:
    struct Closer {
        void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
    };

    static int CountSteps(void* self);
    void Configure(Access access);

    std::unique_ptr<SqliteVfs> m_vfs;
    std::unique_ptr<sqlite3, Closer> m_connection;
    int m_checksLeft = 32;
};

// A prepared statement. Bound bytes must live until the next Reset; bytes that were read are valid until the next Step
// or Reset. Reading a column that has another type is damage.
class Statement {
public:
    Statement(Database& database, char const* sql);

    Statement& Bind(int index, std::int64_t value);
    Statement& Bind(int index, std::span<std::byte const> bytes);
    Statement& Bind(int index, char const* text);
    // True: there is a row.
    bool Step();
    // Runs a statement that gives no rows, and resets it.
    void Run();
    void Reset() noexcept;

    bool IsInteger(int column) const;
    std::int64_t GetInteger(int column) const;
    std::span<std::byte const> GetBytes(int column) const;
    std::string GetText(int column) const;

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    Database* m_database;
    std::unique_ptr<sqlite3_stmt, Finalizer> m_statement;
};

// Resets a statement at the end of a scope: one that stands on a row keeps the file locked.
class StatementScope {
public:
    explicit StatementScope(Statement& statement) : m_statement(statement) {}
    ~StatementScope() { m_statement.Reset(); }
    StatementScope(StatementScope const&) = delete;
    StatementScope& operator=(StatementScope const&) = delete;

private:
    Statement& m_statement;
};

} // namespace Store
