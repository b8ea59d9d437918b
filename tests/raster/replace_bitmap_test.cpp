// SPDX-License-Identifier: Apache-2.0
#include "platform/document/compound_command.h"
#include "raster/inflate_untrusted_raster_nodes_command.h"
#include "raster/replace_bitmap_command.h"

#include "frame/contract/notifications.h"
#include "platform/document/history.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "platform/raster/deduplication.h"
#include "tests/raster/layer_fixture.h"

#include <filesystem>
#include <limits>
#include <unistd.h>

namespace {

using namespace Commands;
using RGBA8 = Raster::FormatTraits<Raster::FormatRGBA8>;
using RGBAF = Raster::FormatTraits<Raster::FormatRGBAF>;

struct TwoLayerDocument : LayerDocument {
    TwoLayerDocument()
        : LayerDocument(Judge::RandomBitmap<RGBA8>(60, 40, 1), {1, 0, 10, 0, 1, 20}),
          second(Kernel::MakeCounted<RasterNode>()) {
        second->SetBitmap(Judge::RandomBitmap<RGBA8>(60, 40, 2));
        ExampleDocuments::Append(*controller->GetCurrentSpread(), second);
        ExampleDocuments::Select(*controller, {layer, second});
    }
    Kernel::Counted<RasterNode> second;
};

TEST(ReplaceBitmap, GivesEachLayerItsOwnBitmapBack) {
    TwoLayerDocument document;
    auto const first = document.layer->GetBitmap(), second = document.second->GetBitmap();
    auto const bitmap = Judge::RandomBitmap<RGBAF>(31, 17, 3);
    document.controller->Run(
        Kernel::MakeCounted<ReplaceBitmapCommand>(bitmap, document.controller->GetCurrentSelection()));
    for (int round = 0; round != 3; ++round) {
        EXPECT_EQ(bitmap, document.layer->GetBitmap());
        EXPECT_EQ(bitmap, document.second->GetBitmap());
        document.controller->Undo();
        EXPECT_TRUE(document.layer->GetBitmap()->GetBase()->HasEqualPixels(*first->GetBase()));
        EXPECT_TRUE(document.second->GetBitmap()->GetBase()->HasEqualPixels(*second->GetBase()));
        document.controller->Redo();
    }
}

TEST(ReplaceBitmap, InvalidatesWhatWasAndWhatIs) {
    TwoLayerDocument document;
    auto const command = Kernel::MakeCounted<ReplaceBitmapCommand>(
        Judge::RandomBitmap<RGBA8>(200, 10, 3),
        Kernel::MakeCounted<Selection>(std::vector<Kernel::Counted<Node>>{document.layer}));
    document.controller->Run(command);
    Kernel::NotificationList notifications;
    command->Notify(notifications);
    ASSERT_EQ(2u, notifications.size());
    auto const* const area = Kernel::CastPointer<InvalidateDocumentNotification>(notifications[0].get());
    ASSERT_NE(nullptr, area);
    ASSERT_EQ(2u, area->GetSpreadRects().GetRects().size());
    EXPECT_EQ((Kernel::RectT<double>{10, 20, 70, 60}), area->GetSpreadRects().GetRects()[0].rect);
    EXPECT_EQ((Kernel::RectT<double>{10, 20, 210, 30}), area->GetSpreadRects().GetRects()[1].rect);
    EXPECT_NE(nullptr, Kernel::CastPointer<NodesDataChangedNotification>(notifications[1].get()));
    EXPECT_FALSE(command->Clone());
    EXPECT_FALSE(command->ShouldStackForMacro());
}

TEST(ReplaceBitmap, OfAnUntrustedDocumentMustHaveTheLayersSize) {
    TwoLayerDocument document;
    auto const selection = document.controller->GetCurrentSelection();
    ReplaceBitmapCommand same(Judge::RandomBitmap<RGBAF>(60, 40, 3), selection);
    EXPECT_TRUE(same.ValidateUntrusted());
    EXPECT_EQ(0u, same.GetStatusFlags());
    ReplaceBitmapCommand other(Judge::RandomBitmap<RGBA8>(60, 41, 3), selection);
    EXPECT_FALSE(other.ValidateUntrusted());
    EXPECT_EQ(8u, other.GetStatusFlags());
    ReplaceBitmapCommand nothing({}, selection);
    EXPECT_FALSE(nothing.ValidateUntrusted());
    ReplaceBitmapCommand empty(Judge::RandomBitmap<RGBA8>(60, 41, 3), Kernel::MakeCounted<Selection>());
    EXPECT_TRUE(empty.ValidateUntrusted());
}

TEST(ReplaceBitmap, OfAnotherSizeIsRefusedWhenAnUntrustedDocumentIsOpenedAndDoneAgain) {
    auto const path = std::filesystem::temp_directory_path() / ("redraft-replace-" + std::to_string(getpid()));
    TwoLayerDocument document;
    document.controller->Run(Kernel::MakeCounted<ReplaceBitmapCommand>(Judge::RandomBitmap<RGBA8>(9, 9, 3),
                                                                       document.controller->GetCurrentSelection()));
    auto const after = document.controller->GetHash(false);
    document.controller->Undo();
    document.controller->Save(path);
    auto const untrusted = DocumentController::Open(path, false);
    auto const before = untrusted->GetHash(false);
    EXPECT_THROW(untrusted->Redo(), Kernel::Exception);
    EXPECT_EQ(before, untrusted->GetHash(false));
    auto const trusted = DocumentController::Open(path, true);
    trusted->Redo();
    EXPECT_EQ(after, trusted->GetHash(false));
    std::filesystem::remove(path);
}

TEST(ReplaceBitmap, DeduplicatesWhatItKeeps) {
    TwoLayerDocument document;
    document.second->SetBitmap(Judge::RandomBitmap<RGBA8>(60, 40, 1));
    auto const command = Kernel::MakeCounted<ReplaceBitmapCommand>(Judge::RandomBitmap<RGBA8>(60, 40, 1),
                                                                   document.controller->GetCurrentSelection());
    document.controller->Run(command);
    bool abort = true;
    Raster::BlockDeduplicationSupport support;
    command->Deduplicate(support, &abort);
    EXPECT_EQ(0u, support.GetSharedTiles());
    abort = false;
    command->Deduplicate(support, &abort);
    // Three bitmaps of the same pixels, four planes each; the first to be met stays.
    EXPECT_EQ(8u, support.GetSharedTiles());
}

TEST(ReplaceBitmap, SavingMakesStepsShareTheirPixels) {
    auto const path = std::filesystem::temp_directory_path() / ("redraft-share-" + std::to_string(getpid()));
    TwoLayerDocument document;
    auto const replaceBySame = [&] {
        auto const bitmap = Judge::RandomBitmap<RGBA8>(60, 40, 1);
        auto const compound = Kernel::MakeCounted<CompoundCommand>(false, true, true);
        compound->AppendCommand(
            Kernel::MakeCounted<ReplaceBitmapCommand>(bitmap, document.controller->GetCurrentSelection()));
        document.controller->Run(compound);
        return bitmap;
    };
    auto const first = replaceBySame(), second = replaceBySame();
    auto const share = [&](int plane) {
        return first->GetBase()->GetPlane(plane).GetConstTile(0, 0).SharesSamplesWith(
            second->GetBase()->GetPlane(plane).GetConstTile(0, 0));
    };
    EXPECT_FALSE(share(0));
    auto const hash = document.controller->GetHash(true);
    document.controller->Save(path);
    for (int plane = 0; plane != 4; ++plane)
        EXPECT_TRUE(share(plane));
    EXPECT_EQ(document.controller->GetHash(true), hash);
    EXPECT_EQ(DocumentController::Open(path, true)->GetHash(true), hash);
    std::filesystem::remove(path);
}

TEST(InflateUntrusted, MakesFloatsFiniteAndLevelsThatDrawingTakes) {
    auto const bitmap = Judge::RandomBitmap<RGBAF>(700, 300, 3, Raster::MipmapMode::Deferred);
    float const pixel[] = {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity(), 2, 1};
    bitmap->WritePixels({500, 200, 501, 201}, pixel, sizeof pixel);
    LayerDocument document(bitmap, {0.25, 0, 0, 0, 0.25, 0});
    auto expected = document.Read<RGBAF>();
    expected.At(0, 500, 200) = expected.At(1, 500, 200) = 0;
    auto const command =
        Kernel::MakeCounted<InflateUntrustedRasterNodesCommand>(document.controller->GetCurrentSelection());
    document.controller->Run(command);
    EXPECT_EQ(0u, Judge::CountDifferent(expected, document.Read<RGBAF>()));
    EXPECT_TRUE(document.layer->GetBitmap()->GetBase()->IsMipmapValid(2));
    EXPECT_FALSE(document.controller->CanUndo());
    EXPECT_FALSE(command->Clone());
    // Run again, it has nothing to do.
    auto const hash = document.controller->GetHash(false);
    document.controller->Run(
        Kernel::MakeCounted<InflateUntrustedRasterNodesCommand>(document.controller->GetCurrentSelection()));
    EXPECT_EQ(hash, document.controller->GetHash(false));
}

TEST(InflateUntrusted, NamesTheLayerWhosePixelsCannotBeRead) {
    class Missing final : public Kernel::BlobSource {
    public:
        bool Has(Kernel::BlobKey) const override { return true; }
        std::vector<std::byte> Get(Kernel::BlobKey) const override {
            throw Kernel::DamagedDataException("a tile is missing");
        }
    };
    auto const damaged = Kernel::MakeCounted<Raster::DynamicBitmap>(20, 20, Raster::FormatA8);
    Kernel::BlobKey key;
    key.bytes[0] = std::byte(1);
    damaged->GetMutableBase().GetPlane(0) =
        Raster::RegionBase::FromKeys(1, 20, 20, {&key, 1}, Kernel::MakeCounted<Missing>());
    LayerDocument document(damaged);
    document.layer->SetUserDescription("Holiday");
    try {
        document.controller->Run(
            Kernel::MakeCounted<InflateUntrustedRasterNodesCommand>(document.controller->GetCurrentSelection()));
        FAIL();
    } catch (Kernel::DamagedDataException const& damage) {
        EXPECT_STREQ("layer Holiday: a tile is missing", damage.what());
    }
}

TEST(InflateUntrusted, OffersWhatIsEmptyToo) {
    LayerDocument document(Judge::RandomBitmap<RGBA8>(6, 4, 1));
    UpdateTransformedRasterNodesVisitor visitor(document.controller);
    EXPECT_FALSE(visitor.Visit(Kernel::NonCounted<Kernel::Countable>()));
    EXPECT_TRUE(visitor.Visit(Kernel::NonCounted<Kernel::Countable>(document.layer.get())));
}

} // namespace
