// SPDX-License-Identifier: Apache-2.0
#include "shapes/divide_shapes_command.h"

#include "frame/contract/notifications.h"
#include "platform/kernel/exception.h"
#include "tests/shapes/scene.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

Kernel::Counted<DivideShapesCommand> Divide(Scene& scene, bool retainAll = false) {
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(retainAll, scene.Selected());
    scene.controller->Run(command);
    return command;
}

Renderer::Colour ColourOf(PolyCurveNode const& piece) {
    return piece.GetBrushFillDescriptor(true)->GetFill()->GetRepresentativeColour();
}

Kernel::Counted<ImageNode> Picture() {
    auto picture = Kernel::MakeCounted<ImageNode>();
    picture->SetImage(Kernel::MakeCounted<Raster::DynamicBitmap>(4, 4, Raster::FormatRGBA8), {});
    return picture;
}

TEST(Divide, OverlapsOfFilledShapesGoToTheUpperOneEachPieceWithItsOwnersLook) {
    Scene scene;
    auto const lower = MakeRectangle({0, 0, 20, 20}, 1, 0, 0), upper = MakeRectangle({10, 10, 30, 30}, 0, 0, 1);
    lower->SetOpacity(0.5);
    scene.PutAndSelect({lower, upper});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(3u, pieces.size());
    ASSERT_EQ(3u, ChildrenOf(*scene.spread).size());
    EXPECT_EQ(Renderer::Colour::FromRGB(1, 0, 0), ColourOf(*pieces[0]));
    EXPECT_DOUBLE_EQ(300, AreaOf(*pieces[0]));
    EXPECT_EQ(0.5, pieces[0]->GetOpacity());
    EXPECT_DOUBLE_EQ(400, AreaOf(*pieces[1]) + AreaOf(*pieces[2]));
    for (int i : {1, 2}) {
        EXPECT_EQ(Renderer::Colour::FromRGB(0, 0, 1), ColourOf(*pieces[static_cast<std::size_t>(i)]));
        EXPECT_EQ(1, pieces[static_cast<std::size_t>(i)]->GetOpacity());
    }
}

TEST(Divide, PiecesStandInOneRunWhereTheirSourceStoodAndAreSelected) {
    Scene scene;
    auto const first = Box(0, 0, 20, 20), second = Box(10, 0, 30, 20);
    scene.Put(*scene.spread, {Named("below"), first, Named("between"), second, Named("above")});
    scene.Select({second, first});
    Divide(scene);
    EXPECT_EQ("below PolyCurve between PolyCurve PolyCurve above", ChildNames(*scene.spread));
    EXPECT_EQ(3u, scene.Selected()->size());
}

TEST(Divide, LinesAreMadeOfFilledShapesOnlyWhenAllIsRetained) {
    for (bool const retainAll : {false, true}) {
        Scene scene;
        scene.PutAndSelect({Box(0, 0, 20, 20), Box(10, 10, 30, 30), OpenLine({{-20, 5}, {-1, 5}, {50, 5}})});
        Divide(scene, retainAll);
        auto const pieces = PiecesIn(*scene.spread);
        auto const lines = std::count_if(pieces.begin(), pieces.end(),
                                         [](auto const* piece) { return !piece->GetCurves()->HasClosedCurve(); });
        EXPECT_EQ(retainAll ? 3 : 0, lines);
        EXPECT_EQ(retainAll ? 7u : 4u, pieces.size());
    }
}

TEST(Divide, CrossingOpenLinesBecomeLinesWithoutFill) {
    Scene scene;
    auto const a = OpenLine({{0, 0}, {20, 20}}), b = OpenLine({{0, 20}, {20, 0}});
    // No fill that anybody sees: it counts as none where inputs are gathered.
    for (auto const& line : {a, b})
        line->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(
            Kernel::MakeConsolidated<Renderer::NoFill>(), true, Params{}, Renderer::BlendMode::Normal, false));
    scene.PutAndSelect({a, b});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(4u, pieces.size());
    for (auto const* piece : pieces) {
        EXPECT_FALSE(piece->GetBrushFillDescriptor(true)) << "the style's fill is cleared for lines";
        EXPECT_TRUE(piece->IsLineStyleVisible());
        EXPECT_NEAR(std::sqrt(200.0), piece->GetCurves()->GetLength(), 1e-9);
    }
}

