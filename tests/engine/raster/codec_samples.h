// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/codec.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace Raster::CodecTesting {

using Bytes = std::vector<std::byte>;

inline ImageInfo MakeInfo(std::uint32_t width, std::uint32_t height, ColourModel model, bool hasAlpha,
                          SampleFormat format) {
    ImageInfo info;
    info.width = width;
    info.height = height;
    info.colourModel = model;
    info.hasAlpha = hasAlpha;
    info.sampleFormat = format;
    return info;
}

// Reproducible samples that differ from pixel to pixel; floats from -0.5 to 1.5.
inline Bytes MakeSamples(ImageInfo const& info, unsigned seed) {
    std::mt19937 random(seed);
    Bytes samples(info.GetRowBytes() * info.height);
    if (info.sampleFormat == SampleFormat::Float32) {
        for (std::size_t i = 0; i != samples.size(); i += 4) {
            float const value = static_cast<float>(random() % 4096) / 2048 - 0.5F;
            std::memcpy(samples.data() + i, &value, sizeof value);
        }
    } else {
        for (auto& byte : samples)
            byte = static_cast<std::byte>(random());
    }
    return samples;
}

inline RowSource ToSource(ImageInfo const& info, Bytes const& samples) {
    return [&info, &samples](std::uint32_t y, std::span<std::byte> row) {
        std::memcpy(row.data(), samples.data() + info.GetRowBytes() * y, row.size());
    };
}

inline Bytes ToPng(ImageInfo const& info, Bytes const& samples) {
    Bytes file;
    EncodePng(info, ToSource(info, samples),
              [&](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    return file;
}

inline Bytes ToTiff(ImageInfo const& info, Bytes const& samples) {
    Bytes file;
    EncodeTiff(info, ToSource(info, samples),
               [&](std::span<std::byte const> bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); });
    return file;
}

// The message of the Kernel::Exception that decoding throws; empty when it throws none.
inline std::string GetFailure(Bytes const& file, ImageLimits const& limits = {}) {
    try {
        DecodeImage(file, limits);
    } catch (Kernel::Exception const& failure) {
        return failure.what();
    }
    return {};
}

inline Bytes MakeBytes(std::initializer_list<int> values) {
    Bytes bytes;
    for (int const value : values)
        bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

// Counts rows; has no memory for pixels.
class RowCounter final : public ImageReceiver {
public:
    void Begin(ImageInfo const&) override { ++begun; }
    void ReceiveRow(std::uint32_t y, std::span<std::byte const>) override { rows += y == rows ? 1 : 1000; }
    unsigned begun = 0;
    std::uint32_t rows = 0;
};

} // namespace Raster::CodecTesting
