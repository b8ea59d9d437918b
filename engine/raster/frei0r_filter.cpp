// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/frei0r_filter.h"

#include "engine/raster/interleave.h"
#include "platform/raster/tile.h"

#include <algorithm>

namespace Raster {

namespace {

constexpr int c_blueFirst = 0;
// Of the process for each pixel: the picture and its result, and what plug-ins keep of it themselves.
constexpr std::size_t c_processBytesPerPixel = 40;
// Of a tile's time, for each tile of a picture that is worked on whole.
constexpr int c_wholeShare = 64;

} // namespace

PluginPicture::PluginPicture(int width, int height)
    : m_width((width + 7) / 8 * 8),
      m_height((height + 7) / 8 * 8),
      m_pixels(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 4) {}

void PluginPicture::FillUp(int width, int height) {
    for (int y = 0; y != height; ++y) {
        for (int x = width; x != m_width; ++x)
            std::copy_n(GetPixel(width - 1, y), 4, GetPixel(x, y));
    }
    for (int y = height; y != m_height; ++y)
        std::copy_n(GetPixel(0, height - 1), static_cast<std::size_t>(m_width) * 4, GetPixel(0, y));
}

void PluginPicture::SwapRedAndBlue() {
    for (std::size_t i = 0; i != m_pixels.size(); i += 4)
        std::swap(m_pixels[i], m_pixels[i + 2]);
}

Frei0rFilter::Frei0rFilter(Frei0rDescription description)
    : m_description(std::move(description)), m_limits(GetFilterPluginLimits()) {}

bool Frei0rFilter::Configure(Format format, int width, int height) {
    if (!IsHandledFormat(format))
        return false;
    m_info = GetFormatInfo(format);
    m_in = PixelConverter::MakePlain(format, FormatRGBA8);
    m_out = PixelConverter::MakePlain(FormatRGBA8, format);
    m_bounds = {0, 0, width, height};
    return true;
}

bool Frei0rFilter::IsWholeDue(Kernel::RectT<int> const& output) const {
    auto const pixels = static_cast<std::uint64_t>(m_bounds.right) * static_cast<std::uint64_t>(m_bounds.bottom);
    return !m_hasTriedWhole && output.left == 0 && output.top == 0 && output != m_bounds &&
           pixels <= m_limits.wholePixels;
}

Kernel::RectT<int> Frei0rFilter::MeasureRequiredInput(Kernel::RectT<int> const& output) {
    std::lock_guard const lock(m_mutex);
    return IsWholeDue(output) ? m_bounds : output;
}

bool Frei0rFilter::FilterOutput(Kernel::RectT<int> const& input, Kernel::RectT<int> const& output,
                                void const* inputPixels, void* outputPixels) {
    std::lock_guard const lock(m_mutex);
    if (!m_in || m_failures >= m_limits.failures || output.IsEmpty())
        return false;
    if (input == m_bounds && IsWholeDue(output))
        RunWhole(inputPixels);
    if (m_whole) {
        Write(*m_whole, {output.left, output.top}, output, outputPixels);
        return true;
    }
    // Buffers begin at the tile's corner, whatever is around it.
    if (input.GetWidth() < output.GetWidth() || input.GetHeight() < output.GetHeight() ||
        m_failures >= m_limits.failures)
        return false;
    auto tile = Read(input, inputPixels, output.GetWidth(), output.GetHeight());
    auto result = Run(tile, m_limits.memoryBytes, m_limits.tileTime);
    if (!result) {
        Warn("failed on a tile");
        return false;
    }
    Write(*result, {0, 0}, output, outputPixels);
    return true;
}

void Frei0rFilter::RunWhole(void const* inputPixels) {
    m_hasTriedWhole = true;
    auto picture = Read(m_bounds, inputPixels, m_bounds.right, m_bounds.bottom);
    auto const pixels = picture.GetBytes().size() / 4;
    auto const tiles = static_cast<std::int64_t>(pixels / (c_tileSide * c_tileSide)) + 1;
    m_whole = Run(picture, m_limits.memoryBytes == 0 ? 0 : m_limits.memoryBytes + pixels * c_processBytesPerPixel,
                  m_limits.tileTime + m_limits.tileTime * tiles / c_wholeShare);
    // The next process is one for tiles.
    m_process.reset();
    if (!m_whole)
        Warn("failed on the whole picture");
}

std::optional<PluginPicture> Frei0rFilter::Run(PluginPicture& in, std::size_t memoryBytes,
                                               std::chrono::milliseconds time) {
    if (!m_process)
        m_process.emplace(m_description.file, memoryBytes, m_description.settings);
    bool const swaps = m_description.colourModel == c_blueFirst;
    if (swaps)
        in.SwapRedAndBlue();
    PluginPicture out(static_cast<int>(in.GetWidth()), static_cast<int>(in.GetHeight()));
    PluginProtocol::Response response{};
    PluginProtocol::Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Filter, in.GetWidth(),
                                          in.GetHeight()};
    if (!m_process->Ask(request, in.GetBytes().data(), in.GetBytes().size(), response, out.GetBytes().data(), time)) {
        m_process.reset();
        return std::nullopt;
    }
    if (response.status != PluginProtocol::Status::Done)
        return std::nullopt;
    if (swaps)
        out.SwapRedAndBlue();
    return out;
}

