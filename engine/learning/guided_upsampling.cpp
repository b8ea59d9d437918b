// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/guided_upsampling.h"

#include "platform/kernel/dispatch.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace Learning {

namespace {

using Plane = std::vector<float>;

// Runs rows in bands by several threads; false when it was cancelled.
template <class F>
bool ForEachRow(int height, InferenceCall const& call, F const& visit) {
    constexpr int c_rows = 8;
    std::atomic<bool> isCancelled{false};
    Kernel::ParallelFor(static_cast<std::size_t>((height + c_rows - 1) / c_rows), [&](std::size_t band) {
        if (call.IsCancelled())
            isCancelled = true;
        int const top = static_cast<int>(band) * c_rows;
        for (int y = top; y != std::min(top + c_rows, height) && !isCancelled; ++y)
            visit(y);
    });
    return !isCancelled;
}

// A colour of 0 to 1 over white.
float OverWhite(std::uint8_t colour, std::uint8_t alpha) {
    return (static_cast<float>(colour) * static_cast<float>(alpha) + 255.0f * static_cast<float>(255 - alpha)) /
           65025.0f;
}

// Means over squares of 2 r + 1 pixels, as far as they lie inside.
Plane MeanOfSquares(Plane const& plane, int width, int height, int radius) {
    auto const run = [radius](float const* from, float* to, int count, std::size_t step) {
        double sum = 0;
        auto const at = [step](int i) { return static_cast<std::size_t>(i) * step; };
        for (int i = 0; i < std::min(radius, count); ++i)
            sum += from[at(i)];
        for (int i = 0; i != count; ++i) {
            if (i + radius < count)
                sum += from[at(i + radius)];
            if (i - radius - 1 >= 0)
                sum -= from[at(i - radius - 1)];
            int const first = std::max(0, i - radius), last = std::min(count - 1, i + radius);
            to[at(i)] = static_cast<float>(sum / (last - first + 1));
        }
    };
    Plane rows(plane.size()), result(plane.size());
    auto const step = static_cast<std::size_t>(width);
    for (int y = 0; y != height; ++y)
        run(&plane[static_cast<std::size_t>(y) * step], &rows[static_cast<std::size_t>(y) * step], width, 1);
    for (int x = 0; x != width; ++x)
        run(&rows[static_cast<std::size_t>(x)], &result[static_cast<std::size_t>(x)], height, step);
    return result;
}

Plane Multiply(Plane const& a, Plane const& b) {
    Plane product(a.size());
    std::transform(a.begin(), a.end(), b.begin(), product.begin(), [](float x, float y) { return x * y; });
    return product;
}

// The matte is told by a colour as the sum of `scale` times it and `offset`.
struct Coefficients {
    Plane scale[3], offset;
};

// Solves (covariance + epsilon) scale = cross for each pixel, by the inverse of a symmetric 3 x 3 matrix.
Coefficients FindCoefficients(Plane const& matte, SmallPicture const& guide) {
    // In pixels of the small picture, and in squares of colours of 0 to 1.
    int const radius = std::max(2, std::min(guide.width, guide.height) / 80);
    constexpr float c_epsilon = 1e-4f;
    auto const mean = [&](Plane const& plane) { return MeanOfSquares(plane, guide.width, guide.height, radius); };
    Plane means[3], cross[3], covariance[6];
    Plane const meanMatte = mean(matte);
    int pair = 0;
    for (int i = 0; i != 3; ++i) {
        means[i] = mean(guide.planes[i]);
        cross[i] = mean(Multiply(guide.planes[i], matte));
        for (int j = i; j != 3; ++j)
            covariance[pair++] = mean(Multiply(guide.planes[i], guide.planes[j]));
    }
    Coefficients result;
    for (auto& plane : result.scale)
        plane.resize(matte.size());
    result.offset.resize(matte.size());
    for (std::size_t at = 0; at != matte.size(); ++at) {
        float const m[3] = {means[0][at], means[1][at], means[2][at]};
        float const rr = covariance[0][at] - m[0] * m[0] + c_epsilon, rg = covariance[1][at] - m[0] * m[1],
                    rb = covariance[2][at] - m[0] * m[2], gg = covariance[3][at] - m[1] * m[1] + c_epsilon,
                    gb = covariance[4][at] - m[1] * m[2], bb = covariance[5][at] - m[2] * m[2] + c_epsilon;
        float const c[3] = {cross[0][at] - m[0] * meanMatte[at], cross[1][at] - m[1] * meanMatte[at],
                            cross[2][at] - m[2] * meanMatte[at]};
        float const i00 = gg * bb - gb * gb, i01 = gb * rb - rg * bb, i02 = rg * gb - gg * rb;
        float const i11 = rr * bb - rb * rb, i12 = rb * rg - rr * gb, i22 = rr * gg - rg * rg;
        float const determinant = rr * i00 + rg * i01 + rb * i02;
        float const a[3] = {(i00 * c[0] + i01 * c[1] + i02 * c[2]) / determinant,
                            (i01 * c[0] + i11 * c[1] + i12 * c[2]) / determinant,
                            (i02 * c[0] + i12 * c[1] + i22 * c[2]) / determinant};
        for (int i = 0; i != 3; ++i)
            result.scale[i][at] = a[i];
        result.offset[at] = meanMatte[at] - a[0] * m[0] - a[1] * m[1] - a[2] * m[2];
    }
    for (auto* const plane : {&result.scale[0], &result.scale[1], &result.scale[2], &result.offset})
        *plane = mean(*plane);
    return result;
}

// Where a pixel of the large picture lies in the small one: between `first` and `second`.
struct Place {
    int first, second;
    float share;

