// SPDX-License-Identifier: Apache-2.0
#include "platform/document/history.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"
#include "raster/raster_plugin_filter_command.h"
#include "raster/tile_filter.h"
#include "tests/raster/layer_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

namespace {

using namespace Commands;
using Judge::Params;
using Judge::Planes;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;
using Rect = Kernel::RectT<int>;

// Gives back what it gets, and notes what it is asked. A margin is added to what it wants.
class RecordingPlugin final : public Raster::RasterFilterPlugin {
public:
    struct Call {
        Rect input, output;
        std::thread::id thread;
        std::vector<std::uint8_t> firstRow;
    };
    struct Log {
        std::mutex mutex;
        std::vector<Call> calls;
        int configured = 0;
        Kernel::SizeT<int> size;
    };

    RecordingPlugin(bool parallel, int margin, bool succeeds = true)
        : m_parallel(parallel), m_margin(margin), m_succeeds(succeeds) {}
    Kernel::String GetIdentifier() const override { return "recording"; }
    Kernel::String GetName() const override { return "Recording"; }
    bool CanFilterInParallel() const override { return m_parallel; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Recorder>(*this); }
    Log& GetLog() const { return m_log; }

private:
    class Recorder final : public Filter {
    public:
        explicit Recorder(RecordingPlugin const& plugin) : m_plugin(plugin) {}
        bool Configure(Raster::Format format, int width, int height) override {
            m_format = format;
            ++m_plugin.m_log.configured;
            m_plugin.m_log.size = {width, height};
            return false;
        }
        Rect MeasureRequiredInput(Rect const& r) override {
            int const m = m_plugin.m_margin;
            return {r.left - m, r.top - m, r.right + m, r.bottom + m};
        }
        bool FilterOutput(Rect const& input, Rect const& output, void const* in, void* out) override {
            if (!m_plugin.m_succeeds)
                return false;
            auto const from = Raster::FilterPixelLayout::Of(m_format, input.GetWidth(), input.GetHeight());
            auto const to = Raster::FilterPixelLayout::Of(m_format, output.GetWidth(), output.GetHeight());
            auto const info = Raster::GetFormatInfo(m_format);
            auto const rowBytes = static_cast<std::size_t>(output.GetWidth() * info.sampleBytes);
            for (std::size_t c = 0; c != static_cast<std::size_t>(info.channelCount); ++c) {
                for (std::size_t y = 0; y != static_cast<std::size_t>(output.GetHeight()); ++y)
                    std::memcpy(static_cast<char*>(out) + c * to.planeBytes + y * to.rowBytes,
                                static_cast<char const*>(in) + c * from.planeBytes + y * from.rowBytes, rowBytes);
            }
            auto const* const bytes = static_cast<std::uint8_t const*>(in);
            std::lock_guard const lock(m_plugin.m_log.mutex);
            m_plugin.m_log.calls.push_back(
                {input, output, std::this_thread::get_id(), {bytes, bytes + input.GetWidth() * info.sampleBytes}});
            return true;
        }

    private:
        RecordingPlugin const& m_plugin;
        Raster::Format m_format = Raster::FormatNone;
    };

