// SPDX-License-Identifier: Apache-2.0
// The cost of removing a plain ground from a picture of 4 million pixels, beside OpenCV's GrabCut of the same picture
// at full size with a rectangle around the subject, and how well each finds the subject, whose alpha is known. Elapsed
// time; the best of some runs of ours, one of GrabCut.
#include "platform/kernel/dispatch.h"
#include "platform/learning/back_ends.h"
#include "platform/raster/dynamic_bitmap.h"

#ifdef REDRAFT_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int c_side = 2000;
using Pixel = std::array<std::uint8_t, 4>;

double GetKnownAlpha(int x, int y) {
    double const u = x - 1000.0, v = y - 1050.0, angle = std::atan2(v, u);
    double const outer = 620 + 120 * std::sin(5 * angle) - std::hypot(u, v), hole = std::hypot(u - 150, v) - 160;
    return std::clamp(std::min(outer, hole) / 4 + 0.5, 0.0, 1.0);
}

std::vector<Pixel> MakePicture() {
    std::vector<Pixel> pixels;
    std::uint32_t seed = 7;
    for (int y = 0; y != c_side; ++y) {
        for (int x = 0; x != c_side; ++x) {
            double const alpha = GetKnownAlpha(x, y), u = x / 1000.0 - 1, v = y / 1000.0 - 1;
            double const ground = 225 - 20 * u - 15 * v - 12 * (u * u + v * v);
            double const wave = 40 * std::sin(x / 37.0) * std::cos(y / 53.0);
            Pixel pixel{0, 0, 0, 255};
            double const front[3]{120 + wave, 60 + wave, 40 - wave / 2};
            for (std::size_t c = 0; c != 3; ++c) {
                seed = seed * 1664525u + 1013904223u;
                double const noise = static_cast<double>(seed >> 8) / (1 << 24) * 8 - 4;
                double const value = alpha * front[c] + (1 - alpha) * (ground - 3.0 * static_cast<double>(c)) + noise;
                pixel[c] = static_cast<std::uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
            }
            pixels.push_back(pixel);
        }
    }
    return pixels;
}

template <class F>
double Measure(F const& run) {
    auto const start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

template <class F>
double GetOverlap(F const& alpha) {
    double common = 0, any = 0;
    for (int y = 0; y != c_side; ++y) {
        for (int x = 0; x != c_side; ++x) {
            double const known = GetKnownAlpha(x, y),
                         found = alpha(static_cast<std::size_t>(y) * c_side + static_cast<std::size_t>(x));
            common += std::min(known, found);
            any += std::max(known, found);
        }
    }
    return common / any;
}

} // namespace

int main() {
    auto const pixels = MakePicture();
    auto const image = Kernel::MakeCounted<Raster::DynamicBitmap>(c_side, c_side, Raster::FormatRGBA8);
    image->WritePixels({0, 0, c_side, c_side}, pixels.data(), std::size_t{c_side} * 4);
    auto const remover = Learning::MakePlainGroundRemover();
    Kernel::Counted<Raster::DynamicBitmap> answer;
    auto const threads = Kernel::Dispatch::GetThreadCount();
    double alone = 1e9, all = 1e9;
    for (int i = 0; i != 5; ++i) {
        auto const remove = [&] {
            auto const result = remover->RemoveBackground(image, Raster::ICCProfileSet(), answer,
                                                          Learning::InferenceCall(nullptr, nullptr));
            if (result.code != 0)
                std::printf("%s\n", result.detail.c_str());
        };
        Kernel::Dispatch::SetThreadCount(1);
        alone = std::min(alone, Measure(remove));
        Kernel::Dispatch::SetThreadCount(threads);
        all = std::min(all, Measure(remove));
    }
    std::vector<Pixel> answered(pixels.size());
    answer->ReadPixels({0, 0, c_side, c_side}, answered.data(), std::size_t{c_side} * 4);
    std::printf("plain ground: %.1f ms on one thread, %.1f on %u, overlap %.4f\n", alone, all, threads,
                GetOverlap([&](std::size_t i) { return answered[i][3] / 255.0; }));
#ifdef REDRAFT_BENCH_OPENCV
    cv::Mat colours(c_side, c_side, CV_8UC3), mask(c_side, c_side, CV_8UC1), background, foreground;
    for (int y = 0; y != c_side; ++y) {
        for (int x = 0; x != c_side; ++x) {
            auto const& p = pixels[static_cast<std::size_t>(y) * c_side + static_cast<std::size_t>(x)];
            colours.at<cv::Vec3b>(y, x) = cv::Vec3b(p[2], p[1], p[0]);
        }
    }
    double const peer = Measure([&] {
        cv::grabCut(colours, mask, cv::Rect(c_side / 50, c_side / 50, c_side * 24 / 25, c_side * 24 / 25), background,
                    foreground, 3, cv::GC_INIT_WITH_RECT);
    });
    std::printf("GrabCut, 3 rounds: %.1f ms, overlap %.4f; its time by ours: %.1f on one thread, %.1f on %u\n", peer,
                GetOverlap([&](std::size_t i) { return (mask.data[i] & 1) != 0 ? 1.0 : 0.0; }), peer / alone,
                peer / all, threads);
#endif
    return 0;
}
