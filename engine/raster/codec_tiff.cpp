// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_tiff_support.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <tiffio.h>

namespace Raster::Codec {

namespace {

constexpr std::uint32_t c_maxPages = 10000;
// Directories and strips; pixels are counted apart.
constexpr tmsize_t c_maxSingleAllocation = std::int64_t{1} << 30;

// The data of libtiff's callbacks.
struct TiffState {
    std::span<std::byte const> bytes;
    std::uint64_t position = 0;
    char message[200] = {};
    // The JPEG decoder inside reports damaged data as a warning, and goes on. Other warnings are of what files in use
    // have.
    bool hasJpegWarned = false;
};

TiffState& ToState(thandle_t handle) { return *static_cast<TiffState*>(handle); }

tmsize_t ReadBytes(thandle_t handle, void* target, tmsize_t size) {
    auto& state = ToState(handle);
    if (size <= 0 || state.position >= state.bytes.size())
        return 0;
    auto const count = std::min<std::uint64_t>(static_cast<std::uint64_t>(size), state.bytes.size() - state.position);
    std::memcpy(target, state.bytes.data() + state.position, count);
    state.position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t WriteNothing(thandle_t, void*, tmsize_t) { return -1; }

toff_t Seek(thandle_t handle, toff_t offset, int whence) {
    auto& state = ToState(handle);
    auto const base = whence == SEEK_CUR ? state.position : whence == SEEK_END ? state.bytes.size() : 0;
    state.position = base + offset;
    return state.position;
}

int Close(thandle_t) { return 0; }
toff_t GetSize(thandle_t handle) { return ToState(handle).bytes.size(); }

int Map(thandle_t handle, void** base, toff_t* size) {
    auto const bytes = ToState(handle).bytes;
    // libtiff only reads what it has mapped.
    *base = const_cast<std::byte*>(bytes.data());
    *size = bytes.size();
    return 1;
}

void Unmap(thandle_t, void*, toff_t) {}

int OnError(TIFF*, void* user, char const*, char const* format, va_list arguments) {
    auto& state = *static_cast<TiffState*>(user);
    if (state.message[0] == 0)
        std::vsnprintf(state.message, sizeof state.message, format, arguments);
    return 1;
}

int OnWarning(TIFF*, void* user, char const* module, char const*, va_list) {
    auto& state = *static_cast<TiffState*>(user);
    state.hasJpegWarned = state.hasJpegWarned || (module != nullptr && std::strcmp(module, "LibJpeg") == 0);
    return 1;
}

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

// Follows the chain of directories by hand: libtiff would read each of them whole. A chain that leads back into itself
// ends at the count.
std::uint32_t CountPages(std::span<std::byte const> file) {
    bool const isBigEndian = file[0] == std::byte{'M'};
    auto const get = [&](std::uint64_t offset, unsigned size) {
        std::uint64_t value = 0;
        if (offset > file.size() || file.size() - offset < size)
            return value;
        for (unsigned i = 0; i != size; ++i)
            value = value << 8 | std::to_integer<std::uint64_t>(file[offset + (isBigEndian ? i : size - 1 - i)]);
        return value;
    };
    bool const isBigTiff = get(2, 2) == 43;
    unsigned const word = isBigTiff ? 8 : 4;
    std::uint64_t const first = get(isBigTiff ? 8 : 4, word);
    std::uint32_t count = 0;
    for (auto offset = first; offset != 0 && offset < file.size() && count != c_maxPages;) {
        ++count;
        auto const entries = get(offset, isBigTiff ? 8 : 2);
        if (entries > file.size())
            break;
        offset = get(offset + (isBigTiff ? 8 + 20 * entries : 2 + 12 * entries), word);
        if (offset == first)
            break;
    }
    return count;
}

// Memory that a file may take whatever its length is.
constexpr std::uint64_t c_freeBytes = std::uint64_t{64} << 20;
// More than files in use are compressed by.
constexpr std::uint64_t c_usualExpansion = 4096;

// How many bytes of samples a compressed one can stand for; 0 where there is no bound.
std::uint64_t GetExpansion(std::uint16_t compression, std::uint64_t samplesPerPixel) {
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_PACKBITS:
        return 64;
    case COMPRESSION_LZW:
        // At best each code of 12 bits stands for one byte more than the one before, up to 3839.
        return 2560;
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
        return 1032;
    case COMPRESSION_JPEG:
    case COMPRESSION_OJPEG:
        // Each block of 64 pixels has two Huffman codes or more in the first component.
        return 256 * samplesPerPixel;
    default:
        return 0;
    }
}

class TiffReader {
public:
    explicit TiffReader(std::span<std::byte const> file) {
        m_state.bytes = file;
        std::unique_ptr<TIFFOpenOptions, FreeOptions> const options(TIFFOpenOptionsAlloc());
        if (options == nullptr)
            throw std::bad_alloc();
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, &m_state);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, &m_state);
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), c_maxSingleAllocation);
        m_tiff.reset(TIFFClientOpenExt("image", "r", &m_state, ReadBytes, WriteNothing, Seek, Close, GetSize, Map,
                                       Unmap, options.get()));
        if (m_tiff == nullptr)
            Fail();
    }

    ImageInfo ReadInfo() {
        ReadLayout();
        ImageInfo info;
        info.width = m_layout.width;
        info.height = m_layout.height;
        ChooseModel(info);
        auto const pages = CountPages(m_state.bytes);
        info.otherPages = pages == 0 ? 0 : pages - 1;
        std::uint16_t orientation = 1;
        TIFFGetFieldDefaulted(m_tiff.get(), TIFFTAG_ORIENTATION, &orientation);
        if (orientation >= 1 && orientation <= 8)
            info.orientation = static_cast<Orientation>(orientation);
        ReadResolution(info);
        std::uint32_t size = 0;
        void* profile = nullptr;
        if (TIFFGetField(m_tiff.get(), TIFFTAG_ICCPROFILE, &size, &profile) != 0 && profile != nullptr) {
            auto const* const bytes = static_cast<std::byte const*>(profile);
            info.iccProfile.assign(bytes, bytes + size);
        }
        return info;
    }

    void RequirePossible(ImageInfo const& info, ImageLimits const& limits) const {
        auto const expansion = GetExpansion(m_layout.compression, m_layout.samplesPerPixel);
        std::uint64_t const bits = std::uint64_t{m_layout.width} * m_layout.samplesPerPixel * m_layout.bitsPerSample;
        std::uint64_t const bytes = (bits + 7) / 8 * m_layout.height;
        // Samples that nothing here uses are read too.
        if (bytes > limits.bytes * 2)
            throw Kernel::Exception("is too large: " + std::to_string(info.width) + " x " +
                                    std::to_string(info.height) + " pixels");
        // Subsampled colours are fewer than the fields say: there are two samples a pixel less at most.
        bool const isSubsampled = m_layout.photometric == PHOTOMETRIC_YCBCR;
        if (expansion != 0 && bytes / (isSubsampled ? 3 : 1) / expansion > m_state.bytes.size())
            ThrowCutShort();
        RequireInProportion(bytes);
        if (TIFFIsTiled(m_tiff.get()) == 0)
            return;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        TIFFGetField(m_tiff.get(), TIFFTAG_TILEWIDTH, &width);
        TIFFGetField(m_tiff.get(), TIFFTAG_TILELENGTH, &height);
        // Tiles may stand out at the right and the bottom, but not by the size of another image.
        std::uint64_t const area = (std::uint64_t{info.width} + width) * (std::uint64_t{info.height} + height);
        if (width == 0 || height == 0 || area > limits.pixels * 2 ||
            (area > limits.freePixels && area / limits.pixelsPerByte > m_state.bytes.size()))
            ThrowDamaged("its tiles are impossible");
        RequireInProportion(area * m_layout.samplesPerPixel * ((m_layout.bitsPerSample + 7U) / 8U));
    }

    void ReadRows(ImageInfo const& info, ImageReceiver& receiver) {
        m_state.hasJpegWarned = false;
        m_state.message[0] = 0;
        if (m_isComposed)
            return ReadComposed(info, receiver);
        unsigned const bits = m_layout.bitsPerSample;
        m_layout.containerBits = m_layout.bitsPerSample;
        if (m_layout.isSeparate && bits % 8 != 0)
            m_layout.containerBits = bits < 8 ? 8 : bits < 16 ? 16 : 32;
        // Of separate planes only those that are used are gathered.
        if (m_layout.isSeparate)
            m_layout.samplesPerPixel = static_cast<std::uint16_t>(m_layout.colourCount + (m_layout.hasAlpha ? 1 : 0));
        TiffRowConverter const converter(m_layout, info);
        std::vector<std::byte> target(info.GetRowBytes());
        auto const give = [&](std::uint32_t y, std::span<std::byte const> source) {
            converter.Convert(source, target);
            receiver.ReceiveRow(y, target);
        };
        bool const isTiled = TIFFIsTiled(m_tiff.get()) != 0;
        if (m_layout.isSeparate)
            ReadSeparate(isTiled, give);
        else if (isTiled)
            ReadTiles(0, m_layout.samplesPerPixel, give);
        else
            ReadStrips(0, give);
        RequireWholeJpeg();
    }

