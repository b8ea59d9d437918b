// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/regions.h"

#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>

namespace Tracing {

namespace {

// Sets of runs, and later of sets: each names its parent, and one that names itself stands for its set.
class DisjointSets {
public:
    explicit DisjointSets(std::size_t count) : m_parents(count) {
        for (std::size_t i = 0; i != count; ++i)
            m_parents[i] = static_cast<std::int32_t>(i);
    }
    std::int32_t Find(std::int32_t item) {
        while (m_parents[static_cast<std::size_t>(item)] != item) {
            auto& parent = m_parents[static_cast<std::size_t>(item)];
            parent = m_parents[static_cast<std::size_t>(parent)];
            item = parent;
        }
        return item;
    }
    // The first item stands for both.
    void Join(std::int32_t keeps, std::int32_t joins) { m_parents[static_cast<std::size_t>(joins)] = keeps; }

private:
    std::vector<std::int32_t> m_parents;
};

class RegionFinder {
public:
    RegionFinder(Picture const& picture, Labels const& labels, Options const& options)
        : m_width(picture.width), m_height(picture.height), m_labels(labels), m_options(options) {}

    Regions Find() {
        FindRuns();
        ConnectRuns();
        JoinSmallSets();
        return MakeRegions();
    }

private:
    std::uint8_t LabelAt(int x, int y) const {
        return m_labels
            .ofPixel[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x)];
    }
    void CheckAbort() const {
        if (Kernel::IsAbortSet(m_options.abort))
            throw Kernel::AbortException();
    }

    void FindRuns() {
        m_rows.reserve(static_cast<std::size_t>(m_height) + 1);
        for (int y = 0; y != m_height; ++y) {
            if (y % 64 == 0)
                CheckAbort();
            m_rows.push_back(m_runs.size());
            auto const* const row = &m_labels.ofPixel[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width)];
            AddRun(0, row[0]);
            int x = 1;
            // Eight pixels and those before them as two numbers: bytes that differ begin a run.
            for (; x + 8 <= m_width; x += 8) {
                std::uint64_t before = 0, values = 0;
                std::memcpy(&before, row + x - 1, sizeof before);
                std::memcpy(&values, row + x, sizeof values);
                for (auto changes = before ^ values; changes != 0;) {
                    int const at = std::countr_zero(changes) / 8;
                    AddRun(x + at, row[x + at]);
                    changes &= ~(std::uint64_t{255} << (8 * at));
                }
            }
            for (; x != m_width; ++x) {
                if (row[x] != row[x - 1])
                    AddRun(x, row[x]);
            }
        }
        m_rows.push_back(m_runs.size());
    }

    void AddRun(int begin, std::uint8_t label) {
        m_runs.push_back({begin, 0});
        m_runLabels.push_back(label);
    }

    int GetEnd(std::size_t run, std::size_t rowEnd) const {
        return run + 1 == rowEnd ? m_width : m_runs[run + 1].begin;
    }

    // Calls visit(upper run, lower run) for those of two rows that have a column in common, or with `diagonal` touch at
    // a corner only.
    template <class F>
    void ForEachPair(int y, F const& visit) const {
        auto const row = static_cast<std::size_t>(y);
        std::size_t upper = m_rows[row], lower = m_rows[row + 1];
        std::size_t const upperEnd = m_rows[row + 1], lowerEnd = m_rows[row + 2];
        while (upper != upperEnd && lower != lowerEnd) {
            visit(upper, lower);
            int const a = GetEnd(upper, upperEnd), b = GetEnd(lower, lowerEnd);
            if (a <= b)
                ++upper;
            if (b <= a)
                ++lower;
        }
    }

    void ConnectRuns() {
        DisjointSets sets(m_runs.size());
        auto const join = [&](std::size_t a, std::size_t b) {
            auto const first = sets.Find(static_cast<std::int32_t>(a)),
                       second = sets.Find(static_cast<std::int32_t>(b));
            if (first != second)
                sets.Join(std::min(first, second), std::max(first, second));
        };
        for (int y = 0; y + 1 < m_height; ++y) {
            if (y % 64 == 0)
                CheckAbort();
            std::size_t const upperEnd = m_rows[static_cast<std::size_t>(y) + 1];
            std::size_t const lowerEnd = m_rows[static_cast<std::size_t>(y) + 2];
            ForEachPair(y, [&](std::size_t upper, std::size_t lower) {
                if (m_runLabels[upper] == m_runLabels[lower])
                    join(upper, lower);
                // The corner at which both end, with the runs behind them.
                int const end = GetEnd(upper, upperEnd);
                if (end == m_width || end != GetEnd(lower, lowerEnd))
                    return;
                bool const falls = m_runLabels[upper] == m_runLabels[lower + 1];
                bool const rises = m_runLabels[upper + 1] == m_runLabels[lower];
                if (falls && (!rises || IsRarer(end, y, m_runLabels[upper], m_runLabels[lower])))
                    join(upper, lower + 1);
                else if (rises)
                    join(upper + 1, lower);
            });
        }
        std::vector<std::int32_t> numbers(m_runs.size(), -1);
        for (int y = 0; y != m_height; ++y) {
            auto const row = static_cast<std::size_t>(y);
            for (std::size_t i = m_rows[row]; i != m_rows[row + 1]; ++i) {
                auto& number = numbers[static_cast<std::size_t>(sets.Find(static_cast<std::int32_t>(i)))];
                if (number < 0) {
                    number = static_cast<std::int32_t>(m_areas.size());
                    m_areas.push_back(0);
                    m_setLabels.push_back(m_runLabels[i]);
                }
                m_runs[i].region = number;
                m_areas[static_cast<std::size_t>(number)] += GetEnd(i, m_rows[row + 1]) - m_runs[i].begin;
            }
        }
    }

