// SPDX-License-Identifier: Apache-2.0
// What does a picture cost beside clearing its memory, and beside a rasteriser that blends 8-bit pixels at once? Each
// line gives the time for the work, for its floor or peer, and their ratio. One thread, processor time, the best of
// some runs; the last lines compare two threads with one in elapsed time. bench/drawings.cpp has whole drawings.
//
//   bench-render          all of it
//   bench-render PART     only one part: paths, small, fills or threads
#include "platform/geometry/path_data.h"
#include "platform/geometry/shapes.h"
#include "platform/kernel/dispatch.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/raster_render_target.h"

#include <agg_conv_curve.h>
#include <agg_conv_dash.h>
#include <agg_conv_stroke.h>
#include <agg_path_storage.h>
#include <agg_pixfmt_rgba.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_base.h>
#include <agg_renderer_scanline.h>
#include <agg_rendering_buffer.h>
#include <agg_scanline_u.h>
#ifdef REDRAFT_BENCH_CAIRO
#include <cairo.h>
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <limits>
#include <random>
#include <string_view>
#include <vector>

namespace {

using namespace Renderer;
using Geometry::CurveDbl;
using Geometry::PolyCurveDbl;
using Geometry::WindingOrderMode;
using Kernel::Counted;
using Kernel::MakeCounted;

constexpr int c_side = 4096;

double GetThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

double Measure(int runs, std::function<void()> const& work) {
    double best = 1e9;
    for (int i = 0; i != runs; ++i) {
        double const start = GetThreadMilliseconds();
        work();
        best = std::min(best, GetThreadMilliseconds() - start);
    }
    return best;
}

void Tell(char const* what, double ours, char const* beside, double floor) {
    std::printf("%-52s %10.1f   %-22s %10.1f %8.2f\n", what, ours, beside, floor, ours / floor);
}

// A closed blob of cubics, as drawings have them; every second is a line, every fourth a dashed one.
struct Item {
    Counted<CurveDbl> curve;
    bool filled = false;
    bool stroked = false;
    bool dashed = false;
    double weight = 1;
    unsigned cap = 0;
    unsigned join = 0;
    std::array<float, 4> colour{};
};

std::vector<Item> MakeItems(int count, double smallest, double largest) {
    std::mt19937 random(42);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() / 4294967296.0); };
    std::vector<Item> items;
    for (int i = 0; i != count; ++i) {
        Item item;
        item.stroked = i % 2 == 1;
        item.filled = !item.stroked;
        item.dashed = i % 4 == 3;
        item.weight = number(1, 24) * std::min(1.0, largest / 100);
        item.cap = static_cast<unsigned>(i) % 3;
        item.join = static_cast<unsigned>(i) / 3 % 3;
        double const x = number(0, c_side), y = number(0, c_side), radius = number(smallest, largest);
        int const segments = 5 + i % 20;
        auto const at = [&](double angle, double r) {
            return PointDbl{x + r * std::cos(angle), y + r * std::sin(angle)};
        };
        double const start = number(0, 6.28);
        item.curve = MakeCounted<CurveDbl>();
        item.curve->MoveTo(at(start, radius));
        for (int k = 1; k <= segments; ++k) {
            double const angle = start + 12.566 * k / segments;
            auto const first = at(angle - 1.5, radius * number(0.3, 1.6));
            auto const second = at(angle - 0.6, radius * number(0.3, 1.6));
            item.curve->CubicTo(first, second, at(angle, radius * number(0.5, 1.1)));
        }
        item.curve->Close();
        for (float& component : item.colour)
            component = static_cast<float>(number(0, 1));
        item.colour[3] = static_cast<float>(number(0.3, 1));
        items.push_back(item);
    }
    return items;
}

