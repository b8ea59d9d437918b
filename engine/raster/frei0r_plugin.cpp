// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/interleave.h"
#include "engine/raster/plugin_process.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"
#include "platform/raster/conversion.h"
#include "platform/raster/filter_plugin.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <set>

namespace Raster {

namespace {

namespace fs = std::filesystem;
using PluginProtocol::Request;
using PluginProtocol::Response;
using PluginProtocol::Status;

constexpr int c_filterType = 0;
constexpr int c_blueFirst = 0;

// What a plug-in says of itself.
struct Description {
    fs::path file;
    std::string name;
    int colourModel = 0;
};

// One tile as a plug-in takes it: 8-bit pixels side by side, sides multiples of 8, filled up with the nearest pixels.
class TilePixels {
public:
    TilePixels(int width, int height)
        : m_width((width + 7) / 8 * 8),
          m_height((height + 7) / 8 * 8),
          m_pixels(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 4) {}
    std::uint32_t GetWidth() const { return static_cast<std::uint32_t>(m_width); }
    std::uint32_t GetHeight() const { return static_cast<std::uint32_t>(m_height); }
    std::vector<std::uint8_t>& GetBytes() { return m_pixels; }
    std::uint8_t* GetRow(int y) { return m_pixels.data() + static_cast<std::size_t>(y) * GetRowBytes(); }
    std::size_t GetRowBytes() const { return static_cast<std::size_t>(m_width) * 4; }

    // After `width` x `height` pixels have been written.
    void FillUp(int width, int height) {
        for (int y = 0; y != height; ++y) {
            auto* const row = GetRow(y);
            for (int x = width; x != m_width; ++x)
                std::copy_n(row + 4 * (width - 1), 4, row + 4 * x);
        }
        for (int y = height; y != m_height; ++y)
            std::copy_n(GetRow(height - 1), GetRowBytes(), GetRow(y));
    }
    void SwapRedAndBlue() {
        for (std::size_t i = 0; i != m_pixels.size(); i += 4)
            std::swap(m_pixels[i], m_pixels[i + 2]);
    }

private:
    int m_width, m_height;
    std::vector<std::uint8_t> m_pixels;
};

class Frei0rFilter final : public RasterFilterPlugin::Filter {
public:
    explicit Frei0rFilter(Description description)
        : m_description(std::move(description)), m_limits(GetFilterPluginLimits()) {}

    bool Configure(Format format, int, int) override {
        if (!IsHandledFormat(format))
            return false;
        m_info = GetFormatInfo(format);
        m_in = PixelConverter::MakePlain(format, FormatRGBA8);
        m_out = PixelConverter::MakePlain(FormatRGBA8, format);
        return true;
    }
    // It sees a tile and nothing around it.
    Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override { return output; }

    bool FilterOutput(Kernel::RectT<int> const& input, Kernel::RectT<int> const& output, void const* inputPixels,
                      void* outputPixels) override {
        std::lock_guard const lock(m_mutex);
        if (!m_in || input != output || m_failures >= m_limits.failures)
            return false;
        TilePixels in(input.GetWidth(), input.GetHeight()), out(input.GetWidth(), input.GetHeight());
        Read(input, inputPixels, in);
        if (!Run(in, out)) {
            Warn();
            return false;
        }
        Write(output, outputPixels, out);
        return true;
    }

private:
    bool Run(TilePixels& in, TilePixels& out) {
        if (!m_process)
            m_process.emplace(m_description.file, m_limits);
        bool const swaps = m_description.colourModel == c_blueFirst;
        if (swaps)
            in.SwapRedAndBlue();
        Response response{};
        Request const request{PluginProtocol::c_magic, PluginProtocol::Kind::Filter, in.GetWidth(), in.GetHeight()};
        if (!m_process->Ask(request, in.GetBytes().data(), in.GetBytes().size(), response, out.GetBytes().data())) {
            m_process.reset();
            return false;
        }
        if (swaps)
            out.SwapRedAndBlue();
        return response.status == Status::Done;
    }

    void Warn() {
        ++m_failures;
        bool const givesUp = m_failures == m_limits.failures;
        Kernel::Trace::Write(Kernel::String("the plug-in " + m_description.name + " failed on a tile" +
                                            (givesUp ? " once more; the rest is left out\r\n" : "\r\n")));
    }

