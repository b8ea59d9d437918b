// SPDX-License-Identifier: Apache-2.0
#include "frame/settings/add_pressure_profile_command.h"
#include "frame/settings/delete_symbol_command.h"
#include "frame/settings/set_anchor_pages_setting_command.h"
#include "frame/settings/set_guides_fill_command.h"
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/settings/set_scale_override_flags_command.h"
#include "frame/view/add_view_point_command.h"
#include "frame/view/flip_canvas_command.h"
#include "platform/document/background_task_command.h"
#include "platform/kernel/hash_accumulator.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"
#include "tests/frame/slots.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;

Kernel::Counted<Renderer::FillDescriptor const> Fill(float red) {
    return Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(red, 0, 0));
}

// Time that goes on when a test says so.
class ManualClock final : public DomainClock {
public:
    explicit ManualClock(DomainController& controller) : m_controller(&controller) { controller.SetClock(this); }
    ~ManualClock() override { m_controller->SetClock(nullptr); }
    std::int64_t GetMilliseconds() const override { return now; }
    std::int64_t now = 0;

private:
    DomainController* m_controller;
};

// A property command that merges outside previews too, as those of properties do.
class SetFlags final : public DocumentCommand {
public:
    explicit SetFlags(int flags) : m_new(flags) {}
    Kernel::LocalisedString GetDescription() const override { return {"Set flags", "Command description"}; }
    void Do() override {
        SetDirection(Direction::Do);
        m_old = m_documentController->GetScaleOverrideFlags(true);
        m_documentController->SetScaleOverrideFlags(m_new);
    }
    void Undo() override {
        SetDirection(Direction::Undo);
        m_documentController->SetScaleOverrideFlags(m_old);
    }
    void Redo() override {
        SetDirection(Direction::Redo);
        m_documentController->SetScaleOverrideFlags(m_new);
    }
    void Notify(Kernel::NotificationList&) override {}
    bool Merge(Kernel::Counted<Command const> newer) override {
        auto const other = Kernel::Cast<SetFlags const>(newer);
        if (!other)
            return false;
        m_new = other->m_new;
        return true;
    }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<SetFlags>(m_new); }
    void FastTrackPreview(Kernel::Counted<Command> previous) override {
        tracked = previous;
        boundWhenTracked = static_cast<bool>(m_documentController);
        flagsWhenTracked = m_documentController->GetScaleOverrideFlags(true);
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }

    Kernel::Counted<Command> tracked;
    bool boundWhenTracked = false;
    int flagsWhenTracked = -1;

private:
    int m_new;
    int m_old = 0;
};

struct Shape {
    char const* name;
    void (*prepare)(DocumentController&);
    Kernel::Counted<DocumentCommand> (*make)(DocumentController&);
};

void Nothing(DocumentController&) {}

// The five shapes that Do, Undo and Redo of a command have.
Shape const c_shapes[] = {
    {"CaptureAndApply", Nothing,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.5));
     }},
    {"CaptureAndApplyFlags", Nothing,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(6);
     }},
    {"CaptureAndApplyToChildren", ExampleDocuments::NestedGroups,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<FlipCanvasCommand>(true);
     }},
    {"Symmetric", Nothing,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{"a", 0, {1, 2, 3, 4}});
     }},
    {"FireAndForget", Nothing,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<SetAnchorPagesSettingCommand>(false);
     }},
    {"SelectionVisit", ExampleDocuments::NestedGroups,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<UngroupNodesCommand>();
     }},
    {"SelectionVisitInReverse", ExampleDocuments::NestedGroups,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<UngroupAllNodesCommand>();
     }},
    {"Compound", Nothing,
     [](DocumentController&) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<SetReflowPagesSettingCommand>(true);
     }},
    {"CompoundOfNested", ExampleDocuments::SymbolWithInstances,
     [](DocumentController& controller) -> Kernel::Counted<DocumentCommand> {
         return Kernel::MakeCounted<DeleteSymbolCommand>(controller.GetSymbolAtIndex(0));
     }},
};

class CommandShape : public testing::TestWithParam<Shape> {};

