// SPDX-License-Identifier: Apache-2.0
// Where the pieces of a divide stand, after it, after Redo and in another process; and what its stored form may lack.
#include "shapes/divide_shapes_command.h"
#include "tests/examples/scenes/text_documents.h"
#include "tests/shapes/scene.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace Commands;
using namespace Support;
using namespace ExampleDocuments;

Kernel::Counted<DivideShapesCommand> Divide(Scene& scene, bool retainAll = false) {
    auto const command = Kernel::MakeCounted<DivideShapesCommand>(retainAll, scene.Selected());
    scene.controller->Run(command);
    return command;
}

// A text of three stretches, each of a colour of its own.
Kernel::Counted<FrameTextNode> ColouredText(Kernel::RectT<double> rect) {
    auto const text = MakeTextFrame(rect, "OneTwoSix");
    text->SetBrushFillDescriptor({});
    auto const story = text->GetMutableStory(true);
    for (std::uint32_t i = 0; i != 3; ++i) {
        float const grey = 0.3f * static_cast<float>(i);
        story->FormatText({3 * i, 3 * i + 3}, *Story::MakeDelta(Story::GlyphAtt::Object::Fill,
                                                                Kernel::MakeCounted<Renderer::FillDescriptor>(
                                                                    Renderer::Colour::FromGrey(grey))));
    }
    text->OnStoryChange(nullptr, true, Story::StoryChange(false), false);
    return text;
}

std::vector<float> GreysOf(Node const& parent) {
    std::vector<float> greys;
    for (auto const* piece : PiecesIn(parent))
        greys.push_back(piece->GetBrushFillDescriptor(true)->GetFill()->GetRepresentativeColour().GetComponents()[0]);
    return greys;
}

TEST(DividePlaces, LaterStretchesOfATextLandBelowEarlierOnesAndDoSoAgainOnRedo) {
    Scene scene;
    auto const text = ColouredText({10, 10, 400, 110});
    scene.Put(*scene.spread, {Named("below"), text, Named("above")});
    scene.Select({text});
    auto const before = scene.controller->GetHash(false);
    auto const command = Divide(scene);
    auto const after = scene.controller->GetHash(false);
    auto const greys = GreysOf(*scene.spread);
    ASSERT_LT(3u, greys.size());
    EXPECT_TRUE(std::is_sorted(greys.rbegin(), greys.rend())) << "the last stretch is the lowest";
    EXPECT_EQ(0, greys.back());
    EXPECT_FLOAT_EQ(0.6f, greys.front());
    EXPECT_EQ("below", scene.spread->GetFirstChild(NodeChildListType::Plain)->GetDescription(false).ToStdString());
    for (int round = 0; round != 2; ++round) {
        scene.controller->Undo();
        EXPECT_EQ(before, scene.controller->GetHash(false));
        scene.controller->Redo();
        EXPECT_EQ(after, scene.controller->GetHash(false));
        EXPECT_EQ(greys, GreysOf(*scene.spread));
    }
    auto const reloaded = Reload(scene, *command);
    auto const& spread = *reloaded.document->GetSpreads().front();
    for (int round = 0; round != 2; ++round) {
        reloaded.command->Undo();
        EXPECT_EQ("below", spread.GetFirstChild(NodeChildListType::Plain)->GetDescription(false).ToStdString());
        EXPECT_EQ(3u, spread.CountChildren(NodeChildListType::Plain));
        reloaded.command->Redo();
        EXPECT_EQ(greys, GreysOf(spread));
    }
}

TEST(DividePlaces, LinesStandAfterTheAreasOfTheirSource) {
    Scene scene;
    auto const shape = Box(0, 0, 40, 40);
    SetLine(*shape, 2);
    auto const line = OpenLine({{-10, 20}, {20, 20}});
    scene.PutAndSelect({shape, Box(30, -10, 60, 60), line});
    Divide(scene, true);
    std::string forms;
    for (auto const* piece : PiecesIn(*scene.spread)) {
        bool const isArea = piece->GetCurves()->HasClosedCurve();
        bool const ofShape = piece->GetLineStyleDescriptor() && piece->GetLineStyleDescriptor()->GetLineStyle() &&
                             piece->GetLineStyleDescriptor()->GetLineStyle()->GetWeightOrZero() == 2;
        forms += isArea ? (ofShape ? 'A' : 'a') : (ofShape ? 'L' : 'l');
    }
    EXPECT_EQ(std::string("Aaall"), forms);
}

