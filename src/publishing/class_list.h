// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on what publications carry, and on how they are exported.
std::vector<ListedClass> GetPublishingClasses();

} // namespace Commands
