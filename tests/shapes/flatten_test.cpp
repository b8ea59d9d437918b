// SPDX-License-Identifier: Apache-2.0
#include "shapes/flatten_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/document_renderer.h"
#include "platform/document/dynamic_node_rendering_engine.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/trace.h"
#include "platform/raster/bitmap_image.h"
#include "raster/pipeline/fill_loop.h"
#include "tests/examples/scenes/raster_documents.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"
#include "tests/support/ink_profile.h"

#include <future>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace Support;
using Commands::FlattenCommand;

// A profile other than sRGB, by what PNG says of gamma.
Kernel::Consolidated<Raster::ICCProfile> MakeGammaProfile() {
    Raster::DecodedImage image;
    image.info.width = image.info.height = 1;
    image.info.encodingGamma = 1 / 1.8;
    image.samples.resize(3);
    return Raster::MakeBitmapFromImage(image)->GetProfile();
}

// Overlaps, soft edges, opacity, blending, clips, gradients, a picture and text.
Kernel::Counted<DocumentController> MakeDrawing(Raster::Format format, Kernel::RectT<double> const& box) {
    auto const document = DocumentController::CreateNew({box.GetWidth(), box.GetHeight()}, format, 1);
    ExampleDocuments::GroupsWithLooks(*document);
    ExampleDocuments::AppendPicture(*document, 60, 40, Raster::FormatRGBA8, {1.5, 0.2, 30, -0.1, 1.25, 20.5});
    auto const blended = ExampleDocuments::MakeRectangle({20.3, 10.7, 90.1, 80.2}, 0.9, 0.2, 0.4);
    blended->SetBlendMode(Renderer::BlendMode::Multiply);
    blended->SetOpacity(0.6);
    ExampleDocuments::Append(*document->GetCurrentSpread(), blended);
    auto const gradient = ExampleDocuments::MakeRectangle({60.5, 60.5, 190.5, 110.5}, 0, 0, 0);
    gradient->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
        Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
            Kernel::PointT<double>{60, 60}, Kernel::PointT<double>{190, 100},
            std::vector<Renderer::GradientStop>{{0, 1, Renderer::Colour::FromRGB(1, 0.5F, 0)},
                                                {1, 0.25, Renderer::Colour::FromCMYK(0.7F, 0, 0.1F, 0.2F)}},
            Renderer::GradientSpread::Pad),
        true, Params{}, Renderer::BlendMode::Normal, false));
    ExampleDocuments::Append(*document->GetCurrentSpread(), gradient);
    document->GetCurrentSpread()->SetBaseBox(box);
    return document;
}

// The picture of the spread over nothing, or over white, in the document's format and profiles.
Kernel::Counted<Raster::BufferBase> Render(DocumentController const& document, float backgroundAlpha = 0) {
    SpreadPictureOptions options;
    options.format = document.GetFormat();
    options.background = options.background.WithAlpha(backgroundAlpha);
    auto const target = MakeSpreadPicture(*document.GetCurrentSpread(), options);
    return target->Render({0, 0, target->GetOptions().width, target->GetOptions().height});
}

// In the bitmap's own scale.
double AlphaAt(Raster::DynamicBitmap const& bitmap, int x, int y) {
    auto const& base = *bitmap.GetBase();
    return base.GetPixel(x, y).GetSample(base.GetInfo().channelCount - 1);
}

// Samples that differ, of the pixels that both have.
std::size_t CountDifferences(Raster::BitmapBase const& bitmap, Raster::BufferBase const& buffer) {
    EXPECT_EQ(bitmap.GetFormat(), buffer.GetFormat());
    auto const area = bitmap.GetBounds().Intersected(buffer.GetBounds());
    auto const bytes = static_cast<std::size_t>(area.GetWidth() * bitmap.GetInfo().sampleBytes);
    std::size_t differences = 0;
    std::vector<char> row(bytes);
    for (int channel = 0; channel != bitmap.GetInfo().channelCount; ++channel) {
        for (int y = area.top; y != area.bottom; ++y) {
            bitmap.GetPlane(channel).ReadSamples({0, y, area.right, y + 1}, row.data(), bytes);
            auto const* const wanted = static_cast<char const*>(buffer.GetRow(channel, y));
            for (std::size_t i = 0; i != bytes; ++i)
                differences += row[i] != wanted[i] ? 1 : 0;
        }
    }
    return differences;
}