TEST_P(CommandShape, UndoFollowedByRedoLeavesDocumentAndFieldsAsAfterDo) {
    auto const controller = NewDocument();
    GetParam().prepare(*controller);
    auto const command = GetParam().make(*controller);
    auto const fields = [&] {
        return SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(command),
                             Kernel::Counted<Kernel::Serialisable const>(controller->GetDocument())});
    };
    Bind(*controller, *command);
    command->Do();
    auto const document = controller->GetHash(false);
    auto const after = fields();
    for (int round = 0; round != 3; ++round) {
        command->Undo();
        command->Redo();
        EXPECT_EQ(document, controller->GetHash(false));
        EXPECT_TRUE(after == fields()) << "the fields differ after round " << round;
    }
}

TEST_P(CommandShape, NotifyAppendsAndLeavesWhatIsThere) {
    auto const controller = NewDocument();
    GetParam().prepare(*controller);
    auto const command = GetParam().make(*controller);
    Bind(*controller, *command);
    command->Do();
    Kernel::NotificationList list{Kernel::MakeCounted<Kernel::Notification>(), nullptr};
    auto const before = list;
    command->Notify(list);
    ASSERT_GE(list.size(), before.size());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), list.begin()));
}

TEST_P(CommandShape, ACloneHoldsTheArgumentsAndNothingThatDoCaptured) {
    auto const prepared = [] {
        auto controller = NewDocument();
        GetParam().prepare(*controller);
        return controller;
    };
    auto const first = prepared(), second = prepared();
    auto const command = GetParam().make(*first);
    auto const untouched = command->Clone();
    first->Run(command);
    auto const clone = command->Clone();
    ASSERT_EQ(static_cast<bool>(untouched), static_cast<bool>(clone));
    if (!clone)
        return;
    EXPECT_TRUE(untouched->CompareMembers(*clone, Kernel::CompareContext()));
    EXPECT_FALSE(clone->GetDocumentController());
    second->Run(clone);
    EXPECT_EQ(first->GetHash(false), second->GetHash(false));
}

INSTANTIATE_TEST_SUITE_P(Shapes, CommandShape, testing::ValuesIn(c_shapes),
                         [](auto const& shape) { return std::string(shape.param.name); });

TEST(CommandContract, RedoOfACaptureAndApplyCommandNeverReadsTheDocumentToDecide) {
    auto const controller = NewDocument();
    controller->SetScaleOverrideFlags(1);
    auto const command = Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(6);
    Bind(*controller, *command);
    command->Do();
    command->Undo();
    controller->SetScaleOverrideFlags(6);
    command->Redo();
    EXPECT_EQ(6, controller->GetScaleOverrideFlags(true));
    command->Undo();
    EXPECT_EQ(1, controller->GetScaleOverrideFlags(true)) << "Redo captured what it found";
}

TEST(CommandContract, AnEmptyCloneIsNoCommandAndNoFailure) {
    auto const controller = NewDocument();
    ExampleDocuments::SymbolWithInstances(*controller);
    controller->StartMacroRecording("macro");
    auto const command = Kernel::MakeCounted<DeleteSymbolCommand>(controller->GetSymbolAtIndex(0));
    EXPECT_FALSE(command->Clone());
    controller->Run(command);
    auto const after = controller->GetHash(true);
    EXPECT_FALSE(controller->RepeatLastCommand());
    EXPECT_EQ(after, controller->GetHash(true));
    auto const macro = controller->StopMacroRecording();
    EXPECT_TRUE(macro->GetCommands().empty());
    EXPECT_NO_THROW(controller->PlayMacro(macro.get()));
    EXPECT_EQ(after, controller->GetHash(true));
}

TEST(CommandContract, MergeOnAViewPointOutsideAPreviewIsRefusedEvenForItsOwnClass) {
    auto const viewPoint = [](char const* name) {
        return Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{name, 0, {1, 2, 3, 4}});
    };
    auto const command = viewPoint("a");
    EXPECT_FALSE(command->Merge(viewPoint("b")));
    EXPECT_FALSE(command->Merge(viewPoint("a")));
    auto const controller = NewDocument();
    controller->Run(command);
    controller->Run(viewPoint("b"));
    EXPECT_EQ(2u, controller->GetDocument()->GetViewPoints().size());
}

