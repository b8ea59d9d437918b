// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/painter.h"
#include "engine/renderer/wide_loop.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Renderer::Detail {

namespace {

constexpr double c_clear = std::numeric_limits<double>::quiet_NaN();
// Pixels whose places are computed together.
constexpr int c_run = 256;

REDRAFT_WIDE_LOOP void PlaceOnLine(double base, double perX, double partOfY, double x, int count, double* t) {
    for (int i = 0; i != count; ++i)
        t[i] = base + perX * (x + i) + partOfY;
}

REDRAFT_WIDE_LOOP void PlaceInCircle(Raster::AffineTransform::Params const& toCircle, double x, double y, int count,
                                     double* t) {
    for (int i = 0; i != count; ++i) {
        double const u = toCircle.a * (x + i) + toCircle.b * y + toCircle.tx;
        double const v = toCircle.c * (x + i) + toCircle.d * y + toCircle.ty;
        t[i] = std::sqrt(u * u + v * v);
    }
}

REDRAFT_WIDE_LOOP void DropEndless(double* t, int count) {
    for (int i = 0; i != count; ++i)
        t[i] = std::fabs(t[i]) <= std::numeric_limits<double>::max() ? t[i] : c_clear;
}

// How far places lie between two offsets.
REDRAFT_WIDE_LOOP void FindFractions(double const* t, double start, double length, int count, float* fractions) {
    for (int i = 0; i != count; ++i)
        fractions[i] = static_cast<float>((t[i] - start) / length);
}

REDRAFT_WIDE_LOOP void MixPlane(float from, float difference, float const* fractions, int count, float* out) {
    for (int i = 0; i != count; ++i)
        out[i] = from + difference * fractions[i];
}

REDRAFT_WIDE_LOOP void MixMultiplied(float from, float difference, float const* fractions, float const* alpha,
                                     int count, float* out) {
    for (int i = 0; i != count; ++i)
        out[i] = (from + difference * fractions[i]) * alpha[i];
}

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

    bool IsOpaque() const {
        return std::all_of(m_knots.begin(), m_knots.end(),
                           [this](Knot const& knot) { return knot.values[m_planes - 1] == 1; });
    }

    // Writes pixels at places, which are beyond 0..1 where the gradient is padded and not a number where it is clear,
    // from `index` on. `hint` remembers the piece for the next call.
    void GetRow(double const* t, int count, std::size_t& hint, float* const* planes, int index) const {
        for (int begin = 0, end; begin != count; begin = end) {
            end = begin + 1;
            if (std::isnan(t[begin])) {
                for (int plane = 0; plane != m_planes; ++plane)
                    planes[plane][index + begin] = 0;
                continue;
            }
            // The piece that ends at the first knot above t; of several knots at t the last one rules.
            while (hint != 0 && m_knots[hint - 1].offset > t[begin])
                --hint;
            while (hint != m_knots.size() && m_knots[hint].offset <= t[begin])
                ++hint;
            bool const isFirst = hint == 0, isLast = hint == m_knots.size();
            constexpr double c_endless = std::numeric_limits<double>::infinity();
            double const low = isFirst ? -c_endless : m_knots[hint - 1].offset;
            double const high = isLast ? c_endless : m_knots[hint].offset;
            while (end != count && t[end] >= low && t[end] < high)
                ++end;
            if (isFirst || isLast)
                FillPixels(m_knots[isFirst ? 0 : hint - 1], end - begin, planes, index + begin);
            else
                MixPixels(m_knots[hint - 1], m_knots[hint], t + begin, end - begin, planes, index + begin);
        }
    }

private:
    struct Knot {
        double offset;
        // Not multiplied by alpha, which comes last.
        float values[c_maximumColours + 1] = {};
    };
    void FillPixels(Knot const& knot, int count, float* const* planes, int index) const {
        float const alpha = knot.values[m_planes - 1];
        for (int plane = 0; plane + 1 != m_planes; ++plane)
            std::fill_n(planes[plane] + index, count, knot.values[plane] * alpha);
        std::fill_n(planes[m_planes - 1] + index, count, alpha);
    }

    void MixPixels(Knot const& from, Knot const& to, double const* t, int count, float* const* planes,
                   int index) const {
        float fractions[c_run];
        FindFractions(t, from.offset, to.offset - from.offset, count, fractions);
        float* const alpha = planes[m_planes - 1] + index;
        auto const getDifference = [&](int plane) { return to.values[plane] - from.values[plane]; };
        MixPlane(from.values[m_planes - 1], getDifference(m_planes - 1), fractions, count, alpha);
        for (int plane = 0; plane + 1 != m_planes; ++plane)
            MixMultiplied(from.values[plane], getDifference(plane), fractions, alpha, count, planes[plane] + index);
    }

    int m_planes;
    std::vector<Knot> m_knots;
};

