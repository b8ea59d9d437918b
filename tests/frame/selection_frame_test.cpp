// SPDX-License-Identifier: Apache-2.0
#include "frame/selection/selection_command.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/object_graph.h"
#include "raster/raster_solarise_command.h"
#include "raster/replace_bitmap_command.h"
#include "shapes/ungroup_all_nodes_command.h"
#include "shapes/ungroup_nodes_command.h"
#include "tests/frame/slots.h"
#include "tests/support/documents.h"
#include "tests/support/records.h"

#include <gtest/gtest.h>

namespace {

using namespace Support;
using namespace Commands;

std::string NameOf(Node const& node) { return node.GetDescription(true).ToStdString(); }

// Notes what its receivers get, in which direction.
template <class T, template <class> class Template>
class Noting : public Template<T> {
public:
    using Template<T>::Template;
    Kernel::LocalisedString GetDescription() const override { return {"Note", "Command description"}; }
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return SelectionCommandBase::GetTypeClassProperties();
    }
    std::string TakeLog() { return std::exchange(log, {}); }
    std::string log;

protected:
    void Note(Node const& node, char const* as = "") {
        log += (log.empty() ? "" : " ") + NameOf(node) + as + std::to_string(static_cast<unsigned>(this->m_direction));
    }
};

class Visiting : public Noting<Visiting, SelectionCommand> {
public:
    explicit Visiting(Kernel::Counted<Selection const> selection = {}) : Noting(std::move(selection)) {
        AppendTranslator(std::make_unique<TerminatingTranslatorT<Visiting, ShapeNode>>());
    }
    void Receive(Kernel::NonCounted<ShapeNode> node) {
        Note(*node);
        EXPECT_EQ(node.get(), Kernel::CastPointer<ShapeNode>(GetSelectionItem()->GetSelectable().get()));
        if (fails)
            throw Kernel::Exception("cannot receive");
    }
    bool VisitInReverse() const override { return inReverse; }
    Kernel::Counted<SelectionItem const> GetItem() const { return GetSelectionItem(); }
    bool inReverse = false;
    bool fails = false;
    int prepared = 0;
    static std::ptrdiff_t SlotOf(int index) {
        switch (index) {
        case 0:
            return Slot(&Visiting::ShouldOperateOnMasterItems);
        case 1:
            return Slot(&Visiting::ReservedSelectionQuery);
        case 2:
            return Slot(&Visiting::NeedToManage);
        case 3:
            return Slot(
                static_cast<bool (SelectionCommand<Visiting>::*)() const>(&SelectionCommand<Visiting>::VisitInReverse));
        default:
            return Slot(&SelectionCommand<Visiting>::DoInReverse);
        }
    }

private:
    void PrepareUndo() override { ++prepared; }
};

// Walks forward whatever the direction is.
class Forward final : public Visiting {
public:
    using Visiting::Visiting;
    bool DoInReverse() const override { return false; }
};

struct Three {
    Three() {
        for (auto const& node : {a, b, c})
            ExampleDocuments::Append(*controller->GetCurrentSpread(), node);
    }
    Kernel::Counted<Selection const> All() const {
        return Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{a, b, c});
    }
    Kernel::Counted<DocumentController> controller = NewDocument();
    Kernel::Counted<ShapeNode> a = Named("a"), b = Named("b"), c = Named("c");
};

