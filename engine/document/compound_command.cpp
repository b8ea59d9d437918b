// SPDX-License-Identifier: Apache-2.0
#include "platform/document/compound_command.h"

#include "platform/document/document_controller.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/field_value.h"

#include <algorithm>

CompoundCommand::CompoundCommand(bool stopAtEmpty, bool presentAsOne, bool notifyChildren)
    : m_description(Kernel::LocalisedString("Compound Command", "Command description")),
      m_stopAtEmpty(stopAtEmpty),
      m_presentAsOne(presentAsOne),
      m_notifyChildren(notifyChildren) {}

Kernel::LocalisedString CompoundCommand::GetDescription() const { return m_description; }

void CompoundCommand::SetDescription(Kernel::LocalisedString description) {
    m_description = std::move(description);
    MarkChanged();
}

void CompoundCommand::AppendCommand(Kernel::Counted<DocumentCommand> command) {
    m_commands.push_back(std::move(command));
    MarkChanged();
}

// A child is bound right before it runs, because it may read then what its elder siblings made.
void CompoundCommand::RunChild(DocumentCommand& child) {
    auto const controller = GetDocumentController();
    child.SetPreview(m_preview);
    if (controller) {
        child.PostDequeueWithMutableDomainController(controller);
        child.PostDequeueWithMutableController(controller);
    }
    child.ClearAbortFlag();
    child.DoAndUpdateCaches();
    child.MarkChanged();
}

void CompoundCommand::Do() {
    SetDirection(Direction::Do);
    for (std::size_t done = 0; done != m_commands.size(); ++done) {
        try {
            RunChild(*m_commands[done]);
        } catch (...) {
            UndoChildren(done, 0);
            throw;
        }
    }
}

// Last to first, from below `end` down to `begin`.
void CompoundCommand::UndoChildren(std::size_t end, std::size_t begin) {
    while (end != begin) {
        DocumentCommand& child = *m_commands[--end];
        child.ClearAbortFlag();
        child.UndoAndUpdateCaches();
        child.MarkChanged();
    }
}

void CompoundCommand::RedoChildren(std::size_t begin, std::size_t end) {
    for (; begin != end; ++begin) {
        DocumentCommand& child = *m_commands[begin];
        child.ClearAbortFlag();
        child.RedoAndUpdateCaches();
        child.MarkChanged();
    }
}

void CompoundCommand::Undo() {
    SetDirection(Direction::Undo);
    for (std::size_t left = m_commands.size(); left != 0; --left) {
        try {
            UndoChildren(left, left - 1);
        } catch (...) {
            RedoChildren(left, m_commands.size());
            throw;
        }
    }
}

void CompoundCommand::Redo() {
    SetDirection(Direction::Redo);
    for (std::size_t done = 0; done != m_commands.size(); ++done) {
        try {
            RedoChildren(done, done + 1);
        } catch (...) {
            UndoChildren(done, 0);
            throw;
        }
    }
}

void CompoundCommand::Teardown() {
    SetDirection(Direction::Teardown);
    for (auto child = m_commands.rbegin(); child != m_commands.rend(); ++child)
        (*child)->Teardown();
}

void CompoundCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (!m_notifyChildren)
        return;
    for (auto const& child : m_commands)
        child->NotifyWithCacheUpdates(notifications);
}

void CompoundCommand::CallCompletionCallbacks() {
    for (auto const& child : m_commands)
        child->CallCompletionCallbacks();
}

bool CompoundCommand::ShouldStackForUndo() const {
    if (m_commands.empty())
        return !m_stopAtEmpty;
    return std::any_of(m_commands.begin(), m_commands.end(),
                       [](auto const& child) { return child->ShouldStackForUndo(); });
}

bool CompoundCommand::ValidateUntrusted() {
    return DocumentCommand::ValidateUntrusted() &&
           std::all_of(m_commands.begin(), m_commands.end(),
                       [](auto const& child) { return child->ValidateUntrusted(); });
}

void CompoundCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    for (auto& child : m_commands) {
        if (auto replacement = child->GetReplacementCommand()) {
            child = std::move(replacement);
            MarkChanged();
        }
        child->PostLoad(controller);
    }
    DocumentCommand::PostLoad(controller);
}

Kernel::Counted<DocumentCommand> CompoundCommand::Clone() const {
    auto clone = Kernel::MakeCounted<CompoundCommand>(m_stopAtEmpty, m_presentAsOne, m_notifyChildren);
    clone->m_description = m_description;
    for (auto const& child : m_commands) {
        auto copy = child->Clone();
        if (!copy)
            return {};
        clone->m_commands.push_back(std::move(copy));
    }
    return clone;
}

bool CompoundCommand::ShouldPresentInMacro() const { return m_presentAsOne; }

void CompoundCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
}

void CompoundCommand::SetPreview(bool preview) {
    DocumentCommand::SetPreview(preview);
    for (auto const& child : m_commands)
        child->SetPreview(preview);
}

void CompoundCommand::ApplyTransform(Raster::AffineTransform::Params transform) {
    for (auto const& child : m_commands)
        child->ApplyTransform(transform);
}

void CompoundCommand::ApplyInverseTransform(Raster::AffineTransform::Params transform) {
    for (auto child = m_commands.rbegin(); child != m_commands.rend(); ++child)
        (*child)->ApplyInverseTransform(transform);
}

bool CompoundCommand::WillAddChildNodes() const {
    return std::any_of(m_commands.begin(), m_commands.end(),
                       [](auto const& child) { return child->WillAddChildNodes(); });
}

void CompoundCommand::Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) {
    for (auto const& child : m_commands)
        child->Deduplicate(support, abort);
}

std::vector<Kernel::Counted<Node>> CompoundCommand::GetNewNodes() const {
    std::vector<Kernel::Counted<Node>> nodes;
    for (auto const& child : m_commands) {
        if (auto const* const maker = Kernel::CastPointer<NewNodesCommandInterface const>(child.get())) {
            auto const more = maker->GetNewNodes();
            nodes.insert(nodes.end(), more.begin(), more.end());
        }
    }
    return nodes;
}

Kernel::Counted<Kernel::Serialisable> CompoundCommand::CreateObject() {
    return Kernel::MakeCounted<CompoundCommand>(false, true, true);
}

void CompoundCommand::Save(Kernel::OutSerialiser& out) const {
    Kernel::SaveValue(out, "Cmds", m_commands);
    Kernel::SaveValue(out, "CDsc", m_description.GetText());
    Kernel::SaveValue(out, "CCtx", m_description.GetContext());
    Kernel::SaveValue(out, "CStp", m_stopAtEmpty);
    Kernel::SaveValue(out, "COne", m_presentAsOne);
    Kernel::SaveValue(out, "CNot", m_notifyChildren);
    DocumentCommand::Save(out);
}

bool CompoundCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    Kernel::String text = m_description.GetText(), context = m_description.GetContext();
    Kernel::LoadValue(in, "Cmds", m_commands);
    Kernel::LoadValue(in, "CDsc", text);
    Kernel::LoadValue(in, "CCtx", context);
    Kernel::LoadValue(in, "CStp", m_stopAtEmpty);
    Kernel::LoadValue(in, "COne", m_presentAsOne);
    Kernel::LoadValue(in, "CNot", m_notifyChildren);
    m_description = Kernel::LocalisedString(std::move(text), std::move(context));
    // A child of an unknown class cannot be undone, and so neither can the whole.
    bool const complete =
        std::all_of(m_commands.begin(), m_commands.end(), [](auto const& child) { return static_cast<bool>(child); });
    if (!complete)
        return false;
    return DocumentCommand::Load(in, files, version);
}

void AggregateCommand::AddCommand(Kernel::Counted<DocumentCommand> command, bool front) {
    m_commands.insert(front ? m_commands.begin() : m_commands.end(), std::move(command));
    MarkChanged();
}

void AggregateCommand::AddAndDoCommand(Kernel::Counted<DocumentCommand> command) {
    RunChild(*command);
    AddCommand(std::move(command), false);
}
