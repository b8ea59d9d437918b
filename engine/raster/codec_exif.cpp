// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"

namespace Raster::Codec {

namespace {

// Numbers out of a TIFF structure; those outside it are 0.
class TiffBytes {
public:
    explicit TiffBytes(std::span<std::byte const> bytes)
        : m_bytes(bytes), m_isBigEndian(!bytes.empty() && bytes[0] == std::byte{'M'}) {}

    std::uint32_t Get(std::uint64_t offset, unsigned size) const {
        if (offset > m_bytes.size() || m_bytes.size() - offset < size)
            return 0;
        std::uint32_t value = 0;
        for (unsigned i = 0; i != size; ++i) {
            auto const byte = m_bytes[static_cast<std::size_t>(offset) + (m_isBigEndian ? i : size - 1 - i)];
            value = value << 8 | std::to_integer<std::uint32_t>(byte);
        }
        return value;
    }

    double GetRational(std::uint64_t offset) const {
        auto const denominator = Get(offset + 4, 4);
        return denominator == 0 ? 0 : static_cast<double>(Get(offset, 4)) / denominator;
    }

private:
    std::span<std::byte const> m_bytes;
    bool m_isBigEndian;
};

} // namespace

void ReadExif(std::span<std::byte const> exif, ImageInfo& info) {
    if (exif.size() < 8 || exif[0] != exif[1] || (exif[0] != std::byte{'I'} && exif[0] != std::byte{'M'}))
        return;
    TiffBytes const tiff(exif);
    if (tiff.Get(2, 2) != 42)
        return;
    std::uint64_t const directory = tiff.Get(4, 4);
    double dpiX = 0;
    double dpiY = 0;
    // EXIF: inches unless it says otherwise.
    std::uint32_t unit = 2;
    for (std::uint64_t i = 0, count = tiff.Get(directory, 2); i != count; ++i) {
        auto const entry = directory + 2 + 12 * i;
        auto const value = tiff.Get(entry + 8, 2);
        switch (tiff.Get(entry, 2)) {
        case 0x0112:
            if (value >= 1 && value <= 8)
                info.orientation = static_cast<Orientation>(value);
            break;
        case 0x011A:
            dpiX = tiff.GetRational(tiff.Get(entry + 8, 4));
            break;
        case 0x011B:
            dpiY = tiff.GetRational(tiff.Get(entry + 8, 4));
            break;
        case 0x0128:
            unit = value;
            break;
        default:
            break;
        }
    }
    if (info.dpiX == 0 && dpiX > 0 && dpiY > 0 && (unit == 2 || unit == 3)) {
        info.dpiX = unit == 3 ? ToDpi(dpiX, c_centimetresPerInch, c_centimetreStep) : dpiX;
        info.dpiY = unit == 3 ? ToDpi(dpiY, c_centimetresPerInch, c_centimetreStep) : dpiY;
    }
}

} // namespace Raster::Codec
