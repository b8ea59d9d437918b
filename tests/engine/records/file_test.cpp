// SPDX-License-Identifier: Apache-2.0
#include "engine/records/delimited_reader.h"
#include "platform/kernel/exception.h"
#include "tests/engine/records/reading.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Records;
using RecordTests::GetRows;
using RecordTests::Rows;

namespace {

class RecordFiles : public testing::Test {
protected:
    RecordFiles() { std::filesystem::create_directories(m_folder); }
    ~RecordFiles() override { std::filesystem::remove_all(m_folder); }

    std::string GetPath(std::string const& name) const { return (m_folder / name).string(); }
    std::string Write(std::string const& name, std::string const& text) const {
        std::ofstream(m_folder / name, std::ios::binary) << text;
        return GetPath(name);
    }
    static std::string Refuse(std::string const& path, ReadOptions const& options = {}) {
        try {
            ReadTable(path, options, nullptr);
        } catch (Kernel::Exception const& e) {
            return e.what();
        }
        return "read";
    }

private:
    std::filesystem::path m_folder = std::filesystem::temp_directory_path() / ("records-" + std::to_string(getpid()));
};

TEST_F(RecordFiles, AreReadByTheirEnding) {
    EXPECT_EQ(GetRows(*ReadTable(Write("a.csv", "a;b\n1;2\n"), {}, nullptr).table), (Rows{{"a", "b"}, {"1", "2"}}));
    EXPECT_EQ(GetRows(*ReadTable(Write("A.TSV", "a,b\tc\n1\t2\n"), {}, nullptr).table),
              (Rows{{"a,b", "c"}, {"1", "2"}}));
    EXPECT_EQ(GetRows(*ReadTable(Write("a.json", "[{\"a\":1}]"), {}, nullptr).table), (Rows{{"a"}, {"1"}}));
    EXPECT_EQ(GetRows(*ReadTable(Write("unknown", " [{\"a\":1}]"), {}, nullptr).table), (Rows{{"a"}, {"1"}}));
    EXPECT_EQ(GetRows(*ReadTable(Write("b.csv", "[a],b\n1,2\n"), {}, nullptr).table), (Rows{{"[a]", "b"}, {"1", "2"}}));
}

TEST_F(RecordFiles, ThatAreNoneAreRefused) {
    EXPECT_EQ(Refuse("/dev/zero"), "/dev/zero: is not a regular file");
    EXPECT_EQ(Refuse(GetPath("")), GetPath("") + ": is a folder");
    EXPECT_EQ(Refuse(GetPath("missing.csv")), GetPath("missing.csv") + ": No such file or directory");
    ASSERT_EQ(mkfifo(GetPath("pipe.csv").c_str(), 0600), 0);
    EXPECT_EQ(Refuse(GetPath("pipe.csv")), GetPath("pipe.csv") + ": is not a regular file");
    EXPECT_EQ(Refuse(Write("a.csv.gz", "\x1f\x8b...")), GetPath("a.csv.gz") + ": is compressed; unpack it first");
}

TEST_F(RecordFiles, AboveTheBoundAreRefusedUnread) {
    auto const path = Write("large.csv", "a,b\n");
    std::filesystem::resize_file(path, c_maximumDataSize + 1);
    EXPECT_EQ(Refuse(path), path + ": has 5 GiB; at most 4 GiB are read");
}

TEST_F(RecordFiles, OfManyChunksAreReadAsOne) {
    std::string text = "number,text\n";
    constexpr std::uint32_t c_count = 150'000;
    for (std::uint32_t i = 0; i != c_count; ++i)
        text += std::to_string(i) + (i % 1000 == 0 ? ",\"two\nlines, \"\"quoted\"\"\"\n" : ",plain\n");
    auto const table = ReadTable(Write("many.csv", text), {}, nullptr).table;
    ASSERT_GT(text.size(), 2 * c_chunkBytes);
    ASSERT_EQ(table->GetRowCount(), c_count);
    auto const numbers = table->GetNumbers(0);
    for (std::uint32_t i = 0; i != c_count; ++i) {
        ASSERT_EQ(numbers[i], i);
        ASSERT_EQ(table->GetText(i, 1), i % 1000 == 0 ? "two\nlines, \"quoted\"" : "plain");
    }
}

// Opened, then changed by someone else.
TEST_F(RecordFiles, ThatChangeWhileTheyAreReadAreRefused) {
    auto const path = Write("changing.csv", "a,b\n1,2\n");
    auto const read = [&](std::string const& change) {
        auto const source = OpenFile(path, 1 << 20);
        std::ofstream(path, std::ios::binary) << change;
        return ReadDelimited(*source, path, {}, nullptr);
    };
    EXPECT_THROW(read("a,b\n"), Kernel::Exception);
    EXPECT_THROW(read("a,b\n1,2\n3,4\n5,6\n"), Kernel::Exception);
    auto const source = OpenFile(path, 1 << 20);
    std::filesystem::remove(path);
    EXPECT_EQ(ReadDelimited(*source, path, {}, nullptr).table->GetRowCount(), 3u);
}

TEST_F(RecordFiles, WithOneLineOf200MegabytesAreRefused) {
    EXPECT_EQ(Refuse(Write("line.csv", std::string(200'000'000, 'x'))),
              GetPath("line.csv") + ": the first record: a field has more than 64 MiB");
    EXPECT_EQ(Refuse(Write("line.csv", "a,b\n" + std::string(200'000'000, ','))),
              GetPath("line.csv") + ": record 0: a record has more than 16384 fields");
    EXPECT_EQ(Refuse(Write("line.csv", "a,b\n1,\"" + std::string(200'000'000, 'x'))),
              GetPath("line.csv") + ": record 0: a field has more than 64 MiB");
}

TEST_F(RecordFiles, OfFewBytesThatAskForMuchMemoryAreRefused) {
    std::string text(10'000, ',');
    for (int i = 0; i != 1'000'000; ++i)
        text += "\nx";
    ReadOptions options;
    options.delimiter = ',';
    EXPECT_EQ(Refuse(Write("wide.csv", text), options),
              GetPath("wide.csv") + ": record 104: too many fields are missing up to here");
}

} // namespace
