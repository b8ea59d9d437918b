// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"
#include "engine/raster/png_strips.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <exception>
#include <png.h>

namespace Raster {

namespace Codec {

namespace {

constexpr double c_metresPerInch = 0.0254;
// Deflate (RFC 1951) makes at most 258 bytes of two bits, which is 1032 to 1.
constexpr std::uint64_t c_deflateExpansion = 1032;
// The largest chunk that is kept: a colour profile.
constexpr png_alloc_size_t c_maxChunkBytes = 16 << 20;

// The data of libpng's callbacks. An error is kept and jumped with.
struct PngState {
    std::jmp_buf target;
    char message[160] = {};
    std::span<std::byte const> input;
    std::size_t position = 0;
    bool hasHitEnd = false;
    ByteSink const* sink = nullptr;
    std::exception_ptr failure;
};

[[noreturn]] void OnError(png_structp png, png_const_charp message) {
    auto& state = *static_cast<PngState*>(png_get_error_ptr(png));
    std::strncpy(state.message, message, sizeof state.message - 1);
    std::longjmp(state.target, 1);
}

void OnWarning(png_structp, png_const_charp) {}

void ReadBytes(png_structp png, png_bytep target, std::size_t size) {
    auto& state = *static_cast<PngState*>(png_get_io_ptr(png));
    if (state.input.size() - state.position < size) {
        state.hasHitEnd = true;
        png_error(png, "end of file");
    }
    std::memcpy(target, state.input.data() + state.position, size);
    state.position += size;
}

void WriteBytes(png_structp png, png_bytep source, std::size_t size) {
    auto& state = *static_cast<PngState*>(png_get_io_ptr(png));
    try {
        (*state.sink)(std::as_bytes(std::span(source, size)));
        return;
    } catch (...) {
        state.failure = std::current_exception();
    }
    // Outside the handler: a jump out of it would never end it.
    png_error(png, "the file cannot be written");
}

void Flush(png_structp) {}

class PngReader {
public:
    explicit PngReader(std::span<std::byte const> file) {
        m_state.input = file;
        m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_state, OnError, OnWarning);
        m_info = m_png == nullptr ? nullptr : png_create_info_struct(m_png);
        if (m_info == nullptr) {
            png_destroy_read_struct(&m_png, nullptr, nullptr);
            throw std::bad_alloc();
        }
        png_set_read_fn(m_png, &m_state, ReadBytes);
    }
    ~PngReader() { png_destroy_read_struct(&m_png, &m_info, nullptr); }
    PngReader(PngReader const&) = delete;
    PngReader& operator=(PngReader const&) = delete;

    ImageInfo ReadInfo() {
        Run([this] {
            png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_set_chunk_malloc_max(m_png, c_maxChunkBytes);
            // All that is not asked for below. libpng takes the length of a chunk at its word, of sCAL without a limit.
            static constexpr png_byte c_unused[] = "tEXt\0zTXt\0iTXt\0sPLT\0hIST\0pCAL\0sCAL\0oFFs\0tIME\0bKGD\0sBIT\0";
            png_set_keep_unknown_chunks(m_png, PNG_HANDLE_CHUNK_NEVER, c_unused, 11);
            png_read_info(m_png, m_info);
        });
        ImageInfo info;
        info.width = png_get_image_width(m_png, m_info);
        info.height = png_get_image_height(m_png, m_info);
        m_depth = png_get_bit_depth(m_png, m_info);
        m_type = png_get_color_type(m_png, m_info);
        bool const hasTransparency = png_get_valid(m_png, m_info, PNG_INFO_tRNS) != 0;
        bool const isGrey = m_type == PNG_COLOR_TYPE_GRAY || m_type == PNG_COLOR_TYPE_GRAY_ALPHA;
        info.colourModel = isGrey ? ColourModel::Grey : ColourModel::RGB;
        info.hasAlpha = (m_type & PNG_COLOR_MASK_ALPHA) != 0 || hasTransparency;
        info.sampleFormat = m_depth == 16 ? SampleFormat::Integer16 : SampleFormat::Integer8;
        ReadColour(info);
        png_uint_32 x = 0;
        png_uint_32 y = 0;
        int unit = 0;
        if (png_get_pHYs(m_png, m_info, &x, &y, &unit) != 0 && unit == PNG_RESOLUTION_METER) {
            info.dpiX = ToDpi(x, c_metresPerInch, 1);
            info.dpiY = ToDpi(y, c_metresPerInch, 1);
        }
        png_bytep exif = nullptr;
        png_uint_32 exifSize = 0;
        if (png_get_eXIf_1(m_png, m_info, &exifSize, &exif) != 0)
            ReadExif(std::as_bytes(std::span(exif, exifSize)), info);
        return info;
    }