void Draw(std::vector<Item> const& items, RasterRenderTarget& target) {
    for (Item const& item : items) {
        Paint paint;
        auto const& [r, g, b, a] = item.colour;
        FillDescriptorConst const fill(Colour::FromRGB(r, g, b, a));
        if (item.stroked) {
            LineStyle style(item.weight);
            style.SetCap(static_cast<LineCap>(item.cap));
            style.SetJoin(static_cast<LineJoin>(item.join));
            if (item.dashed) {
                style.SetType(LineType::Dashed);
                style.SetDashPattern({30 / item.weight, 15 / item.weight});
            }
            paint.lineFill = fill;
            paint.lineStyle =
                LineStyleDescriptorConst(Kernel::Consolidated<LineStyle>(Counted<LineStyle const>(style.Clone())));
        }
        if (item.filled)
            paint.mainFill = fill;
        auto curve = item.curve;
        target.DrawCurves(MakeCounted<PolyCurveDbl>(curve), paint, WindingOrderMode::Alternating);
    }
}

double MeasureOurs(std::vector<Item> const& items, Raster::Format format) {
    return Measure(3, [&] {
        RasterOptions options;
        options.width = options.height = c_side;
        options.format = format;
        RasterRenderTarget target(options);
        Draw(items, target);
        unsigned sum = 0;
        target.Render(
            [&](Raster::BufferBase const& rows, int) { sum += *static_cast<unsigned char const*>(rows.GetRow(0, 0)); });
        if (sum == 12345)
            std::puts("");
    });
}

// The same drawing by AGG's own rasteriser and 8-bit compositor.
double MeasurePeer(std::vector<Item> const& items) {
    using PixelFormat = agg::pixfmt_rgba32_pre;
    std::vector<unsigned char> pixels(std::size_t(c_side) * c_side * 4);
    return Measure(3, [&] {
        std::fill(pixels.begin(), pixels.end(), static_cast<unsigned char>(0));
        agg::rendering_buffer buffer(pixels.data(), c_side, c_side, c_side * 4);
        PixelFormat format(buffer);
        agg::renderer_base<PixelFormat> base(format);
        agg::renderer_scanline_aa_solid<agg::renderer_base<PixelFormat>> renderer(base);
        agg::rasterizer_scanline_aa<agg::rasterizer_sl_clip_dbl> rasteriser(1u << 16);
        rasteriser.clip_box(0, 0, c_side, c_side);
        agg::scanline_u8 scanline;
        for (Item const& item : items) {
            agg::path_storage path;
            path.move_to(item.curve->GetStart().x, item.curve->GetStart().y);
            for (Geometry::Segment const& s : item.curve->GetSegments()) {
                if (s.kind == Geometry::SegmentKind::Cubic)
                    path.curve4(s.control1.x, s.control1.y, s.control2.x, s.control2.y, s.end.x, s.end.y);
            }
            path.close_polygon();
            agg::conv_curve<agg::path_storage> curve(path);
            auto const line = [&](auto& stroke) {
                stroke.width(item.weight);
                stroke.line_cap(static_cast<agg::line_cap_e>(item.cap));
                stroke.line_join(item.join == 0 ? agg::miter_join : item.join == 1 ? agg::round_join : agg::bevel_join);
                rasteriser.add_path(stroke);
            };
            rasteriser.reset();
            rasteriser.filling_rule(item.stroked ? agg::fill_non_zero : agg::fill_even_odd);
            if (!item.stroked) {
                rasteriser.add_path(curve);
            } else if (!item.dashed) {
                agg::conv_stroke<decltype(curve)> stroke(curve);
                line(stroke);
            } else {
                agg::conv_dash<decltype(curve)> dash(curve);
                dash.add_dash(30, 15);
                agg::conv_stroke<decltype(dash)> stroke(dash);
                line(stroke);
            }
            agg::rgba const colour(double{item.colour[0]}, double{item.colour[1]}, double{item.colour[2]},
                                   double{item.colour[3]});
            renderer.color(agg::rgba_pre(colour.r, colour.g, colour.b, colour.a));
            agg::render_scanlines(rasteriser, scanline, renderer);
        }
    });
}

