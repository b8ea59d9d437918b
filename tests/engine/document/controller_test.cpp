// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "platform/document/compound_command.h"

#include <gtest/gtest.h>

namespace Doubles {

Kernel::ClassProperties const* SetFlags::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties("TsSF", &SetFlags::CreateObject, 1, nullptr,
                                                      DocumentCommand::GetTypeClassProperties(), "SetFlags");
    static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
    return &s_properties;
}

} // namespace Doubles

using namespace Doubles;

TEST(Controller, ANewDocumentHasItsPagesAndNoHistory) {
    auto const document = MakeDocument(3);
    EXPECT_EQ(document->GetDocument()->GetSpreads().size(), 3u);
    EXPECT_EQ(document->GetCurrentSpread(), document->GetDocument()->GetSpreads().front());
    EXPECT_NO_THROW(document->GetDocument()->CheckInvariants());
    EXPECT_FALSE(document->CanUndo());
    EXPECT_FALSE(document->CanRedo());
    EXPECT_FALSE(document->IsChangedSinceSave());
}

TEST(Controller, ADocumentWithoutPageOrSizeIsRefused) {
    auto const format = static_cast<Raster::Format>(0);
    EXPECT_THROW(DocumentController::CreateNew({100, 100}, format, 0), Kernel::Exception);
    EXPECT_THROW(DocumentController::CreateNew({0, 100}, format, 1), Kernel::Exception);
    EXPECT_THROW(DocumentController::CreateNew({100, std::numeric_limits<double>::infinity()}, format, 1),
                 Kernel::Exception);
}

TEST(Controller, ACommandPassesItsStatesInOrder) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    document->Run(MakeSet(1, &log));
    EXPECT_EQ(Log(log), "domain1 bind1 do1 notify1 complete1");
    log.clear();
    document->Undo();
    document->Redo();
    EXPECT_EQ(Log(log), "undo1 notify1 redo1 notify1");
    EXPECT_TRUE(document->IsChangedSinceSave());
}

TEST(Controller, UndoThenRedoGivesTheSameDocument) {
    auto const document = MakeDocument();
    auto const before = document->GetHash(false);
    document->Run(MakeSet(7));
    auto const after = document->GetHash(false);
    EXPECT_NE(before, after);
    auto const withHistory = document->GetHash(true);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), before);
    document->Redo();
    EXPECT_EQ(document->GetHash(false), after);
    EXPECT_EQ(document->GetHash(true), withHistory);
}

TEST(Controller, TheHashLeavesOutSelectionAndCurrentSpread) {
    auto const document = MakeDocument(2);
    auto const before = document->GetHash(true);
    document->SetSelection(Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{
                               Kernel::Counted<Node>(document->GetDocument()->GetSpreads()[1])}),
                           false);
    document->SetCurrentSpread(document->GetDocument()->GetSpreads()[1]);
    EXPECT_EQ(document->GetHash(true), before);
}

TEST(Controller, ACommandWhoseDoThrowsIsDropped) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    auto const command = MakeSet(1, &log);
    command->failDo = true;
    auto const before = document->GetHash(true);
    EXPECT_THROW(document->Run(command), Kernel::AbortException);
    EXPECT_EQ(Log(log), "domain1 bind1 do1");
    EXPECT_EQ(document->GetHash(true), before);
    EXPECT_FALSE(document->CanUndo());
    EXPECT_FALSE(document->GetLastResult().ran);
    EXPECT_FALSE(document->IsChangedSinceSave());
}

TEST(Controller, TheAbortFlagIsClearedBeforeEachRun) {
    auto const document = MakeDocument();
    auto const command = MakeSet(1);
    command->abort = true;
    document->Run(command);
    EXPECT_FALSE(command->abort);
    command->abort = true;
    document->Undo();
    EXPECT_FALSE(command->abort);
    command->abort = true;
    document->Redo();
    EXPECT_FALSE(command->abort);
}

TEST(Controller, ACommandThatIsNotStackedStillNotifies) {
    auto const document = MakeDocument();
    Listener const listener(*document);
    auto const command = MakeSet(5);
    command->stacks = false;
    command->dirties = false;
    document->Run(command);
    EXPECT_EQ(listener.GetValues(), std::vector{5});
    EXPECT_FALSE(document->CanUndo());
    EXPECT_TRUE(document->GetLastResult().ran);
    EXPECT_FALSE(document->GetLastResult().stacked);
    EXPECT_FALSE(document->IsChangedSinceSave());
}

TEST(Controller, ACommandLetsGoOfItsControllerOnlyAfterItsEnd) {
    std::vector<std::string> log;
    auto document = MakeDocument();
    Kernel::Weak<DocumentController> const weak(document);
    auto const command = MakeSet(1, &log);
    document->Run(command);
    EXPECT_EQ(command->GetDocumentController(), document);
    log.clear();
    document.reset();
    EXPECT_FALSE(weak.Lock());
    EXPECT_EQ(Log(log), "teardown1");
    EXPECT_FALSE(command->GetDocumentController());
}

