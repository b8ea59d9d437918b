// SPDX-License-Identifier: Apache-2.0
#include "frame/contract/notifications.h"
#include "platform/document/change_text_wrap_command.h"
#include "platform/document/document_renderer.h"
#include "platform/document/edit_journal.h"
#include "platform/document/selection_commands.h"
#include "platform/kernel/cast.h"
#include "shapes/edit_wrap_shape_command.h"
#include "tests/examples/scenes/shape_documents.h"
#include "tests/examples/scenes/text_documents.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace ExampleDocuments;
using Commands::EditWrapShapeCommand;
using Kernel::CastPointer;
using Kernel::MakeCounted;
using Nodes = std::vector<Kernel::Counted<Node>>;

class EditWrapShape : public testing::Test {
protected:
    static constexpr int c_width = 600, c_height = 500;

    void SetUp() override {
        document = DocumentController::CreateNew({c_width, c_height}, Raster::FormatRGBA8, 1);
        ExampleDocuments::TextAroundShapes(*document, false);
        auto const selected = document->GetCurrentSelection()->GetNodes();
        ellipse = selected[0];
        group = selected[1];
        Select(*document, {ellipse});
    }
    Kernel::Counted<EditWrapShapeCommand> Run() {
        auto const command = MakeCounted<EditWrapShapeCommand>();
        document->Run(command);
        return command;
    }
    Nodes Selected() const { return document->GetCurrentSelection()->GetNodes(); }
    static Kernel::Counted<Node> ShapeOf(Node const& node) {
        return Kernel::Counted<Node>(node.GetFirstChild(NodeChildListType::WrapShape));
    }
    static Story::WrapStyle::Type StyleOf(Node const& node) {
        return CastPointer<TextWrapInterface const>(&node)->GetTextWrapStyle();
    }
    static Nodes NewNodesOf(EditWrapShapeCommand const& command) {
        Nodes nodes;
        command.GetNewNodes(nodes);
        return nodes;
    }
    static Kernel::NotificationList ToldBy(EditWrapShapeCommand& command) {
        Kernel::NotificationList told;
        command.Notify(told);
        return told;
    }
    static void ExpectTool(Kernel::NotificationList const& told, int tool) {
        auto const recommended = Kernel::Cast<RecommendSpecificToolNotification>(told.back());
        ASSERT_TRUE(recommended);
        EXPECT_EQ(recommended->GetTool(), tool);
    }
    // How many dark pixels, which are those of letters, lie in a part of the page.
    std::size_t CountInk(Kernel::RectT<int> const& part) const {
        SpreadPictureOptions options;
        options.scale = 1;
        options.background = Renderer::Colour::FromGrey(1);
        auto const target = MakeSpreadPicture(*document->GetCurrentSpread(), options);
        auto const buffer = target->Render({0, 0, c_width, c_height});
        std::vector<unsigned char> bytes(std::size_t{c_width} * c_height * 4);
        buffer->ReadPixels(buffer->GetBounds(), bytes.data(), c_width * 4);
        std::size_t ink = 0;
        for (int y = part.top; y < part.bottom; ++y) {
            for (int x = part.left; x < part.right; ++x) {
                auto const* const pixel = &bytes[(static_cast<std::size_t>(y) * c_width + std::size_t(x)) * 4];
                ink += pixel[0] < 100 && pixel[1] < 100 && pixel[2] < 100;
            }
        }
        return ink;
    }

    Kernel::Counted<DocumentController> document;
    Kernel::Counted<Node> ellipse, group;
};

TEST_F(EditWrapShape, TextFlowsRoundTheShapeAsItIsEdited) {
    // Over the ellipse, beside it on both sides, and below it.
    Kernel::RectT<int> const inside{150, 130, 250, 190}, left{55, 130, 125, 190}, right{275, 130, 345, 190};
    Kernel::RectT<int> const below{130, 240, 270, 290};
    CastPointer<BrushFillInterface>(ellipse.get())->SetBrushFillDescriptor(nullptr);
    EXPECT_GT(CountInk(inside), 100u);
    EXPECT_GT(CountInk(below), 100u);
    Run();
    EXPECT_EQ(CountInk(inside), 0u);
    EXPECT_GT(CountInk(left), 100u);
    EXPECT_GT(CountInk(right), 100u);
    EXPECT_GT(CountInk(below), 100u);
    // The selected shape is an ordinary curve: it is made a box far below the ellipse.
    auto* const shape = CastPointer<PolyCurveNode>(Selected().at(0).get());
    ASSERT_NE(shape, nullptr);
    shape->SetCurves(MakeCounted<Geometry::PolyCurveDbl>(Geometry::RectDbl{-70, -30, 70, 130}));
    EXPECT_EQ(CountInk(inside), 0u);
    EXPECT_EQ(CountInk(below), 0u);
    EXPECT_GT(CountInk(left), 100u);
    EXPECT_GT(CountInk({55, 240, 125, 290}), 100u);
    EXPECT_GT(CountInk({130, 50, 270, 125}), 100u) << "text stands above the shape, where the ellipse is";
    document->Undo();
    EXPECT_GT(CountInk(inside), 100u);
    EXPECT_GT(CountInk(below), 100u);
}

