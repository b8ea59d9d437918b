// SPDX-License-Identifier: Apache-2.0
#include "formats/svg/export.h"
#include "formats/svg/import.h"
#include "platform/document/artboard.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

#include <gtest/gtest.h>

namespace {

using Formats::Svg::ImportedDrawing;

ImportedDrawing ImportPages(std::string const& content) {
    return Formats::Svg::Import("<svg xmlns='http://www.w3.org/2000/svg' "
                                "xmlns:inkscape='http://www.inkscape.org/namespaces/inkscape' "
                                "xmlns:sodipodi='http://sodipodi.sourceforge.net/DTD/sodipodi-0.dtd' width='300' "
                                "height='100'>" +
                                    content + "</svg>",
                                {});
}

std::size_t CountArtboards(ImportedDrawing const& drawing) {
    return static_cast<std::size_t>(
        std::count_if(drawing.nodes.begin(), drawing.nodes.end(), [](auto const& node) { return node->IsArtboard(); }));
}

Kernel::Counted<DocumentController> DocumentOfPages(ImportedDrawing const& drawing) {
    auto document = DocumentController::CreateNew(drawing.pageSize, Raster::FormatRGBA8, 1);
    Place(drawing, *document->GetDocument(), *document->GetCurrentSpread());
    return document;
}

constexpr char c_twoPages[] = "<svg id='A' width='100' height='80'><rect width='100' height='80' fill='tomato'/>"
                              "<circle cx='100' cy='40' r='30'/></svg>"
                              "<svg id='B' x='120' y='10' width='50' height='40' viewBox='0 0 100 80'>"
                              "<rect x='10' y='10' width='20' height='20'/></svg>";

} // namespace

TEST(SvgArtboards, DrawingsBesideEachOtherAreArtboardsAndComeBack) {
    auto const first = ImportPages(c_twoPages);
    ASSERT_EQ(2u, first.nodes.size());
    ASSERT_EQ(2u, CountArtboards(first));
    auto const document = DocumentOfPages(first);
    auto const artboards = GetArtboards(*document->GetCurrentSpread());
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 100, 80}), artboards[0]->GetArtboardBox());
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 100, 80}), first.nodes[0]->GetBounds(true));
    EXPECT_EQ((Kernel::RectT<double>{120, 10, 170, 50}), first.nodes[1]->GetBounds(true));
    EXPECT_EQ("A", first.nodes[0]->GetDescription(false).ToStdString());
    // The rectangle has become the fill.
    EXPECT_FALSE(static_cast<ArtboardNode&>(*first.nodes[0]).IsBrushFillNone());
    EXPECT_EQ(1u, first.nodes[0]->CountChildren(NodeChildListType::Plain));

    auto const text = Formats::Svg::ExportSpread(*document->GetCurrentSpread()).text;
    EXPECT_NE(text.npos, text.find("<svg x=\"0\" y=\"0\" width=\"100\" height=\"80\" viewBox=\"0 0 100 80\" id=\"A\">"))
        << text;
}

TEST(SvgArtboards, ExportedArtboardsAreArtboardsAgain) {
    auto const document = DocumentController::CreateNew({300, 100}, Raster::FormatRGBA8, 1);
    auto& spread = *document->GetCurrentSpread();
    for (double const left : {10.0, 150.0}) {
        auto const artboard = Kernel::MakeCounted<ArtboardNode>(Kernel::RectT<double>{left, 10, left + 90, 80});
        artboard->SetBrushFillDescriptor(
            Kernel::MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 1)));
        artboard->SetTransform({1, 0, 5, 0, 1, 2}, false);
        spread.InsertChild(NodeChildListType::Plain, artboard, nullptr);
    }
    auto const again = Formats::Svg::Import(Formats::Svg::ExportSpread(spread).text, {});
    ASSERT_EQ(2u, CountArtboards(again));
    auto const placed = DocumentOfPages(again);
    EXPECT_EQ((Kernel::RectT<double>{15, 12, 105, 82}), again.nodes[0]->GetBounds(true));
    EXPECT_EQ((Kernel::RectT<double>{155, 12, 245, 82}), again.nodes[1]->GetBounds(true));
}

TEST(SvgArtboards, OtherInnerDrawingsStayGroups) {
    for (std::string const content :
         {"<svg width='100' height='80'><rect width='50' height='50'/></svg>",
          "<svg width='100' height='80'><rect width='5' height='5'/></svg><svg x='50' width='100' height='80'><rect "
          "width='5' height='5'/></svg>",
          "<svg width='50' height='80'><rect width='5' height='5'/></svg><svg x='50' width='50' height='80'><rect "
          "width='5' height='5'/></svg><rect x='200' width='5' height='5'/>",
          "<g><svg width='50' height='80'><rect width='5' height='5'/></svg><svg x='50' width='50' height='80'><rect "
          "width='5' height='5'/></svg></g>"})
        EXPECT_EQ(0u, CountArtboards(ImportPages(content))) << content;
}

TEST(SvgArtboards, PagesThatAnEditorListsHoldWhatLiesWholeOnThem) {
    std::string const pages = "<sodipodi:namedview><inkscape:page x='0' y='0' width='100' height='100' id='p1'/>"
                              "<inkscape:page x='120' y='0' width='100' height='100' inkscape:label='Two'/>"
                              "</sodipodi:namedview>";
    auto const held = ImportPages(pages + "<rect x='130' y='10' width='20' height='20'/><circle cx='50' cy='50' "
                                          "r='20'/><rect x='10' y='10' width='20' height='20'/>");
    ASSERT_EQ(2u, CountArtboards(held));
    EXPECT_EQ("p1", held.nodes[0]->GetDescription(false).ToStdString());
    EXPECT_EQ("Two", held.nodes[1]->GetDescription(false).ToStdString());
    EXPECT_EQ(2u, held.nodes[0]->CountChildren(NodeChildListType::Plain));
    EXPECT_EQ(1u, held.nodes[1]->CountChildren(NodeChildListType::Plain));
    // One that hangs over the edge would be cut.
    auto const cut =
        ImportPages(pages + "<rect x='90' y='10' width='20' height='20'/><circle cx='50' cy='50' r='20'/>");
    EXPECT_EQ(0u, CountArtboards(cut));
    EXPECT_EQ(2u, cut.nodes.size());
}
