// SPDX-License-Identifier: Apache-2.0
#include "engine/geometry/deterministic_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using namespace Geometry::Detail;

TEST(DeterministicMath, AgreesWithTheLibraryToItsLastBits) {
    std::mt19937 random(1);
    for (double const range : {0.01, 1.0, 10.0, 1e4, 1e8}) {
        std::uniform_real_distribution<double> angle(-range, range);
        for (int i = 0; i != 20000; ++i) {
            double const x = angle(random);
            auto const [sine, cosine] = GetSineCosine(x);
            // Above 1e5 the reduction by fmod keeps the error of its rounded 2 pi, one part in 2^52 a turn.
            double const tolerance = range > 1e5 ? 1e-8 : 2.3e-16;
            ASSERT_NEAR(sine, std::sin(x), tolerance) << x;
            ASSERT_NEAR(cosine, std::cos(x), tolerance) << x;
            double const y = angle(random);
            ASSERT_NEAR(ArcTangent(y, x), std::atan2(y, x), 4.5e-16);
        }
    }
}

TEST(DeterministicMath, TakesTheAxesAndWhatIsNotFinite) {
    EXPECT_EQ(GetSineCosine(0).sine, 0);
    EXPECT_EQ(GetSineCosine(0).cosine, 1);
    EXPECT_EQ(ArcTangent(0, 1), 0);
    EXPECT_EQ(ArcTangent(0, 0), 0);
    EXPECT_DOUBLE_EQ(ArcTangent(0, -1), c_pi);
    EXPECT_DOUBLE_EQ(ArcTangent(-1, 0), -c_pi / 2);
    EXPECT_TRUE(std::isnan(GetSineCosine(INFINITY).sine));
    EXPECT_TRUE(std::isnan(GetSineCosine(NAN).cosine));
}

} // namespace