TEST_F(EditWrapShape, AnObjectWithoutAWrapStyleTakesTwoCommandsWhichUndoTakesBackInReverse) {
    auto const before = document->GetHash(false);
    auto const command = Run();
    auto const shape = ShapeOf(*ellipse);
    ASSERT_TRUE(shape);
    EXPECT_EQ(StyleOf(*ellipse), Story::WrapStyle::Around);
    EXPECT_EQ(Selected(), Nodes{shape});
    EXPECT_EQ(NewNodesOf(*command), Nodes{shape});
    ExpectTool(ToldBy(*command), 3);
    auto const after = document->GetHash(false);

    struct Watch final : EditJournal::Observer {
        explicit Watch(Node const& watched) : node(watched) { EditJournal::SetObserver(this); }
        ~Watch() override { EditJournal::SetObserver(nullptr); }
        void BeforeEdit() override {
            states.push_back(std::string(ShapeOf(node) ? "shape" : "none") +
                             (StyleOf(node) == Story::WrapStyle::None ? "" : " wrapped"));
        }
        Node const& node;
        std::vector<std::string> states;
    };
    auto const passes = [](std::vector<std::string> states) {
        states.erase(std::unique(states.begin(), states.end()), states.end());
        return states;
    };
    {
        Watch watch(*ellipse);
        document->Undo();
        EXPECT_EQ(passes(watch.states), (std::vector<std::string>{"shape wrapped", "none wrapped"}));
    }
    EXPECT_EQ(document->GetHash(false), before);
    EXPECT_EQ(Selected(), Nodes{ellipse});
    EXPECT_FALSE(ShapeOf(*ellipse));
    EXPECT_EQ(StyleOf(*ellipse), Story::WrapStyle::None);
    ExpectTool(ToldBy(*command), 3);
    {
        Watch watch(*ellipse);
        document->Redo();
        EXPECT_EQ(passes(watch.states), (std::vector<std::string>{"none", "none wrapped", "shape wrapped"}));
    }
    EXPECT_EQ(document->GetHash(false), after);
    EXPECT_EQ(ShapeOf(*ellipse), shape);
    EXPECT_EQ(Selected(), Nodes{shape});
}

TEST_F(EditWrapShape, TheShapeIsTheOutlineWhereTheObjectStands) {
    CastPointer<TransformInterface>(ellipse.get())->SetTransform({1.5, 0.5, 200, -0.5, 2, 160}, false);
    Run();
    auto const shape = ShapeOf(*ellipse);
    EXPECT_EQ(shape->GetBounds(false), ellipse->GetBounds(false));
    auto const* const object = CastPointer<ConstCurvesInterface>(ellipse.get());
    auto const* const curves = CastPointer<PolyCurveNode>(shape.get());
    EXPECT_TRUE(*curves->GetOutline() == *object->GetOutline());
    EXPECT_NE(curves->GetOutline(), object->GetOutline()) << "an outline of its own, to be edited";
    EXPECT_TRUE(curves->GetMatrix().IsIdentity());
}

TEST_F(EditWrapShape, AGroupGetsItsBoundsAndAnEmptyObjectAPoint) {
    Select(*document, {group});
    Run();
    auto const shape = ShapeOf(*group);
    ASSERT_TRUE(shape);
    EXPECT_EQ(shape->GetBounds(false), group->GetBounds(false));
    auto const empty = MakeCounted<GroupNode>();
    Append(*document->GetCurrentSpread(), empty);
    Select(*document, {empty});
    Run();
    auto const* const point = CastPointer<PolyCurveNode>(ShapeOf(*empty).get());
    ASSERT_NE(point, nullptr);
    ASSERT_TRUE(point->GetOutline());
    EXPECT_TRUE(*point->GetOutline() == Geometry::PolyCurveDbl(Geometry::RectDbl()));
}