// The base's operations have the command written anew by the next save, in each direction.
TEST(SelectionVisit, OfAnEmptySelectionDoesNothingAndDoAndUndoOfTheBaseStillRun) {
    Three const scene;
    auto const before = scene.controller->GetHash(false);
    std::vector<Kernel::Counted<DocumentCommand>> const commands{
        Kernel::MakeCounted<RasterSolariseCommand>(), Kernel::MakeCounted<UngroupNodesCommand>(),
        Kernel::MakeCounted<UngroupAllNodesCommand>(),
        Kernel::MakeCounted<ReplaceBitmapCommand>(Kernel::MakeCounted<Raster::DynamicBitmap>(),
                                                  Kernel::MakeCounted<Selection>())};
    for (auto const& command : commands) {
        SCOPED_TRACE(command->GetObjectClassProperties()->GetName());
        Bind(*scene.controller, *command);
        Kernel::ObjectGraph graph;
        Kernel::MemoryChunkStorage storage;
        auto const isMarkedBy = [&](void (Command::*operation)()) {
            Kernel::Counted<Kernel::Serialisable const> const roots[] = {command};
            graph.Save(roots, storage);
            EXPECT_FALSE(graph.HasChanges());
            ((*command).*operation)();
            return graph.HasChanges();
        };
        EXPECT_TRUE(isMarkedBy(&Command::Do));
        EXPECT_EQ(DomainCommand::Direction::Do, command->GetDirection());
        EXPECT_TRUE(isMarkedBy(&Command::Undo));
        EXPECT_EQ(DomainCommand::Direction::Undo, command->GetDirection());
        EXPECT_TRUE(isMarkedBy(&Command::Redo));
        EXPECT_EQ(DomainCommand::Direction::Redo, command->GetDirection());
        EXPECT_FALSE(isMarkedBy(&Command::Teardown)) << "the end of a command is not saved";
        ASSERT_TRUE(command->GetSelection());
        EXPECT_TRUE(command->GetSelection()->empty());
    }
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(SelectionVisit, OfAnEmptySelectionReachesNoReceiver) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Visiting>(Kernel::MakeCounted<Selection>());
    Bind(*scene.controller, *command);
    command->Do();
    EXPECT_EQ(1, command->prepared);
    command->Undo();
    command->Redo();
    command->Teardown();
    EXPECT_EQ("", command->log);
    EXPECT_FALSE(command->GetItem());
    EXPECT_EQ(1, command->prepared) << "undo is prepared once, by Do";
}

TEST(SelectionVisit, UndoWalksFromTheLastItemToTheFirst) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Visiting>(scene.All());
    Bind(*scene.controller, *command);
    command->Do();
    EXPECT_EQ("a0 b0 c0", command->TakeLog());
    command->Undo();
    EXPECT_EQ("c1 b1 a1", command->TakeLog());
    command->Redo();
    EXPECT_EQ("a2 b2 c2", command->TakeLog());
    command->Teardown();
    EXPECT_EQ("a3 b3 c3", command->TakeLog());
}

TEST(SelectionVisit, InReverseEachDirectionWalksTheOtherWay) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Visiting>(scene.All());
    command->inReverse = true;
    Bind(*scene.controller, *command);
    command->Do();
    EXPECT_EQ("c0 b0 a0", command->TakeLog());
    command->Undo();
    EXPECT_EQ("a1 b1 c1", command->TakeLog());
    command->Redo();
    EXPECT_EQ("c2 b2 a2", command->TakeLog());
}

TEST(SelectionVisit, ACommandThatNeverGoesInReverseWalksForwardInAllDirections) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Forward>(scene.All());
    Bind(*scene.controller, *command);
    command->Do();
    command->Undo();
    command->Redo();
    command->Teardown();
    EXPECT_EQ("a0 b0 c0 a1 b1 c1 a2 b2 c2 a3 b3 c3", command->TakeLog());
}

TEST(SelectionVisit, ObjectsThatNoTranslatorTakesAreSkipped) {
    Three scene;
    auto const group = NamedGroup("group");
    ExampleDocuments::Append(*scene.controller->GetCurrentSpread(), group);
    auto const command = Kernel::MakeCounted<Visiting>(
        Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.a, group, scene.c}));
    Bind(*scene.controller, *command);
    command->Do();
    EXPECT_EQ("a0 c0", command->TakeLog());
    EXPECT_EQ(scene.c.get(), Kernel::CastPointer<ShapeNode>(command->GetItem()->GetSelectable().get()))
        << "the item stays after the visit";
}

