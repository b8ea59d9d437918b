// SPDX-License-Identifier: Apache-2.0
// The commands that others run for their new nodes, selections and text wraps.

#include "platform/document/add_child_nodes_command.h"
#include "platform/document/change_text_wrap_command.h"
#include "platform/document/document_controller.h"
#include "platform/document/selection_commands.h"
#include "platform/document/shown_texts.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"

#include <gtest/gtest.h>

namespace {

using Kernel::MakeCounted;
using Nodes = std::vector<Kernel::Counted<Node>>;
using Params = Raster::AffineTransform::Params;
using List = NodeChildListType;

class StructureCommands : public testing::Test {
protected:
    Kernel::Counted<DocumentController> document = DocumentController::CreateNew({400, 400}, Raster::FormatRGBA8, 2);

    static Kernel::Counted<PolyCurveNode> MakeBox(Kernel::RectT<double> const& box) {
        auto const node = MakeCounted<PolyCurveNode>();
        node->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(box));
        return node;
    }
    SpreadNode& Spread(std::size_t index = 0) { return *document->GetDocument()->GetSpreads()[index]; }
    template <class N>
    Kernel::Counted<N> Put(Node& parent, Kernel::Counted<N> node) {
        parent.InsertChild(List::Plain, node, nullptr);
        return node;
    }
    void Select(Nodes const& nodes) { document->SetSelection(MakeCounted<Selection const>(nodes), false); }
    Nodes Selected() const { return document->GetCurrentSelection()->GetNodes(); }
    static Nodes ChildrenOf(Node const& parent, List list = List::Plain) {
        Nodes children;
        for (Node* child = parent.GetFirstChild(list); child != nullptr; child = child->GetNextSibling())
            children.emplace_back(child);
        return children;
    }
    static void ExpectBounds(Node const& node, Kernel::RectT<double> const& expected) {
        auto const bounds = node.GetBounds(false);
        EXPECT_NEAR(bounds.left, expected.left, 1e-9);
        EXPECT_NEAR(bounds.top, expected.top, 1e-9);
        EXPECT_NEAR(bounds.right, expected.right, 1e-9);
        EXPECT_NEAR(bounds.bottom, expected.bottom, 1e-9);
    }
};

TEST_F(StructureCommands, NodesKeepTheirPlaceOnTheSpreadInEveryList) {
    auto const outer = Put(Spread(), MakeCounted<GroupNode>());
    outer->SetTransform({2, 0, 30, 0, 3, 40}, false);
    auto const inner = Put(*outer, MakeCounted<GroupNode>());
    inner->SetTransform({0.6, -0.8, 5, 0.8, 0.6, 7}, false);
    for (auto const list : {List::Plain, List::Clipping, List::WrapShape, List::Masks}) {
        auto const box = MakeBox({10, 20, 60, 50});
        auto const command = MakeCounted<AddChildNodesCommand>(list, inner);
        command->AddNode(box);
        document->Run(command);
        ASSERT_EQ(box->GetParent(), inner.get());
        EXPECT_EQ(box->GetChildListType(), list);
        auto const onSpread = box->GetTransform(true, false);
        EXPECT_NEAR(onSpread.a, 1, 1e-12);
        EXPECT_NEAR(onSpread.b, 0, 1e-12);
        EXPECT_NEAR(onSpread.ty, 0, 1e-12);
        ExpectBounds(*box, {10, 20, 60, 50});
    }
}

TEST_F(StructureCommands, ANodeGivenInItsParentsOwnSpaceStandsThereWithoutRounding) {
    auto const shape = Put(Spread(), MakeBox({0, 0, 10, 10}));
    shape->SetTransform({0.3, 0.1, 17, -0.7, 1.9, 1e6}, false);
    auto const wrap = MakeBox({0, 0, 10, 10});
    wrap->Transform(shape->GetBaseToSpreadTransform(), false);
    auto const command = MakeCounted<AddChildNodesCommand>(List::WrapShape, shape);
    command->AddNode(wrap);
    document->Run(command);
    EXPECT_TRUE(wrap->GetMatrix().IsIdentity());
}

