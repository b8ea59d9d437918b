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
            for (int i = 0; i != c_spanLength; ++i) {
                float const in[3] = {lab[0][i], lab[1][i], lab[2][i]};
                float rgb[3];
                LabToWorking(in, rgb);
                span.r[i] = rgb[0];
                span.g[i] = rgb[1];
                span.b[i] = rgb[2];
            }
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
            for (int i = 0; i != c_spanLength; ++i) {
                float const rgb[3] = {span.r[i], span.g[i], span.b[i]};
                float out[3];
                WorkingToLab(rgb, out);
                for (int c = 0; c != 3; ++c)
                    lab[c][i] = out[c];
            }
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

constexpr double c_delta = 6.0 / 29.0;

double LabCurve(double t) {
    return t > c_delta * c_delta * c_delta ? CubeRoot(t) : t / (3 * c_delta * c_delta) + 4.0 / 29.0;
}

double InverseLabCurve(double t) { return t > c_delta ? t * t * t : 3 * c_delta * c_delta * (t - 4.0 / 29.0); }

} // namespace

void LabToWorking(float const lab[3], float rgb[3]) {
    double const l = (static_cast<double>(lab[0]) * 100 + 16) / 116;
    double const a = (static_cast<double>(lab[1]) * 255 - 128) / 500;
    double const b = (static_cast<double>(lab[2]) * 255 - 128) / 200;
    double const xyz[3] = {GetWhite(0) * InverseLabCurve(l + a), GetWhite(1) * InverseLabCurve(l),
                           GetWhite(2) * InverseLabCurve(l - b)};
    for (int i = 0; i != 3; ++i) {
        auto const& row = c_fromXyz.m[i];
        rgb[i] = static_cast<float>(EncodeSrgb(row[0] * xyz[0] + row[1] * xyz[1] + row[2] * xyz[2]));
    }
}

void WorkingToLab(float const rgb[3], float lab[3]) {
    double linear[3], f[3];
    for (int i = 0; i != 3; ++i)
        linear[i] = DecodeSrgb(static_cast<double>(rgb[i]));
    for (int i = 0; i != 3; ++i) {
        auto const& row = c_toXyz.m[i];
        f[i] = LabCurve((row[0] * linear[0] + row[1] * linear[1] + row[2] * linear[2]) / GetWhite(i));
    }
    lab[0] = static_cast<float>((116 * f[1] - 16) / 100);
    lab[1] = static_cast<float>((500 * (f[0] - f[1]) + 128) / 255);
    lab[2] = static_cast<float>((200 * (f[1] - f[2]) + 128) / 255);
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
