// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <tiffio.h>

namespace Raster {

namespace Codec {

namespace {

constexpr std::uint64_t c_bigTiffSize = 0xE0000000;
constexpr std::size_t c_stripBytes = std::size_t{1} << 18;

struct WriterState {
    std::vector<std::byte> bytes;
    std::uint64_t position = 0;
    char message[200] = {};
};

WriterState& ToState(thandle_t handle) { return *static_cast<WriterState*>(handle); }

tmsize_t ReadBytes(thandle_t handle, void* target, tmsize_t size) {
    auto& state = ToState(handle);
    if (size <= 0 || state.position >= state.bytes.size())
        return 0;
    auto const count = std::min<std::uint64_t>(static_cast<std::uint64_t>(size), state.bytes.size() - state.position);
    std::memcpy(target, state.bytes.data() + state.position, count);
    state.position += count;
    return static_cast<tmsize_t>(count);
}

// Memory that runs out is a failed write to libtiff; nothing may be thrown through it.
tmsize_t WriteBytes(thandle_t handle, void* source, tmsize_t size) {
    auto& state = ToState(handle);
    auto const count = static_cast<std::size_t>(size);
    try {
        if (state.bytes.size() < state.position + count)
            state.bytes.resize(state.position + count);
    } catch (std::bad_alloc const&) {
        return -1;
    }
    std::memcpy(state.bytes.data() + state.position, source, count);
    state.position += count;
    return size;
}

toff_t Seek(thandle_t handle, toff_t offset, int whence) {
    auto& state = ToState(handle);
    state.position = offset + (whence == SEEK_CUR ? state.position : whence == SEEK_END ? state.bytes.size() : 0);
    return state.position;
}

int Close(thandle_t) { return 0; }
toff_t GetSize(thandle_t handle) { return ToState(handle).bytes.size(); }
int Map(thandle_t, void**, toff_t*) { return 0; }
void Unmap(thandle_t, void*, toff_t) {}

int OnError(TIFF*, void* user, char const*, char const* format, va_list arguments) {
    auto& state = *static_cast<WriterState*>(user);
    if (state.message[0] == 0)
        std::vsnprintf(state.message, sizeof state.message, format, arguments);
    return 1;
}

int OnWarning(TIFF*, void*, char const*, char const*, va_list) { return 1; }

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
struct FreeOptions {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

std::uint16_t ToPhotometric(ColourModel model) {
    switch (model) {
    case ColourModel::Grey:
        return PHOTOMETRIC_MINISBLACK;
    case ColourModel::CMYK:
        return PHOTOMETRIC_SEPARATED;
    case ColourModel::Lab:
        return PHOTOMETRIC_CIELAB;
    default:
        return PHOTOMETRIC_RGB;
    }
}

// TIFF's own Lab: a* and b* are signed, with 256 to a unit in 16 bits, and floats are not scaled.
void ConvertLabRow(ImageInfo const& info, std::span<std::byte> row) {
    auto const channels = info.GetChannelCount();
    for (std::size_t x = 0; x != info.width; ++x)
        for (std::size_t i = 0; i != 3; ++i) {
            auto* const place = row.data() + (x * channels + i) * info.GetSampleBytes();
            if (info.sampleFormat == SampleFormat::Integer8 && i != 0) {
                *place ^= std::byte{0x80};
            } else if (info.sampleFormat == SampleFormat::Integer16 && i != 0) {
                std::uint16_t value;
                std::memcpy(&value, place, sizeof value);
                value = static_cast<std::uint16_t>((value * 256U + 128U) / 257U ^ 0x8000U);
                std::memcpy(place, &value, sizeof value);
            } else if (info.sampleFormat == SampleFormat::Float32) {
                float value;
                std::memcpy(&value, place, sizeof value);
                value = i == 0 ? value * 100 : value * 255 - 128;
                std::memcpy(place, &value, sizeof value);
            }
        }
}

class TiffWriter {
public:
    explicit TiffWriter(ImageInfo const& info) : m_info(info) {
        std::unique_ptr<TIFFOpenOptions, FreeOptions> const options(TIFFOpenOptionsAlloc());
        if (options == nullptr)
            throw std::bad_alloc();
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, &m_state);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, &m_state);
        bool const isBig = std::uint64_t{info.GetRowBytes()} * info.height > c_bigTiffSize;
        // Little-endian on every machine.
        m_tiff.reset(TIFFClientOpenExt("image", isBig ? "wl8" : "wl", &m_state, ReadBytes, WriteBytes, Seek, Close,
                                       GetSize, Map, Unmap, options.get()));
        if (m_tiff == nullptr)
            Fail();
    }

