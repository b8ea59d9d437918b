// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/picture_limits.h"
#include "platform/kernel/dispatch.h"
#include "platform/learning/back_ends.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

constexpr int c_bandRows = Raster::c_tileSide;

// Rows are read as they are asked for: what is still in the document's store is loaded band by band, so that a cancel
// ends it. False when it was cancelled.
bool FillPicture(Raster::BitmapBase const& image, Raster::PixelConverter const& converter, Raster::BufferRGBA8& picture,
                 InferenceCall const& call) {
    int const width = image.GetWidth(), height = image.GetHeight();
    // Taken once, before threads share it.
    auto* const block = static_cast<std::byte*>(picture.GetBuffer());
    std::atomic<bool> isCancelled{false};
    Kernel::ParallelFor(static_cast<std::size_t>((height + c_bandRows - 1) / c_bandRows), [&](std::size_t index) {
        if (call.IsCancelled())
            isCancelled = true;
        if (isCancelled)
            return;
        int const top = static_cast<int>(index) * c_bandRows, rows = std::min(c_bandRows, height - top);
        Kernel::Counted<Raster::BufferRGBA8> const band(new Raster::BufferRGBA8(width, rows));
        Raster::ConvertPixels(image, {0, top, width, top + rows}, *band, converter);
        auto const& constBand = *band;
        for (int channel = 0; channel != 4; ++channel)
            std::memcpy(block + static_cast<std::size_t>(channel) * picture.GetPlaneBytes() +
                            static_cast<std::size_t>(top) * picture.GetRowBytes(),
                        constBand.GetRow(channel, 0), static_cast<std::size_t>(rows) * picture.GetRowBytes());
    });
    return !isCancelled;
}

template <class Sample>
Sample Scale(Sample alpha, std::uint8_t share) {
    if constexpr (std::is_floating_point_v<Sample>)
        return alpha * (static_cast<float>(share) / 255.0f);
    else
        return static_cast<Sample>((std::uint32_t(alpha) * share + 127u) / 255u);
}

enum class Content { AllSubject, AllGround, Mixed };

Content GetContent(Matte const& matte, Kernel::RectT<int> const& rect) {
    std::uint8_t const first = matte.GetRow(0, rect.top)[rect.left];
    if (first != 0 && first != 255)
        return Content::Mixed;
    for (int y = rect.top; y != rect.bottom; ++y) {
        auto const* const row = matte.GetRow(0, y);
        if (!std::all_of(row + rect.left, row + rect.right, [first](std::uint8_t share) { return share == first; }))
            return Content::Mixed;
    }
    return first == 0 ? Content::AllGround : Content::AllSubject;
}

template <class Sample>
void ScaleTile(Raster::Tile& tile, Matte const& matte, Kernel::RectT<int> const& rect) {
    auto* const samples = static_cast<Sample*>(tile.GetMutableBuffer());
    for (int y = rect.top; y != rect.bottom; ++y) {
        auto* const row = samples + (y - rect.top) * Raster::c_tileSide;
        auto const* const shares = matte.GetRow(0, y) + rect.left;
        for (int x = 0; x != rect.GetWidth(); ++x)
            row[x] = Scale(row[x], shares[x]);
    }
}

void ScaleTile(Raster::Tile& tile, Raster::FormatInfo const& format, Matte const& matte,
               Kernel::RectT<int> const& rect) {
    if (format.isFloat)
        ScaleTile<float>(tile, matte, rect);
    else if (format.sampleBytes == 2)
        ScaleTile<std::uint16_t>(tile, matte, rect);
    else
        ScaleTile<std::uint8_t>(tile, matte, rect);
}

// Tiles whose alpha does not change stay shared with the image. False when it was cancelled, with part of it done.
bool ScaleAlpha(Raster::BitmapBase& bitmap, Matte const& matte, InferenceCall const& call) {
    auto const& format = bitmap.GetInfo();
    auto& alpha = bitmap.GetPlane(format.channelCount - 1);
    auto const across = static_cast<std::size_t>(alpha.GetTilesAcross());
    std::atomic<bool> isCancelled{false}, hasChanged{false};
    Kernel::ParallelFor(across * static_cast<std::size_t>(alpha.GetTilesDown()), [&](std::size_t index) {
        if (call.IsCancelled())
            isCancelled = true;
        if (isCancelled)
            return;
        int const tileX = static_cast<int>(index % across), tileY = static_cast<int>(index / across);
        int const left = tileX * Raster::c_tileSide, top = tileY * Raster::c_tileSide;
        Kernel::RectT<int> const rect{left, top, left + alpha.GetTileWidth(tileX), top + alpha.GetTileHeight(tileY)};
        auto const content = GetContent(matte, rect);
        if (content == Content::AllSubject || alpha.GetConstTile(tileX, tileY).GetConstant() == 0u)
            return;
        hasChanged = true;
        if (content == Content::AllGround) {
            alpha.GetMutableTile(tileX, tileY) = Raster::Tile(format.sampleBytes);
            return;
        }
        struct Unpin {
            Raster::RegionBase& plane;
            Raster::Tile& tile;
            ~Unpin() { plane.UnpinMutableTile(tile); }
        } const pinned{alpha, alpha.PinMutableTile(tileX, tileY)};
        ScaleTile(pinned.tile, format, matte, rect);
    });
    if (hasChanged)
        bitmap.FinishChange(bitmap.GetBounds());
    return !isCancelled;
}

} // namespace

Result MatteRemover::RemoveBackground(Kernel::Counted<Raster::DynamicBitmap const> image,
                                      Raster::ICCProfileSet const& profiles,
                                      Kernel::Counted<Raster::DynamicBitmap>& answer, InferenceCall const& call) {
    Result const cancelled{RemoteInference::Cancelled, "cancelled"};
    auto const& base = *image->GetBase();
    if (std::int64_t(base.GetWidth()) * base.GetHeight() > c_maximumSentPixels)
        return {RemoteInference::TooLarge, "the picture has more than 128 million pixels"};
    auto profile = image->GetProfile();
    if (!profile)
        profile = profiles.Get(base.GetInfo().colourModel);
    auto& manager = Raster::ICCManager::GetInstance();
    auto const converter = manager.MakeConverter(base.GetFormat(), profile, Raster::FormatRGBA8,
                                                 manager.GetDefaultProfile(Raster::ColourModel::RGB));
    Kernel::Counted<Raster::BufferRGBA8> const picture(new Raster::BufferRGBA8(base.GetWidth(), base.GetHeight()));
    if (!FillPicture(base, *converter, *picture, call))
        return cancelled;
    Kernel::Counted<Matte> const matte(new Matte(base.GetWidth(), base.GetHeight()));
    if (auto result = FindMatte(*picture, *matte, call); result.code != RemoteInference::Answered)
        return result;
    auto const copy = image->CloneDerived(nullptr);
    if (!ScaleAlpha(copy->GetMutableBase(), *matte, call))
        return cancelled;
    answer = copy;
    return {};
}

} // namespace Learning
