// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/back_ends.h"

#include <vector>

namespace Learning {

// Planes of floats, row by row: colours 0 to 1.
struct SmallPicture {
    int width = 0, height = 0;
    std::vector<float> planes[3];
};

// The picture over white, each pixel the mean of those that it covers. False when the call was cancelled.
bool ShrinkPicture(Raster::BufferRGBA8 const& picture, int width, int height, SmallPicture& small,
                   InferenceCall const& call);

// Brings a small matte, 0 to 1, to the size of the picture that it belongs to, with edges where the picture has them.
// The guided filter with colours as guide (He, Sun and Tang, "Guided Image Filtering", ECCV 2010), whose coefficients
// are found at the small size and interpolated (He and Sun, "Fast Guided Filter", 2015). `guide` is the picture in the
// matte's size. Takes memory for the small size only. False when the call was cancelled.
bool UpsampleMatte(std::vector<float> const& small, SmallPicture const& guide, Raster::BufferRGBA8 const& picture,
                   Matte& matte, InferenceCall const& call);

} // namespace Learning
