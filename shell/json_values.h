// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>
#include <string>

// Only for the few sources that take values apart which are JSON: the library is slow to compile.
namespace Shell {

// The JSON that a text, or the file that it names as `@file`, holds. Throws ValueError.
nlohmann::json ParseJson(std::string const& text);
// The same for one object.
nlohmann::json ParseRecord(std::string const& text);

} // namespace Shell
