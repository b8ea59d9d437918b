// SPDX-License-Identifier: Apache-2.0
#include "engine/renderer/blend.h"

#include "engine/renderer/wide_loop.h"

#include <algorithm>
#include <cstring>

namespace Renderer::Detail {

namespace {

// Four floats at once. Each lane does what the scalar expression does, so that results are the same on every machine.
typedef float Lanes __attribute__((vector_size(16)));
constexpr std::size_t c_lanes = 4;

Lanes Load(float const* p) {
    Lanes v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
void Store(float* p, Lanes v) { std::memcpy(p, &v, sizeof v); }
Lanes All(float v) { return Lanes{v, v, v, v}; }

// Both forms of one expression over a run: lanes first, then what is left.
template <class F>
void ForEach(std::size_t count, F const& step) {
    std::size_t i = 0;
    for (; i + c_lanes <= count; i += c_lanes)
        step.Four(i);
    for (; i != count; ++i)
        step.One(i);
}

// d = d (1 - a) + c, with a and c the same for all pixels.
REDRAFT_WIDE_LOOP void MixUniform(float* d, float c, float keep, std::size_t count) {
    for (std::size_t i = 0; i != count; ++i)
        d[i] = d[i] * keep + c;
}

// d = d (1 - a m) + c m, with a colour for each pixel, which may be alpha itself.
REDRAFT_WIDE_LOOP void MixPixels(float* __restrict d, float const* c, float const* a, float const* m,
                                 std::size_t count) {
    for (std::size_t i = 0; i != count; ++i)
        d[i] = d[i] * (1 - a[i] * m[i]) + c[i] * m[i];
}

// d = d (1 - a m) + c m, for all planes in one pass.
template <int Planes>
struct OverMasked {
    float* const* d;
    float const* c;
    float a;
    float const* m;
    void Four(std::size_t i) const {
        Lanes const mask = Load(m + i), keep = All(1) - All(a) * mask;
        for (int plane = 0; plane != Planes; ++plane)
            Store(d[plane] + i, Load(d[plane] + i) * keep + All(c[plane]) * mask);
    }
    void One(std::size_t i) const {
        float const mask = m[i], keep = 1 - a * mask;
        for (int plane = 0; plane != Planes; ++plane)
            d[plane][i] = d[plane][i] * keep + c[plane] * mask;
    }
};

void CompositeMasked(int planes, float* const* d, float const* pixel, float alpha, float const* coverage,
                     std::size_t count) {
    switch (planes) {
    case 1:
        return ForEach(count, OverMasked<1>{d, pixel, alpha, coverage});
    case 2:
        return ForEach(count, OverMasked<2>{d, pixel, alpha, coverage});
    case 4:
        return ForEach(count, OverMasked<4>{d, pixel, alpha, coverage});
    default:
        return ForEach(count, OverMasked<5>{d, pixel, alpha, coverage});
    }
}

// d = d (1 - a m): what Erase does to all planes.
struct Keep {
    float* d;
    float const* a;
    float const* m;
    void Four(std::size_t i) const { Store(d + i, Load(d + i) * (All(1) - Load(a + i) * Load(m + i))); }
    void One(std::size_t i) const { d[i] = d[i] * (1 - a[i] * m[i]); }
};

bool IsSeparable(BlendMode mode) {
    switch (mode) {
    case BlendMode::Hue:
    case BlendMode::Saturation:
    case BlendMode::Colour:
    case BlendMode::Luminosity:
    case BlendMode::DarkerColour:
    case BlendMode::LighterColour:
        return false;
    default:
        return true;
    }
}

float Unit(float v) { return v > 0 ? (v < 1 ? v : 1.0f) : 0.0f; }

Lanes Unit(Lanes v) { return v > All(0) ? (v < All(1) ? v : All(1)) : All(0); }
float All(float, float v) { return v; }
Lanes All(Lanes, float v) { return All(v); }
template <class V>
V Least(V a, V b) {
    return b < a ? b : a;
}
template <class V>
V Most(V a, V b) {
    return a < b ? b : a;
}

// The separable modes that are mere sums and products, for one float and for four: the same as BlendComponent.
struct MultiplyRule {
    template <class V>
    static V Mix(V b, V s) {
        return b * s;
    }
};
struct ScreenRule {
    template <class V>
    static V Mix(V b, V s) {
        return b + s - b * s;
    }
};
struct DarkenRule {
    template <class V>
    static V Mix(V b, V s) {
        return Least(b, s);
    }
};
struct LightenRule {
    template <class V>
    static V Mix(V b, V s) {
        return Most(b, s);
    }
};
struct DifferenceRule {
    template <class V>
    static V Mix(V b, V s) {
        V const d = b - s;
        return d < All(d, 0) ? -d : d;
    }
};
struct ExclusionRule {
    template <class V>
    static V Mix(V b, V s) {
        return b + s - All(b, 2) * b * s;
    }
};
struct AddRule {
    template <class V>
    static V Mix(V b, V s) {
        return Least(All(b, 1), b + s);
    }
};
struct SubtractRule {
    template <class V>
    static V Mix(V b, V s) {
        return Most(All(b, 0), b - s);
    }
};
struct LinearBurnRule {
    template <class V>
    static V Mix(V b, V s) {
        return Most(All(b, 0), b + s - All(b, 1));
    }
};

// One colour of CompositeBlended.
template <class Rule>
struct BlendPlane {
    float* d;
    float const* c;
    float const* paintAlpha;
    float const* m;
    float const* backdropAlpha;
    void Four(std::size_t i) const {
        Lanes const a = Load(paintAlpha + i), as = a * Load(m + i), ab = Load(backdropAlpha + i);
        Lanes const below = Load(d + i), colour = Load(c + i);
        Lanes const b = ab > All(0) ? Unit(below / ab) : All(0);
        Lanes const mixed = Rule::Mix(b, Unit(colour / a));
        Lanes const value = colour * Load(m + i) * (All(1) - ab) + mixed * as * ab + below * (All(1) - as);
        Store(d + i, as > All(0) ? value : below);
    }
    void One(std::size_t i) const {
        float const as = paintAlpha[i] * m[i], ab = backdropAlpha[i];
        if (!(as > 0))
            return;
        float const b = ab > 0 ? Unit(d[i] / ab) : 0;
        float const mixed = Rule::Mix(b, Unit(c[i] / paintAlpha[i]));
        d[i] = c[i] * m[i] * (1 - ab) + mixed * as * ab + d[i] * (1 - as);
    }
};

// Their alpha, when all colours are done.
struct BlendAlpha {
    float* d;
    float const* paintAlpha;
    float const* m;
    void Four(std::size_t i) const {
        Lanes const as = Load(paintAlpha + i) * Load(m + i), ab = Load(d + i);
        Store(d + i, as > All(0) ? as + ab - as * ab : ab);
    }
    void One(std::size_t i) const {
        float const as = paintAlpha[i] * m[i];
        if (as > 0)
            d[i] = as + d[i] - as * d[i];
    }
};

template <class Rule>
void CompositePlanes(int colours, BlendTarget const& target, BlendSource const& source, float const* coverage,
                     std::size_t count) {
    float const* const alpha = source.planes[colours];
    float* const backdropAlpha = target.planes[colours];
    for (int c = 0; c != colours; ++c)
        ForEach(count, BlendPlane<Rule>{target.planes[c], source.planes[c], alpha, coverage, backdropAlpha});
    ForEach(count, BlendAlpha{backdropAlpha, alpha, coverage});
}

using PlanesFunction = void (*)(int, BlendTarget const&, BlendSource const&, float const*, std::size_t);

// Null for modes that are done pixel by pixel.
PlanesFunction FindPlanesFunction(BlendMode mode) {
    switch (mode) {
    case BlendMode::Multiply:
        return &CompositePlanes<MultiplyRule>;
    case BlendMode::Screen:
        return &CompositePlanes<ScreenRule>;
    case BlendMode::Darken:
        return &CompositePlanes<DarkenRule>;
    case BlendMode::Lighten:
        return &CompositePlanes<LightenRule>;
    case BlendMode::Difference:
        return &CompositePlanes<DifferenceRule>;
    case BlendMode::Exclusion:
        return &CompositePlanes<ExclusionRule>;
    case BlendMode::Add:
        return &CompositePlanes<AddRule>;
    case BlendMode::Subtract:
        return &CompositePlanes<SubtractRule>;
    case BlendMode::LinearBurn:
        return &CompositePlanes<LinearBurnRule>;
    default:
        return nullptr;
    }
}

// Modes that look at the backdrop: pixel by pixel.
void CompositeBlended(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, BlendSource const& source,
                      float const* coverage, std::size_t count) {
    int const n = space.GetColourCount();
    bool const separable = IsSeparable(mode);
    for (std::size_t i = 0; i != count; ++i) {
        float const paintAlpha = source.planes[n][i], as = paintAlpha * coverage[i], ab = target.planes[n][i];
        if (!(as > 0))
            continue;
        float b[c_maximumColours], s[c_maximumColours], mixed[c_maximumColours];
        for (int c = 0; c != n; ++c) {
            s[c] = Unit(source.planes[c][i] / paintAlpha);
            b[c] = ab > 0 ? Unit(target.planes[c][i] / ab) : 0;
        }
        if (separable) {
            for (int c = 0; c != n; ++c)
                mixed[c] = BlendComponent(mode, b[c], s[c]);
        } else {
            BlendPixel(mode, space.GetModel(), b, s, mixed);
        }
        for (int c = 0; c != n; ++c) {
            float& d = target.planes[c][i];
            d = source.planes[c][i] * coverage[i] * (1 - ab) + mixed[c] * as * ab + d * (1 - as);
        }
        target.planes[n][i] = as + ab - as * ab;
    }
}

} // namespace

void Composite(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, BlendSource const& source,
               float const* coverage, std::size_t count) {
    int const n = space.GetColourCount();
    float const* const alpha = source.planes[n];
    if (mode == BlendMode::Erase) {
        for (int c = 0; c <= n; ++c)
            ForEach(count, Keep{target.planes[c], alpha, coverage});
        if (target.groupAlpha != nullptr)
            ForEach(count, Keep{target.groupAlpha, alpha, coverage});
        return;
    }
    if (mode == BlendMode::Normal) {
        for (int c = 0; c <= n; ++c)
            MixPixels(target.planes[c], source.planes[c], alpha, coverage, count);
    } else if (auto const composite = FindPlanesFunction(mode)) {
        composite(n, target, source, coverage, count);
    } else {
        CompositeBlended(space, mode, target, source, coverage, count);
    }
    if (target.groupAlpha != nullptr)
        MixPixels(target.groupAlpha, alpha, alpha, coverage, count);
}

void CompositeColour(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, float const* pixel,
                     float const* coverage, std::size_t count) {
    int const n = space.GetColourCount();
    if (mode == BlendMode::Normal) {
        CompositeMasked(n + 1, target.planes, pixel, pixel[n], coverage, count);
        if (target.groupAlpha != nullptr)
            CompositeMasked(1, &target.groupAlpha, &pixel[n], pixel[n], coverage, count);
        return;
    }
    constexpr std::size_t c_run = 256;
    float rows[c_maximumColours + 1][c_run];
    BlendSource source{};
    for (int c = 0; c <= n; ++c) {
        std::fill_n(rows[c], std::min(c_run, count), pixel[c]);
        source.planes[c] = rows[c];
    }
    for (std::size_t start = 0; start < count; start += c_run) {
        BlendTarget part{};
        for (int c = 0; c <= n; ++c)
            part.planes[c] = target.planes[c] + start;
        part.groupAlpha = target.groupAlpha == nullptr ? nullptr : target.groupAlpha + start;
        Composite(space, mode, part, source, coverage + start, std::min(c_run, count - start));
    }
}

void CompositeColour(WorkingSpace const& space, BlendMode mode, BlendTarget const& target, float const* pixel,
                     float coverage, std::size_t count) {
    int const n = space.GetColourCount();
    if (mode != BlendMode::Normal) {
        constexpr std::size_t c_run = 256;
        float mask[c_run];
        std::fill_n(mask, std::min(c_run, count), coverage);
        for (std::size_t start = 0; start < count; start += c_run) {
            BlendTarget part{};
            for (int c = 0; c <= n; ++c)
                part.planes[c] = target.planes[c] + start;
            part.groupAlpha = target.groupAlpha == nullptr ? nullptr : target.groupAlpha + start;
            CompositeColour(space, mode, part, pixel, mask, std::min(c_run, count - start));
        }
        return;
    }
    float const alpha = pixel[n] * coverage;
    if (alpha == 1) {
        for (int c = 0; c <= n; ++c)
            std::fill_n(target.planes[c], count, pixel[c]);
        if (target.groupAlpha != nullptr)
            std::fill_n(target.groupAlpha, count, 1.0f);
        return;
    }
    // The same products as with a mask, so that a run and its single pixels have one colour.
    float const keep = 1 - alpha;
    for (int c = 0; c <= n; ++c)
        MixUniform(target.planes[c], pixel[c] * coverage, keep, count);
    if (target.groupAlpha != nullptr)
        MixUniform(target.groupAlpha, alpha, keep, count);
}

} // namespace Renderer::Detail
