// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace Shell {

// The ending of a file's name with its dot, in lower case: ".svg". Empty where there is none.
std::string GetPathEnding(std::string const& path);

} // namespace Shell
