// SPDX-License-Identifier: Apache-2.0
#include "shell/svg/bitmap_file.h"

#include <algorithm>
#include <cstring>

namespace Shell::Svg {

namespace {

constexpr std::uint32_t c_bandRows = 64;

Raster::Format ChooseFormat(Raster::ImageInfo const& info) {
    bool const isDeep = info.sampleFormat == Raster::SampleFormat::Integer16;
    if (info.sampleFormat != Raster::SampleFormat::Float32) {
        if (info.colourModel == Raster::ColourModel::RGB)
            return isDeep ? Raster::FormatRGBA16 : Raster::FormatRGBA8;
        if (info.colourModel == Raster::ColourModel::Grey)
            return isDeep ? Raster::FormatIA16 : Raster::FormatIA8;
        if (info.colourModel == Raster::ColourModel::CMYK && !isDeep)
            return Raster::FormatCMYKA8;
    }
    throw Kernel::Exception("the image's kind of pixels is not supported here");
}

// Collects rows into a bitmap, some at a time.
class BitmapReceiver final : public Raster::ImageReceiver {
public:
    void Begin(Raster::ImageInfo const& info) override {
        m_info = info;
        Raster::Format const format = ChooseFormat(info);
        m_bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(static_cast<int>(info.width),
                                                              static_cast<int>(info.height), format);
        m_sampleBytes = info.GetSampleBytes();
        m_channels = info.GetChannelCount();
        m_rowBytes = info.width * (m_channels + (info.hasAlpha ? 0 : 1)) * m_sampleBytes;
        m_band.resize(m_rowBytes * std::min(c_bandRows, info.height));
    }

    void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) override {
        std::byte* to = m_band.data() + (y - m_bandStart) * m_rowBytes;
        if (m_info.hasAlpha) {
            std::memcpy(to, row.data(), m_rowBytes);
        } else {
            std::size_t const pixelBytes = m_channels * m_sampleBytes;
            for (std::byte const* from = row.data(); from != row.data() + row.size(); from += pixelBytes) {
                std::memcpy(to, from, pixelBytes);
                std::memset(to + pixelBytes, 0xFF, m_sampleBytes);
                to += pixelBytes + m_sampleBytes;
            }
        }
        if (y + 1 - m_bandStart == c_bandRows || y + 1 == m_info.height) {
            m_bitmap->WritePixels(
                {0, static_cast<int>(m_bandStart), static_cast<int>(m_info.width), static_cast<int>(y + 1)},
                m_band.data(), m_rowBytes);
            m_bandStart = y + 1;
        }
    }

    Kernel::Counted<Raster::DynamicBitmap> Take() {
        if (!m_info.iccProfile.empty()) {
            try {
                auto const profile = Raster::ICCProfile::FromData(m_info.iccProfile);
                if (profile->GetColourModel() == m_info.colourModel)
                    m_bitmap->SetProfile(profile);
            } catch (Kernel::Exception const&) {
                // Pictures with a broken profile are common, and shown everywhere as if they had none.
            }
        }
        return std::move(m_bitmap);
    }

private:
    Raster::ImageInfo m_info;
    Kernel::Counted<Raster::DynamicBitmap> m_bitmap;
    std::vector<std::byte> m_band;
    std::uint32_t m_bandStart = 0;
    std::size_t m_rowBytes = 0;
    std::size_t m_sampleBytes = 0;
    std::size_t m_channels = 0;
};

Raster::Format GetPngFormat(Raster::Format format) {
    switch (format) {
    case Raster::FormatRGBA8:
    case Raster::FormatRGBA16:
    case Raster::FormatIA8:
    case Raster::FormatIA16:
        return format;
    case Raster::FormatCMYKA8:
    case Raster::FormatA8:
        return Raster::FormatRGBA8;
    default:
        return Raster::FormatRGBA16;
    }
}

} // namespace

Kernel::Counted<Raster::DynamicBitmap> DecodeBitmap(std::string_view file, Raster::ImageLimits const& limits) {
    BitmapReceiver receiver;
    Raster::DecodeImage({reinterpret_cast<std::byte const*>(file.data()), file.size()}, receiver, limits);
    return receiver.Take();
}

std::string EncodeBitmap(Raster::DynamicBitmap const& bitmap, bool* isConverted) {
    Raster::Format const format = GetPngFormat(bitmap.GetFormat());
    Kernel::Counted<Raster::BitmapBase const> base(bitmap.GetBase().get());
    base->ForceDelayLoad(nullptr);
    auto profile = bitmap.GetProfile();
    if (isConverted != nullptr)
        *isConverted = format != bitmap.GetFormat();
    if (format != bitmap.GetFormat()) {
        auto const converter = Raster::ICCManager::GetInstance().MakeConverter(bitmap.GetFormat(), profile, format, {});
        base = Raster::ConvertBitmap(*base, *converter, nullptr);
        profile = {};
    }
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(base->GetWidth());
    info.height = static_cast<std::uint32_t>(base->GetHeight());
    bool const isGrey = format == Raster::FormatIA8 || format == Raster::FormatIA16;
    info.colourModel = isGrey ? Raster::ColourModel::Grey : Raster::ColourModel::RGB;
    info.hasAlpha = true;
    bool const isDeep = format == Raster::FormatRGBA16 || format == Raster::FormatIA16;
    info.sampleFormat = isDeep ? Raster::SampleFormat::Integer16 : Raster::SampleFormat::Integer8;
    if (profile)
        info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
    std::vector<std::byte> band(info.GetRowBytes() * std::min(c_bandRows, info.height));
    std::uint32_t bandStart = 0, bandEnd = 0;
    std::string file;
    Raster::EncodePng(
        info,
        [&](std::uint32_t y, std::span<std::byte> row) {
            if (y >= bandEnd) {
                bandStart = y;
                bandEnd = std::min(y + c_bandRows, info.height);
                base->ReadPixels(
                    {0, static_cast<int>(bandStart), static_cast<int>(info.width), static_cast<int>(bandEnd)},
                    band.data(), info.GetRowBytes());
            }
            std::memcpy(row.data(), band.data() + (y - bandStart) * info.GetRowBytes(), row.size());
        },
        [&](std::span<std::byte const> bytes) {
            file.append(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        });
    return file;
}

std::string EncodeBase64(std::string_view bytes) {
    constexpr std::string_view c_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            out += k <= count ? c_digits[bits >> (18 - 6 * k) & 63] : '=';
    }
    return out;
}

} // namespace Shell::Svg