TEST(CommandContract, AMergedRunOfPropertyCommandsUndoesInOneStepToTheStateBeforeTheFirst) {
    auto const controller = NewDocument();
    ManualClock clock(*controller);
    controller->SetScaleOverrideFlags(9);
    auto const before = controller->GetHash(false);
    for (int flags = 1; flags <= 5; ++flags) {
        controller->Run(Kernel::MakeCounted<SetFlags>(flags));
        clock.now += 10;
    }
    EXPECT_EQ(1u, controller->GetHistory()->GetCount());
    EXPECT_EQ(5, controller->GetScaleOverrideFlags(true));
    controller->Undo();
    EXPECT_EQ(before, controller->GetHash(false));
    EXPECT_FALSE(controller->CanUndo());
    controller->Redo();
    EXPECT_EQ(5, controller->GetScaleOverrideFlags(true)) << "Redo goes to the end of the run";
}

TEST(CommandContract, ARunEndsWithItsTimeoutAndWithAnotherCommand) {
    auto const controller = NewDocument();
    ManualClock clock(*controller);
    auto const run = [&](int flags) { controller->Run(Kernel::MakeCounted<SetFlags>(flags)); };
    run(1);
    clock.now += Kernel::MakeCounted<SetFlags>(0)->MergeTimeout();
    run(2);
    EXPECT_EQ(1u, controller->GetHistory()->GetCount());
    clock.now += Kernel::MakeCounted<SetFlags>(0)->MergeTimeout() + 1;
    run(3);
    EXPECT_EQ(2u, controller->GetHistory()->GetCount());
    controller->Run(Kernel::MakeCounted<SetGuidesFillCommand>(Fill(1)));
    run(4);
    EXPECT_EQ(4u, controller->GetHistory()->GetCount());
    controller->GoTo(0);
    EXPECT_EQ(0, controller->GetScaleOverrideFlags(true));
}

TEST(CommandContract, ANewerPreviewSeesTheOneItReplacesAfterThatIsTakenBackAndBeforeItsOwnDo) {
    auto const controller = NewDocument();
    controller->SetScaleOverrideFlags(1);
    auto const older = Kernel::MakeCounted<SetGuidesFillCommand>(Fill(1));
    auto const newer = Kernel::MakeCounted<SetFlags>(3);
    controller->RunPreview(older);
    controller->RunPreview(newer);
    EXPECT_EQ(Kernel::Counted<Command>(older), newer->tracked);
    EXPECT_TRUE(newer->boundWhenTracked);
    EXPECT_EQ(1, newer->flagsWhenTracked);
    EXPECT_FALSE(controller->GetDocument()->GetGuidesFill());
    EXPECT_EQ(3, controller->GetScaleOverrideFlags(true));
    controller->EndPreview(false);
    EXPECT_EQ(1, controller->GetScaleOverrideFlags(true));
}

TEST(CommandContract, NumbersAreFixed) {
    EXPECT_EQ(0u, static_cast<std::uint32_t>(DomainCommand::Direction::Do));
    EXPECT_EQ(1u, static_cast<std::uint32_t>(DomainCommand::Direction::Undo));
    EXPECT_EQ(2u, static_cast<std::uint32_t>(DomainCommand::Direction::Redo));
    EXPECT_EQ(3u, static_cast<std::uint32_t>(DomainCommand::Direction::Teardown));
    EXPECT_EQ(4u, sizeof(DomainCommand::Direction));
    EXPECT_EQ(2u, DomainCommand::c_statusDivideRefused);
    EXPECT_EQ(8u, DomainCommand::c_statusBitmapRefused);
}

