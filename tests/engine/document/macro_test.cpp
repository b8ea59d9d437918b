// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "platform/kernel/object_graph.h"

#include <gtest/gtest.h>

using namespace Doubles;

TEST(MacroRecording, KeepsClonesOfWhatIsForMacros) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    EXPECT_FALSE(document->StopMacroRecording());
    document->Run(MakeSet(1));
    document->StartMacroRecording("Flags");
    auto const recorded = MakeSet(2);
    document->Run(recorded);
    auto const once = MakeSet(3);
    once->clones = false;
    document->Run(once);
    auto const notForMacros = MakeSet(4);
    notForMacros->stacksForMacro = false;
    document->Run(notForMacros);
    auto const failed = MakeSet(5);
    failed->failDo = true;
    EXPECT_THROW(document->Run(failed), Kernel::Exception);
    auto const macro = document->StopMacroRecording();
    document->Run(MakeSet(6));
    ASSERT_TRUE(macro);
    EXPECT_EQ(macro->GetName(), Kernel::String("Flags"));
    ASSERT_EQ(macro->GetCommands().size(), 1u);
    EXPECT_EQ(Kernel::Cast<SetFlags>(macro->GetCommands()[0])->value, 2);
    EXPECT_NE(macro->GetCommands()[0], Kernel::Counted<DocumentCommand>(recorded));
}

TEST(MacroRecording, MergesIntoTheLastStepThatTakesIt) {
    auto const document = MakeDocument();
    document->StartMacroRecording("Flags");
    for (int i = 1; i <= 3; ++i) {
        auto const command = MakeSet(i);
        command->merges = i != 1;
        document->Run(command);
    }
    auto const macro = document->StopMacroRecording();
    ASSERT_EQ(macro->GetCommands().size(), 2u);
    EXPECT_EQ(Kernel::Cast<SetFlags>(macro->GetCommands()[1])->value, 3);
}

TEST(MacroPlaying, IsOneStepOnAnotherDocument) {
    auto const recorder = MakeDocument();
    recorder->StartMacroRecording("Two flags");
    recorder->Run(MakeSet(1));
    recorder->Run(MakeSet(2));
    auto const macro = recorder->StopMacroRecording();

    auto const player = MakeDocument();
    player->PlayMacro(macro);
    EXPECT_EQ(player->GetScaleOverrideFlags(true), 2);
    ASSERT_EQ(player->GetHistory()->GetCount(), 1u);
    EXPECT_EQ(player->GetHistory()->GetDescription(0).GetText(), Kernel::String("Two flags"));
    player->Undo();
    EXPECT_EQ(player->GetScaleOverrideFlags(true), 0);
    player->Redo();
    player->PlayMacro(macro);
    EXPECT_EQ(player->GetHistory()->GetCount(), 2u);
    // The macro's own commands never ran.
    EXPECT_FALSE(macro->GetCommands()[0]->GetDocumentController());
}

TEST(MacroPlaying, BindsTheDomainBeforeTheDocument) {
    std::vector<std::string> log;
    Macro macro("Logged");
    auto const command = MakeSet(1, &log);
    macro.Record(command);
    MakeDocument()->PlayMacro(macro);
    EXPECT_EQ(Log(log), "domain1 bind1 do1 notify1 complete1 teardown1");
}

TEST(MacroPlaying, AnEmptyMacroIsNoStep) {
    auto const document = MakeDocument();
    document->PlayMacro(Macro("Nothing"));
    EXPECT_FALSE(document->CanUndo());
}

TEST(MacroFile, AMacroIsSavedAndLoaded) {
    auto const macro = Kernel::MakeCounted<Macro>("Saved");
    macro->Record(MakeSet(4));
    Kernel::MemoryChunkStorage storage;
    Kernel::Counted<Kernel::Serialisable const> const roots[] = {macro};
    Kernel::ObjectGraph::SaveCopy(roots, storage);
    Kernel::ObjectGraph graph;
    Kernel::FileStore files;
    auto const loaded = Kernel::Cast<Macro>(graph.Load(storage, files).at(0));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->GetName(), Kernel::String("Saved"));
    auto const document = MakeDocument();
    document->PlayMacro(loaded);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 4);
}
