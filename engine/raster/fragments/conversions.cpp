// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"
#include "engine/raster/working_pixel.h"
#include "platform/raster/hardware_fragments.h"

#include <array>
#include <charconv>

namespace Raster {

namespace {

using namespace Fragments;

constexpr char c_identityConversion[] = R"(
FUNCTION dest_type Convert(source_type v) { return v; }
)";

// %1, %2: the two halves of a pair. %4 to %9: rows of the matrices of Lab colours. Roots and curves are those of the
// software engine, operation by operation.
constexpr char c_jointConversion[] = R"(
typedef float4 rgbauf_type;
typedef float4 labaf_type;
FUNCTION rgbauf_type saturate(rgbauf_type v) {
    return MAKE_FLOAT4(clamp_unit(v.x), clamp_unit(v.y), clamp_unit(v.z), clamp_unit(v.w));
}

FUNCTION float GuessRoot(float v, float inverse, int magic) {
    return FLOAT_OF_BITS((int)((float)FLOAT_BITS(v) * inverse) + magic);
}
FUNCTION float CubeRoot(float v) {
    float root = GuessRoot(v, 1.0f / 3.0f, 0x2A50FB39);
    for (int i = 0; i < 2; ++i) {
        float const cube = root * root * root;
        root = root * ((cube + (v + v)) / (cube + cube + v));
    }
    return root;
}
FUNCTION float FifthRoot(float v) {
    float root = GuessRoot(v, 1.0f / 5.0f, 0x32C81062);
    for (int i = 0; i < 2; ++i) {
        float const square = root * root;
        float const fifth = square * square * root;
        root = root * ((2.0f * fifth + 3.0f * v) / (3.0f * fifth + 2.0f * v));
    }
    return root;
}
FUNCTION float DecodeSrgb(float v) {
    float const magnitude = ABSOLUTE(v);
    float const base = ((magnitude < 1e6f ? magnitude : 1e6f) + 0.055f) * (1.0f / 1.055f);
    float const root = FifthRoot(base);
    float const curved = base * base * (root * root);
    return COPY_SIGN(magnitude <= 0.04045f ? magnitude * (1.0f / 12.92f) : curved, v);
}
FUNCTION float EncodeSrgb(float v) {
    float const magnitude = ABSOLUTE(v);
    float const inside = magnitude < 1e6f ? magnitude : 1e6f;
    float const root = CubeRoot(SQRT(SQRT(inside > 1e-3f ? inside : 1e-3f)));
    float const square = root * root;
    float const curved = 1.055f * (square * square * root) - 0.055f;
    return COPY_SIGN(magnitude <= 0.0031308f ? magnitude * 12.92f : curved, v);
}
FUNCTION float LabCurve(float v) {
    float const edge = 216.0f / 24389.0f;
    float const root = CubeRoot(v > edge ? v : edge);
    return v > edge ? root : v * (841.0f / 108.0f) + 4.0f / 29.0f;
}
FUNCTION float InverseLabCurve(float v) {
    float const cube = v * v * v;
    return v > 6.0f / 29.0f ? cube : (v - 4.0f / 29.0f) / (841.0f / 108.0f);
}
#define LAB_ROW(m0, m1, m2, v) ((m0) * (v).x + (m1) * (v).y + (m2) * (v).z)
FUNCTION rgbauf_type labaf_to_rgbauf(labaf_type v) {
    float const l = (v.x * 100.0f + 16.0f) * (1.0f / 116.0f);
    float4 const unit = MAKE_FLOAT4(InverseLabCurve(l + (v.y * 255.0f - 128.0f) * (1.0f / 500.0f)),
                                    InverseLabCurve(l),
                                    InverseLabCurve(l - (v.z * 255.0f - 128.0f) * (1.0f / 200.0f)), 0.0f);
    return MAKE_FLOAT4(EncodeSrgb(LAB_ROW(%4, unit)), EncodeSrgb(LAB_ROW(%5, unit)), EncodeSrgb(LAB_ROW(%6, unit)),
                       v.w);
}
FUNCTION labaf_type rgbauf_to_labaf(rgbauf_type v) {
    float4 const linear = MAKE_FLOAT4(DecodeSrgb(v.x), DecodeSrgb(v.y), DecodeSrgb(v.z), 0.0f);
    float const x = LabCurve(LAB_ROW(%7, linear));
    float const y = LabCurve(LAB_ROW(%8, linear));
    float const z = LabCurve(LAB_ROW(%9, linear));
    return MAKE_FLOAT4(y * (116.0f / 100.0f) - 16.0f / 100.0f, (x - y) * (500.0f / 255.0f) + 128.0f / 255.0f,
                       (y - z) * (200.0f / 255.0f) + 128.0f / 255.0f, v.w);
}

%1
%2
FUNCTION dest_type Convert(source_type v) { return ConvertFromWorking(ConvertToWorking(v)); }
)";

constexpr char c_scaledIn[] = R"(
FUNCTION rgbauf_type ConvertToWorking(source_type v) { return v / SOURCE_MAXIMUM; }
)";
constexpr char c_floatIn[] = R"(
FUNCTION rgbauf_type ConvertToWorking(source_type v) { return v; }
)";
constexpr char c_greyIn[] = R"(
FUNCTION rgbauf_type ConvertToWorking(source_type v) {
    float const intensity = v.x / SOURCE_MAXIMUM;
    return MAKE_FLOAT4(intensity, intensity, intensity, v.y / SOURCE_MAXIMUM);
}
)";
constexpr char c_inkIn[] = R"(
FUNCTION float InkToLight(float ink, float black) {
    float const total = ink * SOURCE_FACTOR * (1.0f - black) + black;
    return 1.0f - (total < 1.0f ? total : 1.0f);
}
FUNCTION rgbauf_type ConvertToWorking(source_type v) {
    float const black = v.lo.w * SOURCE_FACTOR;
    return MAKE_FLOAT4(InkToLight(v.lo.x, black), InkToLight(v.lo.y, black), InkToLight(v.lo.z, black),
                       v.hi.x / SOURCE_MAXIMUM);
}
)";
constexpr char c_labIn[] = R"(
FUNCTION rgbauf_type ConvertToWorking(source_type v) { return labaf_to_rgbauf(v / SOURCE_MAXIMUM); }
)";

