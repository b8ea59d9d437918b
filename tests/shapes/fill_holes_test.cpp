// SPDX-License-Identifier: Apache-2.0
#include "shapes/fill_holes_command.h"

#include "frame/contract/notifications.h"
#include "platform/kernel/exception.h"
#include "tests/shapes/scene.h"
#include "tests/support/borrowed_outline_node.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

using Corners = std::vector<Kernel::PointT<double>>;

Corners Square(double from, double to) { return {{from, from}, {to, from}, {to, to}, {from, to}}; }
Corners Star() { return {{50, 0}, {80, 100}, {0, 35}, {100, 35}, {20, 100}}; }

Kernel::Counted<FillHolesCommand> RunIn(Scene& scene, bool removeInternalLines = false) {
    auto const command = Kernel::MakeCounted<FillHolesCommand>(removeInternalLines);
    scene.controller->Run(command);
    return command;
}

Kernel::Counted<PolyCurveNode> Donut() {
    auto donut = MakePath({Square(0, 30), Square(10, 20)}, true);
    donut->SetWindingOrderMode(Geometry::WindingOrderMode::Alternating);
    SetFill(*donut, 1, 0, 0);
    return donut;
}

std::size_t SegmentsOf(PolyCurveNode const& node) { return node.GetCurves()->GetSegmentCount(); }

TEST(FillHoles, ADonutBecomesADisc) {
    Scene scene;
    auto const donut = Donut();
    auto const curves = donut->GetCurves();
    scene.PutAndSelect({donut});
    RunIn(scene);
    EXPECT_EQ(donut.get(), scene.spread->GetFirstChild(NodeChildListType::Plain));
    EXPECT_DOUBLE_EQ(900, AreaOf(*donut));
    EXPECT_EQ(1u, donut->GetCurves()->GetCurves().size());
    scene.controller->Undo();
    EXPECT_EQ(*curves, *donut->GetCurves());
    scene.controller->Redo();
    EXPECT_DOUBLE_EQ(900, AreaOf(*donut));
}

TEST(FillHoles, OnlyShapesOfTheAlternatingModeLoseInternalLines) {
    for (bool const alternating : {true, false}) {
        Scene scene;
        auto const star = MakePath({Star()}, true);
        star->SetWindingOrderMode(alternating ? Geometry::WindingOrderMode::Alternating
                                              : Geometry::WindingOrderMode::NonZero);
        SetFill(*star, 1, 0, 0);
        scene.PutAndSelect({star});
        auto const command = RunIn(scene, true);
        EXPECT_EQ(alternating, command->ShouldStackForUndo());
        EXPECT_EQ(alternating ? 5u : 1u, star->GetCurves()->GetCurves().size());
        if (!alternating) {
            EXPECT_EQ(5u, SegmentsOf(*star));
            EXPECT_TRUE(NotificationsOf(*command).empty());
        }
    }
}

TEST(FillHoles, AnOpenPathKeepsItsAreaAndItsTails) {
    Scene scene;
    auto const path = OpenLine({{0, 0}, {30, 0}, {30, 10}, {10, 10}, {10, -10}});
    scene.PutAndSelect({path});
    EXPECT_FALSE(FillHolesCommand::CanApplyTo(scene.Selected(), false));
    EXPECT_TRUE(FillHolesCommand::CanApplyTo(scene.Selected(), true));
    EXPECT_FALSE(RunIn(scene, false)->ShouldStackForUndo());
    EXPECT_TRUE(RunIn(scene, true)->ShouldStackForUndo());
    auto const& curves = path->GetCurves()->GetCurves();
    ASSERT_EQ(3u, curves.size());
    EXPECT_TRUE(curves[0]->IsClosed());
    EXPECT_DOUBLE_EQ(200, curves[0]->GetArea());
    EXPECT_FALSE(curves[1]->IsClosed());
    EXPECT_DOUBLE_EQ(20, curves[1]->GetLength() + curves[2]->GetLength());
}

