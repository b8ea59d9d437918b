// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/bitmap.h"

#include "platform/kernel/exception.h"
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

#include <thread>

namespace Raster {
namespace {

using Rect = Kernel::RectT<int>;
constexpr std::size_t c_tileBytes8 = c_tileSamples;

TEST(Bitmap, RefusesSizesBeforeItTakesMemory) {
    auto const before = Tile::GetAllocatedBytes();
    for (auto [width, height] : {std::pair{0, 5}, {5, 0}, {-1, 5}, {2147483647, 2147483647}, {5, c_maximumSide + 1}}) {
        try {
            BitmapBase::Create(width, height, FormatRGBA8);
            ADD_FAILURE() << width << " x " << height;
        } catch (Kernel::Exception const& e) {
            EXPECT_NE(std::string(e.what()).find(std::to_string(width) + " x " + std::to_string(height)),
                      std::string::npos)
                << e.what();
        }
    }
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
}

TEST(Bitmap, RefusesTheFormatThatNothingHandles) {
    EXPECT_THROW(BitmapBase::Create(5, 5, FormatNone), Kernel::Exception);
    EXPECT_THROW(BitmapBase::Create(5, 5, static_cast<Format>(11)), Kernel::Exception);
    EXPECT_THROW(BufferBase::Create(5, 5, FormatNone), Kernel::Exception);
}

TEST(Bitmap, BlankAndFilledOnesOfAnySizeTakeNoPixelMemory) {
    auto const before = Tile::GetAllocatedBytes();
    auto const bitmap = BitmapBase::Create(c_maximumSide, c_maximumSide, FormatRGBA16);
    bitmap->Clear(MakePixel(FormatRGBA16, {1, 2, 3, 65535}));
    EXPECT_EQ(bitmap->GetPixel(c_maximumSide - 1, 7), MakePixel(FormatRGBA16, {1, 2, 3, 65535}));
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
}

TEST(Bitmap, PixelsComeBackAsTheyWereWrittenInEveryFormat) {
    for (Format const format : AllFormats()) {
        auto const bitmap = BitmapBase::Create(700, 300, format);
        Image const image = MakeNoise(format, 600, 290, 1);
        bitmap->WritePixels({50, 5, 650, 295}, image.pixels.data(), image.rowBytes);
        Image read(format, 600, 290);
        bitmap->ReadPixels({50, 5, 650, 295}, read.pixels.data(), read.rowBytes);
        EXPECT_EQ(read.pixels, image.pixels) << GetFormatName(format);
        EXPECT_EQ(bitmap->GetPixel(49, 5), DynamicPixel(format));
        EXPECT_EQ(bitmap->GetPixel(650, 294), DynamicPixel(format));
    }
}

TEST(Bitmap, RefusesRectanglesBeyondItsEdges) {
    auto const bitmap = BitmapBase::Create(10, 10, FormatRGBA8);
    std::vector<std::uint8_t> pixels(4 * 11 * 11);
    for (Rect const& rect : {Rect{-1, 0, 5, 5}, Rect{0, 0, 11, 5}, Rect{0, 0, 5, 11}, Rect{5, 5, 4, 6}}) {
        EXPECT_THROW(bitmap->ReadPixels(rect, pixels.data(), 44), Kernel::Exception);
        EXPECT_THROW(bitmap->WritePixels(rect, pixels.data(), 44), Kernel::Exception);
    }
    EXPECT_THROW(bitmap->GetPlane(0).GetConstTile(1, 0), Kernel::Exception);
    EXPECT_THROW(bitmap->GetPlane(0).GetMutableTile(0, -1), Kernel::Exception);
}

TEST(Bitmap, CloneAndOneEditTakeOneTile) {
    auto const bitmap = BitmapBase::Create(2048, 2048, FormatRGBA8);
    Image const noise = MakeNoise(FormatRGBA8, 2048, 2048, 2);
    bitmap->WritePixels(bitmap->GetBounds(), noise.pixels.data(), noise.rowBytes);
    auto const before = Tile::GetAllocatedBytes();

    auto const clone = bitmap->Clone(nullptr);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
    clone->GetPlane(1).FillSamples({600, 600, 610, 610}, 77);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before + c_tileBytes8);

