// SPDX-License-Identifier: Apache-2.0
// Whether an object's line lies behind its fill is said by the object alone.

#include "platform/document/document_controller.h"
#include "platform/document/document_renderer.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <gtest/gtest.h>

namespace {

using Kernel::MakeCounted;
using Renderer::Colour, Renderer::FillDescriptor, Renderer::LineStyle, Renderer::LineStyleDescriptor;

Kernel::Counted<LineStyleDescriptor> MakeLine(double weight, bool behind) {
    auto const line =
        MakeCounted<LineStyleDescriptor>(Kernel::Consolidated<LineStyle>(MakeCounted<LineStyle const>(weight)));
    line->SetDrawBehindFill(behind);
    return line;
}

Kernel::Counted<FillDescriptor const> MakePaint(Colour const& colour) {
    return MakeCounted<FillDescriptor const>(colour);
}

class LineOrder : public testing::Test {
protected:
    // As an older document has it.
    static void SetOlderLine(LineStyleInterface& object, Kernel::Counted<LineStyleDescriptor const> line) {
        auto const state = MakeCounted<LineStyleState>();
        state->line = std::move(line);
        state->penFill = MakePaint(Colour::FromRGB(1, 0, 0));
        static_cast<AttributeOwner&>(object).SetState(InterfaceId::LineStyle,
                                                      Kernel::Counted<InterfaceState const>(state));
    }
    Kernel::Counted<PolyCurveNode> AddBox() {
        auto const box = MakeCounted<PolyCurveNode>();
        box->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{40, 40, 160, 160}));
        box->SetBrushFillDescriptor(MakePaint(Colour::FromRGB(0, 0, 1)));
        document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, box, nullptr);
        return box;
    }
    // Red where a line covers the inner edge of the fill, blue where the fill covers it.
    static unsigned RedInside(DocumentController& shown) {
        SpreadPictureOptions options;
        options.scale = 1;
        auto const target = MakeSpreadPicture(*shown.GetCurrentSpread(), options);
        auto const buffer = target->Render({0, 0, 200, 200});
        std::vector<unsigned char> bytes(200 * 200 * 4);
        buffer->ReadPixels(buffer->GetBounds(), bytes.data(), 200 * 4);
        return bytes[(100 * 200 + 44) * 4];
    }

    Kernel::Counted<DocumentController> document = DocumentController::CreateNew({200, 200}, Raster::FormatRGBA8, 1);
};

TEST_F(LineOrder, OfALineIsTakenOverByItsObjectAndKeptOnce) {
    auto const box = AddBox();
    box->SetPenFillDescriptor(MakePaint(Colour::FromRGB(1, 0, 0)));
    box->SetLineStyleDescriptor(MakeLine(20, true));
    EXPECT_TRUE(box->IsLineBehindFill());
    EXPECT_FALSE(box->GetLineStyleDescriptor()->GetDrawBehindFill());
    EXPECT_EQ(box->IsLineStyleVisibleFrontBehind(), std::pair(false, true));
    EXPECT_EQ(RedInside(*document), 0u);
    // Another line leaves the order as it is; the object alone changes it.
    box->SetLineStyleDescriptor(MakeLine(24, false));
    EXPECT_TRUE(box->IsLineBehindFill());
    box->SetLineBehindFill(false);
    EXPECT_EQ(box->IsLineStyleVisibleFrontBehind(), std::pair(true, false));
    EXPECT_EQ(RedInside(*document), 255u);
}

TEST_F(LineOrder, OfATextFrameIsDrawnLikeThatOfAShape) {
    auto const frame = MakeCounted<FrameTextNode>(Kernel::RectT<double>{40, 40, 160, 160});
    frame->SetBrushFillDescriptor(MakePaint(Colour::FromRGB(0, 0, 1)));
    frame->SetPenFillDescriptor(MakePaint(Colour::FromRGB(1, 0, 0)));
    frame->SetLineStyleDescriptor(MakeLine(20, false));
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, frame, nullptr);
    EXPECT_EQ(RedInside(*document), 255u);
    frame->SetLineBehindFill(true);
    EXPECT_EQ(RedInside(*document), 0u);
}

// Older programs drew the line behind the fill when either said so.
TEST_F(LineOrder, OfAnOlderDocumentBecomesTheObjectsWhenItIsRead) {
    struct Case {
        bool lineSays, objectSays;
    };
    for (auto const& [lineSays, objectSays] :
         {Case{false, false}, Case{true, false}, Case{false, true}, Case{true, true}}) {
        SCOPED_TRACE(std::to_string(lineSays) + std::to_string(objectSays));
        document = DocumentController::CreateNew({200, 200}, Raster::FormatRGBA8, 1);
        auto const box = AddBox();
        SetOlderLine(*box, MakeLine(20, lineSays));
        if (objectSays)
            box->SetLineBehindFill(true);
        auto const hash = document->GetHash(false);
        auto const read = document->MakeCopy();
        auto const* const same = Kernel::CastPointer<PolyCurveNode>(read->GetDocument()->FindNode(box->GetId()).get());
        ASSERT_NE(same, nullptr);
        EXPECT_EQ(same->IsLineBehindFill(), lineSays || objectSays);
        EXPECT_EQ(RedInside(*read), lineSays || objectSays ? 0u : 255u);
        // Documents in which the object has its say already stay what they are.
        EXPECT_EQ(read->GetHash(false) == hash, !lineSays || objectSays);
    }
}

// Also of an object that only the history holds.
TEST_F(LineOrder, OfAnOlderDocumentBecomesTheObjectsOutsideTheTreeToo) {
    auto const box = AddBox();
    SetOlderLine(*box, MakeLine(20, true));
    document->SetSelection(MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{box}), false);
    box->RemoveFromParent();
    auto const read = document->MakeCopy();
    auto const nodes = read->GetCurrentSelection()->GetNodes();
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_TRUE(Kernel::CastPointer<PolyCurveNode>(nodes.front().get())->IsLineBehindFill());
}

} // namespace
