// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/corners.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <span>

namespace Tracing {

namespace {

// Whether `region` has fewer pixels around a corner than `other`: the line that is thin goes on.
bool IsRarer(Regions const& regions, int x, int y, std::int32_t region, std::int32_t other) {
    int more = 0;
    for (int row = std::max(-1, y - 2); row <= std::min(regions.height, y + 1); ++row) {
        for (int column = std::max(-1, x - 2); column <= std::min(regions.width, x + 1); ++column)
            more += (regions.At(column, row) == region) - (regions.At(column, row) == other);
    }
    return more != 0 ? more < 0 : region < other;
}

std::span<RegionRun const> GetRuns(Regions const& regions, int y) {
    static constexpr RegionRun c_none{0, Regions::c_outside};
    if (y < 0 || y == regions.height)
        return {&c_none, 1};
    auto const row = static_cast<std::size_t>(y);
    return std::span(regions.runs).subspan(regions.rows[row], regions.rows[row + 1] - regions.rows[row]);
}

// The corners of one row, from the runs of pixels above and below it: between ends of runs nothing changes.
void FindInRow(Regions const& regions, int y, Corner* row, Corners& found) {
    auto const above = GetRuns(regions, y - 1), below = GetRuns(regions, y);
    std::int32_t aboveLeft = Regions::c_outside, belowLeft = Regions::c_outside;
    std::size_t i = 0, k = 0;
    for (int x = 0;;) {
        bool const isEnd = x == regions.width;
        auto const aboveRight = isEnd ? Regions::c_outside : above[i].region;
        auto const belowRight = isEnd ? Regions::c_outside : below[k].region;
        unsigned const ways =
            static_cast<unsigned>(aboveRight != belowRight) | static_cast<unsigned>(belowLeft != belowRight) << 1 |
            static_cast<unsigned>(aboveLeft != belowLeft) << 2 | static_cast<unsigned>(aboveLeft != aboveRight) << 3;
        bool isFalling = false, isRising = false;
        if (ways == 15) {
            isFalling =
                aboveLeft == belowRight && (aboveRight != belowLeft || IsRarer(regions, x, y, aboveLeft, aboveRight));
            isRising = aboveRight == belowLeft && !isFalling;
        }
        row[x] = Corner(ways, isFalling, isRising);
        if (row[x].IsMeeting())
            found.meetings.push_back({x, y});
        else if ((ways & 3) == 3)
            found.upperLefts.push_back({x, y});
        if (isEnd)
            return;
        int const aboveEnd = i + 1 == above.size() ? regions.width : above[i + 1].begin;
        int const belowEnd = k + 1 == below.size() ? regions.width : below[k + 1].begin;
        int const next = std::min(aboveEnd, belowEnd);
        constexpr unsigned c_leftAndRight = 5;
        if (aboveRight != belowRight)
            std::fill(row + x + 1, row + next, Corner(c_leftAndRight, false, false));
        i += next == aboveEnd;
        k += next == belowEnd;
        aboveLeft = aboveRight;
        belowLeft = belowRight;
        x = next;
    }
}

} // namespace

Corners FindCorners(Regions const& regions, Options const& options) {
    Corners corners;
    auto const across = static_cast<std::size_t>(regions.width + 1);
    corners.all.resize(across * static_cast<std::size_t>(regions.height + 1));
    constexpr int c_bandRows = 64;
    std::vector<Corners> bands(static_cast<std::size_t>(regions.height / c_bandRows + 1));
    Kernel::ParallelFor(bands.size(), [&](std::size_t band) {
        if (Kernel::IsAbortSet(options.abort))
            throw Kernel::AbortException();
        int const begin = static_cast<int>(band) * c_bandRows, end = std::min(regions.height + 1, begin + c_bandRows);
        for (int y = begin; y < end; ++y)
            FindInRow(regions, y, &corners.all[static_cast<std::size_t>(y) * across], bands[band]);
    });
    for (auto const& band : bands) {
        corners.meetings.insert(corners.meetings.end(), band.meetings.begin(), band.meetings.end());
        corners.upperLefts.insert(corners.upperLefts.end(), band.upperLefts.begin(), band.upperLefts.end());
    }
    return corners;
}

} // namespace Tracing
