// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "frame/settings/add_pressure_profile_command.h"
#include "frame/settings/set_anchor_pages_setting_command.h"
#include "frame/settings/set_guides_fill_command.h"
#include "frame/settings/set_master_migrate_pages_setting_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/settings/set_scale_override_flags_command.h"
#include "frame/view/suspend_preview_command.h"
#include "platform/kernel/object_graph.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;

Kernel::Counted<Renderer::FillDescriptor const> Fill(float red) {
    return Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(red, 0, 0));
}

Kernel::Counted<Geometry::CurveDbl> Profile(double height) {
    auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({0, 0});
    curve->LineTo({1, height});
    return curve;
}

TEST(SetGuidesFill, UndoGivesTheOldColourBackAndTheDefaultsKeepTheNewOne) {
    auto const controller = NewDocument();
    controller->Run(Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.25)));
    controller->Run(Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.75)));
    controller->Undo();
    EXPECT_EQ(*Fill(0.25), *controller->GetDocument()->GetGuidesFill());
    EXPECT_EQ(*Fill(0.75), *controller->GetDocumentDefaults()->GetGuidesFillDescriptor());
}

TEST(SetGuidesFill, RedoDoesNotTouchTheDefaults) {
    auto const controller = NewDocument();
    controller->Run(Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.25)));
    controller->Undo();
    controller->GetDocumentDefaults()->SetGuidesFillDescriptor(Fill(0.5));
    controller->Redo();
    EXPECT_EQ(*Fill(0.5), *controller->GetDocumentDefaults()->GetGuidesFillDescriptor());
}

TEST(SetGuidesFill, RedoDoesNotReadTheDocumentToDecide) {
    auto const controller = NewDocument();
    auto const command = Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.25));
    Bind(*controller, *command);
    command->Do();
    command->Undo();
    controller->GetDocument()->SetGuidesFill(Fill(0.9F));
    command->Redo();
    EXPECT_EQ(*Fill(0.25), *controller->GetDocument()->GetGuidesFill());
    command->Undo();
    EXPECT_FALSE(controller->GetDocument()->GetGuidesFill()) << "Redo captured what it found";
}

TEST(SetGuidesFill, TellsOfColoursFirstAndThenOfGuides) {
    auto const controller = NewDocument();
    auto const command = Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0.25));
    Bind(*controller, *command);
    command->Do();
    auto const list = NotificationsOf(*command);
    ASSERT_EQ(2u, list.size());
    EXPECT_TRUE(As<UIColoursChangedNotification>(list[0]));
    ASSERT_TRUE(As<GuidesChangedNotification>(list[1]));
    EXPECT_FALSE(As<GuidesChangedNotification>(list[1])->IsPreview());
}

TEST(SetReflowPages, TurningItOffHasNoChildrenAndUndoRestoresTheSettingOnly) {
    auto const controller = NewDocument();
    controller->SetShouldReflowPages(true);
    auto const command = Kernel::MakeCounted<SetReflowPagesSettingCommand>(false);
    controller->Run(command);
    EXPECT_TRUE(command->GetCommands().empty());
    EXPECT_FALSE(controller->GetShouldReflowPages());
    controller->Undo();
    EXPECT_TRUE(controller->GetShouldReflowPages());
}

TEST(SetReflowPages, TurningItOnReflowsAndTellsOfBoth) {
    auto const controller = NewDocument();
    controller->GetCurrentSpread()->AddPage(Kernel::MakeCounted<PageNode>(Kernel::RectT<double>{2000, -70, 2300, 250}));
    auto const command = Kernel::MakeCounted<SetReflowPagesSettingCommand>(true);
    controller->Run(command);
    EXPECT_EQ(1u, command->GetCommands().size());
    auto const list = NotificationsOf(*command);
    ASSERT_EQ(3u, list.size());
    EXPECT_TRUE(As<ReflowPagesSettingChangedNotification>(list[0]));
    EXPECT_TRUE(As<DocumentStructureChangedNotification>(list[1]));
    EXPECT_TRUE(As<InvalidateDocumentNotification>(list[2]));
}

TEST(SetScaleOverrideFlags, ACloneKeepsTheModeOfItsConstructor) {
    auto const controller = NewDocument();
    auto const toggle = Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(true)->Clone();
    controller->Run(toggle);
    EXPECT_TRUE(controller->GetScaleOverrideEnabled());
    EXPECT_EQ(0, controller->GetScaleOverrideFlags(true));
    auto const flags = Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(6)->Clone();
    controller->Run(flags);
    EXPECT_EQ(6, controller->GetScaleOverrideFlags(true));
    EXPECT_TRUE(controller->GetScaleOverrideEnabled());
}

TEST(SetScaleOverrideFlags, ALoadedCommandTakesItsModeFromItsTag) {
    auto const reload = [](Kernel::Counted<DocumentCommand> const& command) {
        Kernel::ObjectGraph graph;
        Kernel::MemoryChunkStorage storage;
        Kernel::Counted<Kernel::Serialisable const> const roots[]{command};
        graph.Save(roots, storage);
        Kernel::FileStore files;
        return Kernel::Cast<DocumentCommand>(Kernel::ObjectGraph().Load(storage, files).front());
    };
    auto const controller = NewDocument();
    auto const toggle = reload(Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(true));
    Bind(*controller, *toggle);
    toggle->Redo();
    EXPECT_TRUE(controller->GetScaleOverrideEnabled());
    auto const flags = reload(Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(3));
    Bind(*controller, *flags);
    flags->Redo();
    EXPECT_EQ(3, controller->GetScaleOverrideFlags(true));
}