void Frei0rFilter::Warn(char const* what) {
    ++m_failures;
    bool const givesUp = m_failures == m_limits.failures;
    TellFilterPluginListener("the plug-in " + m_description.name + " " + what +
                             (givesUp ? " once more; the rest is left out" : ""));
}

PluginPicture Frei0rFilter::Read(Kernel::RectT<int> const& bufferRect, void const* pixels, int width,
                                 int height) const {
    auto const count = static_cast<std::size_t>(width);
    auto const layout = FilterPixelLayout::Of(m_info.format, bufferRect.GetWidth(), bufferRect.GetHeight());
    PluginPicture picture(width, height);
    std::vector<std::uint8_t> planes(count * 4);
    for (int y = 0; y != height; ++y) {
        void const* from[5] = {};
        void* to[4];
        for (std::size_t c = 0; c != static_cast<std::size_t>(m_info.channelCount); ++c)
            from[c] = static_cast<std::byte const*>(pixels) + c * layout.planeBytes +
                      static_cast<std::size_t>(y) * layout.rowBytes;
        for (std::size_t c = 0; c != 4; ++c)
            to[c] = planes.data() + c * count;
        m_in->Convert(from, to, count);
        InterleaveRow(to, 4, 1, count, picture.GetPixel(0, y));
    }
    picture.FillUp(width, height);
    return picture;
}

void Frei0rFilter::Write(PluginPicture& picture, Kernel::PointT<int> start, Kernel::RectT<int> const& rect,
                         void* pixels) const {
    auto const width = static_cast<std::size_t>(rect.GetWidth());
    auto const layout = FilterPixelLayout::Of(m_info.format, rect.GetWidth(), rect.GetHeight());
    std::vector<std::uint8_t> planes(width * 4);
    for (int y = 0; y != rect.GetHeight(); ++y) {
        void* from[4];
        void* to[5] = {};
        for (std::size_t c = 0; c != 4; ++c)
            from[c] = planes.data() + c * width;
        for (std::size_t c = 0; c != static_cast<std::size_t>(m_info.channelCount); ++c)
            to[c] =
                static_cast<std::byte*>(pixels) + c * layout.planeBytes + static_cast<std::size_t>(y) * layout.rowBytes;
        DeinterleaveRow(picture.GetPixel(start.x, start.y + y), 4, 1, width, from);
        m_out->Convert(from, to, width);
    }
}

} // namespace Raster
