// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"
#include "platform/kernel/geometry_values.h"
#include "platform/raster/affine_transform.h"

#include <cstdint>
#include <vector>

namespace Commands {

enum class PolarDirection { PolarToRectangular, RectangularToPolar };

// Where a remapped layer and its spread lie.
struct REDRAFT_API PolarParameters {
    // From the layer's pixels to the spread and back.
    Raster::AffineTransform::Params rasterToDomain;
    Kernel::PointT<double> offset;
    Kernel::PointT<double> centre;
    // Of the spread.
    Kernel::SizeT<double> size;
    Raster::AffineTransform::Params domainToRaster;

    // The smaller of the scales of the two axes, all affine parts taken together.
    double GetLeastScale() const;
};

// The numbers that stand for pi, and for twice pi, in the way to polar coordinates. Required: they differ from the
// others, and pictures made with them are kept.
inline constexpr double c_shortPi = 3.141590118408203;
inline constexpr double c_shortTwoPi = 6.283180236816406;

// The place, in pixels of the source, that the place (x, y) in pixels of the result is read from. Affine steps are
// computed in doubles and rounded to floats, the polar step works in doubles. This is the rule.
REDRAFT_API Kernel::PointT<float> LocatePolar(PolarDirection direction, PolarParameters const& parameters, double x,
                                              double y);

// The polar step alone as a Transform of kernels, from spread to spread, with 3.14159 for pi both ways; null for a
// language that does not exist. Required: pictures made with it are kept. Its parameters: centre x and y, size x and y;
// then, to rectangular, offset x and y; to polar, 1 / (size x * 0.5), 1 / (size y * 0.5), offset x and y.
REDRAFT_API char const* GetPolarTransformFragment(int language, PolarDirection direction);

// The same for rows of sample points, by vector code with sine, cosine and arc tangent of its own, which are within
// 3 units in the last place: a float differs from the rule's where a double lies that close to the middle of two
// floats. One thread's.
class REDRAFT_API PolarLocator {
public:
    // For the sample points (xs[i], y) with any y. The result is clamped to 0 .. width - 1 and 0 .. height - 1 and
    // truncated; what is no number goes to 0. `scale` is that of the mipmap level which is read, 1 without.
    PolarLocator(PolarDirection direction, PolarParameters const& parameters, std::vector<double> xs, float scale,
                 Kernel::SizeT<int> const& bounds);
    // One pixel coordinate for each of the xs.
    void Locate(double y, std::int32_t* pixelXs, std::int32_t* pixelYs);

private:
    PolarDirection m_direction;
    PolarParameters m_parameters;
    std::vector<double> m_xs;
    float m_scale;
    Kernel::SizeT<int> m_bounds;
    // False for parameters that are out of the ordinary, which take the rule.
    bool m_isFast;
    // No affine step turns or shears.
    bool m_isStraight;
    // Places after the first affine step and before the second.
    std::vector<double> m_domainXs, m_domainYs, m_sines, m_cosines;
    // The values that hold for every row are there.
    bool m_hasDomainXs = false;
    bool m_hasSines = false;
};

} // namespace Commands
