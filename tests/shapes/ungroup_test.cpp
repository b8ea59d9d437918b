// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;

std::string SelectedNames(Scene const& scene) {
    std::string names;
    for (auto const& node : scene.Selected()->GetNodes())
        names += (names.empty() ? "" : " ") + node->GetDescription(true).ToStdString();
    return names;
}

TEST(Ungroup, ChildrenTakeTheGroupsPlaceInTheirOrder) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*scene.spread, {Named("below"), group, Named("above")});
    scene.Put(*group, {Named("a"), Named("b")});
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("below a b above", ChildNames(*scene.spread));
    EXPECT_EQ("a b", SelectedNames(scene));
    scene.controller->Undo();
    EXPECT_EQ("below group above", ChildNames(*scene.spread));
    EXPECT_EQ("a b", ChildNames(*group));
    EXPECT_EQ("group", SelectedNames(scene));
}

TEST(Ungroup, ChildrenKeepTheirPlaceOnThePage) {
    Scene scene;
    auto const group = NamedGroup("group");
    auto const child = Named("child");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {child});
    group->SetTransform({0, -2, 30, 2, 0, 40}, false);
    child->SetTransform({1, 0, 5, 0, 1, 6}, false);
    auto const place = child->GetBaseToSpreadTransform();
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ(place, child->GetBaseToSpreadTransform());
    EXPECT_EQ(scene.spread.get(), child->GetParent());
    scene.controller->Undo();
    EXPECT_EQ((Params{1, 0, 5, 0, 1, 6}), child->GetTransform(false, false));
}

TEST(Ungroup, AnEmptyGroupLeavesTheTreeAndTheNewSelectionCanBeEmpty) {
    Scene scene;
    auto const group = NamedGroup("empty");
    scene.Put(*scene.spread, {group, Named("rest")});
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("rest", ChildNames(*scene.spread));
    ASSERT_TRUE(scene.controller->GetCurrentSelection());
    EXPECT_TRUE(scene.controller->GetCurrentSelection()->empty());
    scene.controller->Undo();
    EXPECT_EQ("empty rest", ChildNames(*scene.spread)) << "the empty group has a record of its own";
}

TEST(Ungroup, PlainShapesFallOutOfTheSelection) {
    Scene scene;
    auto const group = NamedGroup("group");
    auto const shape = Named("shape");
    scene.Put(*scene.spread, {shape, group});
    scene.Put(*group, {Named("a")});
    scene.Select({shape, group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("shape a", ChildNames(*scene.spread));
    EXPECT_EQ("a", SelectedNames(scene));
    scene.controller->Undo();
    EXPECT_EQ("shape group", SelectedNames(scene));
}

TEST(Ungroup, TwoGroupsOfOneParentLandWhereEachStood) {
    Scene scene;
    auto const first = NamedGroup("first"), second = NamedGroup("second");
    scene.Put(*scene.spread, {first, Named("between"), second});
    scene.Put(*first, {Named("a"), Named("b")});
    scene.Put(*second, {Named("c"), Named("d")});
    scene.Select({second, first});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("a b between c d", ChildNames(*scene.spread));
    scene.controller->Undo();
    EXPECT_EQ("first between second", ChildNames(*scene.spread));
}

TEST(Ungroup, NeighbouringGroupsComeBackInOrder) {
    Scene scene;
    auto const first = NamedGroup("first"), second = NamedGroup("second"), third = NamedGroup("third");
    scene.Put(*scene.spread, {first, second, third});
    for (auto const& group : {first, second, third})
        scene.Put(*group, {Named("x"), Named("y")});
    scene.Select({first, second, third});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("x y x y x y", ChildNames(*scene.spread));
    scene.controller->Undo();
    EXPECT_EQ("first second third", ChildNames(*scene.spread));
    EXPECT_EQ("x y", ChildNames(*second));
}

TEST(Ungroup, UndoWorksAgainAfterRedoHasFilledTheRecords) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {Named("a"), Named("b")});
    scene.Select({group});
    auto const before = scene.controller->GetHash(false);
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    for (int round = 0; round != 4; ++round) {
        scene.controller->Undo();
        EXPECT_EQ(before, scene.controller->GetHash(false));
        scene.controller->Redo();
        EXPECT_EQ("a b", ChildNames(*scene.spread));
    }
}

