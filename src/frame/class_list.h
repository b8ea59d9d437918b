// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on settings, the canvas and views.
std::vector<ListedClass> GetFrameClasses();

} // namespace Commands