    // Whether `label` has fewer pixels around a corner than `other`: the line that is thin goes on.
    bool IsRarer(int x, int y, std::uint8_t label, std::uint8_t other) const {
        int more = 0;
        for (int row = std::max(0, y - 1); row <= std::min(m_height - 1, y + 2); ++row) {
            for (int column = std::max(0, x - 2); column <= std::min(m_width - 1, x + 1); ++column)
                more += (LabelAt(column, row) == label) - (LabelAt(column, row) == other);
        }
        return more != 0 ? more < 0 : label < other;
    }

    // Where too many are left, such as of noise, larger ones go, too.
    void JoinSmallSets() {
        std::size_t const count = m_areas.size();
        m_joined.resize(count);
        for (std::size_t i = 0; i != count; ++i)
            m_joined[i] = static_cast<std::int32_t>(i);
        DisjointSets sets(count);
        for (std::int64_t fewest = m_options.smallestArea;; fewest *= 2) {
            JoinSetsBelow(fewest, sets);
            std::size_t left = 0;
            for (std::size_t i = 0; i != count; ++i)
                left += m_joined[i] == static_cast<std::int32_t>(i);
            if (left <= c_mostRegions)
                return;
        }
    }

    std::int32_t GetSet(std::size_t run) const { return m_joined[static_cast<std::size_t>(m_runs[run].region)]; }

    // Calls visit(a, b) for the sets of runs that are neighbours and of which one is small at least.
    template <class F>
    void ForEachPairOfSmall(std::int64_t fewest, F const& visit) const {
        auto const meet = [&](std::size_t a, std::size_t b) {
            auto const first = GetSet(a), second = GetSet(b);
            if (first != second && (m_areas[static_cast<std::size_t>(first)] < fewest ||
                                    m_areas[static_cast<std::size_t>(second)] < fewest))
                visit(first, second);
        };
        for (int y = 0; y != m_height; ++y) {
            auto const row = static_cast<std::size_t>(y);
            if (y % 64 == 0)
                CheckAbort();
            for (std::size_t i = m_rows[row]; i + 1 < m_rows[row + 1]; ++i)
                meet(i, i + 1);
            if (y + 1 != m_height)
                ForEachPair(y, meet);
        }
    }

