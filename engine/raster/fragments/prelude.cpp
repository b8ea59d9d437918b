// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/fragments/prelude.h"

#include "engine/raster/fragments/text.h"

namespace Raster::Fragments {

namespace {

constexpr char c_cudaNames[] = R"(
#define FUNCTION static __device__
#define GLOBAL
#define MAKE_INT2(x, y) make_int2((x), (y))
#define MAKE_FLOAT2(x, y) make_float2((x), (y))
#define MAKE_FLOAT4(x, y, z, w) make_float4((x), (y), (z), (w))
#define FLOOR(v) floorf(v)
#define SQRT(v) sqrtf(v)
#define SIN(v) sinf(v)
#define COS(v) cosf(v)
#define ATAN2(y, x) atan2f((y), (x))
#define ABSOLUTE(v) fabsf(v)
#define COPY_SIGN(v, sign) copysignf((v), (sign))
#define FLOAT_BITS(v) __float_as_int(v)
#define FLOAT_OF_BITS(v) __int_as_float(v)
typedef unsigned char sample8;
typedef unsigned short sample16;
typedef float sample_float;
typedef unsigned long long offset_type;

struct five_floats {
    float4 lo, hi;
};
inline __device__ five_floats make_five_floats(float4 lo, float4 hi) {
    five_floats v;
    v.lo = lo;
    v.hi = hi;
    return v;
}
#define MAKE_FIVE_FLOATS(four, fifth) make_five_floats((four), make_float4((fifth), 0.0f, 0.0f, 0.0f))

#define DEFINE_OPERATOR(op)                                                                                      \
    inline __device__ float4 operator op(float4 a, float4 b) {                                                            \
        return make_float4(a.x op b.x, a.y op b.y, a.z op b.z, a.w op b.w);                                      \
    }                                                                                                            \
    inline __device__ float4 operator op(float4 a, float b) { return make_float4(a.x op b, a.y op b, a.z op b, a.w op b); } \
    inline __device__ float4 operator op(float a, float4 b) { return make_float4(a op b.x, a op b.y, a op b.z, a op b.w); } \
    inline __device__ five_floats operator op(five_floats a, five_floats b) {                                             \
        return make_five_floats(a.lo op b.lo, a.hi op b.hi);                                                     \
    }                                                                                                            \
    inline __device__ five_floats operator op(five_floats a, float b) { return make_five_floats(a.lo op b, a.hi op b); }  \
    inline __device__ five_floats operator op(float a, five_floats b) { return make_five_floats(a op b.lo, a op b.hi); }
DEFINE_OPERATOR(+)
DEFINE_OPERATOR(-)
DEFINE_OPERATOR(*)
DEFINE_OPERATOR(/)
)";

// Contraction of a * b + c would give other samples than the software engine.
constexpr char c_openClNames[] = R"(
#pragma OPENCL FP_CONTRACT OFF
#define FUNCTION static inline
#define GLOBAL __global
#define MAKE_INT2(x, y) ((int2)((x), (y)))
#define MAKE_FLOAT2(x, y) ((float2)((x), (y)))
#define MAKE_FLOAT4(x, y, z, w) ((float4)((x), (y), (z), (w)))
#define FLOOR(v) floor(v)
#define SQRT(v) sqrt(v)
#define SIN(v) sin(v)
#define COS(v) cos(v)
#define ATAN2(y, x) atan2((y), (x))
#define ABSOLUTE(v) fabs(v)
#define COPY_SIGN(v, sign) copysign((v), (sign))
#define FLOAT_BITS(v) as_int(v)
#define FLOAT_OF_BITS(v) as_float(v)
typedef uchar sample8;
typedef ushort sample16;
typedef float sample_float;
typedef ulong offset_type;
typedef float8 five_floats;
#define MAKE_FIVE_FLOATS(four, fifth) ((float8)((four), (float4)((fifth), 0.0f, 0.0f, 0.0f)))
)";

constexpr char c_sharedNames[] = R"(
typedef struct Context {
    GLOBAL void const* source;
    GLOBAL void* destination;
    GLOBAL void const* mask;
    GLOBAL void const* secondMask;
    GLOBAL void const* sampler;
    GLOBAL void const* process;
    GLOBAL float const* parameters;
} Context;
#define CONTEXT Context const* context
#define PARAMETER(index) context->parameters[index]
)";

constexpr char c_sharedFunctions[] = R"(
FUNCTION offset_type PlaneOffset(CONTEXT, int image, int2 location, int plane) {
    offset_type const height = (offset_type)(int)PARAMETER(image + 1);
    offset_type const rowSamples = (offset_type)(int)PARAMETER(image + 2);
    return ((offset_type)plane * height + (offset_type)location.y) * rowSamples + (offset_type)location.x;
}

