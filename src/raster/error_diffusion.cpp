// SPDX-License-Identifier: Apache-2.0
#include "raster/error_diffusion.h"

#include "platform/kernel/abortable.h"
#include "platform/kernel/dispatch.h"
#include "raster/pipeline/cpu_dispatch.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

namespace Commands {

namespace {

constexpr float c_unit = 1.5259022e-5f;
constexpr std::size_t c_vector = 16;
// Entries that take part in no distance stand this far away on the scale of 16 bits.
constexpr float c_farAway = 1e9f;

using Pixel = float __attribute__((vector_size(16)));
using Whole = std::int32_t __attribute__((vector_size(16)));

// Sums of squares of the differences to all colours, and the least of them.
struct DistanceLoop {
    [[gnu::always_inline]] static inline void Run(float const* reds, float const* greens, float const* blues, float red,
                                                  float green, float blue, float* sums, float* least,
                                                  std::size_t count) {
        float lowest[c_vector];
        for (std::size_t i = 0; i < c_vector; ++i)
            lowest[i] = 1e30f;
        for (std::size_t from = 0; from < count; from += c_vector) {
            for (std::size_t i = 0; i < c_vector; ++i) {
                float const dr = (red - reds[from + i]) * c_unit, dg = (green - greens[from + i]) * c_unit,
                            db = (blue - blues[from + i]) * c_unit;
                float const sum = dr * dr + dg * dg + db * db;
                sums[from + i] = sum;
                lowest[i] = sum < lowest[i] ? sum : lowest[i];
            }
        }
        float result = lowest[0];
        for (std::size_t i = 1; i < c_vector; ++i)
            result = lowest[i] < result ? lowest[i] : result;
        *least = result;
    }
};

// The last sum that is not above a limit; -1 for none.
struct LastLoop {
    [[gnu::always_inline]] static inline void Run(float const* sums, float limit, std::int32_t* last,
                                                  std::size_t count) {
        std::int32_t found[c_vector];
        for (std::size_t i = 0; i < c_vector; ++i)
            found[i] = -1;
        for (std::size_t from = 0; from < count; from += c_vector) {
            auto const base = static_cast<std::int32_t>(from);
            for (std::size_t i = 0; i < c_vector; ++i)
                found[i] = sums[from + i] <= limit ? base : found[i];
        }
        std::int32_t result = -1;
        for (std::size_t i = 0; i < c_vector; ++i) {
            std::int32_t const index = found[i] < 0 ? -1 : found[i] + static_cast<std::int32_t>(i);
            result = index > result ? index : result;
        }
        *last = result;
    }
};

float GetSimilarity(float sum) { return 1.0f - std::sqrt(sum / 3.0f); }

bool IsAborted(bool* abort) {
    Kernel::Abortable flag;
    flag.SetAbortPointer(abort);
    return flag.IsAborted();
}

void Spread(Pixel& pixel, Pixel const& error, float share) {
    Pixel v = __builtin_convertvector(__builtin_convertvector(share * error + pixel, Whole), Pixel);
    v = v > 0.0f ? v : Pixel{};
    Pixel const full = {65535.0f, 65535.0f, 65535.0f, 65535.0f};
    pixel = v < full ? v : full;
}

// The rows of a rectangle of a bitmap, one at a time.
class RowStore {
public:
    RowStore(Raster::BitmapBase& bitmap, Kernel::RectT<int> const& rect)
        : m_bitmap(bitmap), m_rect(rect), m_samples(static_cast<std::size_t>(rect.GetWidth())) {}
    void Read(int y, Pixel* row) {
        for (int c = 0; c != 4; ++c) {
            std::as_const(m_bitmap).GetPlane(c).ReadSamples({m_rect.left, y, m_rect.right, y + 1}, m_samples.data(),
                                                            m_samples.size() * 2);
            for (std::size_t x = 0; x != m_samples.size(); ++x)
                row[x][c] = static_cast<float>(m_samples[x]);
        }
    }
    void Write(int y, Pixel const* row) {
        for (int c = 0; c != 4; ++c) {
            for (std::size_t x = 0; x != m_samples.size(); ++x)
                m_samples[x] = static_cast<std::uint16_t>(row[x][c]);
            m_bitmap.GetPlane(c).WriteSamples({m_rect.left, y, m_rect.right, y + 1}, m_samples.data(),
                                              m_samples.size() * 2);
        }
    }

private:
    Raster::BitmapBase& m_bitmap;
    Kernel::RectT<int> m_rect;
    std::vector<std::uint16_t> m_samples;
};

} // namespace

std::optional<std::size_t> MatchColour(Raster::DynamicPalette const& palette, DiffusedPixel const& pixel) {
    if (palette.GetTransparentIndex() && pixel[3] < 65535.0f)
        return palette.GetTransparentIndex();
    float best = 0.0f;
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i != palette.GetSize(); ++i) {
        auto const& entry = palette.GetEntry(i).samples;
        float distance = 1.0f;
        if (pixel[3] == 0 && entry[3] == 0) {
            distance = 0.0f;
        } else if (pixel[3] != 0 && entry[3] != 0) {
            float const dr = (pixel[0] - static_cast<float>(entry[0])) * c_unit;
            float const dg = (pixel[1] - static_cast<float>(entry[1])) * c_unit;
            float const db = (pixel[2] - static_cast<float>(entry[2])) * c_unit;
            distance = std::sqrt((dr * dr + dg * dg + db * db) / 3.0f);
        }
        float const similarity = 1.0f - distance;
        if (similarity >= best) {
            best = similarity;
            found = i;
        }
    }
    return found;
}

