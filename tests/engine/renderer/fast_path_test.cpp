// SPDX-License-Identifier: Apache-2.0
// Each quick way to pixels beside the plain one that it must equal to the bit.
#include "engine/renderer/canvas.h"
#include "engine/renderer/coverage_maker.h"
#include "platform/raster/conversion.h"
#include "platform/raster/dynamic_bitmap.h"
#include "tests/engine/renderer/pictures.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace {

using namespace Pictures;
using namespace Renderer::Detail;

class Numbers {
public:
    explicit Numbers(unsigned seed) : m_random(seed) {}
    double Get(double low, double high) { return low + (high - low) * (m_random() % 10007) / 10006.0; }
    int GetBelow(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }

private:
    std::mt19937 m_random;
};

using RunList = std::vector<std::array<std::int64_t, 4>>;

auto Collect(RunList& runs) {
    return [&runs](int y, int left, int right, std::uint32_t coverage) { runs.push_back({y, left, right, coverage}); };
}

// One entry a pixel, however long the runs were.
RunList ToPixels(RunList const& runs) {
    RunList pixels;
    for (auto const& [y, left, right, coverage] : runs) {
        for (auto x = left; x != right; ++x)
            pixels.push_back({y, x, x + 1, coverage});
    }
    return pixels;
}

Polygons MakePolygons(Numbers& numbers, double size) {
    Polygons polygons;
    for (int i = 0, count = 1 + numbers.GetBelow(4); i != count; ++i) {
        double const reach = numbers.GetBelow(8) == 0 ? 1e7 : size;
        for (int k = 0, corners = 3 + numbers.GetBelow(40); k != corners; ++k)
            polygons.Add({numbers.Get(-reach / 3, reach), numbers.Get(-reach / 3, reach)});
        polygons.EndPolygon();
    }
    return polygons;
}

TEST(FastPath, PolygonsCoverWhatTheirEdgesDoHoweverCellsAreKept) {
    Numbers numbers(1);
    CellRasteriser rasteriser;
    for (int round = 0; round != 200; ++round) {
        auto const polygons = MakePolygons(numbers, 60);
        RectInt const clip{numbers.GetBelow(20), numbers.GetBelow(20), 21 + numbers.GetBelow(50),
                           21 + numbers.GetBelow(50)};
        auto const mode = static_cast<WindingOrderMode>(numbers.GetBelow(2));
        RunList edges, sorted, grid;
        rasteriser.Reset(clip);
        for (std::size_t i = 0; i != polygons.GetCount(); ++i) {
            auto const polygon = polygons.GetPolygon(i);
            for (std::size_t k = 0; k != polygon.size(); ++k)
                rasteriser.AddEdge(polygon[k == 0 ? polygon.size() - 1 : k - 1], polygon[k]);
        }
        rasteriser.Sweep(mode, Collect(edges));
        SweepPolygons(rasteriser, polygons, clip, mode, true, Collect(sorted));
        SweepPolygons(rasteriser, polygons, clip, mode, true, Collect(grid), std::size_t{1} << 20);
        ASSERT_EQ(sorted, edges) << round;
        ASSERT_EQ(grid, edges) << round;
    }
}

TEST(FastPath, KeptCoverageIsThatOfEachBand) {
    Numbers numbers(2);
    CoverageMaker maker;
    CellRasteriser rasteriser;
    int kept = 0;
    for (int round = 0; round != 100; ++round) {
        double const size = round % 10 == 9 ? 4000 : 150;
        DisplayList list;
        list.picture = {0, 0, static_cast<int>(size), static_cast<int>(size)};
        DrawItem item;
        auto const shape =
            Geometry::MakeStar({numbers.Get(0, size), numbers.Get(0, size)}, numbers.Get(1, size / 2),
                               numbers.Get(1, size / 3), 3 + static_cast<unsigned>(numbers.GetBelow(90)), 1);
        item.curves = Path(shape);
        item.winding = static_cast<WindingOrderMode>(numbers.GetBelow(2));
        item.antialias = numbers.GetBelow(4) != 0;
        RasterOptions options = Size(8, 8);
        WorkingSpace const space(options.format, {}, BlendSpace::Encoded);
        item.fill = MakeFillSource(SolidFill(Colour()), {}, 1, space, {});
        auto const made = maker.Make(item, list, list.picture);
        ItemOutlines outlines;
        MakeOutlines(item, list, outlines);
        if (!made->fill.runs)
            continue;
        ++kept;
        RectInt const part{numbers.GetBelow(60), numbers.GetBelow(60), 61 + numbers.GetBelow(60),
                           61 + numbers.GetBelow(60)};
        RunList whole, band;
        made->fill.runs->Visit(part, Collect(whole));
        SweepPolygons(rasteriser, outlines.fill.polygons, part, item.winding, item.antialias, Collect(band));
        ASSERT_EQ(ToPixels(whole), ToPixels(band)) << round;
    }
    EXPECT_GT(kept, 80);
}