// In the format's own scale.
double LargestDifference(Raster::BufferBase const& a, Raster::BufferBase const& b) {
    double largest = 0;
    for (int y = 0; y != a.GetHeight(); ++y) {
        for (int x = 0; x != a.GetWidth(); ++x) {
            auto const left = a.GetPixel(x, y), right = b.GetPixel(x, y);
            for (int channel = 0; channel != a.GetInfo().channelCount; ++channel)
                largest = std::max(largest, std::abs(left.GetSample(channel) - right.GetSample(channel)));
        }
    }
    return largest;
}

Kernel::Counted<RasterNode> OnlyLayer(DocumentController const& document) {
    auto const children = ChildrenOf(*document.GetCurrentSpread());
    EXPECT_EQ(1u, children.size());
    return children.empty() ? nullptr : Kernel::Counted<RasterNode>(Kernel::CastPointer<RasterNode>(children[0].get()));
}

Kernel::Counted<RasterNode> Flatten(DocumentController& document) {
    document.Run(Kernel::MakeCounted<FlattenCommand>());
    return OnlyLayer(document);
}

// Lines that were traced while it lives.
class TracedLines {
public:
    TracedLines() {
        Kernel::Trace::SetSink([this](Kernel::String const& line) { lines.push_back(line.ToStdString()); });
    }
    ~TracedLines() { Kernel::Trace::SetSink({}); }
    std::vector<std::string> lines;
};

constexpr Raster::Format c_colourFormats[] = {Raster::FormatRGBA8, Raster::FormatRGBA16, Raster::FormatRGBAF,
                                              Raster::FormatIA8,   Raster::FormatIA16,   Raster::FormatCMYKA8,
                                              Raster::FormatLABA16};

TEST(Flatten, ThePictureIsATransparentRenderOfTheSpreadToTheBit) {
    for (auto const format : c_colourFormats) {
        SCOPED_TRACE(Raster::GetFormatName(format));
        auto const document = MakeDrawing(format, {0, 0, 230, 140});
        auto const wanted = Render(*document);
        auto const layer = Flatten(*document);
        ASSERT_TRUE(layer);
        EXPECT_EQ(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *wanted));
        EXPECT_EQ((Kernel::RectT<int>{0, 0, 230, 140}), layer->GetRasterBoundingBox());
        EXPECT_FALSE(layer->GetBitmap()->GetProfile());
        EXPECT_EQ(Raster::MipmapMode::Deferred, layer->GetBitmap()->GetMipmapMode());
    }
}

TEST(Flatten, OverWhiteThePictureLooksAsTheSpreadDid) {
    for (auto const format : c_colourFormats) {
        SCOPED_TRACE(Raster::GetFormatName(format));
        auto const document = MakeDrawing(format, {0, 0, 230, 140});
        // Blending with the white below goes by the colour model: that is in no picture over nothing.
        for (auto const& child : ChildrenOf(*document->GetCurrentSpread()))
            Kernel::CastPointer<SceneNode>(child.get())->SetBlendMode(Renderer::BlendMode::Normal);
        auto const before = Render(*document, 1);
        Flatten(*document);
        // Colour and alpha are each rounded once more.
        EXPECT_LE(LargestDifference(*before, *Render(*document, 1)), before->GetInfo().isFloat ? 1e-6 : 1);
    }
}

