// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/ai_operation_notification.h"
#include "platform/document/data_merge_source.h"
#include "tests/frame/slots.h"
#include "tests/support/documents.h"

#include <functional>
#include <gtest/gtest.h>

namespace {

using namespace Support;

Kernel::Counted<Selection const> SelectionOf(Kernel::Counted<Node> const& node) {
    return Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{node});
}

// Raises what a test gives it, and changes nothing.
class Raising final : public DocumentCommand {
public:
    using Raise = std::function<void(Kernel::Counted<DocumentController> const&, Kernel::NotificationList&)>;
    explicit Raising(Raise raise) : m_raise(std::move(raise)) {}
    Kernel::LocalisedString GetDescription() const override { return {"Raise", "Command description"}; }
    void Do() override {}
    void Undo() override {}
    void Redo() override {}
    void Notify(Kernel::NotificationList& notifications) override { m_raise(GetDocumentController(), notifications); }
    bool ShouldStackForUndo() const override { return false; }
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DocumentCommand::GetTypeClassProperties();
    }

private:
    Raise m_raise;
};

class Keeping final : public NotificationListener {
public:
    explicit Keeping(DomainController& controller) : m_controller(&controller) { controller.AddListener(this); }
    ~Keeping() override { m_controller->RemoveListener(this); }
    void Receive(Kernel::NonCounted<Kernel::Notification> notification) override {
        heard.emplace_back(notification.get());
    }
    Kernel::NotificationList heard;

private:
    DomainController* m_controller;
};

TEST(Notifications, StandInTheirSlots) {
    ExpectSlotsInOrder({Slot(&Kernel::Notification::GetDedupeId), Slot(&Kernel::Notification::Merge),
                        Slot(&Kernel::Notification::ShouldForwardToFrontEnd)});
    ExpectSlotsInOrder({Slot(&DocumentNotification::GetDedupeId), Slot(&DocumentNotification::Merge),
                        Slot(&DocumentNotification::ShouldForwardToFrontEnd),
                        Slot(&DocumentNotification::RequiredForPreviewing),
                        Slot(&DocumentNotification::FrontEndProcessingTimeIsCritical),
                        Slot(&DocumentNotification::MustProcessWithoutDocumentLock)});
}

TEST(Notifications, TwoOfChangedGuidesInOneBatchHaveOneIdAndMerge) {
    auto const controller = NewDocument();
    auto const first = Kernel::MakeCounted<GuidesChangedNotification>(controller, false);
    auto const second = Kernel::MakeCounted<GuidesChangedNotification>(controller, false);
    EXPECT_EQ(6, first->GetDedupeId());
    EXPECT_EQ(6, second->GetDedupeId());
    EXPECT_TRUE(first->Merge(second));
    EXPECT_FALSE(first->Merge(Kernel::MakeCounted<IndexTopicsChangedNotification>(controller)));

    Keeping listener(*controller);
    controller->Run(Kernel::MakeCounted<Raising>([](auto const& document, Kernel::NotificationList& list) {
        list.push_back(Kernel::MakeCounted<GuidesChangedNotification>(document, false));
        list.push_back(Kernel::MakeCounted<UIColoursChangedNotification>());
        list.push_back(Kernel::MakeCounted<GuidesChangedNotification>(document, false));
        list.push_back(Kernel::MakeCounted<UIColoursChangedNotification>());
    }));
    ASSERT_EQ(3u, listener.heard.size());
    EXPECT_TRUE(As<GuidesChangedNotification>(listener.heard[0]));
    EXPECT_TRUE(As<UIColoursChangedNotification>(listener.heard[1]));
    EXPECT_TRUE(As<UIColoursChangedNotification>(listener.heard[2])) << "a class without an id is not deduplicated";
}

TEST(Notifications, OfMergeOptionsDoNotMergeForTwoSources) {
    auto const controller = NewDocument();
    auto const one = Kernel::MakeCounted<DataMergeSource>("1", "one", nullptr, nullptr);
    auto const two = Kernel::MakeCounted<DataMergeSource>("2", "two", nullptr, nullptr);
    auto const about = [&](Kernel::Counted<DataMergeSource> const& source) {
        return Kernel::MakeCounted<DataMergeOptionsChangedNotification>(controller, false, source);
    };
    EXPECT_FALSE(about(one)->Merge(about(two)));
    EXPECT_TRUE(about(one)->Merge(about(one)));
    EXPECT_FALSE(about(one)->Merge(Kernel::MakeCounted<DataMergeSourceUpdatedNotification>(controller, false, one)));
    EXPECT_EQ(8, about(one)->GetDedupeId());
}

TEST(Notifications, AMergedNewSelectionKeepsItsOldOneAndTakesTheOthersNewOne) {
    auto const controller = NewDocument();
    auto const a = SelectionOf(Named("a")), b = SelectionOf(Named("b")), c = SelectionOf(Named("c"));
    auto const first = Kernel::MakeCounted<NewSelectionNotification>(b, a, controller, false);
    auto const second = Kernel::MakeCounted<NewSelectionNotification>(c, b, controller, false);
    auto const merged = As<NewSelectionNotification>(first->Merge(second));
    ASSERT_TRUE(merged);
    EXPECT_EQ(a, merged->GetOldSelection());
    EXPECT_EQ(c, merged->GetNewSelection());
    EXPECT_FALSE(first->Merge(Kernel::MakeCounted<GuidesChangedNotification>(controller, false)));
    EXPECT_EQ(c, first->GetNewSelection()) << "another class changes nothing";
}

TEST(Notifications, OfTwoDocumentsDoNotMerge) {
    auto const one = NewDocument(), two = NewDocument();
    EXPECT_FALSE(Kernel::MakeCounted<GuidesChangedNotification>(one, false)
                     ->Merge(Kernel::MakeCounted<GuidesChangedNotification>(two, false)));
}

