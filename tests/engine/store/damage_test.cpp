// SPDX-License-Identifier: Apache-2.0
#include "engine/store/page_checksum.h"
#include "tests/engine/store/content.h"
#include "tests/engine/store/simulated_file_system.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

namespace Store {
namespace {

using namespace Testing;

constexpr auto* c_path = "/a.redraft";

Bytes MakeDocument(Content const& content) {
    SimulatedFileSystem files;
    auto const container = Container::Create(c_path, IfExists::Refuse, files);
    // Two saves, so that there are free pages and blobs that nobody refers to.
    Save(*container, MakeContent(77, 5, 4));
    Save(*container, content);
    return files.GetContent(c_path);
}

enum class Outcome { Refused, Equal };

// Reads all that can be read. What is given back must be what was saved, or nothing.
Outcome ReadAll(SimulatedFileSystem& files, Content const& content) {
    auto outcome = Outcome::Equal;
    try {
        auto const opened = Container::Open(c_path, OpenMode::Read, files);
        EXPECT_EQ(Load(*opened, {}).chunks, content.chunks);
        for (auto const& [key, bytes] : content.blobs) {
            try {
                EXPECT_EQ(opened->Get(key), bytes);
            } catch (Kernel::DamagedDataException const&) {
                outcome = Outcome::Refused;
            }
        }
    } catch (Kernel::DamagedDataException const& damage) {
        EXPECT_EQ(std::string(damage.what()).find('\n'), std::string::npos);
        outcome = Outcome::Refused;
    } catch (Kernel::FutureVersionException const&) {
        outcome = Outcome::Refused;
    }
    return outcome;
}

// A save on top of whatever this is works or is refused; what was not changed is as true afterwards as before.
void SaveOnTop(SimulatedFileSystem& files, Content content) {
    try {
        auto const container = Container::Open(c_path, OpenMode::Edit, files);
        content.chunks[1] = MakeText(30000, 4711);
        SaveTransaction transaction(*container);
        container->WriteChunk(1, content.chunks[1]);
        container->Put(MakeText(65536, 4712));
        transaction.Commit();
    } catch (Kernel::Exception const&) {
        return;
    }
    ReadAll(files, content);
}

std::vector<std::size_t> ChooseOffsets(std::size_t size, std::size_t perPage) {
    std::mt19937 random(5);
    std::vector<std::size_t> offsets;
    for (std::size_t page = 0; page < size; page += c_pageSize) {
        for (std::size_t i = 0; i < 112; i += page == 0 ? 1 : 7)
            offsets.push_back(page + i);
        for (std::size_t i = 0; i != perPage; ++i)
            offsets.push_back(page + random() % c_pageSize);
        for (std::size_t i = 1; i <= 12; i += 3)
            offsets.push_back(page + c_pageSize - i);
    }
    return offsets;
}

TEST(Damage, AFlippedBitIsNeverReadAsContent) {
    auto const content = MakeContent(1, 6, 5);
    auto const document = MakeDocument(content);
    ASSERT_GT(document.size(), 12 * c_pageSize);
    unsigned refused = 0;
    unsigned equal = 0;
    for (auto const offset : ChooseOffsets(document.size(), 12)) {
        SimulatedFileSystem files;
        files.PutContent(c_path, document);
        files.GetContent(c_path)[offset] ^= std::byte{1} << offset % 8;
        (ReadAll(files, content) == Outcome::Equal ? equal : refused) += 1;
        SaveOnTop(files, content);
        if (HasFailure())
            FAIL() << "offset " << offset;
    }
    EXPECT_GT(refused, equal);
    EXPECT_GT(equal, 0u);
}

TEST(Damage, AForgedByteIsNeverReadAsContent) {
    auto const content = MakeContent(1, 6, 5);
    auto const document = MakeDocument(content);
    std::mt19937 random(6);
    for (auto const offset : ChooseOffsets(document.size(), 24)) {
        SimulatedFileSystem files;
        files.PutContent(c_path, document);
        files.GetContent(c_path)[offset] = static_cast<std::byte>(random());
        RestoreChecksums(files.GetContent(c_path));
        ReadAll(files, content);
        SaveOnTop(files, content);
        if (HasFailure())
            FAIL() << "offset " << offset;
    }
}

TEST(Damage, NoisePagesAreRefused) {
    auto const content = MakeContent(1, 6, 5);
    auto const document = MakeDocument(content);
    for (std::uint32_t seed = 0; seed != 60; ++seed) {
        std::mt19937 random(seed);
        SimulatedFileSystem files;
        files.PutContent(c_path, document);
        auto& bytes = files.GetContent(c_path);
        for (std::size_t page = 0; page != bytes.size() / c_pageSize; ++page)
            if (random() % 4 == 0)
                std::ranges::copy(MakeNoise(c_pageSize - 200, random()),
                                  bytes.begin() + static_cast<std::ptrdiff_t>(page * c_pageSize + 150));
        if (seed % 2 == 0)
            RestoreChecksums(bytes);
        ReadAll(files, content);
        SaveOnTop(files, content);
    }
}

TEST(Damage, ATruncatedFileIsRefused) {
    auto const content = MakeContent(1, 6, 5);
    auto const document = MakeDocument(content);
    std::mt19937 random(7);
    std::vector<std::size_t> sizes;
    for (std::size_t size = 0; size != 200; ++size)
        sizes.push_back(size);
    for (std::size_t page = c_pageSize; page <= document.size(); page += c_pageSize)
        for (std::size_t size : {page - 1, page, page + 1, page + random() % c_pageSize})
            sizes.push_back(size);
    for (auto const size : sizes) {
        if (size >= document.size())
            continue;
        SimulatedFileSystem files;
        files.PutContent(c_path, {document.begin(), document.begin() + static_cast<std::ptrdiff_t>(size)});
        EXPECT_EQ(ReadAll(files, content), Outcome::Refused) << size;
        SaveOnTop(files, content);
    }
}

TEST(Damage, ADamagedTileIsRefusedWhenAskedForAndKeptBySaves) {
    Content content = MakeContent(1, 3, 0);
    auto const tile = MakeNoise(200000, 1);
    auto const other = MakeNoise(200000, 2);
    content.AddBlob(tile);
    content.AddBlob(other);
    auto const key = Kernel::ComputeBlobKey(tile);
    auto const document = MakeDocument(content);
    auto const place = std::search(document.begin(), document.end(), tile.begin() + 100000, tile.begin() + 100100);
    ASSERT_NE(place, document.end());
    auto const offset = static_cast<std::size_t>(place - document.begin());

    SimulatedFileSystem files;
    files.PutContent(c_path, document);
    files.GetContent(c_path)[offset] ^= std::byte{1};
    auto const page = offset / c_pageSize * c_pageSize;
    auto const getPage = [&] {
        auto const& bytes = files.GetContent(c_path);
        auto const first = bytes.begin() + static_cast<std::ptrdiff_t>(page);
        return Bytes(first, first + c_pageSize);
    };
    auto const damaged = getPage();

    auto const container = Container::Open(c_path, OpenMode::Edit, files);
    EXPECT_THROW(container->Get(key), Kernel::DamagedDataException);
    EXPECT_EQ(container->Get(Kernel::ComputeBlobKey(other)), other);
    EXPECT_TRUE(container->Has(key));
    auto const verification = container->Verify();
    EXPECT_EQ(verification.damagedPages, std::vector<std::uint64_t>{page / c_pageSize + 1});
    EXPECT_EQ(verification.problems.size(), 3u);
    EXPECT_TRUE(container->HasDamagedPages());

    // In the middle of a save too, without an end to the save.
    {
        SaveTransaction transaction(*container);
        container->WriteChunk(9, MakeText(60000, 9));
        EXPECT_THROW(container->Get(key), Kernel::DamagedDataException);
        container->WriteChunk(10, MakeText(60000, 10));
        transaction.Commit();
    }
    EXPECT_EQ(container->SweepBlobs({}), 5u);
    EXPECT_EQ(getPage(), damaged);
    EXPECT_TRUE(container->Has(key));
    auto const copy = container->CopyTo("/copy", IfExists::Refuse);
    Save(*copy, MakeContent(3, 3, 3));
    EXPECT_TRUE(copy->Has(key));
    EXPECT_THROW(copy->Get(key), Kernel::DamagedDataException);

    // Whoever still has the content puts it right.
    {
        SaveTransaction transaction(*container);
        EXPECT_EQ(container->Put(tile), key);
        EXPECT_EQ(container->Get(key), tile);
        transaction.Commit();
    }
    EXPECT_EQ(container->Get(key), tile);
    EXPECT_EQ(Container::Open(c_path, OpenMode::Read, files)->Get(key), tile);
    EXPECT_EQ(getPage(), damaged);
}

// Whether SQLite has no use for what is on a page: zeros are as good there.
bool IsFreeLeaf(Bytes const& document, std::size_t number) {
    auto const read = [&](std::size_t offset) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i != 4; ++i)
            value = value << 8 | std::to_integer<std::uint32_t>(document[offset + i]);
        return value;
    };
    for (std::uint32_t trunk = read(32); trunk != 0;) {
        auto const at = (trunk - 1) * c_pageSize;
        for (std::uint32_t i = 0; i != read(at + 4); ++i) {
            if (read(at + 8 + 4 * i) == number + 1)
                return true;
        }
        trunk = read(at);
    }
    return false;
}