TEST(Divide, ShapesThatLieApartComeBackAsClosedLinesWithTheirFill) {
    Scene scene;
    ShapesApart(*scene.controller);
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(3u, pieces.size());
    EXPECT_TRUE(pieces[0]->GetCurves()->HasClosedCurve());
    EXPECT_TRUE(pieces[0]->IsBrushFillVisible(0.01)) << "in the fallback the style's fill stays";
    EXPECT_DOUBLE_EQ(2500, std::fabs(AreaOf(*pieces[0])));
    EXPECT_TRUE(pieces[1]->IsBrushFillVisible(0.01));
    EXPECT_FALSE(pieces[2]->GetCurves()->HasClosedCurve()) << "the open line is kept";
}

TEST(Divide, WhenFewerPartsThanInputsLieOutsideThereIsNoFallback) {
    Scene scene;
    // Nothing is divided by a line that ends inside, but it lies in the face of the box.
    scene.PutAndSelect({Box(0, 0, 100, 100), OpenLine({{20, 20}, {60, 60}})});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(1u, pieces.size());
    EXPECT_DOUBLE_EQ(10000, AreaOf(*pieces[0]));
}

TEST(Divide, ObjectsThatGiveNoInputAreRemoved) {
    Scene scene;
    auto const empty = Kernel::MakeCounted<PolyCurveNode>();
    scene.PutAndSelect({empty, Kernel::MakeCounted<ShapeNode>()});
    auto const before = scene.controller->GetHash(false);
    auto const command = Divide(scene);
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_EQ(0u, scene.spread->CountChildren(NodeChildListType::Plain));
    EXPECT_TRUE(scene.Selected()->empty());
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(Divide, AGroupIsNoObjectAndAllItsMembersAreVisited) {
    Scene scene;
    auto const group = NamedGroup("group"), inner = NamedGroup("inner");
    auto const hidden = Box(30, 0, 50, 10);
    hidden->SetVisible(false);
    scene.Put(*group, {Box(0, 0, 20, 10), inner, Named("plain")});
    scene.Put(*inner, {Box(10, 0, 40, 10), hidden});
    scene.PutAndSelect({group});
    group->SetTransform({0, -2, 7, 2, 0, 9}, false);
    Divide(scene);
    EXPECT_EQ(group.get(), scene.spread->GetFirstChild(NodeChildListType::Plain));
    EXPECT_EQ(inner.get(), PiecesIn(*group).back()->GetPreviousSibling());
    auto const pieces = PiecesIn(*inner);
    ASSERT_EQ(4u, pieces.size()) << "what is no content is divided as well";
    EXPECT_FALSE(pieces.back()->IsVisible()) << "and is still not seen";
    EXPECT_NEAR(4 * 500, AreaIn(*group) + AreaIn(*inner), 1e-9);
}

TEST(Divide, TenThousandNestedGroupsAreNoDanger) {
    Scene scene;
    Kernel::Counted<Node> parent = scene.spread;
    for (int depth = 0; depth != 10000; ++depth) {
        auto const group = NamedGroup("g");
        scene.Put(*parent, {group});
        parent = group;
    }
    scene.Put(*parent, {Box(0, 0, 20, 20), Box(10, 10, 30, 30)});
    scene.Select(ChildrenOf(*scene.spread));
    Divide(scene);
    EXPECT_EQ(3u, PiecesIn(*parent).size());
}

TEST(Divide, AClipThatIsNoContentDoesNotClip) {
    for (bool const visible : {true, false}) {
        Scene scene;
        auto const shape = Box(0, 0, 20, 20), clip = Box(10, 0, 30, 20);
        clip->SetVisible(visible);
        Clip(*shape, clip);
        scene.PutAndSelect({shape, Box(0, 0, 5, 5)});
        Divide(scene);
        EXPECT_DOUBLE_EQ(visible ? 225 : 400, AreaIn(*scene.spread));
    }
}

TEST(Divide, InAClippingGroupClosedContentIsAreaAndOpenContentOnlyWhenPainted) {
    auto const areaWith = [](Kernel::Counted<PolyCurveNode> const& content) {
        Scene scene;
        auto const shape = Box(0, 0, 20, 20);
        auto const group = NamedGroup("clip");
        scene.Put(*group, {content});
        Clip(*shape, group);
        scene.PutAndSelect({shape, Box(100, 100, 101, 101), Box(100, 100, 102, 101)});
        Divide(scene);
        return AreaIn(*scene.spread) - 2;
    };
    std::vector<Kernel::PointT<double>> const triangle = {{0, 0}, {20, 0}, {0, 20}};
    EXPECT_NEAR(200, areaWith(MakePath({triangle}, true)), 1e-9);
    EXPECT_NEAR(0, areaWith(MakePath({triangle}, false)), 1e-9);
    auto const painted = MakePath({triangle}, false);
    SetFill(*painted, 0, 0, 0);
    EXPECT_NEAR(200, areaWith(painted), 1e-9);
}

TEST(Divide, ClipsOfClipsCountAndSeveralClipsLeaveWhatLiesInAll) {
    Scene scene;
    auto const shape = Box(0, 0, 40, 40), clip = Box(10, 0, 40, 40), ofClip = Box(0, 10, 40, 40),
               second = Box(0, 0, 30, 30);
    Clip(*clip, ofClip);
    Clip(*shape, clip);
    Clip(*shape, second);
    scene.PutAndSelect({shape, Box(100, 100, 101, 101), Box(100, 100, 102, 101)});
    Divide(scene);
    EXPECT_NEAR(400 + 2, AreaIn(*scene.spread), 1e-9);
    for (auto const* piece : PiecesIn(*scene.spread))
        EXPECT_FALSE(piece->HasChildren(NodeChildListType::Clipping)) << "consumed";
}

TEST(Divide, ALineIsClippedToWhatLiesInsideItsClips) {
    Scene scene;
    auto const line = OpenLine({{-100, 10}, {100, 10}});
    Clip(*line, Box(0, 0, 40, 20));
    Clip(*line, Box(20, 0, 60, 20));
    auto const crossing = OpenLine({{30, -50}, {30, 50}});
    scene.PutAndSelect({line, crossing});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(4u, pieces.size());
    EXPECT_NEAR(20, pieces[0]->GetCurves()->GetLength() + pieces[1]->GetCurves()->GetLength(), 1e-9);
}

TEST(Divide, AShapeClippedToNothingDisappears) {
    Scene scene;
    auto const shape = Box(0, 0, 20, 20), other = Box(50, 0, 70, 20), upon = Box(60, 0, 80, 20);
    Clip(*shape, Box(100, 100, 120, 120));
    scene.PutAndSelect({shape, other, upon});
    auto const before = scene.controller->GetHash(false);
    Divide(scene);
    EXPECT_EQ(3u, PiecesIn(*scene.spread).size());
    EXPECT_NEAR(600, AreaIn(*scene.spread), 1e-9);
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(Divide, AnUnpaintedShapeClipsToNothing) {
    Scene scene;
    auto const shape = Box(0, 0, 20, 20), clip = Box(0, 0, 10, 20);
    clip->SetBrushFillDescriptor({});
    Clip(*clip, Box(0, 0, 100, 100));
    Clip(*shape, clip);
    scene.PutAndSelect({shape});
    Divide(scene);
    EXPECT_TRUE(PiecesIn(*scene.spread).empty());
}

TEST(Divide, APictureInsideAShapeFillsIt) {
    Scene scene;
    auto const framed = Box(0, 0, 20, 20);
    framed->SetBrushFillDescriptor({});
    scene.Put(*framed, {Picture()});
    scene.PutAndSelect({framed, OpenLine({{-10, 10}, {30, 10}})});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    // Were the picture not taken for a fill there would be lines.
    ASSERT_EQ(2u, pieces.size());
    EXPECT_NEAR(400, AreaIn(*scene.spread), 1e-9);
    for (auto const* piece : pieces)
        EXPECT_EQ(1u, piece->CountChildren(NodeChildListType::Plain)) << "every piece shows the picture";
}

TEST(Divide, PiecesOfACompoundCurveCarryNoChildren) {
    Scene scene;
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    compound->SetCompoundOperation(CompoundOperation::Xor);
    scene.Put(*compound, {Box(0, 0, 40, 40), Box(10, 10, 30, 30)});
    SetFill(*compound, 1, 0, 0);
    scene.PutAndSelect({compound, Box(20, -10, 60, 50)});
    Divide(scene);
    EXPECT_NEAR(600 + 2400, AreaIn(*scene.spread), 1e-9);
    for (auto const* piece : PiecesIn(*scene.spread))
        EXPECT_EQ(0u, piece->CountChildren(NodeChildListType::Plain));
}

TEST(Divide, PartsOfACompoundCurveAreLeftAloneInAllDirections) {
    auto const controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 1);
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    auto const part = ExampleDocuments::MakeRectangle({0, 0, 60, 60}, 1, 0, 0);
    auto const shape = ExampleDocuments::MakeRectangle({30, 30, 90, 90}, 0, 1, 0);
    ExampleDocuments::Append(*controller->GetCurrentSpread(), compound);
    ExampleDocuments::Append(*controller->GetCurrentSpread(), shape);
    ExampleDocuments::Append(*compound, part);
    ExampleDocuments::Select(*controller, {part, shape});
    ASSERT_TRUE(controller->GetCurrentSelection()->ContainsSpecialisedChildren());
    EXPECT_FALSE(DivideShapesCommand::CanApplyTo(controller->GetCurrentSelection()));
    auto const before = controller->GetHash(false);
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(false, controller->GetCurrentSelection());
    controller->Run(command);
    EXPECT_FALSE(controller->CanUndo());
    Kernel::NotificationList told;
    command->Notify(told);
    EXPECT_TRUE(told.empty());
    command->Undo();
    command->Redo();
    EXPECT_EQ(before, controller->GetHash(false));
    // The compound curve itself is an object like any other.
    ExampleDocuments::Select(*controller, {compound, shape});
    controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, controller->GetCurrentSelection()));
    EXPECT_TRUE(controller->CanUndo());
}

