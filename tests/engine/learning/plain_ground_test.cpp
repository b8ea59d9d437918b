// SPDX-License-Identifier: Apache-2.0
#include "platform/learning/back_ends.h"
#include "platform/raster/dynamic_bitmap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace Learning {
namespace {

using Colour = std::array<double, 3>;

// A picture put together of a subject, whose alpha is known, and a ground.
struct Composite {
    int width = 480, height = 360;
    // 0 to 1.
    std::function<double(double x, double y)> alpha = [](double, double) { return 0.0; };
    std::function<Colour(double x, double y)> subject = [](double, double) { return Colour{150, 40, 30}; };
    std::function<Colour(double x, double y)> ground = [](double, double) { return Colour{235, 235, 232}; };
    double noise = 0;
    std::uint8_t opacity = 255;
};

class PlainGround : public testing::Test {
protected:
    RemoteInference::Result Remove(Composite const& composite) {
        m_composite = composite;
        std::vector<std::array<std::uint8_t, 4>> pixels;
        std::uint32_t seed = 7;
        // The sum of four even deviates is nearly normal.
        auto const next = [&] {
            double sum = 0;
            for (int i = 0; i != 4; ++i) {
                seed = seed * 1664525u + 1013904223u;
                sum += static_cast<double>(seed >> 8) / (1 << 24) - 0.5;
            }
            return sum * 1.732;
        };
        for (int y = 0; y != composite.height; ++y) {
            for (int x = 0; x != composite.width; ++x) {
                double const alpha = composite.alpha(x, y);
                auto const front = composite.subject(x, y), back = composite.ground(x, y);
                std::array<std::uint8_t, 4> pixel{0, 0, 0, composite.opacity};
                for (std::size_t c = 0; c != 3; ++c)
                    pixel[c] = static_cast<std::uint8_t>(std::clamp(
                        std::lround(alpha * front[c] + (1 - alpha) * back[c] + composite.noise * next()), 0l, 255l));
                pixels.push_back(pixel);
            }
        }
        auto const image =
            Kernel::MakeCounted<Raster::DynamicBitmap>(composite.width, composite.height, Raster::FormatRGBA8);
        image->WritePixels({0, 0, composite.width, composite.height}, pixels.data(),
                           static_cast<std::size_t>(composite.width) * 4);
        m_answer.reset();
        auto const result = MakePlainGroundRemover()->RemoveBackground(image, Raster::ICCProfileSet(), m_answer,
                                                                       InferenceCall(nullptr, nullptr));
        m_alphas.clear();
        if (result.code == RemoteInference::Answered) {
            std::vector<std::array<std::uint8_t, 4>> answered(pixels.size());
            m_answer->ReadPixels({0, 0, composite.width, composite.height}, answered.data(),
                                 static_cast<std::size_t>(composite.width) * 4);
            for (auto const& pixel : answered)
                m_alphas.push_back(pixel[3] / 255.0);
        }
        return result;
    }
    double GetAlpha(int x, int y) const {
        return m_alphas.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(m_composite.width) +
                           static_cast<std::size_t>(x));
    }
    // The common part of both subjects, by the part that is of one of them at least.
    double GetOverlap() const {
        double common = 0, any = 0;
        ForEach([&](double known, double found) {
            common += std::min(known, found);
            any += std::max(known, found);
        });
        return common / any;
    }
    double GetMeanError() const {
        double sum = 0, count = 0;
        ForEach([&](double known, double found) {
            bool const isEdge = known > 0.02 && known < 0.98;
            sum += isEdge ? std::abs(known - found) : 0;
            count += isEdge;
        });
        return sum / count;
    }

private:
    template <class F>
    void ForEach(F const& visit) const {
        for (int y = 0; y != m_composite.height; ++y) {
            for (int x = 0; x != m_composite.width; ++x)
                visit(m_composite.alpha(x, y), GetAlpha(x, y));
        }
    }
    Composite m_composite;
    Kernel::Counted<Raster::DynamicBitmap> m_answer;
    std::vector<double> m_alphas;
};