TEST(FastPath, ACanvasShowsWhatWasLastDrawnOnIt) {
    Numbers numbers(3);
    RectInt const bounds{-5, 3, 200, 9};
    float const red[3] = {1, 0, 1}, half[3] = {0.25f, 0.5f, 0.5f};
    Canvas canvas(bounds, 3, half);
    Surface plain(bounds, 3);
    auto const fill = [&](int y, int left, int right, float const* pixel) {
        for (int plane = 0; plane != 3; ++plane)
            std::fill_n(plain.At(plane, left, y), right - left, pixel[plane]);
    };
    for (int y = bounds.top; y != bounds.bottom; ++y)
        fill(y, bounds.left, bounds.right, half);
    for (int round = 0; round != 400; ++round) {
        int const y = bounds.top + numbers.GetBelow(6), left = bounds.left + numbers.GetBelow(204);
        int const right = std::min(bounds.right, left + 1 + numbers.GetBelow(150));
        if (round % 3 != 0) {
            float const* const pixel = round % 3 == 1 ? red : half;
            canvas.Fill(y, left, right, pixel);
            fill(y, left, right, pixel);
        } else {
            canvas.Open(y, left, right);
            for (int plane = 0; plane != 3; ++plane) {
                *canvas.At(plane, left, y) = static_cast<float>(round);
                *plain.At(plane, left, y) = static_cast<float>(round);
            }
        }
        int next = bounds.left;
        canvas.ForEachRun(y, [&](int begin, int end, float const* pixel) {
            ASSERT_EQ(begin, next);
            next = end;
            for (int x = begin; x != end; ++x) {
                for (int plane = 0; plane != 3; ++plane)
                    ASSERT_EQ(pixel != nullptr ? pixel[plane] : *canvas.At(plane, x, y), *plain.At(plane, x, y))
                        << round << ' ' << x;
            }
        });
        ASSERT_EQ(next, bounds.right);
    }
}

// Draws the same paint as it is, and under a clip that lets all of it through: there every run is mixed with what lies
// below, pixel by pixel.
void ExpectSameUnderAClip(Kernel::Consolidated<Fill> const& fill, Transform const& fillTransform,
                          Raster::Format format = Raster::FormatRGBAF) {
    auto const draw = [&](bool clipped) {
        auto options = Size(300, 90, format);
        options.background = Colour::FromRGB(0.3f, 0.6f, 0.1f, 0.5f);
        RasterRenderTarget target(options);
        target.DrawCurves(Rectangle(10, 10, 200, 80), Filled(Colour::FromRGB(0, 0.5f, 1)), WindingOrderMode::NonZero);
        if (clipped)
            target.PushClip(Path(Geometry::MakeEllipse({-2000, -2000, 2000, 2000})), WindingOrderMode::NonZero);
        Paint paint;
        paint.mainFill = FillDescriptorConst(fill, true, fillTransform.GetParams());
        target.DrawCurves(Path(Geometry::MakeEllipse({-40, -30, 290, 140})), paint, WindingOrderMode::NonZero);
        target.DrawCurves(Rectangle(20, 30.5, 120, 50), paint, WindingOrderMode::NonZero);
        if (clipped)
            target.PopClip();
        return GetBytes(*target.Render({0, 0, 300, 90}));
    };
    EXPECT_EQ(draw(false), draw(true));
}

TEST(FastPath, PaintThatReplacesIsPaintThatIsMixed) {
    std::vector<GradientStop> const opaque{
        {0.1, 1, Colour::FromRGB(1, 0, 0)}, {0.4, 1, Colour::FromRGB(0, 1, 0)}, {0.9, 1, Colour::FromRGB(0, 0, 1)}};
    for (auto const format : {Raster::FormatRGBAF, Raster::FormatRGBA8, Raster::FormatCMYKA8, Raster::FormatIA16}) {
        ExpectSameUnderAClip(MakeFill<SolidFill>(Colour::FromRGB(0.1f, 0.2f, 0.3f)), {}, format);
        ExpectSameUnderAClip(MakeFill<LinearGradientFill>(PointDbl{20, 10}, PointDbl{180, 60}, opaque), {}, format);
    }
    for (auto const spread : {GradientSpread::Pad, GradientSpread::Reflect, GradientSpread::Repeat}) {
        ExpectSameUnderAClip(MakeFill<LinearGradientFill>(PointDbl{20, 10}, PointDbl{60, 30}, opaque, spread), {});
        ExpectSameUnderAClip(MakeFill<EllipticalGradientFill>(PointDbl{150, 40}, 70.0, opaque, spread),
                             Transform::Scale(0.5, 0.8));
        ExpectSameUnderAClip(MakeFill<LinearGradientFill>(PointDbl{5, 5}, PointDbl{5, 5}, opaque, spread), {});
    }
    ExpectSameUnderAClip(MakeFill<EllipticalGradientFill>(PointDbl{70, 50}, PointDbl{80, 50}, PointDbl{70, 60},
                                                          PointDbl{20, 50}, 0.0, opaque),
                         {});
}

