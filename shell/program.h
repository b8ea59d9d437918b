// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Shell {

// The whole program: acts on the arguments and returns the exit status. Throws nothing.
int RunProgram(int argumentCount, char const* const* arguments) noexcept;

} // namespace Shell
