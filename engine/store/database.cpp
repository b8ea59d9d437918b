// SPDX-License-Identifier: Apache-2.0
#include "engine/store/database.h"

#include "engine/store/coding.h"
#include "engine/store/page_checksum.h"

#include <new>

namespace Store {

namespace {

// How long a save waits for readers, and a reader for a save that is just being completed.
constexpr int c_patienceMilliseconds = 10000;
constexpr int c_stepsBetweenChecks = 4096;

} // namespace

RecoveryNeeded::RecoveryNeeded(Kernel::SourceLocation where)
    : Exception("was left in the middle of a save; it has to be opened anew", where) {}

RecoveryNeeded::~RecoveryNeeded() = default;

Database::Database(FileSystem& files, std::filesystem::path const& path, std::shared_ptr<File> file, Access access)
    : m_vfs(std::make_unique<SqliteVfs>(files, path, std::move(file),
                                        access == Access::Draft ? Journal::None : Journal::Beside)) {
    int const flags = access == Access::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    sqlite3* connection = nullptr;
    int const code = sqlite3_open_v2(path.c_str(), &connection, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE,
                                     m_vfs->GetName().c_str());
    m_connection.reset(connection);
    if (connection == nullptr)
        throw std::bad_alloc();
    if (code != SQLITE_OK)
        Fail(code);
    sqlite3_progress_handler(connection, c_stepsBetweenChecks, &Database::CountSteps, this);
    Configure(access);
}

void Database::Configure(Access access) {
    auto* const connection = Get();
    sqlite3_busy_timeout(connection, c_patienceMilliseconds);

    struct Option {
        int name;
        int value;
    };
    for (auto const option : {Option{SQLITE_DBCONFIG_DEFENSIVE, 1}, Option{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                              Option{SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, Option{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
                              Option{SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0}, Option{SQLITE_DBCONFIG_ENABLE_FKEY, 0},
                              Option{SQLITE_DBCONFIG_DQS_DDL, 0}, Option{SQLITE_DBCONFIG_DQS_DML, 0},
                              Option{SQLITE_DBCONFIG_WRITABLE_SCHEMA, 0}})
        if (int const code = sqlite3_db_config(connection, option.name, option.value, nullptr); code != SQLITE_OK)
            Fail(code);

    for (auto const limit :
         {Option{SQLITE_LIMIT_LENGTH, static_cast<int>(c_maxValueSize) + 4096}, Option{SQLITE_LIMIT_SQL_LENGTH, 4096},
          Option{SQLITE_LIMIT_COLUMN, 32}, Option{SQLITE_LIMIT_EXPR_DEPTH, 32}, Option{SQLITE_LIMIT_COMPOUND_SELECT, 4},
          Option{SQLITE_LIMIT_VDBE_OP, 25000}, Option{SQLITE_LIMIT_FUNCTION_ARG, 8}, Option{SQLITE_LIMIT_ATTACHED, 0},
          Option{SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 50}, Option{SQLITE_LIMIT_VARIABLE_NUMBER, 16},
          Option{SQLITE_LIMIT_TRIGGER_DEPTH, 1}, Option{SQLITE_LIMIT_WORKER_THREADS, 0}})
        sqlite3_limit(connection, limit.name, limit.value);

    Execute("PRAGMA cell_size_check=ON");
    Execute("PRAGMA mmap_size=0");
    Execute("PRAGMA temp_store=MEMORY");
    Execute("PRAGMA cache_size=-32768");
    Execute("PRAGMA page_size=32768");
    if (access == Access::Draft) {
        int reserved = static_cast<int>(c_pageChecksumSize);
        if (int const code = sqlite3_file_control(connection, "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved);
            code != SQLITE_OK)
            Fail(code);
        Execute("PRAGMA journal_mode=MEMORY");
        Execute("PRAGMA synchronous=OFF");
    } else if (access == Access::Edit) {
        Execute("PRAGMA journal_mode=DELETE");
        // Makes the end of the journal durable as well: a save that was reported done cannot come undone.
        Execute("PRAGMA synchronous=EXTRA");
    }
    if (access != Access::Read)
        Execute("PRAGMA secure_delete=OFF");
}

void Database::Execute(char const* sql) {
    if (int const code = sqlite3_exec(Get(), sql, nullptr, nullptr, nullptr); code != SQLITE_OK)
        Fail(code);
}

void Database::Fail(int code) const {
    auto const failure = m_vfs->GetFailure();
    m_vfs->ClearFailure();
    int const extended = sqlite3_extended_errcode(Get());
    if (extended == SQLITE_READONLY_ROLLBACK || extended == SQLITE_READONLY_RECOVERY)
        throw RecoveryNeeded();
    switch (code & 0xFF) {
    case SQLITE_NOMEM:
        throw std::bad_alloc();
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        throw Kernel::Exception("is in use by another program");
    case SQLITE_FULL:
        throw Kernel::Exception("cannot be written: the file would become too large");
    case SQLITE_READONLY:
        throw Kernel::Exception("cannot be written: it was opened for reading");
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
        if (!failure.empty())
            throw Kernel::Exception(failure);
        throw Kernel::Exception("cannot be read or written");
    case c_damagedPage:
        throw Kernel::DamagedDataException("is damaged: a page does not have its checksum");
    case SQLITE_INTERRUPT:
        throw Kernel::DamagedDataException("is damaged: its tables have no end");
    default:
        // Not sqlite3_errmsg, which repeats what a forged schema says.
        throw Kernel::DamagedDataException(std::string("is damaged: ") + sqlite3_errstr(code));
    }
}

void Database::UnboundSteps() { sqlite3_progress_handler(Get(), 0, nullptr, nullptr); }

int Database::CountSteps(void* self) { return --static_cast<Database*>(self)->m_checksLeft < 0 ? 1 : 0; }

Statement::Statement(Database& database, char const* sql) : m_database(&database) {
    sqlite3_stmt* statement = nullptr;
    int const code = sqlite3_prepare_v3(database.Get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    m_statement.reset(statement);
    if (code != SQLITE_OK)
        database.Fail(code);
}

Statement& Statement::Bind(int index, std::int64_t value) {
    if (int const code = sqlite3_bind_int64(m_statement.get(), index, value); code != SQLITE_OK)
        m_database->Fail(code);
    return *this;
}

Statement& Statement::Bind(int index, std::span<std::byte const> bytes) {
    // A null pointer would bind NULL.
    void const* const data = bytes.empty() ? static_cast<void const*>("") : bytes.data();
    if (int const code = sqlite3_bind_blob64(m_statement.get(), index, data, bytes.size(), SQLITE_STATIC);
        code != SQLITE_OK)
        m_database->Fail(code);
    return *this;
}

Statement& Statement::Bind(int index, char const* text) {
    if (int const code = sqlite3_bind_text(m_statement.get(), index, text, -1, SQLITE_STATIC); code != SQLITE_OK)
        m_database->Fail(code);
    return *this;
}

bool Statement::Step() {
    int const code = sqlite3_step(m_statement.get());
    if (code == SQLITE_ROW)
        return true;
    if (code != SQLITE_DONE)
        m_database->Fail(code);
    return false;
}

void Statement::Run() {
    StatementScope const scope(*this);
    Step();
}

void Statement::Reset() noexcept {
    sqlite3_reset(m_statement.get());
    sqlite3_clear_bindings(m_statement.get());
}

bool Statement::IsInteger(int column) const { return sqlite3_column_type(m_statement.get(), column) == SQLITE_INTEGER; }

std::int64_t Statement::GetInteger(int column) const {
    if (!IsInteger(column))
        throw Kernel::DamagedDataException("is damaged: a table holds a value of the wrong type");
    return sqlite3_column_int64(m_statement.get(), column);
}

std::span<std::byte const> Statement::GetBytes(int column) const {
    if (sqlite3_column_type(m_statement.get(), column) != SQLITE_BLOB)
        throw Kernel::DamagedDataException("is damaged: a table holds a value of the wrong type");
    auto const* const bytes = sqlite3_column_blob(m_statement.get(), column);
    auto const size = sqlite3_column_bytes(m_statement.get(), column);
    if (bytes == nullptr && sqlite3_errcode(m_database->Get()) == SQLITE_NOMEM)
        throw std::bad_alloc();
    return {static_cast<std::byte const*>(bytes), bytes == nullptr ? 0 : static_cast<std::size_t>(size)};
}

std::string Statement::GetText(int column) const {
    auto const* const text = sqlite3_column_text(m_statement.get(), column);
    if (text == nullptr)
        return {};
    return {reinterpret_cast<char const*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

} // namespace Store
