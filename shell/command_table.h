// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/class_properties.h"
#include "shell/command_form.h"

namespace Shell {

// Every command class that has a card, by class name.
std::vector<CommandEntry> const& GetCommandTable();

// By class name or short name; null when the table has none.
CommandEntry const* FindCommand(std::string_view name);

// Fails with ExitStatus::Usage for a name that no command has.
[[noreturn]] void ThrowForCommand(std::string const& name);

// A command as `redraft commands` lists it.
struct ListedCommand {
    // Null for a class that is in the table and not in the registry.
    Kernel::ClassProperties const* properties = nullptr;
    // Null for the engine's inner commands.
    CommandEntry const* entry = nullptr;
    // It belongs to the library, and not to the engine.
    bool isOfLibrary = false;
    bool isCovered = false;
    // Empty when the class cannot tell without having been made by a caller.
    Kernel::LocalisedString description;
};

// The commands in registration order, then those of the table that are not registered.
std::vector<ListedCommand> ListCommands();

} // namespace Shell