    void SetFields() {
        auto const bits = static_cast<int>(8 * m_info.GetSampleBytes());
        bool const isFloat = m_info.sampleFormat == SampleFormat::Float32;
        Set(TIFFTAG_IMAGEWIDTH, m_info.width);
        Set(TIFFTAG_IMAGELENGTH, m_info.height);
        Set(TIFFTAG_BITSPERSAMPLE, bits);
        Set(TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(m_info.GetChannelCount()));
        Set(TIFFTAG_SAMPLEFORMAT, isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        Set(TIFFTAG_PHOTOMETRIC, static_cast<int>(ToPhotometric(m_info.colourModel)));
        Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        Set(TIFFTAG_ORIENTATION, static_cast<int>(m_info.orientation));
        Set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
        Set(TIFFTAG_PREDICTOR, isFloat ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL);
        auto const rows = std::max<std::size_t>(1, c_stripBytes / m_info.GetRowBytes());
        Set(TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(std::min<std::size_t>(rows, m_info.height)));
        if (m_info.hasAlpha) {
            std::uint16_t const kind = EXTRASAMPLE_UNASSALPHA;
            Set(TIFFTAG_EXTRASAMPLES, 1, &kind);
        }
        if (m_info.colourModel == ColourModel::CMYK)
            Set(TIFFTAG_INKSET, INKSET_CMYK);
        if (m_info.dpiX > 0 && m_info.dpiY > 0) {
            Set(TIFFTAG_XRESOLUTION, m_info.dpiX);
            Set(TIFFTAG_YRESOLUTION, m_info.dpiY);
            Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        }
        if (!m_info.iccProfile.empty())
            Set(TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(m_info.iccProfile.size()), m_info.iccProfile.data());
    }

    void WriteRow(std::uint32_t y, std::span<std::byte> row) {
        if (m_info.colourModel == ColourModel::Lab)
            ConvertLabRow(m_info, row);
        if (TIFFWriteScanline(m_tiff.get(), row.data(), y, 0) < 0)
            Fail();
    }

    std::vector<std::byte> Finish() {
        if (TIFFFlush(m_tiff.get()) == 0)
            Fail();
        m_tiff.reset();
        if (m_state.message[0] != 0)
            Fail();
        return std::move(m_state.bytes);
    }

private:
    [[noreturn]] void Fail() const {
        throw Kernel::Exception(std::string("cannot be written as TIFF: ") + m_state.message);
    }

    template <class... Values>
    void Set(std::uint32_t tag, Values... values) {
        if (TIFFSetField(m_tiff.get(), tag, values...) == 0)
            Fail();
    }

    ImageInfo const& m_info;
    WriterState m_state;
    std::unique_ptr<TIFF, CloseTiff> m_tiff;
};

} // namespace
} // namespace Codec

void EncodeTiff(ImageInfo const& info, RowSource const& source, ByteSink const& sink) {
    if (info.width == 0 || info.height == 0)
        throw Kernel::Exception("cannot be written as TIFF: it has no pixels");
    if (info.colourModel == ColourModel::AlphaOnly)
        throw Kernel::Exception("cannot be written as TIFF: it has no colour");
    Codec::TiffWriter writer(info);
    writer.SetFields();
    std::vector<std::byte> row(info.GetRowBytes());
    for (std::uint32_t y = 0; y != info.height; ++y) {
        source(y, row);
        writer.WriteRow(y, row);
    }
    sink(writer.Finish());
}

} // namespace Raster