TEST(Damage, EveryDamagedPageIsNamed) {
    auto const content = MakeContent(1, 6, 5);
    auto const document = MakeDocument(content);
    auto const pages = document.size() / c_pageSize;
    unsigned named = 0;
    // One bit of each page, all of it, and bytes behind the last.
    for (std::size_t i = 0; i <= 2 * pages; ++i) {
        auto const number = i == 2 * pages ? pages : i % pages;
        SimulatedFileSystem files;
        auto damaged = document;
        auto const first = damaged.begin() + static_cast<std::ptrdiff_t>(number * c_pageSize);
        if (number == pages)
            damaged.resize(damaged.size() + 100);
        else if (i < pages)
            damaged[number * c_pageSize + 20000] ^= std::byte{1};
        else if (IsFreeLeaf(document, number))
            continue;
        else
            std::fill(first, first + c_pageSize, std::byte{});
        files.PutContent(c_path, damaged);
        try {
            auto const verification = Container::Open(c_path, OpenMode::Read, files)->Verify();
            EXPECT_EQ(verification.pages, pages);
            EXPECT_EQ(verification.damagedPages, std::vector<std::uint64_t>{number + 1});
            EXPECT_FALSE(verification.problems.empty());
            ++named;
        } catch (Kernel::DamagedDataException const&) {
            // Without that page there is no document.
            EXPECT_LT(number, 6u);
        }
    }
    EXPECT_GT(named, pages);
    SimulatedFileSystem files;
    files.PutContent(c_path, document);
    auto const sound = Container::Open(c_path, OpenMode::Read, files);
    EXPECT_EQ(sound->Verify().problems, std::vector<std::string>());
    EXPECT_FALSE(sound->HasDamagedPages());
}