    Place(int at, int count, int smallCount) {
        float const exact = std::clamp(
            (static_cast<float>(at) + 0.5f) * static_cast<float>(smallCount) / static_cast<float>(count) - 0.5f, 0.0f,
            static_cast<float>(smallCount - 1));
        first = static_cast<int>(exact);
        second = std::min(first + 1, smallCount - 1);
        share = exact - static_cast<float>(first);
    }
};

} // namespace

bool ShrinkPicture(Raster::BufferRGBA8 const& picture, int width, int height, SmallPicture& small,
                   InferenceCall const& call) {
    small.width = width;
    small.height = height;
    for (auto& plane : small.planes)
        plane.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    auto const begin = [](int at, int count, int large) { return static_cast<int>(std::int64_t(at) * large / count); };
    auto const end = [](int at, int count, int large) {
        return static_cast<int>((std::int64_t(at + 1) * large + count - 1) / count);
    };
    return ForEachRow(height, call, [&](int y) {
        int const top = begin(y, height, picture.GetHeight()), bottom = end(y, height, picture.GetHeight());
        for (int channel = 0; channel != 3; ++channel) {
            for (int x = 0; x != width; ++x) {
                int const left = begin(x, width, picture.GetWidth()), right = end(x, width, picture.GetWidth());
                float sum = 0;
                for (int fromY = top; fromY != bottom; ++fromY) {
                    auto const* const colours = picture.GetRow(channel, fromY);
                    auto const* const alphas = picture.GetRow(3, fromY);
                    for (int fromX = left; fromX != right; ++fromX)
                        sum += OverWhite(colours[fromX], alphas[fromX]);
                }
                small.planes[channel][static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                      static_cast<std::size_t>(x)] =
                    sum / (static_cast<float>(right - left) * static_cast<float>(bottom - top));
            }
        }
    });
}

bool UpsampleMatte(std::vector<float> const& small, SmallPicture const& guide, Raster::BufferRGBA8 const& picture,
                   Matte& matte, InferenceCall const& call) {
    auto const coefficients = FindCoefficients(small, guide);
    Plane const* const planes[4] = {&coefficients.scale[0], &coefficients.scale[1], &coefficients.scale[2],
                                    &coefficients.offset};
    int const width = picture.GetWidth();
    std::vector<Place> places;
    for (int x = 0; x != width; ++x)
        places.emplace_back(x, width, guide.width);
    // Taken once, before threads share it.
    auto* const block = static_cast<std::uint8_t*>(matte.GetBuffer());
    return ForEachRow(picture.GetHeight(), call, [&](int y) {
        Place const row(y, picture.GetHeight(), guide.height);
        auto const smallWidth = static_cast<std::size_t>(guide.width);
        std::array<Plane, 4> between;
        for (std::size_t i = 0; i != 4; ++i) {
            between[i].resize(smallWidth);
            auto const* const above = planes[i]->data() + static_cast<std::size_t>(row.first) * smallWidth;
            auto const* const below = planes[i]->data() + static_cast<std::size_t>(row.second) * smallWidth;
            for (std::size_t x = 0; x != smallWidth; ++x)
                between[i][x] = above[x] + (below[x] - above[x]) * row.share;
        }
        auto* const to = block + static_cast<std::size_t>(y) * matte.GetRowBytes();
        auto const* const alphas = picture.GetRow(3, y);
        for (int x = 0; x != width; ++x) {
            auto const& place = places[static_cast<std::size_t>(x)];
            auto const get = [&](std::size_t i) {
                float const first = between[i][static_cast<std::size_t>(place.first)];
                return first + (between[i][static_cast<std::size_t>(place.second)] - first) * place.share;
            };
            float share = get(3);
            for (int channel = 0; channel != 3; ++channel)
                share += get(static_cast<std::size_t>(channel)) * OverWhite(picture.GetRow(channel, y)[x], alphas[x]);
            to[x] = static_cast<std::uint8_t>(std::clamp(share, 0.0f, 1.0f) * 255.0f + 0.5f);
        }
    });
}

} // namespace Learning
