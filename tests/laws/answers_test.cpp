// SPDX-License-Identifier: Apache-2.0
// The answers of commands that do not come from the document, and the direction that every command keeps. All classes
// that answer otherwise than most are named here.

#include "frame/view/flip_canvas_command.h"
#include "lines/set_artboard_properties_command.h"
#include "lines/set_line_descriptor_command.h"
#include "lines/set_scale_line_style_command.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "raster/replace_bitmap_command.h"
#include "shapes/convert_to_art_text_command.h"
#include "shapes/divide_shapes_command.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"
#include "tests/frame/registry_table.h"
#include "tests/laws/example_run.h"
#include "tests/support/records.h"
#include "text/change_cross_reference_command.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string_view>

namespace {

using Direction = DomainCommand::Direction;
using Names = std::set<std::string_view>;
using Progress = DomainCommand::ProgressType;

// A filter may read many records, so that these tell how far they are, and can be stopped.
Names const c_filterCommands{"AddDataMergeFilterClauseCommand",
                             "AddDataMergeFilterCommand",
                             "AddDataMergeFilterRuleCommand",
                             "DeleteDataMergeFilterClauseCommand",
                             "DeleteDataMergeFilterCommand",
                             "SetDataMergeFilterAllowedRecords",
                             "SetDataMergeFilterEnabledCommand",
                             "SetDataMergeJavaScriptFilterNameCommand",
                             "SetDataMergeJavaScriptFilterScriptCommand",
                             "SetDataMergeProcessFilterActionCommand",
                             "SetDataMergeProcessFilterReplacementFieldCommand",
                             "SetDataMergeProcessFilterReplacementValueCommand",
                             "SetDataMergeProcessFilterWarningMessageCommand",
                             "SetDataMergeSortFilterAscendingCommand",
                             "SetDataMergeSortFilterFieldIdCommand",
                             "SetDataMergeValueFilterClauseCombineCommand",
                             "SetDataMergeValueFilterFieldIdCommand",
                             "SetDataMergeValueFilterMatchValueCommand",
                             "SetDataMergeValueFilterMatchValuesCommand",
                             "SetDataMergeValueFilterMatchValuesIncludeAllCommand",
                             "SetDataMergeValueFilterOperatorCommand",
                             "SetDataMergeValueFilterRuleCombineCommand"};
Names const c_longCommands{"DivideShapesCommand",
                           "FlattenCommand",
                           "GenerateImageNodeCommand",
                           "GenerateVectorNodeCommand",
                           "RasterPluginFilterCommand",
                           "RasterPolarToRectangularCommand",
                           "RasterRectangularToPolarCommand",
                           "RemoveBGCommand"};
Names const c_modelCommands{"GenerateImageNodeCommand", "GenerateVectorNodeCommand", "RemoveBGCommand"};
Names const c_withoutStep{"AddPressureProfileCommand",    "AddViewPointCommand",
                          "ExportStoryCommand",           "InflateUntrustedRasterNodesCommand",
                          "SetAnchorPagesSettingCommand", "SetMasterMigratePagesSettingCommand"};
// Undo and Redo of these are empty.
Names const c_onlyDo{"ExportStoryCommand", "InflateUntrustedRasterNodesCommand", "SetAnchorPagesSettingCommand",
                     "SetMasterMigratePagesSettingCommand"};
// They run once, for the object that they were made for.
Names const c_withoutClone{"AddExportArticleCommand",
                           "DeleteDataMergeSourceCommand",
                           "DeleteExportArticleCommand",
                           "DeleteSymbolCommand",
                           "DivideShapesCommand",
                           "EditWrapShapeCommand",
                           "ExportStoryCommand",
                           "GenerateImageNodeCommand",
                           "GenerateVectorNodeCommand",
                           "InflateUntrustedRasterNodesCommand",
                           "LegacySetCrossReferenceTextForLanguageCommand",
                           "LocateTextResourceCommand",
                           "MoveExportArticlesCommand",
                           "RenameExportArticleCommand",
                           "ReparentExportArticlesCommand",
                           "ReplaceBitmapCommand",
                           "SetAnchorPagesSettingCommand",
                           "SetArtboardPropertiesCommand",
                           "SetDataMergeEnabledCommand",
                           "SetDataMergeFetcherOptionsCommand",
                           "SetDataMergeOutputPagesCommand",
                           "SetDataMergeParserOptionsCommand",
                           "SetExportArticleIncludeUntaggedCommand",
                           "SetHideExportArticleFromReaderCommand",
                           "SetMasterMigratePagesSettingCommand"};
Names const c_silent{"AddPressureProfileCommand",
                     "CaptionCounterTypeCommand",
                     "ExportStoryCommand",
                     "InflateUntrustedRasterNodesCommand",
                     "LegacySetCrossReferenceTextForLanguageCommand",
                     "SetAnchorDataGUIDCommand",
                     "SetAnchorPagesSettingCommand",
                     "SetDocumentAccessibilityMetadataCommand",
                     "SetIndexFragmentCommand",
                     "SetMasterMigratePagesSettingCommand"};
// Which have something to tell when texts have changed.
Names const c_tellOfInnerCommands{"DeleteTocStyleCommand", "RenameTocStyleCommand", "UpdateTocStyleCommand"};
Names const c_merging{"AddCustomFieldCommand",
                      "CreateCustomFieldFromTextCommand",
                      "RenameCustomFieldCommand",
                      "RenameExportArticleCommand",
                      "SetBrushFillScaleWithObjectCommand",
                      "SetDataMergeOutputPagesCommand",
                      "SetLineDescriptorCommand",
                      "SetMetadataTagCommand",
                      "SetPenFillScaleWithObjectCommand"};
Names const c_mergingPreviews{"AddPressureProfileCommand", "AddViewPointCommand", "DeleteSymbolCommand"};

// Those of the library: the engine's own commands, which these run, have contracts of their own.
std::vector<std::size_t> ListExamples() {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i != AllExamples().size(); ++i) {
        if (std::ranges::any_of(c_registryTable,
                                [&](auto const& row) { return AllExamples()[i].className == row.name; }))
            numbers.push_back(i);
    }
    return numbers;
}

