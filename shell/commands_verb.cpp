// SPDX-License-Identifier: Apache-2.0
#include "shell/command_table.h"
#include "shell/verbs.h"

#include <cmath>
#include <optional>

namespace Shell {

namespace {

constexpr std::string_view c_innerCommand = "run only by other commands";

std::string GetClassName(ListedCommand const& command) {
    return command.properties != nullptr ? command.properties->GetName() : command.entry->className;
}

std::string GetShortName(ListedCommand const& command) {
    return command.entry == nullptr ? MakeShortName(GetClassName(command)) : command.entry->shortName;
}

std::string_view GetReason(ListedCommand const& command) {
    return command.entry == nullptr ? c_innerCommand : command.entry->reason;
}

std::string_view GetKeptByUndo(ListedCommand const& command) {
    return command.entry == nullptr ? std::string_view() : command.entry->keptByUndo;
}

// `form`: parameters of different forms do not go together.
void AnswerParameter(JsonWriter& json, ParameterInfo const& parameter, std::optional<std::size_t> form) {
    json.BeginObject();
    json.Member("name", parameter.name);
    json.Member("type", parameter.type);
    if (parameter.defaultValue)
        json.Member("default", *parameter.defaultValue);
    json.Member("help", parameter.help);
    if (!parameter.notation.empty())
        json.Member("notation", parameter.notation);
    if (!parameter.range.unit.empty())
        json.Member("unit", parameter.range.unit);
    if (std::isfinite(parameter.range.least))
        json.Member("least", parameter.range.least);
    if (std::isfinite(parameter.range.most))
        json.Member("most", parameter.range.most);
    if (!parameter.members.empty()) {
        json.Key("members").BeginArray();
        for (auto const& member : parameter.members)
            AnswerParameter(json, member, {});
        json.EndArray();
    }
    if (form)
        json.Member("form", *form);
    json.EndObject();
}

void AnswerParameters(JsonWriter& json, ListedCommand const& command) {
    json.Key("parameters").BeginArray();
    auto const formCount = command.entry == nullptr ? 0 : command.entry->forms.size();
    for (std::size_t form = 0; form != formCount; ++form) {
        for (auto const& parameter : command.entry->forms[form].parameters)
            AnswerParameter(json, parameter, formCount > 1 ? std::optional(form) : std::nullopt);
    }
    json.EndArray();
}

void AnswerJson(JsonWriter& json, ListedCommand const& command) {
    json.BeginObject();
    json.Member("class", GetClassName(command));
    json.Member("name", GetShortName(command));
    if (command.entry != nullptr && command.entry->isInner)
        json.Member("inner", true);
    auto const* const properties = command.properties;
    if (properties != nullptr) {
        json.Member("tag", properties->GetClassUID().ToString());
        json.Member("version", properties->GetVersion());
        json.Member("base", properties->GetBase() == nullptr ? "" : properties->GetBase()->GetName());
    } else {
        json.Member("tag", nullptr);
        json.Member("version", nullptr);
        json.Member("base", nullptr);
    }
    json.Member("coverage", command.isCovered);
    json.Member("description", command.description.GetText().view());
    json.Member("context", command.description.GetContext().view());
    AnswerParameters(json, command);
    if (auto const kept = GetKeptByUndo(command); !kept.empty())
        json.Member("kept", kept);
    if (!GetReason(command).empty())
        json.Member("reason", GetReason(command));
    json.EndObject();
}

std::string FormatForm(CommandEntry const& entry, CommandForm const& form) {
    std::string text = entry.shortName;
    for (auto const& parameter : form.parameters) {
        auto const word = std::string(parameter.name) + "=" + std::string(parameter.type);
        text += parameter.defaultValue ? " [" + word + "]" : " " + word;
    }
    return text;
}

void PrintParameter(Session& session, ParameterInfo const& parameter, std::string const& indent, bool withMembers) {
    session.Print(indent + std::string(parameter.name) + "  " + std::string(parameter.help));
    if (parameter.defaultValue && !parameter.defaultValue->empty())
        session.Print(" (" + *parameter.defaultValue + ")");
    session.Print("\n");
    bool const listsMembers = withMembers && !parameter.members.empty();
    // Some say it themselves.
    if (listsMembers)
        session.Print(indent + "  record: JSON, or @FILE, with members of these:\n");
    else if (!parameter.notation.empty() && parameter.help.find(parameter.notation) == parameter.help.npos)
        session.Print(indent + "  " + std::string(parameter.type) + ": " + parameter.notation + "\n");
    if (listsMembers) {
        for (auto const& member : parameter.members)
            PrintParameter(session, member, indent + "    ", true);
    }
}

void PrintLines(Session& session, ListedCommand const& command) {
    auto const reason = GetReason(command);
    if (!reason.empty()) {
        auto const name = command.entry == nullptr ? GetClassName(command) : command.entry->shortName;
        session.Print(name + "  (not from the command line: " + std::string(reason) + ")\n");
        return;
    }
    for (auto const& form : command.entry->forms)
        session.Print(FormatForm(*command.entry, form) + "\n");
}

void PrintDetails(Session& session, ListedCommand const& command) {
    auto const* const properties = command.properties;
    session.Print(command.entry != nullptr && command.entry->isInner ? GetShortName(command) : GetClassName(command));
    if (!command.description.GetText().empty())
        session.Print(": " + command.description.ToString().ToStdString());
    session.Print("\n");
    if (command.entry != nullptr && command.entry->isInner)
        session.Print("  a step of class " + GetClassName(command) + "\n");
    if (properties != nullptr) {
        session.Print("  tag " + properties->GetClassUID().ToString() + ", version " +
                      std::to_string(properties->GetVersion()) + ", base " +
                      (properties->GetBase() == nullptr ? "none" : properties->GetBase()->GetName()) +
                      (command.isCovered ? ", covered" : "") + "\n");
    } else {
        session.Print("  not stored in documents\n");
    }
    if (auto const kept = GetKeptByUndo(command); !kept.empty())
        session.Print("  undo keeps: " + std::string(kept) + "\n");
    if (!GetReason(command).empty()) {
        session.Print("  cannot be run from the command line: " + std::string(GetReason(command)) + "\n");
        return;
    }
    for (auto const& form : command.entry->forms) {
        session.Print("\n  redraft do DOC " + FormatForm(*command.entry, form) + "\n");
        // The members of a record that is spread over the parameters of another form are told there.
        bool const isSpread = command.entry->forms.size() > 1;
        for (auto const& parameter : form.parameters)
            PrintParameter(session, parameter, "    ", !isSpread);
    }
}

} // namespace

ExitStatus RunCommands(Session& session, Arguments const& arguments) {
    auto const name = arguments.Find("NAME");
    auto const commands = ListCommands();
    if (name) {
        for (auto const& command : commands) {
            bool const isInner = command.entry != nullptr && command.entry->isInner;
            bool const isPlain = command.entry != nullptr && !isInner && command.entry->plainName == *name;
            if ((GetClassName(command) != *name || isInner) && GetShortName(command) != *name && !isPlain)
                continue;
            if (session.IsJson())
                AnswerJson(session.Json(), command);
            else
                PrintDetails(session, command);
            return ExitStatus::Done;
        }
        ThrowForCommand(*name);
    }
    if (session.IsJson())
        session.Json().BeginArray();
    for (auto const& command : commands) {
        if (!command.isOfLibrary && !arguments.Has("--all"))
            continue;
        if (session.IsJson())
            AnswerJson(session.Json(), command);
        else
            PrintLines(session, command);
    }
    if (session.IsJson())
        session.Json().EndArray();
    return ExitStatus::Done;
}

} // namespace Shell
