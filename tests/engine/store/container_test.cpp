// SPDX-License-Identifier: Apache-2.0
#include "engine/store/container.h"

#include "engine/store/coding.h"
#include "tests/engine/store/content.h"
#include "tests/engine/store/simulated_file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace Store {
namespace {

using namespace Testing;

TEST(Container, GivesBackWhatWasSaved) {
    TemporaryFolder const folder;
    auto const content = MakeContent(1);
    Save(*Container::Create(folder / "a.redraft", IfExists::Refuse), content);

    auto const opened = Container::Open(folder / "a.redraft", OpenMode::Read);
    EXPECT_EQ(Load(*opened, content), content);
    EXPECT_EQ(opened->GetGeneration(), 1u);
    EXPECT_EQ(folder.ListNames(), std::vector<std::string>{"a.redraft"});
}

TEST(Container, GivesBackEmptyAndLargeValues) {
    SimulatedFileSystem files;
    Content content;
    content.chunks[0] = {};
    content.chunks[7] = Bytes(1);
    content.chunks[0xFFFFFFFF] = MakeNoise(5 << 20, 3);
    content.chunks[8] = Bytes(5 << 20);
    content.AddBlob({});
    content.AddBlob(Bytes(1 << 20));
    content.AddBlob(MakeNoise(3 << 20, 4));
    Save(*Container::Create("/a", IfExists::Refuse, files), content);
    EXPECT_EQ(Load(*Container::Open("/a", OpenMode::Read, files), content), content);
}

TEST(Container, ChangesOnlyWhatASaveChanged) {
    SimulatedFileSystem files;
    auto const first = MakeContent(1);
    auto second = MakeContent(2);
    second.chunks.erase(3);
    second.chunks[40] = MakeText(10, 9);
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Save(*container, first);
    Save(*container, second);
    EXPECT_EQ(container->GetGeneration(), 2u);

    auto const opened = Container::Open("/a", OpenMode::Read, files);
    EXPECT_EQ(Load(*opened, second), second);
    // Blobs of the first save stay until they are swept.
    EXPECT_EQ(Load(*opened, first).blobs, first.blobs);
}

TEST(Container, ReadsWithinASaveWhatTheSaveWrote) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    SaveTransaction transaction(*container);
    auto const tile = MakeText(65536, 1);
    auto const key = container->Put(tile);
    container->WriteChunk(3, tile);
    EXPECT_TRUE(container->Has(key));
    EXPECT_EQ(container->Get(key), tile);
    EXPECT_EQ(container->ReadChunk(3), tile);
    transaction.Commit();
    EXPECT_EQ(container->Get(key), tile);
}

TEST(Container, ForgetsASaveThatIsNotCommitted) {
    SimulatedFileSystem files;
    auto const content = MakeContent(1);
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Save(*container, content);
    auto const before = files.GetContent("/a");
    {
        SaveTransaction transaction(*container);
        container->WriteChunk(1, MakeText(50, 50));
        container->RemoveChunk(2);
        container->Put(MakeText(70000, 51));
    }
    EXPECT_EQ(Load(*container, content), content);
    EXPECT_EQ(files.GetContent("/a"), before);
}

TEST(Container, StoresEqualBlobsOnce) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    auto const tile = MakeNoise(100000, 1);
    {
        SaveTransaction transaction(*container);
        auto const key = container->Put(tile);
        for (int i = 0; i != 50; ++i)
            EXPECT_EQ(container->Put(tile), key);
        transaction.Commit();
    }
    auto const size = container->GetFileSize();
    {
        SaveTransaction transaction(*container);
        for (int i = 0; i != 50; ++i)
            container->Put(tile);
        transaction.Commit();
    }
    EXPECT_EQ(container->GetFileSize(), size);
    EXPECT_LT(size, 2 * tile.size() + 8 * 32768);
}

TEST(Container, WritesAnUnchangedChunkNotAgain) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Content content;
    content.chunks[0] = MakeNoise(4 << 20, 1);
    Save(*container, content);
    files.Arm(Fault::None, 0);
    Save(*container, content);
    // Header and meta table, with their journal.
    EXPECT_LT(files.GetOperationCount(), 25u);
}

TEST(Container, SameSavesGiveTheSameFile) {
    SimulatedFileSystem files;
    for (auto const* path : {"/a", "/b"}) {
        auto const container = Container::Create(path, IfExists::Refuse, files);
        Save(*container, MakeContent(1));
        Save(*container, MakeContent(2));
    }
    EXPECT_EQ(files.GetContent("/a"), files.GetContent("/b"));
}