// Brings positions into the range of the ramp. Infinite ones become NaN, and NaN stays.
void Spread(double* t, int count, GradientSpread spread) {
    DropEndless(t, count);
    switch (spread) {
    case GradientSpread::Repeat:
        for (int i = 0; i != count; ++i)
            t[i] -= std::floor(t[i]);
        break;
    case GradientSpread::Reflect:
        for (int i = 0; i != count; ++i) {
            double const turn = t[i] - 2 * std::floor(t[i] / 2);
            t[i] = turn > 1 ? 2 - turn : turn;
        }
        break;
    case GradientSpread::Pad:
        // Outside of 0..1 the ramp is its first or last colour. A place before the start must not become the start: of
        // several stops there the first rules before it and the last from it on.
        break;
    }
}

class GradientSource final : public FillSource {
public:
    // Gives t at points of a row of the pixels' plane, the first at (x, y), or not a number where the gradient is
    // clear.
    using Places = std::function<void(double x, double y, int count, double* t)>;
    struct Parameter {
        Places places;
        // No pixel of a picture is clear.
        bool isEverywhere = false;
    };

    GradientSource(Ramp ramp, GradientSpread spread, Parameter parameter)
        : m_ramp(std::move(ramp)), m_spread(spread), m_parameter(std::move(parameter)) {}
    std::unique_ptr<Painter> MakePainter() const override { return std::make_unique<GradientPainter>(*this); }
    bool IsOpaque() const override { return m_parameter.isEverywhere && m_ramp.IsOpaque(); }

private:
    class GradientPainter final : public Painter {
    public:
        explicit GradientPainter(GradientSource const& source) : m_source(source) {}
        void GetRow(int x, int y, int count, float* const* planes) override {
            double t[c_run];
            for (int start = 0; start < count; start += c_run) {
                int const run = std::min(c_run, count - start);
                m_source.m_parameter.places(x + start + 0.5, y + 0.5, run, t);
                Spread(t, run, m_source.m_spread);
                m_source.m_ramp.GetRow(t, run, m_hint, planes, start);
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

// Numbers so small that no place in a picture is endless.
bool AreModest(std::initializer_list<double> numbers) {
    return std::all_of(numbers.begin(), numbers.end(), [](double v) { return std::fabs(v) < 1e100; });
}

// These give no places for a gradient without extent.
GradientSource::Parameter MakeLinear(LinearGradientFill const& fill, Transform const& toFill) {
    PointDbl const s = fill.GetStart(), e = fill.GetEnd();
    double const dx = e.x - s.x, dy = e.y - s.y, squared = dx * dx + dy * dy;
    if (!(squared > 0) || !std::isfinite(squared))
        return {};
    auto const& m = toFill.GetParams();
    double const perX = (m.a * dx + m.c * dy) / squared, perY = (m.b * dx + m.d * dy) / squared;
    double const base = ((m.tx - s.x) * dx + (m.ty - s.y) * dy) / squared;
    return {[=](double x, double y, int count, double* t) { PlaceOnLine(base, perX, perY * y, x, count, t); },
            AreModest({base, perX, perY})};
}

GradientSource::Parameter MakeElliptical(EllipticalGradientFill const& fill, Transform const& toFill) {
    Transform const circle = fill.GetCircleTransform();
    double const determinant = std::fabs(circle.GetDeterminant());
    if (!(determinant > 1e-128) || !std::isfinite(determinant))
        return {};
    Transform const toCircle = circle.GetInverse() * toFill;
    PointDbl const f = circle.GetInverse().Apply(fill.GetFocus());
    double const r = fill.GetFocalRadius(), growth = 1 - r;
    if (f.x == 0 && f.y == 0 && r == 0) {
        auto const& m = toCircle.GetParams();
        return {[m](double x, double y, int count, double* t) { PlaceInCircle(m, x, y, count, t); },
                AreModest({m.a, m.b, m.tx, m.c, m.d, m.ty})};
    }
    // |p - f (1 - t)|^2 = (r + t growth)^2 as a t^2 - 2 b t + c = 0.
    double const a = f.x * f.x + f.y * f.y - growth * growth;
    auto const place = [=](double x, double y) {
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
    return {[place](double x, double y, int count, double* t) {
                for (int i = 0; i != count; ++i)
                    t[i] = place(x + i, y);
            },
            false};
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
    if (parameter.places)
        return std::make_shared<GradientSource>(std::move(ramp), fill.GetSpread(), std::move(parameter));
    // Without extent it is the last colour everywhere (SVG 2, 14.2.2 and 14.2.3).
    parameter = {[](double, double, int count, double* t) { std::fill_n(t, count, 1.0); }, true};
    return std::make_shared<GradientSource>(std::move(ramp), GradientSpread::Pad, std::move(parameter));
}

} // namespace Renderer::Detail
