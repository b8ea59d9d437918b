// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_image_node_command.h"

#include "generative/generated_object.h"
#include "platform/kernel/exception.h"
#include "tests/generative/generative_fixture.h"

#include <cmath>
#include <thread>

using Commands::GenerateImageNodeCommand, Commands::GetFitting, Commands::GetCentring;

namespace {

using Inference = Learning::RemoteInference;
using Params = Raster::AffineTransform::Params;
using Box = Kernel::RectT<double>;

Kernel::Counted<GenerateImageNodeCommand> MakeImageCommand(int count = 1, bool enhance = false) {
    Inference::TextToImageModel model;
    model.name = "fine";
    return Kernel::MakeCounted<GenerateImageNodeCommand>(
        static_cast<OstraAICommandSource>(7), model, Inference::TextToImageAspect::Wide,
        Kernel::MakeCounted<Raster::BufferRGBA8>(3, 2), Inference::TextToImageGuidanceMode::Close, "a whale", "ships",
        count, enhance, Inference::GenerationStyle::Comic, 5);
}

GeneratedImageNode* FindNode(DocumentController& document) {
    return Kernel::CastPointer<GeneratedImageNode>(document.GetCurrentSpread()->GetLastChild(NodeChildListType::Plain));
}

struct GenerateImage : testing::Test {
    ExampleDocuments::ScriptedModels models;
    Kernel::Counted<DocumentController> document = Support::NewDocument();
    Reports reports;
};

TEST_F(GenerateImage, AsksWithAllThatItWasGiven) {
    document->Run(MakeImageCommand(2, true));
    ASSERT_EQ(1u, models.generator->requests.size());
    auto const& request = models.generator->requests.front();
    EXPECT_EQ("fine", request.model.name.view());
    EXPECT_EQ(Inference::TextToImageAspect::Wide, request.aspect);
    ASSERT_TRUE(request.guidanceImage);
    EXPECT_EQ(3, request.guidanceImage->GetWidth());
    EXPECT_EQ(Inference::TextToImageGuidanceMode::Close, request.guidanceMode);
    EXPECT_EQ("a whale", request.prompt.view());
    EXPECT_EQ("ships", request.secondaryPrompt.view());
    EXPECT_TRUE(request.enhancesPrompt);
    EXPECT_EQ(Inference::GenerationStyle::Comic, request.style);
    EXPECT_EQ(2, request.count);
}

TEST_F(GenerateImage, TellsWithAllFieldsThatARequestIsAnswered) {
    models.generator->rewritten = "a very large whale";
    models.generator->during = [](auto&, auto&) { std::this_thread::sleep_for(std::chrono::milliseconds(3)); };
    document->Run(MakeImageCommand(2, true));
    EXPECT_EQ("completed enhanced", reports.Kinds());
    auto const& completed = reports.Completed();
    EXPECT_EQ(AIOperationCompletedNotification::Operation::Generate, completed.operation);
    EXPECT_EQ(0, completed.reserved);
    ASSERT_TRUE(completed.model);
    EXPECT_EQ("fine", completed.model->name.view());
    EXPECT_EQ(Inference::GenerationStyle::Comic, completed.style);
    EXPECT_EQ(Inference::TextToImageAspect::Wide, completed.aspect);
    EXPECT_EQ(Inference::TextToImageGuidanceMode::Close, completed.guidanceMode);
    EXPECT_EQ("a whale", completed.prompt->view());
    EXPECT_EQ("ships", completed.secondaryPrompt->view());
    EXPECT_EQ(true, completed.enhancesPrompt);
    EXPECT_EQ("a very large whale", completed.enhancedPrompt->view());
    EXPECT_EQ(2, completed.requestedCount);
    EXPECT_EQ(2, completed.returnedCount);
    EXPECT_EQ("", completed.resultDetail->view());
    EXPECT_EQ(0, completed.resultCode);
    EXPECT_GE(completed.durationMilliseconds.value(), 3);
    auto const enhanced = reports.Get<PromptEnhancedNotification>();
    EXPECT_EQ("a whale", enhanced->GetPrompt().view());
    EXPECT_EQ("a very large whale", enhanced->GetEnhancedPrompt().view());
    EXPECT_EQ("a very large whale", FindNode(*document)->GetDescription(false).view());
}

TEST_F(GenerateImage, APromptThatTheServiceLeavesAloneIsNotToldOf) {
    document->Run(MakeImageCommand(1, false));
    EXPECT_EQ("completed", reports.Kinds());
    EXPECT_EQ(false, reports.Completed().enhancesPrompt);
    EXPECT_EQ("", reports.Completed().enhancedPrompt->view());
}

// Without being asked to: the report of the prompt goes by the texts, the field by the flag.
TEST_F(GenerateImage, APromptThatIsRewrittenUnaskedIsToldOfButNotInTheFirstReport) {
    models.generator->rewritten = "another";
    document->Run(MakeImageCommand(1, false));
    EXPECT_EQ("completed enhanced", reports.Kinds());
    EXPECT_EQ("", reports.Completed().enhancedPrompt->view());
}

TEST_F(GenerateImage, AFailureIsToldInTwoReportsInOrderAndIsNoStep) {
    models.generator->result = Refusal();
    auto const command = MakeImageCommand();
    auto const before = document->GetHash(true);
    document->Run(command);
    EXPECT_EQ("completed failed", reports.Kinds());
    EXPECT_EQ(Inference::Refused, reports.Completed().resultCode);
    EXPECT_EQ("the service refuses such words", reports.Completed().resultDetail->view());
    EXPECT_EQ(0, reports.Completed().returnedCount);
    auto const failed = reports.Get<AIOperationFailedNotification>();
    EXPECT_EQ(Inference::Refused, failed->GetResult().code);
    EXPECT_EQ("Image Generation Failed", failed->GetTitle().GetText().view());
    EXPECT_EQ("Remote inference", failed->GetTitle().GetContext().view());
    EXPECT_EQ(static_cast<OstraAICommandSource>(7), failed->GetSource());
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
    EXPECT_EQ(before, document->GetHash(true));
    EXPECT_TRUE(Remembered(*document).empty());
}

TEST_F(GenerateImage, ARewrittenPromptIsToldOfBeforeAFailureAndKept) {
    models.generator->rewritten = "a polite whale";
    models.generator->result = Refusal();
    auto const command = MakeImageCommand(1, true);
    document->Run(command);
    EXPECT_EQ("completed enhanced failed", reports.Kinds());
    EXPECT_EQ("a polite whale", command->GetPrompt().view());
}

TEST_F(GenerateImage, NotifyAddsNothingOfItsOwnAfterAFailure) {
    models.generator->result = Refusal();
    auto const command = MakeImageCommand();
    Support::Bind(*document, *command);
    command->Do();
    auto const list = Support::NotificationsOf(*command);
    EXPECT_EQ(0, CountOf<GenerationsChangedNotification>(list));
    EXPECT_EQ(0, CountOf<ShowPanelNotification>(list));
    EXPECT_FALSE(command->ShouldStackForUndo());
}

TEST_F(GenerateImage, OnlyDoAsksForThePanelOfGenerations) {
    auto const command = MakeImageCommand();
    Support::Bind(*document, *command);
    command->Do();
    auto const done = Support::NotificationsOf(*command);
    ASSERT_GE(done.size(), 2u);
    EXPECT_TRUE(Support::As<GenerationsChangedNotification>(done[done.size() - 2]));
    auto const panel = Support::As<ShowPanelNotification>(done.back());
    ASSERT_TRUE(panel);
    EXPECT_EQ(10u, static_cast<unsigned>(panel->GetPanel()));
    EXPECT_FALSE(panel->GetInfo());
    command->Undo();
    auto const undone = Support::NotificationsOf(*command);
    command->Redo();
    auto const redone = Support::NotificationsOf(*command);
    for (auto const* const list : {&undone, &redone}) {
        EXPECT_EQ(0, CountOf<GenerationsChangedNotification>(*list));
        EXPECT_EQ(0, CountOf<ShowPanelNotification>(*list));
    }
    EXPECT_EQ(done.size() - 2, redone.size());
    EXPECT_EQ(1u, models.generator->requests.size());
}

TEST_F(GenerateImage, SeveralPicturesAreGenerationsOfOneObjectInTheirOrder) {
    models.generator->sizes = {{30, 20}, {40, 25}, {50, 10}};
    document->Run(MakeImageCommand(3));
    auto const spread = document->GetCurrentSpread();
    EXPECT_EQ(1, static_cast<int>(spread->CountChildren(NodeChildListType::Plain)));
    auto const* const node = FindNode(*document);
    ASSERT_NE(nullptr, node);
    ASSERT_EQ(3u, node->GetGenerations().size());
    for (std::size_t i = 0; i != 3; ++i) {
        EXPECT_EQ(models.generator->sizes[i], node->GetGenerations()[i].GetImage()->GetSize());
        EXPECT_EQ("a whale", node->GetGenerations()[i].GetPrompt().view());
        EXPECT_TRUE(node->GetGenerations()[i].GetTransform().IsIdentity());
    }
    EXPECT_EQ(0u, node->GetChosenGeneration());
    auto const mask = node->GetGenerationMask();
    EXPECT_EQ(Raster::FormatA8, mask->GetFormat());
    EXPECT_EQ(Raster::MipmapMode::Deferred, mask->GetMipmapMode());
    EXPECT_EQ((Kernel::SizeT<int>{30, 20}), mask->GetSize());
    EXPECT_EQ(255, mask->GetBase()->GetPixel(29, 19).GetSample(0));
    EXPECT_EQ(std::vector<Kernel::Counted<Node>>{Kernel::Counted<Node>(FindNode(*document))},
              document->GetCurrentSelection()->GetNodes());
}

TEST_F(GenerateImage, PicturesComeIntoTheDocumentsFormatAndProfile) {
    document->GetDocument()->SetFormat(Raster::FormatIA16);
    document->Run(MakeImageCommand());
    auto const* const node = FindNode(*document);
    auto const image = node->GetGenerations().front().GetImage();
    EXPECT_EQ(Raster::FormatIA16, image->GetFormat());
    EXPECT_EQ(document->GetProfiles().Get(Raster::ColourModel::Grey), image->GetProfile());
    EXPECT_EQ(Raster::FormatA16, node->GetGenerationMask()->GetFormat());
}

TEST_F(GenerateImage, TheDocumentRemembersACopyFromBeforeItWasPlaced) {
    models.generator->sizes = {{800, 100}};
    document->Run(MakeImageCommand());
    auto const* const node = FindNode(*document);
    EXPECT_FALSE(node->GetMatrix().IsIdentity());
    auto const remembered = Remembered(*document);
    ASSERT_EQ(1u, remembered.size());
    auto const* const copy = Kernel::CastPointer<GeneratedImageNode const>(remembered.front()->GetNode().get());
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(node, copy);
    EXPECT_TRUE(copy->GetMatrix().IsIdentity());
    EXPECT_EQ(node->GetGenerations(), copy->GetGenerations());
    EXPECT_EQ(document->GetFormat(), remembered.front()->GetFormat());
    EXPECT_EQ(document->GetProfiles(), remembered.front()->GetProfiles());
    document->Undo();
    EXPECT_EQ(1u, Remembered(*document).size());
}

TEST_F(GenerateImage, APictureThatIsTooWideIsScaledToFitWithItsAspect) {
    models.generator->sizes = {{800, 100}};
    document->Run(MakeImageCommand());
    auto const bounds = FindNode(*document)->GetBounds(true);
    EXPECT_NEAR(0, bounds.left, 1e-9);
    EXPECT_NEAR(400, bounds.right, 1e-9);
    EXPECT_NEAR(125, bounds.top, 1e-9);
    EXPECT_NEAR(175, bounds.bottom, 1e-9);
}

TEST_F(GenerateImage, APictureThatIsTooHighIsScaledToFitWithItsAspect) {
    models.generator->sizes = {{100, 600}};
    document->Run(MakeImageCommand());
    auto const bounds = FindNode(*document)->GetBounds(true);
    EXPECT_NEAR(0, bounds.top, 1e-9);
    EXPECT_NEAR(300, bounds.bottom, 1e-9);
    EXPECT_NEAR(175, bounds.left, 1e-9);
    EXPECT_NEAR(225, bounds.right, 1e-9);
}

TEST_F(GenerateImage, ASmallPictureIsCentredAndNeverEnlarged) {
    models.generator->sizes = {{40, 30}};
    document->Run(MakeImageCommand());
    EXPECT_EQ((Params{1, 0, 180, 0, 1, 135}), FindNode(*document)->GetMatrix());
}

TEST(GenerativePlaces, FittingFollowsTheRuleWhereSidesAreZeroOrNoNumbers) {
    Box const spread{0, 0, 400, 300};
    EXPECT_EQ((Params{1, 0, -100, 0, 1, 50}), GetFitting({200, 50, 400, 150}, spread));
    // As large as the spread: it fits.
    EXPECT_TRUE(GetFitting(spread, spread).IsIdentity());
    // Without height: the width becomes the spread's.
    EXPECT_EQ((Params{0.5, 0, 0, 0, 1, 140}), GetFitting({0, 10, 800, 10}, spread));
    // Without width: the height would be the spread's, the width nothing.
    EXPECT_EQ((Params{1, 0, 190, 0, 0.5, 0}), GetFitting({10, 0, 10, 600}, spread));
    // A spread without height: the target is as wide as the spread.
    auto const onFlat = GetFitting({0, 0, 800, 200}, {0, 50, 400, 50});
    EXPECT_EQ((Params{0.5, 0, 0, 0, 0.5, 0}), onFlat);
    // A height that is no number is not zero; nothing is larger than the spread but the width.
    double const nan = std::nan("");
    auto const withNaN = GetFitting({0, 0, 800, nan}, spread);
    EXPECT_EQ(0.5, withNaN.a);
    EXPECT_TRUE(std::isnan(withNaN.d));
    EXPECT_EQ((Params{1, 0, 5, 0, 1, 5}), GetCentring({0, 0, 10, 10}, {5, 5, 15, 15}));
}

TEST_F(GenerateImage, ReadersGetInWhileTheServiceWorksAndFindTheDocumentUnchanged) {
    auto const before = document->GetHash(false);
    bool didRead = false;
    models.generator->during = [&](auto&, auto&) {
        std::thread([&] {
            auto const lock = document->LockForReading();
            didRead = document->GetCurrentSpread()->CountChildren(NodeChildListType::Plain) == 0;
        }).join();
    };
    int reportsRead = 0;
    reports.during = [&] {
        std::thread([&] {
            auto const lock = document->LockForReading();
            ++reportsRead;
        }).join();
    };
    models.generator->rewritten = "else";
    document->Run(MakeImageCommand());
    EXPECT_TRUE(didRead);
    EXPECT_EQ(2, reportsRead);
    EXPECT_NE(before, document->GetHash(false));
}

TEST_F(GenerateImage, AnExceptionOfTheBackEndGoesThroughAndLeavesTheDocumentUsable) {
    models.generator->during = [](auto&, auto&) { throw Kernel::Exception("the back end broke"); };
    auto const before = document->GetHash(true);
    EXPECT_THROW(document->Run(MakeImageCommand()), Kernel::Exception);
    EXPECT_EQ("", reports.Kinds());
    EXPECT_EQ(before, document->GetHash(true));
    models.generator->during = {};
    document->Run(MakeImageCommand());
    EXPECT_EQ(1u, document->GetHistory()->GetCount());
}

TEST_F(GenerateImage, ProgressReachesTheDocumentsListener) {
    struct Listener final : ProgressListener {
        void Progress(DomainCommand const& command, float fraction) override { heard.emplace_back(&command, fraction); }
        std::vector<std::pair<DomainCommand const*, float>> heard;
    } listener;
    models.generator->during = [](auto&, auto const& call) { std::thread([&] { call.Report(0.75f); }).join(); };
    document->SetProgressListener(&listener);
    auto const command = MakeImageCommand();
    document->Run(command);
    document->SetProgressListener(nullptr);
    std::vector<std::pair<DomainCommand const*, float>> const expected{{command.get(), 0.5f}, {command.get(), 0.75f}};
    EXPECT_EQ(expected, listener.heard);
}

TEST_F(GenerateImage, SaysWhatItIs) {
    auto const command = MakeImageCommand();
    EXPECT_EQ(DomainCommand::ProgressType::LargeBar, command->GetProgressType());
    EXPECT_EQ(0, command->GetProgressInterval());
    EXPECT_EQ(nullptr, command->GetProgressAbortPointer());
    EXPECT_FALSE(command->Clone());
    EXPECT_EQ("Generate image", command->GetDescription().GetText().view());
    EXPECT_EQ("Command description", command->GetDescription().GetContext().view());
}

TEST_F(GenerateImage, AFreshCommandForLoadingIsNeverStacked) {
    auto const made = GenerateImageNodeCommand::CreateObject();
    auto const* const command = Kernel::CastPointer<GenerateImageNodeCommand>(made.get());
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_EQ(OstraAICommandSource::Unknown, command->GetSource());
    EXPECT_TRUE(MakeImageCommand()->ShouldStackForUndo());
}

TEST_F(GenerateImage, ALoadedStepIsUndoneAndRedoneWithoutAsking) {
    document->Run(MakeImageCommand(2));
    auto const done = document->GetHash(false);
    auto const path = testing::TempDir() + "generate_image.redraft";
    document->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    loaded->Undo();
    EXPECT_EQ(nullptr, loaded->GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain));
    loaded->Redo();
    EXPECT_EQ(done, loaded->GetHash(false));
    EXPECT_EQ(1u, models.generator->requests.size());
    EXPECT_EQ("completed", reports.Kinds());
}

} // namespace