// The area of the invalidation that a command tells of.
Kernel::RectT<double> InvalidArea(DocumentCommand& command) {
    for (auto const& notification : NotificationsOf(command)) {
        if (auto const invalid = As<InvalidateDocumentNotification>(notification))
            return invalid->GetArea();
    }
    return {};
}

TEST(Ungroup, TheInvalidRectangleIsNeverReset) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {Named("a")});
    scene.Select({group});
    auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
    scene.controller->Run(command);
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 10, 10}), InvalidArea(*command));
    scene.controller->Undo();
    group->SetTransform({1, 0, 100, 0, 1, 0}, false);
    scene.controller->Redo();
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 110, 10}), InvalidArea(*command));
    scene.controller->Undo();
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 110, 10}), InvalidArea(*command));
}

TEST(Ungroup, TheFrameTextScaleIsComposedAndUndoRestoresItExactly) {
    Scene scene;
    auto const group = NamedGroup("group");
    auto const child = Named("text");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {child});
    // A third cannot be divided back exactly.
    Params const own{1.0 / 3, 0, 0, 0, 0.1, 0};
    group->SetFrameTextScale({3, 0, 0, 0, 7, 0});
    child->SetFrameTextScale(own);
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ((Params{3, 0, 0, 0, 7, 0} * own), child->GetFrameTextScale());
    scene.controller->Undo();
    EXPECT_EQ(own, child->GetFrameTextScale());
}

TEST(Ungroup, ConstraintsAreRelaxedForTheMoveAndKept) {
    Scene scene;
    auto const group = NamedGroup<ConstraintsGroupNode>("group");
    auto const child = Named("child");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {child});
    child->SetTransformConstraints(5);
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ(5u, child->GetTransformConstraints());
    scene.controller->Undo();
    EXPECT_EQ(5u, child->GetTransformConstraints());
}

// A node that says which constraints it has while it is moved.
class WatchedNode final : public SceneNode {
public:
    inline static std::vector<unsigned> s_constraintsWhenMoved;
    void SetTransform(Params transform, bool inSpread) override {
        s_constraintsWhenMoved.push_back(GetTransformConstraints());
        TransformInterface::SetTransform(transform, inSpread);
    }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<WatchedNode>(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        static Kernel::ClassProperties const s_properties("tWat", &CreateObject, 1, nullptr, nullptr, "WatchedNode");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
};

TEST(Ungroup, WithoutItsTagACommandRelaxesNothingOnALaterUndo) {
    for (bool const hasTag : {true, false}) {
        Scene scene;
        auto const group = NamedGroup<ConstraintsGroupNode>("group");
        auto const child = Kernel::MakeCounted<WatchedNode>();
        scene.Put(*scene.spread, {group});
        scene.Put(*group, {child});
        child->SetTransformConstraints(5);
        scene.Select({group});
        auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
        scene.controller->Run(command);
        std::vector<SavedField> hidden;
        if (!hasTag)
            hidden.push_back({"UGNC", "RACs"});
        auto const reloaded = Reload(scene, *command, hidden);
        WatchedNode::s_constraintsWhenMoved.clear();
        reloaded.command->Undo();
        ASSERT_FALSE(WatchedNode::s_constraintsWhenMoved.empty());
        EXPECT_EQ(hasTag ? c_neutralTransformConstraints : 5u, WatchedNode::s_constraintsWhenMoved.front());
    }
}

TEST(Ungroup, OnReplayTheContentOfASyncedBoxComesBackAsAnOrdinaryChild) {
    Scene scene;
    ExampleDocuments::CloudSyncedBox(*scene.controller);
    auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
    scene.controller->Run(command);
    auto const reloaded = Reload(scene, *command, {});
    reloaded.command->Undo();
    auto const* const box = reloaded.document->GetSpreads().front()->GetFirstChild(NodeChildListType::Plain);
    ASSERT_NE(nullptr, dynamic_cast<CloudSyncedNode const*>(box));
    EXPECT_EQ(1u, box->CountChildren(NodeChildListType::Plain));
}

TEST(Ungroup, RecordsOfAnotherClassTagLeaveTheCommandWithoutRecords) {
    Scene scene;
    ExampleDocuments::NestedGroups(*scene.controller);
    auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
    scene.controller->Run(command);
    auto const reloaded = Reload(scene, *command, {{"UGNC", "UndR"}});
    auto const names = ChildNames(*reloaded.document->GetSpreads().front());
    reloaded.command->Undo();
    EXPECT_EQ(names, ChildNames(*reloaded.document->GetSpreads().front()));
}

TEST(Ungroup, LiveUndoTakesTheContentOfASyncedBoxOutOfEveryList) {
    Scene scene;
    ExampleDocuments::CloudSyncedBox(*scene.controller);
    auto const before = scene.controller->GetHash(false);
    auto const contents =
        Kernel::Cast<CloudSyncedNode>(scene.controller->GetCurrentSelection()->GetNodes().front())->GetBoxContents();
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    scene.controller->Undo();
    EXPECT_EQ(nullptr, contents->GetParent());
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(Ungroup, ANodeWithAnOwnerStaysInItsGroup) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {Named("a")});
    group->SetOwnerReference(scene.spread);
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ("group", ChildNames(*scene.spread));
    scene.controller->Undo();
    EXPECT_EQ("group", ChildNames(*scene.spread));
}

