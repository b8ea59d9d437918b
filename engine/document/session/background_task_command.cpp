// SPDX-License-Identifier: Apache-2.0
#include "platform/document/background_task_command.h"

void DomainBackgroundTaskCommand::SetAbortPointer(bool* abort) { Abortable::SetAbortPointer(abort); }

DomainBackgroundTaskCommand::~DomainBackgroundTaskCommand() = default;

bool DomainBackgroundTaskCommand::ShouldAbortForReader() const { return true; }

bool DomainBackgroundTaskCommand::ShouldBeDeferredIfReading() const { return true; }

BackgroundTaskCommand::BackgroundTaskCommand() { m_family = Family::BackgroundTask; }

bool BackgroundTaskCommand::CanIgnoreIfQueueOccupied() const { return true; }

void BackgroundTaskCommand::Undo() {}

void BackgroundTaskCommand::Redo() {}

void BackgroundTaskCommand::Notify(std::vector<Kernel::Counted<Kernel::Notification>>&) {}

void BackgroundTaskCommand::PostDequeueWithMutableDomainController(Kernel::NonCounted<DomainController> controller) {
    DocumentCommand::PostDequeueWithMutableDomainController(controller);
}

bool BackgroundTaskCommand::ShouldStackForUndo() const { return false; }

bool BackgroundTaskCommand::ClearsPreviewCommands() const { return false; }

Kernel::Counted<DocumentCommand> BackgroundTaskCommand::Clone() const { return {}; }

bool BackgroundTaskCommand::MakesDOMDirty() const { return false; }

bool BackgroundTaskCommand::ShouldStackForMacro() const { return false; }

void BackgroundTaskCommand::Save(Kernel::OutSerialiser& out) const { DocumentCommand::Save(out); }

bool BackgroundTaskCommand::Load(Kernel::InSerialiser const& in, Kernel::FileStore& files, unsigned short version) {
    return DocumentCommand::Load(in, files, version);
}
