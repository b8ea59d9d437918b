// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"
#include "shell/command_table.h"
#include "shell/devices.h"

#include <optional>
#include <string>

namespace Shell {

// The result of running a command. All of it is known only then, because a command that has nothing to do in this
// document says so while it runs.
struct Outcome {
    bool didSomething = false;
    bool stacked = false;
    bool merged = false;
    // The pictures that a model made; none for other commands.
    std::optional<int> pictures = std::nullopt;
    KernelCounts kernels = {};
};

// Runs a command that was made for this selection, with a bar and the note of control-C, and tells where plug-ins fail.
// `documentPath` names the document in failures. Throws Failure.
Outcome RunCommand(DocumentController& document, CommandEntry const& entry,
                   Kernel::Counted<DocumentCommand> const& command, Kernel::Counted<Selection const> const& selection,
                   std::string const& documentPath);

} // namespace Shell
