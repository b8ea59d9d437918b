// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/hardware/test_device.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <thread>

namespace {

using namespace Raster;
using Tests::DriverCall;

constexpr std::size_t c_kilobyte = 1024;

struct SizedDevice : Tests::TestDevice {
    explicit SizedDevice(std::size_t memoryBytes = 256 * c_kilobyte * c_kilobyte, double share = 1)
        : TestDevice(MakeSettings(share), MakeInfo(memoryBytes)) {}
    static HardwareSettings MakeSettings(double share) {
        HardwareSettings settings;
        settings.memoryShare = share;
        return settings;
    }
    static HardwareInfo MakeInfo(std::size_t bytes) {
        auto info = Tests::MemoryDriver::MakeInfo();
        info.memoryBytes = info.largestBlockBytes = bytes;
        return info;
    }
};

std::vector<unsigned char> MakeBytes(std::size_t count) {
    std::vector<unsigned char> bytes(count);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

} // namespace

TEST(DeviceMemory, RowsAreWrittenReadAndCopied) {
    SizedDevice test;
    auto const a = test.device->Allocate(1000), b = test.device->Allocate(1000);
    ASSERT_TRUE(a && b);
    auto const bytes = MakeBytes(1000);
    ASSERT_TRUE(test.device->Write(*a, {0, 100}, bytes.data(), 100, 100, 10));
    // Columns 20 to 49 of rows 2 to 5 to column 5 of rows 0 to 3.
    ASSERT_TRUE(test.device->Copy(*a, {220, 100}, *b, {5, 50}, 30, 4));
    std::vector<unsigned char> read(4 * 30);
    ASSERT_TRUE(test.device->Read(*b, {5, 50}, read.data(), 30, 30, 4));
    for (std::size_t y = 0; y != 4; ++y) {
        for (std::size_t x = 0; x != 30; ++x)
            EXPECT_EQ(read[y * 30 + x], bytes[(y + 2) * 100 + x + 20]);
    }
}

TEST(DeviceMemory, OneRowIsWrittenToMany) {
    SizedDevice test;
    std::size_t const rowBytes = 3000, rows = 1000;
    auto const block = test.device->Allocate(rowBytes * rows);
    auto const row = MakeBytes(rowBytes);
    ASSERT_TRUE(test.device->Write(*block, {0, rowBytes}, row.data(), 0, rowBytes, rows));
    std::vector<unsigned char> read(rowBytes * rows);
    ASSERT_TRUE(test.device->Read(*block, {0, rowBytes}, read.data(), rowBytes, rowBytes, rows));
    for (std::size_t y = 0; y != rows; ++y)
        ASSERT_TRUE(std::equal(row.begin(), row.end(), read.begin() + static_cast<std::ptrdiff_t>(y * rowBytes))) << y;
}

TEST(DeviceMemory, RowsOutsideOfABlockAreRefused) {
    SizedDevice test, other;
    auto const block = test.device->Allocate(1024), second = test.device->Allocate(1024);
    auto const strange = other.device->Allocate(1024);
    ASSERT_EQ(block->GetBytes(), 1024u);
    std::vector<unsigned char> bytes(4096);
    auto const all = ~std::size_t{0};
    struct Case {
        HardwareRows there;
        std::size_t rowBytes, rows;
    };
    for (auto const& one : {Case{{1000, 0}, 25, 1}, Case{{0, 100}, 100, 11}, Case{{0, 99}, 100, 2},
                            Case{{all, 100}, 100, 1}, Case{{0, all}, 100, 2}, Case{{0, all / 2}, 1, 4},
                            Case{{0, 1}, 1, all}, Case{{0, 0}, 1, 2}, Case{{0, 0}, all, 1}}) {
        EXPECT_FALSE(test.device->Write(*block, one.there, bytes.data(), one.rowBytes, one.rowBytes, one.rows));
        EXPECT_FALSE(test.device->Read(*block, one.there, bytes.data(), one.rowBytes, one.rowBytes, one.rows));
        EXPECT_FALSE(test.device->Copy(*block, one.there, *second, {0, 100}, one.rowBytes, one.rows));
        EXPECT_FALSE(test.device->Copy(*second, {0, 100}, *block, one.there, one.rowBytes, one.rows));
    }
    EXPECT_FALSE(test.device->Write(*strange, {0, 10}, bytes.data(), 10, 10, 1));
    EXPECT_FALSE(test.device->Read(*strange, {0, 10}, bytes.data(), 10, 10, 1));
    EXPECT_FALSE(test.device->Copy(*strange, {0, 10}, *block, {0, 10}, 10, 1));
    EXPECT_FALSE(test.device->Copy(*block, {0, 10}, *strange, {0, 10}, 10, 1));
    EXPECT_FALSE(test.device->Read(*block, {0, 100}, bytes.data(), 99, 100, 2));
    // Nothing to do, and the last bytes.
    EXPECT_TRUE(test.device->Write(*block, {1000, 0}, bytes.data(), 0, 24, 1));
    EXPECT_TRUE(test.device->Write(*block, {0, 0}, bytes.data(), 0, 0, 5));
    EXPECT_TRUE(test.device->Read(*block, {0, 0}, bytes.data(), 0, 5, 0));
    EXPECT_TRUE(test.device->Write(*block, {24, 100}, bytes.data(), 100, 100, 10));
}

TEST(DeviceMemory, BlocksOfOneSizeAreUsedAgain) {
    SizedDevice test;
    void* first = nullptr;
    {
        auto const block = test.device->Allocate(100000);
        first = block->Get();
        EXPECT_GE(block->GetBytes(), 100000u);
        EXPECT_LE(block->GetBytes(), 112500u);
        EXPECT_EQ(test.device->GetUsedBytes(), block->GetBytes());
    }
    EXPECT_EQ(test.device->GetUsedBytes(), 0u);
    // About as large.
    EXPECT_EQ(test.device->Allocate(100100)->Get(), first);
    EXPECT_NE(test.device->Allocate(200000)->Get(), first);
    EXPECT_EQ(test.record->GetCalls("Allocate"), 2);
    test.device.reset();
    EXPECT_EQ(test.record->GetBlocks(), 0);
}

TEST(DeviceMemory, KeptBlocksAreBounded) {
    SizedDevice test(1024 * c_kilobyte);
    std::vector<std::shared_ptr<DeviceBlock>> blocks;
    for (int i = 0; i != 16; ++i)
        blocks.push_back(test.device->Allocate(64 * c_kilobyte));
    ASSERT_EQ(test.device->GetUsedBytes(), test.device->GetMemoryLimit());
    blocks.clear();
    EXPECT_EQ(test.record->GetBlocks(), 4);
    // One that takes all lets go of them.
    EXPECT_NE(test.device->Allocate(1024 * c_kilobyte), nullptr);
    for (int i = 0; i != 200; ++i)
        blocks.push_back(test.device->Allocate(256));
    blocks.clear();
    EXPECT_LE(test.record->GetBlocks(), 64);
    EXPECT_LE(test.record->GetMostBytes(), 1024 * c_kilobyte);
}

TEST(DeviceMemory, NoMoreThanTheShareIsTaken) {
    SizedDevice test(1024 * c_kilobyte, 0.25);
    EXPECT_EQ(test.device->GetMemoryLimit(), 256 * c_kilobyte);
    EXPECT_EQ(test.device->Allocate(257 * c_kilobyte), nullptr);
    auto const half = test.device->Allocate(128 * c_kilobyte);
    EXPECT_NE(half, nullptr);
    EXPECT_EQ(test.device->Allocate(129 * c_kilobyte), nullptr);
    EXPECT_NE(test.device->Allocate(128 * c_kilobyte), nullptr);
    EXPECT_EQ(SizedDevice(1024 * c_kilobyte, 7).device->GetMemoryLimit(), 1024 * c_kilobyte);
    for (double const share : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(SizedDevice(1024 * c_kilobyte, share).device->Allocate(1), nullptr);
}

TEST(DeviceMemory, HoldersAreAskedForWhatIsMissing) {
    SizedDevice test(1024 * c_kilobyte);
    std::vector<std::shared_ptr<DeviceBlock>> blocks;
    std::vector<std::size_t> asked;
    test.device->SetEvict([&](std::size_t bytes) {
        asked.push_back(bytes);
        // Memory that it wants itself while it makes room comes without asking again.
        EXPECT_EQ(test.device->Allocate(512 * c_kilobyte), nullptr);
        if (!blocks.empty())
            blocks.erase(blocks.begin());
    });
    for (int i = 0; i != 5; ++i) {
        blocks.push_back(test.device->Allocate(256 * c_kilobyte));
        ASSERT_NE(blocks.back(), nullptr);
    }
    EXPECT_EQ(asked, std::vector<std::size_t>{256 * c_kilobyte});
    // The holders give up too little.
    EXPECT_EQ(test.device->Allocate(1024 * c_kilobyte), nullptr);
    EXPECT_EQ(asked.size(), 2u);
    EXPECT_EQ(asked.back(), 1024 * c_kilobyte);
    // More than there can be is not asked for.
    EXPECT_EQ(test.device->Allocate(1025 * c_kilobyte), nullptr);
    EXPECT_EQ(asked.size(), 2u);
    test.device->SetEvict({});
    EXPECT_EQ(test.device->Allocate(1024 * c_kilobyte), nullptr);
    blocks.clear();
    EXPECT_NE(test.device->Allocate(1024 * c_kilobyte), nullptr);
}

TEST(DeviceMemory, HoldersAreAskedWhenTheDriverHasNoMore) {
    for (auto const kind : {DriverCall::Allocate, DriverCall::Write, DriverCall::Read, DriverCall::Copy}) {
        SizedDevice test;
        auto const block = test.device->Allocate(1000);
        auto const bytes = MakeBytes(1000);
        int asked = 0;
        test.device->SetEvict([&](std::size_t missing) {
            ++asked;
            EXPECT_GE(missing, 1000u);
        });
        std::shared_ptr<DeviceBlock> other;
        std::vector<unsigned char> read(1000);
        auto const run = [&] {
            other = test.device->Allocate(1000);
            return other && test.device->Write(*block, {0, 1000}, bytes.data(), 1000, 1000, 1) &&
                   test.device->Copy(*block, {0, 1000}, *other, {0, 1000}, 1000, 1) &&
                   test.device->Read(*other, {0, 1000}, read.data(), 1000, 1000, 1);
        };
        test.failures->Set(kind, 1, HardwareStatus::OutOfMemory);
        EXPECT_TRUE(run());
        EXPECT_EQ(read, bytes);
        EXPECT_EQ(asked, 1);
        // A device that never has enough is asked once more each time, and no oftener.
        other.reset();
        test.failures->Set(kind, 1, HardwareStatus::OutOfMemory, true);
        auto const second = test.device->Allocate(5000);
        EXPECT_EQ(second == nullptr, kind == DriverCall::Allocate);
        if (kind != DriverCall::Allocate) {
            EXPECT_FALSE(run());
        }
        EXPECT_EQ(asked, 2);
        EXPECT_FALSE(test.device->IsLost());
    }
}

TEST(DeviceMemory, KeptBlocksGoBeforeHoldersAreAsked) {
    SizedDevice test;
    int asked = 0;
    test.device->SetEvict([&](std::size_t) { ++asked; });
    test.device->Allocate(1000).reset();
    EXPECT_EQ(test.record->GetBlocks(), 1);
    test.failures->Set(DriverCall::Allocate, 1, HardwareStatus::OutOfMemory);
    auto const block = test.device->Allocate(2000);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(test.record->GetBlocks(), 1);
    EXPECT_EQ(asked, 0);
}

TEST(DeviceMemory, AFailedCallIsFalseAndNoMore) {
    SizedDevice test;
    auto const block = test.device->Allocate(1000);
    std::vector<unsigned char> bytes(1000);
    for (auto const kind : {DriverCall::Write, DriverCall::Read, DriverCall::Copy, DriverCall::Allocate}) {
        test.failures->Set(kind, 1, HardwareStatus::Failed);
        // Of a size that no block of before has.
        auto const other = test.device->Allocate(10000 * (1 + static_cast<std::size_t>(kind)));
        EXPECT_EQ(other == nullptr, kind == DriverCall::Allocate);
        EXPECT_EQ(test.device->Write(*block, {0, 10}, bytes.data(), 10, 10, 1), kind != DriverCall::Write);
        EXPECT_EQ(test.device->Copy(*block, {0, 10}, *block, {100, 10}, 10, 1), kind != DriverCall::Copy);
        EXPECT_EQ(test.device->Read(*block, {0, 10}, bytes.data(), 10, 10, 1), kind != DriverCall::Read);
        EXPECT_FALSE(test.device->IsLost());
    }
}

TEST(DeviceMemory, ALostDeviceIsAskedForNothingMore) {
    for (auto const kind : {DriverCall::Allocate, DriverCall::Write, DriverCall::Read, DriverCall::Copy}) {
        SizedDevice test;
        auto const block = test.device->Allocate(1000);
        std::vector<unsigned char> bytes(1000);
        bool isAsked = false;
        test.device->SetEvict([&](std::size_t) { isAsked = true; });
        test.failures->Set(kind, 1, HardwareStatus::Lost);
        auto const run = [&] {
            return test.device->Allocate(50000) && test.device->Write(*block, {0, 10}, bytes.data(), 10, 10, 1) &&
                   test.device->Copy(*block, {0, 10}, *block, {100, 10}, 10, 1) &&
                   test.device->Read(*block, {0, 10}, bytes.data(), 10, 10, 1);
        };
        EXPECT_FALSE(run());
        EXPECT_TRUE(test.device->IsLost());
        int const calls = test.failures->GetCount(DriverCall::Any);
        EXPECT_FALSE(run());
        EXPECT_EQ(test.device->Allocate(1), nullptr);
        EXPECT_FALSE(test.device->Write(*block, {0, 10}, bytes.data(), 10, 10, 1));
        EXPECT_FALSE(test.device->Write(*block, {0, 10}, bytes.data(), 10, 10, 0));
        EXPECT_FALSE(test.device->Copy(*block, {0, 10}, *block, {100, 10}, 10, 1));
        EXPECT_FALSE(test.device->Read(*block, {0, 10}, bytes.data(), 10, 10, 1));
        EXPECT_EQ(test.device->GetIdentityBuffer(), nullptr);
        EXPECT_EQ(test.failures->GetCount(DriverCall::Any), calls);
        EXPECT_FALSE(isAsked);
    }
}

TEST(DeviceMemory, BlocksKeepTheirDevice) {
    SizedDevice test;
    auto const block = test.device->Allocate(1000);
    std::weak_ptr<Device> const device = test.device;
    test.device.reset();
    ASSERT_FALSE(device.expired());
    std::vector<unsigned char> bytes(10);
    EXPECT_TRUE(block->GetDevice().Write(*block, {0, 10}, bytes.data(), 10, 10, 1));
    EXPECT_EQ(test.record->GetBlocks(), 1);
}

TEST(DeviceMemory, TheIdentityBufferIsOneAndCountsNothing) {
    SizedDevice test(c_kilobyte);
    test.failures->Set(DriverCall::Write, 1, HardwareStatus::Failed);
    EXPECT_EQ(test.device->GetIdentityBuffer(), nullptr);
    test.failures->Set(DriverCall::Allocate, 1, HardwareStatus::OutOfMemory);
    EXPECT_EQ(test.device->GetIdentityBuffer(), nullptr);
    void* const buffer = test.device->GetIdentityBuffer();
    EXPECT_NE(buffer, nullptr);
    EXPECT_EQ(test.device->GetIdentityBuffer(), buffer);
    EXPECT_EQ(test.device->GetUsedBytes(), 0u);
    test.device.reset();
    EXPECT_EQ(test.record->GetBlocks(), 0);
}

TEST(DeviceMemory, ThreadsShareADeviceThatIsShortOfMemory) {
    SizedDevice test(1024 * c_kilobyte);
    std::mutex mutex;
    std::vector<std::shared_ptr<DeviceBlock>> held;
    test.device->SetEvict([&](std::size_t) {
        std::vector<std::shared_ptr<DeviceBlock>> given;
        std::scoped_lock const lock(mutex);
        given.swap(held);
    });
    std::atomic<int> wrong{0}, refused{0};
    auto const work = [&](unsigned seed) {
        std::mt19937 random(seed);
        for (int i = 0; i != 400; ++i) {
            std::size_t const bytes = 1000 + random() % (200 * c_kilobyte);
            auto const block = test.device->Allocate(bytes);
            if (block == nullptr) {
                ++refused;
                continue;
            }
            std::vector<unsigned char> const written(bytes, static_cast<unsigned char>(random()));
            std::vector<unsigned char> read(bytes);
            if (!test.device->Write(*block, {0, bytes}, written.data(), bytes, bytes, 1) ||
                !test.device->Read(*block, {0, bytes}, read.data(), bytes, bytes, 1) || read != written)
                ++wrong;
            std::scoped_lock const lock(mutex);
            held.push_back(block);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i != 4; ++i)
        threads.emplace_back(work, i);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_LE(test.record->GetMostBytes(), 1024 * c_kilobyte);
    EXPECT_LT(refused, 1600);
}
