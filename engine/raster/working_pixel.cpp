// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/working_pixel.h"

#include "engine/raster/exact_math.h"

#include <algorithm>

namespace Raster {

namespace {

// Not a number becomes 0.
float Clamp(float v) { return v > 0 ? (v < 1 ? v : 1.0f) : 0.0f; }

template <class Sample>
constexpr float c_scale = ChannelBase<Sample, ChannelRole::Alpha>::c_maximum;

template <class Sample>
void LoadPlane(void const* plane, float* out) {
    auto const* const in = static_cast<Sample const*>(plane);
    for (int i = 0; i != c_spanLength; ++i)
        out[i] = static_cast<float>(in[i]) / c_scale<Sample>;
}

template <class Sample>
void StorePlane(float const* in, void* plane) {
    auto* const out = static_cast<Sample*>(plane);
    for (int i = 0; i != c_spanLength; ++i) {
        if constexpr (std::is_floating_point_v<Sample>)
            out[i] = in[i];
        else
            out[i] = static_cast<Sample>(static_cast<int>(Clamp(in[i]) * c_scale<Sample> + 0.5f));
    }
}

template <class Traits>
struct WorkingForm {
    using Sample = typename Traits::Sample;

    static void Load(void const* const* planes, WorkingSpan& span) {
        LoadPlane<Sample>(planes[Traits::c_alphaIndex], span.a);
        if constexpr (Traits::c_colourModel == ColourModel::RGB) {
            LoadPlane<Sample>(planes[0], span.r);
            LoadPlane<Sample>(planes[1], span.g);
            LoadPlane<Sample>(planes[2], span.b);
        } else if constexpr (Traits::c_colourModel == ColourModel::Grey) {
            LoadPlane<Sample>(planes[0], span.r);
            std::copy_n(span.r, c_spanLength, span.g);
            std::copy_n(span.r, c_spanLength, span.b);
        } else if constexpr (Traits::c_colourModel == ColourModel::CMYK) {
            LoadInk(planes, span);
        } else if constexpr (Traits::c_colourModel == ColourModel::Lab) {
            float lab[3][c_spanLength];
            for (int c = 0; c != 3; ++c)
                LoadPlane<Sample>(planes[c], lab[c]);
            LabToWorking(lab, span);
        } else {
            std::fill_n(span.r, c_spanLength, 0.0f);
            std::fill_n(span.g, c_spanLength, 0.0f);
            std::fill_n(span.b, c_spanLength, 0.0f);
        }
    }

    static void Store(WorkingSpan const& span, void* const* planes) {
        StorePlane<Sample>(span.a, planes[Traits::c_alphaIndex]);
        if constexpr (Traits::c_colourModel == ColourModel::RGB) {
            StorePlane<Sample>(span.r, planes[0]);
            StorePlane<Sample>(span.g, planes[1]);
            StorePlane<Sample>(span.b, planes[2]);
        } else if constexpr (Traits::c_colourModel == ColourModel::Grey) {
            float luma[c_spanLength];
            for (int i = 0; i != c_spanLength; ++i)
                luma[i] = span.r[i] * 0.299f + span.g[i] * 0.587f + span.b[i] * 0.114f;
            StorePlane<Sample>(luma, planes[0]);
        } else if constexpr (Traits::c_colourModel == ColourModel::CMYK) {
            StoreInk(span, planes);
        } else if constexpr (Traits::c_colourModel == ColourModel::Lab) {
            float lab[3][c_spanLength];
            WorkingToLab(span, lab);
            for (int c = 0; c != 3; ++c)
                StorePlane<Sample>(lab[c], planes[c]);
        }
    }

private:
    static void LoadInk(void const* const* planes, WorkingSpan& span) {
        constexpr float c_step = 1.0f / c_scale<Sample>;
        auto const* const k = static_cast<Sample const*>(planes[3]);
        float* const out[3] = {span.r, span.g, span.b};
        for (int c = 0; c != 3; ++c) {
            auto const* const ink = static_cast<Sample const*>(planes[c]);
            for (int i = 0; i != c_spanLength; ++i) {
                float const black = static_cast<float>(k[i]) * c_step;
                float const total = static_cast<float>(ink[i]) * c_step * (1 - black) + black;
                out[c][i] = 1 - (total < 1 ? total : 1.0f);
            }
        }
    }