// Alpha across an edge of that width, by the distance to the inside.
double GetEdge(double inside, double width) {
    double const t = std::clamp(inside / width + 0.5, 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

auto Disc(double x0, double y0, double radius, double softness) {
    return [=](double x, double y) { return GetEdge(radius - std::hypot(x - x0, y - y0), softness); };
}

Colour Vignette(double x, double y) {
    double const u = x / 240 - 1, v = y / 180 - 1, light = 228 - 22 * u - 14 * v - 18 * (u * u + v * v);
    return {light, light - 3, light - 9};
}

Colour Stripes(double x, double y) {
    bool const isDark = std::fmod(x + 0.5 * y, 24) < 12;
    return isDark ? Colour{30, 60, 110} : Colour{190, 120, 60};
}

} // namespace

TEST_F(PlainGround, SubjectsWithSoftEdgesOverUnevenGrounds) {
    for (double const softness : {1.0, 2.5, 5.0}) {
        for (double const noise : {0.0, 2.0, 4.0}) {
            for (bool const isStriped : {false, true}) {
                Composite composite;
                composite.alpha = Disc(230, 190, 110, softness);
                composite.ground = Vignette;
                composite.noise = noise;
                if (isStriped)
                    composite.subject = Stripes;
                SCOPED_TRACE(testing::Message() << softness << " " << noise << " " << isStriped);
                ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
                EXPECT_GE(GetOverlap(), 0.98);
                EXPECT_LE(GetMeanError(), 0.12);
                EXPECT_EQ(GetAlpha(3, 3), 0);
                EXPECT_EQ(GetAlpha(230, 190), 1);
            }
        }
    }
}

TEST_F(PlainGround, EdgesOfOneColourAreAsTheyWere) {
    Composite composite;
    composite.alpha = Disc(240, 180, 100, 4);
    ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
    EXPECT_LE(GetMeanError(), 0.04);
}

// A light stripe behind a dark one is no soft edge.
TEST_F(PlainGround, ASubjectOfStripesStaysWhole) {
    Composite composite;
    composite.alpha = Disc(240, 180, 110, 2);
    composite.noise = 2;
    composite.subject = [](double x, double y) {
        double const depth = 110 - std::hypot(x - 240, y - 180);
        return std::fmod(depth + 100, 4) < 2 ? Colour{20, 20, 20} : Colour{150, 150, 145};
    };
    ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
    int thin = 0;
    for (int y = 0; y != 360; ++y) {
        for (int x = 0; x != 480; ++x)
            thin += std::hypot(x - 240, y - 180) < 108 && GetAlpha(x, y) < 0.95;
    }
    EXPECT_LE(thin, 30);
    EXPECT_GE(GetOverlap(), 0.98);
}

TEST_F(PlainGround, TheHoleOfAHandleIsGround) {
    Composite composite;
    auto const outer = Disc(240, 180, 120, 2), inner = Disc(240, 180, 40, 2);
    composite.alpha = [=](double x, double y) { return outer(x, y) * (1 - inner(x, y)); };
    composite.ground = Vignette;
    composite.noise = 2;
    ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
    EXPECT_GE(GetOverlap(), 0.98);
    EXPECT_EQ(GetAlpha(240, 180), 0);
}

// Small parts of the ground's colour, and large ones that are a little lighter, belong to the subject.
TEST_F(PlainGround, PartsOfNearlyTheGroundsColourStay) {
    Composite composite;
    composite.alpha = Disc(240, 180, 120, 2);
    composite.subject = [](double x, double y) {
        if (std::hypot(x - 200, y - 150) < 4)
            return Colour{235, 235, 232};
        return std::hypot(x - 270, y - 200) < 40 ? Colour{239, 239, 237} : Colour{150, 40, 30};
    };
    ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
    EXPECT_EQ(GetAlpha(200, 150), 1);
    EXPECT_EQ(GetAlpha(270, 200), 1);
    EXPECT_GE(GetOverlap(), 0.98);
}

TEST_F(PlainGround, ASubjectMayReachTheEdge) {
    Composite composite;
    composite.alpha = [](double x, double y) { return GetEdge(120 - std::abs(x - 200), 2) * GetEdge(y - 120, 2); };
    composite.ground = Vignette;
    composite.noise = 1.5;
    ASSERT_EQ(Remove(composite).code, RemoteInference::Answered);
    EXPECT_GE(GetOverlap(), 0.98);
    EXPECT_EQ(GetAlpha(200, 359), 1);
}

TEST_F(PlainGround, BusyGroundsAreRefusedWithTheWaysOut) {
    Composite composite;
    composite.alpha = Disc(240, 180, 100, 2);
    std::vector<std::function<Colour(double, double)>> const grounds{
        [](double x, double y) {
            return Colour{128 + 100 * std::sin(x / 9), 128 + 100 * std::cos(y / 7), 128 + 90 * std::sin((x + y) / 13)};
        },
        [](double x, double y) {
            return (std::fmod(x, 60) < 30) != (std::fmod(y, 60) < 30) ? Colour{20, 20, 20} : Colour{240, 240, 240};
        },
        // Sky over a meadow.
        [](double, double y) {
            return y < 190 ? Colour{120, 170, 230} : Colour{60, 120, 40};
        }};
    for (auto const& ground : grounds) {
        composite.ground = ground;
        auto const result = Remove(composite);
        EXPECT_EQ(result.code, RemoteInference::BusyGround);
        EXPECT_NE(result.detail.view().find("without a model or a service"), std::string_view::npos);
        EXPECT_EQ(result.detail.view().find('\n'), std::string_view::npos);
    }
}

TEST_F(PlainGround, PicturesWithoutASubjectAreRefused) {
    Composite composite;
    EXPECT_EQ(Remove(composite).code, RemoteInference::Refused);
    composite.noise = 3;
    EXPECT_EQ(Remove(composite).code, RemoteInference::Refused);
    composite.noise = 0;
    for (auto const& [width, height] : std::vector<std::pair<int, int>>{{1, 1}, {1, 9}, {9, 1}, {2, 2}, {3, 3}}) {
        composite.width = width;
        composite.height = height;
        EXPECT_EQ(Remove(composite).code, RemoteInference::Refused) << width << " " << height;
    }
}

TEST_F(PlainGround, AGroundThatIsClearAlreadyIsRefused) {
    Composite composite;
    composite.opacity = 0;
    EXPECT_EQ(Remove(composite).code, RemoteInference::Refused);
}

TEST_F(PlainGround, ACancelEndsIt) {
    Composite composite;
    composite.alpha = Disc(240, 180, 100, 2);
    RemoteInference::Cancel();
    EXPECT_EQ(Remove(composite).code, RemoteInference::Cancelled);
    RemoteInference::ResetCancel();
    EXPECT_EQ(Remove(composite).code, RemoteInference::Answered);
}

} // namespace Learning