private:
    // `bytes` is what has to be held at once at most.
    void RequireInProportion(std::uint64_t bytes) const {
        if (bytes > c_freeBytes && bytes / c_usualExpansion > m_state.bytes.size())
            throw Kernel::Exception("says that it has " + std::to_string(m_layout.width) + " x " +
                                    std::to_string(m_layout.height) + " pixels, out of proportion to its length");
    }

    void RequireWholeJpeg() const {
        if (m_state.hasJpegWarned)
            ThrowDamaged("its JPEG data cannot be read whole");
    }

    [[noreturn]] void Fail() const { ThrowDamaged(m_state.message[0] != 0 ? m_state.message : "it cannot be read"); }

    [[noreturn]] static void Refuse(std::string const& what) {
        throw Kernel::Exception("is a TIFF image " + what + ", which is not supported");
    }

    void ReadLayout() {
        auto* const tiff = m_tiff.get();
        std::uint16_t planar = PLANARCONFIG_CONTIG;
        bool const hasSize = TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &m_layout.width) != 0 &&
                             TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &m_layout.height) != 0 && m_layout.width != 0 &&
                             m_layout.height != 0;
        if (!hasSize)
            ThrowDamaged("the image has no pixels");
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &m_layout.bitsPerSample);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &m_layout.samplesPerPixel);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &m_layout.sampleFormat);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &m_layout.compression);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
        if (m_layout.samplesPerPixel == 0 || m_layout.bitsPerSample == 0 || m_layout.samplesPerPixel > 64)
            ThrowDamaged("its pixels are impossible");
        m_layout.isSeparate = planar == PLANARCONFIG_SEPARATE && m_layout.samplesPerPixel > 1;
        if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &m_layout.photometric) == 0)
            m_layout.photometric = m_layout.samplesPerPixel >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
        if (TIFFIsCODECConfigured(m_layout.compression) == 0)
            Refuse("with compression " + std::to_string(m_layout.compression));
        if (m_layout.compression == COMPRESSION_JPEG && m_layout.photometric == PHOTOMETRIC_YCBCR) {
            TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            m_layout.photometric = PHOTOMETRIC_RGB;
        }
    }

    void ChooseModel(ImageInfo& info) {
        bool const isGrey =
            m_layout.photometric == PHOTOMETRIC_MINISBLACK || m_layout.photometric == PHOTOMETRIC_MINISWHITE;
        if (m_layout.compression == COMPRESSION_OJPEG) {
            if (!isGrey && m_layout.photometric != PHOTOMETRIC_RGB && m_layout.photometric != PHOTOMETRIC_YCBCR)
                Refuse("of a rare kind");
            SetComposed(info, isGrey ? ColourModel::Grey : ColourModel::RGB);
            return;
        }
        switch (m_layout.photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
            SetModel(info, ColourModel::Grey, 1);
            break;
        case PHOTOMETRIC_RGB:
            SetModel(info, ColourModel::RGB, 3);
            break;
        case PHOTOMETRIC_PALETTE:
            SetModel(info, ColourModel::RGB, 1);
            break;
        case PHOTOMETRIC_SEPARATED:
            SetModel(info, ColourModel::CMYK, 4);
            break;
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB:
            SetModel(info, ColourModel::Lab, 3);
            break;
        case PHOTOMETRIC_YCBCR:
        case PHOTOMETRIC_LOGL:
        case PHOTOMETRIC_LOGLUV:
            SetComposed(info, ColourModel::RGB);
            return;
        default:
            Refuse("with photometric interpretation " + std::to_string(m_layout.photometric));
        }
        ChooseSampleFormat(info);
    }

    // libtiff's own way to RGB, of which grey has one channel.
    void SetComposed(ImageInfo& info, ColourModel model) {
        char reason[1024] = {};
        if (TIFFRGBAImageOK(m_tiff.get(), reason) == 0)
            Refuse("of a rare kind");
        m_isComposed = true;
        info.colourModel = model;
        info.sampleFormat = SampleFormat::Integer8;
    }

    void SetModel(ImageInfo& info, ColourModel model, std::uint16_t colours) {
        if (m_layout.samplesPerPixel < colours)
            ThrowDamaged("its pixels have too few samples");
        if (model == ColourModel::CMYK) {
            std::uint16_t inks = INKSET_CMYK;
            TIFFGetFieldDefaulted(m_tiff.get(), TIFFTAG_INKSET, &inks);
            if (inks != INKSET_CMYK)
                Refuse("with inks other than cyan, magenta, yellow and black");
        }
        info.colourModel = model;
        info.storedBits = m_layout.bitsPerSample;
        m_layout.colourCount = colours;
        std::uint16_t count = 0;
        std::uint16_t* kinds = nullptr;
        TIFFGetFieldDefaulted(m_tiff.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds);
        bool const isPalette = m_layout.photometric == PHOTOMETRIC_PALETTE;
        if (count != 0 && kinds != nullptr && m_layout.samplesPerPixel > colours && !isPalette) {
            m_layout.hasAlpha = kinds[0] == EXTRASAMPLE_ASSOCALPHA || kinds[0] == EXTRASAMPLE_UNASSALPHA;
            m_layout.isPremultiplied = kinds[0] == EXTRASAMPLE_ASSOCALPHA;
        }
        info.hasAlpha = m_layout.hasAlpha;
    }

    void ChooseSampleFormat(ImageInfo& info) {
        unsigned const bits = m_layout.bitsPerSample;
        switch (m_layout.sampleFormat) {
        case SAMPLEFORMAT_IEEEFP:
            if (bits != 16 && bits != 24 && bits != 32 && bits != 64)
                Refuse("with floats of " + std::to_string(bits) + " bits");
            info.sampleFormat = SampleFormat::Float32;
            info.isFloat = true;
            return;
        case SAMPLEFORMAT_UINT:
        case SAMPLEFORMAT_VOID:
        case SAMPLEFORMAT_INT:
            break;
        default:
            Refuse("with complex numbers");
        }
        bool const isLab = info.colourModel == ColourModel::Lab;
        if (bits > 32 || (isLab && bits != 8 && bits != 16))
            Refuse("with " + std::to_string(bits) + " bits a sample");
        // Lab's own signs are meant then.
        if (isLab)
            m_layout.sampleFormat = SAMPLEFORMAT_UINT;
        // Ink cannot be less than none. Files that say so all the same mean what unsigned ones do.
        if (info.colourModel == ColourModel::CMYK)
            m_layout.sampleFormat = SAMPLEFORMAT_UINT;
        info.sampleFormat = bits <= 8    ? SampleFormat::Integer8
                            : bits <= 16 ? SampleFormat::Integer16
                                         : SampleFormat::Float32;
        if (m_layout.photometric != PHOTOMETRIC_PALETTE)
            return;
        std::uint16_t* tables[3] = {};
        if (bits > 16 || m_layout.sampleFormat == SAMPLEFORMAT_INT ||
            TIFFGetField(m_tiff.get(), TIFFTAG_COLORMAP, &tables[0], &tables[1], &tables[2]) == 0)
            ThrowDamaged("it has no palette");
        std::copy(std::begin(tables), std::end(tables), std::begin(m_layout.palette));
        info.sampleFormat = SampleFormat::Integer8;
        info.storedBits = 8;
        FixOldPalette(std::size_t{1} << bits);
    }

    // Some programs write entries of 8 bits where 16 are due.
    void FixOldPalette(std::size_t size) {
        for (auto const* table : m_layout.palette)
            if (std::any_of(table, table + size, [](std::uint16_t entry) { return entry > 255; }))
                return;
        m_palette.clear();
        for (auto const* table : m_layout.palette)
            std::transform(table, table + size, std::back_inserter(m_palette),
                           [](std::uint16_t entry) { return static_cast<std::uint16_t>(entry * 257); });
        for (std::size_t i = 0; i != 3; ++i)
            m_layout.palette[i] = m_palette.data() + i * size;
    }

    void ReadResolution(ImageInfo& info) const {
        float x = 0;
        float y = 0;
        std::uint16_t unit = RESUNIT_INCH;
        TIFFGetFieldDefaulted(m_tiff.get(), TIFFTAG_RESOLUTIONUNIT, &unit);
        bool const isKnown = TIFFGetField(m_tiff.get(), TIFFTAG_XRESOLUTION, &x) != 0 &&
                             TIFFGetField(m_tiff.get(), TIFFTAG_YRESOLUTION, &y) != 0 && x > 0 && y > 0 && x < 1e9F &&
                             y < 1e9F;
        if (!isKnown || (unit != RESUNIT_INCH && unit != RESUNIT_CENTIMETER))
            return;
        bool const isMetric = unit == RESUNIT_CENTIMETER;
        info.dpiX = isMetric ? ToDpi(x, c_centimetresPerInch, c_centimetreStep) : x;
        info.dpiY = isMetric ? ToDpi(y, c_centimetresPerInch, c_centimetreStep) : y;
    }

    // Bytes of a row of so many samples a pixel.
    std::size_t GetSourceRowBytes(std::uint32_t width, std::size_t samples) const {
        return (std::size_t{width} * samples * m_layout.bitsPerSample + 7) / 8;
    }

    template <class Give>
    void ReadStrips(std::uint16_t plane, Give const& give) {
        auto const expected = GetSourceRowBytes(m_layout.width, m_layout.isSeparate ? 1 : m_layout.samplesPerPixel);
        auto const size = TIFFScanlineSize64(m_tiff.get());
        if (size < expected || size > c_maxSingleAllocation)
            ThrowDamaged("its rows are impossible");
        std::vector<std::byte> row(static_cast<std::size_t>(size));
        for (std::uint32_t y = 0; y != m_layout.height; ++y) {
            if (TIFFReadScanline(m_tiff.get(), row.data(), y, plane) < 0)
                Fail();
            give(y, row);
        }
    }

    template <class Give>
    void ReadTiles(std::uint16_t plane, std::size_t samples, Give const& give) {
        std::uint32_t tileWidth = 0;
        std::uint32_t tileHeight = 0;
        TIFFGetField(m_tiff.get(), TIFFTAG_TILEWIDTH, &tileWidth);
        TIFFGetField(m_tiff.get(), TIFFTAG_TILELENGTH, &tileHeight);
        auto const tileRowBytes = GetSourceRowBytes(tileWidth, samples);
        auto const size = TIFFTileSize64(m_tiff.get());
        if (size != std::uint64_t{tileRowBytes} * tileHeight || size > c_maxSingleAllocation)
            ThrowDamaged("its tiles are impossible");
        // Where tiles end within a byte their rows have to be joined bit by bit. Widths are multiples of 16, so that
        // they do not; files that break that rule are refused.
        if (std::size_t{tileWidth} * samples * m_layout.bitsPerSample % 8 != 0)
            Refuse("with tiles that end within a byte");
        auto const across = (std::uint64_t{m_layout.width} + tileWidth - 1) / tileWidth;
        std::vector<std::byte> tile(static_cast<std::size_t>(size));
        std::vector<std::byte> band(static_cast<std::size_t>(across) * tile.size());
        auto const bandRowBytes = static_cast<std::size_t>(across) * tileRowBytes;
        for (std::uint32_t top = 0; top < m_layout.height; top += std::min(tileHeight, m_layout.height - top)) {
            auto const rows = std::min(tileHeight, m_layout.height - top);
            for (std::uint64_t i = 0; i != across; ++i) {
                if (TIFFReadTile(m_tiff.get(), tile.data(), static_cast<std::uint32_t>(i * tileWidth), top, 0, plane) <
                    0)
                    Fail();
                for (std::size_t y = 0; y != rows; ++y)
                    std::memcpy(band.data() + y * bandRowBytes + i * tileRowBytes, tile.data() + y * tileRowBytes,
                                tileRowBytes);
            }
            for (std::uint32_t y = 0; y != rows; ++y)
                give(top + y, std::span<std::byte const>(band).subspan(y * bandRowBytes, bandRowBytes));
        }
    }

    // The planes come one after the other, so the whole image is gathered first, interleaved.
    template <class Give>
    void ReadSeparate(bool isTiled, Give const& give) {
        unsigned const bits = m_layout.bitsPerSample;
        bool const isWhole = bits % 8 == 0;
        std::size_t const sampleBytes = isWhole ? bits / 8 : bits < 8 ? 1 : bits < 16 ? 2 : 4;
        auto const pixelBytes = sampleBytes * m_layout.samplesPerPixel;
        auto const rowBytes = pixelBytes * m_layout.width;
        std::vector<std::byte> image(rowBytes * m_layout.height);
        for (std::uint16_t plane = 0; plane != m_layout.samplesPerPixel; ++plane) {
            auto const place = [&](std::uint32_t y, std::span<std::byte const> source) {
                auto* target = image.data() + y * rowBytes + plane * sampleBytes;
                for (std::size_t x = 0; x != m_layout.width; ++x, target += pixelBytes) {
                    if (isWhole)
                        std::memcpy(target, source.data() + x * sampleBytes, sampleBytes);
                    else
                        StoreInteger(LoadTiffInteger(source, x, bits), target, sampleBytes);
                }
            };
            if (isTiled)
                ReadTiles(plane, 1, place);
            else
                ReadStrips(plane, place);
        }
        for (std::uint32_t y = 0; y != m_layout.height; ++y)
            give(y, std::span<std::byte const>(image).subspan(y * rowBytes, rowBytes));
    }

    static void StoreInteger(std::uint32_t value, std::byte* target, std::size_t size) {
        if (size == 1) {
            *target = static_cast<std::byte>(value);
        } else if (size == 2) {
            auto const narrow = static_cast<std::uint16_t>(value);
            std::memcpy(target, &narrow, sizeof narrow);
        } else {
            std::memcpy(target, &value, sizeof value);
        }
    }

    void ReadComposed(ImageInfo const& info, ImageReceiver& receiver) {
        std::vector<std::uint32_t> raster(std::size_t{info.width} * info.height);
        if (TIFFReadRGBAImageOriented(m_tiff.get(), info.width, info.height, raster.data(), ORIENTATION_TOPLEFT, 1) ==
            0)
            Fail();
        RequireWholeJpeg();
        auto const channels = info.GetChannelCount();
        std::vector<std::byte> row(info.GetRowBytes());
        for (std::uint32_t y = 0; y != info.height; ++y) {
            for (std::size_t x = 0; x != info.width; ++x) {
                auto const pixel = raster[std::size_t{y} * info.width + x];
                row[channels * x] = static_cast<std::byte>(TIFFGetR(pixel));
                if (channels == 1)
                    continue;
                row[3 * x + 1] = static_cast<std::byte>(TIFFGetG(pixel));
                row[3 * x + 2] = static_cast<std::byte>(TIFFGetB(pixel));
            }
            receiver.ReceiveRow(y, row);
        }
    }

    TiffState m_state;
    std::unique_ptr<TIFF, CloseTiff> m_tiff;
    TiffLayout m_layout;
    std::vector<std::uint16_t> m_palette;
    bool m_isComposed = false;
};

} // namespace

void DecodeTiff(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits) {
    TiffReader reader(file);
    auto const info = reader.ReadInfo();
    RequireWithinLimits(info, limits, file.size());
    reader.RequirePossible(info, limits);
    receiver.Begin(info);
    reader.ReadRows(info, receiver);
}

} // namespace Raster::Codec