TEST_F(EditWrapShape, AnObjectThatHasAShapeKeepsItAndOnlyTheSelectionChanges) {
    Run();
    auto const shape = ShapeOf(*ellipse);
    Select(*document, {ellipse});
    auto const before = document->GetHash(false);
    auto const command = Run();
    EXPECT_EQ(document->GetHash(false), before);
    EXPECT_EQ(ellipse->CountChildren(NodeChildListType::WrapShape), 1u);
    EXPECT_EQ(Selected(), Nodes{shape});
    EXPECT_TRUE(NewNodesOf(*command).empty());
    auto const told = ToldBy(*command);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_TRUE(Kernel::Cast<NewSelectionNotification>(told[0]));
    ExpectTool(told, 3);
    document->Undo();
    EXPECT_EQ(document->GetHash(false), before);
    EXPECT_EQ(Selected(), Nodes{ellipse});
}

// The shape stays for the day when text is to run around the object again.
TEST_F(EditWrapShape, AnObjectThatHasAShapeAndNoStyleOnlyGetsTheStyle) {
    Run();
    auto const shape = ShapeOf(*ellipse);
    Select(*document, {ellipse});
    document->Run(MakeCounted<ChangeTextWrapCommand>(Story::WrapStyle::None));
    auto const command = Run();
    EXPECT_EQ(StyleOf(*ellipse), Story::WrapStyle::Around);
    EXPECT_EQ(Selected(), Nodes{shape});
    EXPECT_TRUE(NewNodesOf(*command).empty());
    document->Undo();
    EXPECT_EQ(StyleOf(*ellipse), Story::WrapStyle::None);
    EXPECT_EQ(ShapeOf(*ellipse), shape);
}

TEST_F(EditWrapShape, LeavingSelectsTheObjectAgain) {
    Run();
    auto const shape = ShapeOf(*ellipse);
    auto const before = document->GetHash(false);
    auto const command = Run();
    EXPECT_EQ(Selected(), Nodes{ellipse});
    EXPECT_EQ(document->GetHash(false), before);
    ExpectTool(ToldBy(*command), 1);
    EXPECT_TRUE(NewNodesOf(*command).empty());
    document->Undo();
    EXPECT_EQ(Selected(), Nodes{shape});
    ExpectTool(ToldBy(*command), 1);
    document->Redo();
    EXPECT_EQ(Selected(), Nodes{ellipse});
}

TEST_F(EditWrapShape, WithoutANodeNothingHappensAndOnlyTheToolIsRecommended) {
    Select(*document, {});
    auto const before = document->GetHash(false);
    auto const command = Run();
    EXPECT_EQ(document->GetHash(false), before);
    EXPECT_TRUE(Selected().empty());
    auto const told = ToldBy(*command);
    ASSERT_EQ(told.size(), 1u);
    ExpectTool(told, 3);
    EXPECT_TRUE(NewNodesOf(*command).empty());
    ASSERT_TRUE(document->CanUndo()) << "a step all the same";
    document->Undo();
    document->Redo();
    EXPECT_EQ(document->GetHash(false), before);
}

TEST_F(EditWrapShape, CanBeExecutedOnWhatTextCanRunAroundAndOnItsShape) {
    auto const can = [&](Nodes const& nodes) {
        Select(*document, nodes);
        return EditWrapShapeCommand::CanExecute(Kernel::NonCounted<DocumentController const>(document.get()));
    };
    EXPECT_TRUE(can({ellipse}));
    EXPECT_TRUE(can({group}));
    EXPECT_FALSE(can({}));
    Kernel::Counted<Node> const spread(document->GetCurrentSpread());
    EXPECT_FALSE(can({spread}));
    Run();
    EXPECT_EQ(Selected(), Nodes{spread}) << "text runs around no spread";
    Select(*document, {ellipse});
    Run();
    EXPECT_TRUE(can({ShapeOf(*ellipse)}));
    EXPECT_FALSE(MakeCounted<EditWrapShapeCommand>()->Clone());
    EXPECT_STREQ(MakeCounted<EditWrapShapeCommand>()->GetDescription().GetContext().ToStdString().c_str(),
                 "Edit wrap shape command name");
}

} // namespace
