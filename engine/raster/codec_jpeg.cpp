// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/codec_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jpeglib.h>

#include <jerror.h>

namespace Raster::Codec {

namespace {

// A progressive file goes through the whole image once a scan. Encoders make about ten.
constexpr int c_maxScans = 100;

struct JpegState {
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    jpeg_source_mgr source{};
    jpeg_progress_mgr progress{};
    std::jmp_buf target;
    char message[JMSG_LENGTH_MAX] = {};
    bool hasHitEnd = false;
};

JpegState& ToState(j_common_ptr decoder) { return *static_cast<JpegState*>(decoder->client_data); }

void OnError(j_common_ptr decoder) {
    auto& state = ToState(decoder);
    decoder->err->format_message(decoder, state.message);
    std::longjmp(state.target, 1);
}

// The library goes on after damaged data, with grey or smeared blocks. Here the image ends. What is left are oddities
// around the pixels.
void OnMessage(j_common_ptr decoder, int level) {
    if (level >= 0)
        return;
    switch (decoder->err->msg_code) {
    case JWRN_HIT_MARKER:
    case JWRN_HUFF_BAD_CODE:
    case JWRN_ARITH_BAD_CODE:
    case JWRN_MUST_RESYNC:
    case JWRN_BOGUS_PROGRESSION:
        OnError(decoder);
        break;
    default:
        break;
    }
}

void OnOutput(j_common_ptr) {}

void OnProgress(j_common_ptr decoder) {
    auto const& state = ToState(decoder);
    if (state.decoder.input_scan_number > c_maxScans) {
        std::strcpy(ToState(decoder).message, "it has too many scans");
        std::longjmp(ToState(decoder).target, 1);
    }
}

void StartSource(j_decompress_ptr) {}
void EndSource(j_decompress_ptr) {}

// All bytes are there from the start. Behind them stands an end mark, as the library's manual advises.
boolean FillBuffer(j_decompress_ptr decoder) {
    static constexpr JOCTET c_endOfImage[] = {0xFF, JPEG_EOI};
    ToState(reinterpret_cast<j_common_ptr>(decoder)).hasHitEnd = true;
    decoder->src->next_input_byte = c_endOfImage;
    decoder->src->bytes_in_buffer = sizeof c_endOfImage;
    return TRUE;
}

void SkipBytes(j_decompress_ptr decoder, long count) {
    if (count <= 0)
        return;
    auto& source = *decoder->src;
    if (static_cast<std::size_t>(count) > source.bytes_in_buffer) {
        FillBuffer(decoder);
        return;
    }
    source.next_input_byte += count;
    source.bytes_in_buffer -= static_cast<std::size_t>(count);
}

class JpegReader {
public:
    explicit JpegReader(std::span<std::byte const> file) : m_fileSize(file.size()) {
        auto& decoder = m_state.decoder;
        decoder.err = jpeg_std_error(&m_state.errors);
        m_state.errors.error_exit = OnError;
        m_state.errors.emit_message = OnMessage;
        m_state.errors.output_message = OnOutput;
        decoder.client_data = &m_state;
        Run([&] { jpeg_create_decompress(&decoder); });
        decoder.client_data = &m_state;
        m_state.progress.progress_monitor = OnProgress;
        decoder.progress = &m_state.progress;
        m_state.source.init_source = StartSource;
        m_state.source.fill_input_buffer = FillBuffer;
        m_state.source.skip_input_data = SkipBytes;
        m_state.source.resync_to_restart = jpeg_resync_to_restart;
        m_state.source.term_source = EndSource;
        m_state.source.next_input_byte = reinterpret_cast<JOCTET const*>(file.data());
        m_state.source.bytes_in_buffer = file.size();
        decoder.src = &m_state.source;
    }
    ~JpegReader() { jpeg_destroy_decompress(&m_state.decoder); }
    JpegReader(JpegReader const&) = delete;
    JpegReader& operator=(JpegReader const&) = delete;

    ImageInfo ReadInfo() {
        auto& decoder = m_state.decoder;
        Run([&] {
            jpeg_save_markers(&decoder, JPEG_APP0 + 1, 0xFFFF);
            jpeg_save_markers(&decoder, JPEG_APP0 + 2, 0xFFFF);
            jpeg_read_header(&decoder, TRUE);
        });
        ImageInfo info;
        info.width = decoder.image_width;
        info.height = decoder.image_height;
        info.sampleFormat = SampleFormat::Integer8;
        switch (decoder.num_components) {
        case 1:
            info.colourModel = ColourModel::Grey;
            decoder.out_color_space = JCS_GRAYSCALE;
            break;
        case 3:
            info.colourModel = ColourModel::RGB;
            decoder.out_color_space = JCS_RGB;
            break;
        case 4:
            info.colourModel = ColourModel::CMYK;
            decoder.out_color_space = JCS_CMYK;
            break;
        default:
            throw Kernel::Exception("is a JPEG image with " + std::to_string(decoder.num_components) +
                                    " components, which is not supported");
        }
        if (decoder.saw_JFIF_marker && decoder.density_unit != 0) {
            double const scale = decoder.density_unit == 2 ? 2.54 : 1;
            info.dpiX = decoder.X_density * scale;
            info.dpiY = decoder.Y_density * scale;
        }
        ReadMarkers(info);
        return info;
    }