TEST(CommandContract, AnOrdinaryCommandIsStackedPresentedAndDirtiesTheDocument) {
    auto const command = Kernel::MakeCounted<SetFlags>(1);
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_TRUE(command->ShouldStackForMacro());
    EXPECT_TRUE(command->ShouldPresentInMacro());
    EXPECT_TRUE(command->MakesDOMDirty());
    EXPECT_FALSE(command->CanRepeat());
    EXPECT_FALSE(command->IsUnsupportedBeta());
    EXPECT_FALSE(command->WillAddChildNodes());
    EXPECT_FALSE(command->AvoidMultipleInQueue());
    EXPECT_EQ(nullptr, command->GetProgressAbortPointer());
    EXPECT_EQ(DomainCommand::ProgressType::None, command->GetProgressType());
    EXPECT_FALSE(command->GetReplacementCommand());
    EXPECT_FALSE(command->GetDocumentController());
}

TEST(CommandContract, AnswersOfTheSettingsAndViewCommandsAreThoseOfTheContract) {
    auto const expect = [](DocumentCommand const& command, bool undo, bool macro, bool dirty) {
        EXPECT_EQ(undo, command.ShouldStackForUndo()) << typeid(command).name();
        EXPECT_EQ(macro, command.ShouldStackForMacro()) << typeid(command).name();
        EXPECT_EQ(dirty, command.MakesDOMDirty()) << typeid(command).name();
    };
    auto const profile = Kernel::MakeCounted<Geometry::CurveDbl>();
    expect(*Kernel::MakeCounted<AddPressureProfileCommand>(profile), false, false, false);
    expect(*Kernel::MakeCounted<SetAnchorPagesSettingCommand>(true), false, false, false);
    expect(*Kernel::MakeCounted<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Keep), false, false,
           false);
    auto const viewPoint = Kernel::MakeCounted<AddViewPointCommand>(ViewPointData{"a", 0, {}});
    expect(*viewPoint, false, true, true);
    EXPECT_FALSE(viewPoint->ClearsPreviewCommands());
    auto const flags = Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(1);
    expect(*flags, true, true, true);
    EXPECT_TRUE(flags->ClearsPreviewCommands());
}

// The abort flag and AddCommand are out of a stranger's reach.
struct SlotsOfAggregate : AggregateCommand {
    static std::ptrdiff_t AddCommandSlot() { return Slot(&SlotsOfAggregate::AddCommand); }
};

TEST(CommandContract, VirtualOperationsStandInTheirSlots) {
    using C = DocumentCommand;
    using ConstController = Kernel::Counted<DomainController const> (C::*)() const;
    using MutableController = Kernel::Counted<DomainController> (C::*)();
    std::vector<std::ptrdiff_t> const ofCommand{
        Slot(&C::GetDescription), Slot(&C::Do), Slot(&C::Undo), Slot(&C::Redo), Slot(&C::Teardown), Slot(&C::Notify),
        Slot(&C::Merge),
        // Overridden below, where it was introduced.
        Slot(static_cast<bool (Command::*)(Kernel::Counted<Command const>) const>(&Command::CanMerge)),
        Slot(&C::CallCompletionCallbacks)};
    for (std::size_t i = 0; i != ofCommand.size(); ++i)
        EXPECT_EQ(static_cast<std::ptrdiff_t>(i), ofCommand[i]);
    ExpectSlotsInOrder({ofCommand.back(), Slot(static_cast<ConstController>(&C::GetDomainController)),
                        Slot(static_cast<MutableController>(&C::GetDomainController)), Slot(&C::AvoidMultipleInQueue),
                        Slot(&C::IsAnotherAlreadyInQueue), Slot(&C::PostDequeueWithMutableDomainController),
                        Slot(&C::DoAndUpdateCaches), Slot(&C::UndoAndUpdateCaches), Slot(&C::RedoAndUpdateCaches),
                        Slot(&C::NotifyWithCacheUpdates), Slot(&C::ShouldStackForUndo), Slot(&C::ClearsPreviewCommands),
                        Slot(&C::GetProgressType), Slot(&C::GetProgressInterval), Slot(&C::GetProgressAbortPointer),
                        Slot(&C::ProgressHasIntermediateUpdates), Slot(&C::GetProgressDescription),
                        Slot(&C::ValidateUntrusted), Slot(&C::MergeTimeout), Slot(&C::EnumerateReflecteds),
                        // Of documents.
                        Slot(&C::PostLoad), Slot(&C::Clone), Slot(&C::MakesDOMDirty), Slot(&C::IsUnsupportedBeta),
                        Slot(&C::ShouldStackForMacro), Slot(&C::ShouldPresentInMacro), Slot(&C::MacroMerge),
                        Slot(&C::PostDequeueWithMutableController), Slot(&C::SetPreview), Slot(&C::GetSelection),
                        Slot(&C::ShouldStackForUndoWhenClearedAsPreview), Slot(&C::GenerateThumbnail),
                        Slot(&C::ApplyTransform), Slot(&C::ApplyInverseTransform), Slot(&C::CanRepeat),
                        Slot(&C::RequiresArtboardChangedNotification), Slot(&C::SelectionContainsArtboards),
                        Slot(&C::GenerateHistoryThumbnail), Slot(&C::GenerateHistoryInterestingRect),
                        Slot(&C::Deduplicate), Slot(&C::WillAddChildNodes),
                        Slot(&C::GetDocumentDetachLinkedAttributesOnEdit), Slot(&C::GetDetachInterfaces),
                        Slot(&C::ShouldDetachLinksOnEdit), Slot(&C::CanOnlyOperateOnCurrentSpread),
                        Slot(&C::FastTrackPreview), Slot(&C::GetReplacementCommand), Slot(&C::AffectsCrossReferences)});
    // Operations that derived bases introduce stand behind all of these.
    ExpectSlotsInOrder({Slot(&C::AffectsCrossReferences), SlotsOfAggregate::AddCommandSlot()});
    ExpectSlotsInOrder({Slot(&C::AffectsCrossReferences), Slot(&BackgroundTaskCommand::CanIgnoreIfQueueOccupied)});
}

