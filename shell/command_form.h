// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "shell/argument_values.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How commands are made from text. The classes say by their cards which arguments they take; the text form of each type
// of value is in argument_values.h.
namespace Shell {

// One parameter, as help and listings show it.
struct ParameterInfo {
    std::string_view name;
    std::string_view type;
    std::string_view help;
    std::optional<std::string> defaultValue;
    // How its values are written; empty for numbers and the like, which need no word.
    std::string notation;
    // The unit and the range of numbers.
    Kernel::ValueRange range = {};
    // Of a record; otherwise empty.
    std::vector<ParameterInfo> members = {};
};

using NamedValues = std::map<std::string, std::string, std::less<>>;

// One way to make a command.
struct CommandForm {
    std::vector<ParameterInfo> parameters;
    // Its constructor takes the selection.
    bool takesSelection = false;
    std::function<Kernel::Counted<DocumentCommand>(NamedValues const& values, ValueContext const& context)> make;
};

struct CommandEntry {
    // The plain class name, and the same in kebab-case without `Command`; for a command that the engine has for others,
    // the name of what it does here.
    std::string className;
    std::string shortName;
    // The kebab-case name of a class that says another short name; both lead to it.
    std::string plainName;
    std::vector<CommandForm> forms;
    // Why the class has no form; empty when it has one.
    std::string_view reason;
    // Asks the class whether it would run on a selection; empty for classes that do not say.
    std::function<bool(Kernel::Counted<Selection const>)> canApplyTo;
    bool runsOnlyWhereItApplies = false;
    // Works on all selected objects together: they have to be of one spread, and hidden ones count.
    bool combinesObjects = false;
    // A command of the engine's own: its form here is no part of its class.
    bool isInner = false;
    // The changes that Undo leaves on purpose, as one sentence; empty when it leaves nothing.
    std::string_view keptByUndo;

    // The form that the names choose. Throws Failure with ExitStatus::Usage.
    CommandForm const& ChooseForm(NamedValues const& values) const;
};

// A way to make a command from arguments and the document that it is for.
CommandForm MakeForm(
    std::vector<ArgumentCard> arguments, bool takesSelection,
    std::function<Kernel::Counted<DocumentCommand>(std::vector<std::any> const& values, ValueContext const& context)>
        make);
// The entry of a class by its card.
CommandEntry MakeEntry(CommandCard const& card);

std::string MakeShortName(std::string_view className);

} // namespace Shell
