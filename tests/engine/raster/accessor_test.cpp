// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/pixel_accessor.h"

#include "platform/kernel/exception.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/raster/dynamic_buffer.h"
#include "platform/raster/dynamic_palette.h"
#include "tests/engine/raster/samples.h"

#include <gtest/gtest.h>

namespace Raster {
namespace {

template <class Model>
DynamicPixel PixelOfSpan(typename Model::SpanType const& span, int i) {
    typename Model::PixelType pixel;
    for (int c = 0; c != Model::c_channelCount; ++c)
        pixel.samples[static_cast<std::size_t>(c)] = span.planes[c][i];
    return pixel;
}

TEST(PixelAccessor, SpansAndPixelsAreReadAlikeInEveryFormatAndAtEveryEdge) {
    for (Format const format : AllFormats()) {
        DynamicBitmap const owner(MakeNoiseBitmap(format, 530, 300, 31));
        owner.Visit([&](auto const& bitmap) {
            using Model = std::remove_cvref_t<decltype(bitmap)>;
            ConstPixelAccessor<Model> accessor(bitmap);
            typename Model::SpanType span;
            for (int y : {-1, 0, 255, 256, 299, 300}) {
                for (int x : {-40, -5, 0, 32, 224, 240, 498, 500, 520, 600}) {
                    accessor.SpanRead(x, y, span);
                    for (int i = 0; i != c_spanLength; ++i) {
                        bool const inside = x + i >= 0 && x + i < 530 && y >= 0 && y < 300;
                        DynamicPixel const wanted = inside ? bitmap.GetPixel(x + i, y) : DynamicPixel(format);
                        ASSERT_EQ(PixelOfSpan<Model>(span, i), wanted) << x << " + " << i << ", " << y;
                        ASSERT_EQ(DynamicPixel(accessor.Read(x + i, y)), wanted);
                    }
                }
            }
        });
    }
}

TEST(PixelAccessor, RepeatTakesTheNearestPixelOfTheEdge) {
    DynamicBitmap const owner(MakeNoiseBitmap(FormatRGBA8, 300, 20, 32));
    using Model = FormatTraits<FormatRGBA8>::BitmapType;
    auto const& bitmap = owner.As<Model>();
    Model::ConstPixelAccessor<Repeat, IdentityTransform> accessor(bitmap);
    EXPECT_EQ(DynamicPixel(accessor.Read(-7, -100)), bitmap.GetPixel(0, 0));
    EXPECT_EQ(DynamicPixel(accessor.Read(300, 10)), bitmap.GetPixel(299, 10));
    EXPECT_EQ(DynamicPixel(accessor.Read(299, 25)), bitmap.GetPixel(299, 19));
    EXPECT_EQ(DynamicPixel(accessor.Read(2147483647, -2147483647)), bitmap.GetPixel(299, 0));
}

TEST(PixelAccessor, TransformsLeadToTheNearestPixel) {
    DynamicBitmap const owner(MakeNoiseBitmap(FormatA16, 300, 300, 33));
    using Model = FormatTraits<FormatA16>::BitmapType;
    auto const& bitmap = owner.As<Model>();
    // A quarter turn about (150, 150), then 10 to the right.
    using Chain = ChainTransform<AffineStage, TranslationTransform>;
    Chain const chain{{{0, 1, 0, -1, 0, 300}}, {10, 0}};
    ConstPixelAccessor<Model, Zero, Chain> accessor(bitmap, chain);
    EXPECT_EQ(DynamicPixel(accessor.Read(40, 200)), bitmap.GetPixel(210, 259));
    EXPECT_EQ(DynamicPixel(accessor.Read(40, 295)), DynamicPixel(FormatA16));

    ConstPixelAccessor<Model, Repeat, ScaleTransform> half(bitmap, ScaleTransform{0.5, 0.5});
    Model::SpanType span;
    half.SpanRead(101, 7, span);
    for (int i = 0; i != c_spanLength; ++i)
        EXPECT_EQ(PixelOfSpan<Model>(span, i), bitmap.GetPixel((101 + i) / 2, 3));

    double const nan = std::numeric_limits<double>::quiet_NaN();
    ConstPixelAccessor<Model, Zero, ScaleTransform> nowhere(bitmap, ScaleTransform{nan, 1e300});
    EXPECT_EQ(nowhere.Read(5, 5).samples[0], 0);
}

TEST(PixelAccessor, WritesSpansPixelsAndChosenChannels) {
    for (Format const format : AllFormats()) {
        VisitFormat(format, [&](auto traits) {
            using Model = typename decltype(traits)::BitmapType;
            auto const source = MakeNoiseBitmap(format, 600, 40, 34);
            auto const& from = static_cast<Model const&>(*source);
            Model target(600, 40);
            {
                ConstPixelAccessor<Model> reader(from);
                PixelAccessor<Model> writer(target);
                typename Model::SpanType span;
                for (int y = -1; y != 41; ++y) {
                    for (int x = -16; x < 600; x += c_spanLength) {
                        reader.SpanRead(x, y, span);
                        writer.SpanWrite(x, y, span);
                    }
                }
                EXPECT_EQ(writer.Read(599, 39), reader.Read(599, 39));
            }
            EXPECT_TRUE(target.HasEqualPixels(from)) << GetFormatName(format);
            {
                PixelAccessor<Model> writer(target);
                writer.Write(300, 30, {}, 1);
                writer.Write(600, 30, {});
            }
            EXPECT_EQ(target.GetPixel(300, 30).GetSample(0), 0);
            for (int c = 1; c < Model::c_channelCount; ++c)
                EXPECT_EQ(target.GetPixel(300, 30).GetSample(c), from.GetPixel(300, 30).GetSample(c));
        });
    }
}

TEST(PixelAccessor, WritesOnlyTheCountAskedFor) {
    using Model = FormatTraits<FormatA8>::BitmapType;
    Model bitmap(300, 2);
    Model::SpanType span;
    std::memset(span.planes, 7, sizeof span.planes);
    PixelAccessor<Model>(bitmap).SpanWrite(250, 1, span, 10);
    EXPECT_EQ(bitmap.GetPixel(249, 1).GetSample(0), 0);
    EXPECT_EQ(bitmap.GetPixel(250, 1).GetSample(0), 7);
    EXPECT_EQ(bitmap.GetPixel(259, 1).GetSample(0), 7);
    EXPECT_EQ(bitmap.GetPixel(260, 1).GetSample(0), 0);
}

TEST(PixelAccessor, OnlyTilesThatAreWrittenToTakeMemory) {
    auto const bitmap = MakeNoiseBitmap(FormatRGBA8, 1024, 256, 35);
    auto const clone = bitmap->Clone(nullptr);
    using Model = FormatTraits<FormatRGBA8>::BitmapType;
    auto const before = Tile::GetAllocatedBytes();
    {
        PixelAccessor<Model> accessor(static_cast<Model&>(*clone));
        for (int x = 0; x != 1024; ++x)
            accessor.Read(x, 100);
        EXPECT_EQ(Tile::GetAllocatedBytes(), before);
        accessor.Write(700, 100, {}, 0b0110);
        EXPECT_EQ(Tile::GetAllocatedBytes(), before + 2 * c_tileSamples);
    }
    EXPECT_EQ(clone->GetPixel(700, 100).GetSample(1), 0);
    EXPECT_EQ(clone->GetPixel(700, 100).GetSample(0), bitmap->GetPixel(700, 100).GetSample(0));
}

TEST(PixelAccessor, AWriterReadsWhatItHasWritten) {
    using Model = FormatTraits<FormatRGBA8>::BitmapType;
    Model bitmap(600, 600);
    PixelAccessor<Model> accessor(bitmap);
    for (int i = 0; i != 500; ++i) {
        accessor.Write(i, i, {{static_cast<std::uint8_t>(i), 1, 2, 3}});
        EXPECT_EQ(accessor.Read(i, i).samples[0], static_cast<std::uint8_t>(i));
    }
}

TEST(PixelAccessor, AReaderSeesTheBitmapAsItWasWhenItWasOpened) {
    using Model = FormatTraits<FormatA8>::BitmapType;
    Model bitmap(600, 10);
    ConstPixelAccessor<Model> reader(bitmap);
    EXPECT_EQ(reader.Read(0, 0).samples[0], 0);
    bitmap.Fill({0, 0, 400, 5}, MakePixel(FormatA8, {50}));
    EXPECT_EQ(reader.Read(1, 1).samples[0], 0);
    EXPECT_EQ(reader.Read(300, 1).samples[0], 0);
    EXPECT_EQ(ConstPixelAccessor<Model>(bitmap).Read(300, 1).samples[0], 50);
}

TEST(PixelAccessor, BuffersAreReadAndWrittenInTheSameWay) {
    using Model = FormatTraits<FormatCMYKA8>::BufferType;
    Model buffer(100, 50);
    Image const noise = MakeNoise(FormatCMYKA8, 100, 50, 36);
    buffer.WritePixels(buffer.GetBounds(), noise.pixels.data(), noise.rowBytes);
    Model copy(100, 50);
    ConstPixelAccessor<Model, Safe> reader(buffer);
    PixelAccessor<Model> writer(copy);
    Model::SpanType span;
    for (int y = 0; y != 51; ++y) {
        for (int x = -10; x < 100; x += c_spanLength) {
            reader.SpanRead(x, y, span);
            writer.SpanWrite(x, y, span);
        }
    }
    Image read(FormatCMYKA8, 100, 50);
    copy.ReadPixels(copy.GetBounds(), read.pixels.data(), read.rowBytes);
    EXPECT_EQ(read.pixels, noise.pixels);
}

TEST(MaskSpans, MergeByTheRoundedProduct) {
    for (unsigned a = 0; a != 256; ++a) {
        for (unsigned b = 0; b != 256; ++b) {
            auto const merged = MergeMaskSamples<Alpha8>(static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(b));
            ASSERT_EQ(merged, (2 * a * b + 255) / 510) << a << " " << b;
        }
    }
    std::mt19937 random(37);
    for (int i = 0; i != 100000; ++i) {
        std::uint64_t const a = random() & 0xFFFF, b = random() & 0xFFFF;
        ASSERT_EQ(MergeMaskSamples<Alpha16>(static_cast<std::uint16_t>(a), static_cast<std::uint16_t>(b)),
                  (2 * a * b + 65535) / 131070);
    }
    using Mask = FormatTraits<FormatA8>;
    Mask::SpanType x, y;
    for (int i = 0; i != c_spanLength; ++i) {
        x.planes[0][i] = static_cast<std::uint8_t>(i * 8);
        y.planes[0][i] = 255;
    }
    PlanarMergeMaskSpans<Mask>(x, y, y);
    EXPECT_EQ(std::memcmp(x.planes, y.planes, sizeof x.planes), 0);
}

TEST(Buffer, CloneSharesItsBlockUntilOneIsWrittenTo) {
    auto const buffer = Kernel::MakeCounted<DynamicBuffer>(100, 100, FormatRGBAF);
    buffer->Clear(MakePixel(FormatRGBA8, {255, 0, 0, 255}));
    auto const clone = buffer->Clone(nullptr);
    EXPECT_EQ(std::as_const(*clone).GetBuffer(), std::as_const(*buffer).GetBuffer());
    clone->Clear(DynamicPixel());
    EXPECT_NE(std::as_const(*clone).GetBuffer(), std::as_const(*buffer).GetBuffer());
    EXPECT_EQ(buffer->GetBase()->GetPixel(99, 99), MakePixel(FormatRGBAF, {1, 0, 0, 1}));
    EXPECT_EQ(clone->GetBase()->GetPixel(99, 99), DynamicPixel(FormatRGBAF));
}

TEST(Buffer, RowsAreAlignedAndPlanesFollowEachOther) {
    auto const buffer = BufferBase::Create(33, 7, FormatRGBA16);
    EXPECT_EQ(buffer->GetRowBytes() % 64, 0u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->GetBuffer()) % 64, 0u);
    EXPECT_EQ(static_cast<char*>(buffer->GetRow(1, 0)) - static_cast<char*>(buffer->GetRow(0, 0)),
              static_cast<std::ptrdiff_t>(buffer->GetPlaneBytes()));
    EXPECT_EQ(buffer->GetBufferBytes(), 4 * 7 * buffer->GetRowBytes());
}

TEST(Buffer, RefusesSizesBeforeItTakesMemory) {
    EXPECT_THROW(BufferBase::Create(0, 1, FormatRGBA8), Kernel::Exception);
    EXPECT_THROW(BufferBase::Create(2147483647, 2147483647, FormatRGBA8), Kernel::Exception);
    EXPECT_THROW(BufferBase::Create(c_maximumSide, c_maximumSide, FormatA8), Kernel::Exception);
}

TEST(DynamicPalette, HoldsTheWebSafeColoursAndOneTransparentEntry) {
    DynamicPalette palette;
    EXPECT_FALSE(palette.GetTransparentIndex());
    palette.AddWebSafeColours();
    ASSERT_EQ(palette.GetSize(), 216u);
    EXPECT_EQ(palette.GetEntry(0), (DynamicPalette::Entry{{0, 0, 0, 65535}}));
    EXPECT_EQ(palette.GetEntry(1), (DynamicPalette::Entry{{0, 0, 13107, 65535}}));
    EXPECT_EQ(palette.GetEntry(215), (DynamicPalette::Entry{{65535, 65535, 65535, 65535}}));
    palette.AddColour(FormatTraits<FormatRGBA8>::PixelType{}, true);
    EXPECT_EQ(palette.GetTransparentIndex(), 216u);
    palette.AddColour(MakePixel(FormatRGBA8, {255, 0, 51, 255}), false);
    EXPECT_EQ(palette.GetEntry(217), (DynamicPalette::Entry{{65535, 0, 13107, 65535}}));
    EXPECT_EQ(palette.GetTransparentIndex(), 216u);
}

} // namespace
} // namespace Raster