TEST_F(StructureCommands, NodesThatGoIntoAFlatSpaceKeepTheirMatrices) {
    auto const flat = Put(Spread(), MakeCounted<GroupNode>());
    flat->SetTransform({1, 0, 0, 0, 0, 0}, false);
    auto const box = MakeBox({0, 0, 10, 10});
    box->SetTransform({1, 0, 5, 0, 1, 6}, false);
    auto const command = MakeCounted<AddChildNodesCommand>(List::Plain, flat);
    command->AddNode(box);
    document->Run(command);
    EXPECT_EQ(box->GetMatrix(), (Params{1, 0, 5, 0, 1, 6}));
}

TEST_F(StructureCommands, TheModeSaysWhereNodesGo) {
    auto const back = Put(Spread(), MakeBox({0, 0, 10, 10})), front = Put(Spread(), MakeBox({20, 0, 30, 10}));
    auto const group = Put(Spread(), MakeCounted<GroupNode>());
    auto const child = Put(*group, MakeBox({40, 0, 50, 10}));
    auto const add = [&](InsertionMode mode) {
        auto const node = MakeBox({0, 0, 1, 1});
        auto const command = MakeCounted<AddChildNodesCommand>(true, List::Plain, mode);
        command->AddNode(node);
        document->Run(command);
        EXPECT_EQ(Selected(), Nodes{node});
        return node;
    };
    Select({back});
    auto const above = add(InsertionMode::Above);
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{back, above, front, group}));
    Select({group, back});
    auto const inside = add(InsertionMode::Inside);
    EXPECT_EQ(ChildrenOf(*back), Nodes{inside}) << "the order of use is that of the tree";
    Select({child});
    auto const onTop = add(InsertionMode::FrontOfSpread);
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{back, above, front, group, onTop}));
    Select({});
    auto const alone = add(InsertionMode::Above);
    EXPECT_EQ(ChildrenOf(Spread()).back(), alone);
    while (document->CanUndo())
        document->Undo();
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{back, front, group}));
}

TEST_F(StructureCommands, WithoutAnObjectToGoIntoNothingIsAdded) {
    auto const command = MakeCounted<AddChildNodesCommand>(true, List::WrapShape, InsertionMode::Inside);
    command->AddNode(MakeBox({0, 0, 1, 1}));
    EXPECT_THROW(document->Run(command), Kernel::Exception);
    EXPECT_FALSE(document->CanUndo());
    EXPECT_TRUE(ChildrenOf(Spread()).empty());
    document->Run(MakeCounted<AddChildNodesCommand>(true, List::Plain, InsertionMode::Inside));
    EXPECT_FALSE(document->CanUndo()) << "a command without nodes is no step";
}

TEST_F(StructureCommands, NewNodesAreAppendedToTheListWhileTheyStandInTheTree) {
    auto const known = MakeBox({0, 0, 1, 1}), one = MakeBox({0, 0, 1, 1}), two = MakeBox({0, 0, 2, 2});
    auto const command = MakeCounted<AddChildNodesCommand>(false, List::Plain, InsertionMode::FrontOfSpread);
    command->AddNode(one);
    command->AddNode(two);
    EXPECT_TRUE(command->WillAddChildNodes());
    Nodes nodes{known};
    command->GetNewNodes(nodes);
    EXPECT_EQ(nodes, Nodes{known});
    document->Run(command);
    command->GetNewNodes(nodes);
    EXPECT_EQ(nodes, (Nodes{known, one, two}));
    document->Undo();
    nodes.clear();
    command->GetNewNodes(nodes);
    EXPECT_TRUE(nodes.empty());
}

using Curve = Kernel::Counted<Geometry::CurveDbl>;