TEST(Divide, PiecesLieWhereTheirSourceLayWithItsTransform) {
    Scene scene;
    OverlappingShapes(*scene.controller);
    auto const group = Kernel::Cast<GroupNode>(scene.Selected()->GetNodes()[1]);
    auto const ellipse = ChildrenOf(*group)[0];
    auto const place = Kernel::CastPointer<TransformInterface>(ellipse.get())->GetTransform(false, false);
    auto const fill = Kernel::CastPointer<BrushFillInterface>(ellipse.get())->GetBrushFillDescriptor(true);
    auto const bounds = ellipse->GetBounds(false);
    Divide(scene);
    Kernel::RectT<double> all;
    for (auto const* piece : PiecesIn(*group)) {
        if (piece->GetBrushFillDescriptor(true) != fill)
            continue;
        EXPECT_EQ(place, piece->GetTransform(false, false)) << "so that gradients stay where they are";
        all = all.United(piece->GetBounds(false));
    }
    EXPECT_LE(all.right, bounds.right + 1e-9);
    EXPECT_NEAR(bounds.left, all.left, 1e-9);
}

TEST(Divide, UndoAfterLoadingGoesByTheStoredPlacesAlone) {
    Scene scene;
    OverlappingShapes(*scene.controller);
    auto const before = ChildNames(*scene.spread);
    auto const command = Divide(scene);
    auto const after = ChildNames(*scene.spread);
    EXPECT_NE(before, after);
    auto const reloaded = Reload(scene, *command);
    auto const& spread = *reloaded.document->GetSpreads().front();
    for (int round = 0; round != 3; ++round) {
        reloaded.command->Undo();
        EXPECT_EQ(before, ChildNames(spread));
        reloaded.command->Redo();
        EXPECT_EQ(after, ChildNames(spread));
    }
    // Without the stored places nothing goes back; what was new still leaves.
    auto const lost = Reload(scene, *command, {{"DiSC", "OldP"}});
    lost.command->Undo();
    EXPECT_EQ("Group Rectangle", ChildNames(*lost.document->GetSpreads().front()));
}

