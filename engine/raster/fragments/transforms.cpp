// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"
#include "platform/raster/hardware_fragments.h"
#include "platform/raster/pixel_transform.h"

#include <map>
#include <mutex>
#include <tuple>

namespace Raster {

namespace {

using namespace Fragments;

constexpr char c_identity[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) { return location; }
)";

constexpr char c_translation[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    return MAKE_FLOAT2(location.x + PARAMETER(block), location.y + PARAMETER(block + 1));
}
)";

constexpr char c_scale[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    return MAKE_FLOAT2(location.x * PARAMETER(block), location.y * PARAMETER(block + 1));
}
)";

constexpr char c_affine[] = R"(
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    return MAKE_FLOAT2(location.x * PARAMETER(block) + location.y * PARAMETER(block + 1) + PARAMETER(block + 2),
                       location.x * PARAMETER(block + 3) + location.y * PARAMETER(block + 4) + PARAMETER(block + 5));
}
)";

// %1, %2: the texts of left and right.
constexpr char c_cudaChain[] = R"(
struct TransformChain {
    struct Left {
%1
    };
    struct Right {
%2
    };
};
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    return TransformChain::Right::Transform(context, TransformChain::Left::Transform(context, location, block + 1),
                                            block + 1 + (int)PARAMETER(block));
}
)";

// %1, %2: the texts of left and right. %3, %4: the sides. %5, %6: names for both texts, so that chains inside of
// chains have names of their own. A chain that stands twice in a kernel is defined once.
constexpr char c_openClChain[] = R"(
#ifndef TRANSFORM_CHAIN_%5_%6
#define TRANSFORM_CHAIN_%5_%6
#pragma push_macro("Transform")
#undef Transform
#define Transform Transform%5_%6_%3
%1
#undef Transform
#define Transform Transform%5_%6_%4
%2
#undef Transform
#pragma pop_macro("Transform")
#endif
FUNCTION float2 Transform(CONTEXT, float2 location, int block) {
    return Transform%5_%6_%4(context, Transform%5_%6_%3(context, location, block + 1),
                             block + 1 + (int)PARAMETER(block));
}
)";

} // namespace

char const* IdentityTransform::GetHardwareFragment(int language) { return ForBoth(language, c_identity); }
char const* TranslationTransform::GetHardwareFragment(int language) { return ForBoth(language, c_translation); }
char const* ScaleTransform::GetHardwareFragment(int language) { return ForBoth(language, c_scale); }
char const* AffineStage::GetHardwareFragment(int language) { return ForBoth(language, c_affine); }

char const* GetTransformChainFragment(int language, char const* left, char const* right) {
    if (!IsLanguage(language) || left == nullptr || right == nullptr)
        return nullptr;
    static std::mutex mutex;
    static auto& chains = *new std::map<std::tuple<int, char const*, char const*>, char const*>;
    std::lock_guard const lock(mutex);
    char const*& chain = chains[{language, left, right}];
    if (chain == nullptr && language == c_kernelLanguageCuda)
        chain = Keep(Fill(c_cudaChain, {left, right}));
    else if (chain == nullptr)
        chain = Keep(Fill(c_openClChain, {left, right, "Left", "Right", GetName(left), GetName(right)}));
    return chain;
}

} // namespace Raster
