// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/painter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Renderer::Detail {

namespace {

// Colours along t, by pieces that change linearly.
class Ramp {
public:
    Ramp(std::vector<GradientStop> const& stops, double opacity, WorkingSpace const& space,
         Raster::ICCProfileSet const& documentProfiles)
        : m_planes(space.GetColourCount() + 1) {
        for (GradientStop const& stop : stops) {
            Knot knot{stop.offset, {}};
            auto const colour = space.ToWorking(stop.colour, documentProfiles);
            std::copy_n(colour.begin(), m_planes - 1, knot.values);
            knot.values[m_planes - 1] = static_cast<float>(stop.opacity * double{stop.colour.GetAlpha()} * opacity);
            m_knots.push_back(knot);
        }
    }

    int GetPlaneCount() const { return m_planes; }
    bool empty() const { return m_knots.empty(); }

    // Writes the pixel at t, which is beyond 0..1 where the gradient is padded. `hint` remembers the piece for the next
    // call.
    void Get(double t, std::size_t& hint, float* const* planes, int index) const {
        // The piece that ends at the first knot above t; of several knots at t the last one rules.
        while (hint != 0 && m_knots[hint - 1].offset > t)
            --hint;
        while (hint != m_knots.size() && m_knots[hint].offset <= t)
            ++hint;
        float values[c_maximumColours + 1] = {};
        if (hint == 0 || hint == m_knots.size()) {
            std::copy_n(m_knots[hint == 0 ? 0 : hint - 1].values, m_planes, values);
        } else {
            Knot const &from = m_knots[hint - 1], &to = m_knots[hint];
            float const f = static_cast<float>((t - from.offset) / (to.offset - from.offset));
            for (int plane = 0; plane != m_planes; ++plane)
                values[plane] = from.values[plane] + (to.values[plane] - from.values[plane]) * f;
        }
        float const alpha = values[m_planes - 1];
        for (int plane = 0; plane + 1 != m_planes; ++plane)
            planes[plane][index] = values[plane] * alpha;
        planes[m_planes - 1][index] = alpha;
    }

private:
    struct Knot {
        double offset;
        // Not multiplied by alpha, which comes last.
        float values[c_maximumColours + 1] = {};
    };
    int m_planes;
    std::vector<Knot> m_knots;
};

double Spread(double t, GradientSpread spread) {
    switch (spread) {
    case GradientSpread::Repeat:
        return t - std::floor(t);
    case GradientSpread::Reflect: {
        double const turn = t - 2 * std::floor(t / 2);
        return turn > 1 ? 2 - turn : turn;
    }
    case GradientSpread::Pad:
        break;
    }
    // Outside of 0..1 the ramp is its first or last colour. A place before the start must not become the start: of
    // several stops there the first rules before it and the last from it on.
    return t;
}

class GradientSource final : public FillSource {
public:
    // Gives t at a point of the pixels' plane, or NaN where the gradient is clear.
    using Parameter = std::function<double(double x, double y)>;

    GradientSource(Ramp ramp, GradientSpread spread, Parameter parameter)
        : m_ramp(std::move(ramp)), m_spread(spread), m_parameter(std::move(parameter)) {}
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<GradientPainter>(*this); }

private:
    class GradientPainter final : public Painter {
    public:
        explicit GradientPainter(GradientSource const& source) : m_source(source) {}
        void GetRow(int x, int y, int count, float* const* planes) override {
            for (int i = 0; i != count; ++i) {
                double const t = m_source.m_parameter(x + i + 0.5, y + 0.5);
                if (std::isfinite(t)) {
                    m_source.m_ramp.Get(Spread(t, m_source.m_spread), m_hint, planes, i);
                    continue;
                }
                for (int plane = 0; plane != m_source.m_ramp.GetPlaneCount(); ++plane)
                    planes[plane][i] = 0;
            }
        }

    private:
        GradientSource const& m_source;
        std::size_t m_hint = 0;
    };

