// SPDX-License-Identifier: Apache-2.0
// Divides adversarial drawings by the thousands and tells which maps are wrong. Not a test that always runs: it takes
// hours if it is let.
//
//   soak-planar-map [FIRST COUNT [FAMILY]]     seeds FIRST to FIRST + COUNT - 1 of all families or of one
//   soak-planar-map show FAMILY SEED           the drawing as path data, and its fault
//   soak-planar-map try                        the same of a drawing of such lines, read from the input
#include "tests/engine/planar_map/property/adversarial_shapes.h"
#include "tests/engine/planar_map/property/map_checks.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

using MapTests::AdversarialShapes;

namespace {

void Show(std::vector<MapTests::Graph::Input> const& inputs) {
    std::printf("%s", MapTests::Describe(inputs).c_str());
    auto const started = std::chrono::steady_clock::now();
    auto const division = MapTests::Divide(inputs);
    std::printf("%zu pieces after %.3f ms\n", division.TotalPieces(),
                1e3 * std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    for (auto const& [input, result] : division.pieces)
        std::printf("input %u: %zu pieces, area %.12g\n", input, result.areas.size(), division.AreaOf(input));
    std::fflush(stdout);
    std::printf("%s\n", MapTests::FindFault(inputs).c_str());
}

// A line as MapTests::Describe writes it.
MapTests::Graph::Input ReadInput(std::string const& line) {
    std::size_t const path = line.find('M');
    std::string const words = line.substr(0, path);
    auto const has = [&](char const* word) { return words.find(word) != std::string::npos; };
    auto input =
        MapTests::MakeInput(Geometry::ReadPathData(line.substr(std::min(path, line.size()))).curves, has("filled"));
    input.windingOrderMode =
        has("alternating") ? Geometry::WindingOrderMode::Alternating : Geometry::WindingOrderMode::NonZero;
    input.strokedFront = has("front");
    input.strokedBehind = has("behind");
    return has("clip") ? MapTests::AsClip(input) : input;
}

} // namespace

int main(int count, char** arguments) {
    auto const number = [&](int i, unsigned otherwise) {
        return i < count ? static_cast<unsigned>(std::strtoul(arguments[i], nullptr, 10)) : otherwise;
    };
    if (count == 4 && std::strcmp(arguments[1], "show") == 0) {
        Show(AdversarialShapes(number(2, 0), number(3, 0)).Draw());
        return 0;
    }
    if (count == 2 && std::strcmp(arguments[1], "try") == 0) {
        std::vector<MapTests::Graph::Input> inputs;
        for (std::string line; std::getline(std::cin, line);)
            inputs.push_back(ReadInput(line));
        Show(inputs);
        return 0;
    }
    unsigned const first = number(1, 0), seeds = number(2, 100);
    unsigned faults = 0;
    for (unsigned family = 0; family != AdversarialShapes::GetFamilyCount(); ++family) {
        if (count > 3 && family != number(3, 0))
            continue;
        unsigned own = 0;
        auto const started = std::chrono::steady_clock::now();
        for (unsigned seed = first; seed != first + seeds; ++seed) {
            std::string const fault = MapTests::FindFault(AdversarialShapes(family, seed).Draw());
            if (fault.empty())
                continue;
            ++own;
            std::printf("%u %u: %s\n", family, seed, fault.c_str());
            std::fflush(stdout);
        }
        faults += own;
        double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        std::printf("%s: %u faults in %u drawings, %.1f ms each\n", AdversarialShapes::GetFamilyName(family), own,
                    seeds, 1e3 * seconds / seeds);
        std::fflush(stdout);
    }
    return faults == 0 ? 0 : 1;
}
