// SPDX-License-Identifier: Apache-2.0
#include "bench/effects/floors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <sys/mman.h>

namespace Bench {

PlainMemory::PlainMemory(std::size_t bytes, bool onLargePages) {
    constexpr std::size_t c_page = std::size_t(2) << 20;
    auto const rounded = (bytes + c_page - 1) / c_page * c_page;
    m_bytes = static_cast<std::byte*>(std::aligned_alloc(c_page, rounded));
    if (m_bytes == nullptr)
        std::abort();
    madvise(m_bytes, rounded, onLargePages ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
    std::fill_n(m_bytes, bytes, std::byte(3));
}

PlainMemory::~PlainMemory() { std::free(m_bytes); }

template <bool ToPolar>
void RemapPlainly(std::vector<std::uint8_t> const& from, std::vector<std::uint8_t>& to, int side) {
    double const size = side;
    for (int y = 0; y != side; ++y) {
        for (int x = 0; x != side; ++x) {
            float sums[4] = {};
            for (int v = 0; v != 5; ++v) {
                for (int u = 0; u != 5; ++u) {
                    double const px = static_cast<float>(x + 0.2 * u), py = static_cast<float>(y + 0.2 * v);
                    float rx, ry;
                    if constexpr (ToPolar) {
                        double const dx = (px - size / 2) * (1 / (size * 0.5)),
                                     dy = (py - size / 2) * (1 / (size * 0.5));
                        rx = static_cast<float>((std::atan2(dx, dy) + 3.141590118408203) * size / 6.283180236816406);
                        ry = static_cast<float>(std::hypot(dx, dy) * size);
                    } else {
                        double const radius = py / size, angle = -std::numbers::pi + px * 2 * std::numbers::pi / size;
                        rx = static_cast<float>(size / 2 + radius * std::sin(angle) * 0.5 * size);
                        ry = static_cast<float>(size / 2 + radius * std::cos(angle) * 0.5 * size);
                    }
                    int const sx = std::clamp(static_cast<int>(rx), 0, side - 1);
                    int const sy = std::clamp(static_cast<int>(ry), 0, side - 1);
                    auto const* const s =
                        from.data() + 4 * (static_cast<std::size_t>(sy) * static_cast<std::size_t>(side) +
                                           static_cast<std::size_t>(sx));
                    float const alpha = s[3], weight = alpha == 255 ? 1 : alpha * 0.003921569f;
                    for (int c = 0; c != 3; ++c)
                        sums[c] += static_cast<float>(s[c]) * weight;
                    sums[3] += alpha;
                }
            }
            auto* const t = to.data() + 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(side) +
                                             static_cast<std::size_t>(x));
            float const alpha = sums[3] * 0.04f;
            for (int c = 0; c != 4; ++c) {
                float mean = sums[c] * 0.04f;
                if (c != 3 && alpha != 255 && alpha > 1e-20f)
                    mean = std::min(mean * 255 / alpha, 255.0f);
                t[c] = static_cast<std::uint8_t>(mean + 0.5f);
            }
        }
    }
}

template void RemapPlainly<false>(std::vector<std::uint8_t> const&, std::vector<std::uint8_t>&, int);
template void RemapPlainly<true>(std::vector<std::uint8_t> const&, std::vector<std::uint8_t>&, int);

void DitherPlainly(std::vector<float>& pixels, int side) {
    std::vector<std::array<float, 3>> palette;
    for (int i = 0; i != 216; ++i)
        palette.push_back({float(i / 36 * 13107), float(i / 6 % 6 * 13107), float(i % 6 * 13107)});
    auto const at = [&](int x, int y) {
        return pixels.data() +
               3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(side) + static_cast<std::size_t>(x));
    };
    for (int y = 0; y != side; ++y) {
        for (int x = 0; x != side; ++x) {
            float* const p = at(x, y);
            float best = 0;
            std::size_t found = 0;
            for (std::size_t i = 0; i != palette.size(); ++i) {
                float const r = (p[0] - palette[i][0]) * 1.5259022e-5f, g = (p[1] - palette[i][1]) * 1.5259022e-5f,
                            b = (p[2] - palette[i][2]) * 1.5259022e-5f;
                float const similarity = 1 - std::sqrt((r * r + g * g + b * b) / 3);
                if (similarity >= best) {
                    best = similarity;
                    found = i;
                }
            }
            float error[3];
            for (std::size_t c = 0; c != 3; ++c) {
                error[c] = p[c] - palette[found][c];
                p[c] = palette[found][c];
            }
            auto const spread = [&](int nx, int ny, float share) {
                if (nx < 0 || nx >= side || ny >= side)
                    return;
                float* const n = at(nx, ny);
                for (std::size_t c = 0; c != 3; ++c)
                    n[c] = std::clamp(std::trunc(share * error[c] + n[c]), 0.0f, 65535.0f);
            };
            spread(x + 1, y, 7 * 0.0625f);
            spread(x - 1, y + 1, 3 * 0.0625f);
            spread(x, y + 1, 5 * 0.0625f);
            spread(x + 1, y + 1, 0.0625f);
        }
    }
}

} // namespace Bench
