// SPDX-License-Identifier: Apache-2.0
#include "platform/document/inner_commands.h"

#include "platform/document/compound_command.h"
#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <unordered_map>

namespace {

// Filled while libraries are loaded, and read afterwards.
std::unordered_map<Kernel::ClassProperties const*, InnerCommandsGetter>& GetGetters() {
    static std::unordered_map<Kernel::ClassProperties const*, InnerCommandsGetter> s_getters;
    return s_getters;
}

} // namespace

void Kernel::SaveValue(OutSerialiser& out, IDTag tag, InnerCommands const& commands) {
    SaveValue(out, tag, commands.m_commands);
}

bool Kernel::LoadValue(InSerialiser const& in, IDTag tag, InnerCommands& commands) {
    return LoadValue(in, tag, commands.m_commands);
}

// An inner command is bound right before it runs, because it may read then what those before it made.
void InnerCommands::DoOne(DocumentCommand const& owner, DocumentCommand& inner) {
    inner.SetPreview(owner.IsPreview());
    if (auto const controller = owner.GetDocumentController()) {
        inner.PostDequeueWithMutableDomainController(controller);
        inner.PostDequeueWithMutableController(controller);
    }
    inner.ClearAbortFlag();
    inner.DoAndUpdateCaches();
    inner.MarkChanged();
}

void InnerCommands::UndoOne(DocumentCommand& inner) {
    inner.ClearAbortFlag();
    inner.UndoAndUpdateCaches();
    inner.MarkChanged();
}

void InnerCommands::RedoOne(DocumentCommand& inner) {
    inner.ClearAbortFlag();
    inner.RedoAndUpdateCaches();
    inner.MarkChanged();
}

void InnerCommands::Append(Kernel::Counted<DocumentCommand> command) { m_commands.push_back(std::move(command)); }

void InnerCommands::Insert(Kernel::Counted<DocumentCommand> command, bool front) {
    m_commands.insert(front ? m_commands.begin() : m_commands.end(), std::move(command));
}

void InnerCommands::DoAndAppend(DocumentCommand const& owner, Kernel::Counted<DocumentCommand> command) {
    DoOne(owner, *command);
    Append(std::move(command));
}

void InnerCommands::Do(DocumentCommand const& owner) {
    for (std::size_t done = 0; done != m_commands.size(); ++done) {
        try {
            DoOne(owner, *m_commands[done]);
        } catch (...) {
            UndoRange(done, 0);
            throw;
        }
    }
}

// From below `end` down to `begin`.
void InnerCommands::UndoRange(std::size_t end, std::size_t begin) {
    while (end != begin)
        UndoOne(*m_commands[--end]);
}

void InnerCommands::RedoRange(std::size_t begin, std::size_t end) {
    for (; begin != end; ++begin)
        RedoOne(*m_commands[begin]);
}

void InnerCommands::Undo() {
    for (std::size_t left = m_commands.size(); left != 0; --left) {
        try {
            UndoOne(*m_commands[left - 1]);
        } catch (...) {
            RedoRange(left, m_commands.size());
            throw;
        }
    }
}

void InnerCommands::Redo() {
    for (std::size_t done = 0; done != m_commands.size(); ++done) {
        try {
            RedoOne(*m_commands[done]);
        } catch (...) {
            UndoRange(done, 0);
            throw;
        }
    }
}

void InnerCommands::Notify(Kernel::NotificationList& notifications) const {
    for (auto const& command : m_commands)
        command->NotifyWithCacheUpdates(notifications);
}

void InnerCommands::CallCompletionCallbacks() const {
    for (auto const& command : m_commands)
        command->CallCompletionCallbacks();
}

void InnerCommands::SetPreview(bool preview) const {
    for (auto const& command : m_commands)
        command->SetPreview(preview);
}

void InnerCommands::ApplyTransform(Raster::AffineTransform::Params const& transform) const {
    for (auto const& command : m_commands)
        command->ApplyTransform(transform);
}

void InnerCommands::ApplyInverseTransform(Raster::AffineTransform::Params const& transform) const {
    for (auto command = m_commands.rbegin(); command != m_commands.rend(); ++command)
        (*command)->ApplyInverseTransform(transform);
}

bool InnerCommands::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    bool anyReplaced = false;
    for (auto& command : m_commands) {
        if (auto replacement = command->GetReplacementCommand()) {
            command = std::move(replacement);
            anyReplaced = true;
        }
        command->DocumentCommand::PostLoad(controller);
        command->PostLoad(controller);
    }
    return anyReplaced;
}

void InnerCommands::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) const {
    for (auto const& command : m_commands)
        command->PostDequeueWithMutableController(controller);
}

void InnerCommands::Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) const {
    for (auto const& command : m_commands)
        command->Deduplicate(support, abort);
}

void InnerCommands::Teardown() const {
    for (auto command = m_commands.rbegin(); command != m_commands.rend(); ++command)
        (*command)->Teardown();
}

bool InnerCommands::ValidateUntrusted() const {
    return std::all_of(m_commands.begin(), m_commands.end(),
                       [](auto const& command) { return command->ValidateUntrusted(); });
}

bool InnerCommands::ShouldStackForUndo() const {
    return std::any_of(m_commands.begin(), m_commands.end(),
                       [](auto const& command) { return command->ShouldStackForUndo(); });
}

bool InnerCommands::WillAddChildNodes() const {
    return std::any_of(m_commands.begin(), m_commands.end(),
                       [](auto const& command) { return command->WillAddChildNodes(); });
}

void InnerCommands::AppendNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const {
    for (auto const& command : m_commands) {
        if (auto const* const maker = Kernel::CastPointer<NewNodesCommandInterface const>(command.get()))
            maker->GetNewNodes(nodes);
    }
}

InnerCommands InnerCommands::Clone() const {
    InnerCommands clones;
    for (auto const& command : m_commands) {
        auto clone = command->Clone();
        if (!clone)
            return {};
        clones.Append(std::move(clone));
    }
    return clones;
}

void RegisterInnerCommands(Kernel::ClassProperties const& ofClass, InnerCommandsGetter getter) {
    GetGetters()[&ofClass] = getter;
}

void UnregisterInnerCommands(Kernel::ClassProperties const& ofClass) { GetGetters().erase(&ofClass); }

void AppendInnerCommands(DocumentCommand const& command, InnerCommands::List& found) {
    if (auto const* const compound = Kernel::CastPointer<CompoundCommand const>(&command))
        found.insert(found.end(), compound->GetCommands().begin(), compound->GetCommands().end());
    auto const getter = GetGetters().find(command.GetObjectClassProperties());
    if (getter != GetGetters().end())
        getter->second(command, found);
}
