// SPDX-License-Identifier: Apache-2.0
#include "generative/remove_bg_command.h"

#include "platform/document/compound_command.h"
#include "platform/kernel/exception.h"
#include "raster/pipeline/convert_pixels.h"
#include "tests/examples/scenes/raster_documents.h"
#include "tests/generative/generative_fixture.h"

#include <algorithm>
#include <cmath>
#include <thread>

using Commands::RemoveBGCommand;

namespace {

using Inference = Learning::RemoteInference;
using Bitmap = Kernel::Counted<Raster::DynamicBitmap const>;

Kernel::Counted<RemoveBGCommand> MakeRemoval() {
    return Kernel::MakeCounted<RemoveBGCommand>(static_cast<OstraAICommandSource>(4));
}

struct RemoveBackground : testing::Test {
    Kernel::Counted<RasterNode> AddLayer(Raster::Format format, int width = 40, int height = 30) {
        auto const layer = ExampleDocuments::AppendPicture(*document, width, height, format, {1, 0, 20, 0, 1, 10});
        layers.push_back(layer);
        ExampleDocuments::Select(*document, {layers.begin(), layers.end()});
        return layer;
    }

    ExampleDocuments::ScriptedModels models;
    Kernel::Counted<DocumentController> document = Support::NewDocument();
    std::vector<Kernel::Counted<Node>> layers;
    Reports reports;
};

TEST_F(RemoveBackground, TheAnswersPixelsTakeTheLayersPlaceAndAreUndone) {
    auto const layer = AddLayer(Raster::FormatRGBA8);
    auto const before = layer->GetBitmap();
    auto const hash = document->GetHash(false);
    document->Run(MakeRemoval());
    EXPECT_EQ(0, layer->GetBitmap()->GetBase()->GetPixel(10, 15).GetSample(3));
    EXPECT_EQ(before->GetBase()->GetPixel(30, 15), layer->GetBitmap()->GetBase()->GetPixel(30, 15));
    EXPECT_EQ("completed", reports.Kinds());
    document->Undo();
    EXPECT_EQ(hash, document->GetHash(false));
}

TEST_F(RemoveBackground, TheReportHasOnlyTheKindAndHowItEnded) {
    AddLayer(Raster::FormatRGBA8);
    document->Run(MakeRemoval());
    auto const& completed = reports.Completed();
    EXPECT_EQ(2, static_cast<int>(completed.operation.value()));
    EXPECT_EQ(0, completed.reserved);
    EXPECT_FALSE(completed.model || completed.style || completed.aspect || completed.guidanceMode || completed.prompt ||
                 completed.secondaryPrompt || completed.enhancesPrompt || completed.enhancedPrompt ||
                 completed.requestedCount || completed.returnedCount);
    EXPECT_EQ("", completed.resultDetail->view());
    EXPECT_EQ(0, completed.resultCode);
    EXPECT_TRUE(completed.durationMilliseconds);
}

TEST_F(RemoveBackground, ALayerOfAlphaOnlyIsAskedAboutAndStaysAsItIs) {
    auto const layer = AddLayer(Raster::FormatA8);
    auto const before = layer->GetBitmap();
    models.remover->format = Raster::FormatRGBA8;
    auto const command = MakeRemoval();
    document->Run(command);
    EXPECT_EQ(1, models.remover->requestCount);
    EXPECT_TRUE(layer->GetBitmap()->GetBase()->HasEqualPixels(*before->GetBase()));
    // All of it is told to have changed, so that it is a step.
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
    auto const list = Support::NotificationsOf(*command);
    EXPECT_EQ(1, CountOf<InvalidateDocumentNotification>(list));
}

// By the plain rules and not through profiles: full red in RGB becomes magenta and yellow alone.
TEST_F(RemoveBackground, AnAnswerInRGBComesIntoALayerOfInkByThePlainRules) {
    auto const layer = AddLayer(Raster::FormatCMYKA8, 300, 20);
    auto const before = layer->GetBitmap();
    models.remover->format = Raster::FormatRGBA8;
    document->Run(MakeRemoval());
    for (int const x : {120, 180, 230}) {
        auto const was = before->GetBase()->GetPixel(x, 10);
        auto const now = layer->GetBitmap()->GetBase()->GetPixel(x, 10);
        double rgb[3];
        for (int c = 0; c != 3; ++c) {
            double const ink = was.GetSample(c) / 255, black = was.GetSample(3) / 255;
            rgb[c] = std::round((1 - std::min(1.0, ink * (1 - black) + black)) * 255) / 255;
        }
        double const black = std::min({1 - rgb[0], 1 - rgb[1], 1 - rgb[2]});
        for (int c = 0; c != 3; ++c)
            EXPECT_NEAR(black < 1 ? (1 - rgb[c] - black) / (1 - black) * 255 : 0, now.GetSample(c), 0.51);
        EXPECT_NEAR(black * 255, now.GetSample(3), 0.51);
        EXPECT_EQ(was.GetSample(4), now.GetSample(4));
    }
    EXPECT_EQ(Raster::FormatCMYKA8, layer->GetBitmap()->GetFormat());
}

TEST_F(RemoveBackground, AFailureLeavesTheLayerAndIsNoStepWhileDoComesToItsEnd) {
    auto const layer = AddLayer(Raster::FormatRGBA8);
    auto const bitmap = layer->GetBitmap();
    models.remover->results = {Refusal()};
    auto const command = MakeRemoval();
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_NO_THROW(document->Run(command));
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_EQ(bitmap, layer->GetBitmap());
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
    EXPECT_EQ("completed failed", reports.Kinds());
    auto const failed = reports.Get<AIOperationFailedNotification>();
    EXPECT_EQ("Remove Background Failed", failed->GetTitle().GetText().view());
    EXPECT_EQ("Remote inference", failed->GetTitle().GetContext().view());
    EXPECT_EQ(static_cast<OstraAICommandSource>(4), failed->GetSource());
}

TEST_F(RemoveBackground, OneFailureAmongSeveralLayersLeavesThemAll) {
    AddLayer(Raster::FormatRGBA8);
    AddLayer(Raster::FormatRGBA16);
    models.remover->results = {{}, Refusal()};
    auto const before = document->GetHash(true);
    document->Run(MakeRemoval());
    EXPECT_EQ(2, models.remover->requestCount);
    EXPECT_EQ(before, document->GetHash(true));
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
}

TEST_F(RemoveBackground, ALoadedCommandHasNoSourceAndIsNeverStacked) {
    auto const made = RemoveBGCommand::CreateObject();
    auto const* const command = Kernel::CastPointer<RemoveBGCommand>(made.get());
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_EQ(OstraAICommandSource::Unknown, command->GetSource());
    auto const copy = Kernel::Cast<RemoveBGCommand>(MakeRemoval()->Clone());
    EXPECT_EQ(static_cast<OstraAICommandSource>(4), copy->GetSource());
    EXPECT_TRUE(copy->ShouldStackForUndo());
}

TEST_F(RemoveBackground, ALoadedStepPutsThePixelsBackWithoutAsking) {
    AddLayer(Raster::FormatRGBA16);
    auto const before = document->GetHash(false);
    document->Run(MakeRemoval());
    auto const done = document->GetHash(false);
    auto const path = testing::TempDir() + "remove_bg.redraft";
    document->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    loaded->Undo();
    EXPECT_EQ(before, loaded->GetHash(false));
    loaded->Redo();
    EXPECT_EQ(done, loaded->GetHash(false));
    EXPECT_EQ(1, models.remover->requestCount);
}

TEST_F(RemoveBackground, ALoadedStepWithoutASelectionDoesNotTakeTodays) {
    AddLayer(Raster::FormatRGBA8);
    auto const command = Kernel::Cast<RemoveBGCommand>(RemoveBGCommand::CreateObject());
    command->DocumentCommand::PostLoad(document);
    command->PostLoad(document);
    auto const before = document->GetHash(false);
    EXPECT_FALSE(command->GetSelection());
    command->Redo();
    command->Undo();
    EXPECT_EQ(before, document->GetHash(false));
    EXPECT_EQ(0, models.remover->requestCount);
}

TEST_F(RemoveBackground, IsNoPartOfMacrosAndCompounds) {
    AddLayer(Raster::FormatRGBA8);
    document->StartMacroRecording("none");
    document->Run(MakeRemoval());
    EXPECT_TRUE(document->StopMacroRecording()->GetCommands().empty());
    auto const compound = Kernel::MakeCounted<CompoundCommand>(false, true, true);
    EXPECT_THROW(compound->AppendCommand(MakeRemoval()), Kernel::Exception);
    EXPECT_TRUE(compound->GetCommands().empty());
}

TEST_F(RemoveBackground, NeitherSelectedPixelsNorTheChannelMaskHaveASay) {
    ExampleDocuments::SelectedPixels(*document);
    document->SetChannelMask(1);
    document->Run(MakeRemoval());
    auto const* const layer =
        Kernel::CastPointer<RasterNode>(document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain));
    ASSERT_NE(nullptr, layer);
    auto const& base = *layer->GetBitmap()->GetBase();
    EXPECT_EQ(0, base.GetPixel(5, 265).GetSample(3));
    EXPECT_EQ(0, base.GetPixel(90, 130).GetSample(3));
}

