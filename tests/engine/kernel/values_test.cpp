// SPDX-License-Identifier: Apache-2.0
#include "engine/kernel/crc32c.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/file_store.h"
#include "platform/kernel/files.h"
#include "platform/kernel/index_range_list.h"
#include "platform/kernel/notification.h"
#include "platform/kernel/string.h"
#include "platform/kernel/trace.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Kernel;

TEST(String, MalformedBytesBecomeTheReplacementCharacter) {
    // The Unicode Standard, table 3-8 and the text before it.
    EXPECT_EQ(String("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64").view(),
              "a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
    EXPECT_EQ(String("\xC0\xAF").view(), "\uFFFD\uFFFD");
    EXPECT_EQ(String("\xED\xA0\x80").view(), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(String("\xF4\x90\x80\x80").view(), "\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(String("12345678\xE2\x82").view(), "12345678\uFFFD");
    EXPECT_EQ(String("a\xE2\x82\xAC\xF0\x9F\x98\x80").size(), 8u);
}

TEST(String, KeepsZeroBytesAndSharesItsText) {
    String const text(std::string_view("a\0b", 3));
    EXPECT_EQ(text.size(), 3u);
    String const copy = text;
    EXPECT_EQ(copy.c_str(), text.c_str());
    EXPECT_TRUE(String("").empty());
    EXPECT_STREQ(String().c_str(), "");
    EXPECT_LT(String("a"), String("b"));
}

TEST(LocalisedString, IsTheOriginalWithoutACatalogue) {
    EXPECT_EQ(LocalisedString("Ungroup", "Command description").ToString(), String("Ungroup"));
    EXPECT_EQ(LocalisedString("Ungroup", "").ToString(), String("Ungroup"));
    // gettext would answer the empty text with the catalogue's header.
    EXPECT_TRUE(LocalisedString("", "Command description").ToString().empty());
}

TEST(Crc32c, EqualsThePublishedValuesAndTheTable) {
    // RFC 3720, appendix B.4.
    std::vector<std::byte> bytes(32);
    EXPECT_EQ(Detail::ComputeCrc32c(bytes.data(), 32), 0x8A9136AAu);
    std::fill(bytes.begin(), bytes.end(), std::byte{0xFF});
    EXPECT_EQ(Detail::ComputeCrc32cByTable(bytes.data(), 32), 0x62A8AB43u);
    std::mt19937 random(1);
    for (std::size_t size = 0; size != 100; ++size) {
        bytes.resize(size);
        for (auto& byte : bytes)
            byte = std::byte(random());
        EXPECT_EQ(Detail::ComputeCrc32c(bytes.data(), size), Detail::ComputeCrc32cByTable(bytes.data(), size));
    }
}

TEST(BlobKey, IsTheCanonicalXxh3OfTheBytes) {
    // XXH3-128 of no bytes with seed 0, as its reference prints it.
    auto const key = ComputeBlobKey({});
    EXPECT_EQ(key.bytes[0], std::byte{0x99});
    EXPECT_EQ(key.bytes[1], std::byte{0xAA});
    EXPECT_EQ(key.bytes[15], std::byte{0x7F});
}

TEST(ClassRegistry, FindsClassesByTagAndKeepsTheirOrder) {
    std::vector<std::unique_ptr<ClassProperties>> properties;
    std::vector<std::unique_ptr<ClassPropertiesBase::Init>> inits;
    auto const before = ClassRegistry::GetAll();
    for (std::uint32_t i = 0; i != 2000; ++i) {
        auto const uid = ClassUID::FromValue(0x61616161u + i * 257);
        properties.push_back(std::make_unique<ClassProperties>(uid, nullptr, 1, nullptr,
                                                               i == 0 ? nullptr : properties[i / 2].get(), "Test"));
        inits.push_back(std::make_unique<ClassPropertiesBase::Init>(properties.back().get()));
    }
    for (auto const& item : properties)
        EXPECT_EQ(ClassRegistry::Find(item->GetClassUID()), item.get());
    EXPECT_EQ(ClassRegistry::Find("zzzz"), nullptr);
    EXPECT_THROW(ClassPropertiesBase::Init{properties[5].get()}, Exception);
    EXPECT_TRUE(properties[1500]->IsDerivedFrom(properties[0].get()));
    EXPECT_FALSE(properties[0]->IsDerivedFrom(properties[1].get()));
    auto all = ClassRegistry::GetAll();
    ASSERT_EQ(all.size(), before.size() + 2000);
    EXPECT_EQ(all[before.size() + 7], properties[7].get());
    inits.erase(inits.begin() + 3);
    EXPECT_EQ(ClassRegistry::Find(properties[3]->GetClassUID()), nullptr);
    EXPECT_EQ(ClassRegistry::Find(properties[4]->GetClassUID()), properties[4].get());
    inits.clear();
    EXPECT_EQ(ClassRegistry::GetAll(), before);
}

TEST(Exception, KeepsThePlaceOfTheThrow) {
    auto const line = __LINE__ + 2;
    try {
        throw DamagedDataException("bad");
    } catch (Exception const& exception) {
        EXPECT_EQ(exception.GetSourceLocation().line(), static_cast<unsigned>(line));
        EXPECT_NE(std::string_view(exception.GetSourceLocation().file_name()).find("values_test"), std::string::npos);
        EXPECT_STREQ(exception.what(), "bad");
    }
}

struct ThreadCount {
    explicit ThreadCount(unsigned count) { Dispatch::SetThreadCount(count); }
    ~ThreadCount() { Dispatch::SetThreadCount(Dispatch::GetNumberOfRealCPUs()); }
};

TEST(Dispatch, RunsEachItemOnce) {
    for (unsigned const threads : {1u, 2u, 7u}) {
        ThreadCount const count(threads);
        EXPECT_EQ(Dispatch::GetThreadCount(), threads);
        for (std::size_t const items : {0u, 1u, 1000u}) {
            std::vector<std::atomic<int>> done(items);
            ParallelFor(items, [&](std::size_t i) {
                // Loops may stand in loops.
                ParallelFor(3, [&](std::size_t) { ++done[i]; });
            });
            for (auto const& item : done)
                EXPECT_EQ(item.load(), 3);
        }
    }
}

TEST(Dispatch, AThreadThatWaitsForALoopInsideAnItemBeginsNoOtherItem) {
    ThreadCount const count(4);
    static thread_local bool s_isInItem = false;
    std::atomic<int> begunInside{0};
    ParallelFor(200, [&](std::size_t) {
        begunInside += s_isInItem ? 1 : 0;
        bool const before = std::exchange(s_isInItem, true);
        std::atomic<unsigned> sum{0};
        ParallelFor(16, [&](std::size_t) {
            for (unsigned i = 0; i != 20000; ++i)
                sum.fetch_add(i, std::memory_order_relaxed);
        });
        s_isInItem = before;
    });
    EXPECT_EQ(begunInside.load(), 0);
}

TEST(Dispatch, OneThreadWorksInOrder) {
    ThreadCount const count(1);
    std::vector<std::uint64_t> order;
    Dispatch::DispatchParallelFor([&](std::uint64_t i) { order.push_back(i); }, 100,
                                  Dispatch::DispatchPriority::Background, Dispatch::ThreadPurpose::General, 0);
    EXPECT_TRUE(std::ranges::is_sorted(order));
    EXPECT_EQ(order.size(), 100u);
}

TEST(Dispatch, ThrowsWhatAnItemThrew) {
    for (unsigned const threads : {1u, 4u}) {
        ThreadCount const count(threads);
        auto const work = [](std::size_t i) {
            if (i == 500)
                throw AbortException();
        };
        EXPECT_THROW(ParallelFor(1000, work), AbortException);
        std::atomic<int> done{0};
        ParallelFor(100, [&](std::size_t) { ++done; });
        EXPECT_EQ(done.load(), 100);
    }
}

TEST(Abortable, SeesTheFlagOfAnother) {
    class Work final : public Abortable {
    } work;
    EXPECT_FALSE(work.IsAborted());
    bool abort = false;
    work.SetAbortPointer(&abort);
    EXPECT_FALSE(work.IsAborted());
    abort = true;
    EXPECT_TRUE(work.IsAborted());
}

TEST(Notification, IsByDefaultForwardedAndNeverMerged) {
    class Change final : public Notification {};
    auto const change = MakeCounted<Change>();
    EXPECT_EQ(change->GetDedupeId(), 0);
    EXPECT_FALSE(change->Merge(MakeCounted<Change>()));
    EXPECT_TRUE(change->ShouldForwardToFrontEnd());
}

TEST(Trace, GoesToTheSinkThatIsSet) {
    std::vector<String> lines;
    Trace::Write("lost\r\n");
    Trace::SetSink([&](String const& line) { lines.push_back(line); });
    Trace::Write("Flatten = 1ms\r\n");
    Trace::SetSink(nullptr);
    Trace::Write("lost\r\n");
    EXPECT_EQ(lines, (std::vector<String>{"Flatten = 1ms\r\n"}));
}

TEST(IndexRangeList, EqualsASetOfIndexes) {
    std::mt19937 random(3);
    for (int round = 0; round != 200; ++round) {
        IndexRangeList list;
        std::set<std::int64_t> set;
        for (int step = 0; step != 40; ++step) {
            std::int64_t const first = random() % 60, last = first + random() % 12 - 2;
            if (random() % 2 == 0) {
                list.Add(first, last);
                for (auto i = first; i < last; ++i)
                    set.insert(i);
            } else {
                list.Remove(first, last);
                for (auto i = first; i < last; ++i)
                    set.erase(i);
            }
            ASSERT_EQ(list.GetCount(), set.size());
            for (std::int64_t i = -3; i != 75; ++i)
                ASSERT_EQ(list.Contains(i), set.contains(i));
            for (std::size_t i = 1; i < list.GetRanges().size(); ++i)
                ASSERT_LT(list.GetRanges()[i - 1].last, list.GetRanges()[i].first);
        }
        list.Clamp(10, 20);
        EXPECT_EQ(list.GetCount(), static_cast<std::size_t>(
                                       std::ranges::count_if(set, [](std::int64_t i) { return i >= 10 && i <= 20; })));
    }
}

TEST(IndexRangeList, ClampsAtTheEndsOfTheNumbers) {
    constexpr auto c_lowest = std::numeric_limits<std::int64_t>::min();
    constexpr auto c_highest = std::numeric_limits<std::int64_t>::max();
    IndexRangeList list;
    list.Add(c_lowest, c_highest);
    list.Clamp(c_lowest, c_highest);
    EXPECT_TRUE(list.Contains(c_highest - 1));
    list.Clamp(0, 9);
    EXPECT_EQ(list.GetCount(), 10u);
    list.Clamp(5, 4);
    EXPECT_TRUE(list.IsEmpty());
}

class Folder {
public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "kernel-XXXXXX";
        m_path = ::mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    std::filesystem::path operator/(char const* name) const { return m_path / name; }
    std::size_t CountFiles() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
    }
    std::filesystem::path m_path;
};

std::span<std::byte const> AsBytes(std::string_view text) { return std::as_bytes(std::span(text)); }

TEST(Files, AWholeFileIsReadAsItWasWritten) {
    Folder const folder;
    String const path((folder / "file").string());
    WriteWholeFile(path, AsBytes("some text"));
    auto const bytes = ReadWholeFile(path, 9);
    EXPECT_TRUE(std::ranges::equal(bytes, AsBytes("some text")));
    EXPECT_THROW(ReadWholeFile(path, 8), FileException);
    EXPECT_THROW(ReadWholeFile("/dev/zero", 100000), FileException);
    EXPECT_THROW(ReadWholeFile((folder / "none").string(), 10), FileException);
    EXPECT_THROW(ReadWholeFile(folder.m_path.string(), 10), FileException);
    WriteWholeFile(path, {});
    EXPECT_TRUE(ReadWholeFile(path, 0).empty());
}

TEST(Files, AnAtomicFileAppearsOnCommitOrNotAtAll) {
    Folder const folder;
    String const path((folder / "file").string());
    WriteWholeFile(path, AsBytes("old"));
    ::chmod(path.c_str(), 0640);
    {
        AtomicFile file(path);
        file.Write(AsBytes("half"));
    }
    EXPECT_EQ(folder.CountFiles(), 1u);
    EXPECT_EQ(ReadWholeFile(path, 10).size(), 3u);
    std::filesystem::create_symlink(path.c_str(), folder / "link");
    AtomicFile file((folder / "link").string());
    file.Write(AsBytes("newer"));
    file.Commit();
    EXPECT_EQ(ReadWholeFile(path, 10).size(), 5u);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    struct stat status {};
    ::stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    EXPECT_THROW(AtomicFile((folder / "none/file").string()), FileException);
    EXPECT_EQ(folder.CountFiles(), 2u);
}

TEST(Files, OpenAnswersWhetherTheSystemLetsUs) {
    Folder const folder;
    File file;
    auto const open = [&](char const* name, File::AccessMode access) {
        return file.Open((folder / name).c_str(), access, File::ShareMode::Exclusive, File::VisibilityMode::Normal);
    };
    EXPECT_FALSE(open("none", File::AccessMode::Read));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(open("file", File::AccessMode{5}));
    file.Write(AsBytes("abc"));
    file.Close();
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(open("file", File::AccessMode::Read));
    EXPECT_EQ(file.GetSize(), 3u);
    std::byte buffer[8];
    EXPECT_EQ(file.Read(buffer), 3u);
    EXPECT_THROW(file.Write(AsBytes("x")), FileException);
    EXPECT_FALSE(open("none/none", File::AccessMode::Create));
    EXPECT_FALSE(file.IsOpen());
}

} // namespace
