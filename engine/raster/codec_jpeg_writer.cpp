// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <jpeglib.h>

namespace Raster {

namespace Codec {

namespace {

// From here on colours are stored as finely as brightness.
constexpr int c_fullColourQuality = 90;

struct JpegWriterState {
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    jpeg_destination_mgr destination{};
    std::jmp_buf target;
    char message[JMSG_LENGTH_MAX] = {};
    ByteSink const* sink = nullptr;
    JOCTET buffer[1 << 15];
    // The exception of the sink, which may not pass through the library.
    std::exception_ptr failure;
};

JpegWriterState& ToWriterState(void* clientData) { return *static_cast<JpegWriterState*>(clientData); }

void OnWriterError(j_common_ptr encoder) {
    auto& state = ToWriterState(encoder->client_data);
    encoder->err->format_message(encoder, state.message);
    std::longjmp(state.target, 1);
}

void OnWriterOutput(j_common_ptr) {}

bool Hand(JpegWriterState& state, std::size_t count) noexcept {
    try {
        (*state.sink)(std::as_bytes(std::span(state.buffer, count)));
        return true;
    } catch (...) {
        state.failure = std::current_exception();
        return false;
    }
}

void StartDestination(j_compress_ptr encoder) {
    auto& state = ToWriterState(encoder->client_data);
    state.destination.next_output_byte = state.buffer;
    state.destination.free_in_buffer = sizeof state.buffer;
}

boolean EmptyBuffer(j_compress_ptr encoder) {
    auto& state = ToWriterState(encoder->client_data);
    if (!Hand(state, sizeof state.buffer))
        std::longjmp(state.target, 1);
    StartDestination(encoder);
    return TRUE;
}

void EndDestination(j_compress_ptr encoder) {
    auto& state = ToWriterState(encoder->client_data);
    if (!Hand(state, sizeof state.buffer - state.destination.free_in_buffer))
        std::longjmp(state.target, 1);
}

class JpegWriter {
public:
    explicit JpegWriter(ByteSink const& sink) {
        auto& encoder = m_state.encoder;
        encoder.err = jpeg_std_error(&m_state.errors);
        m_state.errors.error_exit = OnWriterError;
        m_state.errors.output_message = OnWriterOutput;
        m_state.sink = &sink;
        encoder.client_data = &m_state;
        Run([&] { jpeg_create_compress(&encoder); });
        encoder.client_data = &m_state;
        m_state.destination.init_destination = StartDestination;
        m_state.destination.empty_output_buffer = EmptyBuffer;
        m_state.destination.term_destination = EndDestination;
        encoder.dest = &m_state.destination;
    }
    ~JpegWriter() { jpeg_destroy_compress(&m_state.encoder); }
    JpegWriter(JpegWriter const&) = delete;
    JpegWriter& operator=(JpegWriter const&) = delete;

    void Begin(ImageInfo const& info, int quality) {
        auto& encoder = m_state.encoder;
        encoder.image_width = info.width;
        encoder.image_height = info.height;
        encoder.input_components = static_cast<int>(info.GetChannelCount());
        encoder.in_color_space = info.colourModel == ColourModel::Grey  ? JCS_GRAYSCALE
                                 : info.colourModel == ColourModel::RGB ? JCS_RGB
                                                                        : JCS_CMYK;
        Run([&] {
            jpeg_set_defaults(&encoder);
            jpeg_set_quality(&encoder, quality, TRUE);
            encoder.dct_method = JDCT_ISLOW;
            // Tables made for the picture: some per cent smaller, for a second pass over its coefficients.
            encoder.optimize_coding = TRUE;
            if (quality >= c_fullColourQuality)
                encoder.comp_info[0].h_samp_factor = encoder.comp_info[0].v_samp_factor = 1;
            // Ink is marked and stored upside down, as programs expect it (Adobe Technical Note 5116).
            encoder.write_Adobe_marker = info.colourModel == ColourModel::CMYK ? TRUE : FALSE;
            if (info.dpiX > 0 && info.dpiY > 0) {
                encoder.density_unit = 1;
                encoder.X_density = ToDensity(info.dpiX);
                encoder.Y_density = ToDensity(info.dpiY);
            }
            jpeg_start_compress(&encoder, TRUE);
            if (!info.iccProfile.empty())
                jpeg_write_icc_profile(&encoder, reinterpret_cast<JOCTET const*>(info.iccProfile.data()),
                                       static_cast<unsigned>(info.iccProfile.size()));
        });
    }

    void WriteRow(std::span<std::byte> row) {
        auto* from = reinterpret_cast<JSAMPROW>(row.data());
        Run([&] { jpeg_write_scanlines(&m_state.encoder, &from, 1); });
    }

    void Finish() {
        Run([&] { jpeg_finish_compress(&m_state.encoder); });
    }

private:
    static UINT16 ToDensity(double dpi) { return static_cast<UINT16>(std::lround(std::clamp(dpi, 1.0, 65535.0))); }

    template <class F>
    void Run(F const& function) {
        if (RunGuarded(m_state.target, function))
            return;
        if (m_state.failure != nullptr)
            std::rethrow_exception(m_state.failure);
        throw Kernel::Exception(std::string("cannot be written as JPEG: ") + m_state.message);
    }

    JpegWriterState m_state;
};

} // namespace

} // namespace Codec

void EncodeJpeg(ImageInfo const& info, int quality, RowSource const& source, ByteSink const& sink) {
    if (info.hasAlpha || info.sampleFormat != SampleFormat::Integer8 || info.colourModel == ColourModel::Lab)
        throw Kernel::Exception("cannot be written as JPEG: it is no grey, RGB or CMYK of 8 bits without alpha");
    if (info.width == 0 || info.height == 0)
        throw Kernel::Exception("cannot be written as JPEG: it has no pixels");
    if (info.width > JPEG_MAX_DIMENSION || info.height > JPEG_MAX_DIMENSION)
        throw Kernel::Exception("cannot be written as JPEG: it has more than " + std::to_string(JPEG_MAX_DIMENSION) +
                                " pixels a side");
    if (quality < 1 || quality > 100)
        throw Kernel::Exception("cannot be written as JPEG: the quality is not from 1 to 100");
    Codec::JpegWriter writer(sink);
    writer.Begin(info, quality);
    bool const isInverted = info.colourModel == ColourModel::CMYK;
    std::vector<std::byte> row(info.GetRowBytes());
    for (std::uint32_t y = 0; y != info.height; ++y) {
        source(y, row);
        if (isInverted)
            std::ranges::transform(row, row.begin(), [](std::byte sample) { return ~sample; });
        writer.WriteRow(row);
    }
    writer.Finish();
}

} // namespace Raster
