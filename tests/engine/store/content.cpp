// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/store/content.h"

#include "engine/store/page_checksum.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

namespace Store::Testing {

Bytes MakeNoise(std::size_t size, std::uint32_t seed) {
    std::mt19937 random(seed);
    Bytes result(size);
    for (auto& byte : result)
        byte = static_cast<std::byte>(random());
    return result;
}

Bytes MakeText(std::size_t size, std::uint32_t seed) {
    std::mt19937 random(seed);
    Bytes result(size);
    for (auto& byte : result)
        byte = static_cast<std::byte>('a' + random() % 4);
    return result;
}

void Content::AddBlob(Bytes bytes) {
    auto const key = Kernel::ComputeBlobKey(bytes);
    blobs.emplace(key, std::move(bytes));
}

Content MakeContent(std::uint32_t seed, std::uint32_t chunkCount, std::uint32_t blobCount) {
    Content content;
    for (std::uint32_t i = 0; i != chunkCount; ++i) {
        auto const own = i % 2 == 0 ? 1000 + i : 1000 * seed + i;
        content.chunks[i] = MakeText(1000 + 9000 * (i % 5), own);
    }
    for (std::uint32_t i = 0; i != blobCount; ++i) {
        auto const own = i % 2 == 0 ? 500000 + i : 500000 * seed + i;
        content.AddBlob(i % 3 == 0 ? MakeNoise(40000, own) : MakeText(65536, own));
    }
    return content;
}

void Save(Container& container, Content const& content) {
    SaveTransaction transaction(container);
    for (auto const& [key, bytes] : content.blobs)
        container.Put(bytes);
    for (auto const id : container.ListChunks())
        if (!content.chunks.contains(id))
            container.RemoveChunk(id);
    for (auto const& [id, bytes] : content.chunks)
        container.WriteChunk(id, bytes);
    transaction.Commit();
}

Content Load(Container const& container, Content const& expected) {
    ReadSnapshot const snapshot(container);
    Content content;
    for (auto const id : container.ListChunks())
        content.chunks[id] = container.ReadChunk(id);
    for (auto const& blob : expected.blobs)
        if (container.Has(blob.first))
            content.blobs[blob.first] = container.Get(blob.first);
    return content;
}

TemporaryFolder::TemporaryFolder() {
    auto pattern = (std::filesystem::temp_directory_path() / "redraft-store-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TemporaryFolder::ListNames() const {
    std::vector<std::string> result;
    for (auto const& entry : std::filesystem::directory_iterator(m_path))
        result.push_back(entry.path().filename().string());
    std::sort(result.begin(), result.end());
    return result;
}

Bytes ReadFile(std::filesystem::path const& path) {
    std::ifstream stream(path, std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(stream)), {});
    Bytes result(text.size());
    std::memcpy(result.data(), text.data(), text.size());
    return result;
}

void WriteFile(std::filesystem::path const& path, Bytes const& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + path.string());
}

void RestoreChecksums(Bytes& file) {
    for (std::size_t page = 0; page != file.size() / c_pageSize; ++page)
        SetPageChecksum(std::span(file).subspan(page * c_pageSize, c_pageSize), page);
}

Content MakeRound(std::uint32_t round) {
    Content content;
    for (std::uint32_t i = 0; i != 8; ++i)
        content.chunks[i] = MakeText(20000 + 100 * i, 100 * round + i);
    content.AddBlob(MakeNoise(65536, round));
    content.chunks[100] = Bytes(4);
    for (unsigned i = 0; i != 4; ++i)
        content.chunks[100][i] = static_cast<std::byte>(round >> (8 * i));
    return content;
}

} // namespace Store::Testing
