// SPDX-License-Identifier: Apache-2.0
#include "raster/polar_sampler.h"

#include "platform/raster/pixel_transform.h"

namespace Commands {

namespace {

std::array<float, 6> ToFloats(Raster::AffineTransform::Params const& t) {
    auto const f = [](double v) { return static_cast<float>(v); };
    return {f(t.a), f(t.b), f(t.tx), f(t.c), f(t.d), f(t.ty)};
}

} // namespace

// To the spread, round about its middle, and back to the layer.
char const* PolarEffect::GetTransform(int language) const {
    auto const* const affine = Raster::AffineStage::GetHardwareFragment(language);
    auto const* const polar = GetPolarTransformFragment(language, direction);
    if (affine == nullptr || polar == nullptr)
        return nullptr;
    return Raster::GetTransformChainFragment(language, Raster::GetTransformChainFragment(language, affine, polar),
                                             affine);
}

char const* PolarEffect::GetSample(int language) const { return GetMeanOfSamplesFragment(language); }
char const* PolarEffect::GetExtend(int language) const { return Raster::Repeat::GetHardwareFragment(language); }

bool PolarEffect::AppendTransform(KernelParameters& block) const {
    auto const f = [](double v) { return static_cast<float>(v); };
    auto const& p = parameters;
    bool const isRectangular = direction == PolarDirection::PolarToRectangular;
    // The lengths of the left parts of both chains come first.
    return block.Append({isRectangular ? 13.0f : 15.0f, 6}) && block.Append(ToFloats(p.rasterToDomain)) &&
           block.Append({f(p.centre.x), f(p.centre.y), f(p.size.width), f(p.size.height)}) &&
           (isRectangular || block.Append({f(1 / (p.size.width * 0.5)), f(1 / (p.size.height * 0.5))})) &&
           block.Append({f(p.offset.x), f(p.offset.y)}) && block.Append(ToFloats(p.domainToRaster));
}

} // namespace Commands