TEST_F(StructureCommands, NewNodesGoBehindTheirSiblingsWhereAsked) {
    auto const back = Put(Spread(), MakeBox({0, 0, 1, 1})), front = Put(Spread(), MakeBox({0, 0, 1, 1}));
    auto const one = MakeBox({0, 0, 2, 2}), two = MakeBox({0, 0, 3, 3});
    auto const command = MakeCounted<AddChildNodesCommand>(
        false, List::Plain, true, false, false, Curve(), Kernel::Counted<Selection const>(),
        InsertionMode::FrontOfSpread, 0, ApplyDefault::Never, ApplyDefault::Never);
    command->AddNode(one);
    command->AddNode(two);
    document->Run(command);
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{one, two, back, front}));
    document->Undo();
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{back, front}));
    document->Redo();
    EXPECT_EQ(ChildrenOf(Spread()), (Nodes{one, two, back, front}));
}

class DetachingAddCommand final : public AddChildNodesCommand {
public:
    using AddChildNodesCommand::AddChildNodesCommand;
    DetachInterfaces GetDocumentDetachLinkedAttributesOnEdit() const override { return DetachInterfaces::Structure; }
};

TEST_F(StructureCommands, ALinkedParentIsDetachedUnlessItsLinksAreKept) {
    for (bool const keepLinks : {false, true}) {
        SCOPED_TRACE(keepLinks);
        auto const symbol = MakeCounted<SymbolNode>();
        symbol->InsertChild(List::Plain, MakeCounted<GroupNode>(), nullptr);
        document->InsertSymbolAtIndex(symbol, 0);
        auto const instance = Put(Spread(), MakeSymbolInstance(*symbol));
        Select({instance});
        auto const command = MakeCounted<DetachingAddCommand>(false, List::Plain, false, keepLinks, false, Curve(),
                                                              Kernel::Counted<Selection const>(), InsertionMode::Inside,
                                                              0, ApplyDefault::Never, ApplyDefault::Never);
        command->AddNode(MakeBox({0, 0, 1, 1}));
        document->Run(command);
        EXPECT_EQ(ChildrenOf(*instance).size(), 2u);
        EXPECT_EQ(instance->IsLinked(false), keepLinks);
        command->Undo();
        EXPECT_TRUE(instance->IsLinked(false));
        EXPECT_EQ(ChildrenOf(*instance).size(), 1u);
    }
}

TEST_F(StructureCommands, NewNodesMayComeInTheSpaceOfTheirParent) {
    auto const group = Put(Spread(), MakeCounted<GroupNode>());
    group->SetTransform({2, 0, 100, 0, 2, 100}, false);
    Select({group});
    auto const box = MakeBox({10, 10, 20, 20});
    auto const command = MakeCounted<AddChildNodesCommand>(false, List::Plain, false, false, true, Curve(),
                                                           Kernel::Counted<Selection const>(), InsertionMode::Inside, 0,
                                                           ApplyDefault::Never, ApplyDefault::Never);
    command->AddNode(box);
    document->Run(command);
    ExpectBounds(*box, {120, 120, 140, 140});
    auto const clone = Kernel::Cast<AddChildNodesCommand>(command->Clone());
    document->Run(clone);
    ASSERT_EQ(ChildrenOf(*group).size(), 2u);
    ExpectBounds(*ChildrenOf(*group)[1], {120, 120, 140, 140});
}

TEST_F(StructureCommands, NewNodesGoToASpreadBesideTheCurrentOne) {
    auto const pages = DocumentController::CreateNew({100, 100}, Raster::FormatRGBA8, 3);
    auto const spreads = pages->GetDocument()->GetSpreads();
    pages->SetCurrentSpread(spreads[1]);
    auto const make = [&](int offset) {
        auto const command = MakeCounted<AddChildNodesCommand>(
            false, List::Plain, false, false, false, Curve(), Kernel::Counted<Selection const>(),
            InsertionMode::FrontOfSpread, offset, ApplyDefault::Never, ApplyDefault::Never);
        command->AddNode(MakeBox({0, 0, 1, 1}));
        return command;
    };
    for (int const offset : {-1, 0, 1}) {
        pages->Run(make(offset));
        EXPECT_EQ(ChildrenOf(*spreads[static_cast<std::size_t>(1 + offset)]).size(), 1u);
    }
    auto const before = pages->GetHash(false);
    EXPECT_THROW(pages->Run(make(2)), Kernel::Exception);
    EXPECT_THROW(pages->Run(make(-2)), Kernel::Exception);
    EXPECT_EQ(before, pages->GetHash(false));
}