    // The least size of the pixels. Each block has one bit or more in Huffman coding; arithmetic coding has no such
    // floor.
    void RequirePossible(ImageLimits const& limits) const {
        auto const& decoder = m_state.decoder;
        std::uint64_t blocks = 0;
        for (int i = 0; i != decoder.num_components; ++i)
            blocks += std::uint64_t{decoder.comp_info[i].width_in_blocks} * decoder.comp_info[i].height_in_blocks;
        if (!decoder.arith_code && blocks / 8 > m_fileSize)
            ThrowCutShort();
        // All coefficients are kept until the last scan, in 16 bits each.
        bool const isKept = jpeg_has_multiple_scans(const_cast<j_decompress_ptr>(&decoder)) != 0;
        if (isKept && blocks * DCTSIZE2 * sizeof(JCOEF) > limits.bytes)
            throw Kernel::Exception("is too large: a JPEG image in several scans");
    }

    void ReadRows(ImageInfo const& info, ImageReceiver& receiver) {
        auto& decoder = m_state.decoder;
        decoder.dct_method = JDCT_ISLOW;
        Run([&] { jpeg_start_decompress(&decoder); });
        if (decoder.output_width != info.width || decoder.output_height != info.height ||
            static_cast<std::size_t>(decoder.output_components) != info.GetChannelCount())
            ThrowDamaged("the image does not have its size");
        // Adobe's programs write ink upside down, and mark what they write.
        bool const isInverted = info.colourModel == ColourModel::CMYK && decoder.saw_Adobe_marker;
        std::vector<std::byte> row(info.GetRowBytes());
        for (std::uint32_t y = 0; y != info.height; ++y) {
            auto* target = reinterpret_cast<JSAMPROW>(row.data());
            Run([&] { jpeg_read_scanlines(&decoder, &target, 1); });
            if (isInverted)
                std::ranges::transform(row, row.begin(), [](std::byte sample) { return ~sample; });
            if (y == 0)
                RequireComplete();
            receiver.ReceiveRow(y, row);
        }
        // The arithmetic decoder takes what is missing for zeros and does not say so.
        if (decoder.arith_code && m_state.hasHitEnd)
            ThrowCutShort();
    }

private:
    template <class F>
    void Run(F const& function) {
        if (RunGuarded(m_state.target, function))
            return;
        if (m_state.hasHitEnd)
            ThrowCutShort();
        ThrowDamaged(m_state.message);
    }

    void ReadMarkers(ImageInfo& info) {
        JOCTET* profile = nullptr;
        unsigned size = 0;
        bool hasProfile = false;
        Run([&] { hasProfile = jpeg_read_icc_profile(&m_state.decoder, &profile, &size) != 0; });
        if (hasProfile) {
            struct Release {
                JOCTET* bytes;
                ~Release() { std::free(bytes); }
            } const release{profile};
            auto const bytes = std::as_bytes(std::span(profile, size));
            info.iccProfile.assign(bytes.begin(), bytes.end());
        }
        for (auto const* marker = m_state.decoder.marker_list; marker != nullptr; marker = marker->next) {
            std::span const bytes(reinterpret_cast<std::byte const*>(marker->data), marker->data_length);
            if (marker->marker == JPEG_APP0 + 1 && bytes.size() > 6 && std::memcmp(bytes.data(), "Exif\0\0", 6) == 0) {
                ReadExif(bytes.subspan(6), info);
                break;
            }
        }
    }

    // A file of several scans is read to its end before the first row comes out, and a missing scan shows only here.
    void RequireComplete() const {
        auto const& decoder = m_state.decoder;
        bool const hasSeveralScans = jpeg_has_multiple_scans(const_cast<j_decompress_ptr>(&decoder)) != 0;
        if (!hasSeveralScans)
            return;
        for (int i = 0; i != decoder.num_components; ++i) {
            if (decoder.comp_info[i].quant_table == nullptr)
                ThrowCutShort();
            if (!decoder.progressive_mode || decoder.coef_bits == nullptr || !m_state.hasHitEnd)
                continue;
            for (int k = 0; k != DCTSIZE2; ++k)
                if (decoder.coef_bits[i][k] != 0)
                    ThrowCutShort();
        }
    }

    JpegState m_state;
    std::size_t m_fileSize;
};

} // namespace

void DecodeJpeg(std::span<std::byte const> file, ImageReceiver& receiver, ImageLimits const& limits) {
    JpegReader reader(file);
    auto const info = reader.ReadInfo();
    RequireWithinLimits(info, limits, file.size());
    reader.RequirePossible(limits);
    receiver.Begin(info);
    reader.ReadRows(info, receiver);
}

} // namespace Raster::Codec
