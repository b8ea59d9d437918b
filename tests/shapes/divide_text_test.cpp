// SPDX-License-Identifier: Apache-2.0
#include "platform/story/text_renderer.h"
#include "shapes/divide_shapes_command.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

void Divide(Scene& scene) { scene.controller->Run(Kernel::MakeCounted<DivideShapesCommand>(false, scene.Selected())); }

Renderer::Colour ColourOf(PolyCurveNode const& piece) {
    return piece.GetBrushFillDescriptor(true)->GetFill()->GetRepresentativeColour();
}

// Areas of the pieces that have a colour.
double AreaOfColour(Node const& parent, Renderer::Colour const& colour) {
    double area = 0;
    for (auto const* piece : PiecesIn(parent)) {
        if (ColourOf(*piece) == colour)
            area += AreaOf(*piece);
    }
    return area;
}

TEST(DivideText, AFilledFrameGivesItsOutlineAndItsLettersAllForTheOneText) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "Hi");
    auto const frameColour = Renderer::Colour::FromRGB(1, 0.9, 0.2), textColour = Renderer::Colour::FromRGB(0, 0, 0);
    text->SetBrushFillDescriptor(Kernel::MakeCounted<Renderer::FillDescriptor>(frameColour));
    scene.PutAndSelect({text});
    auto const before = scene.controller->GetHash(false);
    auto const outline = Story::GetTextOutline(*text->MakeComposedText());
    ASSERT_GT(outline->GetArea(), 1);

    Divide(scene);
    EXPECT_EQ(nullptr, text->GetParent());
    // Letters and frame together are the frame, and what letters cover is theirs.
    EXPECT_NEAR(200 * 100, AreaIn(*scene.spread), 1e-3);
    EXPECT_NEAR(outline->GetArea(), AreaOfColour(*scene.spread, textColour), 1e-3);
    EXPECT_NEAR(200 * 100 - outline->GetArea(), AreaOfColour(*scene.spread, frameColour), 1e-3);

    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
    scene.controller->Redo();
    EXPECT_NEAR(200 * 100, AreaIn(*scene.spread), 1e-3);
}

TEST(DivideText, WithoutAFillTheFrameIsNoInput) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "Hi");
    text->SetBrushFillDescriptor({});
    scene.PutAndSelect({text});
    auto const area = Story::GetTextOutline(*text->MakeComposedText())->GetArea();
    Divide(scene);
    EXPECT_NEAR(area, AreaIn(*scene.spread), 1e-3);
}

TEST(DivideText, PicturesOfLettersBecomeFillsOfTheirPieces) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "\xF0\x9F\xA6\xA9");
    text->SetBrushFillDescriptor({});
    scene.PutAndSelect({text});
    auto const before = scene.controller->GetHash(false);
    auto const composed = text->MakeComposedText();
    ASSERT_TRUE(Story::HasPictureGlyphs(*composed));
    auto const outline = Story::GetTextOutline(*composed);
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(1u, pieces.size());
    EXPECT_NEAR(outline->GetArea(), AreaOf(*pieces.front()), 1e-3);
    EXPECT_EQ(Renderer::FillType::Bitmap, pieces.front()->GetBrushFillDescriptor(true)->GetFill()->GetType());
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(DivideText, LettersAreCutByWhatLiesOverThem) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "Hi");
    text->SetTransform({1, 0.2, 5, 0, 1, 7}, false);
    auto const letters = Story::GetTextOutline(*text->MakeComposedText())->Clone();
    letters->ApplyTransform(Geometry::Transform(text->GetBaseToSpreadTransform()));
    auto const bounds = letters->GetBounds().value();
    // The upper half of the letters lies under the shape.
    auto const shape =
        MakeRectangle({bounds.left - 5, bounds.top - 5, bounds.right + 5, (bounds.top + bounds.bottom) / 2}, 0, 0, 1);
    scene.PutAndSelect({text, shape});
    auto const shapeArea = (bounds.right - bounds.left + 10) * ((bounds.bottom - bounds.top) / 2 + 5);
    Divide(scene);
    EXPECT_NEAR(shapeArea, AreaOfColour(*scene.spread, Renderer::Colour::FromRGB(0, 0, 1)), 1e-3);
    double const left = AreaIn(*scene.spread) - shapeArea;
    EXPECT_GT(left, 0.1 * letters->GetArea());
    EXPECT_LT(left, 0.9 * letters->GetArea());
}

TEST(DivideText, ArtTextIsTextToo) {
    Scene scene;
    auto const frame = MakeTextFrame({0, 0, 200, 100}, "Hi");
    auto const text = Kernel::MakeCounted<ArtTextNode>(frame->GetMutableStory(false), Kernel::PointT<double>{40, 60});
    scene.PutAndSelect({text});
    double const area = Story::GetTextOutline(*text->MakeComposedText())->GetArea();
    Divide(scene);
    EXPECT_GT(area, 1);
    EXPECT_NEAR(area, AreaIn(*scene.spread), 1e-3);
}

TEST(DivideText, PiecesAreAsSeeThroughAsTheTextAndBlendAsItDoes) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "Hi");
    SetFill(*text, 1, 0, 0);
    text->SetOpacity(0.5);
    text->SetBlendMode(Renderer::BlendMode::Multiply);
    scene.PutAndSelect({text});
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_LT(2u, pieces.size());
    for (auto const* piece : pieces) {
        EXPECT_EQ(0.5, piece->GetOpacity());
        EXPECT_EQ(Renderer::BlendMode::Multiply, piece->GetBlendMode());
    }
}

TEST(DivideText, WhatClipsTheTextCutsItsLetters) {
    Scene scene;
    auto const text = MakeTextFrame({10, 10, 210, 110}, "Hi");
    SetFill(*text, 1, 0, 0);
    auto const clip = Box(0, 0, 60, 30), hidden = Box(0, 0, 1, 1);
    hidden->SetVisible(false);
    Clip(*text, hidden);
    Clip(*text, clip);
    scene.PutAndSelect({text});
    auto const before = scene.controller->GetHash(false);
    Divide(scene);
    EXPECT_NEAR(50 * 20, AreaIn(*scene.spread), 1e-3) << "frame and letters, where both and the clip overlap";
    for (auto const* piece : PiecesIn(*scene.spread))
        EXPECT_EQ(nullptr, Kernel::CastPointer<CurvesNode const>(piece->GetFirstChild(NodeChildListType::Clipping)));
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

} // namespace
