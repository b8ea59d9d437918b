// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/examples/command_example.h"

#include <vector>

// The engine's own commands on texts.
std::vector<CommandExample> TextCommandExamples();