TEST(Ungroup, IsOfferedForGroupsAndNotForSyncedBoxesAlone) {
    Scene scene;
    auto const offered = [](Kernel::Counted<Node> const& node) {
        return UngroupNodesCommand::CanApplyTo(
            Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{node}));
    };
    auto const can = [&](Kernel::Counted<Node> const& node) {
        scene.Put(*scene.spread, {node});
        return offered(node);
    };
    EXPECT_FALSE(offered(NamedGroup("outside the tree")));
    EXPECT_TRUE(can(NamedGroup("g")));
    EXPECT_TRUE(can(NamedGroup<ConstraintsGroupNode>("c")));
    EXPECT_FALSE(can(Kernel::MakeCounted<CloudSyncedNode>()));
    EXPECT_FALSE(can(Named("shape")));
    EXPECT_FALSE(UngroupNodesCommand::CanApplyTo({}));
}

TEST(Ungroup, IsNotOfferedForPartsOfACompoundCurve) {
    Scene scene;
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    auto const part = NamedGroup("part"), other = NamedGroup("other");
    scene.Put(*scene.spread, {compound, other});
    scene.Put(*compound, {part});
    auto const can = [](std::vector<Kernel::Counted<Node>> const& nodes) {
        return UngroupNodesCommand::CanApplyTo(Kernel::MakeCounted<Selection>(nodes));
    };
    EXPECT_TRUE(can({other}));
    EXPECT_FALSE(can({part}));
    EXPECT_FALSE(can({other, part})) << "one part is enough";
}

TEST(Ungroup, TellsOfStructureSelectionAndAreaInThisOrder) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {Named("a")});
    scene.Select({group});
    auto const selected = scene.controller->GetCurrentSelection();
    auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
    scene.controller->Run(command);
    auto const moved = scene.controller->GetCurrentSelection();
    auto const expect = [&](auto const& newSelection, auto const& oldSelection) {
        auto const list = NotificationsOf(*command);
        ASSERT_EQ(3u, list.size());
        EXPECT_TRUE(As<DocumentStructureChangedNotification>(list[0]));
        ASSERT_TRUE(As<NewSelectionNotification>(list[1]));
        EXPECT_EQ(newSelection, As<NewSelectionNotification>(list[1])->GetNewSelection());
        EXPECT_EQ(oldSelection, As<NewSelectionNotification>(list[1])->GetOldSelection());
        EXPECT_TRUE(As<InvalidateDocumentNotification>(list[2]));
    };
    expect(moved, selected);
    scene.controller->Undo();
    expect(selected, moved);
    scene.controller->Redo();
    expect(moved, selected);
}