    EXPECT_EQ(clone->GetPixel(605, 605).GetSample(1), 77);
    Image read(FormatRGBA8, 2048, 2048);
    bitmap->ReadPixels(bitmap->GetBounds(), read.pixels.data(), read.rowBytes);
    EXPECT_EQ(read.pixels, noise.pixels);
}

TEST(Bitmap, AChainOfClonesKeepsEachState) {
    std::vector<Kernel::Counted<BitmapBase>> states;
    auto bitmap = BitmapBase::Create(1000, 600, FormatIA16);
    for (int i = 0; i != 20; ++i) {
        states.push_back(bitmap->Clone(nullptr));
        bitmap->Fill({i * 40, i * 20, i * 40 + 100, i * 20 + 100}, MakePixel(FormatIA16, {1000.0 + i, 65535}));
    }
    for (int i = 1; i != 20; ++i) {
        EXPECT_EQ(states[static_cast<std::size_t>(i)]->GetPixel(i * 40 - 1, i * 20 - 1).GetSample(0), 999 + i);
        EXPECT_EQ(states[static_cast<std::size_t>(i)]->GetPixel(i * 40 + 99, i * 20 + 99).GetSample(0), 0);
    }
}

TEST(Bitmap, ACloneTakenWhileATileIsBeingWrittenKeepsWhatWasThere) {
    auto const bitmap = BitmapBase::Create(300, 300, FormatA8);
    RegionBase& plane = bitmap->GetPlane(0);
    Tile& tile = plane.PinMutableTile(0, 0);
    auto* const samples = static_cast<std::uint8_t*>(tile.GetMutableBuffer());
    samples[0] = 1;
    auto const clone = bitmap->Clone(nullptr);
    auto const tileThen = plane.GetConstTile(0, 0);
    samples[0] = 2;
    plane.UnpinMutableTile(tile);
    EXPECT_EQ(clone->GetPixel(0, 0).GetSample(0), 1);
    EXPECT_EQ(static_cast<std::uint8_t const*>(tileThen.GetConstBuffer())[0], 1);
    EXPECT_EQ(bitmap->GetPixel(0, 0).GetSample(0), 2);
}

TEST(Bitmap, CopySharesTilesOnTheGridAndCopiesSamplesOffIt) {
    auto const source = BitmapBase::Create(1024, 1024, FormatRGBA8);
    Image const noise = MakeNoise(FormatRGBA8, 1024, 1024, 3);
    source->WritePixels(source->GetBounds(), noise.pixels.data(), noise.rowBytes);

    auto const onGrid = BitmapBase::Create(1024, 1024, FormatRGBA8);
    auto const before = Tile::GetAllocatedBytes();
    onGrid->Copy(*source, {256, 0, 768, 512}, {0, 256});
    EXPECT_EQ(Tile::GetAllocatedBytes(), before);
    EXPECT_EQ(onGrid->GetPixel(11, 300), source->GetPixel(267, 44));

    auto const offGrid = BitmapBase::Create(1024, 1024, FormatRGBA8);
    offGrid->Copy(*source, source->GetBounds(), {-100, 33});
    for (auto [x, y] : {std::pair{0, 33}, {923, 1023}, {500, 500}})
        EXPECT_EQ(offGrid->GetPixel(x, y), source->GetPixel(x + 100, y - 33));
    EXPECT_EQ(offGrid->GetPixel(924, 500), DynamicPixel(FormatRGBA8));
    EXPECT_EQ(offGrid->GetPixel(5, 32), DynamicPixel(FormatRGBA8));
}

TEST(Bitmap, CopyWithinItselfIsRightWhenThePlacesOverlap) {
    auto const bitmap = BitmapBase::Create(600, 300, FormatA8);
    Image const noise = MakeNoise(FormatA8, 600, 300, 4);
    bitmap->WritePixels(bitmap->GetBounds(), noise.pixels.data(), noise.rowBytes);
    auto const original = bitmap->Clone(nullptr);
    bitmap->Copy(*bitmap, {0, 0, 590, 290}, {10, 10});
    for (auto [x, y] : {std::pair{10, 10}, {300, 260}, {599, 299}})
        EXPECT_EQ(bitmap->GetPixel(x, y), original->GetPixel(x - 10, y - 10));
}

TEST(Bitmap, CopyTakesOnlyTheChannelsAskedFor) {
    auto const source = BitmapBase::Create(300, 10, FormatRGBA8);
    source->Clear(MakePixel(FormatRGBA8, {10, 20, 30, 40}));
    auto const target = BitmapBase::Create(300, 10, FormatRGBA8);
    target->Copy(*source, source->GetBounds(), {0, 0}, 0b1010);
    EXPECT_EQ(target->GetPixel(299, 9), MakePixel(FormatRGBA8, {0, 20, 0, 40}));
}

TEST(Bitmap, CopyFarOutsideDoesNothing) {
    auto const bitmap = BitmapBase::Create(10, 10, FormatA8);
    bitmap->Copy(*bitmap, {-2147483647, -2147483647, 2147483647, 2147483647}, {2147483647, 2147483647});
    bitmap->Copy(*bitmap, {5, 5, 5, 9}, {0, 0});
    EXPECT_EQ(bitmap->GetPixel(9, 9).GetSample(0), 0);
    EXPECT_THROW(bitmap->Copy(*BitmapBase::Create(10, 10, FormatA16), {0, 0, 1, 1}, {0, 0}), Kernel::Exception);
}

TEST(Bitmap, KeysDependOnPixelsInsideAlone) {
    // The same pixels, once as tiles of one value, once as samples with others' garbage beyond the edge.
    auto const constant = BitmapBase::Create(300, 300, FormatA8);
    constant->Clear(MakePixel(FormatA8, {9}));
    auto const samples = BitmapBase::Create(300, 300, FormatA8);
    for (int i = 0; i != 2; ++i)
        for (int j = 0; j != 2; ++j) {
            Tile& tile = samples->GetPlane(0).GetMutableTile(i, j);
            std::memset(tile.GetMutableBuffer(), 9, tile.GetBytes());
            if (i == 1)
                static_cast<std::uint8_t*>(tile.GetMutableBuffer())[255] = 1;
        }
    EXPECT_EQ(constant->GetPlane(0).GetKeys(), samples->GetPlane(0).GetKeys());
    EXPECT_TRUE(constant->HasEqualPixels(*samples));
    samples->GetPlane(0).FillSamples({299, 299, 300, 300}, 8);
    EXPECT_FALSE(constant->HasEqualPixels(*samples));
}

TEST(Bitmap, KeysFollowEveryWayOfWriting) {
    auto const bitmap = BitmapBase::Create(256, 256, FormatA8);
    RegionBase& plane = bitmap->GetPlane(0);
    Image const noise = MakeNoise(FormatA8, 256, 256, 5);
    std::vector<std::vector<TileKey>> keys;
    auto const note = [&] {
        keys.push_back(plane.GetKeys());
        EXPECT_EQ(keys.back(), plane.GetKeys());
    };
    note();
    bitmap->WritePixels(bitmap->GetBounds(), noise.pixels.data(), noise.rowBytes);
    note();
    plane.FillSamples({1, 1, 2, 2}, 3);
    note();
    static_cast<std::uint8_t*>(plane.GetMutableTile(0, 0).GetMutableBuffer())[7] ^= 1;
    note();
    Tile& tile = plane.PinMutableTile(0, 0);
    auto* const samples = static_cast<std::uint8_t*>(tile.GetMutableBuffer());
    samples[8] ^= 1;
    note();
    samples[9] ^= 1;
    plane.UnpinMutableTile(tile);
    note();
    for (std::size_t i = 1; i != keys.size(); ++i)
        EXPECT_NE(keys[i], keys[i - 1]) << i;
}

TEST(Bitmap, ThreadsWriteTilesOfOneRowWhileClonesAreTakenAndDropped) {
    auto const bitmap = BitmapBase::Create(2048, 256, FormatRGBA8);
    bitmap->Clear(MakePixel(FormatRGBA8, {1, 1, 1, 1}));
    auto keep = bitmap->Clone(nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t != 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i != 200; ++i) {
                int const left = 256 * (t + 4 * (i % 2));
                bitmap->Fill({left + i, i, left + i + 1, i + 1}, MakePixel(FormatRGBA8, {5, 6, 7, 8}));
            }
        });
    }
    for (int i = 0; i != 50; ++i)
        keep = bitmap->Clone(nullptr);
    for (auto& thread : threads)
        thread.join();
    for (int t = 0; t != 4; ++t) {
        for (int i = 0; i != 200; ++i)
            ASSERT_EQ(bitmap->GetPixel(256 * (t + 4 * (i % 2)) + i, i), MakePixel(FormatRGBA8, {5, 6, 7, 8}));
    }
}

