// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/document/doubles.h"

#include <gtest/gtest.h>

using namespace Doubles;

namespace {

// A preview that is kept when another command ends it.
class Sticky : public SetFlags {
public:
    using SetFlags::SetFlags;
    Kernel::Counted<DocumentCommand>
    ShouldStackForUndoWhenClearedAsPreview(Kernel::Counted<DocumentCommand> clearing,
                                           Kernel::NotificationList& notifications) override {
        notifications.push_back(Kernel::MakeCounted<PlainNotification>(-1));
        clearedBy = clearing;
        return Kernel::Counted<DocumentCommand>(this);
    }
    Kernel::Counted<DocumentCommand> clearedBy;
};

// Merges only while it is a preview, and remembers which preview it replaced.
class PreviewMerging final : public SetFlags {
public:
    using SetFlags::SetFlags;
    bool Merge(Kernel::Counted<Command const> newer) override {
        auto const other = Kernel::Cast<PreviewMerging const>(newer);
        if (!m_preview || !other || refuses)
            return false;
        value = other->value;
        return true;
    }
    void FastTrackPreview(Kernel::Counted<Command> previous) override { replaced = previous; }
    bool refuses = false;
    Kernel::Counted<Command> replaced;
};

// A notification that previews leave out.
class FinalNotification final : public DocumentNotification {
public:
    using DocumentNotification::DocumentNotification;
    bool RequiredForPreviewing() override { return false; }
};

// Raises it beside its own.
class Finalising final : public Sticky {
public:
    using Sticky::Sticky;
    void Notify(Kernel::NotificationList& notifications) override {
        SetFlags::Notify(notifications);
        notifications.push_back(Kernel::MakeCounted<FinalNotification>(GetDocumentController(), m_preview));
    }
};

struct FinalListener {
    explicit FinalListener(DocumentController& controller) : all(controller) {
        all.onReceive = [this](Kernel::Notification& notification) {
            count += Kernel::CastPointer<FinalNotification>(&notification) != nullptr;
        };
    }
    Listener all;
    int count = 0;
};

} // namespace

TEST(Preview, DoesWithoutNotificationsThatAreNotRequiredForIt) {
    auto const document = MakeDocument();
    FinalListener listener(*document);
    document->RunPreview(Kernel::MakeCounted<Finalising>(5));
    document->EndPreview(false);
    EXPECT_EQ(listener.all.GetValues(), (std::vector{5, 5}));
    EXPECT_EQ(listener.count, 0);
    document->RunPreview(Kernel::MakeCounted<Finalising>(6));
    document->EndPreview(true);
    EXPECT_EQ(listener.count, 1) << "it is told when the preview becomes a step";
    auto const cleared = Kernel::MakeCounted<Finalising>(7);
    document->RunPreview(cleared);
    document->Run(MakeSet(8));
    EXPECT_EQ(listener.count, 2) << "or stays as one";
    cleared->clearedBy.reset();
    document->Undo();
    document->Undo();
    EXPECT_EQ(listener.count, 3);
    document->SendNotification(Kernel::MakeCounted<FinalNotification>(document, true));
    EXPECT_EQ(listener.count, 3);
}

TEST(Preview, IsShownAndTakenBack) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    auto const before = document->GetHash(true);
    auto const command = MakeSet(5, &log);
    document->RunPreview(command);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 5);
    EXPECT_EQ(document->GetPreview(), Kernel::Counted<DocumentCommand>(command));
    EXPECT_TRUE(command->IsPreview());
    EXPECT_FALSE(document->CanUndo());
    document->EndPreview(false);
    EXPECT_EQ(Log(log), "domain5 bind5 do5 notify5 undo5 notify5 teardown5");
    EXPECT_EQ(document->GetHash(true), before);
    EXPECT_FALSE(document->GetPreview());
    EXPECT_FALSE(document->IsChangedSinceSave());
}