TEST(UngroupAll, NestedGroupsAreDissolvedOuterFirst) {
    Scene scene;
    auto const outer = NamedGroup("outer"), inner = NamedGroup("inner");
    scene.Put(*scene.spread, {Named("below"), outer, Named("above")});
    scene.Put(*outer, {Named("a"), inner, Named("d")});
    scene.Put(*inner, {Named("b"), Named("c")});
    scene.Select({outer});
    scene.controller->Run(Kernel::MakeCounted<UngroupAllNodesCommand>());
    EXPECT_EQ("below a b c d above", ChildNames(*scene.spread));
    scene.controller->Undo();
    EXPECT_EQ("below outer above", ChildNames(*scene.spread));
    EXPECT_EQ("a inner d", ChildNames(*outer));
    EXPECT_EQ("b c", ChildNames(*inner));
}

TEST(UngroupAll, IsNotOfferedWithoutAGroupAtAnyDepth) {
    Scene scene;
    auto const can = [](Kernel::Counted<Node> const& node) {
        return UngroupAllNodesCommand::CanApplyTo(
            Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{node}));
    };
    auto const shape = Named("shape");
    auto const box = Kernel::MakeCounted<CloudSyncedNode>();
    scene.Put(*scene.spread, {shape, box});
    EXPECT_FALSE(can(shape));
    EXPECT_FALSE(can(box));
    EXPECT_FALSE(can(NamedGroup("outside the tree")));
    scene.Put(*box, {NamedGroup("deep")});
    EXPECT_TRUE(can(box));
}

TEST(UngroupAll, AGroupInsideALinkedInstanceStaysAndNothingIsDetached) {
    Scene scene;
    auto const symbol = Kernel::MakeCounted<SymbolNode>();
    auto const inside = NamedGroup("inside");
    symbol->SetGUID("0001");
    inside->SetGUID("0002");
    scene.Put(*symbol, {inside});
    scene.Put(*inside, {Named("a")});
    scene.controller->InsertSymbolAtIndex(symbol, 0);
    auto const group = NamedGroup("group");
    auto const instance = MakeSymbolInstance(*symbol);
    scene.Put(*scene.spread, {group});
    scene.Put(*group, {instance, Named("b")});
    scene.Select({group});
    scene.controller->Run(Kernel::MakeCounted<UngroupAllNodesCommand>());
    EXPECT_EQ(scene.spread.get(), instance->GetParent());
    EXPECT_EQ("inside", ChildNames(*instance));
    EXPECT_TRUE(instance->IsLinked(false));
}

TEST(UngroupAll, EightHundredNestedGroupsComeBack) {
    Scene scene;
    Kernel::Counted<Node> parent = scene.spread;
    for (int depth = 0; depth != 800; ++depth) {
        auto const group = NamedGroup("g");
        group->SetTransform({1, 0, 1, 0, 1, 0.5}, false);
        scene.Put(*parent, {Named("below"), group, Named("above")});
        parent = group;
    }
    scene.Select({Kernel::Counted<Node>(scene.spread->GetFirstChild(NodeChildListType::Plain)->GetNextSibling())});
    auto const before = scene.controller->GetHash(false);
    scene.controller->Run(Kernel::MakeCounted<UngroupAllNodesCommand>());
    EXPECT_EQ(1600u, scene.spread->CountChildren(NodeChildListType::Plain));
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(Ungroup, DescriptionsAreTheSystemsOwn) {
    EXPECT_EQ(Kernel::LocalisedString("Ungroup", "Command description"),
              Kernel::MakeCounted<UngroupNodesCommand>()->GetDescription());
    EXPECT_EQ(Kernel::LocalisedString("Ungroup all", "Command description"),
              Kernel::MakeCounted<UngroupAllNodesCommand>()->GetDescription());
}

} // namespace
