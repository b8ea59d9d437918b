// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/borders.h"

#include "engine/tracing/corners.h"
#include "engine/tracing/curve_fit.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Tracing {

namespace {

// The ways from a corner of pixels to the next: right, down, left, up.
constexpr std::array<int, 4> c_stepX{1, 0, -1, 0}, c_stepY{0, 1, 0, -1};
constexpr unsigned c_turnRight = 1, c_turnBack = 2, c_turnLeft = 3;

// A chain of sides of pixels between two regions.
struct SideChain {
    std::int32_t x = 0, y = 0;
    std::size_t firstStep = 0;
    std::uint32_t count = 0;
    bool isRing = false;
};

class BorderFinder {
public:
    BorderFinder(Picture const& picture, Labels const& labels, Regions const& regions, Options const& options)
        : m_picture(picture),
          m_labels(labels),
          m_regions(regions),
          m_options(options),
          m_corners(FindCorners(regions, options)) {}

    Borders Find() {
        FollowAll();
        m_found.borders.resize(m_chains.size());
        constexpr std::size_t c_share = 32;
        Kernel::ParallelFor((m_chains.size() + c_share - 1) / c_share, [&](std::size_t share) {
            if (Kernel::IsAbortSet(m_options.abort))
                throw Kernel::AbortException();
            for (std::size_t i = share * c_share; i != std::min(m_chains.size(), (share + 1) * c_share); ++i)
                MakeBorder(i);
        });
        FindRings();
        return std::move(m_found);
    }

private:
    // The pixels beside a way from a corner.
    std::int32_t GetLeft(int x, int y, unsigned way) const {
        return m_regions.At(x - (way == 2 || way == 3), y - (way == 0 || way == 3));
    }
    std::int32_t GetRight(int x, int y, unsigned way) const {
        return m_regions.At(x - (way == 1 || way == 2), y - (way == 2 || way == 3));
    }

    Corner& GetCorner(int x, int y) {
        return m_corners.all[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_regions.width + 1) +
                             static_cast<std::size_t>(x)];
    }
    Corner GetCorner(int x, int y) const { return const_cast<BorderFinder*>(this)->GetCorner(x, y); }

    static unsigned GetNextWay(Corner const& corner, unsigned way) {
        if (corner.IsFalling())
            return (way & 1) != 0 ? (way + c_turnLeft) & 3 : (way + c_turnRight) & 3;
        if (corner.IsRising())
            return (way & 1) != 0 ? (way + c_turnRight) & 3 : (way + c_turnLeft) & 3;
        unsigned const others = corner.GetWays() & ~(1u << ((way + c_turnBack) & 3));
        return static_cast<unsigned>(std::countr_zero(others));
    }

    // A side of a pixel is known by its upper or left corner.
    bool TakeSide(int x, int y, unsigned way) { return GetCorner(x - (way == 2), y - (way == 3)).Take((way & 1) != 0); }

    void Follow(int x, int y, unsigned way, bool isRing) {
        if (!TakeSide(x, y, way))
            return;
        SideChain chain{x, y, m_steps.size(), 0, isRing};
        int const startX = x, startY = y;
        unsigned const startWay = way;
        while (true) {
            m_steps.push_back(static_cast<std::uint8_t>(way));
            x += c_stepX[way];
            y += c_stepY[way];
            auto const corner = GetCorner(x, y);
            if (corner.IsMeeting())
                break;
            way = GetNextWay(corner, way);
            if (isRing && x == startX && y == startY && way == startWay)
                break;
            TakeSide(x, y, way);
        }
        chain.count = static_cast<std::uint32_t>(m_steps.size() - chain.firstStep);
        m_chains.push_back(chain);
    }

    void FollowAll() {
        for (auto const& [x, y] : m_corners.meetings) {
            unsigned const ways = GetCorner(x, y).GetWays();
            for (unsigned way = 0; way != 4; ++way) {
                if ((ways >> way & 1) != 0)
                    Follow(x, y, way, false);
            }
        }
        for (auto const& [x, y] : m_corners.upperLefts)
            Follow(x, y, 0, true);
    }