// A default is taken where it is asked for; a pressure profile goes onto the line that the node then has.
TEST_F(StructureCommands, NewNodesTakeTheDefaultLine) {
    using Renderer::LineStyle, Renderer::LineStyleDescriptor;
    auto const makeLine = [](double weight) {
        auto const style = MakeCounted<LineStyle>();
        style->SetWeight(weight);
        return MakeCounted<LineStyleDescriptor const>(Kernel::Consolidated<LineStyle>(style));
    };
    auto const red = MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(1, 0, 0));
    document->GetDocumentDefaults()->SetLineStyleDescriptor(makeLine(7));
    document->GetDocumentDefaults()->SetPenFillDescriptor(red);
    auto const pressure = MakeCounted<Geometry::CurveDbl>();
    auto const run = [&](ApplyDefault line, ApplyDefault paint, Curve const& profile) {
        auto const command = MakeCounted<AddChildNodesCommand>(false, List::Plain, false, false, false, profile,
                                                               Kernel::Counted<Selection const>(),
                                                               InsertionMode::FrontOfSpread, 0, line, paint);
        auto const plain = MakeBox({0, 0, 1, 1}), lined = MakeBox({0, 0, 1, 1});
        plain->SetLineStyleDescriptor(nullptr);
        plain->SetPenFillDescriptor(nullptr);
        lined->SetLineStyleDescriptor(makeLine(2));
        command->AddNode(plain);
        command->AddNode(lined);
        document->Run(command);
        return std::pair(plain, lined);
    };
    auto const weight = [](auto const& node) {
        auto const line = node->GetLineStyleDescriptor();
        return line ? line->GetLineStyle()->GetWeightOrZero() : -1;
    };
    auto const never = run(ApplyDefault::Never, ApplyDefault::Never, {});
    EXPECT_EQ(weight(never.first), -1);
    EXPECT_EQ(weight(never.second), 2);
    EXPECT_FALSE(never.first->GetPenFillDescriptor());
    auto const unset = run(ApplyDefault::WhereUnset, ApplyDefault::WhereUnset, {});
    EXPECT_EQ(weight(unset.first), 7);
    EXPECT_EQ(weight(unset.second), 2);
    EXPECT_EQ(unset.first->GetPenFillDescriptor(), red);
    auto const always = run(ApplyDefault::Always, ApplyDefault::Always, pressure);
    EXPECT_EQ(weight(always.first), 7);
    EXPECT_EQ(weight(always.second), 7);
    EXPECT_EQ(always.second->GetPenFillDescriptor(), red);
    EXPECT_EQ(always.second->GetLineStyleDescriptor()->GetPressure(), pressure);
}

// A clone adds nodes of its own, which stand where the first ones were given, in its own parent's space.
TEST_F(StructureCommands, ACloneAddsCopiesAsTheyWereGiven) {
    auto const group = Put(Spread(), MakeCounted<GroupNode>());
    group->SetTransform({2, 0, 100, 0, 2, 100}, false);
    auto const box = MakeBox({10, 10, 20, 20});
    auto const command = MakeCounted<AddChildNodesCommand>(false, List::Plain, InsertionMode::Inside);
    command->AddNode(box);
    command->ApplyTransform({1, 0, 5, 0, 1, 0});
    Select({group});
    document->Run(command);
    ExpectBounds(*box, {15, 10, 25, 20});
    auto const other = Put(Spread(), MakeCounted<GroupNode>());
    other->SetTransform({1, 0, -7, 0, 1, 3}, false);
    Select({other});
    auto const clone = Kernel::Cast<AddChildNodesCommand>(command->Clone());
    document->Run(clone);
    ASSERT_EQ(ChildrenOf(*group), Nodes{box});
    auto const copies = ChildrenOf(*other);
    ASSERT_EQ(copies.size(), 1u);
    EXPECT_NE(copies.front(), box);
    ExpectBounds(*copies.front(), {15, 10, 25, 20});
}

