// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/text.h"
#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"

namespace Raster {

namespace {

using namespace Fragments;

// %1: the pixel of its samples. Grey and alpha-only pixels have zeros in the members that they do not use.
constexpr char c_sourceAccess[] = R"(
typedef source_type pixel_type;
FUNCTION pixel_type pixel_minimum(void) { return source_minimum(); }
FUNCTION float ReadSample(CONTEXT, int image, int2 location, int plane) {
    return (float)((GLOBAL source_sample const*)context->source)[PlaneOffset(context, image, location, plane)];
}
FUNCTION pixel_type ReadPixel(CONTEXT, int image, int2 location) {
#define SAMPLE(plane) ReadSample(context, image, location, plane)
    return %1;
#undef SAMPLE
}
)";

// %1: as above. %2: stores of all channels.
constexpr char c_destinationAccess[] = R"(
FUNCTION float ReadDestinationSample(CONTEXT, int image, int2 location, int plane) {
    return (float)((GLOBAL dest_sample const*)context->destination)[PlaneOffset(context, image, location, plane)];
}
FUNCTION dest_type ReadDestination(CONTEXT, int2 location) {
    int const image = (int)PARAMETER(1);
#define SAMPLE(plane) ReadDestinationSample(context, image, location, plane)
    return %1;
#undef SAMPLE
}
FUNCTION void StoreChannel(CONTEXT, int2 location, int plane, float value) {
    if (plane < DEST_CHANNELS)
        ((GLOBAL dest_sample*)context->destination)[PlaneOffset(context, (int)PARAMETER(1), location, plane)] =
            dest_sample_from(value);
}
FUNCTION void StorePixel(CONTEXT, int2 location, dest_type pixel) {
    %2
}
)";

std::string_view GetPixelOfSamples(int channels) {
    switch (channels) {
    case 1:
        return "MAKE_FLOAT4(SAMPLE(0), 0.0f, 0.0f, 0.0f)";
    case 2:
        return "MAKE_FLOAT4(SAMPLE(0), SAMPLE(1), 0.0f, 0.0f)";
    case 4:
        return "MAKE_FLOAT4(SAMPLE(0), SAMPLE(1), SAMPLE(2), SAMPLE(3))";
    default:
        return "MAKE_FIVE_FLOATS(MAKE_FLOAT4(SAMPLE(0), SAMPLE(1), SAMPLE(2), SAMPLE(3)), SAMPLE(4))";
    }
}

std::string MakeSourceAccess(int channels) { return Fill(c_sourceAccess, {GetPixelOfSamples(channels)}); }

std::string MakeDestinationAccess(int channels) {
    constexpr std::string_view c_fourMembers[] = {"x", "y", "z", "w"};
    constexpr std::string_view c_fiveMembers[] = {"lo.x", "lo.y", "lo.z", "lo.w", "hi.x"};
    std::string stores;
    for (int c = 0; c != channels; ++c) {
        auto const member = channels == 5 ? c_fiveMembers[c] : c_fourMembers[c];
        stores += Fill("StoreChannel(context, location, %1, pixel.%2);\n    ", {std::to_string(c), member});
    }
    return Fill(c_destinationAccess, {GetPixelOfSamples(channels), stores});
}

} // namespace

template <class C1, class C2, class C3, class C4, class C5>
char const* Buffer<C1, C2, C3, C4, C5>::GetSourceHardwareFragment(int language) {
    static char const* const text = Keep(MakeSourceAccess(Model::c_channelCount));
    return ForBoth(language, text);
}

template <class C1, class C2, class C3, class C4, class C5>
char const* Bitmap<C1, C2, C3, C4, C5>::GetDestHardwareFragment(int language) {
    static char const* const text = Keep(MakeDestinationAccess(Model::c_channelCount));
    return ForBoth(language, text);
}

#define REDRAFT_ACCESS_TO(...)                                                                                         \
    template REDRAFT_ENGINE char const* Buffer<__VA_ARGS__>::GetSourceHardwareFragment(int);                           \
    template REDRAFT_ENGINE char const* Bitmap<__VA_ARGS__>::GetDestHardwareFragment(int);
REDRAFT_ACCESS_TO(Red8, Green8, Blue8, Alpha8, X5)
REDRAFT_ACCESS_TO(Red16, Green16, Blue16, Alpha16, X5)
REDRAFT_ACCESS_TO(Intensity8, Alpha8, X3, X4, X5)
REDRAFT_ACCESS_TO(Intensity16, Alpha16, X3, X4, X5)
REDRAFT_ACCESS_TO(Cyan8, Magenta8, Yellow8, Black8, Alpha8)
REDRAFT_ACCESS_TO(Lightness16, AOpponent16, BOpponent16, Alpha16, X5)
REDRAFT_ACCESS_TO(Alpha8, X2, X3, X4, X5)
REDRAFT_ACCESS_TO(Alpha16, X2, X3, X4, X5)
REDRAFT_ACCESS_TO(RedUF, GreenUF, BlueUF, AlphaF, X5)
REDRAFT_ACCESS_TO(AlphaF, X2, X3, X4, X5)
#undef REDRAFT_ACCESS_TO

} // namespace Raster