TEST(Notifications, ThatEverythingIsToBePaintedMergeWithTheirOwnClassOnly) {
    auto const controller = NewDocument();
    auto const all = Kernel::MakeCounted<InvalidateDocumentAllNotification>(controller, true);
    EXPECT_EQ((Kernel::RectT<double>{}), all->GetArea());
    EXPECT_FALSE(all->GetSelection());
    EXPECT_TRUE(all->IsPreview());
    EXPECT_FALSE(all->IsAllSpreads() || all->IsOnlyOverlays() || all->IsImmediate());
    EXPECT_TRUE(all->Merge(Kernel::MakeCounted<InvalidateDocumentAllNotification>(controller, true)));
    EXPECT_FALSE(all->Merge(Kernel::MakeCounted<InvalidateDocumentNotification>(
        controller, Kernel::RectT<double>{}, Kernel::Counted<Selection const>(), true, false, false, false)));
}

TEST(Notifications, AnswerAsTheirCatalogueSays) {
    auto const controller = NewDocument();
    auto const preview = [&](auto notification) { return notification->RequiredForPreviewing(); };
    auto const selection = SelectionOf(Named("a"));
    using Kernel::MakeCounted;
    EXPECT_TRUE(preview(MakeCounted<GuidesChangedNotification>(controller, false)));
    EXPECT_FALSE(preview(MakeCounted<NodesChangedNotification>(selection, controller, false)));
    EXPECT_FALSE(preview(MakeCounted<DescriptionChangedNotification>(selection, controller, false)));
    EXPECT_TRUE(preview(MakeCounted<NodesDataChangedNotification>(selection, controller, false)));
    EXPECT_TRUE(preview(MakeCounted<NodesAttributesChangedNotification>(selection, controller, false)));
    EXPECT_TRUE(preview(MakeCounted<NewSelectionNotification>(selection, selection, controller, false)));
    EXPECT_EQ(1, MakeCounted<NewSelectionNotification>(selection, selection, controller, false)->GetDedupeId());
    EXPECT_EQ(10, MakeCounted<AvailableFieldsChangedNotification>(controller, true)->GetDedupeId());
    EXPECT_TRUE(MakeCounted<InvalidateToolNotification>(controller, false)->MustProcessWithoutDocumentLock());
    EXPECT_TRUE(MakeCounted<InvalidateToolAllNotification>(controller, false)->MustProcessWithoutDocumentLock());
    EXPECT_FALSE(MakeCounted<GuidesChangedNotification>(controller, false)->MustProcessWithoutDocumentLock());
    for (bool const active : {false, true}) {
        controller->SetActive(active);
        EXPECT_EQ(active, MakeCounted<ExportArticlesChangedNotification>(controller, true)->ShouldForwardToFrontEnd());
        EXPECT_EQ(active, MakeCounted<InvalidateToolAllNotification>(controller, false)->ShouldForwardToFrontEnd());
        EXPECT_TRUE(MakeCounted<GuidesChangedNotification>(controller, false)->ShouldForwardToFrontEnd());
    }
}

TEST(Notifications, WithoutAPreviewFlagOfTheirOwnAreNoPreview) {
    auto const controller = NewDocument();
    auto const isPreview = [](auto notification) { return notification->IsPreview(); };
    using Kernel::MakeCounted;
    EXPECT_FALSE(isPreview(MakeCounted<CSSFilesChangedNotification>(controller)));
    EXPECT_FALSE(isPreview(MakeCounted<IndexTopicsChangedNotification>(controller)));
    EXPECT_FALSE(isPreview(MakeCounted<DocumentUnitChangedNotification>(controller)));
    EXPECT_FALSE(isPreview(MakeCounted<ReflowPagesSettingChangedNotification>(controller)));
    EXPECT_FALSE(isPreview(MakeCounted<ScaleOverrideSettingsChangedNotification>(controller)));
    EXPECT_FALSE(isPreview(MakeCounted<Notifications::EPubCoverInfoChangedNotification>(controller)));
    auto const tool = MakeCounted<RecommendSpecificToolNotification>(7, controller, Named("a"));
    EXPECT_FALSE(tool->IsPreview());
    EXPECT_EQ(7, tool->GetTool());
    EXPECT_TRUE(isPreview(MakeCounted<GuidesChangedNotification>(controller, true)));
}

TEST(Notifications, OfRemoteModelsCarryWhatIsKnown) {
    auto const controller = NewDocument();
    AIOperationCompletedNotification const completed;
    EXPECT_FALSE(completed.operation || completed.reserved || completed.model || completed.style || completed.aspect);
    EXPECT_FALSE(completed.guidanceMode || completed.prompt || completed.secondaryPrompt || completed.enhancesPrompt);
    EXPECT_FALSE(completed.enhancedPrompt || completed.requestedCount || completed.returnedCount);
    EXPECT_FALSE(completed.resultDetail || completed.resultCode || completed.durationMilliseconds);
    Learning::RemoteInference::Result const result{17, "no answer"};
    auto const failed = Kernel::MakeCounted<AIOperationFailedNotification>(
        controller, result, Kernel::LocalisedString("Image Generation Failed", "Remote inference"),
        OstraAICommandSource{3});
    EXPECT_EQ(17, failed->GetResult().code);
    EXPECT_EQ("no answer", failed->GetResult().detail);
    EXPECT_EQ("Image Generation Failed", failed->GetTitle().GetText());
    EXPECT_EQ(OstraAICommandSource{3}, failed->GetSource());
    EXPECT_EQ(controller.get(), failed->GetDocumentController().get());
    EXPECT_FALSE(failed->IsPreview());
}

} // namespace
