// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/dispatch.h"
#include "tests/engine/planar_map/property/random_shapes.h"

#include <gtest/gtest.h>

#include <string>

using namespace MapTests;

namespace {

// All pieces and lines, to the last bit.
std::string DivideOn(unsigned threads, std::vector<Graph::Input> const& inputs) {
    unsigned const before = Kernel::Dispatch::GetThreadCount();
    Kernel::Dispatch::SetThreadCount(threads);
    std::map<unsigned, Graph::DividedResult> results;
    Build(inputs)->Divide(results, true);
    Kernel::Dispatch::SetThreadCount(before);
    std::string text;
    for (auto const& [input, result] : results) {
        text += std::to_string(input) + ":";
        for (auto const& area : result.areas)
            text += Geometry::WritePathData(*area) + "|";
        for (auto line : result.lines)
            text += Geometry::WritePathData(*Kernel::MakeCounted<Geometry::PolyCurveDbl>(line)) + "|";
    }
    return text;
}

} // namespace

TEST(Threads, TheirNumberChangesNoBitOfAMap) {
    RandomShapes random(17);
    std::vector<Graph::Input> inputs;
    for (int i = 0; i != 150; ++i)
        inputs.push_back(random.RandomCircle());
    inputs.push_back(random.RandomScribble(60));
    inputs.back().strokedFront = true;
    auto const serial = DivideOn(1, inputs);
    EXPECT_GT(serial.size(), 1000000u);
    EXPECT_EQ(serial, DivideOn(2, inputs));
    EXPECT_EQ(serial, DivideOn(5, inputs));
}
