// SPDX-License-Identifier: Apache-2.0
#include "shell/command_table.h"

#include "frame/contract/command_coverage.h"
#include "platform/kernel/cast.h"
#include "shell/failure.h"
#include "shell/inner_commands.h"
#include "shell/nearest.h"

#include <algorithm>
#include <cstdlib>
#include <cxxabi.h>
#include <memory>

namespace Shell {

namespace {

// Commands of the library are those of its namespace.
bool IsOfLibrary(Kernel::Serialisable const& object) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(
        abi::__cxa_demangle(typeid(object).name(), nullptr, nullptr, &status), &std::free);
    return status == 0 && std::string_view(name.get()).starts_with("Commands::");
}

Kernel::ClassProperties const* FindClass(std::string_view name) {
    auto const classes = Kernel::ClassRegistry::GetAll();
    auto const found = std::find_if(classes.begin(), classes.end(),
                                    [&](auto const* properties) { return properties->GetName() == name; });
    return found == classes.end() ? nullptr : *found;
}

} // namespace

std::vector<CommandEntry> const& GetCommandTable() {
    static std::vector<CommandEntry> const s_table = [] {
        std::vector<CommandEntry> table;
        for (auto const& card : CommandCard::GetAll())
            table.push_back(MakeEntry(card));
        for (auto& entry : MakeInnerEntries())
            table.push_back(std::move(entry));
        std::sort(table.begin(), table.end(), [](auto const& a, auto const& b) { return a.className < b.className; });
        return table;
    }();
    return s_table;
}

CommandEntry const* FindCommand(std::string_view name) {
    auto const& table = GetCommandTable();
    auto const found = std::find_if(table.begin(), table.end(), [&](CommandEntry const& entry) {
        return (entry.className == name && !entry.isInner) || entry.shortName == name ||
               (entry.plainName == name && !entry.isInner);
    });
    return found == table.end() ? nullptr : &*found;
}

void ThrowForCommand(std::string const& name) {
    std::vector<std::string_view> names;
    for (auto const& entry : GetCommandTable()) {
        names.push_back(entry.shortName);
        if (!entry.isInner)
            names.push_back(entry.className);
    }
    auto const nearest = SuggestNearest(name, names);
    throw Failure(ExitStatus::Usage, name,
                  "no such command" + (nearest.empty() ? std::string("; `redraft commands` lists them") : nearest));
}

std::vector<ListedCommand> ListCommands() {
    std::vector<ListedCommand> commands;
    auto const& coverage = CommandCoverage::Instance();
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        if (!properties->IsDerivedFrom(DocumentCommand::GetTypeClassProperties()))
            continue;
        ListedCommand listed;
        listed.properties = properties;
        listed.entry = FindCommand(properties->GetName());
        // The road to it that has its own name, if there is one.
        auto const* const inner = FindCommand(MakeShortName(properties->GetName()));
        if (listed.entry == nullptr && inner != nullptr && inner->className == properties->GetName())
            listed.entry = inner;
        listed.isCovered = coverage.IsRegistered(properties->GetName());
        auto const object = properties->Create();
        if (auto const* command = Kernel::CastPointer<DocumentCommand>(object.get())) {
            listed.isOfLibrary = IsOfLibrary(*object) || listed.entry != nullptr;
            listed.description = command->GetDescription();
        }
        commands.push_back(std::move(listed));
    }
    for (auto const& entry : GetCommandTable()) {
        bool const isListed = std::any_of(commands.begin(), commands.end(),
                                          [&](ListedCommand const& listed) { return listed.entry == &entry; });
        if (isListed)
            continue;
        auto& listed = commands.emplace_back();
        listed.entry = &entry;
        if (entry.isInner)
            listed.properties = FindClass(entry.className);
        listed.isOfLibrary = true;
        listed.isCovered = !entry.isInner && coverage.IsRegistered(entry.className);
    }
    // Behind those of the library.
    std::stable_partition(commands.begin(), commands.end(), [](ListedCommand const& listed) {
        return listed.entry == nullptr || !listed.entry->isInner;
    });
    return commands;
}

} // namespace Shell
