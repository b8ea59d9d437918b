// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/files.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <unistd.h>

// A folder of files that goes when the test ends.
class FilesTest : public ::testing::Test {
protected:
    FilesTest() { std::filesystem::create_directories(m_folder); }
    ~FilesTest() override { std::filesystem::remove_all(m_folder); }

    std::string PathOf(std::string const& name) const { return (m_folder / name).string(); }
    std::string Write(std::string const& name, std::string_view bytes) const {
        Kernel::WriteWholeFile(Kernel::String(PathOf(name)), std::as_bytes(std::span(bytes)));
        return PathOf(name);
    }
    std::string Read(std::string const& name) const {
        auto const bytes = Kernel::ReadWholeFile(Kernel::String(PathOf(name)), 1 << 24);
        return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
    }

private:
    std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("redraft-formats-" + std::to_string(::getpid()) + "-" +
                                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

inline constexpr std::string_view c_twoSquares =
    "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'><rect width='10' height='10' fill='red'/>"
    "<rect x='20' width='20' height='20' fill='#00f'/></svg>";

// The message of what `work` throws; empty where it throws nothing.
template <class F>
std::string MessageOf(F const& work) {
    try {
        work();
    } catch (Kernel::Exception const& error) {
        return error.what();
    }
    return {};
}