#ifdef REDRAFT_BENCH_CAIRO
// The same drawing by cairo's image surface, at its own tolerance and antialiasing.
double MeasureCairo(std::vector<Item> const& items) {
    auto* const surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, c_side, c_side);
    double const best = Measure(3, [&] {
        auto* const context = cairo_create(surface);
        cairo_set_operator(context, CAIRO_OPERATOR_CLEAR);
        cairo_paint(context);
        cairo_set_operator(context, CAIRO_OPERATOR_OVER);
        cairo_set_fill_rule(context, CAIRO_FILL_RULE_EVEN_ODD);
        for (Item const& item : items) {
            cairo_new_path(context);
            cairo_move_to(context, item.curve->GetStart().x, item.curve->GetStart().y);
            for (Geometry::Segment const& s : item.curve->GetSegments()) {
                if (s.kind == Geometry::SegmentKind::Cubic)
                    cairo_curve_to(context, s.control1.x, s.control1.y, s.control2.x, s.control2.y, s.end.x, s.end.y);
            }
            cairo_close_path(context);
            auto const& [r, g, b, a] = item.colour;
            cairo_set_source_rgba(context, double{r}, double{g}, double{b}, double{a});
            if (item.filled)
                cairo_fill_preserve(context);
            if (!item.stroked)
                continue;
            cairo_set_line_width(context, item.weight);
            cairo_set_line_cap(context, item.cap == 0   ? CAIRO_LINE_CAP_BUTT
                                        : item.cap == 1 ? CAIRO_LINE_CAP_SQUARE
                                                        : CAIRO_LINE_CAP_ROUND);
            cairo_set_line_join(context, item.join == 0   ? CAIRO_LINE_JOIN_MITER
                                         : item.join == 1 ? CAIRO_LINE_JOIN_ROUND
                                                          : CAIRO_LINE_JOIN_BEVEL);
            double const dashes[] = {30, 15};
            cairo_set_dash(context, dashes, item.dashed ? 2 : 0, 0);
            cairo_stroke(context);
        }
        cairo_surface_flush(surface);
        cairo_destroy(context);
    });
    cairo_surface_destroy(surface);
    return best;
}
#endif

// One fill over the whole picture, in processor time of this thread.
double MeasureFill(FillDescriptorConst const& fill) {
    return Measure(3, [&] {
        RasterOptions options;
        options.width = options.height = c_side;
        RasterRenderTarget target(options);
        Paint paint;
        paint.mainFill = fill;
        target.DrawCurves(MakeCounted<PolyCurveDbl>(RectDbl{0, 0, c_side, c_side}), paint, WindingOrderMode::NonZero);
        target.Render([](Raster::BufferBase const&, int) {});
    });
}

// The same beside copying as many bytes.
void CompareFill(char const* what, FillDescriptorConst const& fill, double floor) {
    Tell(what, MeasureFill(fill), "copying the pixels", floor);
}

// Elapsed time with two threads beside one, by turns.
void CompareThreads(char const* what, std::vector<Item> const& items) {
    double best[2] = {1e9, 1e9};
    for (int round = 0; round != 6; ++round) {
        unsigned const threads = 1 + static_cast<unsigned>(round) % 2;
        Kernel::Dispatch::SetThreadCount(threads);
        auto const start = std::chrono::steady_clock::now();
        RasterOptions options;
        options.width = options.height = c_side;
        RasterRenderTarget target(options);
        Draw(items, target);
        target.Render([](Raster::BufferBase const&, int) {});
        std::chrono::duration<double, std::milli> const elapsed = std::chrono::steady_clock::now() - start;
        best[threads - 1] = std::min(best[threads - 1], elapsed.count());
    }
    Kernel::Dispatch::SetThreadCount(1);
    Tell(what, best[1], "one thread, elapsed", best[0]);
}

Kernel::Consolidated<Fill> Consolidate(Fill* fill) { return Kernel::Consolidated<Fill>(Counted<Fill const>(fill)); }

