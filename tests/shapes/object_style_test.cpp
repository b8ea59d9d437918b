// SPDX-License-Identifier: Apache-2.0
#include "platform/document/object_style.h"

#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

namespace {

using namespace Support;
using namespace ExampleDocuments;

Kernel::Counted<PolyCurveNode> Look() {
    auto node = MakePath({{{0, 0}, {10, 0}, {0, 10}}}, true);
    SetFill(*node, 1, 0, 0);
    SetLine(*node, 3);
    node->SetOpacity(0.5);
    node->SetContourOffset(2);
    node->SetVisible(false);
    return node;
}

void Take(ObjectStyle& style, PolyCurveNode const& node, ObjectStyleMask const& mask, bool withVisibility) {
    style.Set(Kernel::Counted<Kernel::Countable const>(&node), Raster::FormatRGBA8, {}, {}, mask, "name",
              withVisibility);
}

TEST(ObjectStyle, KeepsWhatItsColoursAndTextsAreMeantIn) {
    auto const styles = Kernel::MakeCounted<Story::StyleSheet>();
    ObjectStyle style;
    style.Set(Look(), Raster::FormatCMYKA8, {}, styles, ObjectStyleMask(), "name", false);
    EXPECT_EQ(Raster::FormatCMYKA8, style.GetFormat());
    EXPECT_EQ(styles.get(), style.GetTextStyles().get());
    EXPECT_EQ("name", style.GetName().ToStdString());
}

TEST(ObjectStyle, GivesItsWholeLookAndNothingElse) {
    ObjectStyle style;
    Take(style, *Look(), ObjectStyleMask(), false);
    auto const node = Kernel::MakeCounted<PolyCurveNode>();
    style.Apply(node, {}, false);
    EXPECT_EQ(Renderer::Colour::FromRGB(1, 0, 0),
              node->GetBrushFillDescriptor(true)->GetFill()->GetRepresentativeColour());
    EXPECT_TRUE(node->IsLineStyleVisible());
    EXPECT_EQ(0.5, node->GetOpacity());
    EXPECT_EQ(2, node->GetContourOffset());
    EXPECT_TRUE(node->IsVisible()) << "being shown is no part of it unless asked for";
    EXPECT_FALSE(node->GetCurves());
}

TEST(ObjectStyle, TakesVisibilityOnlyWhenAskedTo) {
    ObjectStyle style;
    Take(style, *Look(), ObjectStyleMask(), true);
    auto const node = Kernel::MakeCounted<PolyCurveNode>();
    style.Apply(node, {}, false);
    EXPECT_FALSE(node->IsVisible());
}

TEST(ObjectStyle, WhatItSaysNothingOfStaysOrGoesBackToTheDefault) {
    ObjectStyleMask lineOnly{false, true, false, false, false, false, false};
    ObjectStyle style;
    Take(style, *MakePath({{{0, 0}, {1, 1}}}, false), lineOnly, false);
    for (bool const resetRest : {false, true}) {
        auto const node = Look();
        style.Apply(node, {}, resetRest);
        EXPECT_FALSE(node->IsLineStyleVisible());
        EXPECT_EQ(!resetRest, node->IsBrushFillVisible(0.01));
        EXPECT_EQ(resetRest ? 1 : 0.5, node->GetOpacity());
        EXPECT_EQ(resetRest ? 0 : 2, node->GetContourOffset());
        EXPECT_FALSE(node->IsVisible());
    }
}

} // namespace
