// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/filter_plugin.h"

#include "engine/raster/frei0r_filter.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"

#include <mutex>

namespace Raster {

namespace {

std::mutex s_limitsMutex;
FilterPluginLimits s_limits;
FilterPluginListener s_listener;

} // namespace

RasterFilterPlugin::Filter::~Filter() = default;

RasterFilterPlugin::Session::Session(Kernel::Counted<RasterFilterPlugin> plugin) : m_plugin(std::move(plugin)) {
    if (!m_plugin)
        throw Kernel::Exception("there is no plug-in to run");
    m_filter = m_plugin->MakeFilter();
}

RasterFilterPlugin::Session::~Session() = default;

bool RasterFilterPlugin::Session::Configure(Format format, int width, int height) const {
    return m_filter->Configure(format, width, height);
}

Kernel::RectT<int> RasterFilterPlugin::Session::MeasureRequiredInput(Kernel::RectT<int> output) const {
    return m_filter->MeasureRequiredInput(output);
}

bool RasterFilterPlugin::Session::FilterOutput(Kernel::RectT<int> input, Kernel::RectT<int> output, void* inputPixels,
                                               void* outputPixels) const {
    return m_filter->FilterOutput(input, output, inputPixels, outputPixels);
}

void SetFilterPluginLimits(FilterPluginLimits const& limits) {
    std::lock_guard const lock(s_limitsMutex);
    s_limits = limits;
}

void SetFilterPluginListener(FilterPluginListener listener) {
    std::lock_guard const lock(s_limitsMutex);
    s_listener = std::move(listener);
}

void TellFilterPluginListener(std::string const& warning) {
    Kernel::Trace::Write(Kernel::String(warning + "\r\n"));
    FilterPluginListener listener;
    {
        std::lock_guard const lock(s_limitsMutex);
        listener = s_listener;
    }
    if (listener)
        listener(Kernel::String(warning));
}

FilterPluginLimits GetFilterPluginLimits() {
    std::lock_guard const lock(s_limitsMutex);
    return s_limits;
}

} // namespace Raster
