// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on pixels.
std::vector<ListedClass> GetRasterClasses();

} // namespace Commands