// Whatever page is damaged: all that could be read before can be read from the copy, which is sound.
TEST(Damage, ACopyOfWhatCanBeReadTakesThePlaceOfADamagedFile) {
    auto const content = MakeContent(1, 6, 12);
    auto const document = MakeDocument(content);
    unsigned withLosses = 0;
    unsigned whole = 0;
    for (std::size_t number = 0; number != document.size() / c_pageSize; ++number) {
        SimulatedFileSystem files;
        files.PutContent(c_path, document);
        files.GetContent(c_path)[number * c_pageSize + 20000] ^= std::byte{1};
        Kernel::Counted<Container> damaged;
        try {
            damaged = Container::Open(c_path, OpenMode::Edit, files);
            Load(*damaged, {});
        } catch (Kernel::DamagedDataException const&) {
            continue;
        }
        auto const generation = damaged->GetGeneration();
        auto const copy = damaged->CopyReadableTo(c_path, IfExists::Replace);
        SaveTransaction transaction(*copy);
        for (auto const& [id, bytes] : content.chunks)
            copy->WriteChunk(id, bytes);
        bool hasLosses = false;
        for (auto const& [key, bytes] : content.blobs) {
            bool isReadable = true;
            try {
                damaged->Get(key);
            } catch (Kernel::DamagedDataException const&) {
                isReadable = false;
            }
            // A value that is said to be missing is put by whoever has read it.
            if (!copy->Has(key))
                copy->Put(damaged->Get(key));
            hasLosses = hasLosses || !isReadable;
        }
        // A damaged index hides from the file what the copy has found in the table.
        EXPECT_LE(copy->HasLosses(), hasLosses) << number;
        hasLosses = copy->HasLosses();
        ++(hasLosses ? withLosses : whole);
        transaction.Commit();
        EXPECT_EQ(copy->GetGeneration(), generation + 1);
        EXPECT_EQ(copy->Verify().problems, std::vector<std::string>()) << number;
        auto const opened = Container::Open(c_path, OpenMode::Read, files);
        EXPECT_EQ(Load(*opened, {}).chunks, content.chunks);
        for (auto const& [key, bytes] : content.blobs) {
            if (opened->Has(key))
                EXPECT_EQ(opened->Get(key), bytes);
            else
                EXPECT_TRUE(hasLosses);
        }
        // The contents of the old container are read as before, and nobody else can edit beside the new one.
        EXPECT_EQ(damaged->ReadChunk(1), content.chunks.at(1));
        EXPECT_THROW(Container::Open(c_path, OpenMode::Edit, files), Kernel::Exception);
    }
    EXPECT_GT(withLosses, 0u);
    EXPECT_GT(whole, 0u);
}

