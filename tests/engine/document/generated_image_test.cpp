// SPDX-License-Identifier: Apache-2.0
#include "platform/document/generated_image_node.h"

#include "platform/document/common_property_collections.h"
#include "platform/document/document_renderer.h"
#include "platform/document/edit_journal.h"
#include "platform/document/generations_property.h"
#include "platform/document/set_chosen_generation_command.h"
#include "tests/engine/document/doubles.h"
#include "tests/support/stored_graph.h"

#include <gtest/gtest.h>

namespace {

using Generation = GenerativeInterface::Generation;
using Collections = Kernel::PropertyCollectionBase;

Kernel::Counted<Raster::DynamicBitmap> MakeImage(int width, int height, Raster::Format format, double first) {
    auto const image = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, format);
    Raster::DynamicPixel pixel(format);
    auto const count = Raster::GetFormatInfo(format).channelCount;
    pixel.SetSample(0, first);
    pixel.SetSample(count - 1, 200);
    image->Clear(pixel);
    return image;
}

Kernel::Consolidated<Raster::ICCProfile> GetSRGB() {
    return Raster::ICCManager::GetInstance().GetProfileForString("sRGB IEC61966-2.1");
}

Kernel::Counted<GeneratedImageNode> MakeNode() {
    auto const node = Kernel::MakeCounted<GeneratedImageNode>();
    node->SetGenerations({Generation("one", MakeImage(20, 10, Raster::FormatRGBA8, 10), GetSRGB(), {}),
                          Generation("two", MakeImage(40, 30, Raster::FormatRGBA8, 90), GetSRGB(), {})});
    return node;
}

Kernel::Counted<Raster::DynamicBitmap> MakeMask(int width, int height, Raster::Format format, double value) {
    auto const mask = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, format);
    Raster::DynamicPixel pixel(format);
    pixel.SetSample(0, value);
    mask->Clear(pixel);
    return mask;
}

std::string SaveToMemory(DocumentController& document, std::string const& name) {
    auto const path = testing::TempDir() + name;
    document.Save(path);
    return path;
}

TEST(GeneratedImage, OtherGenerationsBeginWithTheFirstOneChosen) {
    auto const node = MakeNode();
    node->SetChosenGeneration(1);
    node->SetGenerations(node->GetGenerations());
    EXPECT_EQ(0u, node->GetChosenGeneration());
}

TEST(GeneratedImage, ANewNodeShowsNothingAndSaysItsKind) {
    auto const node = Kernel::MakeCounted<GeneratedImageNode>();
    EXPECT_EQ(nullptr, node->FindChosenGeneration());
    EXPECT_FALSE(node->GetShownBitmap());
    EXPECT_EQ(Kernel::RectT<double>(), node->GetBaseBox(true));
    EXPECT_EQ("Generated image", node->GetDescription(true).view());
    EXPECT_EQ("", node->GetDescription(false).view());
    EXPECT_THROW(node->SetChosenGeneration(0), Kernel::Exception);
}

TEST(GeneratedImage, TheChosenGenerationIsTheBoxAndTheBitmap) {
    auto const node = MakeNode();
    node->SetTransform({1, 0, 5, 0, 1, 7}, false);
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 20, 10}), node->GetBaseBox(true));
    node->SetChosenGeneration(1);
    EXPECT_EQ((Kernel::RectT<double>{0, 0, 40, 30}), node->GetBaseBox(false));
    EXPECT_EQ((Kernel::RectT<double>{5, 7, 45, 37}), node->GetBounds(true));
    EXPECT_EQ(90, node->GetShownBitmap()->GetBase()->GetPixel(3, 3).GetSample(0));
    EXPECT_THROW(node->SetChosenGeneration(2), Kernel::Exception);
    EXPECT_EQ(1u, node->GetChosenGeneration());
    node->SetGenerations({node->GetGenerations().front()});
    EXPECT_EQ(0u, node->GetChosenGeneration());
}

TEST(GeneratedImage, AMaskOfAnyDepthHidesAlphaWhereItIs) {
    auto const node = MakeNode();
    auto const image = node->GetGenerations().front().GetImage();
    node->SetGenerationMask(MakeMask(20, 10, Raster::FormatA8, 255));
    EXPECT_EQ(image, node->GetShownBitmap());
    node->SetGenerationMask(MakeMask(8, 4, Raster::FormatA16, 65535.0 / 2));
    auto const shown = node->GetShownBitmap();
    EXPECT_EQ(100, shown->GetBase()->GetPixel(7, 3).GetSample(3));
    EXPECT_EQ(10, shown->GetBase()->GetPixel(7, 3).GetSample(0));
    EXPECT_EQ(200, shown->GetBase()->GetPixel(8, 3).GetSample(3));
    EXPECT_EQ(200, image->GetBase()->GetPixel(7, 3).GetSample(3));
    EXPECT_EQ(shown, node->GetShownBitmap());
    EXPECT_THROW(node->SetGenerationMask(MakeImage(8, 4, Raster::FormatRGBA8, 0)), Kernel::Exception);
}