Counted<Raster::DynamicBitmap> MakeRandomBitmap(int width, int height) {
    Numbers numbers(11);
    std::vector<unsigned char> samples(static_cast<std::size_t>(width * height * 4));
    for (auto& sample : samples)
        sample = static_cast<unsigned char>(numbers.GetBelow(256));
    auto const bitmap = MakeCounted<Raster::DynamicBitmap>(width, height, Raster::FormatRGBA8);
    bitmap->WritePixels(bitmap->GetBounds(), samples.data(), static_cast<std::size_t>(width) * 4);
    return bitmap;
}

Pixels DrawBitmapFill(Counted<Raster::DynamicBitmap> const& bitmap, TileMode mode, Resampling resampling,
                      Transform const& transform, RectDbl const& area, double opacity = 1) {
    RasterRenderTarget target(Size(1100, 150));
    Paint paint;
    paint.mainFill =
        FillDescriptorConst(MakeFill<BitmapFill>(bitmap, mode, mode, resampling), true, transform.GetParams());
    paint.opacity.fill = opacity;
    target.DrawCurves(Rectangle(area.left, area.top, area.right, area.bottom), paint, WindingOrderMode::NonZero);
    return Pixels(target);
}

// A slant that moves nothing as far as a sample can tell makes a bitmap one that is turned.
TEST(FastPath, UprightBitmapsArePaintedAsTurnedOnes) {
    auto const bitmap = MakeRandomBitmap(90, 40);
    for (auto const resampling : {Resampling::Nearest, Resampling::Bilinear, Resampling::Bicubic}) {
        for (auto const mode : {TileMode::Clamp, TileMode::Repeat, TileMode::Mirror}) {
            for (auto const& [x, y] : {std::pair{2.0, 2.0}, {13.7, 3.1}, {-1.3, 0.9}, {0.8, -17.0}}) {
                Transform const upright({x, 0, 533.3137, 0, y, 61.9093}), slanted({x, 1e-13, 533.3137, 0, y, 61.9093});
                RectDbl const area{3.5, 1, 1097, 149.25};
                auto const quick = DrawBitmapFill(bitmap, mode, resampling, upright, area, 0.75);
                auto const slow = DrawBitmapFill(bitmap, mode, resampling, slanted, area, 0.75);
                for (int row = 0; row != 150; ++row) {
                    for (int column = 0; column != 1100; ++column) {
                        for (int channel = 0; channel != 4; ++channel)
                            ASSERT_NEAR(quick.Get(channel, column, row), slow.Get(channel, column, row), 1e-5)
                                << column << ' ' << row << ' ' << x;
                    }
                }
            }
        }
    }
}

// Samples of the bitmap's own format are loaded as they are; those of another go through a conversion.
TEST(FastPath, BitmapsOfBytesArePaintedAsTheirFloats) {
    auto const bytes = MakeRandomBitmap(300, 120);
    auto const converter = Raster::PixelConverter::MakePlain(Raster::FormatRGBA8, Raster::FormatRGBAF);
    auto const floats = MakeCounted<Raster::DynamicBitmap>(300, 120, Raster::FormatRGBAF);
    Raster::ConvertPixels(*bytes->GetBase(), bytes->GetBounds(), floats->GetMutableBase(), {0, 0}, *converter, nullptr);
    RectDbl const area{0, 0, 1100, 150};
    auto const transform = Transform::Scale(3.3, 1.1);
    auto const one = DrawBitmapFill(bytes, TileMode::Mirror, Resampling::Bilinear, transform, area);
    auto const other = DrawBitmapFill(floats, TileMode::Mirror, Resampling::Bilinear, transform, area);
    for (int row = 0; row != 150; ++row) {
        for (int column = 0; column != 1100; ++column)
            ASSERT_EQ(one.Get(column, row), other.Get(column, row)) << column << ' ' << row;
    }
}

} // namespace
