// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/learning/back_ends.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace Learning {

// One run of a command by the shell, in a process group of its own, with these variables ("NAME=value") beside the
// program's own.
struct ProgramRun {
    std::string const& command;
    std::vector<std::string> variables;
    std::string_view input;
    std::size_t maximumOutput = std::size_t{256} << 20;
    std::chrono::milliseconds totalTime{900'000};
};

// Blocks until the command has ended, and ends what it left running. Output that a process of it writes later is lost.
// Codes Refused with the last line that it wrote as errors, TooLarge, TimedOut and Cancelled; in the latter three all
// its processes are killed.
RemoteInference::Result RunProgram(ProgramRun const& run, InferenceCall const& call, std::string& output);

} // namespace Learning
