// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include "platform/document/compound_command.h"

#include <gtest/gtest.h>

using namespace Doubles;

namespace {

// Its description says what it did last.
class ChangingDescription final : public DocumentCommand {
public:
    Kernel::LocalisedString GetDescription() const override {
        return {GetDirection() == Direction::Undo ? "Undone" : "Done", "Command description"};
    }
    void Do() override { SetDirection(Direction::Do); }
    void Undo() override { SetDirection(Direction::Undo); }
    void Redo() override { SetDirection(Direction::Redo); }
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }
};

// Of another class than SetFlags, but takes over what that sets.
class Absorber final : public DocumentCommand {
public:
    explicit Absorber(int& sum) : m_sum(sum) {}
    Kernel::LocalisedString GetDescription() const override { return {"Absorb", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList&) override {}
    bool Merge(Kernel::Counted<Command const> newer) override {
        auto const flags = Kernel::Cast<SetFlags const>(newer);
        m_sum += flags ? flags->value : 0;
        return static_cast<bool>(flags);
    }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }

private:
    int& m_sum;
};

Kernel::Counted<SetFlags> MakeMerging(int value, std::vector<std::string>* log = nullptr) {
    auto command = MakeSet(value, log);
    command->merges = true;
    return command;
}

} // namespace

TEST(History, GoToStepsToAnyPositionAndStopsAtTheEnds) {
    auto const document = MakeDocument();
    std::vector<DocumentHash> states{document->GetHash(false)};
    for (int i = 1; i <= 5; ++i) {
        document->Run(MakeSet(i * 11));
        states.push_back(document->GetHash(false));
    }
    for (std::size_t const position : {0u, 3u, 1u, 5u, 2u}) {
        document->GoTo(position);
        EXPECT_EQ(document->GetHistory()->GetPosition(), position);
        EXPECT_EQ(document->GetHash(false), states[position]);
    }
    document->GoTo(1000);
    EXPECT_EQ(document->GetHistory()->GetPosition(), 5u);
    document->Redo();
    document->GoTo(0);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), states[0]);
}

TEST(History, ANewStepCutsTheRedoTailOffNewestFirst) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    for (int i = 1; i <= 3; ++i)
        document->Run(MakeSet(i, &log));
    document->GoTo(1);
    log.clear();
    document->Run(MakeSet(4));
    EXPECT_EQ(Log(log), "teardown3 teardown2");
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    EXPECT_FALSE(document->CanRedo());
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1);
}

// Only commands that ask a model are taken back when they turn out to be no step.
TEST(History, ACommandThatIsNotStackedKeepsItsChange) {
    auto const document = MakeDocument();
    auto const once = MakeSet(3);
    once->stacks = false;
    document->Run(once);
    EXPECT_EQ(document->GetHistory()->GetCount(), 0u);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 3);
}

TEST(History, ACommandThatIsNotStackedLeavesTheRedoTail) {
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    document->Undo();
    auto const once = MakeSet(2);
    once->stacks = false;
    document->Run(once);
    EXPECT_TRUE(document->CanRedo());
    auto const aborted = MakeSet(3);
    aborted->failDo = true;
    EXPECT_THROW(document->Run(aborted), Kernel::AbortException);
    EXPECT_TRUE(document->CanRedo());
}

TEST(History, TheEndTearsDownNewestFirst) {
    std::vector<std::string> log;
    {
        auto const document = MakeDocument();
        for (int i = 1; i <= 3; ++i)
            document->Run(MakeSet(i, &log));
        log.clear();
    }
    EXPECT_EQ(Log(log), "teardown3 teardown2 teardown1");
}

TEST(History, TheCountLimitDropsTheOldestDoneSteps) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    for (int i = 1; i <= 5; ++i)
        document->Run(MakeSet(i, &log));
    log.clear();
    document->SetUndoLimits(3, SIZE_MAX);
    EXPECT_EQ(Log(log), "teardown1 teardown2");
    EXPECT_EQ(document->GetHistory()->GetPosition(), 3u);
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
    // Steps that are not done stay: they could be redone.
    log.clear();
    document->SetUndoLimits(1, SIZE_MAX);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(document->GetHistory()->GetCount(), 3u);
    document->GoTo(3);
    document->SetUndoLimits(0, SIZE_MAX);
    EXPECT_EQ(document->GetHistory()->GetCount(), 0u);
    document->Run(MakeSet(9));
    EXPECT_FALSE(document->CanUndo());
}

TEST(History, TheByteLimitKeepsAtLeastTheNewestStep) {
    auto const document = MakeDocument();
    for (int i = 1; i <= 100; ++i)
        document->Run(MakeSet(i));
    document->SetUndoLimits(SIZE_MAX, 2000);
    auto const kept = document->GetHistory()->GetCount();
    EXPECT_GT(kept, 5u);
    EXPECT_LT(kept, 90u);
    document->SetUndoLimits(SIZE_MAX, 4000);
    for (int i = 1; i <= 100; ++i)
        document->Run(MakeSet(i));
    EXPECT_GT(document->GetHistory()->GetCount(), kept);
    document->SetUndoLimits(SIZE_MAX, 1);
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 99);
}

TEST(History, AStepThatThrowsStaysWhereItWas) {
    auto const document = MakeDocument();
    auto const first = MakeSet(1), second = MakeSet(2);
    document->Run(first);
    document->Run(second);
    first->failUndo = true;
    EXPECT_THROW(document->GoTo(0), Kernel::Exception);
    EXPECT_EQ(document->GetHistory()->GetPosition(), 1u);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1);
    first->failUndo = false;
    document->GoTo(0);
    first->failUndo = true;
    EXPECT_THROW(document->GoTo(2), Kernel::Exception);
    EXPECT_EQ(document->GetHistory()->GetPosition(), 0u);
}

