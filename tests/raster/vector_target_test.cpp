// SPDX-License-Identifier: Apache-2.0
#include "raster/pipeline/cpu_dispatch.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using namespace Commands;

TEST(VectorTarget, HasANameForEachSetOfInstructions) {
    EXPECT_EQ(VectorTarget::Baseline, FindVectorTarget("baseline"));
    EXPECT_EQ(VectorTarget::Avx2, FindVectorTarget("avx2"));
    EXPECT_EQ(VectorTarget::Avx512, FindVectorTarget("avx512"));
    EXPECT_EQ(VectorTarget::Avx512, FindVectorTarget(""));
}

// This program is run once for each name.
TEST(VectorTarget, IsTheOneThatTheEnvironmentNamesWhereTheMachineHasIt) {
    char const* const name = std::getenv("REDRAFT_VECTORS");
    VectorTarget const wanted = name != nullptr ? FindVectorTarget(name) : VectorTarget::Avx512;
    EXPECT_EQ(std::min(wanted, GetWidestVectorTarget()), GetVectorTarget());
    if (wanted == VectorTarget::Baseline) {
        EXPECT_EQ(VectorTarget::Baseline, GetVectorTarget());
    }
}

} // namespace