TEST(Container, SweepKeepsLiveBlobsOnly) {
    SimulatedFileSystem files;
    auto const first = MakeContent(1);
    auto const second = MakeContent(2);
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Save(*container, first);
    Save(*container, second);
    std::vector<Kernel::BlobKey> live;
    for (auto const& blob : second.blobs)
        live.push_back(blob.first);
    EXPECT_EQ(container->SweepBlobs(live), 3u);
    EXPECT_EQ(container->SweepBlobs(live), 0u);
    EXPECT_GT(container->GetUnusedSize(), 0u);

    auto const opened = Container::Open("/a", OpenMode::Read, files);
    EXPECT_EQ(Load(*opened, second), second);
    EXPECT_EQ(Load(*opened, first).blobs.size(), 3u);
    EXPECT_TRUE(opened->Verify().problems.empty());
}

TEST(Container, SweepWaitsForOtherReadersToBeGone) {
    SimulatedFileSystem files;
    auto const content = MakeContent(1);
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Save(*container, content);
    auto reader = Container::Open("/a", OpenMode::Read, files);
    EXPECT_EQ(container->SweepBlobs({}), std::nullopt);
    EXPECT_EQ(Load(*reader, content), content);
    reader.reset();
    EXPECT_EQ(container->SweepBlobs({}), 6u);
}

TEST(Container, ReadingLeavesTheFileUntouched) {
    TemporaryFolder const folder;
    auto const path = folder / "a";
    auto const content = MakeContent(1);
    Save(*Container::Create(path, IfExists::Refuse), content);
    auto const bytes = ReadFile(path);
    auto const time = std::filesystem::last_write_time(path);
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    {
        auto const opened = Container::Open(path, OpenMode::Read);
        EXPECT_EQ(Load(*opened, content), content);
        EXPECT_TRUE(opened->Verify().problems.empty());
        EXPECT_EQ(GetFailure([&] { opened->BeginSave(); }), "was opened for reading");
    }
    EXPECT_EQ(ReadFile(path), bytes);
    EXPECT_EQ(std::filesystem::last_write_time(path), time);
    EXPECT_EQ(folder.ListNames(), std::vector<std::string>{"a"});
}

TEST(Container, EditorsExcludeEachOther) {
    TemporaryFolder const folder;
    auto const path = folder / "a";
    auto editor = Container::Create(path, IfExists::Refuse);
    Save(*editor, MakeContent(1));
    auto const open = [&] { Container::Open(path, OpenMode::Edit); };
    EXPECT_EQ(GetFailure(open), "is in use by another program");
    EXPECT_EQ(GetFailure([&] { Save(*Container::Create(path, IfExists::Replace), MakeContent(2)); }),
              "is in use by another program");
    Save(*editor, MakeContent(3));
    editor.reset();
    EXPECT_EQ(GetFailure(open), "");
    EXPECT_EQ(Load(*Container::Open(path, OpenMode::Read), MakeContent(3)), MakeContent(3));
}

TEST(Container, AReaderSeesOneDocumentWhileAnotherIsSaved) {
    TemporaryFolder const folder;
    auto const path = folder / "a";
    auto const first = MakeContent(1);
    auto const second = MakeContent(2);
    auto const editor = Container::Create(path, IfExists::Refuse);
    Save(*editor, first);
    auto const reader = Container::Open(path, OpenMode::Read);
    std::thread saving;
    {
        ReadSnapshot const snapshot(*reader);
        EXPECT_EQ(reader->ReadChunk(1), first.chunks.at(1));
        saving = std::thread([&] { Save(*editor, second); });
        EXPECT_EQ(Load(*reader, first).chunks, first.chunks);
    }
    saving.join();
    EXPECT_EQ(GetFailure([&] { reader->ReadChunk(1); }), "was saved by another program while it was read");
    EXPECT_EQ(GetFailure([&] { reader->CopyTo(folder / "b", IfExists::Refuse); }),
              "was saved by another program since it was opened");
    EXPECT_EQ(Load(*reader, second), second);
    EXPECT_EQ(reader->ReadChunk(1), second.chunks.at(1));
}

TEST(Container, CreateRefusesOrReplacesWhatIsThere) {
    TemporaryFolder const folder;
    auto const path = folder / "a";
    Save(*Container::Create(path, IfExists::Refuse), MakeContent(1));
    std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(GetFailure([&] { Container::Create(path, IfExists::Refuse); }), "already exists");
    Save(*Container::Create(path, IfExists::Replace), MakeContent(2));
    EXPECT_EQ(Load(*Container::Open(path, OpenMode::Read), MakeContent(2)), MakeContent(2));
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(folder.ListNames(), std::vector<std::string>{"a"});
}

TEST(Container, AnUnfinishedDocumentIsNotSeen) {
    TemporaryFolder const folder;
    auto container = Container::Create(folder / "a", IfExists::Refuse);
    container->BeginSave();
    container->WriteChunk(0, MakeNoise(1000000, 1));
    EXPECT_TRUE(folder.ListNames().empty());
    container.reset();
    EXPECT_TRUE(folder.ListNames().empty());
}