    void Read(Kernel::RectT<int> const& rect, void const* pixels, TilePixels& tile) const {
        auto const width = static_cast<std::size_t>(rect.GetWidth());
        auto const layout = FilterPixelLayout::Of(m_info.format, rect.GetWidth(), rect.GetHeight());
        std::vector<std::uint8_t> planes(width * 4);
        for (int y = 0; y != rect.GetHeight(); ++y) {
            void const* from[5] = {};
            void* to[4];
            for (std::size_t c = 0; c != static_cast<std::size_t>(m_info.channelCount); ++c)
                from[c] = static_cast<std::byte const*>(pixels) + c * layout.planeBytes +
                          static_cast<std::size_t>(y) * layout.rowBytes;
            for (std::size_t c = 0; c != 4; ++c)
                to[c] = planes.data() + c * width;
            m_in->Convert(from, to, width);
            InterleaveRow(to, 4, 1, width, tile.GetRow(y));
        }
        tile.FillUp(rect.GetWidth(), rect.GetHeight());
    }

    void Write(Kernel::RectT<int> const& rect, void* pixels, TilePixels& tile) const {
        auto const width = static_cast<std::size_t>(rect.GetWidth());
        auto const layout = FilterPixelLayout::Of(m_info.format, rect.GetWidth(), rect.GetHeight());
        std::vector<std::uint8_t> planes(width * 4);
        for (int y = 0; y != rect.GetHeight(); ++y) {
            void* from[4];
            void* to[5] = {};
            for (std::size_t c = 0; c != 4; ++c)
                from[c] = planes.data() + c * width;
            for (std::size_t c = 0; c != static_cast<std::size_t>(m_info.channelCount); ++c)
                to[c] = static_cast<std::byte*>(pixels) + c * layout.planeBytes +
                        static_cast<std::size_t>(y) * layout.rowBytes;
            DeinterleaveRow(tile.GetRow(y), 4, 1, width, from);
            m_out->Convert(from, to, width);
        }
    }

    Description m_description;
    FilterPluginLimits m_limits;
    FormatInfo m_info;
    Kernel::Counted<PixelConverter const> m_in, m_out;
    std::mutex m_mutex;
    std::optional<PluginProcess> m_process;
    int m_failures = 0;
};

class Frei0rPlugin final : public RasterFilterPlugin {
public:
    explicit Frei0rPlugin(Description description) : m_description(std::move(description)) {}
    Kernel::String GetIdentifier() const override { return Kernel::String(m_description.file.stem().string()); }
    Kernel::String GetName() const override { return Kernel::String(m_description.name); }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Frei0rFilter>(m_description); }
    // One process filters one tile after another: plug-ins may keep something from picture to picture.
    bool CanFilterInParallel() const override { return false; }

private:
    Description m_description;
};

std::vector<fs::path> GetFolders() {
    std::vector<fs::path> folders;
    if (char const* const told = std::getenv("FREI0R_PATH")) {
        std::string_view rest = told;
        while (!rest.empty()) {
            auto const end = std::min(rest.find(':'), rest.size());
            if (end != 0)
                folders.emplace_back(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        return folders;
    }
    if (char const* const home = std::getenv("HOME"))
        folders.push_back(fs::path(home) / ".frei0r-1" / "lib");
    folders.emplace_back("/usr/local/lib/frei0r-1");
    folders.emplace_back("/usr/lib/frei0r-1");
    return folders;
}

} // namespace

std::vector<Kernel::String> ListFilterPlugins() {
    std::set<std::string> names;
    for (auto const& folder : GetFolders()) {
        std::error_code ignored;
        for (auto const& entry : fs::directory_iterator(folder, ignored)) {
            if (entry.path().extension() == ".so")
                names.insert(entry.path().stem().string());
        }
    }
    return {names.begin(), names.end()};
}

Kernel::Counted<RasterFilterPlugin> FindFilterPlugin(Kernel::String const& name) {
    std::string const text = name.ToStdString();
    Description description;
    if (!text.empty() && text.find('/') == std::string::npos) {
        for (auto const& folder : GetFolders()) {
            auto const file = folder / (text + ".so");
            std::error_code ignored;
            if (description.file.empty() && fs::is_regular_file(file, ignored))
                description.file = file;
        }
    }
    if (description.file.empty())
        throw Kernel::Exception("no plug-in is called \"" + text + "\"");
    Response response{};
    PluginProcess process(description.file, GetFilterPluginLimits());
    if (!process.Ask({PluginProtocol::c_magic, PluginProtocol::Kind::Describe, 0, 0}, nullptr, 0, response, nullptr) ||
        response.status != Status::Done)
        throw Kernel::Exception("the plug-in \"" + text + "\" cannot be loaded");
    if (response.type != c_filterType)
        throw Kernel::Exception("the plug-in \"" + text + "\" is no filter of one picture");
    description.name = response.name[0] == 0 ? text : response.name;
    // Names are in no stated encoding.
    std::replace_if(
        description.name.begin(), description.name.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    description.colourModel = response.colourModel;
    return Kernel::MakeCounted<Frei0rPlugin>(std::move(description));
}

} // namespace Raster
