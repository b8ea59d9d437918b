// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/timing.h"

#include <numbers>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace Bench {

namespace {

// Rows of the result that are sampled at a time, so that the maps stay small.
constexpr int c_band = 16;

// The mean of 5 x 5 samples a pixel: maps of all sample points, nearest pixels, and their mean by areas.
template <bool ToPolar>
void Remap(cv::Mat const& from, cv::Mat& to) {
    int const side = from.rows, fine = side * 5;
    float const size = static_cast<float>(side), half = size / 2;
    cv::Mat first(5 * c_band, fine, CV_32F), second(5 * c_band, fine, CV_32F), a, b, samples, band;
    for (int y = 0; y < side; y += c_band) {
        for (int row = 0; row != 5 * c_band; ++row) {
            auto* const u = first.ptr<float>(row);
            auto* const v = second.ptr<float>(row);
            float const py = static_cast<float>(y) + static_cast<float>(row) * 0.2f;
            for (int column = 0; column != fine; ++column) {
                float const px = static_cast<float>(column) * 0.2f;
                if constexpr (ToPolar) {
                    u[column] = half - py;
                    v[column] = half - px;
                } else {
                    u[column] = py / 2;
                    v[column] = (px / size - 0.5f) * 2 * std::numbers::pi_v<float>;
                }
            }
        }
        if constexpr (ToPolar) {
            // Angles from 0 to two turns of pi, and radii in halves of the side.
            cv::cartToPolar(first, second, b, a);
            a *= size / (2 * std::numbers::pi_v<float>);
            b *= 2;
        } else {
            cv::polarToCart(first, second, b, a);
            a += half;
            b += half;
        }
        // Nearest pixels are chosen by rounding, ours by truncation.
        a -= 0.5f;
        b -= 0.5f;
        cv::remap(from, samples, a, b, cv::INTER_NEAREST, cv::BORDER_REPLICATE);
        band = to.rowRange(y, y + c_band);
        cv::resize(samples, band, band.size(), 0, 0, cv::INTER_AREA);
    }
}

template <bool ToPolar>
std::function<void()> PrepareRemap() {
    cv::setNumThreads(1);
    auto const pixels = MakePicture(c_remapSide);
    cv::Mat const from = cv::Mat(c_remapSide, c_remapSide, CV_8UC4, const_cast<std::uint8_t*>(pixels.data())).clone();
    cv::Mat const to(c_remapSide, c_remapSide, CV_8UC4);
    return [=] {
        cv::Mat result = to;
        Remap<ToPolar>(from, result);
    };
}

// On one plane after another, as we have them.
std::function<void()> PrepareSolarise() {
    cv::setNumThreads(1);
    cv::Mat curve(1, 256, CV_8U);
    for (int v = 0; v != 256; ++v)
        curve.at<std::uint8_t>(v) = static_cast<std::uint8_t>(v > 128 ? 255 - v : v);
    auto const pixels = MakePicture(c_solariseSide);
    std::vector<cv::Mat> planes;
    cv::split(cv::Mat(c_solariseSide, c_solariseSide, CV_8UC4, const_cast<std::uint8_t*>(pixels.data())), planes);
    planes.pop_back();
    std::vector<cv::Mat> results(3);
    return [=]() mutable {
        for (std::size_t c = 0; c != 3; ++c)
            cv::LUT(planes[c], curve, results[c]);
    };
}

} // namespace

void RegisterOpenCv() {
    Register({"solarise/OpenCV", {}}, 5, &PrepareSolarise);
    Register({"polar-to-rectangular/OpenCV", {}}, 3, &PrepareRemap<false>);
    Register({"rectangular-to-polar/OpenCV", {}}, 3, &PrepareRemap<true>);
}

} // namespace Bench
