// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_location.h"

#include "platform/raster/hardware_driver.h"
#include "raster/pipeline/cpu_dispatch.h"
#include "raster/vector_math.h"

#include <algorithm>
#include <numbers>

namespace Commands {

namespace {

using Params = Raster::AffineTransform::Params;

Kernel::PointT<float> ApplyRounded(Params const& t, double x, double y) {
    return {static_cast<float>(t.a * x + t.b * y + t.tx), static_cast<float>(t.c * x + t.d * y + t.ty)};
}

// An affine step of one coordinate for many places.
struct AffineLoop {
    [[gnu::always_inline]] static inline void Run(double const* xs, double y, double a, double b, double t, double* out,
                                                  int count) {
        for (int i = 0; i < count; ++i)
            out[i] = static_cast<double>(static_cast<float>(a * xs[i] + b * y + t));
    }
};

struct SineLoop {
    [[gnu::always_inline]] static inline void Run(double const* xs, double offset, double width, double* sines,
                                                  double* cosines, int count) {
        for (int i = 0; i < count; ++i) {
            double const angle = -std::numbers::pi + ((xs[i] - offset) * 2 * std::numbers::pi) / width;
            SineAndCosine(angle, sines[i], cosines[i]);
        }
    }
};

struct RectangularLoop {
    [[gnu::always_inline]] static inline void Run(PolarParameters const* p, double const* sines, double const* cosines,
                                                  double* xs, double* ys, int count) {
        double const width = p->size.width, height = p->size.height, offset = p->offset.y;
        double const centreX = p->centre.x, centreY = p->centre.y;
        for (int i = 0; i < count; ++i) {
            double const radius = (ys[i] - offset) / height;
            xs[i] = centreX + radius * sines[i] * 0.5 * width;
            ys[i] = centreY + radius * cosines[i] * 0.5 * height;
        }
    }
};

struct PolarLoop {
    [[gnu::always_inline]] static inline void Run(PolarParameters const* p, double* xs, double* ys, int count) {
        double const width = p->size.width, height = p->size.height;
        double const scaleX = 1 / (width * 0.5), scaleY = 1 / (height * 0.5);
        double const centreX = p->centre.x, centreY = p->centre.y, offsetX = p->offset.x, offsetY = p->offset.y;
        for (int i = 0; i < count; ++i) {
            double const dx = (xs[i] - centreX) * scaleX, dy = (ys[i] - centreY) * scaleY;
            double const radius = __builtin_sqrt(dx * dx + dy * dy);
            double const angle = ArcTangent(dx, dy) + c_shortPi;
            xs[i] = static_cast<double>(static_cast<float>(angle * width / c_shortTwoPi)) + offsetX;
            ys[i] = radius * height + offsetY;
        }
    }
};

// The second affine step of one coordinate, down to the pixel.
struct PixelLoop {
    [[gnu::always_inline]] static inline void Run(double const* xs, double const* ys, double a, double b, double t,
                                                  float scale, float last, std::int32_t* out, int count) {
        for (int i = 0; i < count; ++i) {
            float v = static_cast<float>(a * xs[i] + b * ys[i] + t) * scale;
            v = v > 0.0f ? v : 0.0f;
            v = v < last ? v : last;
            out[i] = static_cast<std::int32_t>(v);
        }
    }
};

// One coordinate down to the pixel.
struct PixelScale {
    double factor, shift;
    float scale, last;
};
[[gnu::always_inline]] inline std::int32_t ToPixel(double v, PixelScale const& to) {
    float rounded = static_cast<float>(to.factor * v + to.shift) * to.scale;
    rounded = rounded > 0.0f ? rounded : 0.0f;
    rounded = rounded < to.last ? rounded : to.last;
    return static_cast<std::int32_t>(rounded);
}

// All steps of a row where no affine step turns or shears. What its coefficients of 0 would add is 0, so that nothing
// else is computed than above.
struct StraightRectangularLoop {
    [[gnu::always_inline]] static inline void Run(PolarParameters const* p, double radius, double const* sines,
                                                  double const* cosines, PixelScale const* toX, PixelScale const* toY,
                                                  std::int32_t* xs, std::int32_t* ys, int count) {
        double const width = p->size.width, height = p->size.height;
        double const centreX = p->centre.x, centreY = p->centre.y;
        PixelScale const scaleX = *toX, scaleY = *toY;
        for (int i = 0; i < count; ++i) {
            xs[i] = ToPixel(centreX + radius * sines[i] * 0.5 * width, scaleX);
            ys[i] = ToPixel(centreY + radius * cosines[i] * 0.5 * height, scaleY);
        }
    }
};

struct StraightPolarLoop {
    [[gnu::always_inline]] static inline void Run(PolarParameters const* p, double const* domainXs, double dy,
                                                  PixelScale const* toX, PixelScale const* toY, std::int32_t* xs,
                                                  std::int32_t* ys, int count) {
        double const width = p->size.width, height = p->size.height, centreX = p->centre.x;
        double const scale = 1 / (width * 0.5), turns = 1 / c_shortTwoPi;
        double const offsetX = p->offset.x, offsetY = p->offset.y;
        PixelScale const scaleX = *toX, scaleY = *toY;
        for (int i = 0; i < count; ++i) {
            double const dx = (domainXs[i] - centreX) * scale;
            double const radius = __builtin_sqrt(dx * dx + dy * dy);
            double const angle = ArcTangent(dx, dy) + c_shortPi;
            // The product is as near to the quotient as the angle is to its own.
            double const along = static_cast<double>(static_cast<float>(angle * width * turns)) + offsetX;
            xs[i] = ToPixel(along, scaleX);
            ys[i] = ToPixel(radius * height + offsetY, scaleY);
        }
    }
};

bool AreFinite(Params const& t) {
    return std::isfinite(t.a) && std::isfinite(t.b) && std::isfinite(t.tx) && std::isfinite(t.c) &&
           std::isfinite(t.d) && std::isfinite(t.ty);
}

bool IsStraight(Params const& t) { return t.b == 0 && t.c == 0; }

bool IsOrdinary(double size) { return size > 1e-6 && size < 1e12; }

} // namespace

double PolarParameters::GetLeastScale() const {
    auto const& r = rasterToDomain;
    auto const& d = domainToRaster;
    double const x = std::abs(std::sqrt(r.a * r.a + r.c * r.c) * std::sqrt(d.a * d.a + d.c * d.c));
    double const y = std::abs(std::sqrt(r.b * r.b + r.d * r.d) * std::sqrt(d.b * d.b + d.d * d.d));
    return std::min(x, y);
}

Kernel::PointT<float> LocatePolar(PolarDirection direction, PolarParameters const& p, double x, double y) {
    auto const place = ApplyRounded(p.rasterToDomain, x, y);
    double const sx = static_cast<double>(place.x), sy = static_cast<double>(place.y);
    if (direction == PolarDirection::PolarToRectangular) {
        double const radius = (sy - p.offset.y) / p.size.height;
        double const angle = -std::numbers::pi + ((sx - p.offset.x) * 2 * std::numbers::pi) / p.size.width;
        return ApplyRounded(p.domainToRaster, p.centre.x + radius * std::sin(angle) * 0.5 * p.size.width,
                            p.centre.y + radius * std::cos(angle) * 0.5 * p.size.height);
    }
    double const dx = (sx - p.centre.x) * (1 / (p.size.width * 0.5));
    double const dy = (sy - p.centre.y) * (1 / (p.size.height * 0.5));
    double const radius = std::hypot(dx, dy);
    double const angle = std::atan2(dx, dy) + c_shortPi;
    float const along = static_cast<float>(angle * p.size.width / c_shortTwoPi);
    return ApplyRounded(p.domainToRaster, static_cast<double>(along) + p.offset.x, radius * p.size.height + p.offset.y);
}

char const* GetPolarTransformFragment(int language, PolarDirection direction) {
    static constexpr char c_toRectangular[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    float const pi = 3.14159f;
    float const radius = (location.y - PARAMETER(block + 5)) / PARAMETER(block + 3);
    float const angle = -pi + ((location.x - PARAMETER(block + 4)) * 2.0f * pi) / PARAMETER(block + 2);
    return MAKE_FLOAT2(PARAMETER(block) + radius * SIN(angle) * 0.5f * PARAMETER(block + 2),
                       PARAMETER(block + 1) + radius * COS(angle) * 0.5f * PARAMETER(block + 3));
}
)";
    static constexpr char c_toPolar[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    float const pi = 3.14159f;
    float const dx = (location.x - PARAMETER(block)) * PARAMETER(block + 4);
    float const dy = (location.y - PARAMETER(block + 1)) * PARAMETER(block + 5);
    float const radius = SQRT(dx * dx + dy * dy);
    float const angle = ATAN2(dx, dy) + pi;
    return MAKE_FLOAT2((angle * PARAMETER(block + 2)) / (2.0f * pi) + PARAMETER(block + 6),
                       radius * PARAMETER(block + 3) + PARAMETER(block + 7));
}
)";
    if (language != Raster::c_kernelLanguageCuda && language != Raster::c_kernelLanguageOpenCL)
        return nullptr;
    return direction == PolarDirection::PolarToRectangular ? c_toRectangular : c_toPolar;
}

