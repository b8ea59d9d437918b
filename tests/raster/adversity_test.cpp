// SPDX-License-Identifier: Apache-2.0
#include "platform/document/damaged_bitmaps.h"
#include "platform/document/history.h"
#include "platform/kernel/exception.h"
#include "raster/raster_plugin_filter_command.h"
#include "raster/raster_polar_to_rectangular_command.h"
#include "raster/raster_rectangular_to_polar_command.h"
#include "raster/raster_solarise_command.h"
#include "raster/raster_web_safe_dither_command.h"
#include "raster/replace_bitmap_command.h"
#include "tests/raster/layer_fixture.h"
#include "tests/support/records.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace Commands;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;
using RGBAF = Raster::FormatTraits<Raster::FormatRGBAF>;

// Gives back what it gets, in memory of its own.
class CopyPlugin final : public Raster::RasterFilterPlugin {
public:
    Kernel::String GetIdentifier() const override { return "copy"; }
    Kernel::String GetName() const override { return "Copy"; }
    bool CanFilterInParallel() const override { return true; }
    std::unique_ptr<Filter> MakeFilter() const override { return std::make_unique<Copying>(); }

private:
    class Copying final : public Filter {
    public:
        bool Configure(Raster::Format format, int, int) override {
            m_format = format;
            return true;
        }
        Kernel::RectT<int> MeasureRequiredInput(Kernel::RectT<int> const& output) override { return output; }
        bool FilterOutput(Kernel::RectT<int> const&, Kernel::RectT<int> const& output, void const* inputPixels,
                          void* outputPixels) override {
            auto const layout = Raster::FilterPixelLayout::Of(m_format, output.GetWidth(), output.GetHeight());
            auto const planes = static_cast<std::size_t>(Raster::GetFormatInfo(m_format).channelCount);
            std::memcpy(outputPixels, inputPixels, planes * layout.planeBytes);
            return true;
        }

    private:
        Raster::Format m_format{};
    };
};

struct Effect {
    char const* name;
    std::function<Kernel::Counted<DocumentCommand>()> make;
};

std::vector<Effect> GetEffects() {
    return {{"solarise", [] { return Kernel::MakeCounted<RasterSolariseCommand>(); }},
            {"dither", [] { return Kernel::MakeCounted<RasterWebSafeDitherCommand>(); }},
            {"polar to rectangular", [] { return Kernel::MakeCounted<RasterPolarToRectangularCommand>(); }},
            {"rectangular to polar", [] { return Kernel::MakeCounted<RasterRectangularToPolarCommand>(); }},
            {"plug-in", [] {
                 return Kernel::MakeCounted<RasterPluginFilterCommand>(
                     Kernel::Counted<Raster::RasterFilterPlugin>(Kernel::MakeCounted<CopyPlugin>()));
             }}};
}

class TemporaryFile {
public:
    TemporaryFile()
        : m_path(std::filesystem::temp_directory_path() / ("redraft-adversity-" + std::to_string(getpid()))) {}
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    ~TemporaryFile() { std::filesystem::remove(m_path); }
    std::string Get() const { return m_path.string(); }

private:
    std::filesystem::path m_path;
};

