// SPDX-License-Identifier: Apache-2.0
#include "generative/generate_vector_node_command.h"

#include "platform/document/vectorise_object_command.h"
#include "tests/generative/generative_fixture.h"

using Commands::GenerateVectorNodeCommand;

namespace {

using Inference = Learning::RemoteInference;

Kernel::Counted<GenerateVectorNodeCommand> MakeVectorCommand(bool enhance = false) {
    return Kernel::MakeCounted<GenerateVectorNodeCommand>(
        static_cast<OstraAICommandSource>(3), Inference::TextToImageAspect::Tall, nullptr,
        Inference::TextToImageGuidanceMode::Loose, "a flag", "stripes", enhance, 0);
}

struct GenerateVector : testing::Test {
    GenerateVector() {
        models.generator->isPlain = true;
        models.generator->sizes = {{120, 80}};
    }
    Kernel::Counted<GroupNode> FindGroup() const {
        return Kernel::Counted<GroupNode>(
            Kernel::CastPointer<GroupNode>(document->GetCurrentSpread()->GetLastChild(NodeChildListType::Plain)));
    }

    ExampleDocuments::ScriptedModels models;
    Kernel::Counted<DocumentController> document = Support::NewDocument();
    Reports reports;
};

TEST_F(GenerateVector, AsksTheDefaultModelForOnePictureInTheStyleForTracing) {
    document->Run(MakeVectorCommand(true));
    ASSERT_EQ(1u, models.generator->requests.size());
    auto const& request = models.generator->requests.front();
    EXPECT_EQ(models.generator->model, request.model);
    EXPECT_EQ(8u, static_cast<unsigned>(request.style));
    EXPECT_EQ(1, request.count);
    EXPECT_EQ(Inference::TextToImageAspect::Tall, request.aspect);
    EXPECT_EQ(Inference::TextToImageGuidanceMode::Loose, request.guidanceMode);
    EXPECT_EQ("stripes", request.secondaryPrompt.view());
    EXPECT_TRUE(request.enhancesPrompt);
    EXPECT_FALSE(request.guidanceImage);
}

TEST_F(GenerateVector, TheReportHasNeitherAspectNorRequestedCount) {
    document->Run(MakeVectorCommand());
    EXPECT_EQ("completed", reports.Kinds());
    auto const& completed = reports.Completed();
    EXPECT_FALSE(completed.aspect);
    EXPECT_FALSE(completed.requestedCount);
    EXPECT_EQ(8u, static_cast<unsigned>(completed.style.value()));
    EXPECT_EQ(models.generator->model, completed.model);
    EXPECT_EQ(AIOperationCompletedNotification::Operation::Generate, completed.operation);
    EXPECT_EQ(0, completed.reserved);
    EXPECT_EQ(Inference::TextToImageGuidanceMode::Loose, completed.guidanceMode);
    EXPECT_EQ("a flag", completed.prompt->view());
    EXPECT_EQ("stripes", completed.secondaryPrompt->view());
    EXPECT_EQ(false, completed.enhancesPrompt);
    EXPECT_EQ("", completed.enhancedPrompt->view());
    EXPECT_EQ(1, completed.returnedCount);
    EXPECT_EQ(0, completed.resultCode);
    EXPECT_TRUE(completed.durationMilliseconds);
}

TEST_F(GenerateVector, ARewrittenPromptIsTheGroupsNameAndIsNotToldByItself) {
    models.generator->rewritten = "a proud flag";
    document->Run(MakeVectorCommand(true));
    EXPECT_EQ("completed", reports.Kinds());
    EXPECT_EQ("a proud flag", reports.Completed().enhancedPrompt->view());
    ASSERT_TRUE(FindGroup());
    EXPECT_EQ("a proud flag", FindGroup()->GetDescription(false).view());
    EXPECT_TRUE(FindGroup()->HasChildren(NodeChildListType::Plain));
}

TEST_F(GenerateVector, ADrawingThatIsLargerThanTheSpreadIsCentredAndNotScaled) {
    models.generator->sizes = {{900, 100}};
    document->Run(MakeVectorCommand());
    auto const bounds = FindGroup()->GetBounds(false);
    EXPECT_NEAR(900, bounds.GetWidth(), 2);
    EXPECT_NEAR(200, (bounds.left + bounds.right) / 2, 1e-6);
    EXPECT_NEAR(150, (bounds.top + bounds.bottom) / 2, 1e-6);
    auto const matrix = FindGroup()->GetMatrix();
    EXPECT_EQ(1, matrix.a);
    EXPECT_EQ(1, matrix.d);
}

TEST_F(GenerateVector, TheDocumentRemembersACopyWithoutFormatAndProfiles) {
    document->GetDocument()->SetFormat(Raster::FormatRGBA16);
    document->Run(MakeVectorCommand());
    auto const remembered = Remembered(*document);
    ASSERT_EQ(1u, remembered.size());
    EXPECT_EQ(0, static_cast<int>(remembered.front()->GetFormat()));
    EXPECT_EQ(Raster::ICCProfileSet(), remembered.front()->GetProfiles());
    auto const* const copy = Kernel::CastPointer<GroupNode const>(remembered.front()->GetNode().get());
    ASSERT_NE(nullptr, copy);
    EXPECT_TRUE(copy->GetMatrix().IsIdentity());
    EXPECT_EQ(FindGroup()->CountChildren(NodeChildListType::Plain), copy->CountChildren(NodeChildListType::Plain));
}

TEST_F(GenerateVector, AFailureLeavesNoGroupAndNothingRemembered) {
    models.generator->result = Refusal();
    auto const command = MakeVectorCommand();
    auto const before = document->GetHash(true);
    document->Run(command);
    EXPECT_EQ("completed failed", reports.Kinds());
    EXPECT_EQ("Image Generation Failed", reports.Get<AIOperationFailedNotification>()->GetTitle().GetText().view());
    EXPECT_EQ(static_cast<OstraAICommandSource>(3), reports.Get<AIOperationFailedNotification>()->GetSource());
    EXPECT_EQ(before, document->GetHash(true));
    EXPECT_FALSE(FindGroup());
    EXPECT_TRUE(Remembered(*document).empty());
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_EQ(0u, document->GetHistory()->GetCount());
}

TEST_F(GenerateVector, DoTellsThatGenerationsChangedAndAsksForNoPanel) {
    auto const command = MakeVectorCommand();
    Support::Bind(*document, *command);
    command->Do();
    auto const done = Support::NotificationsOf(*command);
    EXPECT_TRUE(Support::As<GenerationsChangedNotification>(done.back()));
    EXPECT_EQ(0, CountOf<ShowPanelNotification>(done));
    command->Undo();
    EXPECT_EQ(0, CountOf<GenerationsChangedNotification>(Support::NotificationsOf(*command)));
    command->Redo();
    EXPECT_EQ(0, CountOf<GenerationsChangedNotification>(Support::NotificationsOf(*command)));
    EXPECT_FALSE(command->Clone());
    EXPECT_EQ("Generate vector drawing", command->GetDescription().GetText().view());
}

TEST_F(GenerateVector, AFreshCommandForLoadingIsNeverStacked) {
    auto const made = GenerateVectorNodeCommand::CreateObject();
    EXPECT_FALSE(Kernel::CastPointer<GenerateVectorNodeCommand>(made.get())->ShouldStackForUndo());
}

} // namespace
