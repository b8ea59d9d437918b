// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on the reading order, on decorations and on metadata.
std::vector<ListedClass> GetArticlesClasses();

} // namespace Commands