    // Whether a border is between a pixel and the next one in a direction. Corners are asked, as they take a quarter
    // of the memory that pixels take.
    bool HasSide(int x, int y, int stepX, int stepY) const {
        auto const ways = GetCorner(x + (stepX > 0), y + (stepY > 0)).GetWays();
        return (stepX != 0 ? ways & 2 : ways & 1) != 0;
    }

    // The colours on both sides of a border.
    struct Sides {
        struct Side {
            // The bits of its pixels.
            std::uint32_t bits = 0;
            MixedColour mixed{};
        };
        Side left, right;
        // From the left colour to the right one.
        MixedColour way{};
        float squaredLength = 0;
    };
    Sides GetSides(std::int32_t left, std::int32_t right) const {
        auto const get = [&](std::int32_t region) {
            auto const label = m_regions.labels[static_cast<std::size_t>(region)];
            return Sides::Side{std::bit_cast<std::uint32_t>(m_labels.colours[label]), m_labels.mixed[label]};
        };
        Sides sides{get(left), get(right), {}, 0};
        for (std::size_t i = 0; i != 4; ++i)
            sides.way[i] = sides.right.mixed[i] - sides.left.mixed[i];
        sides.squaredLength = SquaredDistance(sides.left.mixed, sides.right.mixed);
        return sides;
    }

    // How much of the other side's colour a pixel shows, 0 to 1; 0 where it is no mix of both. The sign is -1 on the
    // right, from where the way to the other colour is the opposite one.
    float GetForeignShare(int x, int y, Sides const& sides, Sides::Side const& own, float sign) const {
        auto const& pixel = m_picture.At(x, y);
        if (std::bit_cast<std::uint32_t>(pixel) == own.bits)
            return 0;
        auto const colour = ToMixed(pixel);
        float along = 0, squared = 0;
        for (std::size_t i = 0; i != 4; ++i) {
            float const place = colour[i] - own.mixed[i];
            along += sides.way[i] * place;
            squared += place * place;
        }
        along *= sign;
        float const share = std::clamp(along / sides.squaredLength, 0.0f, 1.0f);
        float const squaredRest = squared - 2 * share * along + share * share * sides.squaredLength;
        return squaredRest <= std::max(14.0f * 14, 0.04f * sides.squaredLength) ? share : 0;
    }

    // On one side of a pixel's side: the share of the other colour there, which the border cuts off.
    float GetCutOff(int x, int y, int stepX, int stepY, Sides const& sides, Sides::Side const& own, float sign) const {
        float const first = GetForeignShare(x, y, sides, own, sign);
        if (first == 0)
            return 0;
        // Half belongs to the opposite border of a line that is one pixel thin.
        if (HasSide(x, y, stepX, stepY))
            return 0.5f * first;
        if (HasSide(x + stepX, y + stepY, stepX, stepY))
            return first;
        return first + GetForeignShare(x + stepX, y + stepY, sides, own, sign);
    }

    // How far to the right of the way the border runs, judged by the mixed colours of the pixels beside it.
    double GetShift(int x, int y, unsigned way, Sides const& sides) const {
        if (sides.squaredLength < 16)
            return 0;
        int const leftX = x - (way == 2 || way == 3), leftY = y - (way == 0 || way == 3);
        int const rightX = x - (way == 1 || way == 2), rightY = y - (way == 2 || way == 3);
        int const stepX = rightX - leftX, stepY = rightY - leftY;
        float const shift = GetCutOff(rightX, rightY, stepX, stepY, sides, sides.right, -1) -
                            GetCutOff(leftX, leftY, -stepX, -stepY, sides, sides.left, 1);
        return std::clamp(shift, -0.75f, 0.75f);
    }

    // Borders lead from row to row, and each row is in other cache lines: without this much of the time is waiting.
    static constexpr std::uint32_t c_fetchedAhead = 12;
    void Fetch(int x, int y) const {
        int const column = std::min(x, m_regions.width - 1);
        __builtin_prefetch(&m_picture.At(column, std::min(y, m_regions.height - 1)));
        __builtin_prefetch(&m_picture.At(column, std::max(0, y - 1)));
    }