    bool m_parallel;
    int m_margin;
    bool m_succeeds;
    mutable Log m_log;
};

void RunFilter(LayerDocument& document, Kernel::Counted<Raster::RasterFilterPlugin> plugin) {
    document.controller->Run(Kernel::MakeCounted<RasterPluginFilterCommand>(std::move(plugin)));
}

TEST(TileFilter, TilesCoverEveryPixelOnceAndProgressGrowsToOne) {
    for (auto const& [width, height] : {std::pair{1, 1}, {256, 257}, {600, 300}, {5, 1000}}) {
        for (bool const parallel : {false, true}) {
            auto const bitmap = Judge::RandomBitmap<RGBA8>(width, height, 4);
            Planes<RGBA8> const before(*bitmap);
            auto const plugin = Kernel::MakeCounted<RecordingPlugin>(parallel, 0);
            std::vector<float> progress;
            FilterTiles(plugin, *bitmap, [&](float done) { progress.push_back(done); });
            std::vector<int> covered(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
            for (auto const& call : plugin->GetLog().calls) {
                for (int y = call.output.top; y != call.output.bottom; ++y) {
                    for (int x = call.output.left; x != call.output.right; ++x)
                        ++covered.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                     static_cast<std::size_t>(x));
                }
            }
            EXPECT_EQ(std::vector<int>(covered.size(), 1), covered);
            EXPECT_EQ(plugin->GetLog().calls.size(), progress.size());
            EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
            EXPECT_EQ(1, progress.back());
            EXPECT_EQ(0u, Judge::CountDifferent(before, Planes<RGBA8>(*bitmap)))
                << "the plug-in gives back what it gets";
        }
    }
}

TEST(PluginFilter, OfOnePixelIsOneTile) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(1, 1, 4));
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(true, 0);
    RunFilter(document, plugin);
    ASSERT_EQ(1u, plugin->GetLog().calls.size());
    EXPECT_EQ((Rect{0, 0, 1, 1}), plugin->GetLog().calls[0].output);
    EXPECT_EQ(1, plugin->GetLog().configured);
    EXPECT_EQ((Kernel::SizeT<int>{1, 1}), plugin->GetLog().size);
}

TEST(PluginFilter, OfAPixelMoreThanATileIsTwoTiles) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(257, 10, 4));
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(false, 0);
    RunFilter(document, plugin);
    ASSERT_EQ(2u, plugin->GetLog().calls.size());
    EXPECT_EQ((Rect{0, 0, 256, 10}), plugin->GetLog().calls[0].output);
    EXPECT_EQ((Rect{256, 0, 257, 10}), plugin->GetLog().calls[1].output);
}

TEST(PluginFilter, ThatRefusesParallelWorkRunsInOrderOnOneThreadAndReportsEachTile) {
    class Listener final : public ProgressListener {
    public:
        void Progress(DomainCommand const&, float fraction) override { all.push_back(fraction); }
        std::vector<float> all;
    } listener;
    ThreadCount const scope(2);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(700, 300, 4));
    document.controller->SetProgressListener(&listener);
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(false, 0);
    RunFilter(document, plugin);
    document.controller->SetProgressListener(nullptr);
    auto const& calls = plugin->GetLog().calls;
    ASSERT_EQ(6u, calls.size());
    for (std::size_t i = 0; i != 6; ++i) {
        EXPECT_EQ(static_cast<int>(i % 3) * 256, calls[i].output.left);
        EXPECT_EQ(static_cast<int>(i / 3) * 256, calls[i].output.top);
        EXPECT_EQ(std::this_thread::get_id(), calls[i].thread);
    }
    EXPECT_TRUE(std::is_sorted(listener.all.begin(), listener.all.end()));
    ASSERT_FALSE(listener.all.empty());
    EXPECT_FLOAT_EQ(1, listener.all.back());
}

TYPED_TEST_SUITE(EveryFormat, Formats);

TYPED_TEST(EveryFormat, GoesThroughAPluginUnchangedOnTwoThreads) {
    ThreadCount const scope(2);
    LayerDocument document(Judge::RandomBitmap<TypeParam>(301, 270, 4));
    auto const before = document.template Read<TypeParam>();
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(true, 0);
    RunFilter(document, plugin);
    EXPECT_EQ(4u, plugin->GetLog().calls.size());
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.template Read<TypeParam>()));
}

TEST(PluginFilter, ThatWantsAMarginGetsTheTileAtTheCornerOfItsBuffer) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 100, 4));
    auto const before = document.Read<RGBA8>();
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(false, 3);
    RunFilter(document, plugin);
    auto const& second = plugin->GetLog().calls.at(1);
    EXPECT_EQ((Rect{253, -3, 515, 103}), second.input);
    ASSERT_EQ(262u, second.firstRow.size());
    for (int x = 0; x != 262; ++x)
        EXPECT_EQ(before.At(0, 256 + x, 0), second.firstRow[static_cast<std::size_t>(x)]);
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<RGBA8>()));
}

TEST(PluginFilter, ThatFailsLeavesItsTilesEmpty) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 4));
    RunFilter(document, Kernel::MakeCounted<RecordingPlugin>(false, 0, false));
    EXPECT_EQ(0u, Judge::CountDifferent(Planes<RGBA8>(40, 30), document.Read<RGBA8>()));
}

