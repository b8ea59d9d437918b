// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/bitmap.h"

#include "engine/raster/hardware_state.h"
#include "engine/raster/interleave.h"
#include "engine/raster/mipmaps.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <unordered_set>

namespace Raster {

namespace {

FormatInfo CheckFormat(Format format) {
    FormatInfo const info = GetFormatInfo(format);
    if (info.channelCount == 0)
        throw Kernel::Exception("there are no bitmaps of this pixel format");
    return info;
}

} // namespace

BitmapBase::BitmapBase(int width, int height, Format format, MipmapMode mipmaps, HardwareCachePolicy policy)
    : m_info(CheckFormat(format)), m_width(width), m_height(height), m_mipmapMode(mipmaps), m_policy(policy) {
    CheckBitmapSize(width, height);
    m_planes.reserve(static_cast<std::size_t>(m_info.channelCount));
    for (int channel = 0; channel != m_info.channelCount; ++channel)
        m_planes.emplace_back(m_info.sampleBytes, width, height, 0);
    m_mipmaps = std::make_unique<Mipmaps>(*this);
    m_hardware = std::make_shared<HardwareState>();
}

BitmapBase::BitmapBase(BitmapBase const& other)
    : Countable(),
      m_info(other.m_info),
      m_width(other.m_width),
      m_height(other.m_height),
      m_mipmapMode(other.m_mipmapMode),
      m_policy(other.m_policy),
      m_planes(other.m_planes),
      m_mipmaps(std::make_unique<Mipmaps>(*other.m_mipmaps)),
      m_hardware(std::make_shared<HardwareState>()) {}

BitmapBase::~BitmapBase() = default;

Kernel::Counted<BitmapBase> BitmapBase::Create(int width, int height, Format format, MipmapMode mipmaps,
                                               HardwareCachePolicy policy) {
    CheckFormat(format);
    Kernel::Counted<BitmapBase> bitmap;
    VisitFormat(format, [&](auto traits) {
        bitmap = Kernel::MakeCounted<typename decltype(traits)::BitmapType>(width, height, mipmaps, policy);
    });
    return bitmap;
}

Kernel::Counted<BitmapBase> BitmapBase::Clone(bool* abort) const {
    Kernel::Counted<BitmapBase> bitmap;
    VisitFormat(GetFormat(), [&](auto traits) {
        bitmap = static_cast<typename decltype(traits)::BitmapType const&>(*this).Clone(abort);
    });
    return bitmap;
}

bool BitmapBase::IsPendingDelayLoad() const {
    return std::any_of(m_planes.begin(), m_planes.end(),
                       [](RegionBase const& plane) { return plane.IsPendingDelayLoad(); });
}

void BitmapBase::ForceDelayLoad(bool* abort) const {
    // Equal tiles are one block and are read once.
    std::vector<Tile> pending;
    std::unordered_set<TileBlock*> met;
    for (RegionBase const& plane : m_planes) {
        if (!plane.IsPendingDelayLoad())
            continue;
        RegionBase const snapshot(plane);
        snapshot.ForEachTile([&](Tile const& tile, int, int) {
            if (tile.IsPendingDelayLoad() && met.insert(tile.GetBlock()).second)
                pending.push_back(tile);
        });
    }
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    Kernel::ParallelFor(pending.size(), [&](std::size_t index) {
        if (!flag.IsAborted())
            pending[index].Load();
    });
}

bool BitmapBase::HoldsMipmapsOnly() const {
    if (!IsPendingDelayLoad())
        return false;
    for (int level = 1; level <= GetMipmapLevels(); ++level) {
        if (GetMipmap(level))
            return true;
    }
    return false;
}

void BitmapBase::ReleaseLoadedTiles() {
    for (RegionBase& plane : m_planes)
        plane.ReleaseLoadedTiles();
}

void BitmapBase::CheckRect(Kernel::RectT<int> const& rect) const {
    if (rect.left < 0 || rect.top < 0 || rect.right > m_width || rect.bottom > m_height || rect.left > rect.right ||
        rect.top > rect.bottom)
        throw Kernel::Exception("pixels outside their bitmap were asked for");
}

void BitmapBase::ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const {
    CheckRect(rect);
    ForEachBlock(rect, m_info, pixels, rowBytes, [&](Kernel::RectT<int> const& block, PlanarScratch& scratch) {
        for (int channel = 0; channel != m_info.channelCount; ++channel)
            GetPlane(channel).ReadSamples(block, scratch.GetPlane(channel), scratch.GetRowBytes());
        scratch.Interleave(block);
    });
}

void BitmapBase::WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes) {
    CheckRect(rect);
    ForEachBlock(rect, m_info, const_cast<void*>(pixels), rowBytes,
                 [&](Kernel::RectT<int> const& block, PlanarScratch& scratch) {
                     scratch.Deinterleave(block);
                     for (int channel = 0; channel != m_info.channelCount; ++channel)
                         GetPlane(channel).WriteSamples(block, scratch.GetPlane(channel), scratch.GetRowBytes());
                 });
    FinishChange(rect);
}