TEST(SelectionVisit, AnExceptionOfAReceiverPassesOut) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Visiting>(scene.All());
    command->fails = true;
    EXPECT_THROW(scene.controller->Run(command), Kernel::Exception);
    EXPECT_EQ("a0", command->TakeLog());
    EXPECT_FALSE(scene.controller->CanUndo());
}

// The translators of a command that ungroups, most derived first.
class Ungrouping final : public Noting<Ungrouping, OrderedSelectionCommand> {
public:
    explicit Ungrouping(Kernel::Counted<Selection const> selection) : Noting(std::move(selection)) {
        AppendTranslator(std::make_unique<TerminatingTranslatorT<Ungrouping, CloudSyncedNode>>());
        AppendTranslator(std::make_unique<TerminatingTranslatorT<Ungrouping, ConstraintsGroupNode>>());
        AppendTranslator(std::make_unique<TerminatingTranslatorT<Ungrouping, GroupNode>>());
    }
    void Receive(Kernel::NonCounted<CloudSyncedNode> node) { Note(*node, "=box"); }
    void Receive(Kernel::NonCounted<ConstraintsGroupNode> node) { Note(*node, "=constraints"); }
    void Receive(Kernel::NonCounted<GroupNode> node) { Note(*node, "=group"); }
};

TEST(SelectionVisit, ANodeOfTwoKindsReachesTheReceiverWhoseTranslatorComesFirstAndNoOther) {
    auto const controller = NewDocument();
    auto const plain = NamedGroup("plain");
    auto const constrained = NamedGroup<ConstraintsGroupNode>("constrained");
    for (auto const& node : std::initializer_list<Kernel::Counted<Node>>{plain, constrained})
        ExampleDocuments::Append(*controller->GetCurrentSpread(), node);
    auto const selection = Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{plain, constrained});
    auto const command = Kernel::MakeCounted<Ungrouping>(selection);
    Bind(*controller, *command);
    command->Do();
    EXPECT_EQ("plain=group0 constrained=constraints0", command->TakeLog());
}

// The class that the first translator which takes a node asks for.
template <class... N>
std::string FirstTaker(UngroupNodesCommand const& command, Kernel::Counted<Node> const& node) {
    std::string taker;
    for (auto const& translator : command.GetTranslators()) {
        auto const ask = [&]<class T>(std::type_identity<T>) {
            bool const isOfClass =
                dynamic_cast<TerminatingTranslatorT<UngroupNodesCommand, T>*>(translator.get()) != nullptr;
            if (taker.empty() && isOfClass && Kernel::CastPointer<T>(node.get()) != nullptr)
                taker = T::GetTypeClassProperties()->GetName();
        };
        (ask(std::type_identity<N>()), ...);
    }
    return taker;
}

TEST(SelectionVisit, AConstraintsGroupReachesTheReceiverOfConstraintsGroupsWhenItIsUngrouped) {
    auto const command = Kernel::MakeCounted<UngroupNodesCommand>();
    ASSERT_EQ(3u, command->GetTranslators().size());
    auto const taker = [&](Kernel::Counted<Node> const& node) {
        return FirstTaker<GroupNode, ConstraintsGroupNode, CloudSyncedNode>(*command, node);
    };
    EXPECT_EQ("ConstraintsGroupNode", taker(NamedGroup<ConstraintsGroupNode>("group")));
    EXPECT_EQ("GroupNode", taker(NamedGroup("group")));
    EXPECT_EQ("GroupNode", taker(Kernel::MakeCounted<SymbolNode>()));
    EXPECT_EQ("CloudSyncedNode", taker(Kernel::MakeCounted<CloudSyncedNode>()));
    EXPECT_EQ("", taker(Named("shape")));
}

