// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/inner_commands.h"

#include <algorithm>
#include <vector>

// Lists of commands of one class that others run as parts of themselves.
namespace Commands::InnerLists {

template <class C>
using List = std::vector<Kernel::Counted<C>>;

template <class C>
void Run(DocumentCommand const& owner, List<C>& list, Kernel::Counted<C> command) {
    InnerCommands::DoOne(owner, *command);
    list.push_back(std::move(command));
}
template <class C>
void Undo(List<C> const& list) {
    for (auto command = list.rbegin(); command != list.rend(); ++command)
        InnerCommands::UndoOne(**command);
}
template <class C>
void Redo(List<C> const& list) {
    for (auto const& command : list)
        InnerCommands::RedoOne(*command);
}
// A preview may have become a step since the command ran.
template <class C>
void Notify(DocumentCommand const& owner, List<C> const& list, Kernel::NotificationList& notifications) {
    for (auto const& command : list) {
        command->SetPreview(owner.IsPreview());
        command->Notify(notifications);
    }
}
template <class C>
void PostLoad(List<C> const& list, Kernel::NonCounted<DocumentController> controller) {
    for (auto const& command : list)
        command->PostLoad(controller);
}
template <class C>
void PostDequeue(List<C> const& list, Kernel::NonCounted<DocumentController> controller) {
    for (auto const& command : list)
        command->PostDequeueWithMutableController(controller);
}
template <class C>
bool IsComplete(List<C> const& list) {
    return std::ranges::all_of(list, [](auto const& command) { return static_cast<bool>(command); });
}

} // namespace Commands::InnerLists