TEST(Flatten, KeepsTheDocumentsProfiles) {
    auto const document = MakeDrawing(Raster::FormatRGBA8, {0, 0, 230, 140});
    auto const plain = Render(*document), plainOnWhite = Render(*document, 1);
    auto profiles = document->GetProfiles();
    profiles.Set(MakeGammaProfile());
    document->GetDocument()->SetProfiles(profiles);
    auto const wanted = Render(*document), wantedOnWhite = Render(*document, 1);
    auto const layer = Flatten(*document);
    EXPECT_EQ(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *wanted));
    // The CMYK stop of the gradient is another RGB value in this profile, and the picture's own bitmap is too.
    EXPECT_NE(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *plain));
    // Without a profile of its own the layer is meant in the document's.
    EXPECT_FALSE(layer->GetBitmap()->GetProfile());
    EXPECT_LE(LargestDifference(*Render(*document, 1), *wantedOnWhite), 1);
    EXPECT_GT(LargestDifference(*Render(*document, 1), *plainOnWhite), 1);
}

TEST(Flatten, InkIsThatOfTheDocumentsProfile) {
    auto const document = MakeDrawing(Raster::FormatCMYKA8, {0, 0, 230, 140});
    auto const plain = Render(*document);
    auto profiles = document->GetProfiles();
    profiles.Set(MakeInkProfile());
    document->GetDocument()->SetProfiles(profiles);
    auto const wanted = Render(*document), wantedOnWhite = Render(*document, 1);
    auto const layer = Flatten(*document);
    EXPECT_EQ(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *wanted));
    EXPECT_NE(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *plain));
    EXPECT_LE(LargestDifference(*Render(*document, 1), *wantedOnWhite), 1);
}

TEST(Flatten, TextIsInThePicture) {
    auto const document = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    ExampleDocuments::TextFrames(*document);
    auto const wanted = Render(*document);
    EXPECT_EQ(0u, CountDifferences(*Flatten(*document)->GetBitmap()->GetBase(), *wanted));
}

TEST(Flatten, AnEmptySpreadGetsAPictureAllTheSame) {
    Scene scene;
    auto const layer = Flatten(*scene.controller);
    ASSERT_TRUE(layer);
    EXPECT_EQ((Kernel::RectT<int>{0, 0, 400, 300}), layer->GetRasterBoundingBox());
    EXPECT_EQ(Raster::FormatRGBA8, layer->GetBitmap()->GetFormat());
    EXPECT_EQ(0, AlphaAt(*layer->GetBitmap(), 200, 100));
}

TEST(Flatten, AFractionalSizeIsTruncated) {
    auto const document = MakeDrawing(Raster::FormatRGBA8, {0, 0, 99.96, 50.5});
    // Covers the spread's last, fractional pixel, too.
    ExampleDocuments::Append(*document->GetCurrentSpread(), Box(90, 0, 100, 51));
    auto const wanted = Render(*document);
    EXPECT_EQ((Kernel::SizeT<int>{100, 51}), wanted->GetSize());
    auto const layer = Flatten(*document);
    EXPECT_EQ((Kernel::RectT<int>{0, 0, 99, 50}), layer->GetRasterBoundingBox());
    EXPECT_EQ(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *wanted));
    // The last pixels have nothing any more.
    EXPECT_EQ(0, Render(*document)->GetPixel(99, 20).GetSample(3));
}

TEST(Flatten, RedoTakesTheSamePictureAndDrawsNothing) {
    auto const document = MakeDrawing(Raster::FormatRGBA8, {0, 0, 100, 60});
    TracedLines traced;
    auto const layer = Flatten(*document);
    auto const bitmap = layer->GetBitmap();
    ASSERT_EQ(1u, traced.lines.size());
    EXPECT_TRUE(traced.lines[0].starts_with("Flatten = "));
    EXPECT_TRUE(traced.lines[0].ends_with("ms\r\n"));
    document->Undo();
    EXPECT_EQ(nullptr, layer->GetParent());
    document->Redo();
    EXPECT_EQ(layer, OnlyLayer(*document));
    EXPECT_EQ(bitmap, layer->GetBitmap());
    EXPECT_EQ(1u, traced.lines.size());
}

