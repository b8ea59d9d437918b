// SPDX-License-Identifier: Apache-2.0
// Many nodes' areas are told without looking at the bounds of each: the areas must be the same to the bit.
#include "engine/document/tree/bounds.h"
#include "platform/document/document_controller.h"
#include "platform/document/spread_rects.h"
#include "platform/renderer/filter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace {

using Kernel::Counted, Kernel::MakeCounted;
using Rect = Kernel::RectT<double>;
using Renderer::LineStyle, Renderer::LineStyleArrowHead, Renderer::LineStyleDescriptor;

class RandomDrawing {
public:
    explicit RandomDrawing(unsigned seed) : m_random(seed) {
        m_document = DocumentController::CreateNew({1000, 1000}, Raster::FormatRGBA8, 2);
    }

    double Number(double low, double high) { return low + (high - low) * (m_random() % 10007) / 10006.0; }
    bool Rarely(unsigned oneIn) { return m_random() % oneIn == 0; }

    // A curve of any kind with a line of any kind, placed in any way.
    Counted<PolyCurveNode> MakeShape() {
        auto const node = MakeCounted<PolyCurveNode>();
        auto curve = MakeCounted<Geometry::CurveDbl>();
        curve->MoveTo(Point());
        for (auto count = m_random() % 5; count != 0; --count) {
            if (Rarely(3))
                curve->CubicTo(Point(), Point(), Point());
            else
                curve->LineTo(Point());
        }
        if (Rarely(2) && curve->GetSegmentCount() > 1)
            curve->Close();
        node->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(curve));
        double const sheared = Rarely(2) ? Number(-2, 2) : 0;
        node->SetTransform({Number(-3, 3), sheared, Number(0, 900), Number(-1, 1), Number(-3, 3), Number(0, 900)},
                           false);
        if (!Rarely(5))
            SetLine(*node);
        if (Rarely(8))
            node->SetFilterEffects({MakeOffset()});
        return node;
    }

    std::vector<Node const*> Fill(unsigned count) {
        std::vector<Node const*> nodes;
        auto const spreads = m_document->GetDocument()->GetSpreads();
        for (unsigned i = 0; i != count; ++i) {
            auto const shape = MakeShape();
            auto const& spread = spreads[m_random() % 2];
            Counted<Node> const parent = m_parent && !Rarely(4) ? m_parent : Counted<Node>(spread.get());
            auto const list = parent == m_parent && Rarely(4) ? NodeChildListType::Clipping : NodeChildListType::Plain;
            parent->InsertChild(list, shape, nullptr);
            if (Rarely(6))
                m_parent = shape;
            nodes.push_back(shape.get());
        }
        return nodes;
    }

    DocumentController& GetDocument() { return *m_document; }

private:
    Geometry::PointDbl Point() {
        if (Rarely(200))
            return {std::numeric_limits<double>::quiet_NaN(), 0};
        return {Number(-20, 20), Number(-20, 20)};
    }

    void SetLine(PolyCurveNode& node) {
        LineStyle style(Number(0, 9));
        style.SetMitreLimit(Number(0.5, 12));
        style.SetCap(static_cast<Renderer::LineCap>(m_random() % 3));
        style.SetJoin(static_cast<Renderer::LineJoin>(m_random() % 3));
        auto const line =
            MakeCounted<LineStyleDescriptor>(Kernel::Consolidated<LineStyle>(MakeCounted<LineStyle const>(style)));
        line->SetScaleWithObject(Rarely(2));
        line->SetStrokeAlignment(static_cast<Renderer::StrokeAlignment>(m_random() % 3));
        if (Rarely(4)) {
            line->SetFrontArrowHead(MakeCounted<LineStyleArrowHead const>(
                MakeCounted<Geometry::PolyCurveDbl const>(Rect{-2, -3, 4, 3}), Number(0.5, 3), Number(0.5, 3)));
        }
        if (Rarely(6)) {
            auto const pressure = MakeCounted<Geometry::CurveDbl>();
            pressure->MoveTo({0, 0});
            pressure->LineTo({1, Number(0.5, 4)});
            line->SetPressure(pressure);
        }
        node.SetLineStyleDescriptor(line);
        node.SetPenFillDescriptor(MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0)));
    }

    static Counted<Kernel::Serialisable> MakeOffset() {
        Renderer::FilterPrimitive offset;
        offset.kind = Renderer::FilterPrimitiveKind::Offset;
        offset.inputs = {"SourceGraphic"};
        offset.offsetX = 300;
        Renderer::FilterSettings settings;
        settings.isRegionOfBox = false;
        settings.left = settings.top = -1000;
        settings.width = settings.height = 2000;
        settings.primitives = {offset};
        return MakeCounted<Renderer::Filter>(settings);
    }

    std::mt19937 m_random;
    Counted<DocumentController> m_document;
    Counted<Node> m_parent;
};

} // namespace

