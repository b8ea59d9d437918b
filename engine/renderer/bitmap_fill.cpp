// SPDX-License-Identifier: Apache-2.0
#include "platform/renderer/fill.h"

#include "engine/renderer/value_hash.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <functional>

namespace Renderer {

BitmapFill::BitmapFill(Kernel::Counted<Raster::DynamicBitmap const> bitmap, TileMode tileModeX, TileMode tileModeY,
                       Resampling resampling, double opacity)
    : m_bitmap(std::move(bitmap)),
      m_tileModeX(tileModeX),
      m_tileModeY(tileModeY),
      m_resampling(resampling),
      m_opacity(opacity > 0 ? std::min(opacity, 1.0) : 0.0) {}

float BitmapFill::GetMaximumAlpha() const {
    return m_bitmap && !m_bitmap->IsEmpty() ? static_cast<float>(m_opacity) : 0.0f;
}

Colour BitmapFill::GetRepresentativeColour() const { return Colour::FromGrey(0.5f).WithAlpha(GetMaximumAlpha()); }

std::size_t BitmapFill::GetHash() const {
    return Detail::ValueHash()
        .Add(std::uint64_t{std::hash<void const*>()(m_bitmap.get())})
        .Add(std::uint64_t{static_cast<std::uint32_t>(m_tileModeX)} * 65536 +
             static_cast<std::uint32_t>(m_tileModeY) * 256u + static_cast<std::uint32_t>(m_resampling))
        .Add(m_opacity)
        .Get();
}

bool BitmapFill::IsEqualTo(Fill const& other) const {
    auto const& o = static_cast<BitmapFill const&>(other);
    return m_bitmap == o.m_bitmap && m_tileModeX == o.m_tileModeX && m_tileModeY == o.m_tileModeY &&
           m_resampling == o.m_resampling && m_opacity == o.m_opacity;
}

} // namespace Renderer