TEST(Damage, ACopyOfWhatCanBeReadMayHaveAPathOfItsOwn) {
    SimulatedFileSystem files;
    files.PutContent(c_path, MakeDocument(MakeContent(1)));
    auto const container = Container::Open(c_path, OpenMode::Edit, files);
    auto const other = container->CopyReadableTo("/b", IfExists::Refuse);
    Save(*other, MakeContent(2));
    EXPECT_EQ(files.ListNames(), (std::vector<std::string>{c_path, "/b"}));
}

TEST(Damage, AMixtureOfTwoSavesIsRefused) {
    SimulatedFileSystem files;
    auto const container = Container::Create(c_path, IfExists::Refuse, files);
    Content content;
    for (std::uint32_t i = 0; i != 4; ++i)
        content.chunks[i] = MakeNoise(20000, i);
    Save(*container, content);
    auto const older = content;
    auto const old = files.GetContent(c_path);
    content.chunks[2] = MakeNoise(20000, 12);
    Save(*container, content);
    auto const changed = files.GetContent(c_path);
    // Every page that changed, one at a time and all subsets of neighbours, as it was before: true checksums, wrong
    // mix.
    unsigned refused = 0;
    for (std::size_t first = 0; first != old.size() / c_pageSize; ++first) {
        for (std::size_t count = 1; first + count <= old.size() / c_pageSize; ++count) {
            auto mixture = changed;
            auto const begin = static_cast<std::ptrdiff_t>(first * c_pageSize);
            auto const end = static_cast<std::ptrdiff_t>((first + count) * c_pageSize);
            std::copy(old.begin() + begin, old.begin() + end, mixture.begin() + begin);
            if (mixture == changed || mixture == old)
                continue;
            SimulatedFileSystem mixed;
            mixed.PutContent(c_path, mixture);
            try {
                auto const chunks = Load(*Container::Open(c_path, OpenMode::Read, mixed), {}).chunks;
                EXPECT_TRUE(chunks == content.chunks || chunks == older.chunks) << first << "+" << count;
            } catch (Kernel::DamagedDataException const&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 3u);
}

} // namespace
} // namespace Store