// A stored divide with the area as older programs wrote it, and perhaps the newer form beside it.
class OlderDivide final : public Kernel::Serialisable {
public:
    explicit OlderDivide(bool withNewerForm) : m_withNewerForm(withNewerForm) {}
    void Save(Kernel::OutSerialiser& out) const override {
        if (m_withNewerForm)
            Kernel::SaveValue(out, "IRec", SpreadRects());
        Kernel::SaveValue(out, "InvR", Kernel::RectT<double>{1, 2, 3, 4});
    }
    bool Load(Kernel::InSerialiser const&, Kernel::FileStore&, unsigned short) override { return true; }
    Kernel::ClassProperties const* GetObjectClassProperties() const override {
        return DivideShapesCommand::GetTypeClassProperties();
    }

private:
    bool m_withNewerForm;
};

// The areas that the divide tells of once it is loaded.
SpreadRects LoadAreas(OlderDivide const& stored) {
    Scene scene;
    auto const storage = SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(&stored)});
    auto const command = Kernel::Cast<DocumentCommand>(LoadFromMemory(storage).at(0));
    Bind(*scene.controller, *command);
    return As<InvalidateDocumentNotification>(NotificationsOf(*command).at(1))->GetSpreadRects();
}

TEST(Divide, TheAreaThatOlderProgramsWroteIsReadOnlyWhereTheNewerFormIsMissing) {
    Scene scene;
    EXPECT_EQ((Kernel::RectT<double>{1, 2, 3, 4}),
              LoadAreas(*Kernel::MakeCounted<OlderDivide>(false)).GetUnion(scene.spread));
    EXPECT_TRUE(LoadAreas(*Kernel::MakeCounted<OlderDivide>(true)).IsEmpty());
}