    // Compressed data cannot be so short as to claim this.
    void RequirePossible(ImageInfo const& info) const {
        std::uint64_t const rowBytes = (std::uint64_t{info.width} * png_get_channels(m_png, m_info) * m_depth + 7) / 8;
        // Interlacing adds a few partial bytes and filter bytes; this is the least without.
        if (rowBytes > m_state.input.size() * c_deflateExpansion ||
            (rowBytes + 1) * info.height > m_state.input.size() * c_deflateExpansion)
            ThrowCutShort();
    }

    void ReadRows(ImageInfo const& info, ImageReceiver& receiver) {
        auto const rowBytes = info.GetRowBytes();
        int passes = 1;
        Run([&] {
            png_set_expand(m_png);
            if (m_depth == 16 && std::endian::native == std::endian::little)
                png_set_swap(m_png);
            passes = png_set_interlace_handling(m_png);
            png_read_update_info(m_png, m_info);
            if (png_get_rowbytes(m_png, m_info) != rowBytes)
                png_error(m_png, "the rows have an unexpected length");
        });
        if (passes == 1) {
            std::vector<std::byte> row(rowBytes);
            for (std::uint32_t y = 0; y != info.height; ++y) {
                Run([&] { png_read_row(m_png, ToPng(row.data()), nullptr); });
                receiver.ReceiveRow(y, row);
            }
        } else {
            std::vector<std::byte> image(rowBytes * info.height);
            for (int pass = 0; pass != passes; ++pass)
                Run([&] {
                    for (std::uint32_t y = 0; y != info.height; ++y)
                        png_read_row(m_png, ToPng(image.data() + rowBytes * y), nullptr);
                });
            for (std::uint32_t y = 0; y != info.height; ++y)
                receiver.ReceiveRow(y, std::span(image).subspan(rowBytes * y, rowBytes));
        }
        // Behind the last row stand the checksum of the pixels and the end mark. They may be missing, not wrong.
        bool const isEnded = RunGuarded(m_state.target, [&] { png_read_end(m_png, nullptr); });
        if (!isEnded && !m_state.hasHitEnd)
            ThrowDamaged(m_state.message);
    }

private:
    static png_bytep ToPng(std::byte* bytes) { return reinterpret_cast<png_bytep>(bytes); }

    template <class F>
    void Run(F const& function) {
        if (RunGuarded(m_state.target, function))
            return;
        if (m_state.hasHitEnd)
            ThrowCutShort();
        ThrowDamaged(m_state.message);
    }

    void ReadColour(ImageInfo& info) {
        png_charp name = nullptr;
        png_bytep profile = nullptr;
        png_uint_32 size = 0;
        int compression = 0;
        int intent = 0;
        if (png_get_iCCP(m_png, m_info, &name, &compression, &profile, &size) != 0) {
            auto const bytes = std::as_bytes(std::span(profile, size));
            info.iccProfile.assign(bytes.begin(), bytes.end());
            return;
        }
        if (png_get_sRGB(m_png, m_info, &intent) != 0) {
            info.isSrgb = true;
            return;
        }
        double gamma = 0;
        if (png_get_gAMA(m_png, m_info, &gamma) == 0)
            return;
        info.encodingGamma = gamma;
        std::array<double, 8> c{};
        if (png_get_cHRM(m_png, m_info, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]) != 0)
            info.chromaticities = c;
    }

    PngState m_state;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    png_byte m_depth = 0;
    png_byte m_type = 0;
};

class PngWriter {
public:
    explicit PngWriter(ByteSink const& sink) {
        m_state.sink = &sink;
        m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_state, OnError, OnWarning);
        m_info = m_png == nullptr ? nullptr : png_create_info_struct(m_png);
        if (m_info == nullptr) {
            png_destroy_write_struct(&m_png, nullptr);
            throw std::bad_alloc();
        }
        png_set_write_fn(m_png, &m_state, WriteBytes, Flush);
    }
    ~PngWriter() { png_destroy_write_struct(&m_png, &m_info); }
    PngWriter(PngWriter const&) = delete;
    PngWriter& operator=(PngWriter const&) = delete;

