// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/stored_profile.h"
#include "engine/raster/tile_block.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/hashed_by_content.h"
#include "platform/kernel/in_serialiser.h"
#include "platform/kernel/out_serialiser.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>

namespace Raster {

namespace {

constexpr Kernel::PropType c_int = Kernel::PropTraits<int>::c_type;
constexpr Kernel::PropType c_key = Kernel::PropTraits<Kernel::BlobKey>::c_type;

void SaveTile(Tile const& tile, TileKey const& key, int width, int height, BlobStore& store,
              std::vector<std::byte>& scratch) {
    if (IsConstantKey(key) || store.Keep(key, tile.GetBlock()->GetSource().get()))
        return;
    store.Put(GetCanonicalBytes(tile, width, height, scratch));
}

// The keys of a plane's tiles. A tile that is written to meanwhile by another thread has no defined content; snapshot
// regions see to it that key and bytes are of one content nevertheless.
void SavePlane(RegionBase const& plane, BlobStore& store, std::vector<TileKey>& keys) {
    RegionBase const snapshot(plane);
    std::vector<std::byte> scratch;
    for (int tileY = 0; tileY != snapshot.GetTilesDown(); ++tileY) {
        for (int tileX = 0; tileX != snapshot.GetTilesAcross(); ++tileX) {
            Tile const& tile = snapshot.PeekTile(tileX, tileY);
            int const width = snapshot.GetTileWidth(tileX), height = snapshot.GetTileHeight(tileY);
            keys.push_back(tile.GetKey(width, height));
            if (store.TakesValues())
                SaveTile(tile, keys.back(), width, height, store, scratch);
        }
    }
}

void SaveInt(Kernel::OutSerialiser& out, Kernel::IDTag tag, int value) {
    out.SaveTypeI(tag, c_int, &value, sizeof value);
}

int LoadInt(Kernel::InSerialiser const& in, Kernel::IDTag tag, int missing) {
    int value = missing;
    return in.LoadTypeI(tag, c_int, &value, sizeof value) ? value : missing;
}

std::vector<TileKey> LoadKeys(Kernel::InSerialiser const& in, FormatInfo const& info, int width, int height) {
    std::size_t count = 0;
    void const* const bytes = in.LoadTypeArrayI("Tile", c_key, sizeof(TileKey), count);
    auto const tiles = [](int side) { return (static_cast<std::size_t>(side) + c_tileSide - 1) / c_tileSide; };
    if (count != tiles(width) * tiles(height) * static_cast<std::size_t>(info.channelCount))
        throw Kernel::DamagedDataException("a bitmap's tile list is damaged");
    std::vector<TileKey> keys(count);
    std::memcpy(keys.data(), bytes, count * sizeof(TileKey));
    return keys;
}

} // namespace

Kernel::Counted<Kernel::Serialisable> DynamicBitmap::CreateObject() { return Kernel::MakeCounted<DynamicBitmap>(); }

Kernel::ClassProperties const* DynamicBitmap::GetTypeClassProperties() {
    static Kernel::ClassProperties const s_properties("RBmp", &DynamicBitmap::CreateObject, 1, nullptr, nullptr,
                                                      "DynamicBitmap");
    return &s_properties;
}

static Kernel::ClassPropertiesBase::Init const s_registration(DynamicBitmap::GetTypeClassProperties());
static Kernel::HashedByContent const s_value(DynamicBitmap::GetTypeClassProperties());

// Mipmaps are made again from the pixels and are not saved. Their mode and the cache policy say how pixels are kept,
// not what they are: they are no part of a document's equality.
void DynamicBitmap::Save(Kernel::OutSerialiser& out) const {
    // A pass that gathers file paths must not compute keys.
    if (!Kernel::SerialiserAccess::IsFullSave(out))
        return;
    SaveInt(out, "Form", GetFormat());
    if (!m_bitmap)
        return;
    SaveInt(out, "Widt", GetWidth());
    SaveInt(out, "Heig", GetHeight());
    if (!out.IsForHash()) {
        SaveInt(out, "Mipm", static_cast<int>(m_bitmap->GetMipmapMode()));
        SaveInt(out, "HwCP", static_cast<int>(m_bitmap->GetHardwareCachePolicy()));
    }
    // From a device together rather than tile by tile.
    m_bitmap->SyncHostCache(m_bitmap->GetBounds(), false, nullptr);
    BlobStore store(out.GetBlobSink());
    SaveProfile(out);
    std::vector<TileKey> keys;
    for (int channel = 0; channel != m_bitmap->GetInfo().channelCount; ++channel)
        SavePlane(std::as_const(*m_bitmap).GetPlane(channel), store, keys);
    out.SaveTypeArrayI("Tile", c_key, keys.data(), sizeof(TileKey), keys.size());
}

void DynamicBitmap::SaveProfile(Kernel::OutSerialiser& out) const {
    std::lock_guard const lock(m_profileMutex);
    if (m_profile || m_storedProfile)
        Raster::SaveProfile(out, "Prof", m_profile, m_storedProfile.get());
}

// A format that this program does not know makes the object unreadable, and it is kept as it is.
bool DynamicBitmap::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short) {
    auto const format = static_cast<Format>(LoadInt(in, "Form", FormatNone));
    if (format == FormatNone)
        return true;
    FormatInfo const info = GetFormatInfo(format);
    if (info.channelCount == 0)
        return false;
    int const width = LoadInt(in, "Widt", 0), height = LoadInt(in, "Heig", 0);
    if (width < 1 || height < 1 || width > c_maximumSide || height > c_maximumSide)
        throw Kernel::DamagedDataException("a bitmap's size is damaged");
    auto const mode = LoadInt(in, "Mipm", 0), policy = LoadInt(in, "HwCP", 0);
    if (mode < 0 || mode > static_cast<int>(MipmapMode::Deferred) || policy < 0 ||
        policy > static_cast<int>(HardwareCachePolicy::Never))
        return false;
    auto const keys = LoadKeys(in, info, width, height);
    auto bitmap = BitmapBase::Create(width, height, format, static_cast<MipmapMode>(mode),
                                     static_cast<HardwareCachePolicy>(policy));
    std::size_t const planeTiles = keys.size() / static_cast<std::size_t>(info.channelCount);
    for (int channel = 0; channel != info.channelCount; ++channel)
        bitmap->GetPlane(channel) = RegionBase::FromKeys(
            info.sampleBytes, width, height,
            std::span(keys).subspan(static_cast<std::size_t>(channel) * planeTiles, planeTiles), files.GetBlobs());
    bitmap->ForgetMipmaps();
    m_bitmap = std::move(bitmap);
    Kernel::BlobKey profile;
    std::lock_guard const lock(m_profileMutex);
    if (in.LoadTypeI("Prof", c_key, &profile, sizeof profile))
        m_storedProfile = std::make_shared<StoredProfile>(StoredProfile{profile, files.GetBlobs()});
    return true;
}

} // namespace Raster