TEST(Flatten, WhatLiesOutsideTheSpreadIsCutAndGone) {
    Scene scene;
    scene.Put(*scene.spread, {Box(-50, -50, 20, 20), Box(500, 10, 600, 20), Box(390, 290, 450, 350)});
    auto const layer = Flatten(*scene.controller);
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 400, 300}), layer->GetBounds(true));
    EXPECT_EQ(255, AlphaAt(*layer->GetBitmap(), 19, 19));
    EXPECT_EQ(0, AlphaAt(*layer->GetBitmap(), 20, 20));
    scene.controller->Undo();
    EXPECT_EQ(3u, ChildrenOf(*scene.spread).size());
}

TEST(Flatten, UndoBringsTheChildrenBackInTheirOrder) {
    Scene scene;
    for (char const* name : {"a", "b", "c", "d"})
        scene.Put(*scene.spread, {Named(name)});
    scene.Select({ChildrenOf(*scene.spread)[2]});
    auto const children = ChildrenOf(*scene.spread);
    auto const selection = scene.Selected();
    auto const hash = scene.controller->GetHash(false);
    auto const layer = Flatten(*scene.controller);
    EXPECT_EQ(std::vector<Kernel::Counted<Node>>{layer}, scene.Selected()->GetNodes());
    auto const flat = scene.controller->GetHash(false);
    for (int round = 0; round != 2; ++round) {
        scene.controller->Undo();
        EXPECT_EQ("a b c d", ChildNames(*scene.spread));
        EXPECT_EQ(children, ChildrenOf(*scene.spread));
        EXPECT_EQ(selection, scene.Selected());
        EXPECT_EQ(hash, scene.controller->GetHash(false));
        scene.controller->Redo();
        EXPECT_EQ(flat, scene.controller->GetHash(false));
    }
}

// The replay branch: what the helper recorded is not stored.
TEST(Flatten, AReloadedStepGoesByItsOwnChildren) {
    Scene scene;
    for (char const* name : {"a", "b", "c", "d"})
        scene.Put(*scene.spread, {Named(name)});
    auto const hash = scene.controller->GetHash(false);
    Flatten(*scene.controller);
    auto const flat = scene.controller->GetHash(false);
    auto const copy = scene.controller->MakeCopy();
    EXPECT_EQ(flat, copy->GetHash(false));
    for (int round = 0; round != 2; ++round) {
        copy->Undo();
        EXPECT_EQ("a b c d", ChildNames(*copy->GetCurrentSpread()));
        EXPECT_EQ(hash, copy->GetHash(false));
        // From here on the helper has records of this process.
        copy->Redo();
        EXPECT_EQ(flat, copy->GetHash(false));
    }
}

TEST(Flatten, LeavesOtherSpreadsAndListsAlone) {
    auto const document = DocumentController::CreateNew({100, 80}, Raster::FormatRGBA8, 2);
    auto const spreads = document->GetDocument()->GetSpreads();
    ExampleDocuments::Append(*spreads[0], Box(0, 0, 10, 10));
    ExampleDocuments::Append(*spreads[1], Box(0, 0, 10, 10));
    auto const other = ChildrenOf(*spreads[0]);
    document->SetCurrentSpread(spreads[1]);
    Flatten(*document);
    EXPECT_EQ(other, ChildrenOf(*spreads[0]));
    EXPECT_EQ(1u, spreads[1]->CountChildren(NodeChildListType::Pages));
}

TEST(Flatten, ABoxThatBeginsElsewhereKeepsItsPlace) {
    auto const document = MakeDrawing(Raster::FormatRGBA16, {-20.5, 7.25, 150, 90});
    auto const wanted = Render(*document);
    auto const layer = Flatten(*document);
    EXPECT_EQ(0u, CountDifferences(*layer->GetBitmap()->GetBase(), *wanted));
    EXPECT_EQ((Kernel::RectT<double>{-20.5, 7.25, 149.5, 89.25}), layer->GetBounds(true));
}

