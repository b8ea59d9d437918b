// SPDX-License-Identifier: Apache-2.0
#include "platform/raster/dynamic_bitmap.h"

#include "engine/raster/stored_profile.h"
#include "platform/kernel/abortable.h"
#include "platform/kernel/exception.h"
#include "platform/raster/deduplication.h"

namespace Raster {

DynamicBitmap::DynamicBitmap() = default;

DynamicBitmap::DynamicBitmap(int width, int height, Format format, MipmapMode mipmaps, HardwareCachePolicy policy)
    : m_bitmap(BitmapBase::Create(width, height, format, mipmaps, policy)) {}

DynamicBitmap::DynamicBitmap(Kernel::Counted<BitmapBase> bitmap, Kernel::Consolidated<ICCProfile> profile)
    : m_bitmap(std::move(bitmap)), m_profile(std::move(profile)) {}

DynamicBitmap::~DynamicBitmap() = default;

void DynamicBitmap::Create(int width, int height, Format format, MipmapMode mipmaps, HardwareCachePolicy policy) {
    auto bitmap = BitmapBase::Create(width, height, format, mipmaps, policy);
    MarkChanged();
    m_bitmap = std::move(bitmap);
}

Kernel::Counted<DynamicBitmap> DynamicBitmap::CloneDerived(bool* abort) const {
    auto clone = Kernel::MakeCounted<DynamicBitmap>(m_bitmap ? m_bitmap->Clone(abort) : Kernel::Counted<BitmapBase>());
    std::lock_guard const lock(m_profileMutex);
    clone->m_profile = m_profile;
    clone->m_storedProfile = m_storedProfile;
    return clone;
}

Kernel::Consolidated<ICCProfile> DynamicBitmap::GetProfile() const {
    std::lock_guard const lock(m_profileMutex);
    if (m_storedProfile) {
        try {
            m_profile = ICCProfile::FromData(m_storedProfile->Read());
        } catch (Kernel::DamagedDataException const&) {
            throw Kernel::DamagedDataException("is damaged: the colour profile of a bitmap cannot be read");
        }
        m_storedProfile.reset();
    }
    return m_profile;
}

void DynamicBitmap::SetProfile(Kernel::Consolidated<ICCProfile> profile) {
    MarkChanged();
    std::lock_guard const lock(m_profileMutex);
    m_profile = std::move(profile);
    m_storedProfile.reset();
}

void DynamicBitmap::Deduplicate(BlockDeduplicationSupport& support, bool* abort) {
    if (!m_bitmap)
        return;
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    for (int channel = 0; channel != m_bitmap->GetInfo().channelCount && !flag.IsAborted(); ++channel)
        support.Deduplicate(m_bitmap->GetPlane(channel), abort);
}

} // namespace Raster
