// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/listed_class.h"

#include <vector>

namespace Commands {

// The commands on what texts refer to: captions, fields, references and linked files.
std::vector<ListedClass> GetTextClasses();

} // namespace Commands