TEST(Flatten, ASpreadOfNoSizeOrOutOfProportionIsRefusedBeforeAnythingChanges) {
    constexpr double c_endless = std::numeric_limits<double>::infinity();
    constexpr double c_nothing = std::numeric_limits<double>::quiet_NaN();
    for (auto const& box : {Kernel::RectT<double>{0, 0, 0.99, 100},
                            {0, 0, 100, 0},
                            {50, 50, 10, 100},
                            {0, 0, c_endless, 10},
                            {-c_endless, 0, c_endless, 10},
                            {0, 0, c_nothing, 10},
                            {0, 0, 2e6, 10},
                            {0, 0, 1e6, 1e6},
                            {0, 0, 1e300, 1e300}}) {
        for (auto const format : {Raster::FormatRGBA8, Raster::FormatA8}) {
            Scene scene;
            scene.PutAndSelect({Box(0, 0, 10, 10)});
            scene.spread->SetBaseBox(box);
            scene.controller->GetDocument()->SetFormat(format);
            auto const selection = scene.Selected();
            auto const children = ChildrenOf(*scene.spread);
            EXPECT_THROW(Flatten(*scene.controller), Kernel::Exception);
            EXPECT_EQ(children, ChildrenOf(*scene.spread));
            EXPECT_EQ(selection, scene.Selected());
            EXPECT_FALSE(scene.controller->CanUndo());
        }
    }
}

TEST(Flatten, ADocumentInAFormatWithoutColoursGetsAnEmptyPicture) {
    for (auto const format : {Raster::FormatA8, Raster::FormatA16, Raster::FormatNone, Raster::FormatAF}) {
        SCOPED_TRACE(format);
        Scene scene;
        scene.Put(*scene.spread, {Box(0, 0, 100, 100)});
        scene.controller->GetDocument()->SetFormat(format);
        auto const hash = scene.controller->GetHash(false);
        auto const layer = Flatten(*scene.controller);
        ASSERT_TRUE(layer && layer->GetBitmap());
        EXPECT_EQ(format == Raster::FormatNone, layer->GetBitmap()->IsEmpty());
        if (format != Raster::FormatNone) {
            EXPECT_EQ((Kernel::RectT<int>{0, 0, 400, 300}), layer->GetRasterBoundingBox());
            EXPECT_EQ(0, AlphaAt(*layer->GetBitmap(), 50, 50));
        }
        auto const copy = scene.controller->MakeCopy();
        copy->Undo();
        EXPECT_EQ(hash, copy->GetHash(false));
    }
}

// Reads the document from another thread while a command reports progress: that thread waits for ever where the
// command holds the writer lock.
class ReaderDuringProgress final : public ProgressListener {
public:
    explicit ReaderDuringProgress(DocumentController const& document) : m_document(document) {}
    void Progress(DomainCommand const&, float fraction) override {
        std::async(std::launch::async, [&] {
            auto const lock = m_document.LockForReading();
            childrenSeen = ChildrenOf(*m_document.GetCurrentSpread()).size();
        }).get();
        lastFraction = fraction;
    }
    std::size_t childrenSeen = 0;
    float lastFraction = -1;

private:
    DocumentController const& m_document;
};

TEST(Flatten, ReadersGoOnDuringTheRender) {
    Scene scene;
    scene.Put(*scene.spread, {Box(0, 0, 10, 10), Box(5, 5, 20, 20)});
    ReaderDuringProgress reader(*scene.controller);
    scene.controller->SetProgressListener(&reader);
    Flatten(*scene.controller);
    scene.controller->SetProgressListener(nullptr);
    EXPECT_EQ(2u, reader.childrenSeen);
    EXPECT_EQ(1, reader.lastFraction);
    EXPECT_EQ(DomainCommand::ProgressType::LargeBar, Kernel::MakeCounted<FlattenCommand>()->GetProgressType());
}