    void WriteInfo(ImageInfo const& info) {
        bool const isGrey = info.colourModel == ColourModel::Grey;
        int const type =
            (isGrey ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB) | (info.hasAlpha ? PNG_COLOR_MASK_ALPHA : 0);
        int const depth = info.sampleFormat == SampleFormat::Integer16 ? 16 : 8;
        Run([&] {
            png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            // The sRGB profile that most files hold has a wrong white point, which libpng would refuse.
            png_set_option(m_png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
            png_set_IHDR(m_png, m_info, info.width, info.height, depth, type, PNG_INTERLACE_NONE,
                         PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            if (!info.iccProfile.empty())
                png_set_iCCP(m_png, m_info, "ICC profile", PNG_COMPRESSION_TYPE_BASE,
                             reinterpret_cast<png_const_bytep>(info.iccProfile.data()),
                             static_cast<png_uint_32>(info.iccProfile.size()));
            else if (info.isSrgb)
                png_set_sRGB(m_png, m_info, PNG_sRGB_INTENT_RELATIVE);
            if (info.dpiX > 0 && info.dpiY > 0)
                png_set_pHYs(m_png, m_info, ToPerMetre(info.dpiX), ToPerMetre(info.dpiY), PNG_RESOLUTION_METER);
        });
        // libpng drops a profile that it finds fault with.
        if (!info.iccProfile.empty() && png_get_valid(m_png, m_info, PNG_INFO_iCCP) == 0)
            throw Kernel::Exception("cannot be written as PNG: its colour profile does not fit");
        Run([&] { png_write_info(m_png, m_info); });
    }

    // Of the compressed pixels.
    void WriteData(std::span<std::byte const> bytes) {
        // The length of a chunk has 31 bits.
        constexpr std::size_t c_most = std::size_t{1} << 30;
        for (; !bytes.empty(); bytes = bytes.subspan(std::min(bytes.size(), c_most)))
            WriteChunk("IDAT", bytes.first(std::min(bytes.size(), c_most)));
    }

    void Finish() { WriteChunk("IEND", {}); }

private:
    static png_uint_32 ToPerMetre(double dpi) {
        return static_cast<png_uint_32>(std::lround(std::clamp(dpi / c_metresPerInch, 1.0, 1e9)));
    }

    void WriteChunk(char const* name, std::span<std::byte const> bytes) {
        Run([&] {
            png_write_chunk(m_png, reinterpret_cast<png_const_bytep>(name),
                            reinterpret_cast<png_const_bytep>(bytes.data()), bytes.size());
        });
    }

    template <class F>
    void Run(F const& function) {
        if (RunGuarded(m_state.target, function))
            return;
        if (m_state.failure != nullptr)
            std::rethrow_exception(m_state.failure);
        throw Kernel::Exception(std::string("cannot be written as PNG: ") + m_state.message);
    }

    PngState m_state;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
};

} // namespace

void DecodePng(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits) {
    PngReader reader(file);
    auto const info = reader.ReadInfo();
    RequireWithinLimits(info, limits, file.size());
    reader.RequirePossible(info);
    receiver.Begin(info);
    reader.ReadRows(info, receiver);
}

} // namespace Codec

void EncodePng(ImageInfo const& info, RowSource const& source, ByteSink const& sink) {
    bool const isPossible = (info.colourModel == ColourModel::RGB || info.colourModel == ColourModel::Grey) &&
                            info.sampleFormat != SampleFormat::Float32;
    if (!isPossible)
        throw Kernel::Exception("cannot be written as PNG: it is neither RGB nor grey with 8 or 16 bits");
    if (info.width == 0 || info.height == 0)
        throw Kernel::Exception("cannot be written as PNG: it has no pixels");
    Codec::PngWriter writer(sink);
    writer.WriteInfo(info);
    bool const hasWords = info.sampleFormat == SampleFormat::Integer16;
    Codec::PngStrips strips(info.GetRowBytes(), info.GetRowBytes() / info.width, info.height,
                            hasWords && std::endian::native == std::endian::little,
                            [&](std::span<std::byte const> bytes) { writer.WriteData(bytes); });
    for (std::uint32_t y = 0; y != info.height; ++y) {
        source(y, strips.GetRow());
        strips.Add();
    }
    writer.Finish();
}

} // namespace Raster