// Makes its pixels out of nothing.
class PaintingPlugin final : public Raster::RasterFilterPlugin {
public:
    explicit PaintingPlugin(Rect input) : m_input(input) {}
    Kernel::String GetIdentifier() const override { return "painting"; }
    Kernel::String GetName() const override { return "Ungroup"; }
    bool CanFilterInParallel() const override { return true; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Painter>(m_input); }

private:
    class Painter final : public Filter {
    public:
        explicit Painter(Rect input) : m_input(input) {}
        bool Configure(Raster::Format, int, int) override { return true; }
        Rect MeasureRequiredInput(Rect const&) override { return m_input; }
        bool FilterOutput(Rect const& input, Rect const& output, void const* in, void* out) override {
            EXPECT_EQ(m_input, input);
            EXPECT_EQ(nullptr, in);
            auto const layout =
                Raster::FilterPixelLayout::Of(Raster::FormatRGBA8, output.GetWidth(), output.GetHeight());
            std::memset(out, 77, 4 * layout.planeBytes);
            return true;
        }

    private:
        Rect m_input;
    };
    Rect m_input;
};

TEST(PluginFilter, MayAskForNoInput) {
    for (Rect const input : {Rect{0, 0, 0, 0}, Rect{5, 5, 5, 90}, Rect{20, 20, 10, 10}}) {
        LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 10, 4));
        RunFilter(document, Kernel::MakeCounted<PaintingPlugin>(input));
        auto const after = document.Read<RGBA8>();
        for (int x : {0, 255, 256, 299})
            EXPECT_EQ(77, after.At(1, x, 9));
    }
}

// A plug-in's name is nobody's to translate, also where it reads like a command's.
TEST(PluginFilter, IsDescribedByThePluginsPlainName) {
    RasterPluginFilterCommand const command(Kernel::MakeCounted<PaintingPlugin>(Rect()));
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", ""), command.GetDescription());
}

TEST(PluginFilter, SeesTheWholeBitmapAndIsMaskedAtTheMerge) {
    using A8 = Raster::FormatTraits<Raster::FormatA8>;
    LayerDocument document(Judge::RandomBitmap<RGBA8>(290, 100, 4));
    auto const mask = MakeSoftMask<A8>(120, 60, 3);
    Params const maskTransform{1, 0, 100, 0, 1, 20};
    document.controller->SetRasterSelection(SelectionRasterNode::CreateMask(mask, maskTransform));
    document.controller->SetChannelMask(7);
    auto expected = document.Read<RGBA8>();
    Planes<A8> const maskPlanes(*mask);
    // A plug-in that fails gives transparent black.
    Judge::Merge(expected, Planes<RGBA8>(290, 100), {0, 0, 290, 100}, 7,
                 [&](int x, int y) { return Judge::ReadMask(maskPlanes, maskTransform, {}, x, y); });
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(false, 0, false);
    RunFilter(document, plugin);
    EXPECT_EQ((Kernel::SizeT<int>{290, 100}), plugin->GetLog().size);
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA8>()));
}

TEST(PluginFilter, IsUndoneAndDoneAgainWithoutThePlugin) {
    auto const path = std::filesystem::temp_directory_path() / ("redraft-plugin-" + std::to_string(getpid()));
    DocumentHash before, after;
    {
        LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 4));
        before = document.controller->GetHash(false);
        RunFilter(document, Kernel::MakeCounted<RecordingPlugin>(false, 0, false));
        after = document.controller->GetHash(false);
        document.controller->Save(path);
    }
    auto const loaded = DocumentController::Open(path, true);
    loaded->Undo();
    EXPECT_EQ(before, loaded->GetHash(false));
    loaded->Redo();
    EXPECT_EQ(after, loaded->GetHash(false));
    std::filesystem::remove(path);
}

