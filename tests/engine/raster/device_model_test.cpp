// SPDX-License-Identifier: Apache-2.0
// Random sequences of all that can happen to bitmaps on a device, against plain arrays.
#include "platform/raster/deduplication.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/pixel_cursor.h"
#include "tests/engine/raster/device_samples.h"

#include <gtest/gtest.h>

#include <optional>

namespace Raster::Tests {
namespace {

using Rect = Kernel::RectT<int>;

// A bitmap beside its pixels.
struct Pair {
    Kernel::Counted<BitmapBase> bitmap;
    Bytes pixels;
};

class Model {
public:
    Model(Format format, int width, int height, unsigned seed, int failEach)
        : m_format(format),
          m_info(GetFormatInfo(format)),
          m_width(width),
          m_height(height),
          m_random(seed),
          m_failEach(failEach) {
        Restart();
        for (int i = 0; i != 4; ++i) {
            auto const image = MakeNoise(format, width, height, seed + static_cast<unsigned>(i));
            m_pairs.push_back({MakeNoiseBitmap(format, width, height, seed + static_cast<unsigned>(i),
                                               i % 2 == 0 ? MipmapMode::None : MipmapMode::OnDemand),
                               image.pixels});
        }
    }

    void Run(int steps) {
        for (m_step = 0; m_step != steps && !testing::Test::HasFailure(); ++m_step)
            Step();
        for (std::size_t i = 0; i != m_pairs.size(); ++i)
            EXPECT_EQ(ReadAll(*m_pairs[i].bitmap), m_pairs[i].pixels) << Tell();
    }

    int m_runsOnDevice = 0;

private:
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    Pair& PickPair() { return m_pairs[static_cast<std::size_t>(Pick(static_cast<int>(m_pairs.size())))]; }
    std::string Tell() const { return std::string(GetFormatName(m_format)) + ", step " + std::to_string(m_step); }
    Rect PickRect() {
        if (Pick(4) == 0)
            return {0, 0, m_width, m_height};
        int const left = Pick(m_width), top = Pick(m_height);
        Rect rect{left, top, left + 1 + Pick(m_width - left), top + 1 + Pick(m_height - top)};
        if (Pick(3) == 0) // on the grid of tiles
            rect = Rect{rect.left & ~255, rect.top & ~255, (rect.right + 255) & ~255, (rect.bottom + 255) & ~255}
                       .Intersected({0, 0, m_width, m_height});
        return rect;
    }
    std::size_t PixelBytes() const { return static_cast<std::size_t>(m_info.channelCount * m_info.sampleBytes); }
    std::size_t RowBytes() const { return PixelBytes() * static_cast<std::size_t>(m_width); }
    template <class F>
    void ForEachByte(Rect const& rect, F const& edit) {
        for (int y = rect.top; y != rect.bottom; ++y) {
            for (std::size_t i = static_cast<std::size_t>(rect.left) * PixelBytes();
                 i != static_cast<std::size_t>(rect.right) * PixelBytes(); ++i)
                edit(static_cast<std::size_t>(y) * RowBytes() + i);
        }
    }
    void Restart() {
        m_device.reset();
        m_device.emplace(std::size_t(m_width) * std::size_t(m_height) * PixelBytes() * 5 + 200000);
    }

    void Step() {
        if (m_failEach != 0 && Pick(3) == 0)
            m_device->failures->Set(static_cast<DriverCall>(Pick(4)), 1 + Pick(m_failEach),
                                    Pick(12) == 0  ? HardwareStatus::Lost
                                    : Pick(3) == 0 ? HardwareStatus::OutOfMemory
                                                   : HardwareStatus::Failed,
                                    Pick(10) == 0);
        if (m_device->Get().IsLost() && Pick(4) == 0)
            Restart();
        switch (Pick(16)) {
        case 0:
            return Write();
        case 1:
            return Fill();
        case 2:
            return Clone();
        case 3:
            return Copy();
        case 4:
            return Evict();
        case 5:
            static_cast<void>(PickPair().bitmap->SyncHardwareCache(m_device->handle, PickRect(), false, nullptr));
            return;
        case 6:
            EXPECT_TRUE(PickPair().bitmap->SyncHostCache(PickRect(), false, nullptr));
            return;
        case 7:
            return ReadByTiles();
        case 8:
            return ReadRect();
        case 9:
            return Compare();
        case 10:
            return WriteByCursor();
        case 11:
            if (m_failEach != 0 && Pick(6) == 0)
                m_device->Get().MarkLost();
            return;
        default:
            return RunEffect();
        }
    }

