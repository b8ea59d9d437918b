// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/document_controller.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How commands are made from text. The classes say by their cards which arguments they take; the text form of each type
// of value is in command_form.cpp.
namespace Shell {

class MergeAddresses;

// The objects that values may refer to.
struct ValueContext {
    DocumentController& document;
    // The selection for the command: the one that was asked for, or else the document's.
    Kernel::Counted<Selection const> selection;
    // Those of data merges that the values before have named; null where nothing is kept of them.
    MergeAddresses* mergeAddresses = nullptr;
};

// The text of a value: the content of the file for `@file`, `@...` for `@@...`.
std::string ReadTextValue(std::string const& text);

// The type of an argument's text form, as help calls it: "boolean", "integer", "name" and so on. Throws
// std::logic_error for a type that has none.
std::string_view GetTypeName(ArgumentCard const& argument);
// How the values of an argument are written: "true or false", "x,y". Empty where the type says it.
std::string GetNotation(ArgumentCard const& argument);
// The value of a text. Throws ValueError.
std::any ParseValue(ArgumentCard const& argument, std::string const& text, ValueContext const& context);
// The text of an argument's default; empty when it has none. Throws std::logic_error for one that has no text form.
std::optional<std::string> FormatDefault(ArgumentCard const& argument);
// An array of texts from JSON, in value_json.cpp. Throws ValueError.
std::vector<Kernel::String> ParseJsonTexts(std::string const& text);
// A record from JSON, in value_json.cpp. Throws ValueError.
std::any ParseRecordValue(RecordCard const& record, std::string const& text, ValueContext const& context);

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
