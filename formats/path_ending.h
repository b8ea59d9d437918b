// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <string>

namespace Formats {

// The ending of a file's name with its dot, in lower case: ".svg". Empty where there is none.
REDRAFT_API std::string GetPathEnding(std::string const& path);

} // namespace Formats
