// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/examples/command_example.h"

#include <vector>

// The engine's own commands on texts.
std::vector<CommandExample> TextCommandExamples();
// Those on the export of slices.
std::vector<CommandExample> ExportableExamples();
// Those of the command that makes the text of an index.
std::vector<CommandExample> IndexTextExamples();
// Those on data merges.
std::vector<CommandExample> MergeExamples();
// Of the library's, with other values of their arguments.
std::vector<CommandExample> OtherValueExamples();
