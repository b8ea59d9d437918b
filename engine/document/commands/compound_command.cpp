// SPDX-License-Identifier: Apache-2.0
#include "platform/document/compound_command.h"

#include "platform/document/document_controller.h"
#include "platform/document/ostra_ai_command.h"
#include "platform/kernel/exception.h"
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
    if (dynamic_cast<OstraAICommand const*>(command.get()) != nullptr)
        throw Kernel::Exception("a command that asks a model cannot be a part of another one");
    m_commands.Append(std::move(command));
    MarkChanged();
}

void CompoundCommand::Do() {
    SetDirection(Direction::Do);
    m_commands.Do(*this);
}

void CompoundCommand::Undo() {
    SetDirection(Direction::Undo);
    m_commands.Undo();
}

void CompoundCommand::Redo() {
    SetDirection(Direction::Redo);
    m_commands.Redo();
}

void CompoundCommand::Teardown() {
    SetDirection(Direction::Teardown);
    m_commands.Teardown();
}

void CompoundCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>& notifications) {
    if (m_notifyChildren)
        m_commands.Notify(notifications);
}

void CompoundCommand::CallCompletionCallbacks() { m_commands.CallCompletionCallbacks(); }

bool CompoundCommand::ShouldStackForUndo() const {
    return m_commands.IsEmpty() ? !m_stopAtEmpty : m_commands.ShouldStackForUndo();
}

bool CompoundCommand::ValidateUntrusted() {
    return DocumentCommand::ValidateUntrusted() && m_commands.ValidateUntrusted();
}

void CompoundCommand::PostLoad(Kernel::NonCounted<DocumentController> controller) {
    if (m_commands.PostLoad(controller))
        MarkChanged();
    DocumentCommand::PostLoad(controller);
}

Kernel::Counted<DocumentCommand> CompoundCommand::Clone() const {
    auto clone = Kernel::MakeCounted<CompoundCommand>(m_stopAtEmpty, m_presentAsOne, m_notifyChildren);
    clone->m_description = m_description;
    clone->m_commands = m_commands.Clone();
    if (clone->m_commands.IsEmpty() && !m_commands.IsEmpty())
        return {};
    return clone;
}

bool CompoundCommand::ShouldPresentInMacro() const { return m_presentAsOne; }

void CompoundCommand::PostDequeueWithMutableController(Kernel::NonCounted<DocumentController> controller) {
    DocumentCommand::PostDequeueWithMutableController(controller);
}

void CompoundCommand::SetPreview(bool preview) {
    DocumentCommand::SetPreview(preview);
    m_commands.SetPreview(preview);
}

void CompoundCommand::ApplyTransform(Raster::AffineTransform::Params transform) {
    m_commands.ApplyTransform(transform);
}

void CompoundCommand::ApplyInverseTransform(Raster::AffineTransform::Params transform) {
    m_commands.ApplyInverseTransform(transform);
}

bool CompoundCommand::WillAddChildNodes() const { return m_commands.WillAddChildNodes(); }

void CompoundCommand::Deduplicate(Raster::BlockDeduplicationSupport& support, bool* abort) {
    m_commands.Deduplicate(support, abort);
}

void CompoundCommand::GetNewNodes(std::vector<Kernel::Counted<Node>>& nodes) const { m_commands.AppendNewNodes(nodes); }

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
    bool const complete = std::all_of(GetCommands().begin(), GetCommands().end(),
                                      [](auto const& child) { return static_cast<bool>(child); });
    if (!complete)
        return false;
    return DocumentCommand::Load(in, files, version);
}

void AggregateCommand::AddCommand(Kernel::Counted<DocumentCommand> command, bool front) {
    m_commands.Insert(std::move(command), front);
    MarkChanged();
}

void AggregateCommand::AddAndDoCommand(Kernel::Counted<DocumentCommand> command) {
    InnerCommands::DoOne(*this, *command);
    AddCommand(std::move(command), false);
}
