// SPDX-License-Identifier: Apache-2.0
// What does a filter cost beside the same picture without it, and beside OpenCV's blur of a picture that is there
// already? 2,000 x 2,000 pixels, one thread, processor time, the best of some runs that take turns.
#include "platform/geometry/shapes.h"
#include "platform/kernel/dispatch.h"
#include "platform/raster/dynamic_bitmap.h"
#include "platform/renderer/raster_render_target.h"

#ifdef REDRAFT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace Renderer;
using Geometry::PolyCurveDbl;
using Geometry::WindingOrderMode;
using Kernel::Counted;
using Kernel::MakeCounted;

constexpr int c_side = 2000;
constexpr double c_deviation = 20;

double GetThreadMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

struct Work {
    std::string name;
    std::function<void()> run;
    double best = 1e9;
};

// Some hundred shapes of many colours.
void DrawShapes(RenderTarget& target) {
    std::mt19937 random(3);
    auto const number = [&](double low, double high) { return low + (high - low) * (random() % 10007) / 10006.0; };
    for (int i = 0; i != 300; ++i) {
        Paint paint;
        paint.mainFill = FillDescriptorConst(Colour::FromRGB(
            static_cast<float>(number(0, 1)), static_cast<float>(number(0, 1)), static_cast<float>(number(0, 1))));
        auto star = Geometry::MakeStar({number(0, c_side), number(0, c_side)}, number(50, 300), number(20, 50), 7,
                                       number(0, 6));
        target.DrawCurves(MakeCounted<PolyCurveDbl>(star), paint, WindingOrderMode::NonZero);
    }
}

Counted<Filter const> MakeFilter(FilterPrimitiveKind kind, bool isLinear) {
    FilterPrimitive p;
    p.kind = kind;
    p.deviationX = p.deviationY = c_deviation;
    p.offsetX = p.offsetY = kind == FilterPrimitiveKind::DropShadow ? 10 : 0;
    p.isLinear = isLinear;
    FilterSettings settings;
    settings.isRegionOfBox = false;
    settings.left = settings.top = -c_side;
    settings.width = settings.height = 3 * c_side;
    settings.primitives = {p};
    return MakeCounted<Filter const>(settings);
}

void Render(Counted<Filter const> const& filter, Raster::Format format) {
    RasterOptions options;
    options.width = options.height = c_side;
    options.format = format;
    RasterRenderTarget target(options);
    if (filter)
        target.PushFilter(filter);
    DrawShapes(target);
    if (filter)
        target.PopFilter();
    target.Render([](Raster::BufferBase const&, int) {});
}

} // namespace

int main() {
    Kernel::Dispatch::SetThreadCount(1);
    std::vector<Work> works;
    auto const add = [&](char const* name, Counted<Filter const> const& filter, Raster::Format format) {
        works.push_back({name, [=] { Render(filter, format); }});
    };
    using Kind = FilterPrimitiveKind;
    add("without a filter, RGBA8", nullptr, Raster::FormatRGBA8);
    add("blur of 20, colours as encoded, RGBA8", MakeFilter(Kind::GaussianBlur, false), Raster::FormatRGBA8);
    add("blur of 20, colours as light, RGBA8", MakeFilter(Kind::GaussianBlur, true), Raster::FormatRGBA8);
    add("blur of 20, colours as encoded, RGBAF", MakeFilter(Kind::GaussianBlur, false), Raster::FormatRGBAF);
    add("blur of 20, CMYK", MakeFilter(Kind::GaussianBlur, true), Raster::FormatCMYKA8);
    add("shadow of 20, colours as encoded, RGBA8", MakeFilter(Kind::DropShadow, false), Raster::FormatRGBA8);
#ifdef REDRAFT_BENCH_OPENCV
    cv::setNumThreads(1);
    cv::Mat bytes(c_side, c_side, CV_8UC4), floats(c_side, c_side, CV_32FC4), blurred;
    cv::randu(bytes, 0, 256);
    cv::randu(floats, 0, 1);
    works.push_back({"OpenCV, 4 x 8 bits", [&] { cv::GaussianBlur(bytes, blurred, {}, c_deviation); }});
    works.push_back({"OpenCV, 4 floats", [&] { cv::GaussianBlur(floats, blurred, {}, c_deviation); }});
#endif
    for (int i = 0; i != 5; ++i) {
        for (Work& work : works) {
            double const start = GetThreadMilliseconds();
            work.run();
            work.best = std::min(work.best, GetThreadMilliseconds() - start);
        }
    }
    std::printf("%-44s %10s", "2,000 x 2,000 pixels, ms", "");
    for (std::size_t i = 6; i < works.size(); ++i)
        std::printf("   x %-18s", works[i].name.c_str());
    std::printf("   x without\n");
    for (Work const& work : works) {
        std::printf("%-44s %10.1f", work.name.c_str(), work.best);
        for (std::size_t i = 6; i < works.size(); ++i)
            std::printf("   %-20.2f", work.best / works[i].best);
        std::printf("   %.2f\n", work.best / works.front().best);
    }
    return 0;
}
