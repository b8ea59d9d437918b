// SPDX-License-Identifier: Apache-2.0
#include "engine/tracing/labels.h"

#include "engine/tracing/changes.h"
#include "engine/tracing/palette.h"
#include "platform/kernel/abort_flag.h"
#include "platform/kernel/dispatch.h"
#include "platform/kernel/exception.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <unordered_map>

namespace Tracing {

namespace {

constexpr std::uint8_t c_unknown = 255;
constexpr int c_bandRows = 32;
// A pixel is a mix of two colours when it is at most this far from the way between them, squared.
constexpr float c_squaredMixRest = 14 * 14;
// A colour of the list that is so near says all of the pixel.
constexpr float c_squaredSame = 24 * 24;
// In pictures that are not of plain colours: a pixel whose components differ by no more from all neighbours is inside
// of an area.
constexpr int c_evenStep = 10;

// The part of a picture whose colours are plain must be so large.
constexpr double c_plainShare = 0.4;

template <class F>
void ForEachBand(Picture const& picture, bool const* abort, F const& work) {
    std::size_t const bands = static_cast<std::size_t>((picture.height + c_bandRows - 1) / c_bandRows);
    Kernel::ParallelFor(bands, [&](std::size_t band) {
        if (Kernel::IsAbortSet(abort))
            throw Kernel::AbortException();
        int const begin = static_cast<int>(band) * c_bandRows;
        work(begin, std::min(picture.height, begin + c_bandRows));
    });
}

void AddColour(Labels& labels, Picture::Pixel const& colour) {
    labels.colours.push_back(colour);
    labels.mixed.push_back(ToMixed(colour));
}

std::size_t FindNearestLabel(Labels const& labels, MixedColour const& colour, std::size_t first = 0) {
    std::size_t nearest = first;
    float least = 1e9f;
    for (std::size_t i = first; i < labels.mixed.size(); ++i) {
        float const distance = SquaredDistance(labels.mixed[i], colour);
        if (distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest;
}

// Labels of the pixels around one, those known only.
class Neighbours {
public:
    Neighbours(Labels const& labels, Picture const& picture, int x, int y, int reach) {
        int const left = std::max(0, x - reach), right = std::min(picture.width - 1, x + reach);
        // A bit for each label below 128.
        std::array<std::uint64_t, 2> seen{};
        for (int row = std::max(0, y - reach); row <= std::min(picture.height - 1, y + reach); ++row) {
            auto const* const values =
                &labels.ofPixel[static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.width)];
            for (int column = left; column <= right; ++column) {
                auto const label = values[column];
                seen[0] |= static_cast<std::uint64_t>(label >> 6 == 0) << (label & 63);
                seen[1] |= static_cast<std::uint64_t>(label >> 6 == 1) << (label & 63);
            }
        }
        for (std::size_t word = 0; word != seen.size(); ++word) {
            for (auto bits = seen[word]; bits != 0 && m_count != m_labels.size(); bits &= bits - 1)
                m_labels[m_count++] =
                    static_cast<std::uint8_t>(64 * word + static_cast<std::size_t>(std::countr_zero(bits)));
        }
    }
    std::size_t GetCount() const { return m_count; }
    std::uint8_t operator[](std::size_t i) const { return m_labels[i]; }

private:
    std::array<std::uint8_t, 6> m_labels{};
    std::size_t m_count = 0;
};

// The label of a pixel that no colour of the list is; c_unknown when nothing around explains it.
std::uint8_t FindMixedLabel(Labels const& labels, Neighbours const& around, MixedColour const& colour) {
    std::uint8_t best = c_unknown;
    float least = c_squaredMixRest;
    for (std::size_t i = 0; i != around.GetCount(); ++i) {
        float const distance = SquaredDistance(labels.mixed[around[i]], colour);
        if (distance < least) {
            least = distance;
            best = around[i];
        }
    }
    if (best != c_unknown)
        return best;
    least = c_squaredMixRest;
    for (std::size_t i = 0; i != around.GetCount(); ++i) {
        for (std::size_t k = i + 1; k != around.GetCount(); ++k) {
            auto const mix = FindMix(colour, labels.mixed[around[i]], labels.mixed[around[k]]);
            if (mix.squaredRest < least) {
                least = mix.squaredRest;
                best = mix.share < 0.5f ? around[i] : around[k];
            }
        }
    }
    if (best != c_unknown || around.GetCount() < 3)
        return best;
    // Where three areas meet.
    float nearest = 1e9f;
    for (std::size_t i = 0; i != around.GetCount(); ++i) {
        float const distance = SquaredDistance(labels.mixed[around[i]], colour);
        if (distance < nearest) {
            nearest = distance;
            best = around[i];
        }
    }
    return best;
}

// Colours of lines that are too thin to have a square of two by two pixels of their own: the most frequent colours of
// the pixels that nothing explains.
void AddThinColours(Labels& labels, std::vector<std::uint32_t> const& unexplained, Picture const& picture,
                    std::size_t most) {
    std::unordered_map<std::uint32_t, std::array<std::uint64_t, 5>> bins;
    for (auto const at : unexplained) {
        auto const& p = picture.pixels[at];
        if (SquaredDistance(labels.mixed[FindNearestLabel(labels, ToMixed(p))], ToMixed(p)) < 48 * 48)
            continue;
        auto& bin = bins[static_cast<std::uint32_t>(p[0] >> 4 << 12 | p[1] >> 4 << 8 | p[2] >> 4 << 4 | p[3] >> 4)];
        for (std::size_t c = 0; c != 4; ++c)
            bin[c] += p[c];
        ++bin[4];
    }
    std::vector<std::pair<std::uint32_t, std::array<std::uint64_t, 5>>> sorted(bins.begin(), bins.end());
    std::sort(sorted.begin(), sorted.end(), [](auto const& a, auto const& b) {
        return a.second[4] != b.second[4] ? a.second[4] > b.second[4] : a.first < b.first;
    });
    constexpr std::uint64_t c_fewest = 12;
    for (auto const& [key, sum] : sorted) {
        if (labels.colours.size() > most || sum[4] < c_fewest)
            return;
        Picture::Pixel mean{};
        for (std::size_t c = 0; c != 4; ++c)
            mean[c] = static_cast<std::uint8_t>((sum[c] + sum[4] / 2) / sum[4]);
        auto const mixed = ToMixed(mean);
        if (SquaredDistance(labels.mixed[FindNearestLabel(labels, mixed)], mixed) >= 48 * 48)
            AddColour(labels, mean);
    }
}

// Calls visit(x) for the pixels of a row that have no label.
template <class F>
void ForEachUnknown(std::uint8_t const* row, int width, F const& visit) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        auto const* const block = row + x;
        auto unknown = FindFlags16([&](std::size_t i) { return block[i] == c_unknown; });
        for (; unknown != 0; unknown &= unknown - 1)
            visit(x + std::countr_zero(unknown));
    }
    for (; x != width; ++x) {
        if (row[x] == c_unknown)
            visit(x);
    }
}

// Second step: gives labels to the pixels that have none yet, looking at those that had one before this step.
void LabelMixedPixels(Labels& labels, Picture const& picture, Options const& options, bool isPlain) {
    auto const width = static_cast<std::size_t>(picture.width);
    std::vector<std::uint8_t> result = labels.ofPixel;
    std::size_t const bands = static_cast<std::size_t>((picture.height + c_bandRows - 1) / c_bandRows);
    std::vector<std::vector<std::uint32_t>> unexplained(bands);
    ForEachBand(picture, options.abort, [&](int begin, int end) {
        std::vector<int> unknown;
        auto& open = unexplained[static_cast<std::size_t>(begin / c_bandRows)];
        for (int y = begin; y != end; ++y) {
            auto const* const row = &labels.ofPixel[static_cast<std::size_t>(y) * width];
            // These pixels are far from each other: all are fetched before the first is needed.
            unknown.clear();
            ForEachUnknown(row, picture.width, [&](int x) {
                __builtin_prefetch(&picture.At(x, y));
                unknown.push_back(x);
            });
            for (int const x : unknown) {
                std::size_t const at = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
                auto const colour = ToMixed(picture.pixels[at]);
                auto label = FindMixedLabel(labels, Neighbours(labels, picture, x, y, 1), colour);
                if (label == c_unknown)
                    label = FindMixedLabel(labels, Neighbours(labels, picture, x, y, 2), colour);
                if (label == c_unknown)
                    open.push_back(static_cast<std::uint32_t>(at));
                result[at] = label;
            }
        }
    });
    if (isPlain) {
        std::vector<std::uint32_t> all;
        for (auto const& band : unexplained)
            all.insert(all.end(), band.begin(), band.end());
        AddThinColours(labels, all, picture, static_cast<std::size_t>(options.colours));
    }
    Kernel::ParallelFor(bands, [&](std::size_t band) {
        for (auto const at : unexplained[band]) {
            auto const colour = ToMixed(picture.pixels[at]);
            // Only in plain pictures are all opacities those of colours.
            bool const isClear = !isPlain && picture.pixels[at][3] < 128;
            result[at] = isClear ? 0 : static_cast<std::uint8_t>(FindNearestLabel(labels, colour, isPlain ? 0 : 1));
        }
    });
    labels.ofPixel = std::move(result);
}

void LabelPlainPixels(Labels& labels, Picture const& picture, Options const& options) {
    std::vector<std::pair<std::uint32_t, std::uint8_t>> slots(1024, {0, c_unknown});
    auto const hash = [](std::uint32_t key) { return static_cast<std::size_t>((key * 0x9E3779B1u) >> 22); };
    for (std::size_t i = 0; i != labels.colours.size(); ++i) {
        auto const key = std::bit_cast<std::uint32_t>(labels.colours[i]);
        std::size_t at = hash(key);
        while (slots[at].second != c_unknown)
            at = (at + 1) & 1023;
        slots[at] = {key, static_cast<std::uint8_t>(i)};
    }
    auto const find = [&](Picture::Pixel const& pixel) {
        auto const key = pixel[3] == 0 ? 0 : std::bit_cast<std::uint32_t>(pixel);
        std::size_t at = hash(key);
        // One condition: which of its parts ends the search can't be foretold, and nearly always one does at once.
        while (static_cast<int>(slots[at].second != c_unknown) & static_cast<int>(slots[at].first != key))
            at = (at + 1) & 1023;
        return slots[at].second;
    };
    ForEachBand(picture, options.abort, [&](int begin, int end) {
        auto const width = static_cast<std::size_t>(picture.width);
        std::size_t const stop = static_cast<std::size_t>(end) * width;
        std::size_t i = static_cast<std::size_t>(begin) * width;
        std::uint8_t label = labels.ofPixel[i] = find(picture.pixels[i]);
        ++i;
        constexpr std::size_t c_block = 16;
        for (; i + c_block <= stop; i += c_block) {
            std::array<std::uint32_t, c_block + 1> values;
            std::memcpy(values.data(), &picture.pixels[i - 1], sizeof values);
            auto changes = FindFlags16([&](std::size_t k) { return values[k] != values[k + 1]; });
            std::array<std::uint8_t, 2 * c_block> found;
            std::fill_n(found.data(), c_block, label);
            for (; changes != 0; changes &= changes - 1) {
                auto const at = static_cast<std::size_t>(std::countr_zero(changes));
                label = find(picture.pixels[i + at]);
                std::fill_n(&found[at], c_block, label);
            }
            std::copy_n(found.data(), c_block, &labels.ofPixel[i]);
        }
        for (; i < stop; ++i)
            labels.ofPixel[i] = find(picture.pixels[i]);
    });
}

bool IsEven(Picture::Pixel const& a, Picture::Pixel const& b) {
    for (std::size_t c = 0; c != 4; ++c) {
        if (std::abs(a[c] - b[c]) > c_evenStep)
            return false;
    }
    return true;
}

// The nearest label of all colours that share the five upper bits of their components.
std::vector<std::uint8_t> MakeNearestTable(Labels const& labels) {
    std::vector<std::uint8_t> table(1 << 15);
    Kernel::ParallelFor(32, [&](std::size_t red) {
        for (std::size_t rest = 0; rest != 1 << 10; ++rest) {
            MixedColour const colour{static_cast<float>(red * 8 + 4), static_cast<float>((rest >> 5) * 8 + 4),
                                     static_cast<float>((rest & 31) * 8 + 4), 255};
            table[red << 10 | rest] = static_cast<std::uint8_t>(FindNearestLabel(labels, colour, 1));
        }
    });
    return table;
}

void LabelEvenPixels(Labels& labels, Picture const& picture, Options const& options) {
    auto const table = MakeNearestTable(labels);
    ForEachBand(picture, options.abort, [&](int begin, int end) {
        for (int y = begin; y != end; ++y) {
            for (int x = 0; x != picture.width; ++x) {
                auto const& p = picture.At(x, y);
                bool const isEven = (x == 0 || IsEven(p, picture.At(x - 1, y))) &&
                                    (x + 1 == picture.width || IsEven(p, picture.At(x + 1, y))) &&
                                    (y == 0 || IsEven(p, picture.At(x, y - 1))) &&
                                    (y + 1 == picture.height || IsEven(p, picture.At(x, y + 1)));
                std::uint8_t label = c_unknown;
                if (p[3] == 0 || (isEven && p[3] < 128))
                    label = 0;
                else if (isEven)
                    label = table[static_cast<std::size_t>(p[0] >> 3 << 10 | p[1] >> 3 << 5 | p[2] >> 3)];
                labels.ofPixel[static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.width) +
                               static_cast<std::size_t>(x)] = label;
            }
        }
    });
}

} // namespace