    void Write() {
        auto& [bitmap, pixels] = PickPair();
        auto const rect = PickRect();
        auto const noise = MakeNoise(m_format, rect.GetWidth(), rect.GetHeight(), m_random());
        bitmap->WritePixels(rect, noise.pixels.data(), noise.rowBytes);
        std::size_t next = 0;
        ForEachByte(rect, [&](std::size_t i) { pixels[i] = noise.pixels[next++]; });
    }
    void Fill() {
        auto& [bitmap, pixels] = PickPair();
        auto const rect = PickRect();
        std::uint32_t const bits = Pick(3) == 0 ? 0 : m_random() % 200;
        for (int channel = 0; channel != m_info.channelCount; ++channel)
            bitmap->GetPlane(channel).FillSamples(rect, bits);
        bitmap->FinishChange(rect);
        auto const sampleBytes = static_cast<std::size_t>(m_info.sampleBytes);
        ForEachByte(rect,
                    [&](std::size_t i) { pixels[i] = static_cast<std::uint8_t>(bits >> (8 * (i % sampleBytes))); });
    }
    void Clone() {
        auto const& from = PickPair();
        PickPair() = {from.bitmap->Clone(nullptr), from.pixels};
    }
    void Copy() {
        auto const& from = PickPair();
        auto& to = PickPair();
        auto const rect = PickRect();
        bool const onGrid = Pick(2) == 0;
        Kernel::PointT<int> place{onGrid ? rect.left % 256 : Pick(m_width), onGrid ? rect.top % 256 : Pick(m_height)};
        int const width = std::min(rect.GetWidth(), m_width - place.x);
        int const height = std::min(rect.GetHeight(), m_height - place.y);
        Bytes const before = from.pixels;
        to.bitmap->Copy(*from.bitmap, rect, place);
        for (int y = 0; y < height; ++y)
            std::memcpy(&to.pixels[static_cast<std::size_t>(place.y + y) * RowBytes() +
                                   static_cast<std::size_t>(place.x) * PixelBytes()],
                        &before[static_cast<std::size_t>(rect.top + y) * RowBytes() +
                                static_cast<std::size_t>(rect.left) * PixelBytes()],
                        static_cast<std::size_t>(width) * PixelBytes());
    }
    void Evict() {
        auto const free = m_device->Get().GetMemoryLimit() - m_device->Get().GetUsedBytes();
        m_device->Get().Allocate(free + 1 + static_cast<std::size_t>(Pick(1 << 20)));
    }
    void RunEffect() {
        auto const source = PickPair().bitmap->Clone(nullptr);
        auto const& from = m_pairs[static_cast<std::size_t>(Pick(4))];
        auto& to = PickPair();
        auto const rect = PickRect();
        bool const readsDestination = Pick(2) == 0;
        auto const destination = to.bitmap->Clone(nullptr);
        auto const sourceClone = from.bitmap->Clone(nullptr);
        m_runsOnDevice += Tests::Run(m_device->handle, *destination, *sourceClone, rect, readsDestination);
        Bytes const before = from.pixels;
        ForEachByte(rect, [&](std::size_t i) { to.pixels[i] = Process(readsDestination, before[i], to.pixels[i]); });
        // As a pipeline does: the result comes into the bitmap at the end, or takes its place.
        if (Pick(2) == 0)
            to.bitmap->Copy(*destination, rect, {rect.left, rect.top});
        else
            to.bitmap = destination;
    }
    void WriteByCursor() {
        auto& [bitmap, pixels] = PickPair();
        int const channel = Pick(m_info.channelCount), x = Pick(m_width), y = Pick(m_height);
        {
            WriteCursor cursor(*bitmap, AccessorSync::Load);
            cursor.Enter(x, y);
            auto const at = static_cast<std::size_t>((y & 255) * 256 + (x & 255));
            auto* const samples = cursor.GetMutableSamples<std::uint8_t>(channel, x & ~255, y & ~255);
            samples[at * static_cast<std::size_t>(m_info.sampleBytes)] = 77;
        }
        bitmap->FinishChange({x, y, x + 1, y + 1});
        pixels[static_cast<std::size_t>(y) * RowBytes() + static_cast<std::size_t>(x) * PixelBytes() +
               static_cast<std::size_t>(channel * m_info.sampleBytes)] = 77;
    }
    void ReadRect() {
        auto const& [bitmap, pixels] = PickPair();
        auto const rect = PickRect();
        Image image(m_format, rect.GetWidth(), rect.GetHeight());
        bitmap->ReadPixels(rect, image.pixels.data(), image.rowBytes);
        std::size_t next = 0, wrong = 0;
        ForEachByte(rect, [&](std::size_t i) { wrong += image.pixels[next++] != pixels[i]; });
        EXPECT_EQ(wrong, 0u) << Tell();
    }
    void ReadByTiles() {
        auto const& [bitmap, pixels] = PickPair();
        int const channel = Pick(m_info.channelCount), x = Pick(m_width), y = Pick(m_height);
        Tile const tile = bitmap->GetPlane(channel).GetConstTile(x >> 8, y >> 8);
        auto const sampleBytes = static_cast<std::size_t>(m_info.sampleBytes);
        auto const at = static_cast<std::size_t>((y & 255) * 256 + (x & 255)) * sampleBytes;
        auto const expected =
            &pixels[static_cast<std::size_t>(y) * RowBytes() + static_cast<std::size_t>(x) * PixelBytes() +
                    static_cast<std::size_t>(channel) * sampleBytes];
        if (auto const constant = tile.GetConstant()) {
            EXPECT_EQ(std::memcmp(&*constant, expected, sampleBytes), 0) << Tell();
        }
        EXPECT_EQ(std::memcmp(static_cast<std::uint8_t const*>(tile.GetConstBuffer()) + at, expected, sampleBytes), 0)
            << Tell();
    }
    // With a bitmap that never was on a device: keys, levels, equality, and what sharing equal tiles leaves.
    void Compare() {
        auto const& [bitmap, pixels] = PickPair();
        auto const plain = BitmapBase::Create(m_width, m_height, m_format, bitmap->GetMipmapMode());
        plain->WritePixels(plain->GetBounds(), pixels.data(), RowBytes());
        switch (Pick(4)) {
        case 0:
            for (int channel = 0; channel != m_info.channelCount; ++channel)
                EXPECT_EQ(bitmap->GetPlane(channel).GetKeys(), plain->GetPlane(channel).GetKeys()) << Tell();
            return;
        case 1:
            if (bitmap->GetMipmapLevels() != 0 && bitmap->GetMipmapMode() != MipmapMode::None) {
                bitmap->UpdateMipmaps(0, nullptr);
                plain->UpdateMipmaps(0, nullptr);
                EXPECT_TRUE(bitmap->GetMipmap(1)->HasEqualPixels(*plain->GetMipmap(1))) << Tell();
            }
            return;
        case 2: {
            BlockDeduplicationSupport support;
            for (int channel = 0; channel != m_info.channelCount; ++channel)
                support.Deduplicate(bitmap->GetPlane(channel), nullptr);
            return;
        }
        default:
            bitmap->ReleaseLoadedTiles();
            EXPECT_TRUE(bitmap->HasEqualPixels(*plain)) << Tell();
        }
    }

