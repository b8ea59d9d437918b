// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/codec.h"

#include "engine/raster/codec_support.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace Raster {

ImageReceiver::~ImageReceiver() = default;

std::size_t ImageInfo::GetChannelCount() const {
    std::size_t const colours = colourModel == ColourModel::Grey ? 1 : colourModel == ColourModel::CMYK ? 4 : 3;
    return colours + (hasAlpha ? 1 : 0);
}

std::size_t ImageInfo::GetSampleBytes() const {
    return sampleFormat == SampleFormat::Integer8 ? 1 : sampleFormat == SampleFormat::Integer16 ? 2 : 4;
}

namespace Codec {

void ThrowCutShort() { throw Kernel::DamagedDataException("is damaged: the image is cut short"); }

void ThrowDamaged(std::string const& detail) {
    std::string line = detail.substr(0, 200);
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
    throw Kernel::DamagedDataException("is damaged: " + line);
}

void RequireWithinLimits(ImageInfo const& info, ImageLimits const& limits, std::uint64_t storedBytes) {
    if (info.width == 0 || info.height == 0)
        ThrowDamaged("the image has no pixels");
    std::uint64_t const pixels = std::uint64_t{info.width} * info.height;
    auto const size = std::to_string(info.width) + " x " + std::to_string(info.height) + " pixels";
    if (pixels > limits.pixels || pixels > limits.bytes / (info.GetChannelCount() * info.GetSampleBytes()))
        throw Kernel::Exception("is too large: " + size);
    if (pixels > limits.freePixels && pixels / limits.pixelsPerByte > storedBytes)
        throw Kernel::Exception("says that it has " + size + ", out of proportion to its length");
}

double ToDpi(double resolution, double unitsPerInch, double step) {
    double const dpi = resolution * unitsPerInch;
    double const whole = std::round(dpi);
    // Writers round to the nearest multiple or cut off.
    double const multiples = whole / unitsPerInch / step;
    double const given = resolution / step;
    // Some files have single floats.
    double const tolerance = 1e-3 + 1e-7 * given;
    bool const isMeant =
        whole >= 1 && (std::abs(dpi - whole) < 1e-5 * whole || std::abs(given - std::round(multiples)) < tolerance ||
                       std::abs(given - std::floor(multiples)) < tolerance);
    return isMeant ? whole : dpi;
}

namespace {

bool StartsWith(std::span<std::byte const> file, std::string_view magic) {
    return file.size() >= magic.size() && std::memcmp(file.data(), magic.data(), magic.size()) == 0;
}

using namespace std::string_view_literals;

bool IsTiff(std::span<std::byte const> file) {
    return StartsWith(file, "II*\0"sv) || StartsWith(file, "MM\0*"sv) || StartsWith(file, "II+\0"sv) ||
           StartsWith(file, "MM\0+"sv);
}

class WholeImage final : public ImageReceiver {
public:
    void Begin(ImageInfo const& info) override {
        m_image.info = info;
        m_image.samples.resize(info.GetRowBytes() * info.height);
    }
    void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) override {
        std::memcpy(m_image.samples.data() + row.size() * y, row.data(), row.size());
    }
    DecodedImage Take() { return std::move(m_image); }

private:
    DecodedImage m_image;
};

// Leaves the decoder by the only way out that there is.
class InfoOnly final : public ImageReceiver {
public:
    struct Done {};
    void Begin(ImageInfo const& info) override {
        m_info = info;
        throw Done();
    }
    void ReceiveRow(std::uint32_t, std::span<std::byte const>) override {}
    ImageInfo Take() { return std::move(m_info); }

private:
    ImageInfo m_info;
};

} // namespace
} // namespace Codec

void DecodeImage(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits) {
    if (file.empty())
        throw Kernel::Exception("is empty");
    if (Codec::StartsWith(file, "\x89PNG\r\n\x1A\n"))
        Codec::DecodePng(file, receiver, limits);
    else if (Codec::StartsWith(file, "\xFF\xD8\xFF"))
        Codec::DecodeJpeg(file, receiver, limits);
    else if (Codec::IsTiff(file))
        Codec::DecodeTiff(file, receiver, limits);
    else
        throw Kernel::Exception("is not a PNG, JPEG or TIFF image");
}

DecodedImage DecodeImage(std::span<std::byte const> file, ImageLimits const& limits) {
    Codec::WholeImage image;
    DecodeImage(file, image, limits);
    return image.Take();
}

ImageInfo ReadImageInfo(std::span<std::byte const> file, ImageLimits const& limits) {
    Codec::InfoOnly info;
    try {
        DecodeImage(file, info, limits);
    } catch (Codec::InfoOnly::Done const&) {
    }
    return info.Take();
}

} // namespace Raster
