// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/back_ends.h"

#include <span>
#include <string>

namespace Learning {

enum class PngContent {
    // Colours and alpha.
    Pixels,
    // Colours over white, without alpha.
    OverWhite,
    // Grey: white where the picture is clear, black where it is opaque.
    ClearParts
};
// A PNG file in sRGB. Kernel::AbortException when the call is cancelled meanwhile.
std::string EncodePicture(Raster::BufferRGBA8 const& picture, PngContent content, InferenceCall const& call);

// Takes pictures that came from elsewhere, all those of one answer: together they have bounded numbers of pixels, and
// each becomes a bitmap in sRGB with that profile.
class PictureReader {
public:
    explicit PictureReader(InferenceCall const& call);
    // A PNG, JPEG or TIFF file of one image. Codes BadAnswer, TooLarge and Cancelled, with a detail that tells about
    // "the picture".
    RemoteInference::Result Read(std::span<std::byte const> file, Kernel::Counted<Raster::DynamicBitmap>& bitmap);

private:
    InferenceCall const& m_call;
    std::uint64_t m_pixelsLeft;
};

} // namespace Learning