// The slow twin of a bitmap: pixels side by side, copied as a whole.
class FlatBitmap {
public:
    FlatBitmap(Format format, int width, int height)
        : m_pixelBytes(
              static_cast<std::size_t>(GetFormatInfo(format).channelCount * GetFormatInfo(format).sampleBytes)),
          m_rowBytes(static_cast<std::size_t>(width) * m_pixelBytes),
          m_height(height),
          m_bytes(m_rowBytes * static_cast<std::size_t>(height)) {}

    std::uint8_t* At(int x, int y) {
        return m_bytes.data() + static_cast<std::size_t>(y) * m_rowBytes + static_cast<std::size_t>(x) * m_pixelBytes;
    }
    void Write(Rect const& rect, std::vector<std::uint8_t> const& pixels) {
        auto const run = static_cast<std::size_t>(rect.GetWidth()) * m_pixelBytes;
        for (int y = rect.top; y != rect.bottom; ++y)
            std::memcpy(At(rect.left, y), pixels.data() + static_cast<std::size_t>(y - rect.top) * run, run);
    }
    void Copy(FlatBitmap source, Rect const& rect, Kernel::PointT<int> to) {
        for (int y = 0; y != rect.GetHeight(); ++y)
            std::memcpy(At(to.x, to.y + y), source.At(rect.left, rect.top + y),
                        static_cast<std::size_t>(rect.GetWidth()) * m_pixelBytes);
    }
    void ExpectEqual(BitmapBase const& bitmap) const {
        std::vector<std::uint8_t> pixels(m_bytes.size());
        bitmap.ReadPixels(bitmap.GetBounds(), pixels.data(), m_rowBytes);
        ASSERT_EQ(pixels, m_bytes);
    }

private:
    std::size_t m_pixelBytes;
    std::size_t m_rowBytes;
    int m_height;
    std::vector<std::uint8_t> m_bytes;
};

