// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/counted.h"
#include "platform/kernel/geometry_values.h"
#include "platform/kernel/string.h"
#include "platform/raster/format.h"

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace Raster {

// How the raw pixels lie that a filter is lent: those of a DynamicBuffer. Planes one after another, rows padded to 64
// bytes.
struct FilterPixelLayout {
    std::size_t rowBytes;
    std::size_t planeBytes;
    static constexpr FilterPixelLayout Of(Format format, int width, int height) {
        auto const samples =
            static_cast<std::size_t>(width) * static_cast<std::size_t>(GetFormatInfo(format).sampleBytes);
        std::size_t const rowBytes = (samples + 63) / 64 * 64;
        return {rowBytes, rowBytes * static_cast<std::size_t>(height)};
    }
};

// A filter that comes from outside this library.
//
// The order of the virtual operations is part of the contract.
class REDRAFT_ENGINE RasterFilterPlugin : public virtual Kernel::Countable {
public:
    // An object of the plug-in that runs over one bitmap.
    class REDRAFT_ENGINE Filter {
    public:
        virtual ~Filter();
        virtual bool Configure(Format format, int width, int height) = 0;
        virtual Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) = 0;
        virtual bool FilterOutput(Kernel::RectT<int> const& input, Kernel::RectT<int> const& output,
                                  void const* inputPixels, void* outputPixels) = 0;
    };

    // Names the plug-in among all that are installed.
    virtual Kernel::String GetIdentifier() const = 0;
    // The name that people read.
    virtual Kernel::String GetName() const = 0;
    virtual std::unique_ptr<Filter> MakeFilter() const = 0;
    // Whether tiles may be filtered at the same time.
    virtual bool CanFilterInParallel() const = 0;

    // One run of a filter over a bitmap.
    class REDRAFT_ENGINE Session : public virtual Kernel::Countable {
    public:
        explicit Session(Kernel::Counted<RasterFilterPlugin> plugin);
        ~Session() override;
        // Once, before any tile: the format and size of the bitmap. False when the plug-in cannot take it.
        bool Configure(Format format, int width, int height) const;
        // The pixels that the plug-in needs to make those of `output`, both in pixels of the bitmap. May be empty.
        Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> output) const;
        // Makes the pixels of `output` from those of `input`, each lying as FilterPixelLayout says for its rectangle's
        // size; null where `input` is empty. False when the plug-in failed, which leaves the output as it was.
        bool FilterOutput(Kernel::RectT<int> input, Kernel::RectT<int> output, void* inputPixels,
                          void* outputPixels) const;

    private:
        Kernel::Counted<RasterFilterPlugin> m_plugin;
        std::unique_ptr<Filter> m_filter;
    };
};

// The resources that a plug-in may take, in a process of its own. One that takes more fails.
struct FilterPluginLimits {
    // For one tile, and for loading the plug-in. A bitmap that is worked on whole has more, by its size.
    std::chrono::milliseconds tileTime{10000};
    // Address space of the process beside that for the pixels; 0: without limit.
    std::size_t memoryBytes = std::size_t(1) << 30;
    // Bitmaps of more pixels are worked on tile by tile.
    std::uint64_t wholePixels = std::uint64_t(1) << 26;
    // After so many failures in one run the rest of the run's tiles fail at once.
    int failures = 3;
};
REDRAFT_ENGINE void SetFilterPluginLimits(FilterPluginLimits const& limits);
REDRAFT_ENGINE FilterPluginLimits GetFilterPluginLimits();

// Is told in one line of each failure of a plug-in while it filters; Kernel::Trace is in any case. Empty, as at first:
// nobody. Called by the thread that filters.
using FilterPluginListener = std::function<void(Kernel::String const& warning)>;
REDRAFT_ENGINE void SetFilterPluginListener(FilterPluginListener listener);

// The names of the frei0r filters in the folders that FREI0R_PATH names, or else in the usual ones; sorted.
REDRAFT_ENGINE std::vector<Kernel::String> ListFilterPlugins();
// A parameter of a plug-in by its name, in letters of any case, and what it is to be: true or false, a number, #rrggbb,
// two numbers of a position with a blank between them, or a text.
struct FilterPluginSetting {
    Kernel::String name;
    Kernel::String value;
};
// The plug-in of that name: the name of its file without the ending. It is run in a process of its own, in 8-bit RGBA
// whatever the format of the bitmap; it gets the bitmap whole, or tile by tile where the limits above or its failure
// keep it from that. Exception, in one line, when there is none, or it cannot be loaded, or is no filter, or has no
// such parameter.
REDRAFT_ENGINE Kernel::Counted<RasterFilterPlugin>
FindFilterPlugin(Kernel::String const& name, std::vector<FilterPluginSetting> const& settings = {});

} // namespace Raster
