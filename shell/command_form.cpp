// SPDX-License-Identifier: Apache-2.0
#include "shell/command_form.h"

#include "shell/failure.h"
#include "shell/merge_values.h"
#include "shell/values.h"

#include <algorithm>

namespace Shell {

namespace {

ParameterInfo DescribeParameter(ArgumentCard const& argument) {
    ParameterInfo info{argument.name,           GetTypeName(argument), argument.help,
                       FormatDefault(argument), GetNotation(argument), argument.range};
    if (argument.record != nullptr) {
        for (auto const& member : argument.record->members)
            info.members.push_back(DescribeParameter(member));
    }
    return info;
}

} // namespace

CommandForm MakeForm(
    std::vector<ArgumentCard> arguments, bool takesSelection,
    std::function<Kernel::Counted<DocumentCommand>(std::vector<std::any> const& values, ValueContext const& context)>
        make) {
    CommandForm form;
    form.takesSelection = takesSelection;
    for (auto const& argument : arguments)
        form.parameters.push_back(DescribeParameter(argument));
    form.make = [arguments = std::move(arguments), make = std::move(make)](NamedValues const& given,
                                                                           ValueContext const& context) {
        std::vector<std::any> values;
        MergeAddresses mergeAddresses;
        ValueContext const own{context.document, context.selection, &mergeAddresses};
        for (auto const& argument : arguments) {
            auto const text = given.find(argument.name);
            if (text == given.end()) {
                values.push_back(argument.defaultValue);
                continue;
            }
            try {
                values.push_back(ParseValue(argument, text->second, own));
            } catch (ValueError const& error) {
                throw Failure(ExitStatus::Usage, std::string(argument.name), error.what());
            }
        }
        return make(values, context);
    };
    return form;
}

CommandEntry MakeEntry(CommandCard const& card) {
    CommandEntry entry;
    entry.className = card.className;
    entry.plainName = MakeShortName(card.className);
    entry.shortName = card.outsideName.empty() ? entry.plainName : std::string(card.outsideName);
    for (auto const& form : card.forms)
        entry.forms.push_back(
            MakeForm(form.arguments, form.takesSelection,
                     [make = form.make](std::vector<std::any> const& values, ValueContext const& context) {
                         return make(values, context.selection);
                     }));
    entry.reason = card.reason;
    entry.keptByUndo = card.keptByUndo;
    entry.canApplyTo = card.canApplyTo;
    entry.runsOnlyWhereItApplies = card.runsOnlyWhereItApplies;
    entry.combinesObjects = card.combinesObjects;
    return entry;
}

std::string MakeShortName(std::string_view className) {
    constexpr std::string_view c_command = "Command";
    if (className.ends_with(c_command) && className.size() > c_command.size())
        className.remove_suffix(c_command.size());
    auto const isUpper = [&](std::size_t i) {
        return i < className.size() && className[i] >= 'A' && className[i] <= 'Z';
    };
    auto const isLower = [&](std::size_t i) {
        return i < className.size() && className[i] >= 'a' && className[i] <= 'z';
    };
    std::string name;
    for (std::size_t i = 0; i != className.size(); ++i) {
        // A row of capitals is one word, but for its last letter where a new word begins there: RemoveBGCommand. A row
        // of two has no word before its last letter: SetEPubCoverInfoCommand.
        bool const isLastOfRow = isLower(i + 1) && i >= 2 && isUpper(i - 2);
        if (isUpper(i) && i != 0 && (!isUpper(i - 1) || isLastOfRow))
            name += '-';
        name += isUpper(i) ? static_cast<char>(className[i] - 'A' + 'a') : className[i];
    }
    return name;
}

CommandForm const& CommandEntry::ChooseForm(NamedValues const& values) const {
    auto const has = [](CommandForm const& form, std::string_view name) {
        return std::any_of(form.parameters.begin(), form.parameters.end(),
                           [&](ParameterInfo const& parameter) { return parameter.name == name; });
    };
    auto const takesAll = [&](CommandForm const& form) {
        return std::all_of(values.begin(), values.end(), [&](auto const& value) { return has(form, value.first); });
    };
    auto const findMissing = [&](CommandForm const& form) {
        return std::find_if(form.parameters.begin(), form.parameters.end(), [&](ParameterInfo const& parameter) {
            return !parameter.defaultValue && !values.contains(parameter.name);
        });
    };
    CommandForm const* closest = nullptr;
    for (auto const& form : forms) {
        if (!takesAll(form))
            continue;
        if (findMissing(form) == form.parameters.end())
            return form;
        closest = closest == nullptr ? &form : closest;
    }
    auto const fail = [this](std::string const& problem) {
        throw Failure(ExitStatus::Usage, className, problem + "; `redraft commands " + shortName + "` explains it");
    };
    for (auto const& value : values) {
        if (std::none_of(forms.begin(), forms.end(), [&](CommandForm const& form) { return has(form, value.first); }))
            fail("no parameter " + Quote(value.first));
    }
    if (closest == nullptr)
        fail("these parameters do not go together");
    fail("parameter " + Quote(findMissing(*closest)->name) + " is missing");
    return forms.front();
}

} // namespace Shell
