// SPDX-License-Identifier: Apache-2.0
#include "engine/learning/plain_ground_field.h"
#include "platform/kernel/dispatch.h"
#include "platform/learning/back_ends.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

namespace Learning {

namespace {

using Result = RemoteInference::Result;

// Of each pixel.
enum Kind : std::uint8_t {
    // Of the ground's colour, not yet reached.
    LikeGround = 0,
    Other = 1,
    Ground = 2,
    // Of the ground's colour, and kept because the subject surrounds it.
    Kept = 3
};

constexpr int c_sharedRows = 64;
// Pixels whose alpha is at least this count as pixels of the picture.
constexpr std::uint8_t c_opaque = 250;

// Finds the subject on a plain ground.
//
// A smooth field is fitted to the picture's edge. Pixels that fit it and are connected with the edge are ground, and so
// are enclosed areas that fit it as well as the ground does, such as the hole of a handle. The alpha of a pixel beside
// the ground says where its colour stands between the field's and that of the subject further in: the formula of
// T. Porter and T. Duff, "Compositing Digital Images", 1984, solved for alpha.
class GroundFinder {
public:
    GroundFinder(Raster::BufferRGBA8 const& picture, Matte& matte, InferenceCall const& call)
        : m_picture(picture),
          m_matte(matte),
          m_call(call),
          m_width(picture.GetWidth()),
          m_height(picture.GetHeight()),
          m_field(m_width, m_height),
          m_kinds(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height)) {}

    Result Find() {
        auto const edge = SampleEdge();
        if (edge.empty() || m_clearShare > 0.5)
            return {RemoteInference::Refused, "the ground of the picture is clear already"};
        m_field.Fit(edge);
        if (!IsPlain(edge))
            return {RemoteInference::BusyGround,
                    "the ground of the picture is not plain enough to be removed without a model or a service"};
        // The second time the field is fitted to all of the ground.
        constexpr int c_rounds = 2;
        for (int round = 0; round != c_rounds; ++round) {
            if (round != 0)
                m_field.Refine(SampleGround());
            m_threshold = std::clamp(3.5f * m_field.GetNoise() + 4, 7.0f, 30.0f);
            if (!FindKinds())
                return {RemoteInference::Cancelled, "cancelled"};
            FloodFromEdge();
        }
        SettleEnclosed();
        DropSpecks();
        if (std::find(m_kinds.begin(), m_kinds.end(), Other) == m_kinds.end())
            return {RemoteInference::Refused, "nothing stands out from the ground of the picture"};
        if (!MakeMatte())
            return {RemoteInference::Cancelled, "cancelled"};
        return {};
    }

private:
    using Sample = ColourField::Sample;

    std::size_t At(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) + static_cast<std::size_t>(x);
    }
    Sample GetSample(int x, int y) const {
        auto const part = [&](int channel) { return static_cast<float>(m_picture.GetRow(channel, y)[x]); };
        return {x, y, {part(0), part(1), part(2)}};
    }
    bool IsOpaque(int x, int y) const { return m_picture.GetRow(3, y)[x] >= c_opaque; }

    // Pixels along the edge, a few deep, some thousands at most.
    std::vector<Sample> SampleEdge() {
        int const depth = std::clamp(std::min(m_width, m_height) / 200, 1, 6);
        std::int64_t const around = 2 * (std::int64_t{m_width} + m_height) * depth;
        int const step = static_cast<int>(std::max<std::int64_t>(1, around / 6000));
        std::vector<Sample> samples;
        std::size_t clear = 0;
        auto const add = [&](int x, int y) {
            if (IsOpaque(x, y))
                samples.push_back(GetSample(x, y));
            else
                ++clear;
        };
        for (int layer = 0; layer != depth; ++layer) {
            for (int x = layer % step; x < m_width; x += step) {
                add(x, layer);
                add(x, m_height - 1 - layer);
            }
            for (int y = layer % step; y < m_height; y += step) {
                add(layer, y);
                add(m_width - 1 - layer, y);
            }
        }
        m_clearShare = static_cast<double>(clear) / static_cast<double>(samples.size() + clear);
        return samples;
    }