TEST(FillHoles, MembersOfAGroupChangeAndTheGroupStaysSelected) {
    Scene scene;
    auto const group = NamedGroup("group"), inner = NamedGroup("inner");
    auto const donut = Donut(), deep = Donut();
    scene.Put(*group, {donut, inner});
    scene.Put(*inner, {deep});
    scene.PutAndSelect({group});
    auto const selected = scene.Selected();
    auto const command = RunIn(scene);
    EXPECT_DOUBLE_EQ(900, AreaOf(*donut));
    EXPECT_DOUBLE_EQ(900, AreaOf(*deep));
    EXPECT_EQ(selected, scene.Selected());
    auto const list = NotificationsOf(*command);
    ASSERT_EQ(2u, list.size());
    ASSERT_TRUE(As<InvalidateDocumentNotification>(list[0]));
    EXPECT_EQ(selected, As<InvalidateDocumentNotification>(list[0])->GetSelection());
    ASSERT_TRUE(As<NodesDataChangedNotification>(list[1]));
    EXPECT_EQ(selected, As<NodesDataChangedNotification>(list[1])->GetSelection());
}

TEST(FillHoles, HiddenObjectsAreLeftAlone) {
    Scene scene;
    auto const group = NamedGroup("group"), hiddenGroup = NamedGroup("hidden group");
    auto const hidden = Donut(), inHidden = Donut(), hiddenMember = Donut();
    hidden->SetVisible(false);
    hiddenGroup->SetVisible(false);
    hiddenMember->SetVisible(false);
    scene.Put(*hiddenGroup, {inHidden});
    scene.Put(*group, {hiddenMember});
    scene.PutAndSelect({hidden, hiddenGroup, group});
    EXPECT_FALSE(FillHolesCommand::CanApplyTo(scene.Selected(), false));
    EXPECT_FALSE(RunIn(scene)->ShouldStackForUndo());
    for (auto const& donut : {hidden, inHidden, hiddenMember})
        EXPECT_EQ(2u, donut->GetCurves()->GetCurves().size());
}

TEST(FillHoles, TheContourGoesWithTheOldCurvesAndComesBackWithThem) {
    Scene scene;
    auto const donut = Donut();
    donut->SetContourOffset(3.5);
    scene.PutAndSelect({donut});
    auto const before = scene.controller->GetHash(false);
    auto const command = RunIn(scene);
    EXPECT_EQ(0, donut->GetContourOffset());
    scene.controller->Undo();
    EXPECT_EQ(3.5, donut->GetContourOffset());
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Redo();
    EXPECT_EQ(0, donut->GetContourOffset());
    auto const reloaded = Reload(scene, *command);
    reloaded.command->Undo();
    auto const* const loaded = PiecesIn(*reloaded.document->GetSpreads().front()).at(0);
    EXPECT_EQ(3.5, loaded->GetContourOffset());
    EXPECT_EQ(2u, loaded->GetCurves()->GetCurves().size());
}

TEST(FillHoles, AnObjectWithoutCurvesOfItsOwnLeavesTheDocumentForGood) {
    Scene scene;
    auto const node = Kernel::MakeCounted<BorrowedOutlineNode>();
    node->SetContourOffset(4);
    SetFill(*node, 1, 0, 0);
    scene.PutAndSelect({node, Named("rest")});
    auto const selected = scene.Selected();
    auto const command = RunIn(scene);
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_EQ("rest", ChildNames(*scene.spread));
    EXPECT_EQ(nullptr, node->GetParent());
    EXPECT_FALSE(node->GetCurves()) << "the outline that was made is dropped";
    EXPECT_EQ(4, node->GetContourOffset());
    ASSERT_EQ(1u, scene.Selected()->size()) << "it counts as changed, so that its item is not kept";
    scene.controller->Undo();
    EXPECT_EQ(nullptr, node->GetParent()) << "required: Undo does not put it back";
    EXPECT_FALSE(node->GetCurves());
    EXPECT_EQ(0, node->GetContourOffset()) << "the record's offset, which was never filled";
    EXPECT_EQ(selected, scene.Selected());
    scene.controller->Redo();
    EXPECT_EQ("rest", ChildNames(*scene.spread));
    // The record holds neither curves, so that neither is written.
    auto const reloaded = Reload(scene, *command);
    reloaded.command->Undo();
    EXPECT_EQ("rest", ChildNames(*reloaded.document->GetSpreads().front()));
}

