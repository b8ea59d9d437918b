// SPDX-License-Identifier: Apache-2.0
#include "shell/picture.h"

#include "platform/document/damaged_bitmaps.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/codec.h"
#include "shell/failure.h"
#include "shell/interrupt.h"
#include "shell/progress.h"
#include "shell/session.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Shell {

namespace {

// Rows made at a time: enough for all threads, and so that few outlines reach over two bands.
constexpr int c_bandRows = 1024;
constexpr std::size_t c_bandBytes = std::size_t{32} << 20;

Raster::SampleFormat GetSampleFormat(Raster::FormatInfo const& format) {
    if (format.isFloat)
        return Raster::SampleFormat::Float32;
    return format.sampleBytes == 2 ? Raster::SampleFormat::Integer16 : Raster::SampleFormat::Integer8;
}

// PNG has neither ink nor Lab nor floats.
Raster::Format GetPngFormat(Raster::Format format) {
    switch (format) {
    case Raster::FormatIA8:
    case Raster::FormatIA16:
    case Raster::FormatRGBA8:
        return format;
    case Raster::FormatCMYKA8:
        return Raster::FormatRGBA8;
    default:
        return Raster::FormatRGBA16;
    }
}

template <class Sample, std::size_t Channels>
void CopyPixels(void const* const* planes, std::size_t width, std::byte* row) {
    Sample const* from[Channels];
    for (std::size_t channel = 0; channel != Channels; ++channel)
        from[channel] = static_cast<Sample const*>(planes[channel]);
    for (std::size_t x = 0; x != width; ++x) {
        Sample pixel[Channels];
        for (std::size_t channel = 0; channel != Channels; ++channel)
            pixel[channel] = from[channel][x];
        std::memcpy(row + x * sizeof pixel, pixel, sizeof pixel);
    }
}

template <class Sample>
void CopySamples(void const* const* planes, std::size_t channels, std::size_t width, std::byte* row) {
    switch (channels) {
    case 1:
        return CopyPixels<Sample, 1>(planes, width, row);
    case 2:
        return CopyPixels<Sample, 2>(planes, width, row);
    case 3:
        return CopyPixels<Sample, 3>(planes, width, row);
    case 4:
        return CopyPixels<Sample, 4>(planes, width, row);
    default:
        return CopyPixels<Sample, 5>(planes, width, row);
    }
}

// One row of a buffer in an encoder's order: the channels of a pixel beside each other. Alpha is left out of rows that
// have no place for it.
void CopyRow(Raster::BufferBase const& from, int line, std::span<std::byte> row) {
    auto const sampleBytes = static_cast<std::size_t>(from.GetInfo().sampleBytes);
    auto const width = static_cast<std::size_t>(from.GetWidth());
    auto const channels = row.size() / (sampleBytes * width);
    void const* planes[5]{};
    for (std::size_t channel = 0; channel != channels; ++channel)
        planes[channel] = from.GetRow(static_cast<int>(channel), line);
    if (sampleBytes == 1)
        CopySamples<std::uint8_t>(planes, channels, width, row.data());
    else if (sampleBytes == 2)
        CopySamples<std::uint16_t>(planes, channels, width, row.data());
    else
        CopySamples<float>(planes, channels, width, row.data());
}

// Rows for an encoder, which asks for one at a time, from a target that makes them by bands.
class Rows {
public:
    Rows(Renderer::RasterRenderTarget const& target, ProgressBar& progress)
        : m_target(target), m_options(target.GetOptions()), m_progress(progress) {}

    void Get(std::uint32_t y, std::span<std::byte> row) {
        auto const line = static_cast<int>(y);
        if (!m_band || line >= m_bandStart + m_band->GetHeight())
            Render(line);
        CopyRow(*m_band, line - m_bandStart, row);
    }

private:
    int GetBandRows() const {
        auto const format = Raster::GetFormatInfo(m_options.format);
        auto const rowBytes = static_cast<std::size_t>(m_options.width) *
                              static_cast<std::size_t>(format.sampleBytes * format.channelCount);
        return std::clamp(static_cast<int>(c_bandBytes / rowBytes), 1, c_bandRows);
    }

    void Render(int line) {
        m_bandStart = line;
        int const end = std::min(line + GetBandRows(), m_options.height);
        m_band = m_target.Render({0, line, m_options.width, end});
        m_progress.Update(static_cast<float>(end) / static_cast<float>(m_options.height));
    }