TEST(History, DescriptionsAreKeptWithTheirContext) {
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    EXPECT_EQ(document->GetHistory()->GetDescription(0), Kernel::LocalisedString("Set Flags", "Command description"));
    EXPECT_EQ(document->GetHistory()->GetDescription(1), Kernel::LocalisedString());
}

TEST(History, TheHashOfTheHistoryKeepsTheDescriptionThatItSaw) {
    auto const document = MakeDocument();
    document->Run(Kernel::MakeCounted<ChangingDescription>());
    auto const hash = document->GetHash(true);
    document->Undo();
    EXPECT_EQ(document->GetHistory()->GetDescription(0).GetText(), Kernel::String("Done"));
    document->Redo();
    EXPECT_EQ(document->GetHash(true), hash);
}

TEST(Merge, TheOlderTakesTheNewerWithinItsTimeAndUndoesInOneStep) {
    auto const document = MakeDocument();
    ManualClock clock;
    document->SetClock(&clock);
    for (int i = 1; i <= 4; ++i) {
        document->Run(MakeMerging(i));
        EXPECT_EQ(document->GetLastResult().merged, i != 1);
        EXPECT_EQ(document->GetLastResult().stacked, i == 1);
        clock.now += 500;
    }
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    clock.now += 1;
    document->Run(MakeMerging(5));
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 4);
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    document->Redo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 4);
    document->SetClock(nullptr);
}

TEST(Merge, ATimeoutOfNothingNeverMerges) {
    auto const document = MakeDocument();
    ManualClock const clock;
    document->SetClock(&clock);
    auto const older = MakeMerging(1);
    older->mergeTimeout = 0;
    document->Run(older);
    document->Run(MakeMerging(2));
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    document->SetClock(nullptr);
}

TEST(Merge, TheClassesNeedNotBeEqual) {
    auto const document = MakeDocument();
    ManualClock const clock;
    document->SetClock(&clock);
    int sum = 0;
    document->Run(Kernel::MakeCounted<Absorber>(sum));
    document->Run(MakeSet(5));
    document->Run(MakeSet(6));
    EXPECT_EQ(sum, 11);
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    document->SetClock(nullptr);
}

TEST(Merge, ANewerCommandThatIsNotStackedDoesNotMerge) {
    auto const document = MakeDocument();
    ManualClock const clock;
    document->SetClock(&clock);
    document->Run(MakeMerging(1));
    auto const once = MakeMerging(2);
    once->stacks = false;
    document->Run(once);
    EXPECT_FALSE(document->GetLastResult().merged);
    document->SetClock(nullptr);
}

TEST(Merge, GoingBackEndsARun) {
    auto const document = MakeDocument();
    ManualClock const clock;
    document->SetClock(&clock);
    document->Run(MakeMerging(1));
    document->Undo();
    document->Redo();
    document->Run(MakeMerging(2));
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    // With a tail behind the position nothing merges either.
    document->Undo();
    document->Run(MakeMerging(3));
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    document->SetClock(nullptr);
}

TEST(Merge, CanBeSwitchedOff) {
    auto const document = MakeDocument();
    document->SetMergingEnabled(false);
    document->Run(MakeMerging(1));
    document->Run(MakeMerging(2));
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
}

TEST(Merge, TheMergedCommandCompletesAndIsGone) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    ManualClock const clock;
    document->SetClock(&clock);
    document->Run(MakeMerging(1));
    Kernel::Weak<SetFlags> weak;
    {
        auto const newer = MakeMerging(2, &log);
        weak = Kernel::Weak<SetFlags>(newer);
        document->Run(newer);
    }
    EXPECT_EQ(Log(log), "domain2 bind2 do2 notify2 complete2");
    EXPECT_FALSE(weak.Lock());
    document->SetClock(nullptr);
}

TEST(Repeat, TheNewestCommandRunsAgainThroughItsClone) {
    auto const document = MakeDocument();
    EXPECT_FALSE(document->RepeatLastCommand());
    document->SetMergingEnabled(false);
    auto const repeating = MakeSet(3);
    repeating->repeats = true;
    document->Run(repeating);
    document->Run(MakeSet(8));
    document->Undo();
    EXPECT_TRUE(document->RepeatLastCommand());
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 3);
    document->GoTo(0);
    EXPECT_FALSE(document->RepeatLastCommand());
    EXPECT_TRUE(document->CanRedo());
}

TEST(Repeat, ACommandThatCannotRepeatIsNotRepeatedThoughItHasAClone) {
    auto const document = MakeDocument();
    document->Run(MakeSet(3));
    auto const hash = document->GetHash(true);
    EXPECT_TRUE(document->GetHistory()->GetCommand(0)->Clone());
    EXPECT_FALSE(document->RepeatLastCommand());
    EXPECT_EQ(document->GetHash(true), hash);
    // A clone runs elsewhere.
    auto const other = MakeDocument();
    other->Run(document->GetHistory()->GetCommand(0)->Clone());
    EXPECT_EQ(other->GetScaleOverrideFlags(true), 3);
}

TEST(Repeat, ACommandWithAnEmptyCloneIsNeverRepeated) {
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    auto const once = MakeSet(2);
    once->clones = false;
    once->repeats = true;
    document->Run(once);
    auto const hash = document->GetHash(true);
    EXPECT_FALSE(document->RepeatLastCommand());
    EXPECT_EQ(document->GetHash(true), hash);
}

TEST(History, ADeepHistoryMovesAndEndsWithoutRecursion) {
    auto document = MakeDocument();
    document->SetMergingEnabled(false);
    for (int i = 1; i <= 100'000; ++i)
        document->Run(MakeSet(i));
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    document->GoTo(100'000);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 100'000);
    document.reset();
}
