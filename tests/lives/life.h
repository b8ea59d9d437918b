// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/lives/chance.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lives {

// One life as it went: the lines that were run, and the fault that ended it, if one did.
struct Record {
    std::vector<std::string> lines;
    // The classes of the commands that did something.
    std::vector<std::string> commands;
    std::optional<std::string> fault;
};

struct Conditions {
    Props props;
    // Where the processes of this run keep their files.
    std::string folder;
    // The device that effects on pixels run on, as --device names it.
    std::string device = "none";
    std::size_t lineCount = 14;
    unsigned cpuSeconds = 120;
};

// Lives the life of this seed in a process of its own, so that a crash or an endless loop is a fault like others.
Record Live(Conditions const& conditions, std::uint64_t seed);
// The same start with these lines instead.
Record Replay(Conditions const& conditions, std::uint64_t seed, std::vector<std::string> const& lines);
// Leaves out what lines the fault does not need.
Record Shrink(Conditions const& conditions, std::uint64_t seed, Record record);
// The fault with the calls of the program that show it, and the document to start from.
std::string FormatReport(Conditions const& conditions, std::uint64_t seed, Record const& record);

} // namespace Lives