PaletteMatcher::PaletteMatcher(Raster::DynamicPalette const& palette) : m_palette(palette), m_shortlist(palette) {
    for (std::size_t i = 0; i != palette.GetSize(); ++i) {
        auto const& entry = palette.GetEntry(i).samples;
        bool const counts = entry[3] != 0;
        m_reds.push_back(counts ? static_cast<float>(entry[0]) : c_farAway);
        m_greens.push_back(static_cast<float>(entry[1]));
        m_blues.push_back(static_cast<float>(entry[2]));
    }
    auto const size = (palette.GetSize() + c_vector - 1) / c_vector * c_vector;
    m_reds.resize(size, c_farAway);
    m_greens.resize(size, 0.0f);
    m_blues.resize(size, 0.0f);
}

// Distances that are not the least may give the same similarity, and the later entry wins: what is within the rounding
// of 1 - d is looked at again by the rule.
int PaletteMatcher::Match(DiffusedPixel const& pixel) const {
    auto const byRule = [&] {
        auto const index = MatchColour(m_palette, pixel);
        return index ? static_cast<int>(*index) : -1;
    };
    if (m_palette.GetTransparentIndex() && pixel[3] < 65535.0f)
        return static_cast<int>(*m_palette.GetTransparentIndex());
    constexpr std::size_t c_most = 1024;
    if (pixel[3] == 0 || m_reds.empty() || m_reds.size() > c_most)
        return byRule();
    if (int const index = m_shortlist.FindOnly(pixel[0], pixel[1], pixel[2]); index >= 0)
        return index;
    alignas(64) float sums[c_most];
    float least = 0;
    RunBest<DistanceLoop>(m_reds.data(), m_greens.data(), m_blues.data(), pixel[0], pixel[1], pixel[2], +sums, &least,
                          m_reds.size());
    float const best = GetSimilarity(least);
    // A transparent entry's similarity is 0.
    if (!(best > 0.0f))
        return byRule();
    float const reach = std::sqrt(least / 3.0f) + 1.5e-7f;
    std::int32_t last = -1;
    RunBest<LastLoop>(+sums, reach * reach * 3.00001f, &last, m_reds.size());
    while (last >= 0 && GetSimilarity(sums[last]) != best)
        --last;
    return last;
}

namespace {

// Rows on several threads. Each takes the next row that nobody has, and works on a pixel once the row above is three
// pixels further: then all that the rows above spread to the pixel and to its neighbour on the right has come, in the
// order of one thread. Rows are given out in order, so that the uppermost one never waits.
class Diffusion {
public:
    Diffusion(Raster::BitmapBase& bitmap, Kernel::RectT<int> const& rect, Raster::DynamicPalette const& palette,
              bool* abort, std::size_t threads)
        : m_bitmap(bitmap),
          m_rect(rect),
          m_width(static_cast<std::size_t>(rect.GetWidth())),
          m_palette(palette),
          m_matcher(palette),
          m_abort(abort),
          m_slots(threads + 1),
          m_pixels(m_slots * m_width),
          m_progress(static_cast<std::size_t>(rect.GetHeight())) {}