TEST(CommandContract, OperationsOfTheOtherFacesStandInTheirSlots) {
    using S = Kernel::Serialisable;
    ExpectSlotsInOrder({Slot(&S::Save), Slot(&S::Load), Slot(&S::AccumulateHash), Slot(&S::GetObjectClassProperties),
                        Slot(&S::CompareMembers)});
    using B = DomainBackgroundTaskCommand;
    ExpectSlotsInOrder(
        {Slot(&B::SetAbortPointer), Slot(&B::ShouldAbortForReader), Slot(&B::ShouldBeDeferredIfReading)});
}

TEST(CommandContract, AHistoryThumbnailIsAnEightBitPictureOfThePlaceThatIsAskedFor) {
    using Picture =
        Kernel::Counted<Raster::Buffer<Raster::Red8, Raster::Green8, Raster::Blue8, Raster::Alpha8, Raster::X5>>;
    static_assert(std::is_same_v<decltype(&DocumentCommand::GenerateHistoryThumbnail),
                                 Picture (DocumentCommand::*)(Kernel::RectT<double>) const>);
    auto const controller = NewDocument();
    auto const shape = ExampleDocuments::MakeRectangle({100, 100, 140, 120}, 1, 0, 0);
    ExampleDocuments::Append(*controller->GetCurrentSpread(), shape);
    auto const command = Kernel::MakeCounted<FlipCanvasCommand>(true);
    EXPECT_FALSE(command->GenerateHistoryThumbnail({0, 0, 10, 10})) << "no document, no picture";
    Bind(*controller, *command);
    auto const picture = command->GenerateHistoryThumbnail({100, 100, 140, 120});
    ASSERT_TRUE(picture);
    EXPECT_EQ(2 * picture->GetHeight(), picture->GetWidth());
    auto const middle = [&](int channel) {
        auto const* row = static_cast<std::uint8_t const*>(picture->GetRow(channel, picture->GetHeight() / 2));
        return int{row[picture->GetWidth() / 2]};
    };
    EXPECT_EQ(255, middle(0));
    EXPECT_EQ(0, middle(1));
    EXPECT_EQ(255, middle(3));
    EXPECT_FALSE(command->GenerateHistoryThumbnail({100, 100, 100, 120})) << "nothing to show";
}

} // namespace
