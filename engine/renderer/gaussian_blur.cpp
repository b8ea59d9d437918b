// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/gaussian_blur.h"

#include "engine/renderer/wide_loop.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace Renderer::Detail {

namespace {

// Rows, or columns, that are blurred together.
constexpr int c_lanes = 16;
// Samples are whole multiples of this: sums of them are exact in doubles.
constexpr double c_quantum = 0x1p-24, c_perQuantum = 0x1p24;
// Adding and taking away this rounds to a whole number.
constexpr double c_rounder = 0x1.8p52;

// Lines side by side: sample i of lane l stands at [i * c_lanes + l].
using Lines = std::vector<double>;

struct Box {
    int before = 0;
    int after = 0;
};

// The window sums of `count` samples; `before` and `after` samples beside them are read too.
REDRAFT_WIDE_LOOP void SumBox(double const* in, double* out, int count, int before, int after) {
    double sum[c_lanes]{};
    for (int i = -before; i < after; ++i)
        for (int l = 0; l != c_lanes; ++l)
            sum[l] += in[i * c_lanes + l];
    double const scale = 1.0 / (before + after + 1);
    for (int i = 0; i != count; ++i) {
        double const* const next = in + (i + after) * c_lanes;
        double const* const last = in + (i - before) * c_lanes;
        for (int l = 0; l != c_lanes; ++l) {
            sum[l] += next[l];
            out[i * c_lanes + l] = (sum[l] * scale + c_rounder) - c_rounder;
            sum[l] -= last[l];
        }
    }
}

REDRAFT_WIDE_LOOP void Quantise(double* values, int count) {
    for (int i = 0; i != count; ++i)
        values[i] = (values[i] * c_perQuantum + c_rounder) - c_rounder;
}

REDRAFT_WIDE_LOOP void AddWeighted(double const* in, double* out, int count, double weight) {
    for (int i = 0; i != count; ++i)
        out[i] += in[i] * weight;
}

// One axis of a blur.
class Kernel1 {
public:
    explicit Kernel1(double deviation) {
        if (!(deviation > 0))
            return;
        if (deviation < 2) {
            m_reach = GetBlurReach(deviation);
            // The part of the Gaussian that falls into each pixel.
            auto const below = [&](double x) { return std::erf(x / (deviation * std::numbers::sqrt2)); };
            double sum = 0;
            for (int i = -m_reach; i <= m_reach; ++i) {
                m_weights.push_back(below(i + 0.5) - below(i - 0.5));
                sum += m_weights.back();
            }
            for (double& w : m_weights)
                w /= sum;
            return;
        }
        int const d =
            static_cast<int>(std::floor(std::min(deviation, 1e7) * 3 * std::sqrt(2 * std::numbers::pi) / 4 + 0.5));
        int const half = d / 2;
        if (d % 2 == 1)
            m_boxes = {{half, half}, {half, half}, {half, half}};
        else
            m_boxes = {{half, half - 1}, {half - 1, half}, {half, half}};
        for (Box const& box : m_boxes)
            m_reach += std::max(box.before, box.after);
    }
    int GetReach() const { return m_reach; }