Labels FindLabels(Picture const& picture, Options const& options) {
    Labels labels;
    labels.ofPixel.resize(picture.pixels.size());
    AddColour(labels, {});
    auto plain = FindPlainColours(picture, options.abort);
    double covered = 0;
    for (auto const& colour : plain)
        covered += colour.weight;
    std::uint32_t const fewest = static_cast<std::uint32_t>(std::clamp(options.smallestArea / 2, 1, 64));
    std::erase_if(plain, [&](WeightedColour const& colour) { return colour.weight < fewest || colour.colour[3] == 0; });
    bool const isPlain = covered >= c_plainShare * static_cast<double>(picture.pixels.size()) &&
                         plain.size() <= static_cast<std::size_t>(options.colours);
    if (isPlain) {
        for (auto const& colour : plain)
            AddColour(labels, colour.colour);
        LabelPlainPixels(labels, picture, options);
    } else {
        for (auto const& colour : ReduceColours(picture, static_cast<std::size_t>(options.colours), options.abort)) {
            // A colour that one area has to the bit stays as it is.
            auto const same = std::find_if(plain.begin(), plain.end(), [&](WeightedColour const& known) {
                return known.weight >= 16 * fewest && known.colour[3] == 255 &&
                       SquaredDistance(ToMixed(known.colour), ToMixed(colour)) < 4 * 4;
            });
            AddColour(labels, same == plain.end() ? colour : same->colour);
        }
        LabelEvenPixels(labels, picture, options);
    }
    LabelMixedPixels(labels, picture, options, isPlain);
    return labels;
}

} // namespace Tracing
