// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/adversarial_shapes.h"
#include "tests/engine/planar_map/property/map_checks.h"

#include <gtest/gtest.h>

using namespace MapTests;

class Adversarial : public testing::TestWithParam<std::uint32_t> {};

TEST_P(Adversarial, DrawingsAreDividedWithoutFault) {
    for (std::uint32_t seed = 0; seed != 6; ++seed) {
        auto const inputs = AdversarialShapes(GetParam(), seed).Draw();
        EXPECT_EQ(FindFault(inputs), "") << AdversarialShapes::GetFamilyName(GetParam()) << ", seed " << seed << "\n"
                                         << Describe(inputs);
    }
}

INSTANTIATE_TEST_SUITE_P(Families, Adversarial, testing::Range(0u, AdversarialShapes::GetFamilyCount()));
