// SPDX-License-Identifier: Apache-2.0
#include "engine/store/page_checksum.h"
#include "engine/store/schema.h"
#include "tests/engine/store/content.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

namespace Store {
namespace {

using namespace Testing;

// Runs statements on the file as any SQLite program could, and makes the checksums right again.
void Forge(std::filesystem::path const& path, std::string const& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
    sqlite3_free(message);
    sqlite3_close(connection);
    auto bytes = ReadFile(path);
    RestoreChecksums(bytes);
    WriteFile(path, bytes);
}

// As above, with definitions that SQLite would not make: the text of the schema is changed directly.
void ForgeSchema(std::filesystem::path const& path, std::string const& sql) {
    Forge(path, "PRAGMA writable_schema=ON;" + sql + ";PRAGMA writable_schema=RESET");
}

class Forged : public testing::Test {
protected:
    void SetUp() override { Save(*Container::Create(m_path, IfExists::Refuse), m_content); }

    std::string OpenAndRead() const {
        return GetFailure([&] {
            auto const opened = Container::Open(m_path, OpenMode::Read);
            EXPECT_EQ(Load(*opened, m_content), m_content);
        });
    }

    // Opening to read and to change is refused, with the file as it was.
    void ExpectRefused(std::string const& message) const {
        auto const before = ReadFile(m_path);
        EXPECT_THROW(Container::Open(m_path, OpenMode::Edit), Kernel::DamagedDataException);
        EXPECT_EQ(OpenAndRead().find(message), 0u) << OpenAndRead();
        EXPECT_EQ(ReadFile(m_path), before);
    }

