// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/plain_ground_field.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Learning {

namespace {

// The deviation of normal noise whose median size is 1, of the largest of three components somewhat less.
constexpr float c_deviationOfMedian = 1.1f;

} // namespace

ColourField::Terms ColourField::GetTerms(double x, double y) const {
    double const u = m_width > 1 ? 2 * x / (m_width - 1) - 1 : 0, v = m_height > 1 ? 2 * y / (m_height - 1) - 1 : 0;
    return {1, u, v, u * u, u * v, v * v, u * u * u, u * u * v, u * v * v, v * v * v};
}

// Least squares with a little resistance against large terms, so that pictures of one row or column have an answer.
void ColourField::FitWeighted(std::vector<Sample> const& samples, std::vector<double> const& weights, int terms) {
    auto const count = static_cast<std::size_t>(terms);
    std::array<std::array<double, c_terms + 3>, c_terms> rows{};
    double total = 0;
    for (std::size_t i = 0; i != samples.size(); ++i) {
        if (weights[i] <= 0)
            continue;
        auto const t = GetTerms(samples[i].x, samples[i].y);
        total += weights[i];
        for (std::size_t row = 0; row != count; ++row) {
            double const weighted = weights[i] * t[row];
            for (std::size_t column = 0; column != count; ++column)
                rows[row][column] += weighted * t[column];
            for (std::size_t c = 0; c != 3; ++c)
                rows[row][c_terms + c] += weighted * static_cast<double>(samples[i].colour[c]);
        }
    }
    if (total <= 0)
        return;
    for (std::size_t row = 1; row != count; ++row)
        rows[row][row] += 1e-5 * total;
    // Gauss, with the largest pivot of each column.
    for (std::size_t column = 0; column != count; ++column) {
        std::size_t pivot = column;
        for (std::size_t row = column + 1; row != count; ++row) {
            if (std::abs(rows[row][column]) > std::abs(rows[pivot][column]))
                pivot = row;
        }
        std::swap(rows[column], rows[pivot]);
        for (std::size_t row = 0; row != count; ++row) {
            if (row == column)
                continue;
            double const factor = rows[row][column] / rows[column][column];
            for (std::size_t i = column; i != c_terms + 3; ++i)
                rows[row][i] -= factor * rows[column][i];
        }
    }
    m_terms = {};
    for (std::size_t c = 0; c != 3; ++c) {
        for (std::size_t row = 0; row != count; ++row)
            m_terms[c][row] = rows[row][c_terms + c] / rows[row][row];
    }
}

float ColourField::GetMedianResidual(std::vector<Sample> const& samples) const {
    std::vector<float> residuals;
    residuals.reserve(samples.size());
    for (auto const& sample : samples)
        residuals.push_back(GetResidual(sample));
    auto const middle = residuals.begin() + static_cast<std::ptrdiff_t>(residuals.size() / 2);
    std::nth_element(residuals.begin(), middle, residuals.end());
    return *middle;
}

// Tukey's biweight: samples that are far off have no weight at all.
void ColourField::FitRobustly(std::vector<Sample> const& samples, int terms, int rounds) {
    std::vector<double> weights(samples.size());
    for (int round = 0; round != rounds; ++round) {
        double const reach = std::max(6.0, 5.0 * static_cast<double>(GetMedianResidual(samples)));
        for (std::size_t i = 0; i != samples.size(); ++i) {
            double const share = static_cast<double>(GetResidual(samples[i])) / reach;
            weights[i] = share < 1 ? (1 - share * share) * (1 - share * share) : 0;
        }
        FitWeighted(samples, weights, terms);
    }
}

// Begins with the plane through three samples that has the least median residual of many (Rousseeuw, "Least Median of
// Squares Regression", 1984), then takes curved fields.
bool ColourField::Fit(std::vector<Sample> const& samples) {
    if (samples.empty())
        return false;
    std::uint32_t seed = 12345;
    auto const pick = [&] {
        seed = seed * 1664525u + 1013904223u;
        return (seed >> 8) % samples.size();
    };
    // A part of the samples is enough to judge a plane.
    std::vector<Sample> judges;
    for (std::size_t i = 0; i < samples.size(); i += std::max<std::size_t>(1, samples.size() / 400))
        judges.push_back(samples[i]);
    constexpr int c_tries = 160;
    float least = 1e9f;
    auto best = m_terms;
    std::vector<double> const weights(3, 1.0);
    for (int i = 0; i != c_tries; ++i) {
        FitWeighted({samples[pick()], samples[pick()], samples[pick()]}, weights, 3);
        float const median = GetMedianResidual(judges);
        if (median < least) {
            least = median;
            best = m_terms;
        }
    }
    m_terms = best;
    FitRobustly(samples, 3, 4);
    FitRobustly(samples, 6, 6);
    m_noise = c_deviationOfMedian * GetMedianResidual(samples);
    return true;
}

void ColourField::Refine(std::vector<Sample> const& samples) {
    if (samples.size() < 4 * c_terms)
        return;
    FitRobustly(samples, c_terms, 3);
    m_noise = c_deviationOfMedian * GetMedianResidual(samples);
}

std::array<float, 3> ColourField::GetColour(int x, int y) const {
    auto const t = GetTerms(x, y);
    std::array<float, 3> colour{};
    for (std::size_t c = 0; c != 3; ++c) {
        double sum = 0;
        for (std::size_t i = 0; i != c_terms; ++i)
            sum += m_terms[c][i] * t[i];
        colour[c] = static_cast<float>(std::clamp(sum, 0.0, 255.0));
    }
    return colour;
}

float ColourField::GetResidual(Sample const& sample) const {
    auto const colour = GetColour(sample.x, sample.y);
    float most = 0;
    for (std::size_t c = 0; c != 3; ++c)
        most = std::max(most, std::abs(colour[c] - sample.colour[c]));
    return most;
}

void ColourField::GetRow(int y, std::vector<float>& colours) const {
    auto const width = static_cast<std::size_t>(m_width);
    colours.resize(3 * width);
    double const v = m_height > 1 ? 2.0 * y / (m_height - 1) - 1 : 0;
    for (std::size_t c = 0; c != 3; ++c) {
        // A cubic of u alone in this row.
        auto const& t = m_terms[c];
        auto const a = static_cast<float>(t[0] + v * (t[2] + v * (t[5] + v * t[9])));
        auto const b = static_cast<float>(t[1] + v * (t[4] + v * t[8]));
        auto const d = static_cast<float>(t[3] + v * t[7]), e = static_cast<float>(t[6]);
        float const step = m_width > 1 ? 2.0f / static_cast<float>(m_width - 1) : 0;
        float const first = m_width > 1 ? -1.0f : 0.0f;
        auto* const row = colours.data() + c * width;
        for (std::size_t x = 0; x != width; ++x) {
            float const u = first + step * static_cast<float>(x);
            row[x] = std::clamp(a + u * (b + u * (d + u * e)), 0.0f, 255.0f);
        }
    }
}

} // namespace Learning