TEST(PluginFilter, RepeatsAsLongAsItHasItsPlugin) {
    auto const path = std::filesystem::temp_directory_path() / ("redraft-repeat-" + std::to_string(getpid()));
    LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 4));
    auto const plugin = Kernel::MakeCounted<RecordingPlugin>(false, 0);
    RunFilter(document, plugin);
    EXPECT_TRUE(document.controller->RepeatLastCommand());
    EXPECT_EQ(2, plugin->GetLog().configured);
    document.controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    auto const hash = loaded->GetHash(true);
    EXPECT_NO_THROW(EXPECT_FALSE(loaded->RepeatLastCommand()));
    EXPECT_EQ(hash, loaded->GetHash(true));
    std::filesystem::remove(path);
}

// Plug-ins of files, and limits that tests have the time for.
class ForeignPlugins : public testing::Test {
protected:
    ForeignPlugins() {
        setenv("FREI0R_PATH", TEST_PLUGINS, 1);
        SetLimits(std::chrono::milliseconds(20000), 3, std::uint64_t(1) << 26);
        Kernel::Trace::SetSink([this](Kernel::String const& line) { m_lines.push_back(line.ToStdString()); });
    }
    ~ForeignPlugins() override {
        Kernel::Trace::SetSink({});
        Raster::SetFilterPluginLimits({});
    }
    static void SetLimits(std::chrono::milliseconds tileTime, int failures, std::uint64_t wholePixels) {
        Raster::FilterPluginLimits limits;
        limits.tileTime = tileTime;
        limits.failures = failures;
        limits.wholePixels = wholePixels;
        Raster::SetFilterPluginLimits(limits);
    }
    std::vector<std::string> m_lines;
};

TEST_F(ForeignPlugins, AreFoundByTheNamesOfTheirFiles) {
    auto const names = Raster::ListFilterPlugins();
    EXPECT_NE(names.end(), std::find(names.begin(), names.end(), Kernel::String("negative")));
    EXPECT_EQ("Test negative", Raster::FindFilterPlugin("negative")->GetName());
    EXPECT_FALSE(Raster::FindFilterPlugin("negative")->CanFilterInParallel());
    EXPECT_THROW(Raster::FindFilterPlugin("nowhere"), Kernel::Exception);
    EXPECT_THROW(Raster::FindFilterPlugin(""), Kernel::Exception);
    EXPECT_THROW(Raster::FindFilterPlugin("../negative"), Kernel::Exception);
    EXPECT_THROW(Raster::FindFilterPlugin("source"), Kernel::Exception);
}

TEST_F(ForeignPlugins, ThatAreNoLibrariesAreRefused) {
    auto const folder = std::filesystem::temp_directory_path() / ("redraft-plugins-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "text.so") << "no library";
    setenv("FREI0R_PATH", folder.c_str(), 1);
    EXPECT_THROW(Raster::FindFilterPlugin("text"), Kernel::Exception);
    std::filesystem::remove_all(folder);
}

TEST_F(ForeignPlugins, FilterEveryPixel) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(301, 261, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, Raster::FindFilterPlugin("negative"));
    auto expected = before;
    for (int c = 0; c != 3; ++c) {
        for (auto& v : expected.samples[c])
            v = static_cast<std::uint8_t>(255 - v);
    }
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA8>()));
    EXPECT_TRUE(m_lines.empty());
    EXPECT_EQ("Test negative", document.controller->GetHistory()->GetDescription(0).GetText());
}

TEST_F(ForeignPlugins, GetTheirOrderOfBytesAndSidesOfWholeEights) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(13, 9, 4));
    auto expected = document.Read<RGBA8>();
    std::fill(expected.samples[2].begin(), expected.samples[2].end(), std::uint8_t(0));
    RunFilter(document, Raster::FindFilterPlugin("no_blue"));
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA8>()));
}

// Without edges inside: what a plug-in makes of a pixel may depend on all others.
TEST_F(ForeignPlugins, GetTheBitmapWholeAndLeaveNoMarksWhereTilesMeet) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 301, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, Raster::FindFilterPlugin("shift"));
    auto expected = before;
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 301; ++y) {
            for (int x = 0; x != 600; ++x)
                expected.At(c, x, y) = before.At(c, std::max(x - 1, 0), std::max(y - 1, 0));
        }
    }
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA8>()));
    EXPECT_TRUE(m_lines.empty());
}