    TemporaryFolder const m_folder;
    std::filesystem::path const m_path = m_folder / "a";
    Content const m_content = MakeContent(1);
};

TEST_F(Forged, ANewerFormatIsRefusedByItsNumber) {
    Forge(m_path, "PRAGMA user_version=2");
    auto const before = ReadFile(m_path);
    EXPECT_EQ(OpenAndRead(), "written by a newer version of Redraft (format 2)");
    EXPECT_THROW(Container::Open(m_path, OpenMode::Edit), Kernel::FutureVersionException);
    EXPECT_EQ(ReadFile(m_path), before);
}

TEST_F(Forged, ANewerMinorFormatIsReadAndKept) {
    Forge(m_path, "UPDATE meta SET value=9 WHERE name='format_minor'; CREATE TABLE thumbnail(id INTEGER PRIMARY KEY,"
                  "image BLOB); INSERT INTO thumbnail VALUES(1,x'0102'); INSERT INTO meta VALUES('colour','red')");
    EXPECT_EQ(OpenAndRead(), "");
    Save(*Container::Open(m_path, OpenMode::Edit), MakeContent(2));
    Save(*Container::Open(m_path, OpenMode::Edit)->CopyTo(m_folder / "b", IfExists::Refuse), MakeContent(2));
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open((m_folder / "b").c_str(), &connection), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(connection,
                                 "SELECT (SELECT hex(image) FROM thumbnail) || (SELECT group_concat(value,'') FROM "
                                 "meta WHERE name IN ('colour','format_minor'))",
                                 -1, &statement, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<char const*>(sqlite3_column_text(statement, 0)), "0102red9");
    sqlite3_finalize(statement);
    sqlite3_close(connection);
}

// It would lack what this program does not know of.
TEST_F(Forged, NoCopyOfWhatCanBeReadIsMadeOfANewerMinorFormat) {
    Forge(m_path, "UPDATE meta SET value=9 WHERE name='format_minor'");
    auto const container = Container::Open(m_path, OpenMode::Edit);
    EXPECT_THROW(container->CopyReadableTo(m_path, IfExists::Replace), Kernel::DamagedDataException);
    EXPECT_EQ(OpenAndRead(), "");
}

TEST_F(Forged, OtherTablesAreRefusedInAKnownFormat) {
    Forge(m_path, "CREATE TABLE other(x)");
    ExpectRefused("is damaged: ");
}

TEST_F(Forged, TriggersAreRefused) {
    Forge(m_path, "CREATE TRIGGER t AFTER INSERT ON chunk BEGIN DELETE FROM blob; END");
    ExpectRefused("is damaged: ");
}

TEST_F(Forged, TriggersOfOtherTablesAreRefusedInANewerFormatToo) {
    Forge(m_path, "UPDATE meta SET value=9 WHERE name='format_minor'; CREATE TABLE other(x);"
                  "CREATE TRIGGER t AFTER INSERT ON other BEGIN DELETE FROM blob; END");
    ExpectRefused("is damaged: ");
}

TEST_F(Forged, ViewsInPlaceOfTablesAreRefused) {
    for (auto const* table : {"meta", "chunk", "chunk_data", "blob"}) {
        Save(*Container::Create(m_path, IfExists::Replace), m_content);
        auto const name = std::string(table);
        Forge(m_path, "ALTER TABLE " + name + " RENAME TO real_" + name + "; CREATE VIEW " + name +
                          " AS WITH RECURSIVE endless(id) AS (SELECT 1 UNION ALL SELECT id+1 FROM endless) "
                          "SELECT id, id AS size, id AS name, id AS value, id AS digest, id AS coding, id AS stored, "
                          "id AS key FROM endless");
        ExpectRefused("is damaged: ");
    }
}

TEST_F(Forged, ChangedDefinitionsAreRefused) {
    for (auto const* change :
         {"UPDATE sqlite_schema SET sql='CREATE TABLE chunk(id INTEGER PRIMARY KEY, size INTEGER NOT NULL, digest "
          "BLOB NOT NULL DEFAULT (randomblob(500000000)))' WHERE name='chunk'",
          "UPDATE sqlite_schema SET sql='CREATE TABLE blob(id INTEGER PRIMARY KEY, key BLOB NOT NULL, size INTEGER "
          "NOT NULL, coding INTEGER AS (1), stored BLOB NOT NULL)' WHERE name='blob'",
          "UPDATE sqlite_schema SET sql='CREATE VIRTUAL TABLE chunk USING fts5(id,size,digest)', rootpage=0 WHERE "
          "name='chunk'",
          "UPDATE sqlite_schema SET sql=NULL WHERE name='meta'", "UPDATE sqlite_schema SET sql='x' WHERE name='blob'",
          "UPDATE sqlite_schema SET rootpage=999 WHERE name='blob'",
          "UPDATE sqlite_schema SET name='chunk' WHERE name='blob'", "DELETE FROM sqlite_schema WHERE name='blob_key'",
          "UPDATE sqlite_schema SET sql='CREATE INDEX blob_key ON blob(lower(key))' WHERE name='blob_key'",
          "UPDATE sqlite_schema SET type='trigger' WHERE name='blob_key'", "DELETE FROM sqlite_schema"}) {
        Save(*Container::Create(m_path, IfExists::Replace), m_content);
        ForgeSchema(m_path, change);
        ExpectRefused("is damaged: ");
    }
}

TEST_F(Forged, TablesThatShareTheirPagesGiveNoWrongContent) {
    ForgeSchema(m_path, "UPDATE sqlite_schema SET rootpage=(SELECT rootpage FROM sqlite_schema WHERE name='chunk') "
                        "WHERE name='chunk_data'");
    EXPECT_NE(OpenAndRead(), "");
}

TEST_F(Forged, ImpossibleRowsAreRefused) {
    for (auto const* change : {"UPDATE meta SET value=7 WHERE name='chunk_count'",
                               "UPDATE meta SET value='1' WHERE name='format_minor'",
                               "UPDATE meta SET value=-1 WHERE name='generation'",
                               "UPDATE meta SET value=9223372036854775807 WHERE name='generation'",
                               "UPDATE meta SET value=x'00' WHERE name='chunk_digest'",
                               "DELETE FROM meta",
                               "DELETE FROM chunk WHERE id=1",
                               "UPDATE chunk SET id=-5 WHERE id=1",
                               "UPDATE chunk SET id=4294967296 WHERE id=1",
                               "UPDATE chunk SET size=1 WHERE id=1",
                               "UPDATE chunk SET size=99999999999 WHERE id=1",
                               "UPDATE chunk SET size='many' WHERE id=1",
                               "UPDATE chunk SET digest=zeroblob(16) WHERE id=1",
                               "UPDATE chunk SET digest='0123456789abcdef' WHERE id=1",
                               "DELETE FROM chunk_data WHERE id=1",
                               "UPDATE chunk_data SET coding=2 WHERE id=1",
                               "UPDATE chunk_data SET coding=0 WHERE id=1",
                               "UPDATE chunk_data SET coding=NULLIF('x','') WHERE id=1",
                               "UPDATE chunk_data SET stored=x'' WHERE id=1",
                               "UPDATE chunk_data SET stored='text' WHERE id=1",
                               "UPDATE chunk_data SET stored=zeroblob(length(stored)) WHERE id=1",
                               "UPDATE chunk_data SET stored=substr(stored,1,length(stored)-1) WHERE id=1",
                               "UPDATE chunk_data SET stored=(SELECT stored FROM chunk_data WHERE id=2) WHERE id=1"}) {
        Save(*Container::Create(m_path, IfExists::Replace), m_content);
        Forge(m_path, change);
        EXPECT_EQ(OpenAndRead().find("is damaged: "), 0u) << change << ": " << OpenAndRead();
    }
}

TEST_F(Forged, ImpossibleBlobsAreRefusedWhenAskedFor) {
    for (auto const* change :
         {"UPDATE blob SET size=size-1", "UPDATE blob SET size=-1", "UPDATE blob SET size=9223372036854775807",
          "UPDATE blob SET size=x'01'", "UPDATE blob SET coding=1-coding", "UPDATE blob SET coding=7",
          "UPDATE blob SET stored=x''", "UPDATE blob SET stored='text'", "DELETE FROM blob",
          "UPDATE blob SET key=substr(key,1,15)", "UPDATE blob SET stored=zeroblob(length(stored))"}) {
        Save(*Container::Create(m_path, IfExists::Replace), m_content);
        Forge(m_path, change);
        auto const opened = Container::Open(m_path, OpenMode::Edit);
        EXPECT_EQ(Load(*opened, {}).chunks, m_content.chunks);
        for (auto const& blob : m_content.blobs)
            EXPECT_THROW(opened->Get(blob.first), Kernel::DamagedDataException) << change;
        GetFailure([&] { opened->SweepBlobs({}); });
        Save(*opened, m_content);
    }
}

TEST_F(Forged, AFrameThatExpandsOutOfProportionIsRefused) {
    Content content;
    content.chunks[0] = Bytes(1 << 20);
    Save(*Container::Create(m_path, IfExists::Replace), content);
    EXPECT_EQ(Load(*Container::Open(m_path, OpenMode::Read), content), content);
    // Without the filling the frame says the same, but in fewer bytes than it may.
    Forge(m_path, "UPDATE chunk_data SET stored=substr(stored,1,3000)");
    EXPECT_EQ(GetFailure([&] { Container::Open(m_path, OpenMode::Read)->ReadChunk(0); }),
              "is damaged: a compressed value does not have its length");
}

void PutNumber(Bytes& bytes, std::size_t offset, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i != size; ++i)
        bytes[offset + i] = static_cast<std::byte>(value >> (8 * (size - 1 - i)));
}

std::uint32_t GetNumber(Bytes const& bytes, std::size_t offset, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i != size; ++i)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[offset + i]);
    return value;
}

