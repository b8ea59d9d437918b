// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"
#include "platform/raster/hardware_fragments.h"

namespace Raster {

namespace {

using namespace Fragments;

// The names of a format in kernels.
struct TraitNames {
    // float4 or five_floats, and the member of it that holds alpha.
    std::string_view pixel, alpha;
    std::string_view sample, maximum, middle, channels;
};

TraitNames GetTraitNames(FormatInfo const& info) {
    TraitNames names;
    names.pixel = info.colourModel == ColourModel::CMYK ? "five_floats" : "float4";
    constexpr std::string_view c_alphas[] = {"x", "y", "z", "w", "hi.x"};
    constexpr std::string_view c_counts[] = {"1", "2", "3", "4", "5"};
    auto const last = static_cast<std::size_t>(info.channelCount - 1);
    names.alpha = c_alphas[last];
    names.channels = c_counts[last];
    if (info.isFloat) {
        names.sample = "sample_float";
        names.maximum = "1.0f";
        names.middle = "0.5f";
    } else {
        names.sample = info.sampleBytes == 1 ? "sample8" : "sample16";
        names.maximum = info.sampleBytes == 1 ? "255.0f" : "65535.0f";
        names.middle = info.sampleBytes == 1 ? "128.0f" : "32768.0f";
    }
    return names;
}

constexpr char c_sourceTraits[] = R"(
typedef %1 source_type;
typedef %1 accumulator_type;
typedef %2 source_sample;
#define SOURCE_MAXIMUM %3
#define SOURCE_FACTOR (1.0f / %3)
FUNCTION float source_alpha(source_type v) { return v.%4; }
FUNCTION source_type source_with_alpha(source_type v, float alpha) {
    v.%4 = alpha;
    return v;
}
FUNCTION source_type source_minimum(void) { return all_%1(0.0f); }
FUNCTION accumulator_type accumulator_from_source(source_type v) { return v; }
FUNCTION accumulator_type premultiply_source(accumulator_type v) {
    float const alpha = source_alpha(v);
    float const weight = alpha == SOURCE_MAXIMUM ? 1.0f : alpha * SOURCE_FACTOR;
    return source_with_alpha(v * weight, alpha);
}
FUNCTION accumulator_type postdivide_source(accumulator_type v) {
    float const alpha = source_alpha(v);
    if (alpha == SOURCE_MAXIMUM || !(alpha > 1e-20f))
        return v;
    return source_with_alpha(least_%1(v * SOURCE_MAXIMUM / alpha, SOURCE_MAXIMUM), alpha);
}
FUNCTION source_type source_from_accumulator(accumulator_type v) { return %5; }
)";

constexpr char c_destinationTraits[] = R"(
typedef %1 dest_type;
typedef %2 dest_sample;
#define DEST_MAXIMUM %3
#define DEST_FACTOR (1.0f / %3)
#define DEST_MIDDLE %6
#define DEST_CHANNELS %7
FUNCTION float dest_alpha(dest_type v) { return v.%4; }
FUNCTION dest_type dest_with_alpha(dest_type v, float alpha) {
    v.%4 = alpha;
    return v;
}
FUNCTION dest_type dest_maximum(void) { return all_%1(DEST_MAXIMUM); }
FUNCTION dest_type dest_greater_than_middle(dest_type v) { return above_%1(v, DEST_MIDDLE); }
FUNCTION dest_type dest_copy_alpha(dest_type source, dest_type dest) {
    return dest_with_alpha(dest, dest_alpha(source));
}
FUNCTION dest_type dest_least(dest_type v, float limit) { return least_%1(v, limit); }
FUNCTION dest_type dest_rounded(dest_type v) { return %5; }
FUNCTION dest_sample dest_sample_from(float v) { return %8; }
)";

constexpr char c_maskTraits[] = R"(
typedef float mask_type;
typedef %1 mask_sample;
#define MASK_MAXIMUM %2
FUNCTION mask_type mask_minimum(void) { return 0.0f; }
FUNCTION float accumulator_from_mask(mask_type v) { return v; }
FUNCTION mask_type mask_from_accumulator(float v) { return %3; }
FUNCTION float normalise_mask(mask_type v) { return v / MASK_MAXIMUM; }
)";

std::string MakeSourceTraits(Format format) {
    auto const info = GetFormatInfo(format);
    auto const names = GetTraitNames(info);
    auto const rounded = "round_" + std::string(names.pixel) + "(v)";
    return Fill(c_sourceTraits, {names.pixel, names.sample, names.maximum, names.alpha, info.isFloat ? "v" : rounded});
}

std::string MakeDestinationTraits(Format format) {
    auto const info = GetFormatInfo(format);
    auto const names = GetTraitNames(info);
    auto const rounded = "round_" + std::string(names.pixel) + "(v)";
    // A sample that is no number becomes 0.
    std::string_view const stored =
        info.isFloat ? "v" : "v > 0.0f ? (dest_sample)(int)(least_float(v, DEST_MAXIMUM) + 0.5f) : (dest_sample)0";
    return Fill(c_destinationTraits, {names.pixel, names.sample, names.maximum, names.alpha,
                                      info.isFloat ? "v" : rounded, names.middle, names.channels, stored});
}

std::string MakeMaskTraits(Format format) {
    auto const info = GetFormatInfo(GetFormatInfo(format).maskFormat);
    auto const names = GetTraitNames(info);
    return Fill(c_maskTraits, {names.sample, names.maximum, info.isFloat ? "v" : "round_float(v)"});
}

} // namespace

template <Format F>
char const* GetSourceTraitsFragment(int language) {
    static char const* const text = Keep(MakeSourceTraits(F));
    return ForBoth(language, text);
}

template <Format F>
char const* GetDestTraitsFragment(int language) {
    static char const* const text = Keep(MakeDestinationTraits(F));
    return ForBoth(language, text);
}

template <Format F>
char const* GetMaskTraitsFragment(int language) {
    static char const* const text = Keep(MakeMaskTraits(F));
    return ForBoth(language, text);
}

#define REDRAFT_TRAITS_OF(format)                                                                                      \
    template REDRAFT_ENGINE char const* GetSourceTraitsFragment<format>(int);                                          \
    template REDRAFT_ENGINE char const* GetDestTraitsFragment<format>(int);                                            \
    template REDRAFT_ENGINE char const* GetMaskTraitsFragment<format>(int);
REDRAFT_TRAITS_OF(FormatRGBA8)
REDRAFT_TRAITS_OF(FormatRGBA16)
REDRAFT_TRAITS_OF(FormatIA8)
REDRAFT_TRAITS_OF(FormatIA16)
REDRAFT_TRAITS_OF(FormatCMYKA8)
REDRAFT_TRAITS_OF(FormatLABA16)
REDRAFT_TRAITS_OF(FormatA8)
REDRAFT_TRAITS_OF(FormatA16)
REDRAFT_TRAITS_OF(FormatRGBAF)
REDRAFT_TRAITS_OF(FormatAF)
#undef REDRAFT_TRAITS_OF

} // namespace Raster
