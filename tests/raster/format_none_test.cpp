// SPDX-License-Identifier: Apache-2.0
// A layer of the format that nothing handles: every effect leaves it alone without an error, and goes on to the next.
#include "platform/document/history.h"
#include "raster/raster_plugin_filter_command.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "tests/raster/layer_fixture.h"

#include <functional>

namespace {

using namespace Commands;
using Judge::Planes;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;

// Clears whatever it gets, and counts the bitmaps.
class ClearingPlugin final : public Raster::RasterFilterPlugin {
public:
    Kernel::String GetIdentifier() const override { return "clearing"; }
    Kernel::String GetName() const override { return "Clearing"; }
    bool CanFilterInParallel() const override { return false; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Clearing>(*this); }
    mutable int bitmaps = 0;

private:
    class Clearing final : public Filter {
    public:
        explicit Clearing(ClearingPlugin const& plugin) : m_plugin(plugin) {}
        bool Configure(Raster::Format, int, int) override {
            ++m_plugin.bitmaps;
            return true;
        }
        Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override { return output; }
        bool FilterOutput(Kernel::RectT<int> const&, Kernel::RectT<int> const&, void const*, void*) override {
            return true;
        }

    private:
        ClearingPlugin const& m_plugin;
    };
};

Kernel::Counted<ClearingPlugin> const& Plugin() {
    static auto const s_plugin = Kernel::MakeCounted<ClearingPlugin>();
    return s_plugin;
}

struct Effect {
    char const* name;
    std::function<Kernel::Counted<DocumentCommand>()> make;
};

class FormatNone : public testing::TestWithParam<Effect> {};

// How pixels are selected, and which channels.
void Select(DocumentController& controller, int kind) {
    using A8 = Raster::FormatTraits<Raster::FormatA8>;
    if (kind == 1)
        controller.SetRasterSelection(SelectionRasterNode::CreateAll());
    if (kind == 2)
        controller.SetRasterSelection(SelectionRasterNode::CreateMask(MakeSoftMask<A8>(50, 40, 2), {1, 0, 3, 0, 1, 4}));
    if (kind == 3)
        controller.SetChannelMask(3);
}

TEST_P(FormatNone, IsLeftAloneWithoutAnError) {
    for (int kind = 0; kind != 4; ++kind) {
        SCOPED_TRACE(kind);
        auto const empty = Kernel::MakeCounted<Raster::DynamicBitmap>();
        ASSERT_EQ(Raster::FormatNone, empty->GetFormat());
        LayerDocument document(empty);
        Select(*document.controller, kind);
        auto const hash = document.controller->GetHash(false);
        Plugin()->bitmaps = 0;
        EXPECT_NO_THROW(document.controller->Run(GetParam().make()));
        EXPECT_EQ(empty, document.layer->GetBitmap());
        EXPECT_EQ(hash, document.controller->GetHash(false));
        EXPECT_EQ(0, Plugin()->bitmaps);
        Kernel::NotificationList told;
        document.controller->GetHistory()->GetCommand(0)->NotifyWithCacheUpdates(told);
        EXPECT_TRUE(told.empty()) << "nothing is to be painted again";
        document.controller->Undo();
        document.controller->Redo();
        EXPECT_EQ(hash, document.controller->GetHash(false));
    }
}

TEST_P(FormatNone, KeepsNoOtherLayerFromItsEffect) {
    for (int kind = 0; kind != 4; ++kind) {
        SCOPED_TRACE(kind);
        LayerDocument alone(Judge::RandomBitmap<RGBA8>(60, 50, 1));
        LayerDocument both(Judge::RandomBitmap<RGBA8>(60, 50, 1));
        auto const none = Kernel::MakeCounted<RasterNode>();
        none->SetBitmap(Kernel::MakeCounted<Raster::DynamicBitmap>());
        ExampleDocuments::Append(*both.controller->GetCurrentSpread(), none);
        ExampleDocuments::Select(*both.controller, {none, both.layer});
        auto const before = both.Read<RGBA8>();
        for (auto* document : {&alone, &both}) {
            Select(*document->controller, kind);
            document->controller->Run(GetParam().make());
        }
        EXPECT_EQ(0u, Judge::CountDifferent(alone.Read<RGBA8>(), both.Read<RGBA8>()));
        EXPECT_NE(0u, Judge::CountDifferent(before, both.Read<RGBA8>()));
        both.controller->Undo();
        EXPECT_EQ(0u, Judge::CountDifferent(before, both.Read<RGBA8>()));
    }
}

Effect const c_effects[] = {
    {"Solarise", [] { return Kernel::MakeCounted<RasterSolariseCommand>(); }},
    {"Dither", [] { return Kernel::MakeCounted<RasterWebSafeDitherCommand>(); }},
    {"PolarToRectangular", [] { return Kernel::MakeCounted<RasterPolarToRectangularCommand>(); }},
    {"RectangularToPolar", [] { return Kernel::MakeCounted<RasterRectangularToPolarCommand>(); }},
    {"Plugin", [] { return Kernel::MakeCounted<RasterPluginFilterCommand>(Plugin()); }},
};

std::string NameOf(testing::TestParamInfo<Effect> const& effect) { return effect.param.name; }

INSTANTIATE_TEST_SUITE_P(Effects, FormatNone, testing::ValuesIn(c_effects), NameOf);

} // namespace
