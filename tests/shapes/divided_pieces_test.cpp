// SPDX-License-Identifier: Apache-2.0
#include "shapes/outlines/divided_pieces.h"

#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

std::vector<DividedPiece> PiecesOf(Scene& scene, std::initializer_list<Kernel::Counted<CurvesNode>> shapes,
                                   bool retainAll = false) {
    PlanarMaps maps(nullptr);
    DivideInputs inputs(scene.controller->GetDocument(), maps);
    for (auto const& shape : shapes) {
        scene.Put(*scene.spread, {shape});
        inputs.AddShape(*shape, *shape);
    }
    auto const before = scene.controller->GetHash(false);
    auto pieces = MakePieces(inputs, retainAll, scene.controller);
    EXPECT_EQ(before, scene.controller->GetHash(false)) << "pieces stand nowhere yet";
    return pieces;
}

TEST(DividedPieces, EachStandsBehindTheOneBeforeAndTheFirstBehindItsSource) {
    Scene scene;
    auto const lower = Box(0, 0, 30, 30), upper = Box(10, 10, 40, 40);
    auto const pieces = PiecesOf(scene, {lower, upper});
    ASSERT_EQ(3u, pieces.size());
    EXPECT_EQ(lower, pieces[0].anchor);
    EXPECT_EQ(upper, pieces[1].anchor);
    EXPECT_EQ(pieces[1].node, pieces[2].anchor);
    for (auto const& piece : pieces)
        EXPECT_EQ(scene.spread, piece.parent);
}

TEST(DividedPieces, HaveTheTransformTheLookAndTheVisibilityOfTheirSource) {
    Scene scene;
    auto const shape = MakeRectangle({0, 0, 30, 30}, 1, 0, 0), other = Box(100, 0, 200, 30);
    shape->SetTransform({2, 0, 50, 0, 2, 0}, false);
    shape->SetOpacity(0.25);
    shape->SetVisible(false);
    double area = 0;
    for (auto const& piece : PiecesOf(scene, {shape, other})) {
        if (piece.parent == scene.spread && !piece.node->IsVisible()) {
            EXPECT_EQ(shape->GetTransform(false, false), piece.node->GetTransform(false, false));
            EXPECT_EQ(0.25, piece.node->GetOpacity());
            area += piece.node->GetCurves()->GetArea();
        }
    }
    EXPECT_DOUBLE_EQ(30 * 30 - 5 * 15, area) << "in the shape's own space";
}

TEST(DividedPieces, LinesAreMadeWithoutFilledShapesOrOnRequestAndThenWithoutFill) {
    auto const countOpen = [](bool withArea, bool retainAll) {
        Scene scene;
        auto const line = OpenLine({{0, 0}, {100, 100}}), other = OpenLine({{0, 100}, {100, 0}});
        SetFill(*line, 1, 1, 0);
        line->SetBrushFillDescriptor({});
        auto const pieces =
            withArea ? PiecesOf(scene, {line, other, Box(40, 200, 60, 220), Box(50, 200, 70, 220)}, retainAll)
                     : PiecesOf(scene, {line, other}, retainAll);
        std::size_t open = 0;
        for (auto const& piece : pieces) {
            if (!piece.node->GetCurves()->GetCurves()[0]->IsClosed()) {
                ++open;
                EXPECT_TRUE(piece.node->IsBrushFillNone());
                EXPECT_TRUE(piece.children.empty());
            }
        }
        return open;
    };
    EXPECT_EQ(4u, countOpen(false, false));
    EXPECT_EQ(0u, countOpen(true, false));
    EXPECT_EQ(4u, countOpen(true, true));
}

TEST(DividedPieces, ShapesApartBecomeLinesThatKeepTheirFill) {
    Scene scene;
    auto const pieces =
        PiecesOf(scene, {MakeRectangle({0, 0, 10, 10}, 1, 0, 0), MakeRectangle({50, 0, 60, 10}, 0, 1, 0)});
    ASSERT_EQ(2u, pieces.size());
    for (auto const& piece : pieces)
        EXPECT_TRUE(piece.node->IsBrushFillVisible(0.01));
}

TEST(DividedPieces, CarryCopiesOfTheContentsButNotOfTheClips) {
    Scene scene;
    auto const shape = Box(0, 0, 30, 30), other = Box(20, 20, 40, 40);
    Append(*shape, Named("inside"));
    Clip(*shape, Box(0, 0, 25, 30));
    auto const compound = Kernel::MakeCounted<CompoundCurveNode>();
    SetFill(*compound, 0, 0, 1);
    Append(*compound, Box(5, 5, 35, 35));
    std::size_t withChild = 0;
    for (auto const& piece : PiecesOf(scene, {shape, compound, other})) {
        if (piece.children.empty())
            continue;
        ++withChild;
        ASSERT_EQ(1u, piece.children.size());
        EXPECT_EQ(NodeChildListType::Plain, piece.children[0].list);
        EXPECT_EQ("inside", piece.children[0].node->GetDescription(true).ToStdString());
        EXPECT_EQ(nullptr, piece.children[0].node->GetParent());
    }
    EXPECT_EQ(1u, withChild);
}

TEST(DividedPieces, WithoutInputsOrWithoutAMapThereAreNone) {
    Scene scene;
    EXPECT_TRUE(PiecesOf(scene, {}).empty());
    EXPECT_TRUE(PiecesOf(scene, {Box(0, 0, 1e200, 1e200)}).empty());
}

} // namespace