FUNCTION int Whole(float v) {
    return v > -1073741824.0f ? (int)(v < 1073741824.0f ? v : 1073741824.0f) : -1073741824;
}

FUNCTION float round_float(float v) { return FLOOR(v + 0.5f); }
FUNCTION float clamp_unit(float v) { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }
FUNCTION float least_float(float v, float limit) { return limit < v ? limit : v; }
FUNCTION float above_float(float v, float limit) { return v > limit ? 1.0f : 0.0f; }

FUNCTION float4 all_float4(float v) { return MAKE_FLOAT4(v, v, v, v); }
FUNCTION float4 round_float4(float4 v) {
    return MAKE_FLOAT4(round_float(v.x), round_float(v.y), round_float(v.z), round_float(v.w));
}
FUNCTION float4 least_float4(float4 v, float limit) {
    return MAKE_FLOAT4(least_float(v.x, limit), least_float(v.y, limit), least_float(v.z, limit),
                       least_float(v.w, limit));
}
FUNCTION float4 above_float4(float4 v, float limit) {
    return MAKE_FLOAT4(above_float(v.x, limit), above_float(v.y, limit), above_float(v.z, limit),
                       above_float(v.w, limit));
}

FUNCTION five_floats all_five_floats(float v) { return MAKE_FIVE_FLOATS(all_float4(v), v); }
FUNCTION five_floats round_five_floats(five_floats v) {
    return MAKE_FIVE_FLOATS(round_float4(v.lo), round_float(v.hi.x));
}
FUNCTION five_floats least_five_floats(five_floats v, float limit) {
    return MAKE_FIVE_FLOATS(least_float4(v.lo, limit), least_float(v.hi.x, limit));
}
FUNCTION five_floats above_five_floats(five_floats v, float limit) {
    return MAKE_FIVE_FLOATS(above_float4(v.lo, limit), above_float(v.hi.x, limit));
}
)";

constexpr char c_pixelCentre[] = R"(
FUNCTION float2 TransformPixelCenterToFloat(CONTEXT, int2 location, int transform) {
    return Transform(context, MAKE_FLOAT2((float)location.x + 0.5f, (float)location.y + 0.5f), transform);
}
FUNCTION int2 TransformPixelCenterToInt(CONTEXT, int2 location, int transform) {
    float2 const place = TransformPixelCenterToFloat(context, location, transform);
    return MAKE_INT2(Whole(FLOOR(place.x)), Whole(FLOOR(place.y)));
}
)";

// %1: words before the function. %2: memory of the device. %3, %4: numbers of the work item. %5: whose functions. %6:
// says that no store changes the parameters, which are read once then.
constexpr char c_entry[] = R"(
%1 void redraft_kernel(%2 void const* source, %2 void* destination, %2 void const* mask, %2 void const* secondMask,
                       %2 void const* sampler, %2 void const* process, %2 float const* %6 parameters,
                       int sourceWidth, int sourceHeight, int destinationWidth, int destinationHeight, int maskWidth,
                       int maskHeight, int secondMaskWidth, int secondMaskHeight, int samplerWidth,
                       int samplerHeight, int parameterCount, int left, int top, int right, int bottom,
                       int pixelsPerItem) {
    int const y = top + (int)(%4);
    int const step = (right - left + pixelsPerItem - 1) / pixelsPerItem;
    int const item = (int)(%3);
    if (y >= bottom || item >= step)
        return;
    Context context;
    context.source = source;
    context.destination = destination;
    context.mask = mask;
    context.secondMask = secondMask;
    context.sampler = sampler;
    context.process = process;
    context.parameters = parameters;
    %5RunItem(&context, left + item, right, step, y);
}
)";

} // namespace

char const* GetPrelude(int language) {
    static char const* const texts[c_languageCount] = {Keep(std::string(c_cudaNames).append(c_sharedNames)),
                                                       Keep(std::string(c_openClNames).append(c_sharedNames))};
    return IsLanguage(language) ? texts[language] : nullptr;
}

char const* GetSharedFunctions() { return c_sharedFunctions; }
char const* GetPixelCentreText() { return c_pixelCentre; }

char const* GetEntry(int language) {
    static char const* const texts[c_languageCount] = {
        Keep(Fill(c_entry, {"extern \"C\" __global__", "", "blockIdx.x * blockDim.x + threadIdx.x",
                            "blockIdx.y * blockDim.y + threadIdx.y", "PixelKernel::", "__restrict__"})),
        Keep(Fill(c_entry, {"__kernel", "__global", "get_global_id(0)", "get_global_id(1)", "", "restrict"}))};
    return IsLanguage(language) ? texts[language] : nullptr;
}

} // namespace Raster::Fragments