TEST_F(ForeignPlugins, GetBitmapsThatAreTooLargeTileByTile) {
    SetLimits(std::chrono::milliseconds(20000), 3, 599 * 301);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(600, 301, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, Raster::FindFilterPlugin("shift"));
    auto expected = before;
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 301; ++y) {
            for (int x = 0; x != 600; ++x)
                expected.At(c, x, y) = before.At(c, x % 256 == 0 ? x : x - 1, y % 256 == 0 ? y : y - 1);
        }
    }
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBA8>()));
}

TEST_F(ForeignPlugins, FilterEveryFormatWhole) {
    for (int format = 0; format != Raster::c_formatCount; ++format) {
        Raster::VisitFormat(static_cast<Raster::Format>(format), [&](auto traits) {
            using Traits = decltype(traits);
            auto const bitmap = Judge::RandomBitmap<Traits>(300, 280, 4);
            LayerDocument document(bitmap->Clone(nullptr));
            RunFilter(document, Raster::FindFilterPlugin("shift"));
            auto const wide = Raster::ConvertBitmap(
                *bitmap->GetBase(), *Raster::PixelConverter::MakePlain(Traits::c_format, Raster::FormatRGBA8), nullptr);
            auto const back = Raster::ConvertBitmap(
                *wide, *Raster::PixelConverter::MakePlain(Raster::FormatRGBA8, Traits::c_format), nullptr);
            Raster::DynamicBitmap const converted(back);
            Planes<Traits> const source(converted);
            auto expected = source;
            for (int c = 0; c != Traits::c_channelCount; ++c) {
                for (int y = 0; y != 280; ++y) {
                    for (int x = 0; x != 300; ++x)
                        expected.At(c, x, y) = source.At(c, std::max(x - 1, 0), std::max(y - 1, 0));
                }
            }
            EXPECT_EQ(0u, Judge::CountDifferent(expected, document.template Read<Traits>())) << format;
        });
    }
}

TEST_F(ForeignPlugins, AreToldTheirParametersByName) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(20, 10, 4));
    RunFilter(
        document,
        Raster::FindFilterPlugin(
            "paint",
            {{"red part", "200"}, {"Colour", "#00ff80"}, {"opaque", "true"}, {"PLACE", "7 9"}, {"Text", "abc, def"}}));
    auto const after = document.Read<RGBA8>();
    EXPECT_EQ((std::array<int, 4>{200, 255, 128, 255}),
              (std::array<int, 4>{after.At(0, 5, 5), after.At(1, 5, 5), after.At(2, 5, 5), after.At(3, 5, 5)}));
    EXPECT_EQ(7, after.At(0, 0, 0));
    EXPECT_EQ(9, after.At(1, 0, 0));
    EXPECT_EQ(8, after.At(0, 1, 0));
    for (auto const& [name, value] : std::vector<std::pair<char const*, std::string>>{{"nothing", "1"},
                                                                                      {"red part", "x"},
                                                                                      {"red part", "nan"},
                                                                                      {"red part", ""},
                                                                                      {"Colour", "red"},
                                                                                      {"Place", "1"},
                                                                                      {"Place", "1 2 3"},
                                                                                      {"Opaque", "2"},
                                                                                      {"Text", std::string(512, 'a')}})
        EXPECT_THROW(Raster::FindFilterPlugin("paint", {{name, Kernel::String(value)}}), Kernel::Exception) << name;
    EXPECT_THROW(Raster::FindFilterPlugin("negative", {{"red", "1"}}), Kernel::Exception);
}

TEST_F(ForeignPlugins, ThatCrashCostTheirTileAndAWarning) {
    auto const bitmap = Judge::RandomBitmap<RGBA8>(600, 40, 4);
    Planes<RGBA8> planes(*bitmap);
    for (auto& red : planes.samples[0])
        red = std::max<std::uint8_t>(red, 1);
    planes.At(0, 300, 20) = 0;
    planes.At(1, 300, 20) = 77;
    planes.Store(*bitmap);
    LayerDocument document(bitmap);
    RunFilter(document, Raster::FindFilterPlugin("crash"));
    for (int c = 0; c != 4; ++c) {
        for (int y = 0; y != 40; ++y) {
            for (int x = 256; x != 512; ++x)
                planes.At(c, x, y) = 0;
        }
    }
    EXPECT_EQ(0u, Judge::CountDifferent(planes, document.Read<RGBA8>()));
    EXPECT_EQ((std::vector<std::string>{"the plug-in Test crash failed on the whole picture\r\n",
                                        "the plug-in Test crash failed on a tile\r\n"}),
              m_lines);
}

