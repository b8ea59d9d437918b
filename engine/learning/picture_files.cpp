// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_files.h"

#include "engine/learning/picture_limits.h"
#include "engine/learning/service_text.h"
#include "platform/raster/bitmap_image.h"

#include <algorithm>
#include <cstring>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

// Sizes are looked at here, so that too large pictures have a code of their own.
constexpr std::uint64_t c_plenty = std::uint64_t{1} << 60;
constexpr Raster::ImageLimits c_noLimits{.pixels = c_plenty, .bytes = c_plenty, .freePixels = c_plenty};

// Passes rows on until the call is cancelled.
class CancellableReceiver final : public Raster::ImageReceiver {
public:
    CancellableReceiver(Raster::BitmapReceiver& receiver, InferenceCall const& call)
        : m_receiver(receiver), m_call(call) {}
    void Begin(Raster::ImageInfo const& info) override {
        m_call.IsCancelled() ? throw Kernel::AbortException() : m_receiver.Begin(info);
    }
    void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) override {
        m_call.IsCancelled() ? throw Kernel::AbortException() : m_receiver.ReceiveRow(y, row);
    }

private:
    Raster::BitmapReceiver& m_receiver;
    InferenceCall const& m_call;
};

// APNG's control chunk, which stands before the first pixels.
bool IsAnimatedPng(std::span<std::byte const> file) {
    constexpr std::size_t c_signature = 8, c_chunkFrame = 12;
    auto const isChunk = [&](std::size_t at, char const* name) { return std::memcmp(&file[at + 4], name, 4) == 0; };
    if (file.size() < c_signature || std::memcmp(file.data(), "\x89PNG", 4) != 0)
        return false;
    for (std::size_t at = c_signature; file.size() - at >= c_chunkFrame;) {
        if (isChunk(at, "acTL"))
            return true;
        if (isChunk(at, "IDAT"))
            return false;
        std::size_t length = 0;
        for (std::size_t i = 0; i != 4; ++i)
            length = length << 8 | std::to_integer<std::size_t>(file[at + i]);
        if (length > file.size() - at - c_chunkFrame)
            return false;
        at += length + c_chunkFrame;
    }
    return false;
}

Raster::Format ChooseSrgbFormat(Raster::FormatInfo const& info) {
    if (info.isFloat)
        return Raster::FormatRGBAF;
    return info.sampleBytes == 2 ? Raster::FormatRGBA16 : Raster::FormatRGBA8;
}

Kernel::Counted<Raster::DynamicBitmap> ConvertToSrgb(Kernel::Counted<Raster::DynamicBitmap> const& bitmap) {
    auto& manager = Raster::ICCManager::GetInstance();
    auto const& srgb = manager.GetDefaultProfile(Raster::ColourModel::RGB);
    auto const& info = bitmap->GetBase()->GetInfo();
    auto const format = ChooseSrgbFormat(info);
    auto const profile = bitmap->GetProfile();
    if (info.format == format && (!profile || profile == srgb)) {
        bitmap->SetProfile(srgb);
        return bitmap;
    }
    auto const converter = manager.MakeConverter(info.format, profile, format, srgb);
    return Kernel::Counted<Raster::DynamicBitmap>(
        new Raster::DynamicBitmap(Raster::ConvertBitmap(*bitmap->GetBase(), *converter, nullptr), srgb));
}

void FillRow(Raster::BufferRGBA8 const& picture, PngContent content, int y, std::span<std::byte> row) {
    std::uint8_t const* planes[4];
    for (int channel = 0; channel != 4; ++channel)
        planes[channel] = picture.GetRow(channel, y);
    auto* to = reinterpret_cast<std::uint8_t*>(row.data());
    for (int x = 0; x != picture.GetWidth(); ++x) {
        unsigned const alpha = planes[3][x];
        if (content == PngContent::ClearParts) {
            *to++ = static_cast<std::uint8_t>(255 - alpha);
            continue;
        }
        for (int channel = 0; channel != 3; ++channel) {
            unsigned const colour = planes[channel][x];
            *to++ = static_cast<std::uint8_t>(
                content == PngContent::OverWhite ? (colour * alpha + 255 * (255 - alpha) + 127) / 255 : colour);
        }
        if (content == PngContent::Pixels)
            *to++ = static_cast<std::uint8_t>(alpha);
    }
}

} // namespace

std::string EncodePicture(Raster::BufferRGBA8 const& picture, PngContent content, InferenceCall const& call) {
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(picture.GetWidth());
    info.height = static_cast<std::uint32_t>(picture.GetHeight());
    info.colourModel = content == PngContent::ClearParts ? Raster::ColourModel::Grey : Raster::ColourModel::RGB;
    info.hasAlpha = content == PngContent::Pixels;
    info.isSrgb = info.colourModel == Raster::ColourModel::RGB;
    std::string file;
    auto const source = [&](std::uint32_t y, std::span<std::byte> row) {
        if (call.IsCancelled())
            throw Kernel::AbortException();
        FillRow(picture, content, static_cast<int>(y), row);
    };
    Raster::EncodePng(info, source, [&](std::span<std::byte const> bytes) {
        file.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    });
    return file;
}

PictureReader::PictureReader(InferenceCall const& call) : m_call(call), m_pixelsLeft(c_maximumAnsweredPixels) {}

Result PictureReader::Read(std::span<std::byte const> file, Kernel::Counted<Raster::DynamicBitmap>& bitmap) {
    try {
        auto const info = Raster::ReadImageInfo(file, c_noLimits);
        auto const pixels = std::uint64_t{info.width} * info.height;
        if (pixels > m_pixelsLeft)
            return {RemoteInference::TooLarge, "the picture of the answer has too many pixels"};
        if (info.otherPages != 0 || IsAnimatedPng(file))
            return {RemoteInference::BadAnswer, "the picture of the answer has more than one image"};
        Raster::BitmapReceiver receiver;
        CancellableReceiver cancellable(receiver, m_call);
        Raster::DecodeImage(file, cancellable, {.pixels = m_pixelsLeft});
        auto const decoded = receiver.Finish();
        if (!decoded || decoded->IsEmpty())
            return {RemoteInference::BadAnswer, "the picture of the answer is empty"};
        m_pixelsLeft -= pixels;
        bitmap = ConvertToSrgb(decoded);
        return {};
    } catch (Kernel::AbortException const&) {
        return {RemoteInference::Cancelled, "cancelled"};
    } catch (Kernel::Exception const& failure) {
        return {RemoteInference::BadAnswer, CleanLine("the picture of the answer " + std::string(failure.what()), {})};
    }
}

} // namespace Learning