TEST(Divide, AnAbortLeavesTheDocumentUntouched) {
    for (float const from : {0.0f, 0.3f, 0.7f, 0.99f}) {
        Scene scene;
        for (int i = 0; i != 40; ++i)
            scene.Put(*scene.spread, {MakeEllipse({i * 3.0, i * 2.0, i * 3.0 + 60, i * 2.0 + 70})});
        for (auto const& node : ChildrenOf(*scene.spread))
            SetFill(*Kernel::CastPointer<BrushFillInterface>(node.get()), 0, 1, 0);
        scene.Select(ChildrenOf(*scene.spread));
        auto const before = scene.controller->GetHash(true);
        auto const selected = scene.Selected();
        AbortAtProgress listener(from);
        scene.controller->SetProgressListener(&listener);
        EXPECT_THROW(Divide(scene), Kernel::AbortException) << from;
        scene.controller->SetProgressListener(nullptr);
        EXPECT_EQ(before, scene.controller->GetHash(true));
        EXPECT_EQ(selected, scene.Selected());
        EXPECT_FALSE(scene.controller->CanUndo());
    }
}

// Readers go on while inputs are gathered, and listeners may read the document during progress.
TEST(Divide, TheLockIsGivenUpWhileInputsAreGathered) {
    class Reader final : public ProgressListener {
    public:
        explicit Reader(DocumentController& controller) : m_controller(controller) {}
        void Progress(DomainCommand const&, float fraction) override {
            if (fraction > 0.5f || wasRead)
                return;
            std::thread([this] {
                auto const session = m_controller.LockForReading();
                wasRead = m_controller.GetDocument()->GetSpreads().size() == 1;
            }).join();
        }
        bool wasRead = false;

    private:
        DocumentController& m_controller;
    };
    Scene scene;
    auto const shape = Box(0, 0, 20, 20);
    Clip(*shape, Box(10, 0, 30, 20));
    scene.PutAndSelect({shape, Box(5, 5, 40, 40)});
    Reader reader(*scene.controller);
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected());
    // The clip is compiled first: the reader would wait for ever if the lock were held.
    scene.controller->SetProgressListener(&reader);
    scene.controller->Run(command);
    scene.controller->SetProgressListener(nullptr);
    EXPECT_TRUE(reader.wasRead);
}

TEST(Divide, IsOfferedForShapesOnOneSpread) {
    auto const of = [](std::vector<Kernel::Counted<Node>> const& nodes) {
        return DivideShapesCommand::CanApplyTo(Kernel::MakeCounted<Selection>(nodes));
    };
    auto const controller = DocumentController::CreateNew({400, 300}, Raster::FormatRGBA8, 2);
    auto const spreads = controller->GetDocument()->GetSpreads();
    auto const here = Named("here"), there = Named("there");
    Append(*spreads[0], here);
    Append(*spreads[1], there);
    EXPECT_TRUE(of({here}));
    EXPECT_FALSE(of({here, there}));
    EXPECT_FALSE(of({NamedGroup("group")})) << "a group alone is not offered, though it can be divided";
    auto const group = NamedGroup("group");
    Append(*spreads[0], group);
    EXPECT_TRUE(of({here, group}));
    EXPECT_FALSE(DivideShapesCommand::CanApplyTo({}));
}

