// SPDX-License-Identifier: Apache-2.0
// What does a document file cost beside plain files? Each line gives the container's time, that of the least work that
// could do the same (write and sync, or read, without compression or atomicity), and their ratio.
//
//   bench-store [FOLDER]      the folder decides which device is measured; about 3 GiB are needed there
#include "engine/store/container.h"
#include "platform/kernel/timer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<std::byte>;

constexpr std::size_t c_tileSize = 65536;
constexpr std::size_t c_chunkSize = std::size_t{1} << 20;
constexpr std::size_t c_chunkCount = 300;
constexpr std::size_t c_tileCount = (std::size_t{1} << 30) / c_tileSize;

// A smooth gradient with noise in its low bits, as a photograph has it.
Bytes MakeTile(std::uint32_t seed) {
    std::mt19937 random(seed);
    Bytes tile(c_tileSize);
    for (std::size_t i = 0; i != c_tileSize; i += 4) {
        auto const noise = random();
        for (std::size_t j = 0; j != 4; ++j)
            tile[i + j] = static_cast<std::byte>(((i + j) % 256 + seed) / 2 + (noise >> (8 * j)) % 8);
    }
    return tile;
}

// Records with small numbers and repeated tags.
Bytes MakeChunk(std::uint32_t seed) {
    std::mt19937 random(seed);
    Bytes chunk(c_chunkSize);
    for (std::size_t i = 0; i + 16 <= c_chunkSize; i += 16) {
        std::memcpy(chunk.data() + i, "Tag_", 4);
        std::uint64_t const value = random();
        std::memcpy(chunk.data() + i + 8, &value, sizeof value);
    }
    return chunk;
}

class PlainFile {
public:
    PlainFile(std::string const& path, int flags) : m_descriptor(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        if (m_descriptor < 0)
            throw std::runtime_error("cannot open " + path);
    }
    ~PlainFile() { ::close(m_descriptor); }
    PlainFile(PlainFile const&) = delete;
    PlainFile& operator=(PlainFile const&) = delete;

