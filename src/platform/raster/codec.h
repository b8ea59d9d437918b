// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/exception.h"
#include "platform/raster/format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace Raster {

// How a sample is stored: unsigned integers over their full range, or floats with full scale 1.0, in the machine's byte
// order.
enum class SampleFormat : std::uint8_t { Integer8, Integer16, Float32 };

// Where the first row and the first column of the stored image belong when it is shown: "BottomRight" is upside down.
// The values are those of TIFF 6.0, section 8, "Orientation", which EXIF shares.
enum class Orientation : std::uint8_t {
    TopLeft = 1,
    TopRight = 2,
    BottomRight = 3,
    BottomLeft = 4,
    LeftTop = 5,
    RightTop = 6,
    RightBottom = 7,
    LeftBottom = 8
};

// The description of an image in a file. Pixels are interleaved: the colour channels in the order of their model's
// name, then alpha. Colour is not multiplied by alpha. Ink channels count ink. 16-bit Lab is encoded as Lightness16 and
// its fellows say; 8-bit Lab has L* 0 to 100 over the full range and a*, b* as 128 + value; float Lab is the 8-bit one
// divided by 255.
struct REDRAFT_ENGINE ImageInfo {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    // RGB, Grey, CMYK or Lab.
    ColourModel colourModel = ColourModel::RGB;
    bool hasAlpha = false;
    SampleFormat sampleFormat = SampleFormat::Integer8;

    // Bits of a sample in the file, where they may be more than `sampleFormat` has: those of TIFF. 0 for all others.
    std::uint16_t storedBits = 0;
    // The file's samples are floats, not integers that were made floats.
    bool isFloat = false;

    // Pixels per inch; 0 where the file does not say.
    double dpiX = 0;
    double dpiY = 0;
    // As stored: nothing has been turned.
    Orientation orientation = Orientation::TopLeft;
    // Images after the first, which nothing here reads. Counting ends at 9999.
    std::uint32_t otherPages = 0;

    // As embedded, not looked into; empty where there is none.
    std::vector<std::byte> iccProfile;
    // The file says in another way that its colours are sRGB.
    bool isSrgb = false;
    // PNG's gAMA, where neither of the above is there: samples are intensities to the power of it; 0 for none.
    double encodingGamma = 0;
    // PNG's cHRM, along with encodingGamma: x and y of white, red, green and blue (CIE 1931).
    std::optional<std::array<double, 8>> chromaticities;

    std::size_t GetChannelCount() const;
    std::size_t GetSampleBytes() const;
    std::size_t GetRowBytes() const { return std::size_t{width} * GetChannelCount() * GetSampleBytes(); }
};

// The resources that one image may ask for. Above each limit the image is refused, before any memory for its
// pixels is taken.
struct ImageLimits {
    std::uint64_t pixels = std::uint64_t{1} << 28;
    // Decoded, in the info's own sample format.
    std::uint64_t bytes = std::uint64_t{1} << 30;
    // An image of more than `freePixels` pixels may have at most `pixelsPerByte` for each byte of its file.
    std::uint64_t freePixels = std::uint64_t{1} << 26;
    std::uint64_t pixelsPerByte = 256;
};

// Takes an image as it is decoded.
class REDRAFT_ENGINE ImageReceiver {
public:
    virtual ~ImageReceiver();
    // Once, when the image is known to be within the limits. Exceptions pass through the decoder.
    virtual void Begin(ImageInfo const& info) = 0;
    // Every row, from 0 upwards, with info.GetRowBytes() bytes.
    virtual void ReceiveRow(std::uint32_t y, std::span<std::byte const> row) = 0;
};

struct DecodedImage {
    ImageInfo info;
    // Rows without gaps.
    std::vector<std::byte> samples;
};

// The description of the first image of a PNG, JPEG or TIFF file, without decoding it. Throws as DecodeImage does.
REDRAFT_ENGINE ImageInfo ReadImageInfo(std::span<std::byte const> file, ImageLimits const& limits = {});

// Decodes the first image of a PNG, JPEG or TIFF file, which is told by its first bytes. Palettes, subsampling, odd bit
// depths and premultiplied alpha come out as plain channels, integers of more than 16 bits as floats.
//
// A file that ends before its pixels do is refused, as is one whose pixels are damaged: Kernel::DamagedDataException.
// (Only a missing end mark behind whole pixels is forgiven, but not in JPEG of arithmetic coding.) Kernel::Exception:
// another kind of file, a variety that is not supported, or above the limits. Rows that were received before the
// exception are to be thrown away. Prints nothing; several threads may decode at once.
REDRAFT_ENGINE void DecodeImage(std::span<std::byte const> file, ImageReceiver& receiver,
                                ImageLimits const& limits = {});
REDRAFT_ENGINE DecodedImage DecodeImage(std::span<std::byte const> file, ImageLimits const& limits = {});

// Fills row y, of info.GetRowBytes() bytes. Called for each row in turn.
using RowSource = std::function<void(std::uint32_t y, std::span<std::byte> row)>;
// Takes the next bytes of a file.
using ByteSink = std::function<void(std::span<std::byte const> bytes)>;

// Writes a PNG file (ISO/IEC 15948): RGB or grey, 8 or 16 bits, with or without alpha, profile or sRGB mark, and
// resolution. Rows are asked for one at a time, packed by several threads and written while they come; up to 16 MiB of
// them wait, or one where it is longer. The same input gives the same bytes, whatever the number of threads. Throws
// Kernel::Exception where PNG has no place for what `info` says; orientation, gamma and chromaticities are not written.
REDRAFT_ENGINE void EncodePng(ImageInfo const& info, RowSource const& source, ByteSink const& sink);

// The quality that JPEG files get where nobody asks for another.
inline constexpr int c_usualJpegQuality = 90;

// Writes a JPEG file (ITU-T T.81, JFIF 1.02): grey, RGB or CMYK of 8 bits without alpha, at most 65500 pixels a side,
// with profile and, but for ink, resolution. `quality` is 1 to 100 on the scale of the Independent JPEG Group; below 90
// colours are stored at half the resolution. Ink is stored inverted and marked so, as most programs do it. The file is
// handed over when all rows are there. The same input gives the same bytes. Throws Kernel::Exception where JPEG has no
// place for what `info` says; orientation, gamma and chromaticities are not written.
REDRAFT_ENGINE void EncodeJpeg(ImageInfo const& info, int quality, RowSource const& source, ByteSink const& sink);

// Writes a TIFF 6.0 file, BigTIFF above 4 GB: all that ImageInfo can tell but gamma and chromaticities, compressed with
// Deflate. The file is built in memory and given to the sink in one piece. The same input gives the same bytes.
REDRAFT_ENGINE void EncodeTiff(ImageInfo const& info, RowSource const& source, ByteSink const& sink);

} // namespace Raster