TEST(SelectionVisit, AConstraintsGroupIsUngroupedOnce) {
    auto const controller = NewDocument();
    ExampleDocuments::ConstraintsGroup(*controller);
    auto const children =
        controller->GetCurrentSelection()->GetNodes().front()->CountChildren(NodeChildListType::Plain);
    auto const siblings = controller->GetCurrentSpread()->CountChildren(NodeChildListType::Plain);
    controller->Run(Kernel::MakeCounted<UngroupNodesCommand>());
    EXPECT_EQ(siblings - 1 + children, controller->GetCurrentSpread()->CountChildren(NodeChildListType::Plain));
}

class Ordered : public Noting<Ordered, OrderedSelectionCommand> {
public:
    explicit Ordered(Kernel::Counted<Selection const> selection = {}) : Noting(std::move(selection)) {
        AppendTranslator(std::make_unique<TerminatingTranslatorT<Ordered, ShapeNode>>());
    }
    void Receive(Kernel::NonCounted<ShapeNode> node) { Note(*node); }
    bool IsFromDocument() const { return m_selectionFromDocument; }
    bool IsResolved() const { return m_selectionResolved; }
    Kernel::Counted<Selection const> GetSettled() const { return m_selection; }
    static Kernel::Counted<Kernel::Serialisable> CreateObject() { return Kernel::MakeCounted<Ordered>(); }
    static Kernel::ClassProperties const* GetTypeClassProperties() {
        static Kernel::ClassProperties const s_properties("TfOr", &Ordered::CreateObject, 1, nullptr,
                                                          SelectionCommandBase::GetTypeClassProperties(), "Ordered");
        static Kernel::ClassPropertiesBase::Init const s_init(&s_properties);
        return &s_properties;
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
};

Kernel::Counted<Selection const> BackToFront(Three const& scene) {
    return Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{scene.c, scene.a, scene.b});
}

TEST(SelectionVisit, ASelectionOfAnotherDocumentIsRefusedBeforeAnythingIsVisited) {
    Three const scene;
    auto const other = NewDocument();
    auto const command = Kernel::MakeCounted<Visiting>(scene.All());
    EXPECT_THROW(other->Run(command), Kernel::Exception);
    EXPECT_EQ("", command->TakeLog());
    EXPECT_EQ(0u, other->GetHistory()->GetCount());
    // Nodes that stand in no document take no part, and are no reason to refuse.
    for (auto const& node : {scene.a, scene.b, scene.c})
        node->RemoveFromParent();
    auto const late = Kernel::MakeCounted<Visiting>(scene.All());
    other->Run(late);
    EXPECT_EQ("", late->TakeLog());
}

TEST(OrderedSelection, BuiltWithNoneTakesTheDocumentsInOrderWhenItIsFirstAskedAndAnswersItFromTheSecondTimeOn) {
    Three const scene;
    scene.controller->SetSelection(BackToFront(scene), false);
    auto const command = Kernel::MakeCounted<Ordered>();
    Bind(*scene.controller, *command);
    EXPECT_FALSE(command->IsResolved());
    EXPECT_FALSE(command->GetSelection()) << "the first call settles and answers what stood before";
    EXPECT_TRUE(command->IsResolved());
    EXPECT_TRUE(command->IsFromDocument());
    ASSERT_TRUE(command->GetOrigSelection());
    EXPECT_TRUE(command->GetOrigSelection()->IsEqualTo(*scene.All()));
    // The selection afterwards is not asked for.
    scene.controller->SetSelection(Kernel::MakeCounted<Selection>(), false);
    ASSERT_TRUE(command->GetSelection());
    EXPECT_TRUE(command->GetSelection()->IsEqualTo(*scene.All()));
    EXPECT_TRUE(command->IsFromDocument());
}

TEST(OrderedSelection, DoOfTheBaseAsksFirstSoThatTheVisitHasASelection) {
    Three const scene;
    scene.controller->SetSelection(BackToFront(scene), false);
    auto const command = Kernel::MakeCounted<Ordered>();
    scene.controller->Run(command);
    EXPECT_EQ("a0 b0 c0", command->TakeLog());
    scene.controller->Undo();
    EXPECT_EQ("c1 b1 a1", command->TakeLog());
}

