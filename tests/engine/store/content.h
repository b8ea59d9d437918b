// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/store/container.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Store::Testing {

using Bytes = std::vector<std::byte>;

// Reproducible bytes that zstd cannot shorten.
Bytes MakeNoise(std::size_t size, std::uint32_t seed);
// Reproducible bytes that it can.
Bytes MakeText(std::size_t size, std::uint32_t seed);

// All that a document holds, as a test sees it.
struct Content {
    std::map<std::uint32_t, Bytes> chunks;
    std::map<Kernel::BlobKey, Bytes> blobs;
    friend bool operator==(Content const&, Content const&) = default;

    void AddBlob(Bytes bytes);
};

// A document of some chunks and blobs; another seed gives other content for half of both.
Content MakeContent(std::uint32_t seed, std::uint32_t chunkCount = 6, std::uint32_t blobCount = 6);

// Makes the container hold exactly these chunks, and at least these blobs, in one save.
void Save(Container& container, Content const& content);
// The chunks, and of the blobs those that `expected` has. Throws where anything cannot be read.
Content Load(Container const& container, Content const& expected);

// An empty folder that goes with this object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    std::filesystem::path operator/(std::string const& name) const { return m_path / name; }
    std::vector<std::string> ListNames() const;

private:
    std::filesystem::path m_path;
};

Bytes ReadFile(std::filesystem::path const& path);
void WriteFile(std::filesystem::path const& path, Bytes const& bytes);

// Gives every page the checksum that it should have, as a forger would.
void RestoreChecksums(Bytes& file);

// The message of the Kernel::Exception that the function throws; empty when it throws none.
template <class F>
std::string GetFailure(F const& function) {
    try {
        function();
    } catch (Kernel::Exception const& failure) {
        return failure.what();
    }
    return {};
}

// The document of round n; all of it tells its round.
Content MakeRound(std::uint32_t round);

} // namespace Store::Testing