TEST_F(RemoveBackground, ReadersGetInWhileTheServiceWorks) {
    AddLayer(Raster::FormatRGBA8);
    bool didRead = false;
    models.remover->during = [&](auto&) {
        std::thread([&] {
            auto const lock = document->LockForReading();
            didRead = true;
        }).join();
    };
    document->Run(MakeRemoval());
    EXPECT_TRUE(didRead);
}

TEST_F(RemoveBackground, AnExceptionOfTheBackEndLeavesAllLayersAndTheDocumentUsable) {
    AddLayer(Raster::FormatRGBA8);
    AddLayer(Raster::FormatIA8);
    auto const before = document->GetHash(true);
    models.remover->during = [&](auto&) {
        if (models.remover->requestCount == 2)
            throw Kernel::Exception("the back end broke");
    };
    EXPECT_THROW(document->Run(MakeRemoval()), Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(true));
    models.remover->during = {};
    document->Run(MakeRemoval());
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
}

// Each pair of formats with colours is what the plain rules make of a pixel; those of alpha only are left alone.
TEST(ConvertPixelsInto, EveryPairOfFormatsFollowsThePlainRules) {
    for (int to = 0; to != Raster::c_formatCount; ++to) {
        for (int from = 0; from != Raster::c_formatCount; ++from) {
            auto const target = static_cast<Raster::Format>(to), source = static_cast<Raster::Format>(from);
            if (target == Raster::FormatNone || source == Raster::FormatNone)
                continue;
            auto const answer = ExampleDocuments::MakePicture(300, 40, source);
            auto const layer =
                Kernel::MakeCounted<Raster::DynamicBitmap>(300, 40, target, Raster::MipmapMode::Immediate);
            layer->GetBase()->UpdateMipmaps(0, nullptr);
            auto const before = layer->Clone(nullptr);
            Commands::ConvertPixelsInto(*layer, *answer);
            auto const isAlpha = [](Raster::Format format) { return Raster::GetFormatInfo(format).channelCount == 1; };
            if (isAlpha(target) || isAlpha(source)) {
                EXPECT_TRUE(layer->GetBase()->HasEqualPixels(*before->GetBase())) << from << " to " << to;
                continue;
            }
            for (int const x : {0, 17, 150, 299})
                EXPECT_EQ(answer->GetBase()->GetPixel(x, 20).Converted(target), layer->GetBase()->GetPixel(x, 20))
                    << from << " to " << to;
            EXPECT_TRUE(layer->GetBase()->IsMipmapValid(1)) << from << " to " << to;
        }
    }
}

TEST(ConvertPixelsInto, PixelsBeyondTheSourceBecomeClear) {
    auto const layer = ExampleDocuments::MakePicture(60, 60, Raster::FormatRGBA16);
    Commands::ConvertPixelsInto(*layer, *ExampleDocuments::MakePicture(30, 60, Raster::FormatRGBA8));
    EXPECT_EQ(Raster::DynamicPixel(Raster::FormatRGBA16), layer->GetBase()->GetPixel(45, 30));
    EXPECT_NE(0, layer->GetBase()->GetPixel(15, 30).GetSample(3));
}

} // namespace
