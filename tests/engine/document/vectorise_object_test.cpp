// SPDX-License-Identifier: Apache-2.0
// A drawing that is traced from a picture and takes its place.

#include "platform/document/document_controller.h"
#include "platform/document/generated_image_node.h"
#include "platform/document/vectorise_object_command.h"
#include "platform/kernel/cast.h"
#include "platform/renderer/filter.h"

#include <gtest/gtest.h>

namespace {

using Kernel::MakeCounted;
using List = NodeChildListType;

class VectoriseObject : public testing::Test {
protected:
    Kernel::Counted<DocumentController> document = DocumentController::CreateNew({400, 400}, Raster::FormatRGBA8, 1);

    // Red on the left, blue on the right.
    static Kernel::Counted<Raster::DynamicBitmap> MakePicture(int width, int height) {
        auto const bitmap = MakeCounted<Raster::DynamicBitmap>(width, height, Raster::FormatRGBA8);
        auto const fill = [&](Kernel::RectT<int> const& rect, std::uint32_t pixel) {
            std::vector<std::uint32_t> const pixels(static_cast<std::size_t>(rect.GetWidth() * rect.GetHeight()),
                                                    pixel);
            bitmap->WritePixels(rect, pixels.data(), static_cast<std::size_t>(rect.GetWidth()) * 4);
        };
        fill({0, 0, width / 2, height}, 0xFF0000FF);
        fill({width / 2, 0, width, height}, 0xFFFF0000);
        return bitmap;
    }
    SpreadNode& Spread() { return *document->GetCurrentSpread(); }
    GroupNode& Trace(Kernel::Counted<Node> const& picture) {
        Spread().InsertChild(List::Plain, picture, nullptr);
        document->SetSelection(MakeCounted<Selection const>(std::vector{picture}), false);
        m_before = document->GetHash(false);
        document->Run(MakeCounted<VectoriseObjectCommand>());
        return *Kernel::CastPointer<GroupNode>(Spread().GetFirstChild(List::Plain));
    }
    DocumentHash m_before{};

    static void ExpectDrawing(GroupNode const& group, Kernel::RectT<double> const& box) {
        ASSERT_EQ(2u, group.CountChildren(List::Plain));
        auto const bounds = group.GetBounds(false);
        EXPECT_NEAR(bounds.left, box.left, 1e-6);
        EXPECT_NEAR(bounds.top, box.top, 1e-6);
        EXPECT_NEAR(bounds.right, box.right, 1e-6);
        EXPECT_NEAR(bounds.bottom, box.bottom, 1e-6);
    }
};

TEST_F(VectoriseObject, StandsWhereTheLayerStoodUnderTheSameMasksAndFilters) {
    auto const layer = MakeCounted<RasterNode>();
    layer->SetBitmap(MakePicture(40, 20));
    layer->SetTransform({2, 0, 30, 0, 3, 50}, false);
    layer->SetOpacity(0.25);
    layer->SetBlendMode(Renderer::BlendMode::Multiply);
    layer->SetTextWrap(Story::WrapStyle::Around, {1, 2, 3, 4});
    Renderer::FilterPrimitive offset;
    offset.kind = Renderer::FilterPrimitiveKind::Offset;
    offset.inputs = {"SourceGraphic"};
    Renderer::FilterSettings settings;
    settings.primitives = {offset};
    layer->SetFilterEffects({MakeCounted<Renderer::Filter>(settings)});
    auto const clip = MakeCounted<PolyCurveNode>();
    clip->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{5, 5, 15, 15}));
    layer->InsertChild(List::Clipping, clip, nullptr);
    auto& group = Trace(layer);
    // Bounds are those of the clip.
    ExpectDrawing(group, {40, 65, 60, 95});
    EXPECT_EQ(0.25, group.GetOpacity());
    EXPECT_EQ(Renderer::BlendMode::Multiply, group.GetBlendMode());
    EXPECT_EQ(Story::WrapStyle::Around, group.GetTextWrapStyle());
    EXPECT_EQ(layer->GetFilterEffects(), group.GetFilterEffects());
    auto const* const copy = group.GetFirstChild(List::Clipping);
    ASSERT_NE(nullptr, copy);
    EXPECT_NE(static_cast<Node const*>(clip.get()), copy);
    EXPECT_EQ(layer->GetBaseToSpreadTransform().Apply(Kernel::RectT<double>{5, 5, 15, 15}), copy->GetBounds(false));
    document->Undo();
    EXPECT_EQ(nullptr, group.GetParent());
    EXPECT_EQ(static_cast<Node*>(layer.get()), Spread().GetFirstChild(List::Plain));
    EXPECT_EQ(m_before, document->GetHash(false));
}

