// SPDX-License-Identifier: Apache-2.0
#include "engine/hardware/kernel_folder.h"
#include "platform/kernel/files.h"
#include "tests/engine/hardware/filler/kernels.h"
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Raster::KernelFolder;
using Raster::Tests::TemporaryFolder;

std::vector<std::byte> MakeBinary(std::size_t size, unsigned char first = 0) {
    std::vector<std::byte> bytes(size);
    for (auto& byte : bytes)
        byte = std::byte{first++};
    return bytes;
}

std::string MakeName(std::string_view text) { return KernelFolder::MakeName(std::span(&text, 1)); }

fs::path GetOnlyFile(fs::path const& folder) {
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    return fs::directory_iterator(folder)->path();
}

std::vector<std::byte> ReadFile(fs::path const& path) {
    return Kernel::ReadWholeFile(Kernel::String(path.string()), 1u << 30);
}
void WriteFile(fs::path const& path, std::span<std::byte const> bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

} // namespace

TEST(KernelFolder, NamesTellPartsApart) {
    std::string_view const a[]{"ab", "c"}, b[]{"a", "bc"}, c[]{"abc"}, d[]{"ab", "c", ""};
    std::vector<std::string> const names{KernelFolder::MakeName(a), KernelFolder::MakeName(b),
                                         KernelFolder::MakeName(c), KernelFolder::MakeName(d)};
    for (std::size_t i = 0; i != names.size(); ++i) {
        EXPECT_EQ(names[i].size(), 32u);
        EXPECT_EQ(std::count(names.begin(), names.end(), names[i]), 1);
    }
    EXPECT_EQ(KernelFolder::MakeName(a), names.front());
}

TEST(KernelFolder, KeepsWhatIsWritten) {
    TemporaryFolder const temporary;
    auto const path = temporary.GetPath() / "a" / "b";
    KernelFolder const folder(path.string());
    EXPECT_TRUE(folder.Read(MakeName("one")).empty());
    EXPECT_FALSE(fs::exists(path));
    folder.Write(MakeName("one"), MakeBinary(1000));
    folder.Write(MakeName("two"), MakeBinary(2000, 7));
    EXPECT_EQ(folder.Read(MakeName("one")), MakeBinary(1000));
    EXPECT_EQ(KernelFolder(path.string()).Read(MakeName("two")), MakeBinary(2000, 7));
    EXPECT_TRUE(folder.Read(MakeName("three")).empty());
    folder.Write(MakeName("one"), MakeBinary(10, 3));
    EXPECT_EQ(folder.Read(MakeName("one")), MakeBinary(10, 3));
    // Nobody else may put something there.
    EXPECT_EQ(fs::status(path).permissions() & (fs::perms::group_all | fs::perms::others_all), fs::perms::none);
    fs::remove_all(path);
    EXPECT_TRUE(folder.Read(MakeName("one")).empty());
    folder.Write(MakeName("one"), MakeBinary(5));
    EXPECT_EQ(folder.Read(MakeName("one")), MakeBinary(5));
}

TEST(KernelFolder, DamagedFilesAreIgnoredAndReplaced) {
    TemporaryFolder const temporary;
    KernelFolder const folder(temporary.GetPath().string());
    auto const name = MakeName("kernel");
    auto const binary = MakeBinary(500);
    folder.Write(name, binary);
    auto const file = GetOnlyFile(temporary.GetPath());
    auto const whole = ReadFile(file);
    for (std::size_t i = 0; i < whole.size(); i += i < 100 ? 1 : 7) {
        for (auto const change : {std::byte{1}, std::byte{0x80}, std::byte{0xFF}}) {
            auto damaged = whole;
            damaged[i] ^= change;
            WriteFile(file, damaged);
            ASSERT_TRUE(folder.Read(name).empty()) << i;
        }
        WriteFile(file, std::span(whole).first(i));
        ASSERT_TRUE(folder.Read(name).empty()) << i;
    }
    auto longer = whole;
    longer.push_back({});
    WriteFile(file, longer);
    EXPECT_TRUE(folder.Read(name).empty());
    folder.Write(name, binary);
    EXPECT_EQ(folder.Read(name), binary);
    EXPECT_EQ(GetOnlyFile(temporary.GetPath()), file);
    // A whole file under another kernel's name.
    fs::copy_file(file, file.parent_path() / (MakeName("other") + ".kernel"));
    EXPECT_TRUE(folder.Read(MakeName("other")).empty());
}