TEST_F(ForeignPlugins, ThatHangAreEndedAndLeftAloneAfterAFewTiles) {
    auto const plugin = Raster::FindFilterPlugin("hang");
    SetLimits(std::chrono::milliseconds(100), 2, 1 << 26);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(1400, 40, 4));
    RunFilter(document, plugin);
    EXPECT_EQ(0u, Judge::CountDifferent(Planes<RGBA8>(1400, 40), document.Read<RGBA8>()));
    EXPECT_EQ((std::vector<std::string>{"the plug-in Test hang failed on the whole picture\r\n",
                                        "the plug-in Test hang failed on a tile once more; the rest is left out\r\n"}),
              m_lines);
    document.controller->Undo();
}

TEST_F(ForeignPlugins, ThatTakeAllMemoryAreEndedAndTheProgramKeepsItsOwn) {
    auto const plugin = Raster::FindFilterPlugin("greedy");
    Raster::FilterPluginLimits limits;
    limits.memoryBytes = std::size_t(256) << 20;
    limits.failures = 1;
    Raster::SetFilterPluginLimits(limits);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 4));
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // There the process has no limit but its time.
    limits.tileTime = std::chrono::milliseconds(200);
    Raster::SetFilterPluginLimits(limits);
#endif
    RunFilter(document, plugin);
    EXPECT_EQ(0u, Judge::CountDifferent(Planes<RGBA8>(40, 30), document.Read<RGBA8>()));
    ASSERT_EQ(1u, m_lines.size());
}

TEST_F(ForeignPlugins, CannotMeddleWithAnythingButTheirPixels) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 30, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, Raster::FindFilterPlugin("meddler"));
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<RGBA8>()));
    EXPECT_FALSE(std::filesystem::exists("meddled"));
    EXPECT_TRUE(m_lines.empty());
}

TEST_F(ForeignPlugins, ThatPrintOrReadDisturbNothing) {
    testing::internal::CaptureStdout();
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 30, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, Raster::FindFilterPlugin("noisy"));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<RGBA8>()));
}

TEST_F(ForeignPlugins, ThatLieAboutTheirParametersStillRun) {
    auto const plugin = Raster::FindFilterPlugin("liar");
    EXPECT_EQ(std::string(239, '?'), plugin->GetName().ToStdString());
    EXPECT_THROW(Raster::FindFilterPlugin("liar", {{"x", "1"}}), Kernel::Exception);
    EXPECT_THROW(Raster::FindFilterPlugin("liar", {{"", "1"}}), Kernel::Exception);
    LayerDocument document(Judge::RandomBitmap<RGBA8>(300, 30, 4));
    auto const before = document.Read<RGBA8>();
    RunFilter(document, plugin);
    EXPECT_EQ(0u, Judge::CountDifferent(before, document.Read<RGBA8>()));
}

TEST_F(ForeignPlugins, ThatDieOrHangBeforeTheyAreKnownAreRefused) {
    EXPECT_THROW(Raster::FindFilterPlugin("wild"), Kernel::Exception);
    SetLimits(std::chrono::milliseconds(100), 2, 1 << 26);
    EXPECT_THROW(Raster::FindFilterPlugin("sleeper"), Kernel::Exception);
}

TEST_F(ForeignPlugins, ThatHaveNoInstanceCostEveryTile) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(40, 30, 4));
    RunFilter(document, Raster::FindFilterPlugin("empty"));
    EXPECT_EQ(0u, Judge::CountDifferent(Planes<RGBA8>(40, 30), document.Read<RGBA8>()));
    EXPECT_EQ(std::vector<std::string>{"the plug-in Test empty failed on a tile\r\n"}, m_lines);
}

} // namespace