void ComparePaths() {
    auto const paths = MakeItems(1000, 20, 400);
    double const peer = MeasurePeer(paths);
    Tell("1000 paths, half lines, a quarter dashed, 8 bits", MeasureOurs(paths, Raster::FormatRGBA8), "AGG, 8 bits",
         peer);
#ifdef REDRAFT_BENCH_CAIRO
    auto filledAndStroked = paths;
    for (auto& item : filledAndStroked) {
        item.filled = item.stroked = true;
        item.dashed = false;
    }
    Tell("1000 paths, half lines, a quarter dashed, 8 bits", MeasureOurs(paths, Raster::FormatRGBA8), "cairo, ARGB32",
         MeasureCairo(paths));
    Tell("1000 paths, each filled and stroked, 8 bits", MeasureOurs(filledAndStroked, Raster::FormatRGBA8),
         "cairo, ARGB32", MeasureCairo(filledAndStroked));
#endif
    Tell("1000 paths, 16 bits", MeasureOurs(paths, Raster::FormatRGBA16), "AGG, 8 bits", peer);
    Tell("1000 paths, CMYK", MeasureOurs(paths, Raster::FormatCMYKA8), "AGG, 8 bits", peer);
}

void CompareSmallPaths() {
    auto const small = MakeItems(100'000, 1, 8);
    // By turns, so that what else the machine does meets both.
    double ours = std::numeric_limits<double>::infinity(), peer = ours;
    for (int round = 0; round != 3; ++round) {
        ours = std::min(ours, MeasureOurs(small, Raster::FormatRGBA8));
        peer = std::min(peer, MeasurePeer(small));
    }
    Tell("100000 small paths, 8 bits", ours, "AGG, 8 bits", peer);
}

void CompareFills() {
    std::vector<unsigned char> pixels(std::size_t(c_side) * c_side * 4), copy(pixels.size());
    double const clearing = Measure(5, [&] { std::memset(pixels.data(), 1, pixels.size()); });
    double const copying = Measure(5, [&] { std::memcpy(copy.data(), pixels.data(), pixels.size()); });
    Tell("nothing drawn", MeasureOurs({}, Raster::FormatRGBA8), "clearing the pixels", clearing);
    std::vector<GradientStop> const stops{{0, 1, Colour::FromRGB(1, 0, 0)}, {1, 1, Colour::FromRGB(0, 0, 1)}};
    Tell("one colour", MeasureFill(FillDescriptorConst(Colour::FromRGB(0.2f, 0.4f, 0.6f))), "clearing the pixels",
         clearing);
    CompareFill("linear gradient",
                FillDescriptorConst(Consolidate(new LinearGradientFill({0, 0}, {c_side, c_side}, stops))), copying);
    CompareFill("elliptical gradient with a focus",
                FillDescriptorConst(Consolidate(
                    new EllipticalGradientFill({2048, 2048}, {4096, 2048}, {2048, 4096}, {2500, 2048}, 0.1, stops))),
                copying);
    auto const bitmap = MakeCounted<Raster::DynamicBitmap>(c_side / 2, c_side / 2, Raster::FormatRGBA8);
    bitmap->Clear(Raster::DynamicPixel(Raster::FormatRGBA8));
    bitmap->WritePixels({0, 0, 2048, 2048}, pixels.data(), 8192);
    for (auto const& [name, resampling] : {std::pair{"bitmap, doubled, bilinear", Resampling::Bilinear},
                                           {"bitmap, doubled, bicubic", Resampling::Bicubic}})
        CompareFill(
            name,
            FillDescriptorConst(Consolidate(new BitmapFill(bitmap, TileMode::Clamp, TileMode::Clamp, resampling)), true,
                                Transform::Scale(2, 2).GetParams()),
            copying);
}

} // namespace

int main(int count, char** arguments) {
    Kernel::Dispatch::SetThreadCount(1);
    std::string_view const chosen = count < 2 ? "all" : arguments[1];
    auto const isWanted = [&](std::string_view part) { return chosen == "all" || chosen == part; };
    std::printf("%-52s %10s   %-22s %10s %8s\n", "4096 x 4096 pixels, ms", "ours", "beside", "", "ratio");
    if (isWanted("paths"))
        ComparePaths();
    if (isWanted("small"))
        CompareSmallPaths();
    if (isWanted("fills"))
        CompareFills();
    if (isWanted("threads")) {
        CompareThreads("1000 paths, two threads, elapsed", MakeItems(1000, 20, 400));
        CompareThreads("100000 small paths, two threads, elapsed", MakeItems(100'000, 1, 8));
    }
    return 0;
}