TEST_F(StructureCommands, ASelectionReplacesOrJoinsTheOneThatIsThere) {
    auto const a = Put(Spread(), MakeBox({0, 0, 1, 1})), b = Put(Spread(), MakeBox({0, 0, 2, 2}));
    auto const set = [&](Nodes const& nodes, bool add, bool order) {
        document->Run(MakeCounted<SetCurrentSelectionCommand>(MakeCounted<Selection const>(nodes), add, order, false));
    };
    set({b}, false, false);
    EXPECT_EQ(Selected(), Nodes{b});
    set({a, b}, true, false);
    EXPECT_EQ(Selected(), (Nodes{b, a})) << "an object is selected once";
    set({b, a}, false, true);
    EXPECT_EQ(Selected(), (Nodes{a, b}));
    document->Run(MakeCounted<SetCurrentSelectionCommand>(nullptr, false, false, false));
    EXPECT_TRUE(Selected().empty());
    document->GoTo(2);
    EXPECT_EQ(Selected(), (Nodes{b, a}));
    document->GoTo(0);
    EXPECT_TRUE(Selected().empty());
}

TEST_F(StructureCommands, SelectionsThatMayMergeAreOneStep) {
    auto const a = Put(Spread(), MakeBox({0, 0, 1, 1})), b = Put(Spread(), MakeBox({0, 0, 2, 2}));
    auto const run = [&](Kernel::Counted<Node> const& node, bool add, bool mayMerge, SelectionStacking stacking) {
        document->Run(MakeCounted<SetCurrentSelectionCommand>(MakeCounted<Selection const>(Nodes{node}), add, false,
                                                              mayMerge, CurrentSpreadEnsureVisible::No, stacking));
    };
    run(a, false, true, SelectionStacking::Step);
    run(b, true, true, SelectionStacking::Step);
    ASSERT_EQ(document->GetHistory()->GetCount(), 1u);
    EXPECT_EQ(Selected(), (Nodes{a, b}));
    document->Undo();
    EXPECT_TRUE(Selected().empty());
    document->Redo();
    EXPECT_EQ(Selected(), (Nodes{a, b}));
    // Played again, the step gives the whole selection.
    Select({});
    document->Run(document->GetHistory()->GetCommand(0)->Clone());
    EXPECT_EQ(Selected(), (Nodes{a, b}));
    run(a, false, false, SelectionStacking::Step);
    auto const count = document->GetHistory()->GetCount();
    run(b, false, true, SelectionStacking::NoStep);
    EXPECT_EQ(document->GetHistory()->GetCount(), count);
    EXPECT_EQ(Selected(), Nodes{b});
}

TEST_F(StructureCommands, ASelectionOnAnotherSpreadTakesTheUserThere) {
    auto const there = Put(Spread(1), MakeBox({0, 0, 1, 1}));
    auto const selection = MakeCounted<Selection const>(Nodes{there});
    document->Run(
        MakeCounted<SetCurrentSelectionCommand>(selection, false, false, false, CurrentSpreadEnsureVisible::No));
    EXPECT_EQ(document->GetCurrentSpread().get(), &Spread(0));
    document->Run(MakeCounted<SetCurrentSelectionCommand>(selection, false, false, false));
    EXPECT_EQ(document->GetCurrentSpread().get(), &Spread(1));
    document->Undo();
    EXPECT_EQ(document->GetCurrentSpread().get(), &Spread(1)) << "Undo leaves the user where they are";
}