// Makes the page the root of a table's tree whose inner pages each name the next one hundreds of times, down to one
// leaf: a walk through it has no end in practice. The pages are appended to the file.
void MakeEndlessTree(Bytes& file, std::size_t page, std::size_t headerOffset, Bytes const& firstLeaf,
                     Bytes const& leaf) {
    constexpr unsigned c_depth = 12;
    constexpr unsigned c_children = 600;
    auto const firstNew = static_cast<std::uint32_t>(file.size() / c_pageSize) + 1;
    auto const writeInner = [&](std::size_t at, std::size_t header, std::uint32_t firstChild, std::uint32_t child) {
        file[at + header] = std::byte{5};
        PutNumber(file, at + header + 1, 0, 2);
        PutNumber(file, at + header + 3, c_children, 2);
        auto content = c_pageSize - c_pageChecksumSize;
        for (unsigned i = 0; i != c_children; ++i) {
            content -= 6;
            PutNumber(file, at + content, i == 0 ? firstChild : child, 4);
            // A varint of two bytes.
            PutNumber(file, at + content + 4, 0x8001 + (i / 128 << 8) + i % 128, 2);
            PutNumber(file, at + header + 12 + 2 * i, static_cast<std::uint32_t>(content), 2);
        }
        PutNumber(file, at + header + 5, static_cast<std::uint32_t>(content), 2);
        file[at + header + 7] = std::byte{0};
        PutNumber(file, at + header + 8, child, 4);
    };
    file.insert(file.end(), firstLeaf.begin(), firstLeaf.end());
    file.insert(file.end(), leaf.begin(), leaf.end());
    file.resize(file.size() + c_depth * c_pageSize);
    auto child = firstNew + 1;
    for (unsigned level = 0; level != c_depth; ++level) {
        writeInner((firstNew + 1 + level) * c_pageSize, 0, child, child);
        child = firstNew + 2 + level;
    }
    writeInner(page * c_pageSize, headerOffset, firstNew, child);
    PutNumber(file, 28, static_cast<std::uint32_t>(file.size() / c_pageSize), 4);
    RestoreChecksums(file);
}

