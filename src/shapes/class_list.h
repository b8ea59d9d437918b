// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on shapes and text.
std::vector<ListedClass> GetShapesClasses();

} // namespace Commands
