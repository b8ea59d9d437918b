// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on the index: its topics, their relations and their marks.
std::vector<ListedClass> GetIndexClasses();

} // namespace Commands
