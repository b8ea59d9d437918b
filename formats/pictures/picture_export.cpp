// SPDX-License-Identifier: Apache-2.0
#include "formats/pictures/picture_export.h"

#include "formats/pictures/own_pixels.h"
#include "formats/work.h"
#include "platform/document/damaged_bitmaps.h"
#include "platform/document/document_renderer.h"
#include "platform/raster/bitmap_image.h"
#include "platform/raster/codec.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Formats {

namespace {

// Rows made at a time: enough for all threads, and so that few outlines reach over two bands.
constexpr int c_bandRows = 1024;
constexpr std::size_t c_bandBytes = std::size_t{32} << 20;

Raster::SampleFormat GetSampleFormat(Raster::FormatInfo const& format) {
    if (format.isFloat)
        return Raster::SampleFormat::Float32;
    return format.sampleBytes == 2 ? Raster::SampleFormat::Integer16 : Raster::SampleFormat::Integer8;
}

Raster::ImageFileType GetFileType(ExportFormat kind) {
    switch (kind) {
    case ExportFormat::Png:
        return Raster::ImageFileType::Png;
    case ExportFormat::Jpeg:
        return Raster::ImageFileType::Jpeg;
    default:
        return Raster::ImageFileType::Tiff;
    }
}

// A document of masks alone has no colours to show, and is drawn in some that files have.
Raster::Format GetDrawnFormat(ExportFormat kind, Raster::Format format) {
    if (kind == ExportFormat::Tiff)
        return format;
    bool const isMask = Raster::GetFormatInfo(format).colourModel == Raster::ColourModel::AlphaOnly;
    return Raster::ChooseFileFormat(isMask ? Raster::FormatRGBA16 : format, GetFileType(kind));
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
    Rows(Renderer::RasterRenderTarget const& target, Work const& work)
        : m_target(target), m_options(target.GetOptions()), m_work(work) {}

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
        m_work.Update(static_cast<float>(end) / static_cast<float>(m_options.height));
    }

    Renderer::RasterRenderTarget const& m_target;
    Renderer::RasterOptions const& m_options;
    Work const& m_work;
    Kernel::Counted<Raster::BufferBase> m_band;
    int m_bandStart = 0;
};

// The picture, unless some of its pixels cannot be read: Kernel::DamagedDataException.
void WriteSound(ExportFormat kind, int quality, Output& output, SpreadNode const& spread,
                SpreadPictureOptions const& options, Work const& work) {
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
    auto const& profile = target->GetOptions().profiles.Get(format.colourModel);
    bool const isDefault = profile == Raster::ICCManager::GetInstance().GetDefaultProfile(format.colourModel);
    info.isSrgb = isDefault && format.colourModel == Raster::ColourModel::RGB;
    if (profile && !isDefault)
        info.iccProfile.assign(profile->GetData().begin(), profile->GetData().end());
    Rows rows(*target, work);
    output.Begin();
    auto const source = [&](std::uint32_t y, std::span<std::byte> row) { rows.Get(y, row); };
    auto const sink = [&](std::span<std::byte const> bytes) { output.Write(bytes); };
    if (kind == ExportFormat::Png)
        Raster::EncodePng(info, source, sink);
    else if (kind == ExportFormat::Jpeg)
        Raster::EncodeJpeg(info, quality, source, sink);
    else
        Raster::EncodeTiff(info, source, sink);
}

void DrawPicture(ExportFormat kind, int quality, Output& output, SpreadNode const& spread, SpreadPictureOptions options,
                 Work const& work, Report& report) {
    options.abort = work.abort;
    options.format = GetDrawnFormat(kind, options.format);
    try {
        WriteSound(kind, quality, output, spread, options, work);
        return;
    } catch (Kernel::DamagedDataException const&) {
        for (auto const& damaged : FindDamagedBitmaps(spread, work.abort)) {
            report.notes.push_back(
                {Note::Kind::Damaged, GetLayerName(*damaged.node).ToStdString() + ": " + damaged.reason.ToStdString()});
            options.leftOut.push_back(damaged.node);
        }
    }
    WriteSound(kind, quality, output, spread, options, work);
}