    void MakeBorder(std::size_t index) {
        auto const& chain = m_chains[index];
        auto& border = m_found.borders[index];
        int x = chain.x, y = chain.y;
        border.left = GetLeft(x, y, m_steps[chain.firstStep]);
        border.right = GetRight(x, y, m_steps[chain.firstStep]);
        border.isRing = chain.isRing;
        bool const isEdge = border.left == Regions::c_outside || border.right == Regions::c_outside;
        std::vector<Point> points;
        points.reserve(chain.count + 2);
        auto const sides = GetSides(border.left, border.right);
        if (!chain.isRing)
            points.push_back(GetMeetingPlace(x, y));
        int aheadX = x, aheadY = y;
        std::uint32_t ahead = 0;
        for (std::uint32_t i = 0; i != chain.count; ++i) {
            for (; ahead != std::min(chain.count, i + c_fetchedAhead); ++ahead) {
                unsigned const way = m_steps[chain.firstStep + ahead];
                Fetch(aheadX, aheadY);
                aheadX += c_stepX[way];
                aheadY += c_stepY[way];
            }
            unsigned const way = m_steps[chain.firstStep + i];
            bool const turns = i != 0 && way != m_steps[chain.firstStep + i - 1];
            if (isEdge && (turns || (i == 0 && chain.isRing)))
                points.push_back({static_cast<double>(x), static_cast<double>(y)});
            if (!isEdge) {
                double const shift = GetShift(x, y, way, sides);
                points.push_back(
                    {x + 0.5 * c_stepX[way] - shift * c_stepY[way], y + 0.5 * c_stepY[way] + shift * c_stepX[way]});
            }
            int const nextX = x + c_stepX[way], nextY = y + c_stepY[way];
            border.doubleArea += std::int64_t{x} * nextY - std::int64_t{nextX} * y;
            x = nextX;
            y = nextY;
        }
        if (!chain.isRing)
            points.push_back(GetMeetingPlace(x, y));
        if (isEdge)
            border.curve = MakePolygon(points, chain.isRing);
        else if (chain.isRing && chain.count <= 12)
            border.curve = MakeDot(points);
        else
            border.curve = FitCurve(points, chain.isRing, m_options.tolerance);
    }

    static std::vector<Geometry::Segment> MakePolygon(std::vector<Point> const& points, bool isRing) {
        std::vector<Geometry::Segment> lines;
        for (std::size_t i = 0; i + 1 < points.size(); ++i)
            lines.push_back(Geometry::Segment::Line(points[i], points[i + 1]));
        if (isRing)
            lines.push_back(Geometry::Segment::Line(points.back(), points.front()));
        return lines;
    }
    // A ring of so few sides has no more to tell than its points.
    static std::vector<Geometry::Segment> MakeDot(std::vector<Point> const& points) {
        std::vector<Geometry::Segment> curve;
        std::size_t const count = points.size();
        auto const middle = [&](std::size_t i) {
            Point const &a = points[i % count], &b = points[(i + 1) % count];
            return Point{(a.x + b.x) / 2, (a.y + b.y) / 2};
        };
        for (std::size_t i = 0; i != count; ++i) {
            Point const from = middle(i), to = middle(i + 1), corner = points[(i + 1) % count];
            curve.push_back(Geometry::Segment::Cubic(
                from, {from.x + (corner.x - from.x) * 2 / 3, from.y + (corner.y - from.y) * 2 / 3},
                {to.x + (corner.x - to.x) * 2 / 3, to.y + (corner.y - to.y) * 2 / 3}, to));
        }
        return curve;
    }

    // A meeting is shifted as the borders that meet are, along each axis by those across it; at the picture's edge only
    // along that.
    Point GetMeetingPlace(int x, int y) const {
        double shiftX = 0, shiftY = 0;
        int countX = 0, countY = 0;
        auto const corner = GetCorner(x, y);
        for (unsigned way = 0; way != 4; ++way) {
            if ((corner.GetWays() >> way & 1) == 0)
                continue;
            auto const left = GetLeft(x, y, way), right = GetRight(x, y, way);
            bool const isEdge = left == Regions::c_outside || right == Regions::c_outside;
            double const shift = isEdge ? 0 : GetShift(x, y, way, GetSides(left, right));
            if ((way & 1) == 0) {
                shiftY += shift * c_stepX[way];
                ++countY;
            } else {
                shiftX -= shift * c_stepY[way];
                ++countX;
            }
        }
        bool const isAtSide = x == 0 || x == m_regions.width, isAtEnd = y == 0 || y == m_regions.height;
        return {x + (countX == 0 || isAtSide ? 0 : shiftX / countX),
                y + (countY == 0 || isAtEnd ? 0 : shiftY / countY)};
    }