TEST(Bitmap, RandomWritesFillsCopiesAndClonesEqualAFlatOnes) {
    for (Format const format : {FormatIA8, FormatA16, FormatCMYKA8}) {
        constexpr int c_width = 700, c_height = 530;
        std::mt19937 random(60);
        auto const below = [&random](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
        auto const someRect = [&](int width, int height) {
            int const left = below(c_width - width + 1), top = below(c_height - height + 1);
            return Rect{left, top, left + width, top + height};
        };
        std::vector<std::pair<Kernel::Counted<BitmapBase>, FlatBitmap>> states;
        states.emplace_back(BitmapBase::Create(c_width, c_height, format), FlatBitmap(format, c_width, c_height));
        for (int step = 0; step != 300; ++step) {
            auto const index = static_cast<std::size_t>(below(static_cast<int>(states.size())));
            auto& [bitmap, flat] = states[index];
            // Some are whole tiles, some in the grid of tiles, most neither.
            int const width = 1 + below(400), height = 1 + below(300);
            Rect rect = someRect(width, height);
            if (step % 3 == 0)
                rect = Rect{rect.left & ~255, rect.top & ~255, c_width, c_height};
            switch (below(4)) {
            case 0: {
                Image const noise = MakeNoise(format, rect.GetWidth(), rect.GetHeight(), static_cast<unsigned>(step));
                bitmap->WritePixels(rect, noise.pixels.data(), noise.rowBytes);
                flat.Write(rect, noise.pixels);
                break;
            }
            case 1: {
                DynamicPixel pixel(format);
                pixel.SetSample(0, below(256));
                bitmap->Fill(rect, pixel);
                Image one(format, rect.GetWidth(), rect.GetHeight());
                auto const all = BitmapBase::Create(rect.GetWidth(), rect.GetHeight(), format);
                all->Clear(pixel);
                all->ReadPixels(all->GetBounds(), one.pixels.data(), one.rowBytes);
                flat.Write(rect, one.pixels);
                break;
            }
            case 2: {
                auto const& [source, sourceFlat] =
                    states[static_cast<std::size_t>(below(static_cast<int>(states.size())))];
                Kernel::PointT<int> to{below(c_width - rect.GetWidth() + 1), below(c_height - rect.GetHeight() + 1)};
                if (step % 3 == 0)
                    to = {rect.left, rect.top};
                bitmap->Copy(*source, rect, to);
                flat.Copy(sourceFlat, rect, to);
                break;
            }
            default:
                if (states.size() < 6)
                    states.emplace_back(bitmap->Clone(nullptr), FlatBitmap(flat));
                else
                    states.erase(states.begin());
            }
        }
        for (auto const& [bitmap, flat] : states)
            flat.ExpectEqual(*bitmap);
    }
}

TEST(Region, IsNotReplacedWhileATileIsBeingWritten) {
    auto const bitmap = BitmapBase::Create(300, 300, FormatA8);
    RegionBase& plane = bitmap->GetPlane(0);
    Tile& tile = plane.PinMutableTile(1, 1);
    EXPECT_THROW(plane = Region<Alpha8>({0, 0, 300, 300}, Default::Maximum), Kernel::Exception);
    static_cast<std::uint8_t*>(tile.GetMutableBuffer())[0] = 9;
    // A fill goes on around the pointers that are out.
    plane.FillSamples({0, 0, 300, 300}, 7);
    plane.UnpinMutableTile(tile);
    EXPECT_EQ(bitmap->GetPixel(0, 0).GetSample(0), 7);
}

TEST(Region, CopyingWhatIsThereAlreadyTakesNothingApart) {
    auto const bitmap = MakeNoiseBitmap(FormatA8, 1024, 1024, 63);
    auto const clone = bitmap->Clone(nullptr);
    clone->Fill({0, 0, 1, 1}, DynamicPixel(FormatA8));
    auto const before = Tile::GetAllocatedBytes();
    bitmap->Copy(*clone, bitmap->GetBounds(), {0, 0});
    EXPECT_TRUE(bitmap->HasEqualPixels(*clone));
    // The one tile that the bitmap had for itself is gone.
    EXPECT_EQ(Tile::GetAllocatedBytes(), before - c_tileSamples);
}

TEST(Region, IsReplacedByAFilledOneOfItsSizeOnly) {
    Bitmap<Alpha16, X2, X3, X4, X5> bitmap(300, 200);
    bitmap.GetRegion<Alpha16>() = Region<Alpha16>({0, 0, 300, 200}, Default::Maximum);
    EXPECT_EQ(bitmap.GetPixel(299, 199).GetSample(0), 65535);
    EXPECT_THROW(bitmap.GetRegion<Alpha16>() = Region<Alpha16>({0, 0, 301, 200}, Default::Maximum), Kernel::Exception);
    EXPECT_THROW(bitmap.GetRegion<Alpha16>() = Region<Alpha8>({0, 0, 300, 200}, Default::Maximum), Kernel::Exception);
}

TEST(Tile, AssignmentSharesSamplesUntilOneIsWritten) {
    auto const bitmap = BitmapBase::Create(512, 256, FormatA8);
    Image const noise = MakeNoise(FormatA8, 256, 256, 6);
    bitmap->WritePixels({0, 0, 256, 256}, noise.pixels.data(), noise.rowBytes);
    RegionBase& plane = bitmap->GetPlane(0);
    plane.GetMutableTile(1, 0) = plane.GetConstTile(0, 0);
    EXPECT_TRUE(plane.GetConstTile(1, 0).SharesSamplesWith(plane.GetConstTile(0, 0)));
    EXPECT_EQ(bitmap->GetPixel(256 + 17, 99), bitmap->GetPixel(17, 99));
    plane.FillSamples({256, 0, 257, 1}, 200);
    EXPECT_FALSE(plane.GetConstTile(1, 0).SharesSamplesWith(plane.GetConstTile(0, 0)));
    EXPECT_EQ(bitmap->GetPixel(0, 0).GetSample(0), noise.pixels[0]);
}

TEST(Tile, SamplesThatAreHeldOutliveTheirPlace) {
    auto const bitmap = MakeNoiseBitmap(FormatA8, 256, 256, 64);
    RegionBase& plane = bitmap->GetPlane(0);
    Tile held = plane.GetConstTile(0, 0);
    held.IncrementRefCountConst();
    auto const* const samples = static_cast<std::uint8_t const*>(held.GetConstBuffer());
    auto const sample = samples[300];
    plane.FillSamples({0, 0, 256, 256}, static_cast<std::uint8_t>(~sample));
    plane.FillSamples({5, 5, 6, 6}, 1);
    EXPECT_EQ(samples[300], sample);
    held.DecrementRefCountConst();

    Tile own = held;
    own.IncrementRefCountMutable();
    static_cast<std::uint8_t*>(own.GetMutableBuffer())[300] = static_cast<std::uint8_t>(~sample);
    own.DecrementRefCountMutable();
    EXPECT_EQ(samples[300], sample);
}

TEST(Tile, ReadingTilesOfOneValueThroughAPointerMakesOneBufferForAll) {
    Tile const tile = Tile::MakeConstant(2, 0x1234);
    auto const before = Tile::GetAllocatedBytes();
    Tile const copy = tile;
    auto const* samples = static_cast<std::uint16_t const*>(tile.GetConstBuffer());
    EXPECT_EQ(copy.GetConstBuffer(), samples);
    EXPECT_EQ(samples[0], 0x1234);
    EXPECT_EQ(samples[c_tileSamples - 1], 0x1234);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before + 2 * c_tileSamples);
    Tile const zero(4);
    EXPECT_EQ(static_cast<float const*>(zero.GetConstBuffer())[c_tileSamples - 1], 0.0f);
    EXPECT_EQ(Tile::GetAllocatedBytes(), before + 2 * c_tileSamples);
}

} // namespace
} // namespace Raster
