// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_transform.h"

namespace Raster {

namespace {

using namespace Fragments;

constexpr char c_zero[] = R"(
FUNCTION pixel_type Extend(CONTEXT, int2 location, int image) {
    int const width = (int)PARAMETER(image), height = (int)PARAMETER(image + 1);
    if (location.x < 0 || location.y < 0 || location.x >= width || location.y >= height)
        return pixel_minimum();
    return ReadPixel(context, image, location);
}
)";

constexpr char c_repeat[] = R"(
FUNCTION pixel_type Extend(CONTEXT, int2 location, int image) {
    int const lastX = (int)PARAMETER(image) - 1, lastY = (int)PARAMETER(image + 1) - 1;
    int const x = location.x < 0 ? 0 : location.x > lastX ? lastX : location.x;
    int const y = location.y < 0 ? 0 : location.y > lastY ? lastY : location.y;
    return ReadPixel(context, image, MAKE_INT2(x, y));
}
)";

constexpr char c_nearest[] = R"(
FUNCTION pixel_type Sample(CONTEXT, int2 location, int image, int transform, int sampler) {
    return Extend(context, TransformPixelCenterToInt(context, location, transform), image);
}
)";

constexpr char c_copy[] = R"(
FUNCTION dest_type Process(CONTEXT, dest_type source, int2 location, int block) { return source; }
)";

constexpr char c_normalBlend[] = R"(
FUNCTION dest_type Blend(dest_type processed, dest_type existing, float mask) {
    if (!(mask > 0.0f))
        return existing;
    if (mask >= 1.0f)
        return processed;
    float const rest = 1.0f - mask;
    float const processedAlpha = dest_alpha(processed), existingAlpha = dest_alpha(existing);
    float const alpha = (1.0f - rest) * processedAlpha + rest * existingAlpha;
    float const processedWeight = processedAlpha == DEST_MAXIMUM ? 1.0f : processedAlpha * DEST_FACTOR;
    float const existingWeight = existingAlpha == DEST_MAXIMUM ? 1.0f : existingAlpha * DEST_FACTOR;
    dest_type pixel = (processed * processedWeight) * (1.0f - rest) + (existing * existingWeight) * rest;
    if (alpha != DEST_MAXIMUM && alpha > 1e-20f)
        pixel = dest_least(pixel / (alpha * DEST_FACTOR), DEST_MAXIMUM);
    return dest_rounded(dest_with_alpha(pixel, alpha));
}
)";

constexpr char c_noBlend[] = R"(
FUNCTION dest_type Blend(dest_type processed, dest_type existing, float mask) { return processed; }
)";

constexpr char c_plainFilter[] = R"(
FUNCTION void Filter(CONTEXT, int2 location, dest_type pixel, int block) { StorePixel(context, location, pixel); }
)";

constexpr char c_fourChannelFilter[] = R"(
FUNCTION void Filter(CONTEXT, int2 location, dest_type pixel, int block) {
    int const channels = (int)PARAMETER(block);
    if (channels & 1)
        StoreChannel(context, location, 0, pixel.x);
    if (channels & 2)
        StoreChannel(context, location, 1, pixel.y);
    if (channels & 4)
        StoreChannel(context, location, 2, pixel.z);
    if (channels & 8)
        StoreChannel(context, location, 3, pixel.w);
}
)";

constexpr char c_inkFilter[] = R"(
FUNCTION void Filter(CONTEXT, int2 location, dest_type pixel, int block) {
    int const channels = (int)PARAMETER(block);
    if (channels & 1)
        StoreChannel(context, location, 0, pixel.lo.x);
    if (channels & 2)
        StoreChannel(context, location, 1, pixel.lo.y);
    if (channels & 4)
        StoreChannel(context, location, 2, pixel.lo.z);
    if (channels & 8)
        StoreChannel(context, location, 3, pixel.lo.w);
    if (channels & 16)
        StoreChannel(context, location, 4, pixel.hi.x);
}
)";

constexpr char c_alphaFilter[] = R"(
FUNCTION void Filter(CONTEXT, int2 location, dest_type pixel, int block) {
    if ((int)PARAMETER(block) & 1)
        StorePixel(context, location, pixel);
}
)";

// %1: the last two arguments of Blend.
constexpr char c_perPixel[] = R"(
FUNCTION dest_type ReadSource(dest_type const* input_pixels) { return input_pixels[0]; }
FUNCTION void RunItem(CONTEXT, int left, int right, int step, int y) {
    for (int x = left; x < right; x += step) {
        int2 const location = MAKE_INT2(x, y);
        dest_type input_pixels[1];
        input_pixels[0] = Convert(
            Sample(context, location, (int)PARAMETER(0), (int)PARAMETER(2), (int)PARAMETER(3)));
        dest_type const processed = Process(context, ReadSource(input_pixels), location, (int)PARAMETER(5));
        Filter(context, location, Blend(processed, %1), (int)PARAMETER(6));
    }
}
)";

} // namespace

char const* Safe::GetHardwareFragment(int language) { return ForBoth(language, c_zero); }
char const* Zero::GetHardwareFragment(int language) { return ForBoth(language, c_zero); }
char const* Repeat::GetHardwareFragment(int language) { return ForBoth(language, c_repeat); }

char const* NormalBlend::GetHardwareFragment(int language) { return ForBoth(language, c_normalBlend); }
char const* GetBlendFragment(int language) { return ForBoth(language, c_noBlend); }

char const* GetCopyFragment(int language) { return ForBoth(language, c_copy); }
char const* GetNearestSampleFragment(int language) { return ForBoth(language, c_nearest); }
char const* GetPlainFilterFragment(int language) { return ForBoth(language, c_plainFilter); }

char const* GetChannelFilterFragment(int language, Format format) {
    auto const info = GetFormatInfo(format);
    if (info.channelCount == 0)
        return nullptr;
    char const* const text = info.channelCount == 1   ? c_alphaFilter
                             : info.channelCount == 5 ? c_inkFilter
                                                      : c_fourChannelFilter;
    return ForBoth(language, text);
}

template <class Direction>
char const* KernelPerPixel<Direction>::GetHardwareFragment(int language, bool blends, bool reserved1, bool stores,
                                                           bool reserved2, bool reserved3) {
    if (!stores || reserved1 || reserved2 || reserved3)
        return nullptr;
    static char const* const blending =
        Keep(Fill(c_perPixel, {"ReadDestination(context, location), ReadMask(context, location, (int)PARAMETER(4))"}));
    static char const* const plain = Keep(Fill(c_perPixel, {"processed, 1.0f"}));
    return ForBoth(language, blends ? blending : plain);
}

template struct REDRAFT_ENGINE KernelPerPixel<Horizontal>;

} // namespace Raster