TEST(KernelFolder, WhatIsNoFileIsIgnored) {
    TemporaryFolder const temporary;
    KernelFolder const folder(temporary.GetPath().string());
    auto const path = temporary.GetPath() / (MakeName("kernel") + ".kernel");
    fs::create_directory(path);
    EXPECT_TRUE(folder.Read(MakeName("kernel")).empty());
    folder.Write(MakeName("kernel"), MakeBinary(5));
    EXPECT_TRUE(folder.Read(MakeName("kernel")).empty());
    // A file that was written meanwhile is no longer there.
    EXPECT_EQ(GetOnlyFile(temporary.GetPath()), path);
    fs::remove(path);
    // One that nobody writes to would let a reader wait for ever.
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_TRUE(folder.Read(MakeName("kernel")).empty());
    folder.Write(MakeName("kernel"), MakeBinary(5));
    EXPECT_EQ(folder.Read(MakeName("kernel")), MakeBinary(5));
}

TEST(KernelFolder, AFolderThatCannotBeMadeIsNone) {
    TemporaryFolder const temporary;
    WriteFile(temporary.GetPath() / "file", MakeBinary(5));
    for (auto const& path :
         {std::string(), (temporary.GetPath() / "file").string(), (temporary.GetPath() / "file" / "folder").string(),
          std::string("/proc/none/folder"), temporary.GetPath().string() + "/" + std::string(300, 'x')}) {
        KernelFolder const folder(path);
        folder.Write(MakeName("kernel"), MakeBinary(5));
        EXPECT_TRUE(folder.Read(MakeName("kernel")).empty());
    }
    EXPECT_EQ(ReadFile(GetOnlyFile(temporary.GetPath())), MakeBinary(5));
}

TEST(KernelFolder, TheOldestFilesGoWhenThereIsTooMuch) {
    TemporaryFolder const temporary;
    KernelFolder const folder(temporary.GetPath().string(), 10000);
    auto const now = fs::file_time_type::clock::now();
    auto const write = [&](std::string const& text, int hoursAgo) {
        folder.Write(MakeName(text), MakeBinary(2900));
        fs::last_write_time(temporary.GetPath() / (MakeName(text) + ".kernel"), now - std::chrono::hours(hoursAgo));
    };
    write("a", 50);
    write("b", 40);
    write("c", 60);
    // Reading is use.
    EXPECT_FALSE(folder.Read(MakeName("c")).empty());
    WriteFile(temporary.GetPath() / "other.txt", MakeBinary(20000));
    WriteFile(temporary.GetPath() / ".redraft-1-2", MakeBinary(100));
    WriteFile(temporary.GetPath() / ".redraft-1-3", MakeBinary(100));
    fs::last_write_time(temporary.GetPath() / ".redraft-1-2", now - std::chrono::hours(2));
    folder.Write(MakeName("d"), MakeBinary(2900));
    EXPECT_TRUE(folder.Read(MakeName("a")).empty());
    for (auto const* const text : {"b", "c", "d"})
        EXPECT_FALSE(folder.Read(MakeName(text)).empty()) << text;
    // Files of others stay; those that a process left behind while it wrote do not.
    EXPECT_TRUE(fs::exists(temporary.GetPath() / "other.txt"));
    EXPECT_FALSE(fs::exists(temporary.GetPath() / ".redraft-1-2"));
    EXPECT_TRUE(fs::exists(temporary.GetPath() / ".redraft-1-3"));
    // One that is larger than all may be is not written, and displaces nothing.
    folder.Write(MakeName("e"), MakeBinary(10001));
    EXPECT_TRUE(folder.Read(MakeName("e")).empty());
    EXPECT_FALSE(folder.Read(MakeName("b")).empty());
}

// With room for a third of what they write, so that each deletes what the others read.
TEST(KernelFolder, ProcessesMayFillItAtOnce) {
    TemporaryFolder const temporary;
    std::string program = KERNEL_FOLDER_FILLER, path = temporary.GetPath().string();
    char* const arguments[]{program.data(), path.data(), nullptr};
    pid_t processes[3]{};
    for (auto& process : processes)
        ASSERT_EQ(::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, ::environ), 0);
    for (auto const process : processes) {
        int status = -1;
        ASSERT_EQ(::waitpid(process, &status, 0), process);
        EXPECT_EQ(status, 0);
    }
    std::uintmax_t total = 0;
    for (auto const& entry : fs::directory_iterator(temporary.GetPath())) {
        EXPECT_EQ(entry.path().extension(), ".kernel");
        total += entry.file_size();
    }
    EXPECT_LE(total, Raster::Tests::c_bytesOfFolder);
    EXPECT_GT(total, 0u);
}