    // `from` holds `count` samples with GetReach() more on either side; the result stands in `to`.
    void Apply(Lines& from, Lines& to, int count) const {
        auto const offset = [](int samples) { return static_cast<std::ptrdiff_t>(samples) * c_lanes; };
        if (m_boxes.empty()) {
            std::fill_n(to.begin(), offset(count), 0.0);
            for (std::size_t i = 0; i != m_weights.size(); ++i)
                AddWeighted(from.data() + offset(static_cast<int>(i)), to.data(), count * c_lanes, m_weights[i]);
            return;
        }
        // Each box needs what the later ones reach.
        int left = m_reach, right = m_reach;
        Lines *in = &from, *out = &to;
        int origin = 0;
        for (Box const& box : m_boxes) {
            left -= box.before;
            right -= box.after;
            SumBox(in->data() + offset(origin + box.before), out->data(), left + count + right, box.before, box.after);
            std::swap(in, out);
            origin = 0;
        }
        // Three boxes end in `to`; reaches that differ on both sides leave some samples before the first.
        if (left > 0)
            std::memmove(to.data(), to.data() + offset(left), static_cast<std::size_t>(offset(count)) * sizeof(double));
    }

private:
    int m_reach = 0;
    std::vector<double> m_weights;
    std::vector<Box> m_boxes;
};

// Blurs lines of samples that stand `step` apart; lanes are `lane` apart. The input's first sample is number `inBegin`
// of the line, and it has `inCount`; the output's likewise.
struct Line {
    float const* in;
    std::ptrdiff_t inStep, inLane;
    int inBegin, inCount;
    float* out;
    std::ptrdiff_t outStep, outLane;
    int outBegin, outCount;
};

void BlurLines(Kernel1 const& kernel, Line const& line, int lanes, Lines& a, Lines& b) {
    int const reach = kernel.GetReach(), length = line.outCount + 2 * reach;
    std::size_t const size = static_cast<std::size_t>(length) * c_lanes;
    if (a.size() < size) {
        a.resize(size);
        b.resize(size);
    }
    int const first = std::max(line.outBegin - reach, line.inBegin);
    int const end = std::min(line.outBegin + line.outCount + reach, line.inBegin + line.inCount);
    std::fill_n(a.begin(), static_cast<std::ptrdiff_t>(size), 0.0);
    bool isClear = true;
    double* const target = a.data() - static_cast<std::ptrdiff_t>(line.outBegin - reach) * c_lanes;
    if (line.inLane == 1) {
        for (int i = first; i < end; ++i) {
            float const* const from = line.in + (i - line.inBegin) * line.inStep;
            for (int l = 0; l != lanes; ++l) {
                target[static_cast<std::ptrdiff_t>(i) * c_lanes + l] = static_cast<double>(from[l]);
                isClear = isClear && from[l] == 0;
            }
        }
    } else {
        for (int l = 0; l != lanes; ++l) {
            float const* const from = line.in + l * line.inLane;
            for (int i = first; i < end; ++i) {
                float const v = from[(i - line.inBegin) * line.inStep];
                target[static_cast<std::ptrdiff_t>(i) * c_lanes + l] = static_cast<double>(v);
                isClear = isClear && v == 0;
            }
        }
    }
    if (isClear) {
        for (int l = 0; l != lanes; ++l)
            for (int i = 0; i != line.outCount; ++i)
                line.out[i * line.outStep + l * line.outLane] = 0;
        return;
    }
    if (first < end)
        Quantise(target + static_cast<std::ptrdiff_t>(first) * c_lanes, (end - first) * c_lanes);
    kernel.Apply(a, b, line.outCount);
    for (int l = 0; l != lanes && line.outLane != 1; ++l)
        for (int i = 0; i != line.outCount; ++i)
            line.out[i * line.outStep + l * line.outLane] =
                static_cast<float>(b[static_cast<std::size_t>(i) * c_lanes + static_cast<std::size_t>(l)] * c_quantum);
    for (int i = 0; i != line.outCount && line.outLane == 1; ++i)
        for (int l = 0; l != lanes; ++l)
            line.out[i * line.outStep + l] =
                static_cast<float>(b[static_cast<std::size_t>(i) * c_lanes + static_cast<std::size_t>(l)] * c_quantum);
}

} // namespace

void BlurPlane(Surface const& in, int plane, double deviationX, double deviationY, Surface& out) {
    Kernel1 const across(deviationX), down(deviationY);
    RectInt const &from = in.GetBounds(), &to = out.GetBounds();
    // The rows that the vertical blur needs.
    RectInt const middle{to.left, std::max(from.top, to.top - down.GetReach()), to.right,
                         std::min(from.bottom, to.bottom + down.GetReach())};
    if (middle.IsEmpty()) {
        for (int y = to.top; y != to.bottom; ++y)
            std::fill_n(out.At(plane, to.left, y), to.GetWidth(), 0.0f);
        return;
    }
    Surface rows(middle, 1, Surface::Uninitialised());
    Lines a, b;
    for (int y = middle.top; y < middle.bottom; y += c_lanes) {
        int const lanes = std::min(c_lanes, middle.bottom - y);
        if (across.GetReach() != 0) {
            BlurLines(across,
                      {in.At(plane, from.left, y), 1, from.GetWidth(), from.left, from.GetWidth(),
                       rows.At(0, middle.left, y), 1, middle.GetWidth(), middle.left, middle.GetWidth()},
                      lanes, a, b);
            continue;
        }
        for (int l = 0; l != lanes; ++l) {
            float* const row = rows.At(0, middle.left, y + l);
            std::fill_n(row, middle.GetWidth(), 0.0f);
            int const left = std::max(from.left, middle.left), right = std::min(from.right, middle.right);
            if (left < right)
                std::copy_n(in.At(plane, left, y + l), right - left, row + (left - middle.left));
        }
    }
    if (down.GetReach() == 0) {
        for (int y = to.top; y != to.bottom; ++y) {
            float* const row = out.At(plane, to.left, y);
            if (y >= middle.top && y < middle.bottom)
                std::copy_n(rows.At(0, to.left, y), to.GetWidth(), row);
            else
                std::fill_n(row, to.GetWidth(), 0.0f);
        }
        return;
    }
    for (int x = to.left; x < to.right; x += c_lanes) {
        BlurLines(down,
                  {rows.At(0, x, middle.top), middle.GetWidth(), 1, middle.top, middle.GetHeight(),
                   out.At(plane, x, to.top), to.GetWidth(), 1, to.top, to.GetHeight()},
                  std::min(c_lanes, to.right - x), a, b);
    }
}

} // namespace Renderer::Detail