TEST(Preview, IsKeptAsAStepThatIsNoPreviewAnyMore) {
    auto const document = MakeDocument();
    Listener const listener(*document);
    auto const command = MakeSet(5);
    document->RunPreview(command);
    document->EndPreview(true);
    EXPECT_FALSE(command->IsPreview());
    EXPECT_TRUE(document->CanUndo());
    EXPECT_EQ(listener.GetValues(), (std::vector{5, 5}));
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
}

TEST(Preview, ANewerOneTakesThePlaceOfTheOlder) {
    std::vector<std::string> log;
    auto const document = MakeDocument();
    auto const older = Kernel::MakeCounted<PreviewMerging>(1), newer = Kernel::MakeCounted<PreviewMerging>(2);
    older->refuses = true;
    older->log = &log;
    document->RunPreview(older);
    log.clear();
    document->RunPreview(newer);
    EXPECT_EQ(Log(log), "undo1 notify1 teardown1");
    EXPECT_EQ(newer->replaced, Kernel::Counted<Command>(older));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
    document->EndPreview(false);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
}

TEST(Preview, TheOlderOneMayTakeOverTheNewerOnesValues) {
    auto const document = MakeDocument();
    auto const older = Kernel::MakeCounted<PreviewMerging>(1), newer = Kernel::MakeCounted<PreviewMerging>(2);
    document->RunPreview(older);
    document->RunPreview(newer);
    EXPECT_EQ(document->GetPreview(), Kernel::Counted<DocumentCommand>(older));
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
    document->EndPreview(true);
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    document->Redo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 2);
}

TEST(Preview, ACommandThatClearsPreviewsSeesTheDocumentWithout) {
    auto const document = MakeDocument();
    document->RunPreview(MakeSet(5));
    int seen = -1;
    document->Run(Kernel::MakeCounted<CallCommand>(
        [&](DocumentController& controller) { seen = controller.GetScaleOverrideFlags(true); }));
    EXPECT_EQ(seen, 0);
    EXPECT_FALSE(document->GetPreview());
}

TEST(Preview, ACommandThatDoesNotClearPreviewsLeavesIt) {
    auto const document = MakeDocument();
    auto const preview = MakeSet(5);
    document->RunPreview(preview);
    auto const other = MakeSet(6);
    other->clearsPreview = false;
    other->stacks = false;
    document->Run(other);
    EXPECT_EQ(document->GetPreview(), Kernel::Counted<DocumentCommand>(preview));
}

TEST(Preview, OneThatIsClearedMayStayAsAStep) {
    auto const document = MakeDocument();
    Listener const listener(*document);
    auto const preview = Kernel::MakeCounted<Sticky>(5);
    document->RunPreview(preview);
    auto const clearing = MakeSet(6);
    document->Run(clearing);
    EXPECT_EQ(preview->clearedBy, Kernel::Counted<DocumentCommand>(clearing));
    EXPECT_FALSE(preview->IsPreview());
    EXPECT_EQ(document->GetHistory()->GetCount(), 2u);
    EXPECT_EQ(listener.GetValues(), (std::vector{5, -1, 5, 6}));
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    preview->clearedBy.reset();
}

TEST(Preview, MovesInHistoryTakeItBackFirst) {
    auto const document = MakeDocument();
    document->Run(MakeSet(1));
    document->RunPreview(MakeSet(5));
    document->Undo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    document->RunPreview(MakeSet(5));
    document->Redo();
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 1);
    document->RunPreview(MakeSet(5));
    document->GoTo(0);
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
    EXPECT_FALSE(document->GetPreview());
}

TEST(Preview, OneWhoseDoThrowsLeavesTheDocumentWithoutPreview) {
    auto const document = MakeDocument();
    document->RunPreview(MakeSet(1));
    auto const bad = MakeSet(2);
    bad->failDo = true;
    EXPECT_THROW(document->RunPreview(bad), Kernel::AbortException);
    EXPECT_FALSE(document->GetPreview());
    EXPECT_EQ(document->GetScaleOverrideFlags(true), 0);
}

TEST(Preview, EndsWithItsDocument) {
    std::vector<std::string> log;
    auto document = MakeDocument();
    document->RunPreview(MakeSet(1, &log));
    log.clear();
    document.reset();
    EXPECT_EQ(Log(log), "teardown1");
}