TEST(Divide, AnUntrustedCommandOnGroupsAloneIsRefused) {
    Scene scene;
    auto const group = NamedGroup("group");
    scene.Put(*group, {Box(0, 0, 20, 20), Box(10, 10, 30, 30)});
    scene.PutAndSelect({group});
    auto const command = Divide(scene);
    EXPECT_FALSE(command->ValidateUntrusted());
    EXPECT_EQ(DomainCommand::c_statusDivideRefused, command->GetStatusFlags());
}

TEST(Divide, TellsOfStructureAreaAndSelectionInThisOrder) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 20, 20), Box(10, 10, 30, 30)});
    auto const selected = scene.Selected();
    auto const command = Divide(scene);
    auto const pieces = scene.Selected();
    auto const expect = [&](auto const& newSelection, auto const& oldSelection) {
        auto const list = NotificationsOf(*command);
        ASSERT_EQ(3u, list.size());
        EXPECT_TRUE(As<DocumentStructureChangedNotification>(list[0]));
        auto const invalid = As<InvalidateDocumentNotification>(list[1]);
        ASSERT_TRUE(invalid);
        EXPECT_EQ(newSelection, invalid->GetSelection());
        EXPECT_EQ((Kernel::RectT<double>{0, 0, 30, 30}), invalid->GetSpreadRects().GetUnion(scene.spread));
        auto const selection = As<NewSelectionNotification>(list[2]);
        ASSERT_TRUE(selection);
        EXPECT_EQ(newSelection, selection->GetNewSelection());
        EXPECT_EQ(oldSelection, selection->GetOldSelection());
    };
    expect(pieces, selected);
    scene.controller->Undo();
    expect(selected, pieces);
    scene.controller->Redo();
    expect(pieces, selected);
}

TEST(Divide, ConstantsOfTheCommand) {
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(true, Kernel::Counted<Selection const>());
    EXPECT_EQ(Kernel::LocalisedString("Divide shapes", "Divide shapes command name"), command->GetDescription());
    EXPECT_EQ(2u, static_cast<unsigned>(command->GetProgressType()));
    EXPECT_EQ(100, command->GetProgressInterval());
    EXPECT_NE(nullptr, command->GetProgressAbortPointer());
    EXPECT_FALSE(command->Clone());
    EXPECT_FALSE(command->VisitInReverse());
    EXPECT_TRUE(command->ShouldStackForUndo());
}

TEST(Divide, ANewCommandWithoutSelectionTakesTheDocuments) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 20, 20), Box(10, 10, 30, 30)});
    scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, Kernel::Counted<Selection const>()));
    EXPECT_EQ(3u, PiecesIn(*scene.spread).size());
}

TEST(Divide, ASelectionWithoutShapesChangesNothing) {
    Scene scene;
    scene.PutAndSelect({NamedGroup("empty")});
    auto const command = Divide(scene);
    EXPECT_FALSE(command->ShouldStackForUndo());
    EXPECT_TRUE(NotificationsOf(*command).empty());
    EXPECT_FALSE(scene.controller->CanUndo());
}

// A save takes the preview back and shows it again.
TEST(Divide, APreviewThatFoundNothingKeepsTheSelection) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 20, 20)});
    auto const selected = scene.Selected();
    auto const nothing = Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{Box(0, 0, 5, 5)});
    scene.controller->RunPreview(Kernel::MakeCounted<DivideShapesCommand>(true, nothing));
    EXPECT_EQ(selected, scene.Selected());
    auto const path =
        std::filesystem::temp_directory_path() / ("redraft-divide-" + std::to_string(::getpid()) + ".redraft");
    scene.controller->Save(path.string());
    std::filesystem::remove(path);
    EXPECT_EQ(selected, scene.Selected());
    scene.controller->EndPreview(false);
    EXPECT_EQ(selected, scene.Selected());
}

} // namespace