TEST(Controller, ANestedRunIsRefusedAndANestedQueueFollows) {
    auto const document = MakeDocument();
    std::string message;
    document->Run(Kernel::MakeCounted<CallCommand>([&](DocumentController& controller) {
        controller.Queue(MakeSet(3));
        EXPECT_EQ(controller.GetScaleOverrideFlags(true), 0);
        try {
            controller.Run(MakeSet(4));
        } catch (Kernel::Exception const& error) {
            message = error.what();
        }
    }));
    EXPECT_EQ(message, "a command cannot wait for the queue that it runs in");
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 3);
}

TEST(Controller, AnEmptyCommandIsRefused) {
    EXPECT_THROW(MakeDocument()->Run(nullptr), Kernel::Exception);
    EXPECT_THROW(MakeDocument()->RunPreview(nullptr), Kernel::Exception);
}

TEST(Controller, SymbolsKeepTheirOrder) {
    auto const document = MakeDocument();
    auto const first = Kernel::MakeCounted<SymbolNode>(), second = Kernel::MakeCounted<SymbolNode>();
    document->InsertSymbolAtIndex(second, 99);
    document->InsertSymbolAtIndex(first, -5);
    EXPECT_EQ(document->GetSymbolCount(), 2);
    EXPECT_EQ(document->GetSymbolAtIndex(0), Kernel::Counted<Node>(first));
    EXPECT_EQ(document->GetSymbolAtIndex(1), Kernel::Counted<Node>(second));
    EXPECT_FALSE(document->GetSymbolAtIndex(2));
    EXPECT_FALSE(document->GetSymbolAtIndex(-1));
    document->RemoveSymbolAtIndex(7);
    document->RemoveSymbolAtIndex(0);
    EXPECT_EQ(document->GetSymbolAtIndex(0), Kernel::Counted<Node>(second));
}

TEST(Controller, PressureProfilesAreRemovedByIdentityFirst) {
    auto const document = MakeDocument();
    auto const make = [] {
        auto curve = Kernel::MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo({0, 0});
        curve->LineTo({1, 1});
        return curve;
    };
    auto const first = make(), second = make();
    document->AddPressureProfile(first);
    document->AddPressureProfile(second);
    document->RemovePressureProfile(second);
    ASSERT_EQ(document->GetPressureProfiles().size(), 1u);
    EXPECT_EQ(document->GetPressureProfiles()[0], first);
    document->RemovePressureProfile(second);
    EXPECT_TRUE(document->GetPressureProfiles().empty());
    document->RemovePressureProfile(second);
    EXPECT_THROW(document->AddPressureProfile(nullptr), Kernel::Exception);
}

TEST(Compound, ChildrenAreBoundRightBeforeTheyRunAndUndoneLastToFirst) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    compound->AppendCommand(MakeSet(1, &log));
    compound->AppendCommand(MakeSet(2, &log));
    document->Run(compound);
    EXPECT_EQ(Log(log), "domain1 bind1 do1 domain2 bind2 do2 notify1 notify2 complete1 complete2");
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    log.clear();
    document->Undo();
    EXPECT_EQ(Log(log), "undo2 undo1 notify1 notify2");
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    log.clear();
    document->Redo();
    EXPECT_EQ(Log(log), "redo1 redo2 notify1 notify2");
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
}

TEST(Compound, AChildThatThrowsTakesTheEldersBack) {
    auto const document = MakeDocument();
    auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    compound->AppendCommand(MakeSet(1));
    compound->AppendCommand(MakeSet(2));
    auto const bad = MakeSet(3);
    bad->failDo = true;
    compound->AppendCommand(bad);
    auto const before = document->GetHash(true);
    EXPECT_THROW(document->Run(compound), Kernel::AbortException);
    EXPECT_EQ(document->GetHash(true), before);
}

TEST(Compound, AnUndoThatThrowsLeavesTheWholeDone) {
    auto const document = MakeDocument();
    auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    auto const bad = MakeSet(1);
    compound->AppendCommand(bad);
    compound->AppendCommand(MakeSet(2));
    document->Run(compound);
    auto const after = document->GetHash(true);
    bad->failUndo = true;
    EXPECT_THROW(document->Undo(), Kernel::Exception);
    EXPECT_EQ(document->GetHash(true), after);
    EXPECT_TRUE(document->CanUndo());
}

TEST(Compound, OneWithoutChildrenIsStackedOnlyWhenItsMakerSaysSo) {
    auto const document = MakeDocument();
    document->Run(Kernel::MakeCounted<CompoundCommand>(true, true, true));
    EXPECT_EQ(document->GetHistory()->GetCount(), 0u);
    document->Run(Kernel::MakeCounted<CompoundCommand>(false, true, true));
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
}

TEST(Compound, ItsCloneIsEmptyWhenAChildCannotBeRepeated) {
    auto const compound = Kernel::MakeCounted<CompoundCommand>(true, true, true);
    compound->AppendCommand(MakeSet(1));
    EXPECT_TRUE(compound->Clone());
    auto const once = MakeSet(2);
    once->clones = false;
    compound->AppendCommand(once);
    EXPECT_FALSE(compound->Clone());
}
