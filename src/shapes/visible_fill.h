// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Commands {

// A fill with no more opacity than this does not count, in all commands that ask what a shape covers.
inline constexpr double c_visibleFill = 0.01;

} // namespace Commands
