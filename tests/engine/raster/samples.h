// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/bitmap.h"
#include "platform/raster/buffer.h"

#include <cstring>
#include <initializer_list>
#include <random>
#include <vector>

namespace Raster {

// Every format that has pixels.
inline std::vector<Format> AllFormats() {
    return {FormatRGBA8,  FormatRGBA16, FormatIA8, FormatIA16,  FormatCMYKA8,
            FormatLABA16, FormatA8,     FormatA16, FormatRGBAF, FormatAF};
}

inline DynamicPixel MakePixel(Format format, std::initializer_list<double> samples) {
    DynamicPixel pixel(format);
    int channel = 0;
    for (double const sample : samples)
        pixel.SetSample(channel++, sample);
    return pixel;
}

// Pixels side by side.
struct Image {
    Image(Format format, int width, int height)
        : rowBytes(
              static_cast<std::size_t>(width * GetFormatInfo(format).channelCount * GetFormatInfo(format).sampleBytes)),
          pixels(rowBytes * static_cast<std::size_t>(height)) {}

    std::size_t rowBytes;
    std::vector<std::uint8_t> pixels;
};

// Independent random samples; floats within -0.25 to 1.25.
inline Image MakeNoise(Format format, int width, int height, unsigned seed) {
    Image image(format, width, height);
    std::mt19937 random(seed);
    if (GetFormatInfo(format).isFloat) {
        for (std::size_t i = 0; i != image.pixels.size(); i += sizeof(float)) {
            float const sample = static_cast<float>(random() % 1536) / 1024.0f - 0.25f;
            std::memcpy(&image.pixels[i], &sample, sizeof sample);
        }
    } else {
        for (auto& byte : image.pixels)
            byte = static_cast<std::uint8_t>(random());
    }
    return image;
}

inline Kernel::Counted<BitmapBase> MakeNoiseBitmap(Format format, int width, int height, unsigned seed,
                                                   MipmapMode mode = MipmapMode::None) {
    auto bitmap = BitmapBase::Create(width, height, format, mode);
    Image const noise = MakeNoise(format, width, height, seed);
    bitmap->WritePixels(bitmap->GetBounds(), noise.pixels.data(), noise.rowBytes);
    return bitmap;
}

} // namespace Raster