    void Write(Bytes const& bytes, std::size_t offset) const {
        if (::pwrite(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot write");
    }
    void Read(Bytes& bytes, std::size_t offset) const {
        if (::pread(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot read");
    }
    void Sync() const {
        if (::fsync(m_descriptor) != 0)
            throw std::runtime_error("cannot sync");
    }
    // Makes the next read come from the device.
    void Forget() const { ::posix_fadvise(m_descriptor, 0, 0, POSIX_FADV_DONTNEED); }

private:
    int m_descriptor;
};

double Measure(int rounds, std::function<void(int)> const& work) {
    std::vector<double> times;
    for (int round = 0; round != rounds; ++round) {
        Kernel::Timer const timer;
        work(round);
        times.push_back(timer.GetElapsedMilliseconds());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[static_cast<std::size_t>(rounds / 2)];
}

void Tell(char const* question, double container, double floor) {
    std::printf("%-58s %9.1f ms  floor %9.1f ms  ratio %6.2f\n", question, container, floor, container / floor);
}

void CompareIncrementalSave(std::string const& folder) {
    auto const path = folder + "/bench.redraft";
    auto const plainPath = folder + "/bench.plain";
    auto const container = Store::Container::Create(path, Store::IfExists::Replace);
    {
        Store::SaveTransaction save(*container);
        for (std::uint32_t i = 0; i != c_chunkCount; ++i)
            container->WriteChunk(i, MakeChunk(i));
        save.Commit();
    }
    std::vector<Bytes> changes;
    for (std::uint32_t i = 0; i != 9; ++i)
        changes.push_back(MakeChunk(1000 + i));
    auto const ours = Measure(9, [&](int round) {
        Store::SaveTransaction save(*container);
        container->WriteChunk(static_cast<std::uint32_t>(round * 30), changes[static_cast<std::size_t>(round)]);
        save.Commit();
    });
    PlainFile const plain(plainPath, O_RDWR | O_CREAT | O_TRUNC);
    auto const inPlace = Measure(9, [&](int round) {
        plain.Write(changes[static_cast<std::size_t>(round)], static_cast<std::size_t>(round) * 30 * c_chunkSize);
        plain.Sync();
    });
    Tell("one chunk of 300 MiB changed; floor: write it in place, sync", ours, inPlace);
    auto const rewrite = Measure(3, [&](int) {
        for (std::size_t i = 0; i != c_chunkCount; ++i)
            plain.Write(changes[i % changes.size()], i * c_chunkSize);
        plain.Sync();
    });
    Tell("the same; floor: write all 300 MiB, sync", ours, rewrite);

    auto const opening = Measure(9, [&](int) { Store::Container::Open(path, Store::OpenMode::Read); });
    Bytes first(c_chunkSize);
    auto const openingPlain = Measure(9, [&](int) { PlainFile(plainPath, O_RDONLY).Read(first, 0); });
    Tell("opening that document; floor: open, read 1 MiB", opening, openingPlain);
    ::unlink(path.c_str());
    ::unlink(plainPath.c_str());
}

void CompareTiles(std::string const& folder) {
    auto const path = folder + "/bench.redraft";
    auto const plainPath = folder + "/bench.plain";
    std::vector<Bytes> tiles;
    for (std::uint32_t i = 0; i != 256; ++i)
        tiles.push_back(MakeTile(i));
    // A number in the first bytes makes each tile one of its own.
    auto const getTile = [&](std::size_t i) -> Bytes const& {
        auto& tile = tiles[i % tiles.size()];
        std::memcpy(tile.data(), &i, sizeof i);
        return tile;
    };
    std::vector<Kernel::BlobKey> keys;
    auto const writing = Measure(1, [&](int) {
        auto const container = Store::Container::Create(path, Store::IfExists::Replace);
        Store::SaveTransaction save(*container);
        for (std::size_t i = 0; i != c_tileCount; ++i)
            keys.push_back(container->Put(getTile(i)));
        save.Commit();
    });
    auto const writingPlain = Measure(1, [&](int) {
        PlainFile const plain(plainPath, O_RDWR | O_CREAT | O_TRUNC);
        for (std::size_t i = 0; i != c_tileCount; ++i)
            plain.Write(getTile(i), i * c_tileSize);
        plain.Sync();
    });
    Tell("writing 1 GiB of tiles; floor: write, sync", writing, writingPlain);

    auto const container = Store::Container::Open(path, Store::OpenMode::Edit);
    std::printf("%-58s %9.1f MiB\n", "  length of that file",
                static_cast<double>(container->GetFileSize()) / static_cast<double>(1 << 20));
    for (bool const isCold : {true, false}) {
        PlainFile const file(path, O_RDONLY);
        PlainFile const plain(plainPath, O_RDONLY);
        if (isCold) {
            file.Forget();
            plain.Forget();
        }
        auto const reading = Measure(1, [&](int) {
            for (auto const& key : keys)
                container->Get(key);
        });
        Bytes tile(c_tileSize);
        auto const readingPlain = Measure(1, [&](int) {
            for (std::size_t i = 0; i != c_tileCount; ++i)
                plain.Read(tile, i * c_tileSize);
        });
        Tell(isCold ? "reading 1 GiB of tiles from the device; floor: read" : "the same from memory; floor: read",
             reading, readingPlain);
    }
    auto const again = Measure(1, [&](int) {
        Store::SaveTransaction save(*container);
        for (std::size_t i = 0; i != c_tileCount; ++i)
            container->Put(getTile(i));
        save.Commit();
    });
    Tell("saving the same 1 GiB again; floor: first time", again, writing);
    PlainFile const plain(plainPath, O_RDWR);
    auto const changing = Measure(3, [&](int round) {
        Store::SaveTransaction save(*container);
        for (std::size_t i = 0; i != 200; ++i)
            container->Put(getTile(c_tileCount * static_cast<std::size_t>(2 + round) + i));
        save.Commit();
    });
    auto const changingPlain = Measure(3, [&](int round) {
        for (std::size_t i = 0; i != 200; ++i)
            plain.Write(getTile(i), (i * 80 + static_cast<std::size_t>(round)) * c_tileSize);
        plain.Sync();
    });
    Tell("200 changed tiles; floor: write, sync", changing, changingPlain);
    ::unlink(path.c_str());
    ::unlink(plainPath.c_str());
}

} // namespace

int main(int count, char** arguments) {
    std::string const folder = count > 1 ? arguments[1] : ".";
    try {
        CompareIncrementalSave(folder);
        CompareTiles(folder);
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "bench-store: %s\n", failure.what());
        return 1;
    }
}