TEST(Flatten, AnExceptionDuringTheRenderLeavesDocumentAndLockAsTheyWere) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 10, 10)});
    auto const picture = Kernel::MakeCounted<Raster::DynamicBitmap>(10, 10, Raster::FormatIA8);
    // Colours that nobody can convert.
    picture->SetProfile(MakeGammaProfile());
    auto const layer = Kernel::MakeCounted<RasterNode>();
    layer->SetBitmap(picture);
    ExampleDocuments::Append(*scene.spread, layer);
    auto const hash = scene.controller->GetHash(true);
    auto const selection = scene.Selected();
    EXPECT_THROW(scene.controller->Run(Kernel::MakeCounted<FlattenCommand>()), Kernel::Exception);
    EXPECT_EQ(hash, scene.controller->GetHash(true));
    EXPECT_EQ(selection, scene.Selected());
    std::async(std::launch::async, [&] { static_cast<void>(scene.controller->LockForReading()); }).get();
    layer->RemoveFromParent();
    EXPECT_TRUE(Flatten(*scene.controller));
}

TEST(Flatten, TellsStructurePaintingAndSelectionInThisOrder) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 10, 10)});
    auto const before = scene.Selected();
    auto const command = Kernel::MakeCounted<FlattenCommand>();
    Bind(*scene.controller, *command);
    command->Do();
    auto list = NotificationsOf(*command);
    ASSERT_EQ(3u, list.size());
    EXPECT_TRUE(As<DocumentStructureChangedNotification>(list[0]));
    EXPECT_TRUE(As<InvalidateDocumentAllNotification>(list[1]));
    auto selected = As<NewSelectionNotification>(list[2]);
    ASSERT_TRUE(selected);
    EXPECT_EQ(before, selected->GetOldSelection());
    EXPECT_EQ(scene.Selected(), selected->GetNewSelection());
    command->Undo();
    list = NotificationsOf(*command);
    ASSERT_EQ(3u, list.size());
    selected = As<NewSelectionNotification>(list[2]);
    EXPECT_EQ(before, selected->GetNewSelection());
}

// Counts the objects that are looked at.
class CountingFilter final : public Renderer::RenderingFilter {
public:
    bool ShouldDraw(Kernel::Countable const&) const override {
        ++looks;
        return true;
    }
    mutable int looks = 0;
};

// As Flatten calls it, but for what is given.
struct EngineFlags {
    Kernel::Counted<Renderer::RenderingFilter> filter = nullptr;
    int level = 0;
    bool linear = false, fills = true, lines = true, bitmaps = true, texts = true, hidden = false, clips = true,
         opaque = false, serial = false;

    void Create(DynamicNodeRenderingEngine& engine, DocumentController const& document) const {
        auto const box = document.GetCurrentSpread()->GetBaseBox(true);
        engine.Create(document.GetCurrentSpread(), {}, filter, static_cast<int>(box.GetWidth()),
                      static_cast<int>(box.GetHeight()), {}, Raster::ResamplerType::Bilinear,
                      Raster::ResamplerType::Bilinear, linear, level, document.GetFormat(), document.GetProfiles(),
                      fills, lines, bitmaps, texts, hidden, clips, opaque, serial,
                      Renderer::RenderTarget::BlockTextMode::None);
    }
    Kernel::Counted<Raster::DynamicBitmap> Fill(DocumentController const& document) const {
        DynamicNodeRenderingEngine engine;
        Create(engine, document);
        auto const box = document.GetCurrentSpread()->GetBaseBox(true);
        auto bitmap = Kernel::MakeCounted<Raster::DynamicBitmap>(
            static_cast<int>(box.GetWidth()), static_cast<int>(box.GetHeight()), document.GetFormat());
        Commands::FillBitmap(*bitmap, engine, {});
        return bitmap;
    }
};

