// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "frame/settings/delete_symbol_command.h"
#include "frame/view/add_view_point_command.h"
#include "frame/view/flip_canvas_command.h"
#include "platform/kernel/exception.h"
#include "tests/support/documents.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using Params = Raster::AffineTransform::Params;

ViewPointData ViewPoint(char const* name) { return {name, 0, {1, 2, 3, 4}}; }

TEST(FlipCanvas, MirrorsAboutTheCentreOfTheSpread) {
    auto const controller = NewDocument();
    auto const shape = Named("a");
    ExampleDocuments::Append(*controller->GetCurrentSpread(), shape);
    shape->SetTransform({1, 0, 20, 0, 1, 30}, false);
    controller->Run(Kernel::MakeCounted<FlipCanvasCommand>(true));
    EXPECT_EQ((Params{-1, 0, 380, 0, 1, 30}), shape->GetTransform(false, false));
    controller->Undo();
    controller->Run(Kernel::MakeCounted<FlipCanvasCommand>(false));
    EXPECT_EQ((Params{1, 0, 20, 0, -1, 270}), shape->GetTransform(false, false));
}

TEST(FlipCanvas, AnEmptySpreadHasNothingToFlipAndNothingToPop) {
    auto const controller = NewDocument();
    auto const before = controller->GetHash(false);
    controller->Run(Kernel::MakeCounted<FlipCanvasCommand>(true));
    EXPECT_EQ(before, controller->GetHash(false));
    controller->Undo();
    controller->Redo();
    EXPECT_EQ(before, controller->GetHash(false));
}

TEST(FlipCanvas, TwoRoundsLeaveTheKeptTransformsAsAfterTheFirst) {
    auto const controller = NewDocument();
    ExampleDocuments::NestedGroups(*controller);
    auto const command = Kernel::MakeCounted<FlipCanvasCommand>(true);
    controller->Run(command);
    controller->Undo();
    auto const afterFirst = controller->GetHash(true);
    controller->Redo();
    controller->Undo();
    EXPECT_EQ(afterFirst, controller->GetHash(true)) << "the command saves something else after the second round";
}

TEST(FlipCanvas, UndoPopsOneTransformPerChild) {
    auto const controller = NewDocument();
    auto const first = Named("first"), second = Named("second");
    ExampleDocuments::Append(*controller->GetCurrentSpread(), first);
    ExampleDocuments::Append(*controller->GetCurrentSpread(), second);
    second->SetTransform({1, 0, 100, 0, 1, 0}, false);
    auto const command = Kernel::MakeCounted<FlipCanvasCommand>(true);
    Bind(*controller, *command);
    command->Do();
    first->RemoveFromParent();
    command->Undo();
    EXPECT_EQ(Params(), second->GetTransform(false, false)) << "the first kept transform goes to the first child";
}

TEST(AddViewPoint, UndoTakesTheFirstOfTwoEqualOnes) {
    auto const controller = NewDocument();
    controller->GetDocument()->SetViewPoints({ViewPoint("same"), ViewPoint("other")});
    auto const command = Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("same"));
    Bind(*controller, *command);
    command->Do();
    ASSERT_EQ(3u, controller->GetDocument()->GetViewPoints().size());
    command->Undo();
    auto const left = controller->GetDocument()->GetViewPoints();
    ASSERT_EQ(2u, left.size());
    EXPECT_EQ("other", left[0].name);
    EXPECT_EQ("same", left[1].name);
}

TEST(AddViewPoint, MergeOutsideAPreviewIsRefusedEvenForItsOwnClass) {
    auto const command = Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("a"));
    EXPECT_FALSE(command->Merge(Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("b"))));
    command->SetPreview(true);
    EXPECT_TRUE(command->Merge(Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("b"))));
}

TEST(AddViewPoint, TellsOfARemovalAfterUndoAndOfAnAdditionOtherwise) {
    auto const controller = NewDocument();
    auto const command = Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("a"));
    Bind(*controller, *command);
    auto const kind = [&] {
        auto const list = NotificationsOf(*command);
        EXPECT_EQ(1u, list.size());
        auto const notification = As<ViewPointChangedNotification>(list.front());
        EXPECT_EQ(-1, notification->GetIndex());
        EXPECT_EQ(ViewPoint("a"), notification->GetViewPoint());
        return notification->GetKind();
    };
    command->Do();
    EXPECT_EQ(0, kind());
    command->Undo();
    EXPECT_EQ(1, kind());
    command->Redo();
    EXPECT_EQ(0, kind());
}