TEST(GeneratedImage, AGenerationKeepsItsProfileAndConvertsIntoASet) {
    Generation generation("a text", MakeImage(4, 4, Raster::FormatRGBA8, 255), GetSRGB(), {2, 0, 1, 0, 2, 1});
    EXPECT_EQ(GetSRGB(), generation.GetProfile());
    EXPECT_EQ((Kernel::RectT<double>{1, 1, 9, 9}), generation.GetBox());
    generation.ConvertFormatOrProfile(Raster::FormatCMYKA8, {});
    auto const pixel = generation.GetImage()->GetBase()->GetPixel(1, 1);
    EXPECT_EQ(Raster::FormatCMYKA8, pixel.GetFormat());
    EXPECT_EQ(0, pixel.GetSample(0));
    EXPECT_EQ(255, pixel.GetSample(1));
    EXPECT_EQ(200, pixel.GetSample(4));
    EXPECT_EQ("a text", generation.GetPrompt().view());
    EXPECT_THROW(generation.ConvertFormatOrProfile(Raster::FormatNone, {}), Kernel::Exception);
    EXPECT_THROW(Generation("", nullptr, GetSRGB(), {}), Kernel::Exception);
    EXPECT_THROW(Generation("", MakeImage(4, 4, Raster::FormatIA8, 1), GetSRGB(), {}), Kernel::Exception);
}

Kernel::Counted<Raster::DynamicBitmap> Draw(Kernel::Counted<Node> const& node) {
    auto const document = Doubles::MakeDocument();
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
    auto picture = Kernel::MakeCounted<Raster::DynamicBitmap>(100, 200, Raster::FormatRGBA8);
    MakeSpreadPicture(*document->GetCurrentSpread(), {})->Render([&](Raster::BufferBase const& rows, int top) {
        Raster::ConvertPixels(rows, picture->GetMutableBase(), {0, top},
                              *Raster::PixelConverter::MakePlain(rows.GetFormat(), Raster::FormatRGBA8));
        return true;
    });
    return picture;
}

TEST(GeneratedImage, IsDrawnAsALayerOfTheShownPixelsWouldBe) {
    auto const node = MakeNode();
    auto second = node->GetGenerations()[1];
    node->SetGenerations(
        {node->GetGenerations()[0], Generation("two", second.GetImage(), GetSRGB(), {2, 0, 3, 0, 2, 4})});
    node->SetChosenGeneration(1);
    node->SetGenerationMask(MakeMask(25, 20, Raster::FormatA8, 70));
    node->SetTransform({0.8, -0.3, 20, 0.3, 0.8, 10}, false);
    node->SetOpacity(0.7);
    auto const layer = Kernel::MakeCounted<RasterNode>();
    layer->SetBitmap(node->GetShownBitmap());
    layer->SetTransform(node->GetMatrix() * node->GetShownTransform(), false);
    layer->SetOpacity(0.7);
    auto const drawn = Draw(node);
    EXPECT_TRUE(drawn->GetBase()->HasEqualPixels(*Draw(layer)->GetBase()));
    EXPECT_FALSE(drawn->GetBase()->HasEqualPixels(*Draw(Kernel::MakeCounted<GeneratedImageNode>())->GetBase()));
}

TEST(GeneratedImage, ACopyHasAllPicturesAndTheChoice) {
    auto const node = MakeNode();
    node->SetChosenGeneration(1);
    node->SetUserDescription("whale");
    CloneContext context(CloneType::Copy);
    auto const copy = Kernel::Cast<GeneratedImageNode>(node->Clone(context));
    ASSERT_TRUE(copy);
    EXPECT_EQ(node->GetGenerations(), copy->GetGenerations());
    EXPECT_EQ(1u, copy->GetChosenGeneration());
    EXPECT_EQ("whale", copy->GetDescription(true).view());
    copy->SetChosenGeneration(0);
    EXPECT_EQ(1u, node->GetChosenGeneration());
}

TEST(GeneratedImage, AnotherGenerationIsOneStepThatIsTakenBackInAnotherProcess) {
    auto const document = Doubles::MakeDocument();
    auto const node = MakeNode();
    document->GetCurrentSpread()->InsertChild(NodeChildListType::Plain, node, nullptr);
    Kernel::Counted<Selection const> const both =
        Kernel::MakeCounted<Selection const>(std::vector<Kernel::Counted<Node>>{node});
    auto const before = document->GetHash(false);
    document->Run(Kernel::MakeCounted<SetChosenGenerationCommand>(2u, both));
    EXPECT_FALSE(document->GetLastResult().stacked);
    document->Run(Kernel::MakeCounted<SetChosenGenerationCommand>(1u, both));
    EXPECT_EQ(1u, node->GetChosenGeneration());
    EXPECT_TRUE(document->GetLastResult().stacked);
    auto const loaded = DocumentController::Open(SaveToMemory(*document, "chosen.redraft"), true);
    EXPECT_EQ(document->GetHash(false), loaded->GetHash(false));
    loaded->Undo();
    EXPECT_EQ(before, loaded->GetHash(false));
}