TEST(NodeRenderingEngine, OneRecordingServesAllTilesOnBothRoutes) {
    auto const document = MakeDrawing(Raster::FormatRGBA16, {0, 0, 230, 140});
    auto const wanted = Render(*document);
    std::size_t drawn = 0;
    ForEachNode(*document->GetCurrentSpread(),
                [&](Node& node) { drawn += Kernel::CastPointer<SceneNode>(&node) != nullptr ? 1 : 0; });
    for (bool const serial : {false, true}) {
        auto const filter = Kernel::MakeCounted<CountingFilter>();
        DynamicNodeRenderingEngine engine;
        EngineFlags{.filter = filter, .serial = serial}.Create(engine, *document);
        auto const result = Kernel::MakeCounted<Raster::DynamicBitmap>(230, 140, Raster::FormatRGBA16);
        DynamicNodeRenderingEngine::Run run(engine, {0, 0, 230, 140}, nullptr);
        for (int top = 0; top < 140; top += 32) {
            for (int left = 0; left < 230; left += 100) {
                Kernel::RectT<int> const tile{left, top, std::min(left + 100, 230), std::min(top + 32, 140)};
                auto const pixels = run.RenderTile(tile);
                for (int channel = 0; channel != 4; ++channel)
                    result->GetMutableBase().GetPlane(channel).WriteSamples(
                        tile, std::as_const(*pixels->GetBase()).GetRow(channel, 0), pixels->GetBase()->GetRowBytes());
            }
        }
        EXPECT_EQ(0u, CountDifferences(*result->GetBase(), *wanted));
        // Each object once, whatever the number of tiles; members of hidden groups are not looked at.
        EXPECT_GT(filter->looks, 3);
        EXPECT_LE(static_cast<std::size_t>(filter->looks), drawn);
    }
}

TEST(NodeRenderingEngine, FlagsSayWhatIsDrawn) {
    auto const document = MakeDrawing(Raster::FormatRGBA8, {0, 0, 230, 140});
    auto& spread = *document->GetCurrentSpread();
    auto const unseen = Box(205, 100, 215, 120);
    unseen->SetVisible(false);
    ExampleDocuments::Append(spread, unseen);
    ExampleDocuments::Append(spread, OpenLine({{200, 5}, {225, 30}}));
    ExampleDocuments::Append(spread, ExampleDocuments::MakeTextFrame({100, 110, 220, 138}, "text"));
    auto const all = EngineFlags{}.Fill(*document);
    EXPECT_TRUE(all->GetBase()->HasEqualPixels(*EngineFlags{.serial = true}.Fill(*document)->GetBase()));
    auto const differs = [&](EngineFlags const& flags) {
        return !all->GetBase()->HasEqualPixels(*flags.Fill(*document)->GetBase());
    };
    EXPECT_TRUE(differs({.level = 1}));
    EXPECT_TRUE(differs({.linear = true}));
    EXPECT_TRUE(differs({.fills = false}));
    EXPECT_TRUE(differs({.lines = false}));
    EXPECT_TRUE(differs({.bitmaps = false}));
    EXPECT_TRUE(differs({.texts = false}));
    EXPECT_TRUE(differs({.hidden = true}));
    EXPECT_TRUE(differs({.clips = false}));
    auto const opaque = EngineFlags{.opaque = true}.Fill(*document);
    for (int channel = 0; channel != 4; ++channel)
        EXPECT_EQ(255, opaque->GetBase()->GetPixel(229, 139).GetSample(channel));
}

// A source of pixels that are all full, which counts its tiles and asks for an abort after some of them.
struct FullSource {
    mutable int tiles = 0;
    int last = -1;
    mutable bool aborted = false;