TEST(FillHoles, AShapeWithComputedCurvesIsReplacedByOneWithCurvesInItsPlace) {
    for (bool const turned : {false, true}) {
        Scene scene;
        auto const group = NamedGroup("group");
        auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
        compound->SetCompoundOperation(CompoundOperation::Xor);
        compound->SetUserDescription("ring");
        compound->SetTransformConstraints(5);
        compound->SetContourOffset(2);
        compound->SetOpacity(0.25);
        SetFill(*compound, 0, 0, 1);
        scene.Put(*compound, {Box(0, 0, 30, 30), Box(10, 10, 20, 20)});
        auto const rectangle = Box(50, 0, 80, 20);
        scene.Put(*group, {Named("below"), compound, rectangle, Named("above")});
        scene.PutAndSelect({group});
        if (turned) {
            group->SetTransform({0.6, -0.8, 11, 0.8, 0.6, 23}, false);
            compound->SetTransform({2, 0, 3, 0, 1, 4}, false);
            rectangle->SetTransform({1, 0.5, 0, 0, 1, 9}, false);
        }
        scene.Select({compound, rectangle});
        auto const bounds = compound->GetBounds(false), rectangleBounds = rectangle->GetBounds(false);
        auto const before = scene.controller->GetHash(false);
        auto const selected = scene.Selected();
        auto const command = RunIn(scene);
        EXPECT_EQ("below ring PolyCurve above", ChildNames(*group));
        auto const pieces = PiecesIn(*group);
        ASSERT_EQ(2u, pieces.size());
        auto const expectNear = [](Kernel::RectT<double> const& a, Kernel::RectT<double> const& b) {
            EXPECT_NEAR(a.left, b.left, 1e-9);
            EXPECT_NEAR(a.top, b.top, 1e-9);
            EXPECT_NEAR(a.right, b.right, 1e-9);
            EXPECT_NEAR(a.bottom, b.bottom, 1e-9);
        };
        expectNear(bounds, pieces[0]->GetBounds(false));
        expectNear(rectangleBounds, pieces[1]->GetBounds(false));
        EXPECT_NEAR(turned ? 1800 : 900, AreaOf(*pieces[0]), 1e-9);
        EXPECT_TRUE(pieces[0]->GetTransform(false, false).IsIdentity()) << "the matrix is not copied";
        EXPECT_EQ(5u, pieces[0]->GetTransformConstraints());
        EXPECT_EQ(Geometry::WindingOrderMode::Alternating, pieces[0]->GetWindingOrderMode());
        EXPECT_EQ(0, pieces[0]->GetContourOffset());
        EXPECT_EQ(0.25, pieces[0]->GetOpacity());
        EXPECT_TRUE(pieces[0]->IsBrushFillVisible(0.01));
        ASSERT_EQ(2u, scene.Selected()->size());
        EXPECT_EQ(pieces[0], scene.Selected()->GetNodes()[0].get());
        auto const replaced = scene.Selected();

        auto const list = NotificationsOf(*command);
        ASSERT_EQ(4u, list.size());
        EXPECT_TRUE(As<DocumentStructureChangedNotification>(list[0]));
        ASSERT_TRUE(As<NewSelectionNotification>(list[1]));
        EXPECT_EQ(replaced, As<NewSelectionNotification>(list[1])->GetNewSelection());
        EXPECT_EQ(selected, As<NewSelectionNotification>(list[1])->GetOldSelection());
        EXPECT_TRUE(As<InvalidateDocumentNotification>(list[2]));
        EXPECT_TRUE(As<NodesDataChangedNotification>(list[3]));

        scene.controller->Undo();
        EXPECT_EQ(before, scene.controller->GetHash(false));
        EXPECT_EQ(selected, scene.Selected());
        scene.controller->Redo();
        EXPECT_EQ(replaced, scene.Selected());
        EXPECT_EQ("below ring PolyCurve above", ChildNames(*group));
    }
}