class Answers : public testing::TestWithParam<std::size_t> {
protected:
    CommandExample const& Example() const { return AllExamples()[GetParam()]; }
    bool IsOneOf(Names const& names) const { return names.contains(Example().className); }
    TemporaryFolder m_folder;
};

TEST_P(Answers, AboutProgressAreThoseOfLongCommands) {
    ExampleRun const run(Example());
    auto const& command = *run.command;
    auto const type = IsOneOf(c_longCommands)                                           ? Progress::LargeBar
                      : IsOneOf(c_filterCommands) || IsOneOf(Names{"FillHolesCommand"}) ? Progress::Bar
                                                                                        : Progress::None;
    EXPECT_EQ(command.GetProgressType(), type);
    if (IsOneOf(c_filterCommands) || IsOneOf(c_modelCommands) || IsOneOf(Names{"DivideShapesCommand"})) {
        int const interval = IsOneOf(c_filterCommands) ? 1000 : IsOneOf(c_modelCommands) ? 0 : 100;
        EXPECT_EQ(command.GetProgressInterval(), interval);
    }
    EXPECT_EQ(command.GetProgressAbortPointer() != nullptr,
              IsOneOf(c_filterCommands) || IsOneOf(Names{"DivideShapesCommand", "FillHolesCommand"}));
    EXPECT_FALSE(command.ProgressHasIntermediateUpdates());
    EXPECT_EQ(command.GetProgressDescription().GetText(), command.GetDescription().GetText());
}

TEST_P(Answers, AboutHistoryAndMacrosAreThoseOfSteps) {
    ExampleRun run(Example());
    auto& command = *run.command;
    if (IsOneOf(c_withoutStep)) {
        EXPECT_FALSE(command.ShouldStackForUndo());
    }
    EXPECT_NE(command.ClearsPreviewCommands(), IsOneOf(Names{"AddViewPointCommand"}));
    EXPECT_NE(command.ShouldStackForMacro(),
              IsOneOf(Names{"AddPressureProfileCommand", "ReplaceBitmapCommand", "SetAnchorPagesSettingCommand",
                            "SetMasterMigratePagesSettingCommand"}));
    EXPECT_NE(command.ShouldPresentInMacro(), IsOneOf(Names{"AssistantExportSetupCommand"}));
    EXPECT_FALSE(command.AvoidMultipleInQueue());
    EXPECT_EQ(command.WillAddChildNodes(),
              IsOneOf(Names{"AddCaptionCommand", "GenerateImageNodeCommand", "GenerateVectorNodeCommand"}));
    EXPECT_FALSE(command.AffectsCrossReferences());
    EXPECT_EQ(!command.Clone(), IsOneOf(c_withoutClone) || IsOneOf(c_filterCommands));
    if (!IsOneOf(Names{"SetIndexFragmentCommand"})) {
        EXPECT_FALSE(command.GetReplacementCommand());
    }
    run.Do();
    EXPECT_EQ(command.IsUnsupportedBeta(), IsOneOf(Names{"LegacySetCrossReferenceTextForLanguageCommand"}));
    EXPECT_NE(command.MakesDOMDirty(), IsOneOf(Names{"AddPressureProfileCommand", "SetAnchorPagesSettingCommand",
                                                     "SetMasterMigratePagesSettingCommand"}));
    if (IsOneOf(c_withoutStep)) {
        EXPECT_FALSE(command.ShouldStackForUndo());
    }
    // A fresh one of the same class can do it again, whatever this one has found.
    EXPECT_EQ(!command.Clone(), IsOneOf(c_withoutClone) || IsOneOf(c_filterCommands));
}