    static void StoreInk(WorkingSpan const& span, void* const* planes) {
        float ink[4][c_spanLength];
        for (int i = 0; i != c_spanLength; ++i) {
            float const c = 1 - Clamp(span.r[i]), m = 1 - Clamp(span.g[i]), y = 1 - Clamp(span.b[i]);
            float const k = std::min(c, std::min(m, y));
            float const rest = 1 - k;
            // Solid black leaves nothing for the others.
            float const divisor = rest > 0 ? rest : 1.0f;
            ink[0][i] = (c - k) / divisor;
            ink[1][i] = (m - k) / divisor;
            ink[2][i] = (y - k) / divisor;
            ink[3][i] = k;
        }
        for (int c = 0; c != 4; ++c)
            StorePlane<Sample>(ink[c], planes[c]);
    }
};

struct Matrix {
    double m[3][3];
};

// sRGB's primaries to XYZ under D50: IEC 61966-2-1 and the D50 of ICC.1:2010, joined by Bradford's matrix.
constexpr Matrix c_toXyz = {
    {{0.4360747, 0.3850649, 0.1430804}, {0.2225045, 0.7168786, 0.0606169}, {0.0139322, 0.0971045, 0.7141733}}};

constexpr Matrix Invert(Matrix const& a) {
    auto const& m = a.m;
    double const determinant = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                               m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                               m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    Matrix inverse{};
    for (int i = 0; i != 3; ++i) {
        for (int j = 0; j != 3; ++j) {
            int const r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
            inverse.m[i][j] = (m[r0][c0] * m[r1][c1] - m[r0][c1] * m[r1][c0]) / determinant;
        }
    }
    return inverse;
}

constexpr Matrix c_fromXyz = Invert(c_toXyz);

// The white of c_toXyz, so that white keeps a and b of exactly 0.
constexpr double GetWhite(int row) { return c_toXyz.m[row][0] + c_toXyz.m[row][1] + c_toXyz.m[row][2]; }

// The part of a sum that one primary has, as a float, under the white of 1.
template <int Row, int Column>
constexpr auto c_toUnit = static_cast<float>(c_toXyz.m[Row][Column] / GetWhite(Row));
template <int Row, int Column>
constexpr auto c_fromUnit = static_cast<float>(c_fromXyz.m[Row][Column] * GetWhite(Column));

// Where the cube root goes over into a straight line, and the line: CIE 15:2004, 8.2.1.1.
constexpr float c_edge = 216.0f / 24389.0f;
constexpr float c_slope = 841.0f / 108.0f;
constexpr float c_start = 4.0f / 29.0f;

float LabCurve(float t) {
    float const root = CubeRoot(t > c_edge ? t : c_edge);
    return t > c_edge ? root : t * c_slope + c_start;
}

float InverseLabCurve(float t) {
    float const cube = t * t * t;
    return t > 6.0f / 29.0f ? cube : (t - c_start) / c_slope;
}

template <int Row>
float ToUnit(float r, float g, float b) {
    return c_toUnit<Row, 0> * r + c_toUnit<Row, 1> * g + c_toUnit<Row, 2> * b;
}

template <int Row>
float FromUnit(float x, float y, float z) {
    return c_fromUnit<Row, 0> * x + c_fromUnit<Row, 1> * y + c_fromUnit<Row, 2> * z;
}

} // namespace

LabMatrices GetLabMatrices() {
    return {{{c_toUnit<0, 0>, c_toUnit<0, 1>, c_toUnit<0, 2>},
             {c_toUnit<1, 0>, c_toUnit<1, 1>, c_toUnit<1, 2>},
             {c_toUnit<2, 0>, c_toUnit<2, 1>, c_toUnit<2, 2>}},
            {{c_fromUnit<0, 0>, c_fromUnit<0, 1>, c_fromUnit<0, 2>},
             {c_fromUnit<1, 0>, c_fromUnit<1, 1>, c_fromUnit<1, 2>},
             {c_fromUnit<2, 0>, c_fromUnit<2, 1>, c_fromUnit<2, 2>}}};
}

// The steps are loops of their own: none of them needs more registers than there are.
void LabToWorking(float const lab[3][c_spanLength], WorkingSpan& span) {
    float x[c_spanLength], y[c_spanLength], z[c_spanLength];
    for (int i = 0; i != c_spanLength; ++i) {
        float const l = (lab[0][i] * 100 + 16) * (1 / 116.0f);
        x[i] = InverseLabCurve(l + (lab[1][i] * 255 - 128) * (1 / 500.0f));
        y[i] = InverseLabCurve(l);
        z[i] = InverseLabCurve(l - (lab[2][i] * 255 - 128) * (1 / 200.0f));
    }
    for (int i = 0; i != c_spanLength; ++i)
        span.r[i] = EncodeSrgb(FromUnit<0>(x[i], y[i], z[i]));
    for (int i = 0; i != c_spanLength; ++i)
        span.g[i] = EncodeSrgb(FromUnit<1>(x[i], y[i], z[i]));
    for (int i = 0; i != c_spanLength; ++i)
        span.b[i] = EncodeSrgb(FromUnit<2>(x[i], y[i], z[i]));
}

void WorkingToLab(WorkingSpan const& span, float lab[3][c_spanLength]) {
    float r[c_spanLength], g[c_spanLength], b[c_spanLength];
    for (int i = 0; i != c_spanLength; ++i)
        r[i] = DecodeSrgb(span.r[i]);
    for (int i = 0; i != c_spanLength; ++i)
        g[i] = DecodeSrgb(span.g[i]);
    for (int i = 0; i != c_spanLength; ++i)
        b[i] = DecodeSrgb(span.b[i]);
    float x[c_spanLength], y[c_spanLength], z[c_spanLength];
    for (int i = 0; i != c_spanLength; ++i)
        x[i] = LabCurve(ToUnit<0>(r[i], g[i], b[i]));
    for (int i = 0; i != c_spanLength; ++i)
        y[i] = LabCurve(ToUnit<1>(r[i], g[i], b[i]));
    for (int i = 0; i != c_spanLength; ++i)
        z[i] = LabCurve(ToUnit<2>(r[i], g[i], b[i]));
    for (int i = 0; i != c_spanLength; ++i) {
        lab[0][i] = y[i] * (116 / 100.0f) - 16 / 100.0f;
        lab[1][i] = (x[i] - y[i]) * (500 / 255.0f) + 128 / 255.0f;
        lab[2][i] = (y[i] - z[i]) * (200 / 255.0f) + 128 / 255.0f;
    }
}

LoadWorkingSpan GetWorkingLoader(Format format) {
    LoadWorkingSpan loader = nullptr;
    VisitFormat(format, [&](auto traits) { loader = &WorkingForm<decltype(traits)>::Load; });
    return loader;
}

StoreWorkingSpan GetWorkingStorer(Format format) {
    StoreWorkingSpan storer = nullptr;
    VisitFormat(format, [&](auto traits) { storer = &WorkingForm<decltype(traits)>::Store; });
    return storer;
}

} // namespace Raster