TEST(Container, TheNameIsGivenOnlyIfItIsStillFree) {
    TemporaryFolder const folder;
    auto const container = Container::Create(folder / "a", IfExists::Refuse);
    WriteFile(folder / "a", MakeText(10, 1));
    EXPECT_EQ(GetFailure([&] { Save(*container, MakeContent(1)); }), "already exists");
    EXPECT_EQ(ReadFile(folder / "a"), MakeText(10, 1));
    EXPECT_EQ(folder.ListNames(), std::vector<std::string>{"a"});
    EXPECT_EQ(GetFailure([&] { container->ListChunks(); }), "could not be saved, and is not open any more");
}

TEST(Container, FollowsSymbolicLinks) {
    TemporaryFolder const folder;
    Save(*Container::Create(folder / "real", IfExists::Refuse), MakeContent(1));
    std::filesystem::create_symlink("real", folder / "link");
    {
        auto const container = Container::Open(folder / "link", OpenMode::Edit);
        Save(*container, MakeContent(2));
    }
    Save(*Container::Create(folder / "link", IfExists::Replace), MakeContent(3));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(Load(*Container::Open(folder / "real", OpenMode::Read), MakeContent(3)), MakeContent(3));
}

TEST(Container, DoesNotSaveIntoAFileThatWasReplaced) {
    TemporaryFolder const folder;
    auto const path = folder / "a";
    auto const container = Container::Create(path, IfExists::Refuse);
    Save(*container, MakeContent(1));
    std::filesystem::rename(path, folder / "b");
    EXPECT_EQ(GetFailure([&] { container->BeginSave(); }), "was moved or replaced since it was opened");
    EXPECT_EQ(Load(*container, MakeContent(1)), MakeContent(1));
}

TEST(Container, ACopyIsADocumentOfItsOwn) {
    TemporaryFolder const folder;
    auto const first = MakeContent(1);
    auto const second = MakeContent(2);
    auto const original = Container::Create(folder / "a", IfExists::Refuse);
    Save(*original, first);
    auto const copy = original->CopyTo(folder / "b", IfExists::Refuse);
    EXPECT_EQ(Load(*copy, first), first);
    EXPECT_EQ(folder.ListNames(), std::vector<std::string>{"a"});
    Save(*copy, second);
    EXPECT_EQ(folder.ListNames(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Load(*original, first), first);
    EXPECT_EQ(Load(*Container::Open(folder / "b", OpenMode::Read), second), second);
    EXPECT_EQ(copy->GetGeneration(), 2u);
}

TEST(Container, BlobsAreReadOnSeveralThreadsDuringASave) {
    TemporaryFolder const folder;
    auto const first = MakeContent(1, 4, 40);
    auto const container = Container::Create(folder / "a", IfExists::Refuse);
    Save(*container, first);
    std::vector<std::thread> readers;
    for (int i = 0; i != 3; ++i)
        readers.emplace_back([&] {
            for (int round = 0; round != 5; ++round)
                for (auto const& [key, bytes] : first.blobs)
                    EXPECT_EQ(container->Get(key), bytes);
        });
    for (std::uint32_t seed = 2; seed != 6; ++seed)
        Save(*container, MakeContent(seed, 4, 20));
    for (auto& reader : readers)
        reader.join();
}

TEST(Container, RefusesValuesBeyondTheLimit) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Bytes const large(c_maxValueSize + 1);
    container->BeginSave();
    EXPECT_NE(GetFailure([&] { container->WriteChunk(0, large); }).find("512 MiB"), std::string::npos);
    EXPECT_NE(GetFailure([&] { container->Put(large); }).find("512 MiB"), std::string::npos);
}

TEST(Container, AsksForASaveBeforeChanges) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    EXPECT_EQ(GetFailure([&] { container->WriteChunk(0, {}); }), "is not being saved");
    EXPECT_EQ(GetFailure([&] { container->Put({}); }), "is not being saved");
    EXPECT_EQ(GetFailure([&] { container->RemoveChunk(0); }), "is not being saved");
    EXPECT_EQ(GetFailure([&] { container->Commit(); }), "is not being saved");
    container->BeginSave();
    EXPECT_EQ(GetFailure([&] { container->BeginSave(); }), "is being saved already");
}

TEST(Container, TellsWhatIsMissing) {
    SimulatedFileSystem files;
    auto const container = Container::Create("/a", IfExists::Refuse, files);
    Save(*container, MakeContent(1));
    EXPECT_THROW(container->ReadChunk(77), Kernel::DamagedDataException);
    EXPECT_THROW(container->Get(Kernel::BlobKey{}), Kernel::DamagedDataException);
    EXPECT_FALSE(container->Has(Kernel::BlobKey{}));
}

} // namespace
} // namespace Store
