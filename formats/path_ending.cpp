// SPDX-License-Identifier: Apache-2.0
#include "formats/path_ending.h"

#include <filesystem>

namespace Formats {

std::string GetPathEnding(std::string const& path) {
    auto ending = std::filesystem::path(path).extension().string();
    for (char& c : ending) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return ending;
}

} // namespace Formats