DynamicPixel BitmapBase::GetPixel(int x, int y) const {
    CheckRect({x, y, x + 1, y + 1});
    DynamicPixel pixel(GetFormat());
    for (int channel = 0; channel != m_info.channelCount; ++channel) {
        std::uint32_t bits = 0;
        GetPlane(channel).ReadSamples({x, y, x + 1, y + 1}, &bits, sizeof bits);
        pixel.SetSample(channel, FromSampleBits(bits, m_info));
    }
    return pixel;
}

void BitmapBase::Fill(Kernel::RectT<int> const& rect, DynamicPixel const& pixel) {
    auto const clipped = rect.Intersected(GetBounds());
    DynamicPixel const converted = pixel.Converted(GetFormat());
    for (int channel = 0; channel != m_info.channelCount; ++channel)
        GetPlane(channel).FillSamples(clipped, ToSampleBits(converted.GetSample(channel), m_info));
    FinishChange(clipped);
}

void BitmapBase::Copy(BitmapBase const& source, Kernel::RectT<int> rect, Kernel::PointT<int> to, int channels) {
    if (source.GetFormat() != GetFormat())
        throw Kernel::Exception("bitmaps of different formats cannot be copied without conversion");
    // In 64 bits: the offset of two ints may not fit into one.
    std::int64_t const dx = std::int64_t(to.x) - rect.left, dy = std::int64_t(to.y) - rect.top;
    Kernel::RectT<std::int64_t> const wanted{rect.left, rect.top, rect.right, rect.bottom};
    auto const inside = wanted.Intersected({0, 0, source.m_width, source.m_height})
                            .Intersected({-dx, -dy, m_width - dx, m_height - dy});
    if (inside.IsEmpty())
        return;
    rect = {static_cast<int>(inside.left), static_cast<int>(inside.top), static_cast<int>(inside.right),
            static_cast<int>(inside.bottom)};
    to = {static_cast<int>(inside.left + dx), static_cast<int>(inside.top + dy)};
    for (int channel = 0; channel != m_info.channelCount; ++channel) {
        if (channels >> channel & 1)
            GetPlane(channel).CopySamples(source.GetPlane(channel), rect, to);
    }
    FinishChange({to.x, to.y, to.x + rect.GetWidth(), to.y + rect.GetHeight()});
}

void BitmapBase::FinishChange(Kernel::RectT<int> const& changed) {
    MarkMipmapsDirty(changed);
    if (m_mipmapMode == MipmapMode::Immediate)
        UpdateMipmaps(0, nullptr);
}

bool BitmapBase::HasEqualPixels(BitmapBase const& other) const {
    if (GetFormat() != other.GetFormat() || GetSize() != other.GetSize())
        return false;
    for (int channel = 0; channel != m_info.channelCount; ++channel) {
        RegionBase const mine(GetPlane(channel)), theirs(other.GetPlane(channel));
        for (int tileY = 0; tileY != mine.GetTilesDown(); ++tileY) {
            for (int tileX = 0; tileX != mine.GetTilesAcross(); ++tileX) {
                Tile const &a = mine.PeekTile(tileX, tileY), &b = theirs.PeekTile(tileX, tileY);
                int const width = mine.GetTileWidth(tileX), height = mine.GetTileHeight(tileY);
                if (!a.SharesSamplesWith(b) && a.GetKey(width, height) != b.GetKey(width, height))
                    return false;
            }
        }
    }
    return true;
}

int BitmapBase::GetMipmapLevels() const { return m_mipmaps->GetLevels(); }
Kernel::Counted<BitmapBase const> BitmapBase::GetMipmap(int level) const { return m_mipmaps->Get(level); }
bool BitmapBase::IsMipmapValid(int level) const { return m_mipmaps->IsValid(level); }
Kernel::RectT<int> BitmapBase::GetMipmapDirtyRect(int level) const { return m_mipmaps->GetDirtyRect(level); }
void BitmapBase::UpdateMipmaps(int level, bool* abort) const { m_mipmaps->Update(*this, level, abort); }
void BitmapBase::ForgetMipmaps() { m_mipmaps->Forget(); }
void BitmapBase::MarkMipmapsDirty(Kernel::RectT<int> const& changed) {
    m_mipmaps->MarkDirty(changed.Intersected(GetBounds()));
}

} // namespace Raster