    Renderer::RasterRenderTarget const& m_target;
    Renderer::RasterOptions const& m_options;
    ProgressBar& m_progress;
    Kernel::Counted<Raster::BufferBase> m_band;
    int m_bandStart = 0;
};

// The picture, unless some of its pixels cannot be read: Kernel::DamagedDataException.
void WriteSound(OutputFiles& files, std::string const& path, PictureKind kind, SpreadNode const& spread,
                SpreadPictureOptions const& options) {
    ProgressBar progress("Render");
    auto const target = MakeSpreadPicture(spread, options);
    auto const format = Raster::GetFormatInfo(options.format);
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(target->GetOptions().width);
    info.height = static_cast<std::uint32_t>(target->GetOptions().height);
    info.colourModel = format.colourModel;
    // Nothing shows through an opaque background.
    info.hasAlpha = options.background.GetAlpha() < 1;
    info.sampleFormat = GetSampleFormat(format);
    info.dpiX = info.dpiY = c_unitsPerInch * options.scale;
    info.isSrgb = format.colourModel == Raster::ColourModel::RGB;
    Rows rows(*target, progress);
    files.Begin(path);
    auto const source = [&](std::uint32_t y, std::span<std::byte> row) { rows.Get(y, row); };
    auto const sink = [&](std::span<std::byte const> bytes) { files.Write(bytes); };
    // Pixels that cannot be read are the document's matter, the rest is the picture's.
    try {
        if (kind == PictureKind::Png)
            Raster::EncodePng(info, source, sink);
        else
            Raster::EncodeTiff(info, source, sink);
    } catch (Kernel::DamagedDataException const&) {
        throw;
    } catch (...) {
        RethrowAsFailure(ExitStatus::Output, path);
    }
    files.End();
}

} // namespace

bool IsPageFormat(Raster::Format format) {
    return Raster::IsHandledFormat(format) &&
           Raster::GetFormatInfo(format).colourModel != Raster::ColourModel::AlphaOnly;
}

void WritePicture(OutputFiles& files, std::string const& path, PictureKind kind, SpreadNode const& spread,
                  SpreadPictureOptions options, std::string const& subject) {
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    options.abort = &abort;
    if (kind == PictureKind::Png)
        options.format = GetPngFormat(options.format);
    try {
        WriteSound(files, path, kind, spread, options);
        return;
    } catch (Kernel::DamagedDataException const&) {
        files.Abandon();
        for (auto const& damaged : FindDamagedBitmaps(spread, &abort)) {
            Session::Note(subject, "left out: " + GetLayerName(*damaged.node).ToStdString() + ": " +
                                       damaged.reason.ToStdString());
            options.leftOut.push_back(damaged.node);
        }
    } catch (...) {
        RethrowAsFailure(ExitStatus::Input, subject);
    }
    Guarded(ExitStatus::Input, subject, [&] { WriteSound(files, path, kind, spread, options); });
}

bool WriteOwnPicture(OutputFiles& files, std::string const& path, PictureKind kind, OwnPicture const& picture) {
    bool abort = false;
    Interrupt::Scope const interrupt(&abort);
    Raster::ImageFileOptions options;
    options.type = kind == PictureKind::Png ? Raster::ImageFileType::Png : Raster::ImageFileType::Tiff;
    options.dpiX = picture.dpiX;
    options.dpiY = picture.dpiY;
    options.dropOpaqueAlpha = true;
    options.abort = &abort;
    try {
        auto upright = picture.bitmap;
        if (picture.orientation != Raster::Orientation::TopLeft)
            upright = Raster::MakeUpright(*picture.bitmap, picture.orientation);
        files.Begin(path);
        Raster::EncodeBitmap(*upright, options, [&](std::span<std::byte const> bytes) { files.Write(bytes); });
    } catch (Kernel::DamagedDataException const&) {
        files.Abandon();
        return false;
    } catch (...) {
        RethrowAsFailure(ExitStatus::Output, path);
    }
    files.End();
    return true;
}

void WritePixels(OutputFiles& files, std::string const& path, Raster::BufferRGBA8 const& pixels) {
    Raster::ImageInfo info;
    info.width = static_cast<std::uint32_t>(pixels.GetWidth());
    info.height = static_cast<std::uint32_t>(pixels.GetHeight());
    info.colourModel = Raster::ColourModel::RGB;
    info.hasAlpha = true;
    info.sampleFormat = Raster::SampleFormat::Integer8;
    info.isSrgb = true;
    files.Begin(path);
    Guarded(ExitStatus::Output, path, [&] {
        Raster::EncodePng(
            info, [&](std::uint32_t y, std::span<std::byte> row) { CopyRow(pixels, static_cast<int>(y), row); },
            [&](std::span<std::byte const> bytes) { files.Write(bytes); });
    });
    files.End();
}

} // namespace Shell