TEST_F(VectoriseObject, TracesAPlacedPicture) {
    auto const image = MakeCounted<ImageNode>();
    image->SetImage(MakePicture(30, 10), Kernel::String());
    image->SetTransform({0, -2, 100, 2, 0, 7}, false);
    ExpectDrawing(Trace(image), image->GetBounds(false));
}

TEST_F(VectoriseObject, TracesThePictureThatAGeneratedOneShows) {
    auto const generated = MakeCounted<GeneratedImageNode>();
    generated->SetGenerations({{"a", MakePicture(30, 10), {}, {}}, {"b", MakePicture(20, 40), {}, {2, 0, 5, 0, 2, 6}}});
    generated->SetChosenGeneration(1);
    generated->SetTransform({1, 0, 100, 0, 1, 200}, false);
    ExpectDrawing(Trace(generated), {105, 206, 145, 286});
}

TEST_F(VectoriseObject, TakesOverTextForTheBlindLinksAndConstraints) {
    auto const layer = MakeCounted<RasterNode>();
    layer->SetBitmap(MakePicture(40, 20));
    layer->AddMetadataValueForKey("alternative-text", "two halves");
    layer->SetTransformConstraints(c_nearDistanceStays);
    auto const link = MakeCounted<HyperlinkState>();
    link->target = "https://example.org";
    layer->SetState(InterfaceId::Hyperlink, Kernel::Counted<InterfaceState const>(link));
    auto const& group = Trace(layer);
    EXPECT_EQ("two halves", group.GetMetadataValuesForKey("alternative-text").at(0)->view());
    EXPECT_EQ(unsigned{c_nearDistanceStays}, group.GetTransformConstraints());
    EXPECT_EQ(link.get(), group.FindState(InterfaceId::Hyperlink));
}

TEST_F(VectoriseObject, WhatStandsInAPictureStaysAboveItsDrawing) {
    auto const layer = MakeCounted<RasterNode>();
    layer->SetBitmap(MakePicture(40, 20));
    layer->SetTransform({2, 0, 10, 0, 2, 30}, false);
    auto const inside = MakeCounted<PolyCurveNode>();
    inside->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(Kernel::RectT<double>{1, 2, 3, 4}));
    layer->InsertChild(List::Plain, inside, nullptr);
    auto const& group = Trace(layer);
    ASSERT_EQ(3u, group.CountChildren(List::Plain));
    EXPECT_EQ((Kernel::RectT<double>{12, 34, 16, 38}), group.GetLastChild(List::Plain)->GetBounds(false));
    document->Undo();
    EXPECT_EQ(m_before, document->GetHash(false));
}

TEST_F(VectoriseObject, TheMaskOfAGeneratedPictureHidesPartsOfItFromTheDrawing) {
    auto const generated = MakeCounted<GeneratedImageNode>();
    generated->SetGenerations({{"a", MakePicture(40, 20), {}, {}}});
    generated->SetGenerationMask(MakeCounted<Raster::DynamicBitmap>(20, 20, Raster::FormatA8));
    auto const& group = Trace(generated);
    ASSERT_EQ(1u, group.CountChildren(List::Plain));
    EXPECT_NEAR(20, group.GetBounds(false).left, 0.5);
}

} // namespace