// Fields in the order that the stored form prescribes, the base's behind them.
TEST(DividePlaces, FieldsAreWrittenInTheirOrder) {
    Scene scene;
    scene.PutAndSelect({Box(0, 0, 20, 20), Box(10, 10, 30, 30)});
    auto const command = Divide(scene);
    std::vector<std::string> tags;
    for (auto const& field : ListFields(SaveToMemory({command}))) {
        if (field.classTag == "DiSC")
            tags.push_back(field.tag);
    }
    std::vector<std::string> const expected = {"Vali", "IRec", "NewS", "OldS", "OldN", "OldP",
                                               "OldL", "NewN", "NewP", "NewL", "RetA", "OSCo"};
    ASSERT_LE(expected.size(), tags.size());
    tags.resize(expected.size());
    EXPECT_EQ(expected, tags);
}

TEST(DividePlaces, WithoutAMapTheObjectsLeaveAllTheSame) {
    Scene scene;
    auto const curves = Kernel::MakeCounted<Geometry::PolyCurveDbl>();
    auto const curve = Kernel::MakeCounted<Geometry::CurveDbl>();
    curve->MoveTo({std::numeric_limits<double>::infinity(), 0});
    curve->LineTo({1, 1});
    curve->LineTo({0, 1});
    curve->Close();
    curves->AddCurve(curve);
    auto const node = Kernel::MakeCounted<PolyCurveNode>();
    node->SetCurves(curves);
    SetFill(*node, 1, 0, 0);
    scene.PutAndSelect({node, Named("other")});
    scene.Select({node});
    auto const command = Divide(scene);
    EXPECT_TRUE(command->ShouldStackForUndo());
    EXPECT_EQ("other", ChildNames(*scene.spread));
    scene.controller->Undo();
    EXPECT_EQ(node.get(), scene.spread->GetFirstChild(NodeChildListType::Plain));
}

TEST(DividePlaces, ChildrenOfEveryListComeAlongButForShapesAndGroupsThatClipped) {
    Scene scene;
    auto const shape = Box(0, 0, 40, 40);
    for (int list = 0; list != c_childListCount; ++list)
        shape->InsertChild(static_cast<NodeChildListType>(list), Kernel::MakeCounted<RasterNode>(), nullptr);
    Clip(*shape, Box(0, 0, 30, 40));
    auto const group = NamedGroup("clip");
    scene.Put(*group, {Box(0, 0, 40, 30)});
    Clip(*shape, group);
    scene.PutAndSelect({shape, Box(10, 10, 20, 20)});
    Divide(scene);
    auto const* const piece = PiecesIn(*scene.spread).front();
    EXPECT_DOUBLE_EQ(30 * 30 - 10 * 10, AreaOf(*piece));
    for (int list = 0; list != c_childListCount; ++list) {
        auto const type = static_cast<NodeChildListType>(list);
        ASSERT_EQ(1u, piece->CountChildren(type)) << list;
        EXPECT_NE(nullptr, Kernel::CastPointer<RasterNode const>(piece->GetFirstChild(type))) << list;
        EXPECT_NE(shape->GetFirstChild(type), piece->GetFirstChild(type)) << "a copy";
    }
}

TEST(DividePlaces, PiecesOfAPictureShowIt) {
    Scene scene;
    auto const picture = Kernel::MakeCounted<ImageNode>();
    picture->SetImage(Kernel::MakeCounted<Raster::DynamicBitmap>(40, 30, Raster::FormatRGBA8), {});
    picture->SetTransform({2, 0, 10, 0, 2, 20}, false);
    scene.PutAndSelect({picture, Box(30, 0, 50, 200)});
    auto const before = scene.controller->GetHash(false);
    Divide(scene);
    auto const pieces = PiecesIn(*scene.spread);
    ASSERT_EQ(5u, pieces.size());
    EXPECT_DOUBLE_EQ(80 * 60 - 20 * 60, AreaOf(*pieces[0]) + AreaOf(*pieces[1]));
    for (int i : {0, 1}) {
        auto const* const piece = pieces[static_cast<std::size_t>(i)];
        auto const fill = Kernel::Cast<Renderer::BitmapFill const>(piece->GetBrushFillDescriptor(true)->GetFill());
        ASSERT_TRUE(fill);
        EXPECT_EQ(picture->GetImage(), fill->GetBitmap());
        EXPECT_EQ(picture->GetTransform(false, false), piece->GetTransform(false, false));
        EXPECT_TRUE(piece->GetBrushFillDescriptor(true)->GetTransform().IsIdentity());
    }
    scene.controller->Undo();
    EXPECT_EQ(before, scene.controller->GetHash(false));
}

TEST(DividePlaces, ThePictureOfAStepShowsWhatItTouched) {
    Scene scene;
    scene.PutAndSelect({Box(10, 20, 30, 40), Box(20, 20, 50, 60)});
    auto const command = Divide(scene);
    EXPECT_EQ((Kernel::RectT<double>{10, 20, 50, 60}), command->GenerateHistoryInterestingRect());
    EXPECT_EQ((Kernel::RectT<double>{10, 20, 50, 60}), scene.controller->GetHistoryInterestingRect());
}

} // namespace
