// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/prelude.h"
#include "engine/raster/fragments/text.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_transform.h"

#include <array>

namespace Raster {

namespace {

using namespace Fragments;

constexpr char c_fullMask[] = R"(
FUNCTION float ReadMask(CONTEXT, int2 location, int block) { return 1.0f; }
)";

// The pixel of the mask, as the stages of the source see their own.
constexpr char c_maskAccess[] = R"(
FUNCTION pixel_type ReadPixel(CONTEXT, int image, int2 location) {
    return (float)((GLOBAL mask_sample const*)context->mask)[PlaneOffset(context, image, location, 0)];
}
)";

constexpr char c_maskSample[] = R"(
FUNCTION pixel_type Sample(CONTEXT, int2 location, int image, int transform, int sampler) {
    return mask_from_accumulator(
        accumulator_from_mask(Extend(context, TransformPixelCenterToInt(context, location, transform), image)));
}
)";

// The block: the count of the bitmap's parameters, they, the lengths of the transform and the sampler before each.
constexpr char c_maskRead[] = R"(
FUNCTION float ReadMask(CONTEXT, int2 location, int block) {
    int const image = block + 1;
    int const transform = image + (int)PARAMETER(block) + 1;
    int const sampler = transform + (int)PARAMETER(transform - 1) + 1;
    return normalise_mask(Sample(context, location, image, transform, sampler));
}
)";

// %1: the stages of the mask. %2: those of the right side.
constexpr char c_cudaMaskChain[] = R"(
struct MaskChain {
    struct Left {
        typedef mask_type pixel_type;
        FUNCTION pixel_type pixel_minimum(void) { return mask_minimum(); }
%1
    };
    struct Right {
%2
    };
};
FUNCTION float ReadMask(CONTEXT, int2 location, int block) {
    return MaskChain::Left::ReadMask(context, location, block + 1) *
           MaskChain::Right::ReadMask(context, location, block + 1 + (int)PARAMETER(block));
}
)";

// %1, %2: as above. %4: a suffix for the names of the mask's stages, %3 for those of the right side.
constexpr char c_openClMaskChain[] = R"(
#pragma push_macro("pixel_type")
#pragma push_macro("pixel_minimum")
#pragma push_macro("ReadPixel")
#pragma push_macro("ReadMask")
#pragma push_macro("Sample")
#pragma push_macro("Transform")
#pragma push_macro("TransformPixelCenterToFloat")
#pragma push_macro("TransformPixelCenterToInt")
#pragma push_macro("Extend")
#undef pixel_type
#undef pixel_minimum
#undef ReadPixel
#undef ReadMask
#undef Sample
#undef Transform
#undef TransformPixelCenterToFloat
#undef TransformPixelCenterToInt
#undef Extend
#define pixel_type mask_type
#define pixel_minimum mask_minimum
#define ReadPixel ReadPixelMask%4
#define ReadMask ReadMask%4
#define Sample SampleMask%4
#define Transform TransformMask%4
#define TransformPixelCenterToFloat TransformPixelCenterToFloatMask%4
#define TransformPixelCenterToInt TransformPixelCenterToIntMask%4
#define Extend ExtendMask%4
%1
#undef ReadMask
#define ReadMask ReadMask%3
%2
#undef pixel_type
#undef pixel_minimum
#undef ReadPixel
#undef ReadMask
#undef Sample
#undef Transform
#undef TransformPixelCenterToFloat
#undef TransformPixelCenterToInt
#undef Extend
#pragma pop_macro("pixel_type")
#pragma pop_macro("pixel_minimum")
#pragma pop_macro("ReadPixel")
#pragma pop_macro("ReadMask")
#pragma pop_macro("Sample")
#pragma pop_macro("Transform")
#pragma pop_macro("TransformPixelCenterToFloat")
#pragma pop_macro("TransformPixelCenterToInt")
#pragma pop_macro("Extend")
FUNCTION float ReadMask(CONTEXT, int2 location, int block) {
    return ReadMask%4(context, location, block + 1) *
           ReadMask%3(context, location, block + 1 + (int)PARAMETER(block));
}
)";

char const* MakeMaskChain(int language) {
    std::string const stages = std::string(c_maskAccess) + AffineStage::GetHardwareFragment(language) +
                               GetPixelCentreText() + Zero::GetHardwareFragment(language) + c_maskSample + c_maskRead;
    if (language == c_kernelLanguageCuda)
        return Keep(Fill(c_cudaMaskChain, {stages, c_fullMask}));
    return Keep(Fill(c_openClMaskChain, {stages, c_fullMask, "Right", GetName(stages)}));
}

} // namespace

char const* GetFullMaskFragment(int language) { return ForBoth(language, c_fullMask); }

char const* GetMaskChainFragment(int language, Format maskFormat) {
    auto const info = GetFormatInfo(maskFormat);
    if (!IsLanguage(language) || info.channelCount == 0 || info.colourModel != ColourModel::AlphaOnly)
        return nullptr;
    // The samples are those of the mask traits.
    static std::array<char const*, c_languageCount> const chains = {MakeMaskChain(c_kernelLanguageCuda),
                                                                    MakeMaskChain(c_kernelLanguageOpenCL)};
    return chains[static_cast<std::size_t>(language)];
}

} // namespace Raster
