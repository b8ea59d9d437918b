// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/limits.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Shell {

// The largest picture file that is read.
inline constexpr std::uint64_t c_maximumPictureBytes = Formats::Limits{}.pictureBytes;

} // namespace Shell

// The files that the call reads, which no output may replace under whatever name: links lead to the same file. A call
// is a process, and so is this list.
namespace Shell::InputFiles {

void Add(std::string const& path);
// Throws Failure with ExitStatus::Output when the path leads to one of them.
void Refuse(std::string const& path);

// A whole file of at most so many bytes, which becomes one of them. Throws Failure with ExitStatus::Input.
std::vector<std::byte> Read(std::string const& path, std::uint64_t maximumBytes);

} // namespace Shell::InputFiles