    class Run {
    public:
        Run(FullSource const& source, Kernel::RectT<int> const&, bool const*) : m_source(source) {}
        Kernel::Counted<Raster::DynamicBuffer> RenderTile(Kernel::RectT<int> const& tile) {
            auto buffer =
                Kernel::MakeCounted<Raster::DynamicBuffer>(tile.GetWidth(), tile.GetHeight(), Raster::FormatIA8);
            for (int channel = 0; channel != 2; ++channel) {
                for (int y = 0; y != tile.GetHeight(); ++y)
                    std::memset(buffer->GetBase()->GetRow(channel, y), 255, static_cast<std::size_t>(tile.GetWidth()));
            }
            if (m_source.tiles++ == m_source.last)
                m_source.aborted = true;
            return buffer;
        }

    private:
        FullSource const& m_source;
    };
};

TEST(FillLoop, StaysInsideTheClipAndMarksItsMipmaps) {
    Raster::DynamicBitmap bitmap(600, 500, Raster::FormatIA8, Raster::MipmapMode::OnDemand);
    bitmap.UpdateMipmaps(0, nullptr);
    Commands::FillContext context;
    context.clip = {100, 250, 700, 300};
    std::vector<float> told;
    context.progress = [](float value, void* list) { static_cast<std::vector<float>*>(list)->push_back(value); };
    context.progressContext = &told;
    FullSource source;
    Commands::FillBitmap(bitmap, source, context);
    EXPECT_EQ(0, AlphaAt(bitmap, 99, 260));
    EXPECT_EQ(255, AlphaAt(bitmap, 100, 250));
    EXPECT_EQ(255, AlphaAt(bitmap, 599, 299));
    EXPECT_EQ(0, AlphaAt(bitmap, 599, 300));
    EXPECT_EQ((Kernel::RectT<int>{100, 250, 600, 300}), bitmap.GetBase()->GetMipmapDirtyRect(1));
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(1, told.back());
}

TEST(FillLoop, AnAbortEndsItWithThePixelsThatAreThere) {
    // Several tiles, one below the other.
    Raster::DynamicBitmap bitmap(4000, 3000, Raster::FormatIA8);
    FullSource source;
    source.last = 0;
    Commands::FillContext context;
    context.abort = &source.aborted;
    Commands::FillBitmap(bitmap, source, context);
    EXPECT_EQ(1, source.tiles);
    EXPECT_EQ(255, AlphaAt(bitmap, 3999, 0));
    EXPECT_EQ(0, AlphaAt(bitmap, 0, 2999));
    // Set from the start: nothing is done.
    FullSource never;
    Commands::FillBitmap(bitmap, never, context);
    EXPECT_EQ(0, never.tiles);
}

TEST(FillLoop, LeavesMasksAlone) {
    for (auto const format : {Raster::FormatA8, Raster::FormatA16, Raster::FormatAF}) {
        Raster::DynamicBitmap bitmap(10, 10, format);
        FullSource source;
        Commands::FillBitmap(bitmap, source, {});
        EXPECT_EQ(0, source.tiles);
    }
    Raster::DynamicBitmap none;
    FullSource source;
    Commands::FillBitmap(none, source, {});
    EXPECT_EQ(0, source.tiles);
}

TEST(TileDimensions, AreWholeTilesWithinABound) {
    for (auto const& clip : {Kernel::RectT<int>{0, 0, 1, 1},
                             {0, 0, 4109, 2603},
                             {10, 10, 300, 20000},
                             {0, 0, 1 << 20, 900},
                             {0, 0, 900, 1 << 20}}) {
        int width = 0, height = 0;
        Raster::GetVariableTileDimensionsForClipRect(clip, 1, width, height);
        EXPECT_EQ(0, width % 256);
        EXPECT_EQ(0, height % 256);
        EXPECT_GT(width, 0);
        EXPECT_GT(height, 0);
        EXPECT_LE(width * height, 3 << 20);
    }
    int width = 0, height = 0;
    Raster::GetVariableTileDimensionsForClipRect({0, 0, 1000, 1024}, 4, width, height);
    EXPECT_EQ(1024, width);
    EXPECT_EQ(256, height);
}

} // namespace
