// SPDX-License-Identifier: Apache-2.0
#include "raster/raster_plugin_filter_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/raster_documents.h"

namespace Commands {

namespace {

// Turns every byte into its complement; a plug-in that needs no file.
class ExamplePlugin final : public Raster::RasterFilterPlugin {
public:
    Kernel::String GetIdentifier() const override { return "example"; }
    Kernel::String GetName() const override { return "Example"; }
    bool CanFilterInParallel() const override { return true; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Negative>(); }

private:
    class Negative final : public Filter {
    public:
        bool Configure(Raster::Format format, int, int) override {
            m_format = format;
            return true;
        }
        Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override { return output; }
        bool FilterOutput(Kernel::RectT<int> const&, Kernel::RectT<int> const& output, void const* input,
                          void* result) override {
            auto const layout = Raster::FilterPixelLayout::Of(m_format, output.GetWidth(), output.GetHeight());
            std::size_t const count =
                layout.planeBytes * static_cast<std::size_t>(Raster::GetFormatInfo(m_format).channelCount);
            for (std::size_t i = 0; i != count; ++i)
                static_cast<std::uint8_t*>(result)[i] =
                    static_cast<std::uint8_t>(255 - static_cast<std::uint8_t const*>(input)[i]);
            return true;
        }

    private:
        Raster::Format m_format = Raster::FormatNone;
    };
};

} // namespace

static ExampleRegistration const s_rasterPluginFilterExample({
    .className = "RasterPluginFilterCommand",
    .prepare = ExampleDocuments::SelectedPixels,
    .make = [](auto&) { return Kernel::MakeCounted<RasterPluginFilterCommand>(Kernel::MakeCounted<ExamplePlugin>()); },
    .untold = {CommandExample::Untold::NodeData},
});

} // namespace Commands