// False: pixels of the picture are damaged.
bool WriteOwnPicture(ExportFormat kind, int quality, Output& output, OwnPicture const& picture,
                     Raster::ICCProfileSet const& profiles, Work const& work) {
    Raster::ImageFileOptions options;
    options.type = GetFileType(kind);
    options.quality = quality;
    options.dpiX = picture.dpiX;
    options.dpiY = picture.dpiY;
    options.dropOpaqueAlpha = true;
    options.abort = work.abort;
    try {
        auto upright = Raster::WithProfileOf(picture.bitmap, profiles);
        if (picture.orientation != Raster::Orientation::TopLeft)
            upright = Raster::MakeUpright(*upright, picture.orientation);
        output.Begin();
        Raster::EncodeBitmap(*upright, options, [&](std::span<std::byte const> bytes) { output.Write(bytes); });
    } catch (Kernel::DamagedDataException const&) {
        return false;
    }
    return true;
}

bool IsSoundAndOpaque(Raster::DynamicBitmap const& bitmap) {
    try {
        return Raster::IsOpaque(bitmap);
    } catch (Kernel::DamagedDataException const&) {
        return false;
    }
}

Kernel::RectT<double> GetBounds(std::vector<Kernel::Counted<Node>> const& nodes) {
    Kernel::RectT<double> area;
    for (auto const& node : nodes)
        area = area.United(node->GetBounds(true));
    if (area.IsEmpty())
        throw Kernel::Exception("the selection draws nothing");
    return area;
}

// Out to whole pixels, counted from the spread's origin.
Kernel::RectT<double> GetWholePixels(Kernel::RectT<double> const& area, double scale) {
    // An edge within a millionth of a pixel of the grid lies on it.
    auto const down = [&](double x) { return std::floor(x * scale + 1e-6) / scale; };
    auto const up = [&](double x) { return std::ceil(x * scale - 1e-6) / scale; };
    return {down(area.left), down(area.top), up(area.right), up(area.bottom)};
}

} // namespace

void ExportPicture(DocumentController& document, ExportFormat format, Output& output, ExportOptions const& wanted,
                   Report& report) {
    Kernel::Counted<SpreadNode const> const spread =
        wanted.spread ? wanted.spread : Kernel::Counted<SpreadNode>(document.GetCurrentSpread());
    Work const work{wanted.progress, wanted.abort};
    SpreadPictureOptions options;
    options.format = wanted.pixelFormat.value_or(document.GetDocument()->GetFormat());
    options.nodes.assign(wanted.nodes.begin(), wanted.nodes.end());
    auto const area = wanted.nodes.empty() ? spread->GetBaseBox(true) : GetBounds(wanted.nodes);
    if (wanted.scale) {
        options.scale = *wanted.scale;
    } else {
        auto tops = options.nodes;
        if (tops.empty())
            tops.emplace_back(spread);
        auto const own = FindOwnPixels(tops, area);
        // JPEG has no alpha: what is below it is drawn.
        bool const isTaken = own.picture && !wanted.background &&
                             (format != ExportFormat::Jpeg || IsSoundAndOpaque(*own.picture->bitmap));
        if (isTaken && WriteOwnPicture(format, wanted.quality, output, *own.picture, document.GetProfiles(), work))
            return;
        options.scale = own.scale.value_or(1);
    }
    if (!wanted.nodes.empty()) {
        options.area = GetWholePixels(area, options.scale);
        if (format != ExportFormat::Jpeg)
            options.background = options.background.WithAlpha(0);
    }
    if (wanted.background)
        options.background = *wanted.background;
    if (format == ExportFormat::Jpeg && options.background.GetAlpha() < 1)
        throw Kernel::Exception("a JPEG picture cannot be transparent: the background has to be opaque");
    DrawPicture(format, wanted.quality, output, *spread, options, work, report);
}

} // namespace Formats
