// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/palette.h"

#include "engine/tracing/changes.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <unordered_map>

namespace Tracing {

namespace {

constexpr int c_countedRows = 64;

std::uint32_t ToKey(Picture::Pixel const& pixel) { return pixel[3] == 0 ? 0 : std::bit_cast<std::uint32_t>(pixel); }

// How often each key was met; gives up beyond c_mostPlain keys.
class KeyCounts {
public:
    KeyCounts() : m_slots(4 * c_mostPlain) {}
    void Add(std::uint32_t key, std::uint32_t count) {
        if (m_isFull)
            return;
        std::size_t at = (key * 0x9E3779B1u) >> 17;
        while (m_slots[at].count != 0 && m_slots[at].key != key)
            at = (at + 1) & (m_slots.size() - 1);
        if (m_slots[at].count == 0 && ++m_used > c_mostPlain) {
            m_isFull = true;
            return;
        }
        m_slots[at].key = key;
        m_slots[at].count += count;
    }
    void Add(KeyCounts const& other) {
        m_isFull = m_isFull || other.m_isFull;
        for (auto const& slot : other.m_slots) {
            if (slot.count != 0)
                Add(slot.key, slot.count);
        }
    }
    bool IsFull() const { return m_isFull; }
    std::vector<WeightedColour> Get() const {
        std::vector<WeightedColour> colours;
        for (auto const& slot : m_slots) {
            if (slot.count != 0)
                colours.push_back({std::bit_cast<Picture::Pixel>(slot.key), slot.count});
        }
        return colours;
    }

private:
    struct Slot {
        std::uint32_t key = 0;
        std::uint32_t count = 0;
    };
    static_assert(4 * c_mostPlain == std::size_t{1} << 15, "the hash has 15 bits");
    std::vector<Slot> m_slots;
    std::size_t m_used = 0;
    bool m_isFull = false;
};

// Oklab (Björn Ottosson, "A perceptual color space for image processing", 2020): equal distances look alike.
struct Perceived {
    float lightness = 0, a = 0, b = 0;
};

float ToLinear(float value) { return value <= 0.04045f ? value / 12.92f : std::pow((value + 0.055f) / 1.055f, 2.4f); }

Perceived ToPerceived(float red, float green, float blue) {
    float const r = ToLinear(red / 255), g = ToLinear(green / 255), b = ToLinear(blue / 255);
    float const l = std::cbrt(0.4122214708f * r + 0.5363325363f * g + 0.0514459929f * b);
    float const m = std::cbrt(0.2119034982f * r + 0.6806995451f * g + 0.1073969566f * b);
    float const s = std::cbrt(0.0883024619f * r + 0.2817188376f * g + 0.6299787005f * b);
    return {0.2104542553f * l + 0.7936177850f * m - 0.0040720468f * s,
            1.9779984951f * l - 2.4285922050f * m + 0.4505937099f * s,
            0.0259040371f * l + 0.7827717662f * m - 0.8086757660f * s};
}

// All pixels whose components have the same five upper bits.
struct Bin {
    double weight = 0;
    std::array<double, 3> sum{};
    Perceived perceived;
};

struct BinCounts {
    std::vector<std::array<std::uint64_t, 4>> bins = std::vector<std::array<std::uint64_t, 4>>(1 << 15);
};

std::vector<Bin> CountBins(Picture const& picture, bool const* abort) {
    std::size_t const bands = static_cast<std::size_t>((picture.height + c_countedRows - 1) / c_countedRows);
    constexpr std::size_t c_shares = 8;
    std::vector<BinCounts> counts(std::min(bands, c_shares));
    Kernel::ParallelFor(counts.size(), [&](std::size_t share) {
        auto& bins = counts[share].bins;
        for (std::size_t band = share; band < bands; band += counts.size()) {
            if (Kernel::IsAbortSet(abort))
                throw Kernel::AbortException();
            int const end = std::min(picture.height, static_cast<int>(band + 1) * c_countedRows);
            for (int y = static_cast<int>(band) * c_countedRows; y != end; ++y) {
                auto const* const row = &picture.At(0, y);
                for (int x = 0; x != picture.width; ++x) {
                    auto const& p = row[x];
                    if (p[3] < 128)
                        continue;
                    auto& bin = bins[static_cast<std::size_t>(p[0] >> 3 << 10 | p[1] >> 3 << 5 | p[2] >> 3)];
                    ++bin[3];
                    for (std::size_t i = 0; i != 3; ++i)
                        bin[i] += p[i];
                }
            }
        }
    });
    std::vector<Bin> used;
    for (std::size_t i = 0; i != std::size_t{1} << 15; ++i) {
        std::array<std::uint64_t, 4> all{};
        for (auto const& share : counts) {
            for (std::size_t c = 0; c != 4; ++c)
                all[c] += share.bins[i][c];
        }
        if (all[3] == 0)
            continue;
        Bin bin;
        bin.weight = static_cast<double>(all[3]);
        for (std::size_t c = 0; c != 3; ++c)
            bin.sum[c] = static_cast<double>(all[c]);
        bin.perceived =
            ToPerceived(static_cast<float>(bin.sum[0] / bin.weight), static_cast<float>(bin.sum[1] / bin.weight),
                        static_cast<float>(bin.sum[2] / bin.weight));
        used.push_back(bin);
    }
    return used;
}

// A part of the bins, from `begin` to `end`, and how far they are scattered along the axis along which that is most.
struct Box {
    std::size_t begin = 0, end = 0;
    int axis = 0;
    double scatter = 0;
    double weight = 0;
};

float GetAxis(Perceived const& colour, int axis) {
    return axis == 0 ? colour.lightness : axis == 1 ? colour.a : colour.b;
}

Box MeasureBox(std::vector<Bin> const& bins, std::size_t begin, std::size_t end) {
    Box box{begin, end, 0, 0, 0};
    std::array<double, 3> sum{}, squares{};
    for (std::size_t i = begin; i != end; ++i) {
        box.weight += bins[i].weight;
        for (int axis = 0; axis != 3; ++axis) {
            double const value = GetAxis(bins[i].perceived, axis);
            sum[static_cast<std::size_t>(axis)] += value * bins[i].weight;
            squares[static_cast<std::size_t>(axis)] += value * value * bins[i].weight;
        }
    }
    for (int axis = 0; axis != 3; ++axis) {
        auto const at = static_cast<std::size_t>(axis);
        double const scatter = squares[at] - sum[at] * sum[at] / box.weight;
        if (axis == 0 || scatter > box.scatter) {
            box.scatter = scatter;
            box.axis = axis;
        }
    }
    return box;
}

Perceived GetMean(std::vector<Bin> const& bins, std::size_t begin, std::size_t end) {
    double weight = 0, lightness = 0, a = 0, b = 0;
    for (std::size_t i = begin; i != end; ++i) {
        double const w = bins[i].weight;
        weight += w;
        lightness += w * bins[i].perceived.lightness;
        a += w * bins[i].perceived.a;
        b += w * bins[i].perceived.b;
    }
    return {static_cast<float>(lightness / weight), static_cast<float>(a / weight), static_cast<float>(b / weight)};
}

// Splits the most scattered part at its mean until there are enough, or all are as even as the eye sees: a mean
// distance of about two hundredths of Oklab's lightness.
std::vector<Perceived> SplitBins(std::vector<Bin>& bins, std::size_t most) {
    constexpr double c_evenEnough = 0.0004;
    std::vector<Box> boxes{MeasureBox(bins, 0, bins.size())};
    while (boxes.size() < most) {
        auto const widest = std::max_element(boxes.begin(), boxes.end(),
                                             [](Box const& x, Box const& y) { return x.scatter < y.scatter; });
        Box const box = *widest;
        if (box.end - box.begin < 2 || box.scatter <= c_evenEnough * box.weight)
            break;
        float const mean = GetAxis(GetMean(bins, box.begin, box.end), box.axis);
        auto const middle = std::stable_partition(
            bins.begin() + static_cast<std::ptrdiff_t>(box.begin), bins.begin() + static_cast<std::ptrdiff_t>(box.end),
            [&](Bin const& bin) { return GetAxis(bin.perceived, box.axis) < mean; });
        auto const split = static_cast<std::size_t>(middle - bins.begin());
        if (split == box.begin || split == box.end) {
            widest->scatter = 0;
            continue;
        }
        *widest = MeasureBox(bins, box.begin, split);
        boxes.push_back(MeasureBox(bins, split, box.end));
    }
    std::vector<Perceived> centres;
    for (auto const& box : boxes)
        centres.push_back(GetMean(bins, box.begin, box.end));
    return centres;
}

std::size_t FindNearest(std::vector<Perceived> const& centres, Perceived const& colour) {
    std::size_t nearest = 0;
    float least = 1e9f;
    for (std::size_t i = 0; i != centres.size(); ++i) {
        float const l = centres[i].lightness - colour.lightness, a = centres[i].a - colour.a,
                    b = centres[i].b - colour.b;
        float const distance = l * l + a * a + b * b;
        if (distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest;
}

} // namespace

namespace {

constexpr int c_block = 16;

// At which of sixteen places in two rows a square of two by two equal pixels begins, a bit each. Reads seventeen pixels
// of each row.
std::uint32_t FindSquares(Picture::Pixel const* row, Picture::Pixel const* below) {
    std::array<std::uint32_t, c_block + 1> values, valuesBelow;
    std::memcpy(values.data(), row, sizeof values);
    std::memcpy(valuesBelow.data(), below, sizeof valuesBelow);
    // All clear pixels are equal.
    constexpr auto c_alpha = std::bit_cast<std::uint32_t>(Picture::Pixel{0, 0, 0, 255});
    for (std::size_t i = 0; i != values.size(); ++i) {
        values[i] = (values[i] & c_alpha) == 0 ? 0 : values[i];
        valuesBelow[i] = (valuesBelow[i] & c_alpha) == 0 ? 0 : valuesBelow[i];
    }
    return FindFlags16([&](std::size_t i) {
        return ((values[i] ^ values[i + 1]) | (values[i] ^ valuesBelow[i]) | (values[i] ^ valuesBelow[i + 1])) == 0;
    });
}

} // namespace

std::vector<WeightedColour> FindPlainColours(Picture const& picture, bool const* abort) {
    std::size_t const bands = static_cast<std::size_t>((picture.height - 1 + c_countedRows - 1) / c_countedRows);
    std::vector<KeyCounts> counts(
        std::clamp<std::size_t>(Kernel::Dispatch::GetThreadCount(), 1, std::max<std::size_t>(1, bands)));
    Kernel::ParallelFor(counts.size(), [&](std::size_t share) {
        auto& keys = counts[share];
        for (std::size_t band = share; band < bands && !keys.IsFull(); band += counts.size()) {
            if (Kernel::IsAbortSet(abort))
                throw Kernel::AbortException();
            int const end = std::min(picture.height - 1, static_cast<int>(band + 1) * c_countedRows);
            for (int y = static_cast<int>(band) * c_countedRows; y < end; ++y) {
                auto const* const row = &picture.At(0, y);
                auto const* const below = &picture.At(0, y + 1);
                std::uint32_t current = 0, count = 0;
                auto const add = [&](std::uint32_t key, std::uint32_t more) {
                    if (key != current && count != 0) {
                        keys.Add(current, count);
                        count = 0;
                    }
                    current = key;
                    count += more;
                };
                int x = 0;
                for (; x + c_block < picture.width; x += c_block) {
                    auto squares = FindSquares(row + x, below + x);
                    while (squares != 0) {
                        int const first = std::countr_zero(squares);
                        int const length = std::countr_one(squares >> first);
                        add(ToKey(row[x + first]), static_cast<std::uint32_t>(length));
                        squares &= ~(((1u << length) - 1) << first);
                    }
                }
                for (; x + 1 < picture.width; ++x) {
                    std::uint32_t const key = ToKey(row[x]);
                    if (key == ToKey(row[x + 1]) && key == ToKey(below[x]) && key == ToKey(below[x + 1]))
                        add(key, 1);
                }
                if (count != 0)
                    keys.Add(current, count);
            }
        }
    });
    for (std::size_t i = 1; i != counts.size(); ++i)
        counts[0].Add(counts[i]);
    if (counts[0].IsFull())
        return {};
    auto colours = counts[0].Get();
    std::sort(colours.begin(), colours.end(), [](WeightedColour const& a, WeightedColour const& b) {
        return a.weight != b.weight ? a.weight > b.weight : a.colour < b.colour;
    });
    return colours;
}

std::vector<Picture::Pixel> ReduceColours(Picture const& picture, std::size_t most, bool const* abort) {
    auto bins = CountBins(picture, abort);
    if (bins.empty())
        return {};
    auto centres = SplitBins(bins, most);
    // Lloyd's iteration.
    std::vector<std::size_t> nearest(bins.size());
    constexpr int c_rounds = 6;
    std::vector<std::array<double, 4>> sums, perceivedSums;
    for (int round = 0; round != c_rounds; ++round) {
        if (Kernel::IsAbortSet(abort))
            throw Kernel::AbortException();
        sums.assign(centres.size(), {});
        perceivedSums.assign(centres.size(), {});
        for (std::size_t i = 0; i != bins.size(); ++i) {
            nearest[i] = FindNearest(centres, bins[i].perceived);
            auto& sum = sums[nearest[i]];
            auto& perceived = perceivedSums[nearest[i]];
            double const weight = bins[i].weight;
            for (std::size_t c = 0; c != 3; ++c)
                sum[c] += bins[i].sum[c];
            sum[3] += weight;
            perceived[0] += weight * bins[i].perceived.lightness;
            perceived[1] += weight * bins[i].perceived.a;
            perceived[2] += weight * bins[i].perceived.b;
        }
        for (std::size_t i = 0; i != centres.size(); ++i) {
            if (sums[i][3] == 0)
                continue;
            centres[i] = {static_cast<float>(perceivedSums[i][0] / sums[i][3]),
                          static_cast<float>(perceivedSums[i][1] / sums[i][3]),
                          static_cast<float>(perceivedSums[i][2] / sums[i][3])};
        }
    }
    std::vector<Picture::Pixel> colours;
    for (auto const& sum : sums) {
        if (sum[3] == 0)
            continue;
        Picture::Pixel colour{0, 0, 0, 255};
        for (std::size_t c = 0; c != 3; ++c)
            colour[c] = static_cast<std::uint8_t>(sum[c] / sum[3] + 0.5);
        if (std::find(colours.begin(), colours.end(), colour) == colours.end())
            colours.push_back(colour);
    }
    return colours;
}

} // namespace Tracing