    bool IsPlain(std::vector<Sample> const& edge) const {
        // Of the noisiest ground that is still told from a subject, and the part of the edge that a subject may cover.
        constexpr float c_mostNoise = 9;
        constexpr double c_leastShare = 0.6;
        float const near = std::clamp(4 * m_field.GetNoise(), 8.0f, 30.0f);
        auto const count = std::count_if(edge.begin(), edge.end(),
                                         [&](Sample const& sample) { return m_field.GetResidual(sample) <= near; });
        return m_field.GetNoise() <= c_mostNoise &&
               static_cast<double>(count) >= c_leastShare * static_cast<double>(edge.size());
    }

    std::vector<Sample> SampleGround() const {
        std::vector<Sample> samples;
        int const step = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(m_kinds.size()) / 30000)));
        for (int y = 0; y < m_height; y += step) {
            for (int x = y % step; x < m_width; x += step) {
                if (m_kinds[At(x, y)] == Ground && IsOpaque(x, y))
                    samples.push_back(GetSample(x, y));
            }
        }
        return samples;
    }

    template <class F>
    bool ForEachBand(F const& work) const {
        std::atomic<bool> isCancelled{false};
        Kernel::ParallelFor(static_cast<std::size_t>((m_height + c_sharedRows - 1) / c_sharedRows),
                            [&](std::size_t band) {
                                if (m_call.IsCancelled())
                                    isCancelled = true;
                                int const begin = static_cast<int>(band) * c_sharedRows;
                                if (!isCancelled)
                                    work(begin, std::min(m_height, begin + c_sharedRows));
                            });
        return !isCancelled;
    }

    bool FindKinds() {
        return ForEachBand([&](int begin, int end) {
            std::vector<float> field;
            auto const width = static_cast<std::size_t>(m_width);
            for (int y = begin; y != end; ++y) {
                m_field.GetRow(y, field);
                auto* const kinds = &m_kinds[At(0, y)];
                auto const *const red = m_picture.GetRow(0, y), *const green = m_picture.GetRow(1, y),
                                  *const blue = m_picture.GetRow(2, y), *const alpha = m_picture.GetRow(3, y);
                for (std::size_t x = 0; x != width; ++x) {
                    float const r = std::abs(static_cast<float>(red[x]) - field[x]),
                                g = std::abs(static_cast<float>(green[x]) - field[width + x]),
                                b = std::abs(static_cast<float>(blue[x]) - field[2 * width + x]);
                    bool const isFar = std::max({r, g, b}) > m_threshold;
                    kinds[x] = static_cast<std::uint8_t>(isFar & (alpha[x] != 0));
                }
            }
        });
    }

    // Gives one kind to all pixels that are connected with the pending ones by sides, and have kind `from`.
    void Flood(std::vector<std::uint32_t>& pending, std::uint8_t from, std::uint8_t to) {
        auto const width = static_cast<std::uint32_t>(m_width);
        while (!pending.empty()) {
            auto const at = pending.back();
            pending.pop_back();
            auto const visit = [&](std::uint32_t next) {
                if (m_kinds[next] == from) {
                    m_kinds[next] = to;
                    pending.push_back(next);
                }
            };
            std::uint32_t const x = at % width;
            if (x != 0)
                visit(at - 1);
            if (x + 1 != width)
                visit(at + 1);
            if (at >= width)
                visit(at - width);
            if (at + width < m_kinds.size())
                visit(at + width);
        }
    }

    void FloodFromEdge() {
        std::vector<std::uint32_t> pending;
        auto const begin = [&](int x, int y) {
            auto& kind = m_kinds[At(x, y)];
            if (kind == LikeGround) {
                kind = Ground;
                pending.push_back(static_cast<std::uint32_t>(At(x, y)));
            }
        };
        for (int x = 0; x != m_width; ++x) {
            begin(x, 0);
            begin(x, m_height - 1);
        }
        for (int y = 0; y != m_height; ++y) {
            begin(0, y);
            begin(m_width - 1, y);
        }
        Flood(pending, LikeGround, Ground);
    }

    // The pixels of one kind that are connected with one of them.
    std::vector<std::uint32_t> TakeArea(std::uint32_t first, std::uint8_t from, std::uint8_t to) {
        std::vector<std::uint32_t> area{first};
        auto const width = static_cast<std::uint32_t>(m_width);
        m_kinds[first] = to;
        for (std::size_t i = 0; i != area.size(); ++i) {
            auto const at = area[i];
            auto const visit = [&](std::uint32_t next) {
                if (m_kinds[next] == from) {
                    m_kinds[next] = to;
                    area.push_back(next);
                }
            };
            if (at % width != 0)
                visit(at - 1);
            if ((at + 1) % width != 0)
                visit(at + 1);
            if (at >= width)
                visit(at - width);
            if (at + width < m_kinds.size())
                visit(at + width);
        }
        return area;
    }

    // A hole shows the ground itself: it is no highlight, for it is large, and its mean colour is the field's. Other
    // enclosed areas are parts of the subject that happen to have the ground's colour.
    void SettleEnclosed() {
        std::size_t const fewest = std::max<std::size_t>(48, m_kinds.size() / 8000);
        float const near = 1.0f + 0.5f * m_field.GetNoise();
        for (std::uint32_t i = 0; i != m_kinds.size(); ++i) {
            if (m_kinds[i] != LikeGround)
                continue;
            auto const area = TakeArea(i, LikeGround, Kept);
            if (area.size() < fewest)
                continue;
            std::array<double, 3> sum{};
            for (auto const at : area) {
                int const x = static_cast<int>(at % static_cast<std::uint32_t>(m_width)),
                          y = static_cast<int>(at / static_cast<std::uint32_t>(m_width));
                auto const colour = GetSample(x, y).colour, field = m_field.GetColour(x, y);
                for (std::size_t c = 0; c != 3; ++c)
                    sum[c] += static_cast<double>(colour[c]) - static_cast<double>(field[c]);
            }
            bool const isHole = std::all_of(sum.begin(), sum.end(), [&](double value) {
                return std::abs(value) <= static_cast<double>(near) * static_cast<double>(area.size());
            });
            for (auto const at : area)
                m_kinds[at] = isHole ? Ground : Other;
        }
        std::replace(m_kinds.begin(), m_kinds.end(), std::uint8_t{Kept}, std::uint8_t{Other});
    }

    // Whether some pixel of an area is far from the ground's colours, not only at the limit of what is told from them.
    bool StandsOut(std::vector<std::uint32_t> const& area) const {
        return std::any_of(area.begin(), area.end(), [&](std::uint32_t at) {
            auto const width = static_cast<std::uint32_t>(m_width);
            auto const sample = GetSample(static_cast<int>(at % width), static_cast<int>(at / width));
            return m_field.GetResidual(sample) > 1.6f * m_threshold;
        });
    }

    // Grains of noise and dust, and bits of the rims of shadows.
    void DropSpecks() {
        std::size_t const fewest = 6 + m_kinds.size() / 100000;
        for (std::uint32_t i = 0; i != m_kinds.size(); ++i) {
            if (m_kinds[i] != Other)
                continue;
            auto const area = TakeArea(i, Other, Kept);
            if (area.size() >= fewest && (area.size() >= m_kinds.size() / 200 || StandsOut(area)))
                continue;
            for (auto const at : area)
                m_kinds[at] = Ground;
        }
        std::replace(m_kinds.begin(), m_kinds.end(), std::uint8_t{Kept}, std::uint8_t{Other});
    }

    bool IsGround(int x, int y) const {
        return x >= 0 && y >= 0 && x < m_width && y < m_height && m_kinds[At(x, y)] == Ground;
    }

    bool MakeMatte() {
        // Soft edges are at most so wide, in pixels.
        m_reach = std::clamp(std::min(m_width, m_height) / 100, 3, 12);
        auto* const block = static_cast<std::uint8_t*>(m_matte.GetBuffer());
        std::vector<std::uint8_t> nearGround = FindNearGround();
        return ForEachBand([&](int begin, int end) {
            for (int y = begin; y != end; ++y) {
                auto* const row = block + static_cast<std::size_t>(y) * m_matte.GetRowBytes();
                for (int x = 0; x != m_width; ++x) {
                    std::size_t const at = At(x, y);
                    if (nearGround[at] == 0)
                        row[x] = m_kinds[at] == Ground ? 0 : 255;
                    else
                        row[x] = GetAlpha(x, y);
                }
            }
        });
    }

    // The pixels within reach of both the ground and the subject: distances along rows, then columns.
    std::vector<std::uint8_t> FindNearGround() const {
        std::vector<std::uint8_t> near(m_kinds.size(), 0);
        auto const spread = [&](std::uint8_t kind, int reach, std::vector<std::uint8_t>& marks) {
            std::vector<std::uint8_t> across(m_kinds.size());
            ForEachBand([&](int begin, int end) {
                for (int y = begin; y != end; ++y) {
                    auto const* const kinds = &m_kinds[At(0, y)];
                    auto* const row = &across[At(0, y)];
                    for (int x = 0, left = 0; x != m_width; ++x) {
                        left = kinds[x] == kind ? reach + 1 : std::max(0, left - 1);
                        row[x] = left != 0;
                    }
                    for (int x = m_width - 1, left = 0; x >= 0; --x) {
                        left = kinds[x] == kind ? reach + 1 : std::max(0, left - 1);
                        row[x] = static_cast<std::uint8_t>(row[x] | (left != 0));
                    }
                }
            });
            marks.assign(m_kinds.size(), 0);
            std::vector<int> left(static_cast<std::size_t>(m_width), 0);
            for (int y = 0; y != m_height; ++y) {
                for (int x = 0; x != m_width; ++x) {
                    auto& rest = left[static_cast<std::size_t>(x)];
                    rest = across[At(x, y)] != 0 ? reach + 1 : std::max(0, rest - 1);
                    marks[At(x, y)] = rest != 0;
                }
            }
            std::fill(left.begin(), left.end(), 0);
            for (int y = m_height - 1; y >= 0; --y) {
                for (int x = 0; x != m_width; ++x) {
                    auto& rest = left[static_cast<std::size_t>(x)];
                    rest = across[At(x, y)] != 0 ? reach + 1 : std::max(0, rest - 1);
                    marks[At(x, y)] = static_cast<std::uint8_t>(marks[At(x, y)] | (rest != 0));
                }
            }
        };
        std::vector<std::uint8_t> nearSubject;
        spread(Ground, m_reach, near);
        // Outside of the threshold only the faintest part of an edge is left.
        spread(Other, 2, nearSubject);
        for (std::size_t i = 0; i != near.size(); ++i)
            near[i] = static_cast<std::uint8_t>(near[i] & nearSubject[i]);
        return near;
    }

    static float SquaredDistance(std::array<float, 3> const& a, std::array<float, 3> const& b) {
        return (a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]);
    }

    // Whether the colour is as far from the ground's a little further out already: then the edge lies there.
    bool IsInside(int x, int y, float awayX, float awayY, float squaredDistance) const {
        constexpr float c_asFar = 0.9f;
        for (int step = 1; step <= m_reach; ++step) {
            int const outX = static_cast<int>(std::lround(static_cast<float>(x) - awayX * static_cast<float>(step))),
                      outY = static_cast<int>(std::lround(static_cast<float>(y) - awayY * static_cast<float>(step)));
            if (outX < 0 || outY < 0 || outX >= m_width || outY >= m_height)
                return true;
            if (IsGround(outX, outY))
                return false;
            if (SquaredDistance(GetSample(outX, outY).colour, m_field.GetColour(outX, outY)) >=
                c_asFar * squaredDistance)
                return true;
        }
        return true;
    }

    std::uint8_t GetAlpha(int x, int y) const {
        // Away from the ground around it.
        float awayX = 0, awayY = 0;
        int const window = std::min(m_reach, 5);
        for (int dy = -window; dy <= window; ++dy) {
            for (int dx = -window; dx <= window; ++dx) {
                if (IsGround(x + dx, y + dy)) {
                    awayX -= static_cast<float>(dx);
                    awayY -= static_cast<float>(dy);
                } else if (x + dx >= 0 && y + dy >= 0 && x + dx < m_width && y + dy < m_height) {
                    awayX += static_cast<float>(dx);
                    awayY += static_cast<float>(dy);
                }
            }
        }
        float const length = std::hypot(awayX, awayY);
        bool const isGround = IsGround(x, y);
        if (length < 1e-3f)
            return isGround ? 0 : 255;
        awayX /= length;
        awayY /= length;
        auto const here = GetSample(x, y).colour, ground = m_field.GetColour(x, y);
        // Inwards until the colour no longer leaves that of the ground: that is the subject's own.
        float farthest = SquaredDistance(here, ground);
        if (!isGround && IsInside(x, y, awayX, awayY, farthest))
            return 255;
        auto subject = here;
        int sinceFarther = 0, steps = 0;
        int const most = m_reach + 2;
        for (int step = 1; step <= most && sinceFarther < 2; ++step) {
            int const nextX = static_cast<int>(std::lround(static_cast<float>(x) + awayX * static_cast<float>(step))),
                      nextY = static_cast<int>(std::lround(static_cast<float>(y) + awayY * static_cast<float>(step)));
            if (nextX < 0 || nextY < 0 || nextX >= m_width || nextY >= m_height)
                break;
            if (IsGround(nextX, nextY)) {
                // Behind a thin part of the subject the ground begins again.
                if (!isGround || step > 2)
                    break;
                continue;
            }
            auto const colour = GetSample(nextX, nextY).colour;
            float const distance = SquaredDistance(colour, m_field.GetColour(nextX, nextY));
            sinceFarther = distance > 1.06f * farthest ? 0 : sinceFarther + 1;
            if (distance > farthest) {
                farthest = distance;
                subject = colour;
                steps = step;
            }
        }
        float along = 0, whole = 0, own = 0;
        for (std::size_t c = 0; c != 3; ++c) {
            along += (here[c] - ground[c]) * (subject[c] - ground[c]);
            whole += (subject[c] - ground[c]) * (subject[c] - ground[c]);
            own += (here[c] - ground[c]) * (here[c] - ground[c]);
        }
        // The rim of a soft shadow is no edge: colours change little from one pixel to the next, or are too near the
        // ground's to tell how much of each there is.
        constexpr float c_leastSlope = 7;
        if (whole <= 4 * m_threshold * m_threshold ||
            std::sqrt(whole) - std::sqrt(own) < c_leastSlope * static_cast<float>(steps))
            return isGround ? 0 : 255;
        float const share = std::clamp(along / whole, 0.0f, 1.0f);
        // A colour that is no mix of the two is the subject's own.
        float const rest = own - share * share * whole;
        bool const isMix = rest <= std::max(4 * m_threshold * m_threshold, 0.06f * whole);
        if (isGround) {
            // Noise of the ground is not to be seen.
            float const noise = 2.5f * m_field.GetNoise() / std::sqrt(whole);
            return share <= noise || !isMix ? 0 : static_cast<std::uint8_t>(255 * share + 0.5f);
        }
        constexpr float c_whole = 0.96f;
        return !isMix || share >= c_whole ? 255 : static_cast<std::uint8_t>(255 * share + 0.5f);
    }

    Raster::BufferRGBA8 const& m_picture;
    Matte& m_matte;
    InferenceCall const& m_call;
    int m_width;
    int m_height;
    ColourField m_field;
    std::vector<std::uint8_t> m_kinds;
    double m_clearShare = 0;
    float m_threshold = 0;
    int m_reach = 3;
};

class PlainGroundRemover final : public MatteRemover {
protected:
    Result FindMatte(Raster::BufferRGBA8 const& picture, Matte& matte, InferenceCall const& call) override {
        return GroundFinder(picture, matte, call).Find();
    }
};

} // namespace

Kernel::Counted<BackgroundRemover> MakePlainGroundRemover() {
    return Kernel::Counted<BackgroundRemover>(new PlainGroundRemover);
}

} // namespace Learning
