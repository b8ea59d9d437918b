// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/planar_map/property/map_checks.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace MapTests;

namespace {

struct ReportedCase {
    std::string name;
    std::vector<Graph::Input> inputs;
};

std::vector<ReportedCase> ReadCases() {
    std::vector<ReportedCase> cases;
    std::ifstream file(REPORTED_CASES);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("= ")) {
            cases.push_back({line.substr(2), {}});
        } else if (std::size_t const space = line.find(' '); !line.starts_with("#") && space != std::string::npos) {
            auto const path = Geometry::ReadPathData(std::string_view(line).substr(space + 1));
            EXPECT_FALSE(path.error) << line;
            cases.back().inputs.push_back(MakeInput(path.curves));
            if (line.starts_with("alternating"))
                cases.back().inputs.back().windingOrderMode = Geometry::WindingOrderMode::Alternating;
            else
                EXPECT_TRUE(line.starts_with("nonzero")) << line;
        }
    }
    return cases;
}

} // namespace

TEST(ReportedCases, AreDividedWithoutFault) {
    auto const cases = ReadCases();
    EXPECT_GE(cases.size(), 100u);
    for (ReportedCase const& reported : cases)
        EXPECT_EQ(FindFault(reported.inputs), "") << reported.name << "\n" << Describe(reported.inputs);
}

TEST(ReportedCases, LeaveNothingBetweenThePiecesWhenTheyAreLines) {
    // The same outlines without a fill: every stretch comes back once, and nothing else.
    for (ReportedCase const& reported : ReadCases()) {
        auto inputs = reported.inputs;
        double length = 0, longest = 0;
        for (auto& input : inputs) {
            input.filled = false;
            length += input.curves[0].curves->GetLength();
            longest = std::max(longest, input.curves[0].curves->GetLength());
        }
        auto const division = Divide(inputs);
        double sum = 0;
        for (unsigned i = 0; i != inputs.size(); ++i)
            sum += division.LineLength(i);
        EXPECT_EQ(division.TotalPieces(), 0u) << reported.name;
        EXPECT_LE(sum, length * (1 + 1e-7)) << reported.name;
        EXPECT_GE(sum, longest / 3) << reported.name;
    }
}