TEST(DamageAreas, ThoseOfManyNodesAreThoseOfEach) {
    std::size_t rooms = 0;
    for (unsigned seed = 0; seed != 300; ++seed) {
        RandomDrawing drawing(seed);
        auto const nodes = drawing.Fill(1 + seed % 40);
        SpreadRects each, all;
        for (auto const* const node : nodes) {
            each.IncludeWhereShown(*node);
            rooms += FindRoomOfShape(*node).has_value();
        }
        all.IncludeWhereShown(nodes);
        // Twice, as around a change: what is told already must not stand in the way of more.
        auto const more = drawing.Fill(5);
        for (int i = 0; i != 2; ++i) {
            for (auto const& spread : drawing.GetDocument().GetDocument()->GetSpreads())
                ASSERT_EQ(each.GetUnion(spread), all.GetUnion(spread)) << seed;
            for (auto const* const node : more)
                each.IncludeWhereShown(*node);
            all.IncludeWhereShown(more);
        }
        ASSERT_EQ(each.GetRects().size(), all.GetRects().size()) << seed;
    }
    EXPECT_GT(rooms, 1000u);
}

TEST(DamageAreas, RoomsHoldTheBoundsOfTheirShapes) {
    RandomDrawing drawing(77);
    std::size_t found = 0;
    for (auto const* const node : drawing.Fill(3000)) {
        auto const room = FindRoomOfShape(*node);
        auto const bounds = node->GetBounds(true);
        if (!room || bounds.IsEmpty())
            continue;
        ++found;
        EXPECT_LE(room->left, bounds.left);
        EXPECT_LE(room->top, bounds.top);
        EXPECT_GE(room->right, bounds.right);
        EXPECT_GE(room->bottom, bounds.bottom);
    }
    EXPECT_GT(found, 1000u);
}

// A mitre that points where the object is stretched reaches as far as the stretch takes it, in lines with a profile
// too.
TEST(DamageAreas, MitresOfShearedLinesLieInTheBounds) {
    auto const document = DocumentController::CreateNew({1000, 1000}, Raster::FormatRGBA8, 1);
    auto const node = MakeCounted<PolyCurveNode>();
    // The legs leave the tip at both sides of the diagonal by an angle whose sine is 1/9.
    double const angle = std::asin(1.0 / 9), diagonal = std::numbers::pi / 4;
    auto const leg = [&](double side) {
        return Geometry::PointDbl{100 - 100 * std::cos(diagonal + side * angle),
                                  100 - 100 * std::sin(diagonal + side * angle)};
    };
    auto curve = MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo(leg(1));
    curve->LineTo({100, 100});
    curve->LineTo(leg(-1));
    node->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(curve));
    node->SetTransform({1, 1, 0, 0, 0.001, 0}, false);
    LineStyle style(20);
    style.SetMitreLimit(10);
    auto const line =
        MakeCounted<LineStyleDescriptor>(Kernel::Consolidated<LineStyle>(MakeCounted<LineStyle const>(style)));
    line->SetScaleWithObject(true);
    auto const pressure = MakeCounted<Geometry::CurveDbl>();
    pressure->MoveTo({0, 1});
    pressure->LineTo({1, 1});
    line->SetPressure(pressure);
    node->SetLineStyleDescriptor(line);
    node->SetPenFillDescriptor(MakeCounted<Renderer::FillDescriptor const>(Renderer::Colour::FromRGB(0, 0, 0)));
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
    // The tip lies nine half widths of 10 behind the corner at (200, 0.1), along a diagonal that becomes sqrt(2) as
    // long.
    EXPECT_GE(node->GetBounds(true).right, 200 + 90 * std::numbers::sqrt2);
}