TEST_P(Answers, OnlyTheNamedTellNothing) {
    ExampleRun run(Example());
    run.Do();
    Kernel::NotificationList told;
    run.command->Notify(told);
    if (!IsOneOf(c_tellOfInnerCommands)) {
        EXPECT_EQ(told.empty(), IsOneOf(c_silent));
    }
}

// Notifications, and receivers of visited objects, go by it.
TEST_P(Answers, TheDirectionIsThatOfTheLastOperation) {
    ExampleRun run(Example());
    run.Do();
    EXPECT_EQ(run.command->GetDirection(), Direction::Do);
    if (Example().isShell || Example().doesNothing)
        return;
    if (!run.controller->GetLastResult().stacked) {
        bool const isTakenBack = !IsOneOf(c_onlyDo);
        run.command->Undo();
        EXPECT_EQ(run.command->GetDirection(), isTakenBack ? Direction::Undo : Direction::Do);
        run.command->Redo();
        EXPECT_EQ(run.command->GetDirection(), isTakenBack ? Direction::Redo : Direction::Do);
        return;
    }
    auto const path = m_folder.Path("done.redraft");
    run.controller->Save(path);
    auto const loaded = DocumentController::Open(path, true);
    for (auto const& controller : {run.controller, loaded}) {
        SCOPED_TRACE(controller == loaded ? "loaded" : "as it was made");
        auto const command = controller->GetHistory()->GetCommand(controller->GetHistory()->GetCount() - 1);
        EXPECT_EQ(command->GetDocumentController(), controller);
        controller->Undo();
        EXPECT_EQ(command->GetDirection(), Direction::Undo);
        controller->Redo();
        EXPECT_EQ(command->GetDirection(), Direction::Redo);
    }
}

TEST_P(Answers, AStoredCommandLoads) {
    ExampleRun run(Example());
    run.Do();
    auto const stored = Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(run.command)});
    Kernel::FileStore files;
    Kernel::ObjectGraph graph;
    auto const loaded = graph.Load(stored, files).at(0);
    ASSERT_TRUE(loaded);
    // Required: such a command is read by nobody.
    EXPECT_EQ(graph.GetUnreadable().empty(), !IsOneOf(Names{"AddPressureProfileCommand"}));
    EXPECT_STREQ(loaded->GetObjectClassProperties()->GetName(), Example().className.c_str());
}

// The document's nodes, whatever their order.
std::set<NodeId> ListNodes(DocumentController const& controller) {
    std::set<NodeId> ids;
    ForEachNode(*controller.GetDocument(), [&](Node const& node) { ids.insert(node.GetId()); });
    return ids;
}

// A command may run again after it was taken back: it begins anew, and keeps nothing of the first time.
TEST_P(Answers, ACommandThatWasTakenBackRunsAnew) {
    ExampleRun run(Example());
    auto const nodes = ListNodes(*run.controller);
    run.Do();
    // Those that ask models add what they are given to what they have.
    if (!run.controller->GetLastResult().stacked || Example().isShell || IsOneOf(c_modelCommands))
        return;
    auto const nodesAfter = ListNodes(*run.controller);
    auto const after = run.controller->GetHash(false);
    run.controller->Undo();
    auto const undone = run.controller->GetHash(false);
    run.command->Do();
    EXPECT_EQ(run.command->GetDirection(), Direction::Do);
    // New nodes have new ids each time.
    if (std::ranges::includes(nodes, nodesAfter)) {
        EXPECT_EQ(after, run.controller->GetHash(false));
    }
    run.command->Undo();
    EXPECT_EQ(undone, run.controller->GetHash(false));
}