PolarLocator::PolarLocator(PolarDirection direction, PolarParameters const& parameters, std::vector<double> xs,
                           float scale, Kernel::SizeT<int> const& bounds)
    : m_direction(direction),
      m_parameters(parameters),
      m_xs(std::move(xs)),
      m_scale(scale),
      m_bounds(bounds),
      m_isFast(AreFinite(parameters.rasterToDomain) && AreFinite(parameters.domainToRaster) &&
               IsOrdinary(parameters.size.width) && IsOrdinary(parameters.size.height)),
      m_isStraight(IsStraight(parameters.rasterToDomain) && IsStraight(parameters.domainToRaster)),
      m_domainXs(m_xs.size()),
      m_domainYs(m_xs.size()),
      m_sines(m_xs.size()),
      m_cosines(m_xs.size()) {}

void PolarLocator::Locate(double y, std::int32_t* pixelXs, std::int32_t* pixelYs) {
    float const lastX = static_cast<float>(m_bounds.width - 1), lastY = static_cast<float>(m_bounds.height - 1);
    auto const& in = m_parameters.rasterToDomain;
    auto const& out = m_parameters.domainToRaster;
    int const count = static_cast<int>(m_xs.size());
    bool isFast = m_isFast;
    if (isFast) {
        if (!m_isStraight || !m_hasDomainXs)
            RunBest<AffineLoop>(m_xs.data(), y, in.a, in.b, in.tx, m_domainXs.data(), count);
        m_hasDomainXs = m_isStraight;
        RunBest<AffineLoop>(m_xs.data(), y, in.c, in.d, in.ty, m_domainYs.data(), m_isStraight ? 1 : count);
        if (m_isStraight)
            m_domainYs.back() = m_domainYs.front();
        // The extremes stand at the ends, places being affine in x.
        for (double const v : {m_domainXs.front(), m_domainXs.back(), m_domainYs.front(), m_domainYs.back()})
            isFast = isFast && std::abs(v) < 1e12;
        for (double const v : {m_domainXs.front(), m_domainXs.back()})
            isFast = isFast && std::abs(v - m_parameters.offset.x) < m_parameters.size.width * c_largestAngle / 8;
    }
    if (!isFast) {
        for (int i = 0; i != count; ++i) {
            auto const place = LocatePolar(m_direction, m_parameters, m_xs[static_cast<std::size_t>(i)], y);
            auto const toPixel = [&](float v, float last) {
                v *= m_scale;
                v = v > 0.0f ? v : 0.0f;
                return static_cast<std::int32_t>(v < last ? v : last);
            };
            pixelXs[i] = toPixel(place.x, lastX);
            pixelYs[i] = toPixel(place.y, lastY);
        }
        return;
    }
    bool const isRectangular = m_direction == PolarDirection::PolarToRectangular;
    if (isRectangular && !m_hasSines) {
        RunBest<SineLoop>(m_domainXs.data(), m_parameters.offset.x, m_parameters.size.width, m_sines.data(),
                          m_cosines.data(), count);
        m_hasSines = in.b == 0;
    }
    if (m_isStraight) {
        PixelScale const toX{out.a, out.tx, m_scale, lastX}, toY{out.d, out.ty, m_scale, lastY};
        auto const& p = m_parameters;
        double const domainY = m_domainYs.front();
        if (isRectangular)
            RunBest<StraightRectangularLoop>(&p, (domainY - p.offset.y) / p.size.height, m_sines.data(),
                                             m_cosines.data(), &toX, &toY, pixelXs, pixelYs, count);
        else
            RunBest<StraightPolarLoop>(&p, m_domainXs.data(), (domainY - p.centre.y) * (1 / (p.size.height * 0.5)),
                                       &toX, &toY, pixelXs, pixelYs, count);
        return;
    }
    if (isRectangular) {
        RunBest<RectangularLoop>(&m_parameters, m_sines.data(), m_cosines.data(), m_domainXs.data(), m_domainYs.data(),
                                 count);
    } else {
        RunBest<PolarLoop>(&m_parameters, m_domainXs.data(), m_domainYs.data(), count);
    }
    RunBest<PixelLoop>(m_domainXs.data(), m_domainYs.data(), out.a, out.b, out.tx, m_scale, lastX, pixelXs, count);
    RunBest<PixelLoop>(m_domainXs.data(), m_domainYs.data(), out.c, out.d, out.ty, m_scale, lastY, pixelYs, count);
}

} // namespace Commands
