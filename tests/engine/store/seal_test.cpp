// SPDX-License-Identifier: Apache-2.0
#include "engine/store/page_checksum.h"
#include "tests/engine/store/content.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <sqlite3.h>

// For the secret of the checksum.
#define XXH_STATIC_LINKING_ONLY
#include <xxhash.h>

namespace Store {
namespace {

using namespace Testing;

// Stands for a keyed checksum: nobody but this function makes these bytes.
Bytes MakeSeal(ContentDigest const& digest) {
    Bytes seal(digest.begin(), digest.end());
    for (auto& byte : seal)
        byte ^= std::byte{0x5A};
    return seal;
}

void SaveSealed(Container& container, Content const& content) {
    container.KeepProofs();
    SaveTransaction transaction(container);
    for (auto const id : container.ListChunks()) {
        if (!content.chunks.contains(id))
            container.RemoveChunk(id);
    }
    for (auto const& [id, bytes] : content.chunks)
        container.WriteChunk(id, bytes);
    for (auto const& [key, bytes] : content.blobs)
        container.Put(bytes);
    transaction.Commit(&MakeSeal);
}

// Whether the document is the one that was sealed.
bool IsSealed(Container const& container) {
    auto const stored = container.ReadSeal();
    return stored && stored->seal == MakeSeal(stored->digest);
}

// As a program opens a document.
Kernel::Counted<Container> OpenSealed(std::filesystem::path const& path, bool& isSealed) {
    auto container = Container::Open(path, OpenMode::Edit);
    isSealed = IsSealed(*container);
    if (isSealed)
        container->RequireProofs();
    return container;
}

void Execute(std::filesystem::path const& path, std::string const& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << sql << ": " << message;
    sqlite3_free(message);
    sqlite3_close(connection);
    auto bytes = ReadFile(path);
    RestoreChecksums(bytes);
    WriteFile(path, bytes);
}

std::vector<std::string> Query(std::filesystem::path const& path, char const* sql) {
    std::vector<std::string> values;
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &connection), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr), SQLITE_OK);
    while (sqlite3_step(statement) == SQLITE_ROW)
        values.emplace_back(reinterpret_cast<char const*>(sqlite3_column_text(statement, 0)));
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return values;
}

// Everything of a document one by one, as far as it can be read. A value is the one that was sealed, or it is refused.
enum class Answer { AsSealed, Refused, Unsealed, Forged };

Answer ReadAll(std::filesystem::path const& path, Content const& content) {
    try {
        bool isSealed = false;
        auto const container = OpenSealed(path, isSealed);
        if (!isSealed)
            return Answer::Unsealed;
        auto answer = Answer::AsSealed;
        auto const read = [&](auto const& get, Bytes const& expected) {
            try {
                if (get() != expected)
                    answer = Answer::Forged;
            } catch (Kernel::DamagedDataException const&) {
                answer = answer == Answer::Forged ? answer : Answer::Refused;
            }
        };
        for (auto const& [id, bytes] : content.chunks)
            read([&, chunk = id] { return container->ReadChunk(chunk); }, bytes);
        for (auto const& [key, bytes] : content.blobs)
            read([&, blob = key] { return container->Get(blob); }, bytes);
        if (container->ListChunks().size() != content.chunks.size())
            answer = Answer::Forged;
        return answer;
    } catch (Kernel::Exception const&) {
        return Answer::Refused;
    }
}

class Seal : public testing::Test {
protected:
    void SetUp() override { SaveSealed(*Container::Create(m_path, IfExists::Refuse), m_content); }

    TemporaryFolder const m_folder;
    std::filesystem::path const m_path = m_folder / "a";
    Content const m_content = MakeContent(1);
};

