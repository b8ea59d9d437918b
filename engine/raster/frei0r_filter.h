// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/raster/plugin_process.h"
#include "platform/raster/conversion.h"
#include "platform/raster/filter_plugin.h"

#include <mutex>
#include <optional>

namespace Raster {

// One line for the log and for whom the program has put in charge.
void TellFilterPluginListener(std::string const& warning);

// A plug-in's description of itself, and its parameters.
struct Frei0rDescription {
    std::filesystem::path file;
    std::string name;
    int colourModel = 0;
    std::vector<PluginProtocol::Setting> settings;
};

// A picture as a plug-in takes it: 8-bit pixels of four bytes, sides multiples of 8, filled up with the nearest pixels.
class PluginPicture {
public:
    PluginPicture(int width, int height);
    std::uint32_t GetWidth() const { return static_cast<std::uint32_t>(m_width); }
    std::uint32_t GetHeight() const { return static_cast<std::uint32_t>(m_height); }
    std::vector<std::uint8_t>& GetBytes() { return m_pixels; }
    std::uint8_t* GetPixel(int x, int y) {
        return m_pixels.data() +
               (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x)) * 4;
    }
    // After `width` x `height` pixels have been written.
    void FillUp(int width, int height);
    void SwapRedAndBlue();

private:
    int m_width, m_height;
    std::vector<std::uint8_t> m_pixels;
};

// Runs a plug-in over one bitmap. Tiles are asked for from the first one on, and that one's buffer begins at the
// bitmap's corner: with it the plug-in gets all of the bitmap, so that what it makes of it has no edges inside, and the
// tiles are cut from its answer. A bitmap that is too large for that, or that it fails on, it gets tile by tile.
class Frei0rFilter final : public RasterFilterPlugin::Filter {
public:
    explicit Frei0rFilter(Frei0rDescription description);

    bool Configure(Format format, int width, int height) override;
    Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override;
    bool FilterOutput(Kernel::RectT<int> const& input, Kernel::RectT<int> const& output, void const* inputPixels,
                      void* outputPixels) override;

private:
    bool IsWholeDue(Kernel::RectT<int> const& output) const;
    void RunWhole(void const* inputPixels);
    std::optional<PluginPicture> Run(PluginPicture& in, std::size_t memoryBytes, std::chrono::milliseconds time);
    void Warn(char const* what);
    // The first `width` x `height` pixels of a raw buffer of a rectangle's size.
    PluginPicture Read(Kernel::RectT<int> const& bufferRect, void const* pixels, int width, int height) const;
    // A part of a picture to a raw buffer of the part's size.
    void Write(PluginPicture& picture, Kernel::PointT<int> from, Kernel::RectT<int> const& rect, void* pixels) const;

    Frei0rDescription m_description;
    FilterPluginLimits m_limits;
    FormatInfo m_info;
    Kernel::RectT<int> m_bounds;
    Kernel::Counted<PixelConverter const> m_in, m_out;
    std::mutex m_mutex;
    std::optional<PluginProcess> m_process;
    bool m_hasTriedWhole = false;
    std::optional<PluginPicture> m_whole;
    int m_failures = 0;
};

} // namespace Raster