TEST_F(StructureCommands, ACommandWithASelectionIsOneStepByTheCommandsName) {
    auto const box = MakeBox({0, 0, 10, 10});
    auto const add = MakeCounted<AddChildNodesCommand>(false, List::Plain, InsertionMode::FrontOfSpread);
    add->AddNode(box);
    auto const command = MakeCounted<CommandAndSetSelectionCommand>(add, MakeCounted<Selection const>(Nodes{box}));
    document->Run(command);
    EXPECT_EQ(command->GetDescription().GetText(), add->GetDescription().GetText());
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u);
    EXPECT_EQ(Selected(), Nodes{box});
    Nodes made;
    command->GetNewNodes(made);
    EXPECT_EQ(made, Nodes{box});
    EXPECT_FALSE(command->Clone()) << "its selection names nodes that a clone would not make";
    auto const wrap = MakeCounted<CommandAndSetSelectionCommand>(
        MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::Around), MakeCounted<Selection const>());
    EXPECT_TRUE(wrap->Clone());
    document->Undo();
    EXPECT_TRUE(Selected().empty());
    EXPECT_TRUE(ChildrenOf(Spread()).empty());
}

TEST_F(StructureCommands, TheWrapStyleChangesAndTheDistancesStay) {
    auto const wrapped = Put(Spread(), MakeBox({0, 0, 10, 10})), plain = Put(Spread(), MakeBox({20, 0, 30, 10}));
    wrapped->SetTextWrap(Story::WrapStyle::Around, {1, 2, 3, 4});
    Select({wrapped, plain});
    document->Run(MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::Around));
    EXPECT_EQ(plain->GetTextWrapStyle(), Story::WrapStyle::Around);
    document->Run(MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::Around));
    EXPECT_EQ(document->GetHistory()->GetCount(), 1u) << "nothing changed the second time";
    document->Run(MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::None));
    EXPECT_EQ(wrapped->GetTextWrapStyle(), Story::WrapStyle::None);
    EXPECT_EQ(wrapped->GetState<TextWrapState>().distances, (Kernel::RectT<double>{1, 2, 3, 4}));
    document->GoTo(0);
    EXPECT_EQ(wrapped->GetTextWrapStyle(), Story::WrapStyle::Around);
    EXPECT_EQ(plain->GetTextWrapStyle(), Story::WrapStyle::None);
}

TEST_F(StructureCommands, DefaultWrapCurvesAreTheOutlineOrTheBounds) {
    auto const box = MakeBox({0, 0, 10, 10});
    EXPECT_EQ(box->CreateDefaultTextWrapCurves(), box->GetOutline());
    EXPECT_FALSE(MakeCounted<PolyCurveNode>()->CreateDefaultTextWrapCurves());
    auto const group = MakeCounted<GroupNode>();
    EXPECT_FALSE(group->CreateDefaultTextWrapCurves());
    group->SetTransform({3, 0, 1000, 0, 3, 1000}, false);
    box->SetTransform({2, 0, 5, 0, 2, 0}, false);
    Put(*group, box);
    Put(*group, MakeBox({-5, 4, 1, 30}));
    auto const boundsOf = [](TextWrapInterface const& object) {
        auto const curves = object.CreateDefaultTextWrapCurves();
        return curves ? curves->GetBounds().value() : Kernel::RectT<double>();
    };
    EXPECT_EQ(boundsOf(*group), (Kernel::RectT<double>{-5, 0, 25, 30}));
    auto const frame = MakeCounted<FrameTextNode>(Kernel::RectT<double>{1, 2, 30, 40});
    EXPECT_EQ(boundsOf(*frame), (Kernel::RectT<double>{1, 2, 30, 40}));
    auto const picture = MakeCounted<RasterNode>();
    EXPECT_FALSE(picture->CreateDefaultTextWrapCurves());
    picture->SetBitmap(MakeCounted<Raster::DynamicBitmap const>(7, 5, Raster::FormatRGBA8));
    EXPECT_EQ(boundsOf(*picture), (Kernel::RectT<double>{0, 0, 7, 5}));
}

} // namespace
