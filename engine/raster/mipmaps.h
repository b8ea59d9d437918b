// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/raster/bitmap.h"

#include <mutex>

namespace Raster {

// The levels of one bitmap. Clones share the levels until one is renewed.
struct BitmapBase::Mipmaps {
public:
    explicit Mipmaps(BitmapBase const& owner);
    Mipmaps(Mipmaps const& other);

    int GetLevels() const { return static_cast<int>(m_levels.size()); }
    Kernel::Counted<BitmapBase const> Get(int level) const;
    bool IsValid(int level) const;
    Kernel::RectT<int> GetDirtyRect(int level) const;
    void MarkDirty(Kernel::RectT<int> const& changed);
    void Update(BitmapBase const& owner, int level, bool* abort);
    // The levels do not show the bitmap at all: they are made again when they are asked for.
    void Forget();

private:
    struct Level {
        Kernel::Counted<BitmapBase> bitmap;
        // In pixels of the full size.
        Kernel::RectT<int> dirty;
        bool valid = false;
    };

    MipmapMode m_mode;
    std::vector<Level> m_levels;
    mutable std::mutex m_mutex;
};

// Renews `rect` of `level`, which has half the size of `above`, rounded up. Returns early when *abort becomes true.
void ReduceByTwo(BitmapBase const& above, BitmapBase& level, Kernel::RectT<int> const& rect, bool* abort);

} // namespace Raster