std::vector<RasterNode*> GetLayers(DocumentController& controller) {
    std::vector<RasterNode*> layers;
    ForEachNode(*controller.GetDocument(), [&](Node& node) {
        if (auto* const layer = dynamic_cast<RasterNode*>(&node))
            layers.push_back(layer);
    });
    return layers;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Leaves the process little more memory than it has, for a scope.
class LittleMemory {
public:
    explicit LittleMemory(std::size_t more) {
        getrlimit(RLIMIT_AS, &m_before);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlimit limit = m_before;
        limit.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + more;
        setrlimit(RLIMIT_AS, &limit);
    }
    LittleMemory(LittleMemory const&) = delete;
    LittleMemory& operator=(LittleMemory const&) = delete;
    ~LittleMemory() { setrlimit(RLIMIT_AS, &m_before); }

private:
    rlimit m_before{};
};

TEST(Adversity, MemoryThatRunsOutInMidEffectLeavesTheDocumentAsItWas) {
    for (auto const& effect : GetEffects()) {
        LayerDocument document(Judge::RandomBitmap<RGBAF>(1600, 1500, 5));
        auto const before = document.controller->GetHash(true);
        auto const bitmap = document.layer->GetBitmap();
        {
            LittleMemory const scope(std::size_t(8) << 20);
            EXPECT_ANY_THROW(document.controller->Run(effect.make())) << effect.name;
        }
        EXPECT_EQ(bitmap, document.layer->GetBitmap()) << effect.name;
        EXPECT_EQ(before, document.controller->GetHash(true)) << effect.name;
        EXPECT_FALSE(document.controller->CanUndo()) << effect.name;
    }
}

#endif

TEST(Adversity, ASingularTransformEndsEveryEffectAndItsUndo) {
    for (auto const& transform : {Judge::Params{0, 0, 7, 0, 0, 9}, Judge::Params{1, 2, 0, 2, 4, 0},
                                  Judge::Params{1e-70, 0, 0, 0, 1e-70, 0}, Judge::Params{1e300, 0, 0, 0, 1e300, 0}}) {
        for (auto const& effect : GetEffects()) {
            LayerDocument document(Judge::RandomBitmap<RGBA8>(70, 50, 5), transform);
            using A8 = Raster::FormatTraits<Raster::FormatA8>;
            for (auto const& selection :
                 {Kernel::MakeCounted<SelectionRasterNode>(),
                  SelectionRasterNode::CreateMask(MakeSoftMask<A8>(40, 30, 3), {1, 0, 5, 0, 1, 5}),
                  SelectionRasterNode::CreateMask(MakeSoftMask<A8>(40, 30, 3), {0, 0, 5, 0, 0, 5})}) {
                document.controller->SetRasterSelection(selection);
                auto const before = document.controller->GetHash(false);
                document.controller->Run(effect.make());
                document.controller->Undo();
                EXPECT_EQ(before, document.controller->GetHash(false)) << effect.name;
            }
        }
    }
}

TEST(Adversity, OpeningADocumentReadsNoPixelsAndAnEffectThoseOfItsLayerOnly) {
    TemporaryFile const file;
    {
        LayerDocument document(Judge::RandomBitmap<RGBA8>(700, 600, 5));
        auto const second = Kernel::MakeCounted<RasterNode>();
        second->SetBitmap(Judge::RandomBitmap<RGBA8>(700, 600, 6));
        ExampleDocuments::Append(*document.controller->GetCurrentSpread(), second);
        document.controller->Save(file.Get());
    }
    auto const opened = DocumentController::Open(file.Get(), true);
    auto const layers = GetLayers(*opened);
    ASSERT_EQ(2u, layers.size());
    opened->GetHash(true);
    for (auto const* const layer : layers)
        EXPECT_TRUE(layer->GetBitmap()->IsPendingDelayLoad());
    ExampleDocuments::Select(*opened, {Kernel::Counted<Node>(layers[0])});
    opened->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    EXPECT_FALSE(layers[0]->GetBitmap()->IsPendingDelayLoad());
    EXPECT_TRUE(layers[1]->GetBitmap()->IsPendingDelayLoad());
    opened->Save(file.Get());
    EXPECT_TRUE(layers[1]->GetBitmap()->IsPendingDelayLoad());
    // Nor does a history that is walked.
    auto const again = DocumentController::Open(file.Get(), true);
    again->Undo();
    again->Redo();
    for (auto const* const layer : GetLayers(*again))
        EXPECT_TRUE(layer->GetBitmap()->IsPendingDelayLoad());
}

TEST(Adversity, TheSavedHistoryGrowsByTheTilesThatWereTouched) {
    TemporaryFile const file;
    LayerDocument document(Judge::RandomBitmap<RGBA8>(2048, 1024, 5));
    document.controller->Save(file.Get());
    auto const before = std::filesystem::file_size(file.Get());
    using A8 = Raster::FormatTraits<Raster::FormatA8>;
    // 100 x 100 pixels in one tile of three colours; alpha stays.
    document.controller->SetRasterSelection(
        SelectionRasterNode::CreateMask(MakeSoftMask<A8>(100, 100, 3), {1, 0, 300, 0, 1, 300}));
    document.controller->Run(Kernel::MakeCounted<RasterSolariseCommand>());
    document.controller->Save(file.Get());
    auto const grown = std::filesystem::file_size(file.Get()) - before;
    // The file holds them compressed, in whole pages, the mask and the objects beside them.
    EXPECT_GE(grown, 65536u);
    EXPECT_LE(grown, 7u * 65536);
}

TEST(Adversity, DamageIsToldWithTheNameOfTheLayer) {
    class Missing final : public Kernel::BlobSource {
    public:
        bool Has(Kernel::BlobKey) const override { return true; }
        std::vector<std::byte> Get(Kernel::BlobKey) const override {
            throw Kernel::DamagedDataException("a tile is missing");
        }
    };
    for (auto const& effect : GetEffects()) {
        auto const damaged = Kernel::MakeCounted<Raster::DynamicBitmap>(20, 20, Raster::FormatRGBA8);
        Kernel::BlobKey key;
        key.bytes[0] = std::byte(1);
        damaged->GetMutableBase().GetPlane(2) =
            Raster::RegionBase::FromKeys(1, 20, 20, {&key, 1}, Kernel::MakeCounted<Missing>());
        LayerDocument document(damaged);
        document.layer->SetUserDescription("Holiday");
        try {
            document.controller->Run(effect.make());
            FAIL() << effect.name;
        } catch (Kernel::DamagedDataException const& damage) {
            EXPECT_STREQ("layer Holiday: a tile is missing", damage.what()) << effect.name;
        }
        EXPECT_FALSE(document.controller->CanUndo());
        auto const found = FindDamagedBitmaps(*document.controller->GetDocument(), nullptr);
        ASSERT_EQ(1u, found.size());
        EXPECT_EQ(document.layer.get(), found[0].node.get());
        EXPECT_EQ("a tile is missing", found[0].reason);
    }
}

// It is not foreseen, and what is kept grows.
TEST(Adversity, AReplacementThatIsDoneTwiceKeepsTheBitmapsOfBoth) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(20, 10, 5));
    auto const command = Kernel::MakeCounted<ReplaceBitmapCommand>(Judge::RandomBitmap<RGBA8>(20, 10, 6),
                                                                   document.controller->GetCurrentSelection());
    auto const countBitmaps = [&] {
        auto const fields = Support::ListFields(Support::SaveToMemory({command}));
        return std::count_if(fields.begin(), fields.end(), [](auto const& field) { return field.tag == "Tile"; });
    };
    document.controller->Run(command);
    auto const once = countBitmaps();
    command->Do();
    EXPECT_EQ(once + 1, countBitmaps());
}

TEST(Adversity, SizesOfNothingAndBeyondAllNumbersAreRefusedBeforeMemoryIsTaken) {
    for (auto const& [width, height] :
         std::vector<std::pair<int, int>>{{0, 1},
                                          {1, 0},
                                          {0, 0},
                                          {-1, 5},
                                          {std::numeric_limits<int>::max(), 1},
                                          {1, std::numeric_limits<int>::min()},
                                          {std::numeric_limits<int>::max(), std::numeric_limits<int>::max()}}) {
        EXPECT_THROW(Raster::DynamicBitmap(width, height, Raster::FormatRGBA8), Kernel::Exception);
        EXPECT_THROW(Raster::BufferBase::Create(width, height, Raster::FormatRGBA8), Kernel::Exception);
    }
    EXPECT_THROW(Raster::DynamicBitmap(4, 4, Raster::FormatNone), Kernel::Exception);
    EXPECT_THROW(Raster::DynamicBitmap(4, 4, static_cast<Raster::Format>(77)), Kernel::Exception);
}

} // namespace