TEST(FillHoles, AGradientAndALineStayAsTheyLookWhenTheMatrixGoesIntoTheCurves) {
    Scene scene;
    auto const rectangle = Box(0, 0, 10, 10);
    auto const gradient = Kernel::MakeConsolidated<Renderer::LinearGradientFill>(
        Geometry::PointDbl{0, 0}, Geometry::PointDbl{10, 0},
        std::vector<Renderer::GradientStop>{{0, 1, Renderer::Colour::FromGrey(0)},
                                            {1, 1, Renderer::Colour::FromGrey(1)}});
    rectangle->SetBrushFillDescriptor(
        Kernel::MakeCounted<Renderer::FillDescriptor>(gradient, true, Params{}, Renderer::BlendMode::Normal, false));
    SetLine(*rectangle, 2);
    Params const matrix{3, 0, 40, 0, 3, 50};
    rectangle->SetTransform(matrix, false);
    scene.PutAndSelect({rectangle});
    RunIn(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(1u, pieces.size());
    EXPECT_EQ(matrix, pieces[0]->GetBrushFillDescriptor(true)->GetTransform());
    EXPECT_DOUBLE_EQ(6, pieces[0]->GetLineStyleDescriptor()->GetLineStyle()->GetWeightOrZero());
}

TEST(FillHoles, APictureBecomesACurveThatIsFilledWithIt) {
    Scene scene;
    auto const picture = Kernel::MakeCounted<ImageNode>();
    picture->SetImage(Kernel::MakeCounted<Raster::DynamicBitmap>(4, 3, Raster::FormatRGBA8), {});
    scene.PutAndSelect({picture});
    RunIn(scene, true);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(1u, pieces.size());
    auto const fill = Kernel::Cast<Renderer::BitmapFill const>(pieces[0]->GetBrushFillDescriptor(true)->GetFill());
    ASSERT_TRUE(fill);
    EXPECT_EQ(picture->GetImage(), fill->GetBitmap());
}

TEST(FillHoles, AReplacementIsClippedAndFilledAsTheOldShapeWas) {
    Scene scene;
    auto const shape = Box(0, 0, 30, 30), clip = Box(0, 0, 10, 30);
    shape->SetTransform({2, 0, 5, 0, 2, 7}, false);
    clip->SetTransform({1, 0, 1, 0, 1, 0}, false);
    Clip(*shape, clip);
    scene.Put(*shape, {Named("inside")});
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    compound->SetCompoundOperation(CompoundOperation::Xor);
    SetFill(*compound, 0, 0, 1);
    scene.Put(*compound, {Box(100, 0, 130, 30)});
    scene.PutAndSelect({shape, compound});
    auto const before = scene.controller->GetHash(false);
    auto const clipBounds = clip->GetBounds(false);
    RunIn(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(2u, pieces.size());
    auto const* const newClip = pieces[0]->GetFirstChild(NodeChildListType::Clipping);
    ASSERT_NE(nullptr, newClip);
    EXPECT_EQ(clipBounds, newClip->GetBounds(false));
    EXPECT_EQ("inside", ChildNames(*pieces[0]));
    EXPECT_FALSE(pieces[1]->HasChildren(NodeChildListType::Plain)) << "they are the outline";
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    EXPECT_EQ(clip.get(), shape->GetFirstChild(NodeChildListType::Clipping)) << "the old shape kept its own";
}

TEST(FillHoles, AnItemThatWasEditedInPlaceIsNotKeptInTheNewSelection) {
    Scene scene;
    auto const donut = Donut();
    auto const rest = OpenLine({{0, 0}, {5, 5}});
    scene.PutAndSelect({donut, rest});
    RunIn(scene);
    ASSERT_EQ(1u, scene.Selected()->size());
    EXPECT_EQ(rest.get(), scene.Selected()->GetNodes()[0].get());
    scene.controller->Undo();
    EXPECT_EQ(2u, scene.Selected()->size());
}

TEST(FillHoles, AnAbortKeepsWhatWasRebuiltBefore) {
    Scene scene;
    auto const donut = Donut();
    scene.PutAndSelect({donut});
    auto const command = Kernel::MakeCounted<FillHolesCommand>();
    Bind(*scene.controller, *command);
    *command->GetProgressAbortPointer() = true;
    command->Do();
    EXPECT_FALSE(command->ShouldStackForUndo()) << "nothing was rebuilt";
    EXPECT_EQ(2u, donut->GetCurves()->GetCurves().size());
}

// Whoever shows the progress asks for the abort while the second of three shapes is at hand.
class AbortingNode final : public CurvesNode, public MutableCurvesInterface {
public:
    Geometry::WindingOrderMode GetWindingOrderMode() const override { return Geometry::WindingOrderMode::Alternating; }
    Kernel::Counted<Geometry::PolyCurveDbl const> GetOutline() const override { return GetCurves(); }
    TransformedCurveList GetConstPolyPolyCurves() const override {
        if (abort != nullptr)
            *abort = true;
        return CurvesNode::GetConstPolyPolyCurves();
    }
    static Kernel::ClassProperties const* GetTypeClassProperties() { return PolyCurveNode::GetTypeClassProperties(); }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    bool* abort = nullptr;
};

TEST(FillHoles, AnAbortInMidWorkKeepsWhatWasRebuiltAndLeavesTheRest) {
    Scene scene;
    auto const first = Donut(), last = Donut();
    auto const second = Kernel::MakeCounted<AbortingNode>();
    second->SetCurves(Donut()->GetCurves());
    SetFill(*second, 1, 0, 0);
    scene.PutAndSelect({first, second, last});
    auto const command = Kernel::MakeCounted<FillHolesCommand>();
    Bind(*scene.controller, *command);
    second->abort = command->GetProgressAbortPointer();
    command->Do();
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_EQ(1u, first->GetCurves()->GetCurves().size());
    EXPECT_EQ(2u, second->GetCurves()->GetCurves().size());
    EXPECT_EQ(2u, last->GetCurves()->GetCurves().size());
    command->Undo();
    EXPECT_EQ(2u, first->GetCurves()->GetCurves().size());
}

TEST(FillHoles, AFillOfOneHundredthOrLessIsNotSeen) {
    for (float const alpha : {0.009f, 0.011f}) {
        for (bool const lines : {false, true}) {
            Scene scene;
            auto const donut = Donut();
            donut->SetWindingOrderMode(Geometry::WindingOrderMode::NonZero);
            donut->SetBrushFillDescriptor(
                Kernel::MakeCounted<Renderer::FillDescriptor>(Renderer::Colour::FromRGB(1, 0, 0).WithAlpha(alpha)));
            scene.PutAndSelect({donut});
            bool const qualifies = (alpha > 0.01f) != lines;
            EXPECT_EQ(qualifies, FillHolesCommand::CanApplyTo(scene.Selected().get(), lines));
            EXPECT_EQ(qualifies, RunIn(scene, lines)->ShouldStackForUndo());
        }
    }
}

// The area before and the area after, each where it lies.
TEST(FillHoles, TheAreasOfTheOldAndTheNewShapesAreTold) {
    Scene scene;
    auto const donut = Donut();
    SetLine(*donut, 4);
    auto const rectangle = Box(50, 0, 80, 20);
    scene.PutAndSelect({donut, rectangle});
    std::vector<Kernel::RectT<double>> expected{donut->GetBounds(true)};
    auto const before = rectangle->GetBounds(true);
    auto const command = RunIn(scene);
    expected.push_back(donut->GetBounds(true));
    expected.push_back(before);
    expected.push_back(PiecesIn(*scene.spread).at(1)->GetBounds(true));
    std::vector<Kernel::RectT<double>> told;
    for (auto const& notification : NotificationsOf(*command)) {
        if (auto const area = As<InvalidateDocumentNotification>(notification)) {
            for (auto const& rect : area->GetSpreadRects().GetRects())
                told.push_back(rect.rect);
        }
    }
    EXPECT_EQ(expected, told);
}

TEST(FillHoles, TheEndOfTheCommandTellsOfNoDocument) {
    Scene scene;
    scene.PutAndSelect({Box(50, 0, 80, 20)});
    auto const command = RunIn(scene);
    auto const all = NotificationsOf(*command).size();
    command->Teardown();
    auto const atEnd = NotificationsOf(*command);
    EXPECT_EQ(all - 4, atEnd.size());
    for (auto const& notification : atEnd)
        EXPECT_FALSE(As<InvalidateDocumentNotification>(notification) || As<NewSelectionNotification>(notification));
}

TEST(FillHoles, AReplacementKeepsTheOperationOfACompound) {
    for (auto const operation : {CompoundOperation::Subtract, CompoundOperation::Xor, CompoundOperation::Add}) {
        Scene scene;
        auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
        compound->SetCompoundOperation(operation);
        SetFill(*compound, 0, 0, 1);
        scene.Put(*compound, {Box(0, 0, 30, 30), Box(10, 10, 20, 20)});
        scene.PutAndSelect({compound});
        RunIn(scene);
        auto const* const piece = PiecesIn(*scene.spread).at(0);
        EXPECT_EQ(operation, piece->GetCompoundOperation());
        auto const reloaded = Kernel::Cast<PolyCurveNode>(
            LoadFromMemory(SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(piece)})).at(0));
        EXPECT_EQ(operation, reloaded->GetCompoundOperation());
        CloneContext context(CloneType::Copy);
        EXPECT_EQ(operation, Kernel::Cast<PolyCurveNode>(piece->Clone(context))->GetCompoundOperation());
    }
}

TEST(FillHoles, WithoutASelectionNothingHappens) {
    Scene scene;
    scene.controller->SetSelection({}, false);
    EXPECT_FALSE(RunIn(scene)->ShouldStackForUndo());
    EXPECT_FALSE(FillHolesCommand::CanApplyTo({}, false));
    EXPECT_FALSE(FillHolesCommand::CanApplyTo(Kernel::MakeCounted<Selection>(), true));
}

TEST(FillHoles, ConstantsOfTheCommand) {
    auto const command = Kernel::MakeCounted<FillHolesCommand>();
    EXPECT_EQ(Kernel::LocalisedString("Fill holes", "Fill holes command name"), command->GetDescription());
    EXPECT_EQ(Kernel::LocalisedString("Remove internal lines", "Fill holes command name"),
              Kernel::MakeCounted<FillHolesCommand>(true)->GetDescription());
    EXPECT_EQ(1u, static_cast<unsigned>(command->GetProgressType()));
    EXPECT_TRUE(command->ShouldStackForUndo());
    auto const clone = Kernel::MakeCounted<FillHolesCommand>(true)->Clone();
    EXPECT_EQ("Remove internal lines", clone->GetDescription().GetText().ToStdString());
}

} // namespace