// The page as a leaf of its own: the first page has the file's header in front.
Bytes ToLeaf(Bytes const& file, std::size_t page, std::size_t headerOffset) {
    auto const first = file.begin() + static_cast<std::ptrdiff_t>(page * c_pageSize);
    Bytes leaf(first, first + c_pageSize);
    auto const count = GetNumber(leaf, headerOffset + 3, 2);
    std::memmove(leaf.data(), leaf.data() + headerOffset, 8 + 2 * count);
    return leaf;
}

std::size_t FindRoot(std::filesystem::path const& path, std::string const& table) {
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    auto const sql = "SELECT rootpage FROM sqlite_schema WHERE name='" + table + "'";
    EXPECT_EQ(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    auto const root = static_cast<std::size_t>(sqlite3_column_int(statement, 0));
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return root - 1;
}

TEST_F(Forged, ATableWithoutEndIsRefused) {
    auto bytes = ReadFile(m_path);
    auto const root = FindRoot(m_path, "chunk");
    auto const leaf = ToLeaf(bytes, root, 0);
    MakeEndlessTree(bytes, root, 0, leaf, leaf);
    WriteFile(m_path, bytes);
    ExpectRefused("is damaged: ");
}

TEST_F(Forged, ASchemaWithoutEndIsRefused) {
    // A leaf of definitions that SQLite passes over: rows for indexes that it makes by itself.
    auto bytes = ReadFile(m_path);
    auto const definitions = ToLeaf(bytes, 0, 100);
    auto const other = m_folder / "other";
    Save(*Container::Create(other, IfExists::Refuse), m_content);
    ForgeSchema(other, "DELETE FROM sqlite_schema WHERE name<>'sqlite_autoindex_meta_1'");
    auto const passedOver = ReadFile(other);
    auto const leaf = GetNumber(passedOver, 103, 2) == 1 ? ToLeaf(passedOver, 0, 100) : definitions;
    MakeEndlessTree(bytes, 0, 100, definitions, leaf);
    WriteFile(m_path, bytes);
    ExpectRefused("is damaged: ");
}

TEST_F(Forged, OtherFilesAreNotDocuments) {
    auto const expect = [&](std::string const& name, std::string const& message) {
        for (auto const mode : {OpenMode::Read, OpenMode::Edit})
            EXPECT_EQ(GetFailure([&] { Container::Open(m_folder / name, mode); }), message) << name;
    };
    WriteFile(m_folder / "empty", {});
    expect("empty", "is empty");
    WriteFile(m_folder / "short", MakeNoise(50, 1));
    expect("short", "is not a Redraft document");
    WriteFile(m_folder / "noise", MakeNoise(100000, 1));
    expect("noise", "is not a Redraft document");
    WriteFile(m_folder / "zeros", Bytes(100000));
    expect("zeros", "is not a Redraft document");
    Forge(m_folder / "database", "CREATE TABLE meta(name TEXT NOT NULL PRIMARY KEY, value NOT NULL) WITHOUT ROWID");
    expect("database", "is not a Redraft document");
    Forge(m_folder / "imitation", "PRAGMA application_id=" + std::to_string(Schema::c_applicationId) +
                                      "; PRAGMA user_version=1; CREATE TABLE x(y)");
    expect("imitation", "is damaged: its header holds impossible values");
    Forge(m_folder / "log", "PRAGMA page_size=32768; PRAGMA journal_mode=WAL; PRAGMA application_id=" +
                                std::to_string(Schema::c_applicationId) + "; PRAGMA user_version=1; CREATE TABLE x(y)");
    expect("log", "is damaged: its header holds impossible values");
    std::filesystem::create_directory(m_folder / "folder");
    expect("folder", "is a folder");
    ASSERT_EQ(::mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    expect("pipe", "is not a regular file");
    std::filesystem::create_symlink("/dev/zero", m_folder / "device");
    expect("device", "is not a regular file");
    std::filesystem::create_symlink("loop", m_folder / "loop");
    EXPECT_NE(GetFailure([&] { Container::Open(m_folder / "loop", OpenMode::Read); }), "");
    expect("absent", "cannot be opened: No such file or directory");
    for (auto const* name : {"folder", "pipe", "device"})
        EXPECT_NE(GetFailure([&] { Save(*Container::Create(m_folder / name, IfExists::Replace), m_content); }), "");
    EXPECT_NE(GetFailure([&] { Container::Create("/dev/null/a", IfExists::Refuse); }), "");
    EXPECT_NE(GetFailure([&] { Container::Create(m_folder / "no folder" / "a", IfExists::Refuse); }), "");
}

TEST_F(Forged, AJournalThatIsNoFileIsLeftAlone) {
    ASSERT_EQ(::mkfifo((m_folder / "a-journal").c_str(), 0600), 0);
    EXPECT_EQ(OpenAndRead(), "is not a regular file");
    std::filesystem::remove(m_folder / "a-journal");
    EXPECT_EQ(OpenAndRead(), "");
}

// A journal may name another one, which is then looked at and removed.
TEST_F(Forged, AForgedJournalReachesNoOtherFile) {
    WriteFile(m_folder / "victim", MakeText(1000, 1));
    auto const victim = (m_folder / "victim").string();
    Bytes journal(512);
    constexpr std::array<unsigned char, 8> c_magic{0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};
    std::memcpy(journal.data(), c_magic.data(), c_magic.size());
    PutNumber(journal, 16, static_cast<std::uint32_t>(ReadFile(m_path).size() / c_pageSize), 4);
    PutNumber(journal, 20, 512, 4);
    PutNumber(journal, 24, c_pageSize, 4);
    std::uint32_t sum = 0;
    auto const nameOffset = journal.size();
    journal.resize(nameOffset + 4 + victim.size() + 16);
    PutNumber(journal, nameOffset, 0x40000000 / c_pageSize + 1, 4);
    std::memcpy(journal.data() + nameOffset + 4, victim.data(), victim.size());
    for (unsigned char const c : victim)
        sum += c;
    PutNumber(journal, nameOffset + 4 + victim.size(), static_cast<std::uint32_t>(victim.size()), 4);
    PutNumber(journal, nameOffset + 8 + victim.size(), sum, 4);
    std::memcpy(journal.data() + nameOffset + 12 + victim.size(), c_magic.data(), c_magic.size() - 4);
    std::memcpy(journal.data() + journal.size() - 8, c_magic.data(), c_magic.size());
    WriteFile(m_folder / "a-journal", journal);
    OpenAndRead();
    GetFailure([&] { Save(*Container::Open(m_path, OpenMode::Edit), m_content); });
    EXPECT_EQ(ReadFile(m_folder / "victim"), MakeText(1000, 1));
}

} // namespace
} // namespace Store