TEST(AddViewPoint, ChangesTheDocumentWithoutBeingAStep) {
    auto const controller = NewDocument();
    controller->Run(Kernel::MakeCounted<AddViewPointCommand>(ViewPoint("a")));
    EXPECT_TRUE(controller->GetLastResult().changedDocument);
    EXPECT_FALSE(controller->GetLastResult().stacked);
    EXPECT_EQ(0u, controller->GetHistory()->GetCount());
}

TEST(DeleteSymbol, WithoutASymbolFailsWithAWordAndLeavesTheDocumentAsItWas) {
    auto const controller = NewDocument();
    ExampleDocuments::SymbolWithInstances(*controller);
    auto const before = controller->GetHash(true);
    EXPECT_THROW(controller->Run(Kernel::MakeCounted<DeleteSymbolCommand>(Kernel::JailCounted<Node>())),
                 Kernel::Exception);
    EXPECT_EQ(before, controller->GetHash(true));
}

TEST(DeleteSymbol, WithoutInstancesThereIsNoDetachCommandAndOneNotification) {
    auto const controller = NewDocument();
    auto const symbol = Kernel::MakeCounted<SymbolNode>();
    controller->InsertSymbolAtIndex(symbol, 0);
    auto const command = Kernel::MakeCounted<DeleteSymbolCommand>(symbol);
    controller->Run(command);
    EXPECT_FALSE(command->GetDetachCommand());
    EXPECT_EQ(0, controller->GetSymbolCount());
    auto const list = NotificationsOf(*command);
    ASSERT_EQ(1u, list.size());
    EXPECT_TRUE(As<SymbolsChangedNotification>(list.front()));
}

TEST(DeleteSymbol, SetsInstancesFreeAndLinksThemAgain) {
    auto const controller = NewDocument();
    ExampleDocuments::SymbolWithInstances(*controller);
    auto const instance = controller->GetCurrentSelection()->GetNodes().front();
    auto const symbol = controller->GetSymbolAtIndex(0);
    controller->Run(Kernel::MakeCounted<DeleteSymbolCommand>(symbol));
    EXPECT_FALSE(instance->IsLinked(false));
    EXPECT_FALSE(instance->GetFirstChild(NodeChildListType::Plain)->IsLinked(false));
    controller->Undo();
    EXPECT_EQ(symbol, instance->GetLinkSource());
    EXPECT_TRUE(instance->GetFirstChild(NodeChildListType::Plain)->IsLinked(false));
    EXPECT_EQ(symbol, controller->GetSymbolAtIndex(0));
}

TEST(DeleteSymbol, ASymbolThatIsNotInTheListKeepsIndexMinusOneAndTheListIsLeftAlone) {
    auto const controller = NewDocument();
    controller->InsertSymbolAtIndex(Kernel::MakeCounted<SymbolNode>(), 0);
    auto const command = Kernel::MakeCounted<DeleteSymbolCommand>(Kernel::MakeCounted<SymbolNode>());
    controller->Run(command);
    EXPECT_EQ(-1, command->GetIndex());
    controller->Undo();
    EXPECT_EQ(1, controller->GetSymbolCount());
    controller->Redo();
    EXPECT_EQ(1, controller->GetSymbolCount());
}

TEST(DeleteSymbol, UndoAfterMergeOfACommandThatNeverRanDoesNoHarm) {
    auto const controller = NewDocument();
    ExampleDocuments::SymbolWithInstances(*controller);
    auto const symbol = controller->GetSymbolAtIndex(0);
    auto const preview = Kernel::MakeCounted<DeleteSymbolCommand>(symbol);
    auto const newer = Kernel::MakeCounted<DeleteSymbolCommand>(symbol);
    preview->SetPreview(true);
    Bind(*controller, *newer);
    newer->Do();
    newer->Undo();
    auto const before = controller->GetHash(false);
    ASSERT_TRUE(preview->Merge(newer));
    ASSERT_TRUE(preview->GetDetachCommand());
    Bind(*controller, *preview);
    preview->GetDetachCommand()->Undo();
    EXPECT_EQ(before, controller->GetHash(false));
}

} // namespace