    using Pairs = std::vector<std::pair<std::int32_t, std::int32_t>>;
    // As sets join, no other small ones come to be, so that later rounds need to look at these only. Nothing where they
    // would take more than a byte for a pixel, as in noise.
    std::optional<Pairs> ListPairsOfSmall(std::int64_t fewest) const {
        std::size_t const most =
            static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) / sizeof(Pairs::value_type);
        Pairs pairs;
        ForEachPairOfSmall(fewest, [&](std::int32_t a, std::int32_t b) {
            if (pairs.size() <= most)
                pairs.emplace_back(a, b);
        });
        return pairs.size() <= most ? std::optional(std::move(pairs)) : std::nullopt;
    }

    // Each round joins every small set to a neighbour, so that their number at least halves.
    void JoinSetsBelow(std::int64_t fewest, DisjointSets& sets) {
        std::size_t const count = m_areas.size();
        auto const pairs = ListPairsOfSmall(fewest);
        while (true) {
            CheckAbort();
            std::vector<std::int32_t> nearest(count, -1);
            std::vector<float> distances(count, 1e9f);
            auto const offer = [&](std::int32_t small, std::int32_t other) {
                auto const at = static_cast<std::size_t>(small), to = static_cast<std::size_t>(other);
                if (m_areas[at] >= fewest)
                    return;
                float const distance =
                    SquaredDistance(m_labels.mixed[m_setLabels[at]], m_labels.mixed[m_setLabels[to]]);
                auto const best = nearest[at];
                bool const isNearer = best < 0 || distance < distances[at] ||
                                      (distance == distances[at] &&
                                       (m_areas[to] > m_areas[static_cast<std::size_t>(best)] ||
                                        (m_areas[to] == m_areas[static_cast<std::size_t>(best)] && other < best)));
                if (isNearer) {
                    nearest[at] = other;
                    distances[at] = distance;
                }
            };
            auto const meet = [&](std::int32_t a, std::int32_t b) {
                offer(a, b);
                offer(b, a);
            };
            if (pairs) {
                for (auto const& [a, b] : *pairs) {
                    auto const first = m_joined[static_cast<std::size_t>(a)],
                               second = m_joined[static_cast<std::size_t>(b)];
                    if (first != second)
                        meet(first, second);
                }
            } else {
                ForEachPairOfSmall(fewest, meet);
            }
            bool isChanged = false;
            for (std::size_t i = 0; i != count; ++i) {
                if (nearest[i] < 0)
                    continue;
                auto const a = sets.Find(static_cast<std::int32_t>(i)), b = sets.Find(nearest[i]);
                if (a == b)
                    continue;
                auto const [keeps, joins] = m_areas[static_cast<std::size_t>(a)] > m_areas[static_cast<std::size_t>(b)]
                                                ? std::pair(a, b)
                                                : std::pair(b, a);
                sets.Join(keeps, joins);
                m_areas[static_cast<std::size_t>(keeps)] += m_areas[static_cast<std::size_t>(joins)];
                isChanged = true;
            }
            for (std::size_t i = 0; i != count; ++i)
                m_joined[i] = sets.Find(static_cast<std::int32_t>(i));
            if (!isChanged)
                return;
        }
    }

    Regions MakeRegions() {
        Regions regions;
        regions.width = m_width;
        regions.height = m_height;
        regions.labels.push_back(0);
        std::vector<std::int32_t> numbers(m_areas.size(), 0);
        for (std::size_t i = 0; i != m_areas.size(); ++i) {
            if (m_joined[i] == static_cast<std::int32_t>(i)) {
                numbers[i] = static_cast<std::int32_t>(regions.labels.size());
                regions.labels.push_back(m_setLabels[i]);
            }
        }
        // Runs that have come into one region become one.
        std::size_t count = 0, old = 0;
        for (std::size_t row = 0; row != static_cast<std::size_t>(m_height); ++row) {
            std::size_t const first = count, end = m_rows[row + 1];
            for (; old != end; ++old) {
                auto const region = numbers[static_cast<std::size_t>(GetSet(old))];
                if (count == first || m_runs[count - 1].region != region)
                    m_runs[count++] = {m_runs[old].begin, region};
            }
            m_rows[row] = first;
        }
        m_rows.back() = count;
        m_runs.resize(count);
        m_runs.shrink_to_fit();
        auto const across = static_cast<std::size_t>(m_width + 2);
        regions.ofPixel =
            std::make_unique_for_overwrite<std::int32_t[]>(across * static_cast<std::size_t>(m_height + 2));
        std::fill_n(&regions.ofPixel[0], across, Regions::c_outside);
        std::fill_n(&regions.ofPixel[across * static_cast<std::size_t>(m_height + 1)], across, Regions::c_outside);
        Kernel::ParallelFor(static_cast<std::size_t>((m_height + 63) / 64), [&](std::size_t band) {
            int const end = std::min(m_height, static_cast<int>(band + 1) * 64);
            for (int y = static_cast<int>(band) * 64; y != end; ++y) {
                auto const row = static_cast<std::size_t>(y);
                auto* const begin = &regions.ofPixel[(row + 1) * across + 1];
                begin[-1] = begin[m_width] = Regions::c_outside;
                for (std::size_t i = m_rows[row]; i != m_rows[row + 1]; ++i)
                    std::fill(begin + m_runs[i].begin, begin + GetEnd(i, m_rows[row + 1]), m_runs[i].region);
            }
        });
        regions.runs = std::move(m_runs);
        regions.rows = std::move(m_rows);
        return regions;
    }

    int m_width, m_height;
    Labels const& m_labels;
    Options const& m_options;
    // The first run of each row, and one more.
    std::vector<std::size_t> m_rows;
    // Until all regions are known, `region` is the set of runs that the run is in.
    std::vector<RegionRun> m_runs;
    std::vector<std::uint8_t> m_runLabels;
    // By set of runs; the label is that of the largest one that was joined.
    std::vector<std::int32_t> m_areas;
    std::vector<std::uint8_t> m_setLabels;
    std::vector<std::int32_t> m_joined;
};

} // namespace

Regions FindRegions(Picture const& picture, Labels const& labels, Options const& options) {
    return RegionFinder(picture, labels, options).Find();
}

} // namespace Tracing