TEST(OrderedSelection, BuiltWithOneIsOrderedWhenItIsDequeued) {
    Three const scene;
    auto const given = BackToFront(scene);
    auto const command = Kernel::MakeCounted<Ordered>(given);
    EXPECT_FALSE(command->GetSettled());
    Bind(*scene.controller, *command);
    ASSERT_TRUE(command->GetSettled());
    EXPECT_TRUE(command->GetSettled()->IsEqualTo(*scene.All()));
    EXPECT_EQ(given, command->GetOrigSelection()) << "the given one stays as it was given";
    EXPECT_EQ(command->GetSettled(), command->GetSelection());
    EXPECT_TRUE(command->IsResolved());
    EXPECT_FALSE(command->IsFromDocument());
}

TEST(OrderedSelection, IsSavedAsItWasGivenAndAsItWasSettled) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Ordered>(BackToFront(scene));
    Bind(*scene.controller, *command);
    command->Do();
    auto const saved = SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(command)});
    auto const fields = ListFields(saved);
    EXPECT_EQ(1, std::count(fields.begin(), fields.end(), SavedField{"TfOr", "OSCo"}));
    auto const loaded = Kernel::Cast<Ordered>(LoadFromMemory(saved).at(0));
    ASSERT_TRUE(loaded->GetOrigSelection() && loaded->GetSettled());
    EXPECT_EQ("c", NameOf(*loaded->GetOrigSelection()->GetNodes().at(0)));
    EXPECT_EQ("a", NameOf(*loaded->GetSettled()->GetNodes().at(0)));
    EXPECT_TRUE(loaded->IsResolved());
}

// One interface, and a node with its interface.
class Faced final : public SelectionCommandWithSingleInterface<Faced, BrushFillInterface> {
public:
    using SelectionCommandWithSingleInterface::SelectionCommandWithSingleInterface;
    Kernel::LocalisedString GetDescription() const override { return {"Face", "Command description"}; }
    void Notify(Kernel::NotificationList&) override {}
    Kernel::Counted<DocumentCommand> Clone() const override { return {}; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return SelectionCommandBase::GetTypeClassProperties();
    }
    bool AsksForMasterItems() { return ShouldOperateOnMasterItems(); }

protected:
    // Undo and Redo are left to the bracket, which keeps the states before and after.
    void ReceiveInterface(Kernel::NonCounted<BrushFillInterface> face) override {
        if (m_direction == Direction::Do)
            face->SetBrushFillDescriptor(
                Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(0, 1, 0)));
    }
};

TEST(SelectionVisit, TheBracketAroundAReceiverKeepsStatesForUndoAndRedoAndDoesNothingInTeardown) {
    Three const scene;
    auto const command = Kernel::MakeCounted<Faced>(scene.All());
    auto const before = scene.controller->GetHash(false);
    scene.controller->Run(command);
    auto const after = scene.controller->GetHash(false);
    EXPECT_NE(before, after);
    for (int round = 0; round != 2; ++round) {
        scene.controller->Undo();
        EXPECT_EQ(before, scene.controller->GetHash(false));
        scene.controller->Redo();
        EXPECT_EQ(after, scene.controller->GetHash(false));
    }
    command->Teardown();
    EXPECT_EQ(after, scene.controller->GetHash(false));
    EXPECT_FALSE(command->AsksForMasterItems());
}

TEST(SelectionVisit, OperationsStandInTheirSlots) {
    ExpectSlotsInOrder({Slot(&DocumentCommand::AffectsCrossReferences), Visiting::SlotOf(0), Visiting::SlotOf(1),
                        Visiting::SlotOf(2), Visiting::SlotOf(3), Visiting::SlotOf(4)});
    // A private operation stands between the first two.
    EXPECT_EQ(Visiting::SlotOf(0) + 2, Visiting::SlotOf(1));
    EXPECT_EQ(Slot(&Translator::Translate), 0);
}

} // namespace
