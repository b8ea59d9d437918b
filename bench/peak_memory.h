// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

// The most memory that this process has had, in MiB.
inline double GetPeak() {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("VmHWM:"))
            return std::strtod(line.c_str() + 6, nullptr) / 1024;
    }
    return 0;
}

// What a new process of this program prints when it is called with `--peak` and a path: the memory, in MiB, that it
// takes over its start for that file. 0 where it prints nothing.
inline double MeasurePeak(std::string const& path) {
    auto const program = std::filesystem::read_symlink("/proc/self/exe").string();
    auto* const output = popen(("'" + program + "' --peak '" + path + "'").c_str(), "r");
    if (output == nullptr)
        return 0;
    double peak = 0;
    if (std::fscanf(output, "%lf", &peak) != 1)
        peak = 0;
    pclose(output);
    return peak;
}