TEST(PropertyCollections, ATreeIsReadBackFromAFile) {
    auto const document = Doubles::MakeDocument();
    constexpr auto c_uid = CommonPropertyCollections::tagCollectionGenerationsUID;
    auto const before = document->GetHash(false);
    EXPECT_FALSE(CommonPropertyCollections::Find(*document, c_uid));
    EXPECT_FALSE(CommonPropertyCollections::MakeMutableSession({}, c_uid));
    auto const session = CommonPropertyCollections::MakeMutableSession(document, c_uid);
    ASSERT_TRUE(session);
    auto const collection = session.GetPropertyCollection();
    EXPECT_EQ(collection, CommonPropertyCollections::MakeMutableSession(document, c_uid).GetPropertyCollection());
    auto const property = Kernel::MakeCounted<GenerationsProperty>(Kernel::Counted<Node const>(MakeNode()),
                                                                   Raster::FormatRGBA16, Raster::ICCProfileSet());
    auto const branch = collection->AddNode(collection->GetRootNode(), "branch");
    auto const leaf = collection->AddLeaf(branch, "", property);
    EXPECT_THROW(collection->AddLeaf(leaf, "below", property), Kernel::Exception);
    EXPECT_THROW(collection->AddLeaf(branch, "none", nullptr), Kernel::Exception);
    EXPECT_THROW(collection->GetName(static_cast<Collections::PropertyNode>(3)), Kernel::Exception);
    EXPECT_NE(before, document->GetHash(false));

    auto const loaded = DocumentController::Open(SaveToMemory(*document, "collection.redraft"), true);
    EXPECT_EQ(document->GetHash(false), loaded->GetHash(false));
    auto const found = CommonPropertyCollections::Find(*loaded, c_uid);
    ASSERT_TRUE(found);
    auto const branches = found->GetChildren(found->GetRootNode());
    ASSERT_EQ(1u, branches.size());
    EXPECT_EQ("branch", found->GetName(branches.front()).view());
    EXPECT_FALSE(found->GetProperty(branches.front()));
    auto const leaves = found->GetChildren(branches.front());
    ASSERT_EQ(1u, leaves.size());
    auto const read = Kernel::Cast<GenerationsProperty const>(found->GetProperty(leaves.front()));
    ASSERT_TRUE(read);
    EXPECT_EQ(Raster::FormatRGBA16, read->GetFormat());
    EXPECT_EQ(Raster::ICCProfileSet(), read->GetProfiles());
    auto const* const node = Kernel::CastPointer<GeneratedImageNode const>(read->GetNode().get());
    ASSERT_NE(nullptr, node);
    EXPECT_EQ("two", node->GetGenerations()[1].GetPrompt().view());
}

TEST(PropertyCollections, AStepThatFailsLeavesNothing) {
    auto const document = Doubles::MakeDocument();
    constexpr auto c_uid = CommonPropertyCollections::tagCollectionGenerationsUID;
    auto const property = Kernel::MakeCounted<GenerationsProperty>(Kernel::Counted<Node const>(MakeNode()),
                                                                   Raster::FormatRGBA16, Raster::ICCProfileSet());
    auto const add = [&] {
        auto const session = CommonPropertyCollections::MakeMutableSession(document, c_uid);
        auto const collection = session.GetPropertyCollection();
        collection->AddLeaf(collection->GetRootNode(), "", property);
    };
    auto const addAndFail = [&] {
        EditJournal::RunOrRollBack([&] {
            add();
            throw Kernel::Exception("no more");
        });
    };
    auto const before = document->GetHash(false);
    EXPECT_THROW(addAndFail(), Kernel::Exception);
    EXPECT_EQ(before, document->GetHash(false));
    add();
    auto const one = document->GetHash(false);
    EXPECT_NE(before, one);
    EXPECT_THROW(addAndFail(), Kernel::Exception);
    EXPECT_EQ(one, document->GetHash(false));
}

TEST(PropertyCollections, ADocumentThatKeepsOneOfItsOwnNodesAsGeneratedIsRefused) {
    auto const document = Doubles::MakeDocument();
    Kernel::Counted<Node const> const spread(document->GetCurrentSpread().get());
    auto const collection =
        CommonPropertyCollections::MakeMutableSession(document, CommonPropertyCollections::tagCollectionGenerationsUID)
            .GetPropertyCollection();
    collection->AddLeaf(collection->GetRootNode(), "",
                        Kernel::MakeCounted<GenerationsProperty>(spread, Raster::FormatRGBA8, Raster::ICCProfileSet()));
    EXPECT_THROW(DocumentController::Open(SaveToMemory(*document, "kept.redraft"), true), Kernel::DamagedDataException);
}

} // namespace