TEST(SetScaleOverrideFlags, WithoutTheTagOfItsModeALoadedToggleSetsFlags) {
    auto const controller = NewDocument();
    controller->SetScaleOverrideFlags(9);
    auto const done = Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(true);
    auto storage = SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(done)});
    HideField(storage, {"SPSC", "IsTo"});
    auto const loaded = Kernel::Cast<DocumentCommand>(LoadFromMemory(storage).front());
    Bind(*controller, *loaded);
    loaded->Redo();
    EXPECT_EQ(0, controller->GetScaleOverrideFlags(true)) << "the flags that it was stored with";
    EXPECT_FALSE(controller->GetScaleOverrideEnabled()) << "though it was stored with true";
}

TEST(SetScaleOverrideFlags, WithoutAnyTagALoadedCommandSetsFlags) {
    auto const empty = Kernel::Cast<DocumentCommand>(SetScaleOverrideFlagsCommand::CreateObject());
    auto const controller = NewDocument();
    controller->SetScaleOverrideEnabled(true);
    controller->SetScaleOverrideFlags(9);
    Bind(*controller, *empty);
    empty->Redo();
    EXPECT_EQ(0, controller->GetScaleOverrideFlags(true));
    EXPECT_TRUE(controller->GetScaleOverrideEnabled());
}

TEST(AddPressureProfile, MergeOutsideAPreviewLeavesBoth) {
    auto const controller = NewDocument();
    auto const first = Kernel::MakeCounted<AddPressureProfileCommand>(Profile(0.5));
    auto const second = Kernel::MakeCounted<AddPressureProfileCommand>(Profile(0.8));
    EXPECT_FALSE(first->Merge(second));
    controller->Run(first);
    controller->Run(second);
    ASSERT_EQ(2u, controller->GetPressureProfiles().size());
    EXPECT_EQ(*Profile(0.5), *controller->GetPressureProfiles()[0]);
}

TEST(AddPressureProfile, MergeInAPreviewTakesTheNewerProfile) {
    auto const controller = NewDocument();
    auto const first = Kernel::MakeCounted<AddPressureProfileCommand>(Profile(0.5));
    first->SetPreview(true);
    EXPECT_FALSE(first->Merge(Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(1)));
    EXPECT_TRUE(first->Merge(Kernel::MakeCounted<AddPressureProfileCommand>(Profile(0.8))));
    Bind(*controller, *first);
    first->Do();
    EXPECT_EQ(*Profile(0.8), *controller->GetPressureProfiles().front());
}

TEST(AddPressureProfile, CannotBeLoaded) {
    Kernel::ObjectGraph graph;
    Kernel::MemoryChunkStorage storage;
    Kernel::Counted<Kernel::Serialisable const> const roots[]{
        Kernel::MakeCounted<AddPressureProfileCommand>(Profile(1))};
    graph.Save(roots, storage);
    Kernel::FileStore files;
    Kernel::ObjectGraph loaded;
    loaded.Load(storage, files);
    EXPECT_EQ(1u, loaded.GetUnreadable().size());
}

TEST(PageSettings, AreSetAndNeverStacked) {
    auto const controller = NewDocument();
    controller->Run(Kernel::MakeCounted<SetAnchorPagesSettingCommand>(false));
    controller->Run(Kernel::MakeCounted<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Adapt));
    EXPECT_FALSE(controller->GetPageManagementOptions()->GetShouldAnchorToSpine());
    EXPECT_EQ(MasterMigrationStrategy::Adapt, controller->GetPageManagementOptions()->GetMasterMigrationStrategy());
    EXPECT_EQ(0u, controller->GetHistory()->GetCount());
    EXPECT_FALSE(Kernel::MakeCounted<SetAnchorPagesSettingCommand>(true)->Clone());
}

TEST(SuspendPreview, CallsItsFunctionAndIsNoStep) {
    auto const controller = NewDocument();
    int calls = 0;
    auto const command = Kernel::MakeCounted<SuspendPreviewCommand>([&calls] { ++calls; });
    EXPECT_TRUE(command->ClearsPreviewCommands());
    controller->Run(command);
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0u, controller->GetHistory()->GetCount());
    EXPECT_THROW(controller->Run(Kernel::MakeCounted<SuspendPreviewCommand>(std::function<void()>())),
                 std::bad_function_call);
}

TEST(DocumentSettings, DescriptionsAreTheSystemsOwn) {
    auto const expect = [](Command const& command, char const* text, char const* context) {
        EXPECT_EQ(Kernel::LocalisedString(text, context), command.GetDescription());
    };
    expect(*Kernel::MakeCounted<SetGuidesFillCommand>(Fill(0)), "Set Guides Colour", "Command Description");
    expect(*Kernel::MakeCounted<SetAnchorPagesSettingCommand>(true), "Set Anchor To Spine", "Command description");
    expect(*Kernel::MakeCounted<SetMasterMigratePagesSettingCommand>(MasterMigrationStrategy::Keep),
           "Set Master Migrate", "Command description");
    expect(*Kernel::MakeCounted<SetReflowPagesSettingCommand>(true), "Set Reflow Pages", "Command description");
    expect(*Kernel::MakeCounted<SetScaleOverrideFlagsCommand>(1), "Set scale override options", "Command description");
    expect(*Kernel::MakeCounted<SuspendPreviewCommand>([] {}), "Suspend preview", "Command description");
    expect(*Kernel::MakeCounted<AddPressureProfileCommand>(Profile(1)), "Pressure Profile Added",
           "Command description");
}

} // namespace
