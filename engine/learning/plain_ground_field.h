// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/buffer.h"

#include <array>
#include <vector>

namespace Learning {

// A smooth field of colours: polynomials of x and y, one for each of red, green and blue.
class ColourField {
public:
    struct Sample {
        int x = 0, y = 0;
        std::array<float, 3> colour{};
    };
    ColourField(int width, int height) : m_width(width), m_height(height) {}

    // Fits the field to those samples that agree on one, which are to be more than half. Degrees 1 to 3. False without
    // samples.
    bool Fit(std::vector<Sample> const& samples);
    // Fits anew to samples that are known to be near the field, with a degree of 3 at most.
    void Refine(std::vector<Sample> const& samples);

    // The largest difference of a component, 0 to 255.
    float GetResidual(Sample const& sample) const;
    // The typical one of the samples that the field was fitted to last: the deviation of noise that is as large.
    float GetNoise() const { return m_noise; }
    // The colours of a row, 3 times `width` values, plane by plane.
    void GetRow(int y, std::vector<float>& colours) const;
    std::array<float, 3> GetColour(int x, int y) const;

private:
    static constexpr int c_terms = 10;
    using Terms = std::array<double, c_terms>;
    Terms GetTerms(double x, double y) const;
    void FitWeighted(std::vector<Sample> const& samples, std::vector<double> const& weights, int terms);
    void FitRobustly(std::vector<Sample> const& samples, int terms, int rounds);
    float GetMedianResidual(std::vector<Sample> const& samples) const;

    int m_width;
    int m_height;
    std::array<Terms, 3> m_terms{};
    float m_noise = 0;
};

} // namespace Learning
