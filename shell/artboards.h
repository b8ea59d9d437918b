// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/nodes.h"

#include <string_view>

namespace Shell {

// The one enabled artboard of this name on a spread. Throws NoMatch where there is none, ValueError where there are
// two.
Kernel::Counted<Node> FindArtboard(SpreadNode const& spread, std::string_view name);

} // namespace Shell