    Ramp m_ramp;
    GradientSpread m_spread;
    Parameter m_parameter;
};

constexpr double c_clear = std::numeric_limits<double>::quiet_NaN();

// These give null for a gradient without extent.
GradientSource::Parameter MakeLinear(LinearGradientFill const& fill, Transform const& toFill) {
    PointDbl const s = fill.GetStart(), e = fill.GetEnd();
    double const dx = e.x - s.x, dy = e.y - s.y, squared = dx * dx + dy * dy;
    if (!(squared > 0) || !std::isfinite(squared))
        return nullptr;
    auto const& m = toFill.GetParams();
    double const perX = (m.a * dx + m.c * dy) / squared, perY = (m.b * dx + m.d * dy) / squared;
    double const base = ((m.tx - s.x) * dx + (m.ty - s.y) * dy) / squared;
    return [=](double x, double y) { return base + perX * x + perY * y; };
}

GradientSource::Parameter MakeElliptical(EllipticalGradientFill const& fill, Transform const& toFill) {
    Transform const circle = fill.GetCircleTransform();
    double const determinant = std::fabs(circle.GetDeterminant());
    if (!(determinant > 1e-128) || !std::isfinite(determinant))
        return nullptr;
    Transform const toCircle = circle.GetInverse() * toFill;
    PointDbl const f = circle.GetInverse().Apply(fill.GetFocus());
    double const r = fill.GetFocalRadius(), growth = 1 - r;
    if (f.x == 0 && f.y == 0 && r == 0) {
        return [=](double x, double y) {
            PointDbl const p = toCircle.Apply({x, y});
            return std::sqrt(p.x * p.x + p.y * p.y);
        };
    }
    // |p - f (1 - t)|^2 = (r + t growth)^2 as a t^2 - 2 b t + c = 0.
    double const a = f.x * f.x + f.y * f.y - growth * growth;
    return [=](double x, double y) {
        PointDbl const p = toCircle.Apply({x, y});
        double const dx = p.x - f.x, dy = p.y - f.y;
        double const b = r * growth - (dx * f.x + dy * f.y), c = dx * dx + dy * dy - r * r;
        auto const valid = [&](double t) { return std::isfinite(t) && r + t * growth >= 0; };
        if (std::fabs(a) < 1e-12) {
            double const t = c / (2 * b);
            return valid(t) ? t : c_clear;
        }
        double const discriminant = b * b - a * c;
        if (!(discriminant >= 0))
            return c_clear;
        double const root = std::sqrt(discriminant);
        double const t1 = (b + root) / a, t2 = (b - root) / a;
        double const larger = std::max(t1, t2), smaller = std::min(t1, t2);
        return valid(larger) ? larger : valid(smaller) ? smaller : c_clear;
    };
}

} // namespace

std::shared_ptr<FillSource const> MakeGradientSource(GradientFill const& fill, Transform const& toPixels,
                                                     double opacity, WorkingSpace const& space,
                                                     Raster::ICCProfileSet const& documentProfiles) {
    double const determinant = std::fabs(toPixels.GetDeterminant());
    Ramp ramp(fill.GetStops(), opacity, space, documentProfiles);
    if (ramp.empty() || !(determinant > 1e-128) || !toPixels.IsFinite())
        return nullptr;
    Transform const toFill = toPixels.GetInverse();
    auto parameter = fill.GetType() == FillType::LinearGradient
                         ? MakeLinear(static_cast<LinearGradientFill const&>(fill), toFill)
                         : MakeElliptical(static_cast<EllipticalGradientFill const&>(fill), toFill);
    // Without extent it is the last colour everywhere (SVG 2, 14.2.2 and 14.2.3).
    if (!parameter)
        return std::make_shared<GradientSource>(std::move(ramp), GradientSpread::Pad,
                                                [](double, double) { return 1.0; });
    return std::make_shared<GradientSource>(std::move(ramp), fill.GetSpread(), std::move(parameter));
}

} // namespace Renderer::Detail
