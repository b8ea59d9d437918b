// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/kernel_folder.h"

#include "platform/kernel/files.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <utility>
#include <xxhash.h>

namespace Raster {

namespace {

namespace fs = std::filesystem;

// To be raised when compiled kernels of before are of no use any more: with their arguments, or with this layout.
// Numbers stand in the byte order of the machine.
constexpr std::uint64_t c_formatVersion = 1;
constexpr std::array<char, 8> c_magic{'R', 'd', 'K', 'e', 'r', 'n', 'e', 'l'};
constexpr std::string_view c_ending = ".kernel", c_temporaryStart = ".redraft-";
constexpr std::size_t c_nameLength = 32;
// Of what a process left that ended while it wrote.
constexpr auto c_temporaryAge = std::chrono::hours(1);

// Followed by `size` bytes.
struct FileHeader {
    std::array<char, 8> magic;
    std::uint64_t formatVersion;
    std::array<char, c_nameLength> name;
    std::uint64_t size;
    // Of what follows.
    XXH128_hash_t checksum;
};
static_assert(sizeof(FileHeader) == 72);

fs::path GetPath(std::string const& folder, std::string const& name) {
    return fs::path(folder) / (name + std::string(c_ending));
}

FileHeader MakeHeader(std::string const& name, std::span<std::byte const> binary) {
    FileHeader header{c_magic, c_formatVersion, {}, binary.size(), XXH3_128bits(binary.data(), binary.size())};
    std::copy_n(name.begin(), std::min(name.size(), c_nameLength), header.name.begin());
    return header;
}

bool AreEqual(FileHeader const& a, FileHeader const& b) {
    return a.magic == b.magic && a.formatVersion == b.formatVersion && a.name == b.name && a.size == b.size &&
           XXH128_isEqual(a.checksum, b.checksum) != 0;
}

} // namespace

KernelFolder::KernelFolder(std::string folder, std::uint64_t mostBytes)
    : m_folder(std::move(folder)), m_mostBytes(mostBytes) {}

std::string KernelFolder::MakeName(std::span<std::string_view const> identity) {
    std::string bytes;
    auto const append = [&bytes](std::uint64_t number) {
        bytes.append(reinterpret_cast<char const*>(&number), sizeof number);
    };
    append(c_formatVersion);
    for (auto const part : identity) {
        append(part.size());
        bytes += part;
    }
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits(bytes.data(), bytes.size()));
    std::string name;
    for (unsigned char const byte : canonical.digest) {
        name += "0123456789abcdef"[byte >> 4];
        name += "0123456789abcdef"[byte & 15];
    }
    return name;
}

std::vector<std::byte> KernelFolder::Read(std::string const& name) const {
    if (m_folder.empty())
        return {};
    auto const path = GetPath(m_folder, name);
    std::error_code error;
    if (!fs::is_regular_file(path, error))
        return {};
    try {
        auto bytes = Kernel::ReadWholeFile(Kernel::String(path.string()), m_mostBytes + sizeof(FileHeader));
        FileHeader header{};
        if (bytes.size() < sizeof header)
            return {};
        std::memcpy(&header, bytes.data(), sizeof header);
        bytes.erase(bytes.begin(), bytes.begin() + sizeof header);
        if (!AreEqual(header, MakeHeader(name, bytes)))
            return {};
        fs::last_write_time(path, fs::file_time_type::clock::now(), error);
        return bytes;
    } catch (Kernel::FileException const&) {
        return {};
    }
}

void KernelFolder::Write(std::string const& name, std::span<std::byte const> binary) const {
    if (m_folder.empty() || binary.size() + sizeof(FileHeader) > m_mostBytes)
        return;
    std::error_code error;
    auto const folder = fs::path(m_folder);
    if (folder.has_parent_path())
        fs::create_directories(folder.parent_path(), error);
    ::mkdir(folder.c_str(), S_IRWXU);
    try {
        Kernel::AtomicFile file(Kernel::String(GetPath(m_folder, name).string()));
        auto const header = MakeHeader(name, binary);
        file.Write(std::as_bytes(std::span(&header, 1)));
        file.Write(binary);
        file.Commit();
    } catch (Kernel::FileException const&) {
        // The next process compiles again.
        return;
    }
    DeleteOldest(name);
}

// Others may write and delete at the same time: a file that is gone is gone.
void KernelFolder::DeleteOldest(std::string const& newest) const {
    struct Kept {
        fs::path path;
        fs::file_time_type time;
        std::uint64_t size;
    };
    std::vector<Kept> files;
    std::uint64_t total = 0;
    auto const now = fs::file_time_type::clock::now();
    std::error_code error;
    for (fs::directory_iterator entry(m_folder, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        auto const path = entry->path();
        auto const time = entry->last_write_time(gone);
        auto const size = gone ? 0 : entry->file_size(gone);
        if (gone || !entry->is_regular_file(gone))
            continue;
        if (path.filename().string().starts_with(c_temporaryStart) && now - time > c_temporaryAge)
            fs::remove(path, gone);
        if (path.extension() != c_ending)
            continue;
        total += size;
        if (path.stem() != newest)
            files.push_back({path, time, size});
    }
    std::sort(files.begin(), files.end(), [](auto const& a, auto const& b) { return a.time < b.time; });
    for (auto const& file : files) {
        if (total <= m_mostBytes)
            return;
        std::error_code gone;
        fs::remove(file.path, gone);
        total -= file.size;
    }
}

} // namespace Raster