TEST_F(Seal, HoldsFromSaveToSave) {
    EXPECT_EQ(ReadAll(m_path, m_content), Answer::AsSealed);
    for (std::uint32_t seed = 2; seed != 5; ++seed) {
        auto content = MakeContent(seed);
        {
            bool isSealed = false;
            auto const container = OpenSealed(m_path, isSealed);
            EXPECT_TRUE(isSealed);
            SaveSealed(*container, content);
            EXPECT_EQ(Load(*container, content), content);
            content = MakeContent(seed + 100);
            SaveSealed(*container, content);
        }
        EXPECT_EQ(ReadAll(m_path, content), Answer::AsSealed);
    }
}

TEST_F(Seal, GoesWithASaveThatMakesNone) {
    {
        auto const container = Container::Open(m_path, OpenMode::Edit);
        Save(*container, MakeContent(2));
    }
    EXPECT_FALSE(Container::Open(m_path, OpenMode::Edit)->ReadSeal());
    EXPECT_EQ(Query(m_path, "SELECT name FROM meta WHERE name='seal'"), std::vector<std::string>{});
}

TEST_F(Seal, OfAPlainDocumentCoversAllThatItHeldBefore) {
    auto const path = m_folder / "plain";
    Save(*Container::Create(path, IfExists::Refuse), MakeContent(1));
    auto const both = [] {
        auto content = MakeContent(2);
        content.blobs.merge(MakeContent(1).blobs);
        return content;
    }();
    SaveSealed(*Container::Open(path, OpenMode::Edit), MakeContent(2));
    EXPECT_EQ(ReadAll(path, both), Answer::AsSealed);
    for (auto const& id : Query(path, "SELECT id FROM blob")) {
        auto const forged = m_folder / "forged";
        WriteFile(forged, ReadFile(path));
        Execute(forged, "UPDATE blob SET stored=zeroblob(length(stored)) WHERE id=" + id);
        EXPECT_NE(ReadAll(forged, both), Answer::AsSealed) << id;
    }
}

TEST_F(Seal, IsCopiedWithTheDocument) {
    bool isSealed = false;
    auto copy = OpenSealed(m_path, isSealed)->CopyTo(m_folder / "b", IfExists::Refuse);
    SaveSealed(*copy, m_content);
    EXPECT_EQ(Load(*copy, m_content), m_content);
    copy.reset();
    EXPECT_EQ(ReadAll(m_folder / "b", m_content), Answer::AsSealed);
}

TEST_F(Seal, IsAsBeforeWhenASaveIsTakenBack) {
    bool isSealed = false;
    auto const container = OpenSealed(m_path, isSealed);
    {
        SaveTransaction const transaction(*container);
        for (auto const& [id, bytes] : MakeContent(2).chunks)
            container->WriteChunk(id, bytes);
        for (auto const& [key, bytes] : MakeContent(2).blobs)
            container->Put(bytes);
    }
    EXPECT_EQ(Load(*container, m_content), m_content);
    EXPECT_TRUE(IsSealed(*container));
    SaveSealed(*container, m_content);
    EXPECT_TRUE(IsSealed(*container));
}

TEST_F(Seal, EndsWithASweep) {
    bool isSealed = false;
    auto container = OpenSealed(m_path, isSealed);
    container->SweepBlobs({});
    EXPECT_FALSE(container->ReadSeal());
    SaveSealed(*container, MakeContent(3));
    container.reset();
    EXPECT_EQ(ReadAll(m_path, MakeContent(3)), Answer::AsSealed);
}

// Every byte that is stored, changed by somebody who mends the pages' checksums.
TEST_F(Seal, NoChangedByteIsReadAsWhatWasSealed) {
    auto const original = ReadFile(m_path);
    auto const forged = m_folder / "forged";
    std::size_t unsealed = 0, refused = 0;
    for (std::size_t offset = 0; offset < original.size(); offset += offset % c_pageSize < 512 ? 7 : 509) {
        auto bytes = original;
        bytes[offset] ^= std::byte{0x11};
        RestoreChecksums(bytes);
        WriteFile(forged, bytes);
        auto const answer = ReadAll(forged, m_content);
        EXPECT_NE(answer, Answer::Forged) << offset;
        unsealed += answer == Answer::Unsealed;
        refused += answer == Answer::Refused;
    }
    EXPECT_GT(unsealed, 0u);
    EXPECT_GT(refused, 0u);
}

