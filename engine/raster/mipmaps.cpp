// SPDX-License-Identifier: Apache-2.0
#include "engine/raster/mipmaps.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"

namespace Raster {

namespace {

int HalfUp(int side) { return (side + 1) / 2; }

// The rectangle of a level that a rectangle of the full size touches.
Kernel::RectT<int> ToLevel(Kernel::RectT<int> const& rect, int level) {
    int const round = (1 << level) - 1;
    return {rect.left >> level, rect.top >> level, (rect.right + round) >> level, (rect.bottom + round) >> level};
}

// One value for each channel when every tile below the rectangle has one and the same.
bool FindConstants(BitmapBase const& bitmap, Kernel::RectT<int> const& rect, std::array<std::uint32_t, 5>& values) {
    for (int channel = 0; channel != bitmap.GetInfo().channelCount; ++channel) {
        RegionBase const& plane = bitmap.GetPlane(channel);
        std::optional<std::uint32_t> value;
        for (int tileY = rect.top >> c_tileShift; tileY << c_tileShift < rect.bottom; ++tileY) {
            for (int tileX = rect.left >> c_tileShift; tileX << c_tileShift < rect.right; ++tileX) {
                auto const found = plane.GetConstTile(tileX, tileY).GetConstant();
                if (!found || (value && *value != *found))
                    return false;
                value = found;
            }
        }
        values[static_cast<std::size_t>(channel)] = value.value_or(0);
    }
    return true;
}

template <class Sample>
using Sum = std::conditional_t<std::is_floating_point_v<Sample>, double, std::uint64_t>;

template <class Sample>
Sample Divide(Sum<Sample> sum, Sum<Sample> by) {
    if constexpr (std::is_floating_point_v<Sample>)
        return static_cast<Sample>(sum / by);
    else
        return static_cast<Sample>((sum + by / 2) / by);
}

// Rows of one channel under one row of the level: the lower is the upper again at the bottom edge of an odd height.
template <class Sample>
struct RowPair {
    Sample const* upper;
    Sample const* lower;
};

// Means of one row. `width` is the width of the source; its last column counts twice when it is odd, which gives the
// mean of what exists.
template <class Sample>
void ReduceRow(RowPair<Sample> const* rows, int channelCount, int width, Sample* const* out) {
    using Total = Sum<Sample>;
    auto const alpha = rows[channelCount - 1];
    for (int x = 0; 2 * x < width; ++x) {
        int const l = 2 * x, r = std::min(2 * x + 1, width - 1);
        Total const a[4] = {Total(alpha.upper[l]), Total(alpha.upper[r]), Total(alpha.lower[l]), Total(alpha.lower[r])};
        Total const total = a[0] + a[1] + a[2] + a[3];
        bool const plain = (a[0] == a[1] && a[0] == a[2] && a[0] == a[3]) || !(total > 0);
        out[channelCount - 1][x] = Divide<Sample>(total, 4);
        for (int c = 0; c < channelCount - 1; ++c) {
            Total const v[4] = {Total(rows[c].upper[l]), Total(rows[c].upper[r]), Total(rows[c].lower[l]),
                                Total(rows[c].lower[r])};
            out[c][x] = plain ? Divide<Sample>(v[0] + v[1] + v[2] + v[3], 4)
                              : Divide<Sample>(v[0] * a[0] + v[1] * a[1] + v[2] * a[2] + v[3] * a[3], total);
        }
    }
}

// One part of a tile of the level, at most 256 x 256.
template <class Sample>
void ReducePart(BitmapBase const& above, BitmapBase& level, Kernel::RectT<int> const& part, bool* abort) {
    int const channelCount = above.GetInfo().channelCount;
    int const right = std::min(2 * part.right, above.GetWidth());
    int const width = right - 2 * part.left;
    constexpr int c_bandRows = 16;
    auto const rowSamples = static_cast<std::size_t>(2 * c_tileSide);
    std::vector<Sample> source(rowSamples * (2 * c_bandRows) * static_cast<std::size_t>(channelCount));
    std::vector<Sample> reduced(rowSamples / 2 * c_bandRows * static_cast<std::size_t>(channelCount));
    auto const sourceRow = [&](int channel, int y) {
        return source.data() + static_cast<std::size_t>(channel * 2 * c_bandRows + y) * rowSamples;
    };
    auto const reducedRow = [&](int channel, int y) {
        return reduced.data() + static_cast<std::size_t>(channel * c_bandRows + y) * (rowSamples / 2);
    };
    for (int top = part.top; top < part.bottom; top += c_bandRows) {
        if (Kernel::IsAbortSet(abort))
            return;
        int const bottom = std::min(top + c_bandRows, part.bottom);
        int const sourceBottom = std::min(2 * bottom, above.GetHeight());
        for (int c = 0; c != channelCount; ++c)
            above.GetPlane(c).ReadSamples({2 * part.left, 2 * top, right, sourceBottom}, sourceRow(c, 0),
                                          rowSamples * sizeof(Sample));
        for (int y = 0; y != bottom - top; ++y) {
            RowPair<Sample> rows[5];
            Sample* out[5];
            for (int c = 0; c != channelCount; ++c) {
                rows[c] = {sourceRow(c, 2 * y), sourceRow(c, std::min(2 * y + 1, sourceBottom - 2 * top - 1))};
                out[c] = reducedRow(c, y);
            }
            ReduceRow<Sample>(rows, channelCount, width, out);
        }
        for (int c = 0; c != channelCount; ++c)
            level.GetPlane(c).WriteSamples({part.left, top, part.right, bottom}, reducedRow(c, 0),
                                           rowSamples / 2 * sizeof(Sample));
    }
}

} // namespace

void ReduceByTwo(BitmapBase const& above, BitmapBase& level, Kernel::RectT<int> const& rect, bool* abort) {
    auto const clipped = rect.Intersected(level.GetBounds());
    if (clipped.IsEmpty())
        return;
    int const firstX = clipped.left >> c_tileShift, firstY = clipped.top >> c_tileShift;
    auto const across = static_cast<std::size_t>(((clipped.right - 1) >> c_tileShift) - firstX + 1);
    auto const down = static_cast<std::size_t>(((clipped.bottom - 1) >> c_tileShift) - firstY + 1);
    Kernel::ParallelFor(across * down, [&](std::size_t index) {
        if (Kernel::IsAbortSet(abort))
            return;
        int const left = (firstX + static_cast<int>(index % across)) << c_tileShift;
        int const top = (firstY + static_cast<int>(index / across)) << c_tileShift;
        auto const part = clipped.Intersected({left, top, left + c_tileSide, top + c_tileSide});
        Kernel::RectT<int> const below{2 * part.left, 2 * part.top, std::min(2 * part.right, above.GetWidth()),
                                       std::min(2 * part.bottom, above.GetHeight())};
        std::array<std::uint32_t, 5> values{};
        if (FindConstants(above, below, values)) {
            for (int channel = 0; channel != above.GetInfo().channelCount; ++channel)
                level.GetPlane(channel).FillSamples(part, values[static_cast<std::size_t>(channel)]);
            return;
        }
        switch (above.GetInfo().sampleBytes) {
        case 1:
            return ReducePart<std::uint8_t>(above, level, part, abort);
        case 2:
            return ReducePart<std::uint16_t>(above, level, part, abort);
        default:
            return ReducePart<float>(above, level, part, abort);
        }
    });
}

BitmapBase::Mipmaps::Mipmaps(BitmapBase const& owner) : m_mode(owner.GetMipmapMode()) {
    if (m_mode == MipmapMode::None)
        return;
    int width = owner.GetWidth(), height = owner.GetHeight();
    while (std::max(width, height) > c_tileSide) {
        width = HalfUp(width);
        height = HalfUp(height);
        Level level;
        // The levels of a new bitmap are as empty as it is.
        if (m_mode != MipmapMode::Deferred) {
            level.bitmap = BitmapBase::Create(width, height, owner.GetFormat());
            level.valid = true;
        }
        m_levels.push_back(std::move(level));
    }
}

BitmapBase::Mipmaps::Mipmaps(Mipmaps const& other) : m_mode(other.m_mode) {
    std::lock_guard const lock(other.m_mutex);
    m_levels = other.m_levels;
}

Kernel::Counted<BitmapBase const> BitmapBase::Mipmaps::Get(int level) const {
    std::lock_guard const lock(m_mutex);
    if (level < 1 || level > GetLevels())
        return {};
    return m_levels[static_cast<std::size_t>(level - 1)].bitmap;
}

bool BitmapBase::Mipmaps::IsValid(int level) const {
    std::lock_guard const lock(m_mutex);
    return level >= 1 && level <= GetLevels() && m_levels[static_cast<std::size_t>(level - 1)].valid;
}

Kernel::RectT<int> BitmapBase::Mipmaps::GetDirtyRect(int level) const {
    std::lock_guard const lock(m_mutex);
    if (level < 1 || level > GetLevels())
        return {};
    return m_levels[static_cast<std::size_t>(level - 1)].dirty;
}

void BitmapBase::Mipmaps::MarkDirty(Kernel::RectT<int> const& changed) {
    if (changed.IsEmpty())
        return;
    std::lock_guard const lock(m_mutex);
    for (Level& level : m_levels) {
        if (!level.bitmap)
            continue;
        level.dirty = level.dirty.United(changed);
        level.valid = false;
    }
}

void BitmapBase::Mipmaps::Forget() {
    std::lock_guard const lock(m_mutex);
    for (Level& level : m_levels)
        level = Level();
}

void BitmapBase::Mipmaps::Update(BitmapBase const& owner, int last, bool* abort) {
    if (m_mode == MipmapMode::None || m_mode == MipmapMode::Frozen)
        return;
    // Held while levels are made: a second caller wants the same levels and waits for them.
    std::lock_guard const lock(m_mutex);
    if (last == 0)
        last = GetLevels();
    BitmapBase const* above = &owner;
    for (int number = 1; number <= std::min(last, GetLevels()); ++number) {
        Level& level = m_levels[static_cast<std::size_t>(number - 1)];
        if (!level.bitmap) {
            level.bitmap = BitmapBase::Create(HalfUp(above->GetWidth()), HalfUp(above->GetHeight()), owner.GetFormat());
            level.dirty = owner.GetBounds();
            level.valid = false;
        }
        if (!level.valid) {
            // Clones and callers may hold the level as it was.
            if (level.bitmap->GetControlBlock()->GetStrongCount() > 1)
                level.bitmap = level.bitmap->Clone(nullptr);
            // Together rather than tile by tile.
            if (above == &owner && !owner.SyncHostCache(level.dirty, false, abort))
                return;
            ReduceByTwo(*above, *level.bitmap, ToLevel(level.dirty, number), abort);
            if (Kernel::IsAbortSet(abort))
                return;
            level.dirty = {};
            level.valid = true;
        }
        above = level.bitmap.get();
    }
}

} // namespace Raster