constexpr char c_scaledOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) { return round_float4(saturate(v) * DEST_MAXIMUM); }
)";
constexpr char c_floatOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) { return v; }
)";
// Required: what saturate answers is dropped. Stores bring the samples into their range.
constexpr char c_greyOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) {
    saturate(v);
    return MAKE_FLOAT4(round_float(DEST_MAXIMUM * (v.x * 0.299f + v.y * 0.587f + v.z * 0.114f)),
                       round_float(v.w * DEST_MAXIMUM), 0.0f, 0.0f);
}
)";
constexpr char c_inkOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) {
    rgbauf_type const inside = saturate(v);
    float const cyan = 1.0f - inside.x, magenta = 1.0f - inside.y, yellow = 1.0f - inside.z;
    float const black = least_float(cyan, least_float(magenta, yellow));
    float const rest = 1.0f - black;
    float const divisor = rest > 0.0f ? rest : 1.0f;
    float4 const inks = MAKE_FLOAT4((cyan - black) / divisor, (magenta - black) / divisor, (yellow - black) / divisor,
                                    black);
    return MAKE_FIVE_FLOATS(round_float4(saturate(inks) * DEST_MAXIMUM), round_float(inside.w * DEST_MAXIMUM));
}
)";
constexpr char c_labOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) { return round_float4(rgbauf_to_labaf(v) * DEST_MAXIMUM); }
)";
constexpr char c_alphaOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) {
    return MAKE_FLOAT4(round_float(v.w * DEST_MAXIMUM), 0.0f, 0.0f, 0.0f);
}
)";
constexpr char c_floatAlphaOut[] = R"(
FUNCTION dest_type ConvertFromWorking(rgbauf_type v) { return MAKE_FLOAT4(v.w, 0.0f, 0.0f, 0.0f); }
)";

// A float as a literal that is read back as the same.
std::string MakeLiteral(float v) {
    std::array<char, 64> digits;
    auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), v, std::chars_format::scientific).ptr;
    return std::string(digits.data(), end) + "f";
}

std::string MakeRow(float const (&row)[3]) {
    return MakeLiteral(row[0]) + ", " + MakeLiteral(row[1]) + ", " + MakeLiteral(row[2]);
}

std::string MakeJointConversion() {
    auto const m = GetLabMatrices();
    return Fill(c_jointConversion,
                {"%1", "%2", "", MakeRow(m.fromUnit[0]), MakeRow(m.fromUnit[1]), MakeRow(m.fromUnit[2]),
                 MakeRow(m.toUnit[0]), MakeRow(m.toUnit[1]), MakeRow(m.toUnit[2])});
}

// Null for alpha-only formats.
char const* GetHalfIn(FormatInfo const& info) {
    switch (info.colourModel) {
    case ColourModel::RGB:
        return info.isFloat ? c_floatIn : c_scaledIn;
    case ColourModel::Grey:
        return c_greyIn;
    case ColourModel::CMYK:
        return c_inkIn;
    case ColourModel::Lab:
        return c_labIn;
    case ColourModel::AlphaOnly:
        break;
    }
    return nullptr;
}

char const* GetHalfOut(FormatInfo const& info) {
    switch (info.colourModel) {
    case ColourModel::RGB:
        return info.isFloat ? c_floatOut : c_scaledOut;
    case ColourModel::Grey:
        return c_greyOut;
    case ColourModel::CMYK:
        return c_inkOut;
    case ColourModel::Lab:
        return c_labOut;
    case ColourModel::AlphaOnly:
        return info.isFloat ? c_floatAlphaOut : c_alphaOut;
    }
    return nullptr;
}

// By the two formats.
using ConversionTable = std::array<std::array<char const*, c_formatCount>, c_formatCount>;

ConversionTable MakeConversions() {
    ConversionTable table{};
    for (int from = 0; from != c_formatCount; ++from) {
        for (int to = 0; to != c_formatCount; ++to) {
            auto const in = GetFormatInfo(static_cast<Format>(from)), out = GetFormatInfo(static_cast<Format>(to));
            if (in.channelCount == 0 || out.channelCount == 0)
                continue;
            char const*& text = table[static_cast<std::size_t>(from)][static_cast<std::size_t>(to)];
            if (from == to)
                text = c_identityConversion;
            else if (char const* const half = GetHalfIn(in))
                text = Keep(Fill(GetJointConversionFragment(c_kernelLanguageCuda), {half, GetHalfOut(out)}));
        }
    }
    return table;
}

} // namespace

char const* GetIdentityConversionFragment(int language) { return ForBoth(language, c_identityConversion); }

char const* GetJointConversionFragment(int language) {
    static char const* const text = Keep(MakeJointConversion());
    return ForBoth(language, text);
}

char const* GetConversionFragment(int language, Format from, Format to) {
    if (!IsLanguage(language) || !IsHandledFormat(from) || !IsHandledFormat(to))
        return nullptr;
    static ConversionTable const table = MakeConversions();
    return table[static_cast<std::size_t>(from)][static_cast<std::size_t>(to)];
}

} // namespace Raster
