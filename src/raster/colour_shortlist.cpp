// SPDX-License-Identifier: Apache-2.0
#include "raster/colour_shortlist.h"

#include "raster/pipeline/cpu_dispatch.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace Commands {

namespace {

constexpr std::size_t c_lanes = 16;
constexpr float c_middle = 32768.0f;
// Keeps squares positive that rounding would take below 0.
constexpr float c_lift = 65536.0f;

using Floats = float __attribute__((vector_size(64)));
using Ints = std::int32_t __attribute__((vector_size(64)));
using EightInts = std::int32_t __attribute__((vector_size(32)));
using FourInts = std::int32_t __attribute__((vector_size(16)));

// Bits of squared distances, which are ordered as they are, with the entry's index in the last eight.
struct TwoLeast {
    std::int32_t least, second;
};

// The squared distance of p and q is |p|^2 + |q|^2 - 2pq. All the lanes' two least become those of half the lanes.
struct SearchLoop {
    template <class Vector>
    [[gnu::always_inline]] static void Merge(Vector& least, Vector& second, Vector const& otherLeast,
                                             Vector const& otherSecond) {
        Vector const larger = least > otherLeast ? least : otherLeast;
        Vector const lower = second < otherSecond ? second : otherSecond;
        second = larger < lower ? larger : lower;
        least = least < otherLeast ? least : otherLeast;
    }

    [[gnu::always_inline]] static inline void Run(float const* squares, float const* reds, float const* greens,
                                                  float const* blues, float red, float green, float blue,
                                                  std::size_t count, TwoLeast* result) {
        float const own = red * red + green * green + blue * blue + c_lift;
        Ints index = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
        Ints least = index * 0 + 0x7F000000, second = least;
        for (std::size_t from = 0; from < count; from += c_lanes) {
            Floats v, r, g, b;
            std::memcpy(&v, squares + from, sizeof v);
            std::memcpy(&r, reds + from, sizeof r);
            std::memcpy(&g, greens + from, sizeof g);
            std::memcpy(&b, blues + from, sizeof b);
            v = v + own + red * r + green * g + blue * b;
            Ints const bits = (reinterpret_cast<Ints>(v) & ~0xFF) | index;
            Ints const larger = bits > least ? bits : least;
            second = larger < second ? larger : second;
            least = bits < least ? bits : least;
            index += static_cast<std::int32_t>(c_lanes);
        }
        EightInts eight = __builtin_shufflevector(least, least, 0, 1, 2, 3, 4, 5, 6, 7);
        EightInts eightSecond = __builtin_shufflevector(second, second, 0, 1, 2, 3, 4, 5, 6, 7);
        Merge<EightInts>(eight, eightSecond, __builtin_shufflevector(least, least, 8, 9, 10, 11, 12, 13, 14, 15),
                         __builtin_shufflevector(second, second, 8, 9, 10, 11, 12, 13, 14, 15));
        FourInts four = __builtin_shufflevector(eight, eight, 0, 1, 2, 3);
        FourInts fourSecond = __builtin_shufflevector(eightSecond, eightSecond, 0, 1, 2, 3);
        Merge<FourInts>(four, fourSecond, __builtin_shufflevector(eight, eight, 4, 5, 6, 7),
                        __builtin_shufflevector(eightSecond, eightSecond, 4, 5, 6, 7));
        Merge<FourInts>(four, fourSecond, __builtin_shufflevector(four, four, 2, 3, 2, 3),
                        __builtin_shufflevector(fourSecond, fourSecond, 2, 3, 2, 3));
        Merge<FourInts>(four, fourSecond, __builtin_shufflevector(four, four, 1, 1, 1, 1),
                        __builtin_shufflevector(fourSecond, fourSecond, 1, 1, 1, 1));
        *result = {four[0], fourSecond[0]};
    }
};

} // namespace

ColourShortlist::ColourShortlist(Raster::DynamicPalette const& palette) {
    std::size_t const size = (palette.GetSize() + c_lanes - 1) / c_lanes * c_lanes;
    if (size > 256)
        return;
    m_squares.resize(size, 1e20f);
    for (auto* const plane : {&m_reds, &m_greens, &m_blues})
        plane->resize(size, 0.0f);
    for (std::size_t i = 0; i != palette.GetSize(); ++i) {
        auto const& entry = palette.GetEntry(i).samples;
        // Colours without alpha are near to no opaque pixel.
        if (entry[3] == 0)
            continue;
        float const r = static_cast<float>(entry[0]) - c_middle, g = static_cast<float>(entry[1]) - c_middle,
                    b = static_cast<float>(entry[2]) - c_middle;
        m_squares[i] = r * r + g * g + b * b;
        m_reds[i] = -2 * r;
        m_greens[i] = -2 * g;
        m_blues[i] = -2 * b;
    }
}

int ColourShortlist::FindOnly(float red, float green, float blue) const {
    if (m_squares.empty())
        return -1;
    red -= c_middle;
    green -= c_middle;
    blue -= c_middle;
    TwoLeast found{};
    RunBest<SearchLoop>(m_squares.data(), m_reds.data(), m_greens.data(), m_blues.data(), red, green, blue,
                        m_squares.size(), &found);
    // All terms are below 2^34, so that each of at most nine roundings errs by 512; eight bits for the index are 2^-15
    // of the number. The rule's similarities, 1 - d, are exact to 2^-22 of full scale: squares of distances up to 1
    // that differ by 6 * 2^-22 * 65535^2, about 6200, have different ones.
    float const least = std::bit_cast<float>(found.least), second = std::bit_cast<float>(found.second);
    // Nothing is similar to a colour at full distance; the rule is to say so.
    if (!(second - least > (least + second) * (1.0f / 16384) + 16384.0f) || least > 1e10f)
        return -1;
    return found.least & 0xFF;
}

} // namespace Commands