// A step leaves the history undone or not; either way the document stays as it is.
TEST_P(Answers, TheEndOfAStepChangesNothing) {
    for (bool const isUndone : {false, true}) {
        ExampleRun run(Example());
        run.Do();
        if (!run.controller->GetLastResult().stacked)
            return;
        if (isUndone)
            run.controller->Undo();
        auto const hash = run.controller->GetHash(false);
        auto const selected = SelectedIds(*run.controller);
        run.command->Teardown();
        EXPECT_EQ(hash, run.controller->GetHash(false));
        EXPECT_EQ(selected, SelectedIds(*run.controller));
        if (IsOneOf(Names{"DivideShapesCommand", "FillHolesCommand"})) {
            EXPECT_EQ(run.command->GetDirection(), Direction::Teardown);
        }
    }
}

// A save takes a preview back and shows it again.
TEST_P(Answers, APreviewThatIsSavedAndTakenBackLeavesNothing) {
    if (!Example().keptByContract.empty())
        return;
    for (bool const isSelected : {true, false}) {
        SCOPED_TRACE(isSelected ? "on its selection" : "on no selection");
        ExampleRun run(Example());
        auto& document = *run.controller;
        if (!isSelected)
            document.SetSelection(Kernel::MakeCounted<Selection>(), false);
        auto const selected = SelectedIds(document);
        try {
            document.RunPreview(run.command);
        } catch (Kernel::Exception const&) {
            continue;
        }
        auto const shown = document.GetHash(false);
        auto const selectedThen = SelectedIds(document);
        document.Save(m_folder.Path("shown.redraft"));
        EXPECT_EQ(shown, document.GetHash(false));
        EXPECT_EQ(selectedThen, SelectedIds(document));
        document.EndPreview(false);
        EXPECT_EQ(selected, SelectedIds(document));
        EXPECT_EQ(run.before, document.GetHash(false));
    }
}

TEST_P(Answers, APreviewThatIsKeptIsTheStepThatTheCommandMakes) {
    ExampleRun run(Example()), shown(Example());
    run.Do();
    shown.controller->RunPreview(shown.command);
    EXPECT_EQ(run.controller->GetHash(false), shown.controller->GetHash(false));
    shown.controller->EndPreview(true);
    EXPECT_EQ(run.controller->GetHash(true), shown.controller->GetHash(true));
    EXPECT_EQ(SelectedIds(*run.controller), SelectedIds(*shown.controller));
    EXPECT_FALSE(shown.command->IsPreview());
    if (!run.controller->GetLastResult().stacked || Example().isShell)
        return;
    shown.controller->Undo();
    run.controller->Undo();
    EXPECT_EQ(run.controller->GetHash(false), shown.controller->GetHash(false));
}

// A newer command of another class, or of one that does not merge, stays a step of its own, and the older one as it
// was.
TEST_P(Answers, MergesAreThoseOfTheNamed) {
    ExampleRun one(Example()), two(Example());
    one.Do();
    two.Do();
    auto const before = one.controller->GetHash(true);
    EXPECT_FALSE(one.command->Merge(Kernel::MakeCounted<Commands::FlipCanvasCommand>(true)));
    if (!IsOneOf(c_merging)) {
        EXPECT_FALSE(one.command->Merge(two.command));
    }
    EXPECT_EQ(one.controller->GetHash(true), before);
    if (IsOneOf(c_mergingPreviews)) {
        one.command->SetPreview(true);
        EXPECT_TRUE(one.command->Merge(two.command));
    }
}

template <class C>
bool VisitsInReverse() {
    auto const command = Kernel::Cast<C>(ClassHandle<C>::s_properties->Create());
    return command->VisitInReverse();
}

// Undo walks backwards, so that each object meets what Do has left of it.
TEST(AnswersOfSelectionCommands, SelectionsAreWalkedForwards) {
    using namespace Commands;
    EXPECT_FALSE(VisitsInReverse<ChangeCrossReferenceCommand>());
    EXPECT_FALSE(VisitsInReverse<ConvertToArtTextCommand>());
    EXPECT_FALSE(VisitsInReverse<DivideShapesCommand>());
    EXPECT_FALSE(VisitsInReverse<ReplaceBitmapCommand>());
    EXPECT_FALSE(VisitsInReverse<SetArtboardPropertiesCommand>());
    EXPECT_FALSE(VisitsInReverse<SetLineDescriptorCommand>());
    EXPECT_FALSE(VisitsInReverse<SetScaleLineStyleCommand>());
    EXPECT_FALSE(VisitsInReverse<UngroupAllNodesCommand>());
    EXPECT_FALSE(VisitsInReverse<UngroupNodesCommand>());
}

INSTANTIATE_TEST_SUITE_P(Commands, Answers, testing::ValuesIn(ListExamples()), ExampleName);

} // namespace