TEST_F(Seal, NoChangedRowIsReadAsWhatWasSealed) {
    auto const forged = m_folder / "forged";
    auto const noise = "x'00112233445566778899aabbccddeeff'";
    std::vector<std::string> changes{"DELETE FROM meta WHERE name='proof_chunks'",
                                     "DELETE FROM meta WHERE name>='proof_blobs_' AND name<'proof_blobs`'",
                                     "DELETE FROM meta WHERE name='seal'",
                                     "UPDATE meta SET value=zeroblob(32) WHERE name='seal'",
                                     "UPDATE meta SET value=1 WHERE name='seal'",
                                     "UPDATE meta SET value=value+1 WHERE name='generation'",
                                     "UPDATE meta SET value=9 WHERE name='format_minor'"};
    for (auto const& id : Query(m_path, "SELECT id FROM blob")) {
        for (auto const other : {"id+1", "id-1"}) {
            changes.push_back("UPDATE blob SET (size,coding,stored)=(SELECT size,coding,stored FROM blob AS b WHERE "
                              "b.id=blob." +
                              std::string(other) + ") WHERE id=" + id +
                              " AND EXISTS(SELECT 1 FROM blob "
                              "AS b WHERE b.id=blob." +
                              std::string(other) + ")");
        }
        changes.push_back("INSERT INTO blob(key,size,coding,stored) SELECT key,16,0," + std::string(noise) +
                          " FROM blob WHERE id=" + id);
        changes.push_back("UPDATE blob SET id=id+1000 WHERE id=" + id);
        changes.push_back("DELETE FROM blob WHERE id=" + id);
    }
    for (auto const& id : Query(m_path, "SELECT id FROM chunk")) {
        changes.push_back("UPDATE chunk SET size=size+1 WHERE id=" + id);
        changes.push_back("UPDATE chunk SET digest=" + std::string(noise) + " WHERE id=" + id);
        changes.push_back("UPDATE chunk_data SET coding=0,stored=" + std::string(noise) + " WHERE id=" + id);
        changes.push_back("DELETE FROM chunk_data WHERE id=" + id);
    }
    for (auto const& change : changes) {
        WriteFile(forged, ReadFile(m_path));
        Execute(forged, change);
        EXPECT_NE(ReadAll(forged, m_content), Answer::Forged) << change;
    }
}

// Two runs of bytes with one XXH3-128: where the lower half of a word equals the secret's, its product vanishes, and
// only the sum of two such words counts.
std::pair<Bytes, Bytes> MakeTwins() {
    constexpr std::size_t c_size = 4096;
    constexpr std::size_t c_stripe = 64;
    alignas(64) unsigned char secret[XXH3_SECRET_DEFAULT_SIZE];
    XXH3_generateSecret_fromSeed(secret, 0);
    auto first = MakeNoise(c_size, 7);
    auto const put = [&](Bytes& bytes, std::size_t stripe, std::uint32_t upper) {
        std::uint64_t mask = 0;
        // Each stripe of a block takes the secret from 8 bytes further on.
        std::memcpy(&mask, secret + 8 * stripe, sizeof mask);
        std::uint64_t const word = (mask & 0xFFFFFFFF) | std::uint64_t{upper} << 32;
        std::memcpy(bytes.data() + stripe * c_stripe, &word, sizeof word);
    };
    auto second = first;
    put(first, 2, 1000);
    put(first, 3, 5000);
    put(second, 2, 4000);
    put(second, 3, 2000);
    return {first, second};
}

