// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string>

namespace Shell {

// A folder of the user as the XDG base directory specification has it: the one that the variable names, or that below
// the home folder. A relative path is as good as none; empty when there is neither.
inline std::string FindUserFolder(char const* variable, char const* belowHome) {
    char const* const named = std::getenv(variable);
    if (named != nullptr && named[0] == '/')
        return named;
    char const* const home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + belowHome : std::string();
}

} // namespace Shell
