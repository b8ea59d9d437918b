// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands that ask models for pictures.
std::vector<ListedClass> GetGenerativeClasses();

} // namespace Commands