TEST_F(Seal, TellsTwinsOfTheFormatsOwnChecksumApart) {
    auto const [first, second] = MakeTwins();
    ASSERT_NE(first, second);
    ASSERT_EQ(Kernel::ComputeBlobKey(first), Kernel::ComputeBlobKey(second));
    for (bool const isChunk : {false, true}) {
        Content content = MakeContent(1);
        if (isChunk)
            content.chunks[100] = first;
        else
            content.AddBlob(first);
        auto const path = m_folder / (isChunk ? "chunk" : "blob");
        SaveSealed(*Container::Create(path, IfExists::Refuse), content);
        ASSERT_EQ(ReadAll(path, content), Answer::AsSealed);
        auto bytes = ReadFile(path);
        auto const part = std::search(bytes.begin(), bytes.end(), first.begin() + 128, first.begin() + 256);
        ASSERT_NE(part, bytes.end());
        std::copy(second.begin() + 128, second.begin() + 256, part);
        RestoreChecksums(bytes);
        WriteFile(path, bytes);
        EXPECT_EQ(ReadAll(path, content), Answer::Refused) << isChunk;
        // Without a seal nothing tells them apart.
        auto const container = Container::Open(path, OpenMode::Read);
        EXPECT_EQ(isChunk ? container->ReadChunk(100) : container->Get(Kernel::ComputeBlobKey(first)), second);
    }
}

// A value that was planted under the key of a later value is not taken for it.
TEST_F(Seal, APlantedTwinIsNotReferredTo) {
    auto const [first, second] = MakeTwins();
    auto const key = Kernel::ComputeBlobKey(first);
    std::string hex, value;
    char digits[3];
    for (auto const byte : key.bytes)
        hex += (std::snprintf(digits, sizeof digits, "%02x", std::to_integer<unsigned>(byte)), digits);
    for (auto const byte : second)
        value += (std::snprintf(digits, sizeof digits, "%02x", std::to_integer<unsigned>(byte)), digits);
    Execute(m_path, "INSERT INTO blob(key,size,coding,stored) VALUES(x'" + hex + "',4096,0,x'" + value + "')");
    bool isSealed = false;
    auto container = OpenSealed(m_path, isSealed);
    ASSERT_TRUE(isSealed);
    EXPECT_FALSE(container->Has(key));
    auto content = m_content;
    content.AddBlob(first);
    SaveSealed(*container, content);
    EXPECT_EQ(Load(*container, content), content);
    container.reset();
    EXPECT_EQ(ReadAll(m_path, content), Answer::AsSealed);
}

// A list of proofs that is damaged ends the seal and keeps nothing from being read. A file that is made anew has one
// again.
TEST_F(Seal, EndsWithDamageToTheProofs) {
    auto content = MakeContent(1, 3, 300);
    for (std::uint32_t i = 0; i != 1500; ++i)
        content.AddBlob(MakeNoise(40, 1000 + i));
    auto const path = m_folder / "many";
    SaveSealed(*Container::Create(path, IfExists::Refuse), content);
    ASSERT_EQ(ReadAll(path, content), Answer::AsSealed);
    auto bytes = ReadFile(path);
    for (auto const& hex : Query(path, "SELECT hex(substr(value,20000,16)) FROM meta WHERE name>='proof_blobs_' AND "
                                       "name<'proof_blobs`' AND length(value)>30000")) {
        Bytes proof;
        for (std::size_t i = 0; i != hex.size(); i += 2)
            proof.push_back(static_cast<std::byte>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        auto const found = std::search(bytes.begin(), bytes.end(), proof.begin(), proof.end());
        ASSERT_NE(found, bytes.end());
        *found ^= std::byte{1};
    }
    WriteFile(path, bytes);
    bool isSealed = true;
    auto const container = OpenSealed(path, isSealed);
    EXPECT_FALSE(isSealed);
    EXPECT_EQ(Load(*container, content), content);
    auto copy = container->CopyReadableTo(m_folder / "anew", IfExists::Refuse);
    SaveSealed(*copy, content);
    copy.reset();
    EXPECT_EQ(ReadAll(m_folder / "anew", content), Answer::AsSealed);
}

} // namespace
} // namespace Store
