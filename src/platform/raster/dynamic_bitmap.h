// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/serialisable.h"
#include "platform/raster/bitmap.h"
#include "platform/raster/dynamic_base.h"
#include "platform/raster/icc_manager.h"

namespace Raster {

class BlockDeduplicationSupport;
struct StoredProfile;

// Owns a bitmap whose format is known when the program runs, with the colour profile of its pixels. This is the
// object that documents hold and save: format, size, profile and the keys of the tiles; the tiles themselves go to
// the document's store and are read again when they are asked for.
class REDRAFT_ENGINE DynamicBitmap final : public Kernel::Serialisable, public DynamicBase<DynamicBitmap> {
public:
    template <class Traits>
    using Typed = typename Traits::BitmapType;

    DynamicBitmap();
    DynamicBitmap(int width, int height, Format format, MipmapMode mipmaps = MipmapMode::None,
                  HardwareCachePolicy policy = HardwareCachePolicy::Automatic);
    explicit DynamicBitmap(Kernel::Counted<BitmapBase> bitmap, Kernel::Consolidated<ICCProfile> profile = {});
    ~DynamicBitmap() override;

    // A new bitmap, all zero, instead of what there was. Exceptions as BitmapBase::Create.
    void Create(int width, int height, Format format, MipmapMode mipmaps, HardwareCachePolicy policy);

    Kernel::NonCounted<BitmapBase const> GetBase() const { return m_bitmap; }
    template <class B>
    B const& As() const {
        return static_cast<B const&>(*m_bitmap);
    }
    // The bitmap to write to. Taken anew for each change: this is what tells the document that the bitmap changes.
    BitmapBase& GetMutableBase() {
        MarkChanged();
        return *m_bitmap;
    }
    template <class B>
    B& AsMutable() {
        return static_cast<B&>(GetMutableBase());
    }
    Kernel::Counted<DynamicBitmap> CloneDerived(bool* abort) const;

    // The profile of the pixels; empty: the document's, or the default of the colour model outside of documents, sRGB
    // for RGB. Read from the document's store when it is first asked for: DamagedDataException when that cannot give
    // it.
    Kernel::Consolidated<ICCProfile> GetProfile() const;
    void SetProfile(Kernel::Consolidated<ICCProfile> profile);

    // As the operations of BitmapBase of the same names; false and 0 for an empty one.
    bool IsPendingDelayLoad() const { return m_bitmap && m_bitmap->IsPendingDelayLoad(); }
    void ForceDelayLoad(bool* abort) const {
        if (m_bitmap)
            m_bitmap->ForceDelayLoad(abort);
    }
    bool HoldsMipmapsOnly() const { return m_bitmap && m_bitmap->HoldsMipmapsOnly(); }
    MipmapMode GetMipmapMode() const { return m_bitmap ? m_bitmap->GetMipmapMode() : MipmapMode::None; }
    void UpdateMipmaps(int level, bool* abort) const {
        if (m_bitmap)
            m_bitmap->UpdateMipmaps(level, abort);
    }
    void ReadPixels(Kernel::RectT<int> const& rect, void* pixels, std::size_t rowBytes) const {
        m_bitmap->ReadPixels(rect, pixels, rowBytes);
    }
    void WritePixels(Kernel::RectT<int> const& rect, void const* pixels, std::size_t rowBytes) {
        GetMutableBase().WritePixels(rect, pixels, rowBytes);
    }
    void Clear(DynamicPixel const& pixel) { GetMutableBase().Clear(pixel); }
    // Makes tiles that are equal to a tile the support has met share its samples. Stops when *abort becomes true.
    void Deduplicate(BlockDeduplicationSupport& support, bool* abort);

    static Kernel::Counted<Kernel::Serialisable> CreateObject();
    static Kernel::ClassProperties const* GetTypeClassProperties();
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return GetTypeClassProperties(); }
    void Save(Kernel::OutSerialiser& out) const override;
    bool Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) override;

private:
    void SaveProfile(Kernel::OutSerialiser& out) const;

    Kernel::Counted<BitmapBase> m_bitmap;
    mutable Kernel::Consolidated<ICCProfile> m_profile;
    // Where the profile is to be read from; null when it has been or there is none.
    mutable std::shared_ptr<StoredProfile const> m_storedProfile;
    mutable std::mutex m_profileMutex;
};

} // namespace Raster