    Format m_format;
    FormatInfo m_info;
    int m_width, m_height;
    std::mt19937 m_random;
    int m_failEach;
    int m_step = 0;
    std::optional<TestDevice> m_device;
    std::vector<Pair> m_pairs;
};

} // namespace

TEST(DeviceModel, BitmapsHoldTheSamePixelsAsPlainArrays) {
    int runs = 0;
    for (auto [format, width, height] : {std::tuple{FormatRGBA8, 700, 300},
                                         {FormatA16, 256, 512},
                                         {FormatRGBAF, 300, 260},
                                         {FormatCMYKA8, 513, 257},
                                         {FormatIA8, 63, 5},
                                         {FormatA8, 1, 1}}) {
        Model model(format, width, height, 1, 0);
        model.Run(600);
        runs += model.m_runsOnDevice;
    }
    // About a quarter of the steps; memory is short on purpose.
    EXPECT_GT(runs, 400);
}

TEST(DeviceModel, BitmapsHoldTheSamePixelsWhenCallsOfTheDriverFail) {
    int runs = 0;
    for (int const failEach : {3, 20, 100}) {
        for (auto [format, width, height] : {std::tuple{FormatRGBA8, 300, 520},
                                             {FormatIA16, 600, 256},
                                             {FormatLABA16, 257, 255},
                                             {FormatAF, 511, 300}}) {
            Model model(format, width, height, static_cast<unsigned>(failEach), failEach);
            model.Run(500);
            runs += model.m_runsOnDevice;
        }
    }
    EXPECT_GT(runs, 200);
}

} // namespace Raster::Tests