    bool IsPainted(std::int32_t region) const {
        return region != Regions::c_outside && m_regions.labels[static_cast<std::size_t>(region)] != 0;
    }

    void FindRings() {
        // The parts that leave each meeting: a number of corner and way, and the part.
        struct Leaving {
            std::uint64_t place = 0;
            BorderPart part;
        };
        std::vector<Leaving> leaving;
        std::vector<std::uint64_t> ends(2 * m_chains.size());
        auto const place = [&](int x, int y, unsigned way) {
            return (static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(m_regions.width + 1) +
                    static_cast<std::uint64_t>(x))
                       << 2 |
                   way;
        };
        for (std::size_t i = 0; i != m_chains.size(); ++i) {
            auto const& chain = m_chains[i];
            if (chain.isRing)
                continue;
            int x = chain.x, y = chain.y;
            for (std::uint32_t k = 0; k != chain.count; ++k) {
                x += c_stepX[m_steps[chain.firstStep + k]];
                y += c_stepY[m_steps[chain.firstStep + k]];
            }
            unsigned const first = m_steps[chain.firstStep], last = m_steps[chain.firstStep + chain.count - 1];
            auto const number = static_cast<std::uint32_t>(i);
            leaving.push_back({place(chain.x, chain.y, first), {number, false}});
            leaving.push_back({place(x, y, (last + c_turnBack) & 3), {number, true}});
            // Where a part arrives, and on which way.
            ends[2 * i] = place(x, y, last);
            ends[2 * i + 1] = place(chain.x, chain.y, (first + c_turnBack) & 3);
        }
        std::sort(leaving.begin(), leaving.end(), [](Leaving const& a, Leaving const& b) { return a.place < b.place; });
        auto const findNext = [&](BorderPart const& part) {
            auto const end = ends[2 * part.border + part.isReversed];
            unsigned const way = end & 3;
            for (unsigned const turn : {c_turnLeft, 0u, c_turnRight, c_turnBack}) {
                auto const wanted = (end & ~std::uint64_t{3}) | ((way + turn) & 3);
                auto const found = std::lower_bound(leaving.begin(), leaving.end(), wanted,
                                                    [](Leaving const& a, std::uint64_t b) { return a.place < b; });
                if (found != leaving.end() && found->place == wanted)
                    return found->part;
            }
            return part;
        };
        std::vector<bool> isUsed(2 * m_chains.size());
        for (std::size_t half = 0; half != isUsed.size(); ++half) {
            BorderPart part{static_cast<std::uint32_t>(half / 2), half % 2 != 0};
            auto const& begin = m_found.borders[part.border];
            auto const region = part.isReversed ? begin.right : begin.left;
            if (isUsed[half] || !IsPainted(region))
                continue;
            Ring ring{region, false, 0, {}};
            std::int64_t doubleArea = 0;
            while (!isUsed[2 * part.border + part.isReversed]) {
                isUsed[2 * part.border + part.isReversed] = true;
                ring.parts.push_back(part);
                auto const& border = m_found.borders[part.border];
                doubleArea += part.isReversed ? -border.doubleArea : border.doubleArea;
                if (border.isRing)
                    break;
                part = findNext(part);
            }
            ring.isOuter = doubleArea < 0;
            ring.area = std::abs(static_cast<double>(doubleArea)) / 2;
            m_found.rings.push_back(std::move(ring));
        }
    }

    Picture const& m_picture;
    Labels const& m_labels;
    Regions const& m_regions;
    Options const& m_options;
    Corners m_corners;
    std::vector<std::uint8_t> m_steps;
    std::vector<SideChain> m_chains;
    Borders m_found;
};

} // namespace

Borders FindBorders(Picture const& picture, Labels const& labels, Regions const& regions, Options const& options) {
    return BorderFinder(picture, labels, regions, options).Find();
}

} // namespace Tracing
