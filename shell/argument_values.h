// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/persistence/command_card.h"
#include "platform/document/document_controller.h"

#include <any>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The text form of the arguments of commands, by their types.
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

} // namespace Shell