    // One thread's share.
    void Work() {
        RowStore store(m_bitmap, m_rect);
        // Others must not wait for a row that is given up.
        struct StopOthers {
            Diffusion& diffusion;
            bool isDone = false;
            ~StopOthers() {
                if (!isDone)
                    diffusion.m_isStopped.store(true, std::memory_order_relaxed);
            }
        } guard{*this};
        while (!IsAborted(m_abort)) {
            auto const row = m_next.fetch_add(1, std::memory_order_relaxed);
            if (row >= m_progress.size() || !WorkOnRow(row, store))
                break;
        }
        guard.isDone = true;
    }

private:
    static constexpr std::size_t c_block = 128;

    Pixel* GetRow(std::size_t row) { return m_pixels.data() + row % m_slots * m_width; }

    // False when the row that is waited for will not come.
    bool WaitFor(std::size_t row, std::size_t progress) const {
        for (int turns = 0; m_progress[row].load(std::memory_order_acquire) < progress; ++turns) {
            if (m_isStopped.load(std::memory_order_relaxed))
                return false;
            if (turns > 1000)
                std::this_thread::yield();
        }
        return true;
    }

    bool WorkOnRow(std::size_t row, RowStore& store) {
        int const y = m_rect.top + static_cast<int>(row);
        if (row == 0)
            store.Read(y, GetRow(0));
        else if (!WaitFor(row - 1, std::min(c_block + 2, m_width)))
            return false;
        Pixel* const below = row + 1 != m_progress.size() ? GetRow(row + 1) : nullptr;
        if (below != nullptr) {
            // The place of the row below is that of one which must have been stored.
            if (row + 1 >= m_slots && !WaitFor(row + 1 - m_slots, m_width + 1))
                return false;
            store.Read(y + 1, below);
        }
        for (std::size_t from = 0; from < m_width; from += c_block) {
            std::size_t const to = std::min(from + c_block, m_width);
            if (row != 0 && !WaitFor(row - 1, std::min(to + 2, m_width)))
                return false;
            DiffuseBlock(GetRow(row), below, from, to);
            m_progress[row].store(to, std::memory_order_release);
        }
        store.Write(y, GetRow(row));
        m_progress[row].store(m_width + 1, std::memory_order_release);
        return true;
    }

    void DiffuseBlock(Pixel* row, Pixel* below, std::size_t from, std::size_t to) const {
        for (std::size_t x = from; x != to; ++x) {
            int const index = m_matcher.Match({row[x][0], row[x][1], row[x][2], row[x][3]});
            if (index < 0)
                continue;
            auto const& entry = m_palette.GetEntry(static_cast<std::size_t>(index)).samples;
            Pixel const colour = {static_cast<float>(entry[0]), static_cast<float>(entry[1]),
                                  static_cast<float>(entry[2]), static_cast<float>(entry[3])};
            Pixel const error = row[x] - colour;
            row[x] = colour;
            if (colour[3] == 0 || std::abs(error[0] + error[1] + error[2] + error[3]) <= 1e-6f)
                continue;
            constexpr float c_sixteenth = 0.0625f;
            if (x + 1 != m_width)
                Spread(row[x + 1], error, 7 * c_sixteenth);
            if (below == nullptr)
                continue;
            if (x != 0)
                Spread(below[x - 1], error, 3 * c_sixteenth);
            Spread(below[x], error, 5 * c_sixteenth);
            if (x + 1 != m_width)
                Spread(below[x + 1], error, c_sixteenth);
        }
    }

    Raster::BitmapBase& m_bitmap;
    Kernel::RectT<int> m_rect;
    std::size_t m_width;
    Raster::DynamicPalette const& m_palette;
    PaletteMatcher m_matcher;
    bool* m_abort;
    // Rows in turn use these places for their pixels.
    std::size_t m_slots;
    std::vector<Pixel> m_pixels;
    // For each row how many pixels are done; one more when it is stored.
    std::vector<std::atomic<std::size_t>> m_progress;
    std::atomic<std::size_t> m_next{0};
    std::atomic<bool> m_isStopped{false};
};

} // namespace

void DiffuseErrors(Raster::Bitmap<Raster::Red16, Raster::Green16, Raster::Blue16, Raster::Alpha16, Raster::X5>& bitmap,
                   Kernel::RectT<int> const& rect, Raster::DynamicPalette const& palette, bool* abort) {
    if (rect.IsEmpty())
        return;
    std::size_t const threads = Kernel::Dispatch::GetThreadCount();
    Diffusion diffusion(bitmap, rect, palette, abort, threads);
    Kernel::ParallelFor(threads, [&](std::size_t) { diffusion.Work(); });
    if (!IsAborted(abort))
        bitmap.FinishChange(rect);
}

} // namespace Commands
